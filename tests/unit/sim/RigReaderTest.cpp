#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>

#include "sim/core/DefaultRig.h"
#include "sim/core/DesignVariant.h"
#include "sim/core/RegisterTable.h"
#include "sim/core/RigReader.h"
#include "tests/support/TempDir.h"

namespace vesk::sim {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string ErrorOf(const std::string& text) {
  try {
    RigReader::Read(text, "bench.xml");
  } catch (const RigError& error) {
    return error.what();
  }
  return "no error";
}

TEST(RigReader, ReadsBoardsCamerasLinksAndFaults) {
  const Rig rig = RigReader::Read(R"(<rig>
    <board index="1" type="2898" serial="0x10" ports="2" design="gige-korvid"/>
    <board type="2656" ports="4" design="cxp-camera-ctrl" index="0">
      <faults port="3" seed="9" drop="5" silentAfter="12"/>
    </board>
    <camera id="a" vendor="V" modelName="M" xml="zipped" endianness="little"
            speeds="1250 6250 3125" defaultLinks="1">
      <link board="0" port="2"/>
      <link/>
      <faults corrupt="7" delay="3" delayMs="40"/>
    </camera>
  </rig>)",
                                  "bench.xml");
  ASSERT_EQ(rig.boards.size(), 2u);
  EXPECT_EQ(rig.boards[0].type, 2656);  // sorted by index
  EXPECT_EQ(rig.boards[0].gigePorts, 0u);
  EXPECT_EQ(rig.boards[0].portFaults.at(3).dropPerMille, 5u);
  EXPECT_EQ(rig.boards[0].portFaults.at(3).silentAfter, 12);
  EXPECT_EQ(rig.boards[1].serial, 16);
  EXPECT_EQ(rig.boards[1].gigePorts, 2u);  // an Ethernet board has them all by default
  ASSERT_EQ(rig.cameras.size(), 1u);
  const RigCamera& camera = rig.cameras[0];
  EXPECT_EQ(camera.identity.vendor, "V");
  EXPECT_EQ(camera.identity.model, "M");
  EXPECT_EQ(camera.form, XmlForm::Zipped);
  EXPECT_EQ(camera.endianness, Endianness::Little);
  EXPECT_THAT(camera.speeds, ElementsAre(1250u, 6250u, 3125u));
  EXPECT_EQ(camera.defaultSpeed, 6250u);  // the fastest unless told
  EXPECT_EQ(camera.defaultLinks, 1u);
  ASSERT_EQ(camera.links.size(), 2u);
  EXPECT_EQ(camera.links[0].board, 0);
  EXPECT_EQ(camera.links[0].port, 2u);
  EXPECT_EQ(camera.links[1].board, -1);
  EXPECT_EQ(camera.faults.corruptPerMille, 7u);
  EXPECT_EQ(camera.faults.delayMs, 40u);
  EXPECT_EQ(camera.faults.silentAfter, -1);
}

struct BadRig {
  const char* name;
  const char* text;
  const char* message;
};

class RigReaderErrors : public ::testing::TestWithParam<BadRig> {};

TEST_P(RigReaderErrors, NameTheFileTheLineTheElementAndTheFault) {
  EXPECT_THAT(ErrorOf(GetParam().text), HasSubstr(GetParam().message));
}

const char kBoard[] = R"(<board type="2656" ports="4" design="cxp-camera-ctrl"/>)";

INSTANTIATE_TEST_SUITE_P(
    Rigs, RigReaderErrors,
    ::testing::Values(
        BadRig{"NotWellFormed", "<rig>\n<board", "bench.xml:2: <rig>: not well-formed XML"},
        BadRig{"WrongRoot", "<rigs/>", "bench.xml:1: <rigs>: the root element must be <rig>"},
        BadRig{"UnknownElement", "<rig>\n\n<cable/></rig>",
               "bench.xml:3: <cable>: unknown element"},
        BadRig{"UnknownAttribute",
               "<rig>\n<board type=\"1\" ports=\"2\" design=\"cl-base\" prots=\"2\"/></rig>",
               "bench.xml:2: <board>: unknown attribute 'prots'"},
        BadRig{"MissingAttribute", "<rig><board ports=\"4\" design=\"cxp-drp\"/></rig>",
               "<board>: attribute 'type' is missing"},
        BadRig{"NotANumber", "<rig><board type=\"26x6\" ports=\"4\" design=\"cxp-drp\"/></rig>",
               "<board>: attribute 'type': '26x6' is no number"},
        BadRig{"UnknownDesign", "<rig><board type=\"2656\" ports=\"4\" design=\"cxp-fast\"/></rig>",
               "unknown design 'cxp-fast'; designs are cxp-camera-ctrl, "},
        BadRig{"PortCountOfTheDesign",
               "<rig><board type=\"2641\" ports=\"2\" design=\"cxp-drp\"/></rig>",
               "design 'cxp-drp' has 4 ports, not 2"},
        BadRig{"IndexGap",
               "<rig><board index=\"1\" type=\"2656\" ports=\"4\" design=\"cxp-drp\"/></rig>",
               "<board index=\"1\">: board indices must run from 0 without gaps or repeats"},
        BadRig{"FaultsOnAMissingPort",
               "<rig><board type=\"2656\" ports=\"4\" design=\"cxp-drp\">"
               "<faults port=\"4\"/></board></rig>",
               "<faults port=\"4\">: attribute 'port': 4 is not in 0 .. 3"},
        BadRig{"ChancesAboveAThousand",
               "<rig><board type=\"2656\" ports=\"4\" design=\"cxp-drp\">"
               "<faults port=\"0\" drop=\"600\" odd=\"500\"/></board></rig>",
               "drop, corrupt, odd and delay add up to more than 1000 per mille"},
        BadRig{"CameraWithoutLinks", "<rig><camera id=\"a\"/></rig>",
               "<camera id=\"a\">: a camera has at least one"},
        BadRig{"UnknownModel", "<rig><camera id=\"a\" model=\"nope\"><link/></camera></rig>",
               "unknown model 'nope'; models are "},
        BadRig{"RepeatedId",
               "<rig><camera id=\"a\"><link/></camera>\n<camera id=\"a\"><link/></camera></rig>",
               "bench.xml:2: <camera id=\"a\">: id used before, on line 1"},
        BadRig{"DefaultSpeedNotOffered",
               "<rig><camera id=\"a\" speeds=\"1250 3125\" defaultSpeed=\"6250\"><link/>"
               "</camera></rig>",
               "defaultSpeed 6250 is not among the speeds"},
        BadRig{"UnknownXmlForm", "<rig><camera id=\"a\" xml=\"gzip\"><link/></camera></rig>",
               "attribute 'xml': 'gzip' is not 'plain' or 'zipped'"}),
    [](const ::testing::TestParamInfo<BadRig>& info) { return std::string(info.param.name); });

