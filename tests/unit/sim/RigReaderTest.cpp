#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <tuple>

#include "sim/core/DefaultRig.h"
#include "sim/core/DesignVariant.h"
#include "sim/core/RegisterTable.h"
#include "sim/core/RigReader.h"
#include "tests/support/TempDir.h"

namespace vesk::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSupersetOf;

TEST(RigReader, ReadsBoardsCamerasLinksAndFaults) {
  const Rig rig = RigReader::Read(R"(<rig>
    <board index="1" type="2898" serial="0x10" ports="2" design="gige-korvid"/>
    <board type="2656" ports="4" design="cxp-camera-ctrl" index="0">
      <faults port="3" seed="9" drop="5" silentAfter="12"/>
    </board>
    <camera id="a" vendor="V" modelName="M" xml="zipped" endianness="little"
            speeds="1250 6250 3125" defaultLinks="1" cxpRevision="1.1" controlPacketSize="256">
      <link board="0" port="2"/>
      <link/>
      <faults corrupt="7" delay="3" delayMs="40" wait="4" badCrc="2" burstErrors="9"/>
    </camera>
  </rig>)",
                                  "bench.xml");
  ASSERT_EQ(rig.boards.size(), 2u);
  const RigBoard& cxp = rig.boards[0];  // sorted by index
  EXPECT_EQ(std::tie(cxp.type, cxp.gigePorts), std::make_tuple(2656, 0u));
  EXPECT_EQ(cxp.portFaults.at(3).dropPerMille, 5u);
  EXPECT_EQ(cxp.portFaults.at(3).silentAfter, 12);
  // An Ethernet board has all its ports on Ethernet by default.
  EXPECT_EQ(std::tie(rig.boards[1].serial, rig.boards[1].gigePorts), std::make_tuple(16, 2u));
  ASSERT_EQ(rig.cameras.size(), 1u);
  const RigCamera& camera = rig.cameras[0];
  EXPECT_EQ(camera.identity.vendor + camera.identity.model, "VM");
  EXPECT_EQ(camera.form, XmlForm::Zipped);
  EXPECT_EQ(camera.endianness, Endianness::Little);
  EXPECT_THAT(camera.speeds, ElementsAre(1250u, 6250u, 3125u));
  EXPECT_EQ(camera.defaultSpeed, 6250u);  // the fastest unless told
  EXPECT_EQ(camera.defaultLinks, 1u);
  EXPECT_EQ(std::tie(camera.cxpRevision, camera.controlPacketSize),
            std::make_tuple(0x10001u, 256u));
  ASSERT_EQ(camera.links.size(), 2u);
  EXPECT_EQ(std::tie(camera.links[0].board, camera.links[0].port), std::make_tuple(0, 2u));
  EXPECT_EQ(camera.links[1].board, -1);
  const FaultSettings& faults = camera.faults;
  EXPECT_EQ(std::tie(faults.corruptPerMille, faults.delayMs), std::make_tuple(7u, 40u));
  EXPECT_EQ(faults.silentAfter, -1);
  EXPECT_EQ(std::tie(faults.waitPerMille, faults.badCrcPerMille, faults.burstErrors),
            std::make_tuple(4u, 2u, 9u));
}

std::string Repeated(const std::string& text, size_t times) {
  std::string repeated;
  for (size_t i = 0; i < times; ++i) repeated += text;
  return repeated;
}

