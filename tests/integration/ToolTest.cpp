// vesk-genicam run as a process against the simulated runtime's default rig: each row is a
// command line, its exit status and what must show on stdout, or the one line on stderr.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include "tests/support/ChildProcess.h"
#include "tests/support/TempDir.h"

namespace {

using vesk::test::ChildResult;
using vesk::test::RunChild;
using vesk::test::TempDir;

// The settings that shorten the CoaXPress waits of a scan to what the simulator needs.
const std::vector<std::pair<std::string, std::string>> kFastScan = {
    {"VESK_CXP_WAIT_AFTER_LINK_RESET_DONE", "0"},
    {"VESK_CXP_WAIT_AFTER_CAMERA_CONFIG_CHANGED", "0"},
    {"VESK_CXP_WAIT_AFTER_UPLINK_SPEED_RESET", "0"},
    {"VESK_CXP_WAIT_AFTER_POWERUP", "0"},
    {"VESK_CXP_WAIT_AFTER_TRIP_RESET", "0"},
    {"VESK_CXP_WAIT_AFTER_LINK_RESET_ON_EACH_PORT", "0"},
    {"VESK_CXP_COMMAND_ACK_TIMEOUT", "20"},
    {"VESK_CXP_DISCOVERY_THREAD_SLEEP_TIME_MS", "10"},
    {"VESK_CXP_DISCONNECTS_THREAD_SLEEP_TIME_MS", "10"},
    {"VESK_SIM_RIG", ""},
    {"VESK_LOG_LEVEL", ""}};

// Words of a command line; "{dir}" stands for a folder of the test's own, which holds the files
// the rows load.
std::vector<std::string> Words(const std::string& line, const std::string& dir) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : line + " ") {
    if (c != ' ') {
      word += c;
    } else if (!word.empty()) {
      words.push_back(std::regex_replace(word, std::regex("\\{dir\\}"), dir));
      word.clear();
    }
  }
  return words;
}

class ToolRun : public ::testing::Test {
 protected:
  ToolRun() {
    Write("width.txt", "Width = 1024\n");
    Write("unknown.txt", "Nope=1\nWidth=1024\n");
    Write("refused.txt", "Width=99999\n");
    Write("events.txt", "");
  }
  void Write(const char* name, const char* text) { std::ofstream(dir_.File(name)) << text; }

  ChildResult Tool(const std::string& line, const std::string& input = "") {
    return RunChild(VESK_TOOL, Words(line, dir_.Path()), kFastScan, input);
  }

  TempDir dir_;
};

struct Row {
  const char* name;
  const char* line;
  int status;
  // A pattern that stdout must contain on success, or that the one line on stderr must contain.
  const char* shows;
  const char* input = "";
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.line; }

class ToolRows : public ToolRun, public ::testing::WithParamInterface<Row> {};

TEST_P(ToolRows, ExitStatusAndOutput) {
  const Row& row = GetParam();
  const ChildResult result = Tool(row.line, row.input);
  EXPECT_EQ(result.status, row.status) << "stdout:\n" << result.out << "stderr:\n" << result.err;
  if (row.status == 0) {
    EXPECT_TRUE(std::regex_search(result.out, std::regex(row.shows))) << result.out;
    EXPECT_EQ(result.err, "");
  } else {
    EXPECT_TRUE(std::regex_search(result.err, std::regex(row.shows))) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
  }
}