TEST(RigReader, ALinkNeedsAnExistingFreePort) {
  const std::string boards = std::string("<rig>") + kBoard;
  EXPECT_THAT(ErrorOf(boards + "<camera id=\"a\"><link board=\"1\" port=\"0\"/></camera></rig>"),
              HasSubstr("<link port=\"0\">: attribute 'board': 1 is not in 0 .. 0"));
  EXPECT_THAT(ErrorOf(boards + "<camera id=\"a\"><link board=\"0\" port=\"4\"/></camera></rig>"),
              HasSubstr("attribute 'port': 4 is not in 0 .. 3"));
  EXPECT_THAT(ErrorOf(boards + "<camera id=\"a\"><link board=\"0\" port=\"1\"/></camera>"
                               "<camera id=\"b\"><link board=\"0\" port=\"1\"/></camera></rig>"),
              HasSubstr("port 1 of board 0 holds another link already"));
  EXPECT_THAT(ErrorOf(boards + "<camera id=\"a\"><link port=\"1\"/></camera></rig>"),
              HasSubstr("attribute 'board' is missing"));
}

TEST(RigReader, FileErrorsNameThePathAndRelativeXmlFilesLieBesideTheRig) {
  EXPECT_THROW(RigReader::ReadFile("/nonexistent/rig.xml"), std::runtime_error);
  test::TempDir dir;
  std::ofstream(dir.File("rig.xml")) << "<rig><camera id=\"x\" xmlFile=\"cam.xml\"><link/>"
                                        "</camera></rig>";
  const Rig rig = RigReader::ReadFile(dir.File("rig.xml"));
  EXPECT_EQ(rig.source, dir.File("rig.xml"));
  EXPECT_EQ(rig.cameras.at(0).xmlFile, dir.Path() + "/cam.xml");
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
              ::testing::IsSupersetOf({"cxp-camera-ctrl", "cxp-transceiver-regs", "cxp-drp", "clhs",
                                       "cl-base", "gige-korvid", "gige-ka4"}));
  EXPECT_TRUE(types.count(2898) || types.count(2913));
  EXPECT_TRUE(types.count(3650) || types.count(3652));
  std::set<std::string> multiLink;
  for (const RigCamera& camera : rig.cameras) {
    if (camera.links.size() > 1) {
      multiLink.insert(rig.boards[static_cast<size_t>(camera.links[0].board)].design);
    }
  }
  EXPECT_THAT(multiLink, ::testing::IsSupersetOf({"cxp-camera-ctrl", "clhs"}));
}

TEST(DesignVariants, CarryTheNamesThatTellTheirFormApart) {
  auto has = [](const char* variant, const std::string& name) {
    const DesignVariant* found = FindDesignVariant(variant);
    return found && RegisterTable(ExpandRegisters(*found, found->portCounts.back())).IdOf(name) > 0;
  };
  EXPECT_TRUE(has("cxp-camera-ctrl", "CxpTransceiverStatus_3"));
  EXPECT_FALSE(has("cxp-camera-ctrl", "CxpTransceiverDownLinkBitRate_0"));
  EXPECT_TRUE(has("cxp-transceiver-regs", "CxpTransceiverDownLinkBitRate_3"));
  EXPECT_TRUE(has("cxp-drp", "CxpTransceiverGtxDrpWriteData_3"));
  EXPECT_TRUE(has("cxp-rate-index", "CxpTransceiverGtxSetBitRateDone"));
  EXPECT_FALSE(has("cxp-rate-index", "CxpTransceiverRxStatus"));
  EXPECT_TRUE(has("cxp-rate-index-rx-status", "CxpTransceiverRxStatus"));
  EXPECT_TRUE(has("clhs", "GtxStatus_1"));
  EXPECT_TRUE(has("clhs-single-status", "GtxStatus"));
  EXPECT_TRUE(has("cl-base", "Device1\\Process0\\Camera\\BaseMode"));
  EXPECT_TRUE(has("cl-full", "Device1\\Process0\\Camera\\FullMode"));
  EXPECT_TRUE(has("cl-port-config", "AACamPortConfig"));
  EXPECT_TRUE(has("gige-korvid", "GigeTxControlWriteData_3"));
  EXPECT_TRUE(has("gige-ka4", "GigE_MdioPhyAddr"));
}

}  // namespace
}  // namespace vesk::sim