// Each message names the file, the line, the element and the fault.
TEST(RigReader, BadRigsAreRefusedWithTheirReason) {
  const std::string board = "<board type='2656' ports='4' design='cxp-drp'";
  const std::string one = "<rig>" + board + "/>";
  const std::pair<std::string, std::string> rigs[] = {
      {"<rig>\n<board", "bench.xml:2: <rig>: not well-formed XML"},
      {"<rigs/>", "bench.xml:1: <rigs>: the root element must be <rig>"},
      {"<rig>\n\n<cable/></rig>", "bench.xml:3: <cable>: unknown element"},
      {"<rig>\n" + board + " prots='2'/></rig>", "bench.xml:2: <board>: unknown attribute 'prots'"},
      {"<rig><board ports='4' design='cxp-drp'/></rig>", "<board>: attribute 'type' is missing"},
      {"<rig><board type='26x6' ports='4' design='cxp-drp'/></rig>",
       "<board>: attribute 'type': '26x6' is no number"},
      {"<rig><board type='1' ports='4' design='cxp-fast'/></rig>",
       "unknown design 'cxp-fast'; designs are cxp-camera-ctrl, "},
      {"<rig><board type='1' ports='2' design='cxp-drp'/></rig>",
       "design 'cxp-drp' has 4 ports, not 2"},
      {"<rig>\n" + board + " operators='1 2'/></rig>",
       "bench.xml:2: <board>: operators: 2 entries for 4 ports"},
      {"<rig>" + board + " operators='1 2 3 4 5'/></rig>", "operators: more entries than"},
      {"<rig>" + board + " operators='1 16 2.x -'/></rig>", "operators: '16' is not an operator"},
      {"<rig><board type='1' ports='2' design='cl-base' operators='1 2'/></rig>",
       "operators are for CoaXPress and Camera Link HS designs"},
      {"<rig>" + board + " dhcp='0'/></rig>", "dhcp is for GigE Vision designs"},
      {"<rig><board type='1' ports='2' design='gige-ka4' dhcp='1 1'/></rig>", "dhcp: port 1 again"},
      {"<rig><board type='1' ports='2' design='gige-ka4' dhcp='2'/></rig>",
       "attribute 'dhcp': 2 is not in 0 .. 1"},
      {"<rig><board index='1' type='1' ports='4' design='cxp-drp'/></rig>",
       "<board index=\"1\">: board indices must run from 0 without gaps or repeats"},
      {"<rig>" + board + "><faults port='4'/></board></rig>",
       "<faults port=\"4\">: attribute 'port': 4 is not in 0 .. 3"},
      {"<rig>" + board + "><faults port='0' drop='600' odd='500'/></board></rig>",
       "the chances add up to more than 1000 per mille"},
      {"<rig><camera id='a'><link/>\n<faults wait='600' burst='401'/></camera></rig>",
       "bench.xml:2: <faults>: the chances add up"},
      {"<rig><camera id='a'/></rig>", "<camera id=\"a\">: a camera has at least one"},
      {"<rig><camera id='a' model='nope'><link/></camera></rig>",
       "unknown model 'nope'; models are "},
      {"<rig><camera id='a'><link/></camera>\n<camera id='a'><link/></camera></rig>",
       "bench.xml:2: <camera id=\"a\">: id used before, on line 1"},
      {"<rig><camera id='a' speeds='1250 3125' defaultSpeed='6250'><link/></camera></rig>",
       "defaultSpeed 6250 is not among the speeds"},
      {"<rig><camera id='a' cxpRevision='3.0'><link/></camera></rig>",
       "<camera id=\"a\">: attribute 'cxpRevision'"},
      {"<rig><camera id='a' xml='gzip'><link/></camera></rig>",
       "attribute 'xml': 'gzip' is not 'plain' or 'zipped'"},
      // A link needs a board and a free port that exist.
      {one + "<camera id='a'><link board='1' port='0'/></camera></rig>",
       "<link port=\"0\">: attribute 'board': 1 is not in 0 .. 0"},
      {one + "<camera id='a'><link board='0' port='4'/></camera></rig>",
       "attribute 'port': 4 is not in 0 .. 3"},
      {one + "<camera id='a'><link board='0' port='1'/></camera>"
             "<camera id='b'><link board='0' port='1'/></camera></rig>",
       "port 1 of board 0 holds another link already"},
      {one + "<camera id='a'><link port='1'/></camera></rig>", "attribute 'board' is missing"},
      // What XML allows but a rig does not.
      {"<rig/>\n<rig/>", "bench.xml:2: <rig>: a rig has one root element"},
      {"<rig>\n<board type='1' ports='4'\n  type='2' design='cxp-drp'/></rig>",
       "bench.xml:3: <board>: attribute 'type' given twice"},
      // The reader descends once per level: far deeper than a rig goes is refused, not followed.
      {"<rig>\n" + Repeated("<camera>\n", 100000),
       "bench.xml:65: <camera>: elements nest deeper than 64 levels"},
  };
  for (const auto& [text, message] : rigs) {
    try {
      RigReader::Read(text, "bench.xml");
      ADD_FAILURE() << "taken: " << text;
    } catch (const RigError& error) {
      EXPECT_THAT(error.what(), ::testing::HasSubstr(message)) << text;
    }
  }
}