const Row kRows[] = {
    // The command line itself.
    {"Usage", "--help", 0, "usage: vesk-genicam [^]*  scan +look for cameras"},
    {"CommandHelp", "features --help", 0, "usage: vesk-genicam features CAMERA \\[--all\\]"},
    {"NoCommand", "-v", 1, "a command is missing"},
    {"UnknownCommand", "frobnicate", 1, "unknown command 'frobnicate'"},
    {"UnknownOption", "scan --frob", 1, "scan: unknown option '--frob'"},
    {"OptionWithoutValue", "scan --board", 1, "--board needs a value"},
    {"NotANumber", "scan --board x", 1, "'x' is not a number"},
    {"MissingOperand", "get 0:0", 1, "get: missing FEATURE"},
    {"OperandTooMany", "get 0:0 Width Height", 1, "unexpected 'Height'"},
    {"NoCameraName", "info 0", 1, "'0' names no camera"},
    {"EmptyChainedCommand", "boards +", 1, "a command is missing"},
    {"Version", "version", 0, "board runtime: simulated, 8 boards"},
    // Boards and scans.
    {"Boards", "boards", 0, "0 +2656 +0x51a000 +CoaXPress +Acquisition_CXP_CameraCtrl"},
    {"BoardsOfEachTransport", "boards", 0,
     "3 +2657 .*CLHS[^]*4 +1872 .*Camera Link[^]*GigE Vision"},
    {"Scan", "scan", 0, "0:0 +0 +0,1 +12500 +Vesk Simulation +CXP Dual +SIM-CXP-0001"},
    {"ScanFourLinks", "scan --board 1", 0, "1:0 +0 +0,1 +6250 +Vesk Simulation +CXP Quad"},
    {"ScanOnePort", "scan --board 0 --ports 0x4", 0, "0:0 +2 +2 .*CXP Single"},
    {"ScanPortOutOfRange", "scan --ports 0x10", 2, "Mlo_scanPortsEx\\(board 0\\): -1208 "},
    {"ScanBadSpeed", "scan --speed 7", 2, "Mlo_scanPortsEx\\(board 0\\): -1200 "},
    {"ScanBoardOutOfRange", "scan --board 8", 1,
     "board 8 does not exist: the runtime has 8 boards"},
    // A camera's identity and description.
    {"InfoByIndex", "info 0:0", 0,
     "model +CXP Dual[^]*masterPort +0[^]*link +port 1, firmware port 1"},
    {"InfoByPort", "info 0@1", 0, "serial +SIM-CXP-0001"},
    {"InfoUnknownIndex", "info 0:1", 1, "no camera 0:1: the scan found 1 camera on board 0"},
    {"InfoEmptyPort", "info 0@3", 1, "no camera 0@3: no camera has a link on that port"},
    {"InfoBoardOutOfRange", "info 12:0", 1, "board 12 does not exist"},
    // One line of the description: a pattern across all of it recurses as deep as it is long.
    {"Xml", "xml 0:0", 0, "<Category Name=\"Root\""},
    {"XmlToFile", "xml 0:0 -o {dir}/camera.xml + read 0:0 0x100000 4", 0,
     "wrote the XML of 0:0 \\(\\d+ bytes\\) to .*camera.xml"},
    {"XmlToUnwritableFile", "xml 0:0 -o {dir}/missing/camera.xml", 1, "cannot write .*camera.xml"},
    // Features.
    {"Features", "features 0:0", 0,
     "ImageFormatControl\\n  SensorWidth +2048 +RO +Integer\\n  SensorHeight[^]*  Width +1920 +RW"},
    {"FeatureUnitsAndKinds", "features 0:0", 0,
     "DeviceTemperature +41.5 C +RO +Float[^]*PixelFormat +Mono8 +RW +Enumeration[^]*"
     "AcquisitionStart +\\(command\\) +RW +Command[^]*Gain +1.5 dB +RW +Float"},
    {"GuruFeaturesOnAsking", "features 0:0 --all", 0, "ExposureTimeRaw +100000 +RW +Integer"},
    {"GetInteger", "get 0:0 Width", 0, "^1920\\n$"},
    {"GetFloatWithUnit", "get 0:0 Gain", 0, "^1.5 dB\\n$"},
    {"GetEnumeration", "get 0:0 PixelFormat", 0, "^Mono8\\n$"},
    {"GetString", "get 0@0 DeviceModelName", 0, "^CXP Dual\\n$"},
    {"GetAsJson", "get 0:0 Width --json", 0,
     "^\\{\"camera\":\"0:0\",\"feature\":\"Width\",.*\"value\":1920,"},
    {"GetCategory", "get 0:0 AnalogControl", 1, "AnalogControl is a Category and has no value"},
    {"GetUnknownFeature", "get 0:0 Nope", 2, "Mlo_getIntegerValue\\(0:0, Nope\\): -1102 "},
    {"SetInteger", "set 0:0 Width 1024", 0, "^1024\\n$"},
    {"SetHexInteger", "set 0:0 Width 0x200", 0, "^512\\n$"},
    {"SetNegativeInteger", "set 0:0 BlackLevel -20", 0, "^-20\\n$"},
    {"SetFloat", "set 0:0 Gain 2.25", 0, "^2.25 dB\\n$"},
    {"SetBoolean", "set 0:0 ReverseX true", 0, "^true\\n$"},
    {"SetEnumeration", "set 0:0 PixelFormat Mono12 + get 0:0 PayloadSize", 0,
     "^Mono12\\n4147200\\n$"},
    {"SetString", "set 0:0 DeviceUserID left", 0, "^left\\n$"},
    {"SetNotAnInteger", "set 0:0 Width wide", 1, "Width: 'wide' is not an integer"},
    {"SetNotABoolean", "set 0:0 ReverseX maybe", 1, "ReverseX: 'maybe' is not true or false"},
    {"SetOutOfRange", "set 0:0 Width 99999", 2,
     "Mlo_setIntegerValue\\(0:0, Width, 99999\\): -1999 "},
    {"SetNoSuchEntry", "set 0:0 PixelFormat Mono99", 2,
     "Mlo_setEnumerationValue\\(0:0, PixelFormat, Mono99\\): -1991 "},
    {"SetReadOnly", "set 0:0 SensorWidth 1024", 2,
     "Mlo_setIntegerValue\\(0:0, SensorWidth, 1024\\): -1105 "},
    {"SetCommand", "set 0:0 UserSetSave 1", 1, "UserSetSave is a command: run it with exec"},
    {"Exec", "exec 0:0 UserSetSave", 0, "UserSetSave: done"},
    {"ExecNoCommand", "exec 0:0 Width", 2, "Mlo_executeCommand\\(0:0, Width\\): -1102 "},
    // Memory and registers.
    {"ReadMemory", "read 0:0 0x100000 20", 0,
     "00100000  56 65 73 6b 20 53 69 6d  75 6c 61 74 69 6f 6e 00  \\|Vesk Simulation.\\|\\n"
     "00100010  00 00 00 00 +\\|....\\|"},
    {"ReadRegister", "read 0@0 0x100108", 0, "00100108  00 00 07 80 +\\|....\\|"},
    {"WriteRegister", "write 0:0 0x100108 0x400 + get 0:0 Width", 0,
     "wrote 0x400 to 0x100108\\n1024\\n"},
    {"ReadNothing", "read 0:0 0x100000 0", 1, "read at least one byte"},
    {"ReadTooMuch", "read 0:0 0x100000 65537", 1, "too large \\(at most 65536\\)"},
    {"WriteValueTooLarge", "write 0:0 0x100108 0x100000000", 1, "too large"},
    // Parameter dumps.
    {"DumpAndLoad",
     "set 0:0 Width 640 + dump 0:0 {dir}/dump.txt + set 0:0 Width 1920 + "
     "load 0:0 {dir}/dump.txt + get 0:0 Width",
     0, "saved the features[^]*loaded[^]*\\n640\\n$"},
    {"LoadTrimsBlanks", "load 0:0 {dir}/width.txt + get 0:0 Width", 0, "\\n1024\\n$"},
    {"LoadSkipsUnknown", "load 0:0 {dir}/unknown.txt + get 0:0 Width", 0, "\\n1024\\n$"},
    {"LoadStrictStopsAtUnknown", "load 0:0 {dir}/unknown.txt --strict", 2,
     "Mlo_LoadCameraParameters\\(0:0, .*unknown.txt\\): -1102 "},
    {"LoadRefusedValue", "load 0:0 {dir}/refused.txt", 2,
     "refused.txt\\): the camera refused a value"},
    {"LoadMissingFile", "load 0:0 {dir}/missing.txt", 2, "Mlo_LoadCameraParameters.*: -1003 "},
    {"LoadFolder", "load 0:0 {dir}", 2, "Mlo_LoadCameraParameters.*: -1003 "},
    {"DumpIntoMissingFolder", "dump 0:0 {dir}/missing/dump.txt", 2,
     "Mlo_SaveCameraParameters.*: -1003 "},
    // Board layouts, profiles and link profiles.
    {"ConfigSaveAndLoad", "config save 2 {dir}/layout.xml + config load 2 {dir}/layout.xml", 0,
     "saved the camera layout to .*layout.xml\\nboard 2: the cameras match"},
    {"ConfigOfOtherCameras", "config save 1 {dir}/layout.xml + config load 2 {dir}/layout.xml", 2,
     "Mlo_LoadBoardConfiguration\\(board 2, .*layout.xml\\): -"},
    {"ConfigMissingFile", "config load 0 {dir}/missing.xml", 2,
     "Mlo_LoadBoardConfiguration\\(board 0, .*\\): -1003 "},
    {"ConfigNeitherSaveNorLoad", "config keep 0 {dir}/layout.xml", 1,
     "'keep' is neither save nor load"},
    // No scan fills the table of a board that a profile opens.
    {"ProfileOfUnscannedBoard",
     "config save 2 {dir}/layout.xml + profile {dir}/layout.xml --board 2", 2,
     "Mlo_LoadConnectionProfile\\(board 2, .*\\): -1001 "},
    {"ProfileMissingFile", "profile {dir}/missing.xml", 2, "Mlo_LoadConnectionProfile.*: -1003 "},
    {"LinkProfileStore", "link-profile store 0 {dir}/links.txt", 0,
     "board 0: stored the link profile to .*links.txt"},
    {"LinkProfileRestore",
     "link-profile store 0 {dir}/links.txt + link-profile restore 0 {dir}/links.txt", 2,
     "Mlo_RestoreLowLevelLinkProfile\\(board 0, .*\\): -1991 "},
    // Events, with cables moved through stdin meanwhile.
    {"Events", "events --seconds 1", 0,
     "250 camera added +master id 0x1  masterport=0  linkcount=2"},
    {"EventsOfAPulledCable", "events --seconds 1", 0,
     "(?=[^]*pulled the cable of board 0 port 0\\n)(?=[^]*251 camera lost +master id 0x1)",
     "unplug 0 0\n"},
    {"EventsTooLong", "events --seconds 3601", 1, "too large"},
    // The simulator.
    {"SimRig", "sim rig", 0,
     "0 cxp-camera-ctrl +2 +cxp-single link 0\\n0 cxp-camera-ctrl +3 +-\\n"},
    {"SimUnplugThenScan", "sim unplug 0 1 + scan", 0, "0:0 +0 +0 +12500 .*CXP Dual"},
    {"SimPlugIntoFreePort", "sim unplug 0 2 + sim plug 0 3 cxp-single + scan --ports 0x8", 0,
     "0:0 +3 +3 .*CXP Single"},
    {"SimPlugIntoUsedPort", "sim plug 0 0 cxp-single", 2, "VSimPlug\\(0, 0\\): -3012 "},
    {"SimPlugUnknownCamera", "sim plug 0 3 nobody", 1, "the rig has no camera 'nobody'"},
    {"SimUnplugEmptyPort", "sim unplug 0 3", 2, "VSimUnplug\\(0, 3\\): -3013 no cable"},
    {"SimSilentCameraIsNotFound", "sim fault camera cxp-dual drop=1000 + info 0:0", 0,
     "model +CXP Single"},
    {"SimFaultClearedAgain", "sim fault port 0 0 drop=1000 + sim fault port 0 0 + info 0:0", 0,
     "model +CXP Dual"},
    {"SimUnknownFault", "sim fault camera cxp-dual frob=1", 1, "unknown fault 'frob'"},
    {"SimTripOnBoardWithoutPower", "sim fault trip 3 0", 2, "VSimTripPower\\(3, 0\\): -3011 "},
    {"SimTripClearedByAScan", "sim fault trip 0 0 + info 0:0", 0,
     "tripped the power of board 0 port 0\\n[^]*model +CXP Dual"},
    {"SimCounters", "scan + sim counters 0", 0,
     "PORT +TO CAMERA +FROM CAMERA +LINE ERRORS\\n  0 +[1-9]"},
    {"SimCountersOfNoBoard", "sim counters 9", 2, "VSimGetBoardCounters\\(9\\): -3003 "},
    {"SimUnknownCommand", "sim frob", 1, "sim: unknown command 'frob'"},
};

std::string RowName(const ::testing::TestParamInfo<Row>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Tool, ToolRows, ::testing::ValuesIn(kRows), RowName);

// --json: one document per command, read back by Python's parser; the expression picks a value
// out of the document d.
struct JsonRow {
  const char* name;
  const char* line;
  const char* expression;
  const char* value;
};

void PrintTo(const JsonRow& row, std::ostream* out) { *out << row.line; }

class ToolJson : public ToolRun, public ::testing::WithParamInterface<JsonRow> {};

TEST_P(ToolJson, ParsesAndHoldsTheValue) {
  const JsonRow& row = GetParam();
  const ChildResult tool = Tool(std::string("--json ") + row.line);
  ASSERT_EQ(tool.status, 0) << tool.err;
  const ChildResult python =
      RunChild("/usr/bin/python3",
               {"-c", std::string("import json, sys\n"
                                  "documents = sys.stdin.read().strip().split('\\n')\n"
                                  "assert len(documents) == 1, documents\n"
                                  "d = json.loads(documents[0])\n"
                                  "print(") +
                          row.expression + ")"},
               {}, tool.out);
  EXPECT_EQ(python.status, 0) << python.err << tool.out;
  EXPECT_EQ(python.out, std::string(row.value) + "\n") << tool.out;
}