TEST(RigReader, FileErrorsNameThePathAndRelativeXmlFilesLieBesideTheRig) {
  EXPECT_THROW(RigReader::ReadFile("/nonexistent/rig.xml"), std::runtime_error);
  test::TempDir dir;
  std::ofstream(dir.File("rig.xml"))
      << "<rig><camera id='x' xmlFile='cam.xml'><link/></camera></rig>";
  const Rig rig = RigReader::ReadFile(dir.File("rig.xml"));
  EXPECT_EQ(rig.source, dir.File("rig.xml"));
  EXPECT_EQ(rig.cameras.at(0).xmlFile, dir.Path() + "/cam.xml");
}

std::string ErrorReading(const std::string& path) {
  try {
    RigReader::ReadFile(path);
    return "taken";
  } catch (const std::exception& refused) {
    return refused.what();
  }
}

TEST(RigReader, ReadsRegularFilesOfARigsSizeOnly) {
  test::TempDir dir;
  const std::string fifo = dir.Fifo("fifo.xml");
  const std::string large = dir.File("large.xml");
  test::WriteText(large, "<rig>" + std::string(RigReader::kMaxFileBytes, ' ') + "</rig>");
  const std::pair<std::string, std::string> files[] = {
      {fifo, "rig file '" + fifo + "' is not a regular file"},
      {large, "rig file '" + large + "' has 1048587 bytes; a rig has 1048576 at most"},
  };
  for (const auto& [path, message] : files)
    EXPECT_EQ(test::ReadWithinBound(path, ErrorReading), message);
}

// The library tells a design's form from the names it has; every variant must show its own.
TEST(DefaultRig, HasEveryTransportAndFirmwareFormWithMultiLinkCameras) {
  const Rig rig = RigReader::Read(DefaultRigText(), "default rig");
  std::set<std::string> designs;
  std::set<int> types;
  for (const RigBoard& board : rig.boards) {
    designs.insert(board.design);
    types.insert(board.type);
  }
  EXPECT_THAT(designs,
              IsSupersetOf({"cxp-camera-ctrl", "cxp-transceiver-regs", "cxp-drp", "cxp-rate-index",
                            "clhs", "cl-base", "gige-korvid", "gige-ka4"}));
  EXPECT_TRUE(types.count(2898) || types.count(2913));
  EXPECT_TRUE(types.count(3650) || types.count(3652));
  std::set<std::string> multiLink;
  for (const RigCamera& camera : rig.cameras) {
    if (camera.links.size() > 1) {
      multiLink.insert(rig.boards[static_cast<size_t>(camera.links[0].board)].design);
    }
  }
  EXPECT_THAT(multiLink, IsSupersetOf({"cxp-camera-ctrl", "clhs"}));
}

TEST(DesignVariants, CarryTheNamesThatTellTheirFormApart) {
  auto has = [](const char* variant, const std::string& name) {
    const DesignVariant* found = FindDesignVariant(variant);
    return found && RegisterTable(ExpandRegisters(*found, found->portCounts.back())).IdOf(name) > 0;
  };
  const std::pair<const char*, const char*> names[] = {
      {"cxp-camera-ctrl", "CxpTransceiverStatus_3"},
      {"cxp-transceiver-regs", "CxpTransceiverDownLinkBitRate_3"},
      {"cxp-drp", "CxpTransceiverGtxDrpWriteData_3"},
      {"cxp-rate-index", "CxpTransceiverGtxSetBitRateDone"},
      {"cxp-rate-index-rx-status", "CxpTransceiverRxStatus"},
      {"cxp-rate-index", "CxpReset_3"},
      {"cxp-drp-ready", "CxpTransceiverGtxDrpReady"},
      {"cxp-transceiver-regs", "wCxpPowerEnablePower"},
      {"cxp-camera-ctrl", "DiscoveryAppletExtensionID"},
      {"clhs", "GtxStatus_1"},
      {"clhs-single-status", "GtxStatus"},
      {"cl-base", "Device1\\Process0\\Camera\\BaseMode"},
      {"cl-full", "Device1\\Process0\\Camera\\FullMode"},
      {"cl-port-config", "AACamPortConfig"},
      {"gige-korvid", "GigeTxControlWriteData_3"},
      {"gige-ka4", "GigE_MdioPhyAddr"},
  };
  for (const auto& [variant, name] : names) EXPECT_TRUE(has(variant, name)) << variant << name;
  EXPECT_FALSE(has("cxp-camera-ctrl", "CxpTransceiverDownLinkBitRate_0"));
  EXPECT_FALSE(has("cxp-rate-index", "CxpTransceiverRxStatus"));
}

}  // namespace
}  // namespace vesk::sim