const JsonRow kJsonRows[] = {
    {"Boards", "boards", "[b['transport'] for b in d['boards']][3:6]",
     "['CLHS', 'Camera Link', 'GigE Vision']"},
    {"Scan", "scan --board 1", "d['cameras'][0]['ports'], d['cameras'][0]['speed']", "[0, 1] 6250"},
    {"Info", "info 0:0", "d['identity']['model'], d['linkPorts'][1]['port']", "CXP Dual 1"},
    {"Xml", "xml 0:0", "d['xml'].startswith('<?xml'), d['size'] == len(d['xml'])", "True True"},
    {"Features", "features 0:0",
     "[f['value'] for c in d['features'] for f in c['features'] if f['name'] == 'Gain']", "[1.5]"},
    {"Get", "get 0:0 DeviceTemperature", "d['value'], d['unit'], d['type']", "41.5 C Float"},
    {"Set", "set 0:0 ReverseY 1", "d['value']", "True"},
    {"Exec", "exec 0:0 UserSetLoad", "d['done']", "True"},
    {"Read", "read 0:0 0x100000 4", "d['data'], d['address']", "5665736b 1048576"},
    {"Write", "write 0:0 0x100108 64", "d['value']", "64"},
    {"Events", "events --seconds 1", "[e['event'] for e in d['events']]", "['camera added']"},
    {"SimRig", "sim rig", "[c['id'] for c in d['cameras']][:2]", "['cxp-dual', 'cxp-single']"},
    {"SimCounters", "sim counters 1", "len(d['ports'])", "4"},
    {"Version", "version", "d['runtime'], d['boards']", "simulated 8"},
};

std::string JsonRowName(const ::testing::TestParamInfo<JsonRow>& info) { return info.param.name; }

INSTANTIATE_TEST_SUITE_P(Tool, ToolJson, ::testing::ValuesIn(kJsonRows), JsonRowName);

// A sim command in a chain under --json gives a document of its own.
TEST_F(ToolRun, ChainedCommandsGiveOneDocumentEach) {
  const ChildResult tool = Tool("--json sim unplug 0 1 + scan + get 0:0 Width");
  ASSERT_EQ(tool.status, 0) << tool.err;
  const ChildResult python = RunChild(
      "/usr/bin/python3",
      {"-c", "import json, sys\nprint([list(json.loads(l)) for l in sys.stdin])"}, {}, tool.out);
  EXPECT_EQ(python.out,
            "[['done'], ['board', 'cameras'], "
            "['camera', 'feature', 'type', 'value', 'unit']]\n")
      << python.err;
}

// -v lets information through the logging dispatcher, -vv everything.
TEST_F(ToolRun, VerbosityRaisesTheLogLevel) {
  const ChildResult information = Tool("-v scan");
  EXPECT_EQ(information.status, 0);
  EXPECT_NE(information.err.find("[3] vesk.genicam."), std::string::npos) << information.err;
  EXPECT_EQ(information.err.find("[1] vesk.genicam."), std::string::npos);
  const ChildResult everything = Tool("-vv scan");
  EXPECT_NE(everything.err.find("[1] vesk.genicam."), std::string::npos);
}

// The scan's waits unshortened, so that it lasts long enough to show its progress.
TEST(ToolOnATerminal, ScanShowsItsProgress) {
  if (access("/usr/bin/script", X_OK) != 0) GTEST_SKIP() << "no script(1) to make a terminal";
  const ChildResult result =
      RunChild("/usr/bin/script", {"-qec", VESK_TOOL " scan", "/dev/null"}, {{"VESK_SIM_RIG", ""}});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("\rscanning board 0 ... 0.1 s"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("0:0 "), std::string::npos) << result.out;
}

// On a board runtime that is not the simulator the tool says so, and the sim commands refuse.
TEST(ToolOnAnotherRuntime, SimCommandsRefuse) {
  TempDir root;
  namespace fs = std::filesystem;
  fs::create_directories(root.File("bin"));
  fs::create_directories(root.File("lib64"));
  fs::copy_file(VESK_TOOL, root.File("bin/vesk-genicam"));
  fs::copy_file(VESK_GENICAM_LIBRARY, root.File("lib64/libvesk_genicam.so"));
  for (const char* name : {"libvesk_hal.so", "libdsnrt.so"})
    fs::copy_file(std::string(VESK_FAKE_RUNTIME) + "/" + name, root.File("lib64/") + name);
  const ChildResult sim = RunChild(root.File("bin/vesk-genicam"), {"sim", "rig"}, kFastScan);
  EXPECT_EQ(sim.status, 1);
  EXPECT_EQ(sim.err,
            "vesk-genicam: sim rig: the board runtime is not the simulated one; sim commands work "
            "on it alone\n");
  const ChildResult version = RunChild(root.File("bin/vesk-genicam"), {"version"}, kFastScan);
  EXPECT_EQ(version.status, 0) << version.err;
  EXPECT_NE(version.out.find("board runtime: found"), std::string::npos) << version.out;
}

}  // namespace
