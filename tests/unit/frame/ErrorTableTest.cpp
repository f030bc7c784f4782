#include <gtest/gtest.h>

#include <map>
#include <regex>
#include <set>
#include <string>

#include "tests/support/TempDir.h"
#include "vesk_genicam/impl/Utility.h"
#include "vesk_genicam/impl/vesk_genicam.h"

namespace {

// The order is part of the interface: a lookup returns the first row of a code.
constexpr int kCodesInOrder[] = {
    0,      -1000,  -1001, -1002,  -1003,  -1006,  -1006,  -1008,  -1015,  -1016,  -1009,
    -1010,  -1011,  -1012, -1013,  -1100,  -1101,  -1102,  -1103,  -1198,  -1200,  -1201,
    -1202,  -1211,  -1203, -1204,  -1205,  -1206,  -1207,  -1210,  -1212,  -1213,  -1990,
    -1991,  -1998,  -1999, -2000,  -1017,  -1018,  -40018, -40019, -40020, -1601,  -1603,
    -1604,  -1605,  -1606, -1607,  -1608,  -1611,  -1602,  -32769, -32771, -32772, -32775,
    -32779, -36863, -1501, -1503,  -1504,  -1506,  -1507,  -256,   -64,    -65,    -66,
    -67,    -71,    -128,  -68,    -1104,  -1105,  -1208,  -1209,  -1609,  -1610,  -32770,
    -32774, -1502,  -1505, -32773, -32782, -32783, -69,    -70};

TEST(ErrorTable, RowsInTheirOrderEachCodeAnsweredByItsFirstRow) {
  ASSERT_EQ(g_tbErrorInfoCount, std::size(kCodesInOrder));
  std::set<int> seen;
  for (size_t row = 0; row < g_tbErrorInfoCount; ++row) {
    const int code = g_tbErrorInfo[row].code;
    EXPECT_EQ(code, kCodesInOrder[row]) << "row " << row;
    EXPECT_NE(std::string(g_tbErrorInfo[row].message), "") << "row " << row;
    if (seen.insert(code).second) {
      EXPECT_EQ(Mlo_getErrorDescription(code), g_tbErrorInfo[row].message) << code;
    }
  }
  // -1006 is there twice.
  EXPECT_STREQ(Mlo_getErrorDescription(-1006), "Error when accessing the file");
  EXPECT_STREQ(g_tbErrorInfo[6].message, "Error when loading data from file");
}

// The named codes as the header declares them; read as text, since an enumeration cannot be
// walked.
std::map<int, std::string> NamedCodes() {
  const std::string source =
      vesk::test::ReadText(VESK_SOURCE_DIR "/vesk_genicam/impl/vesk_genicam_codes.h");
  const std::regex enumerator(R"((MLO_\w+) = (-?\d+),?)");
  std::map<int, std::string> names;
  for (std::sregex_iterator it(source.begin(), source.end(), enumerator), end; it != end; ++it) {
    names[std::stoi((*it)[2])] = (*it)[1];
  }
  return names;
}

TEST(ErrorTable, EveryNamedCodeHasItsRowAndEveryRowItsName) {
  const std::map<int, std::string> names = NamedCodes();
  ASSERT_GT(names.size(), 80u);
  for (size_t row = 0; row < g_tbErrorInfoCount; ++row) {
    EXPECT_EQ(names.count(g_tbErrorInfo[row].code), 1u) << "row " << row;
  }
  for (const auto& [code, name] : names) {
    const bool unlisted = code == MLO_ERR_INVALID_DATA || code == MLO_ERR_CXP_NO_LINK_LOCK ||
                          code == MLO_ERR_TIMEOUT || code == MLO_ERR_CXP_INVALID_INTERFACE ||
                          code == MLO_ERR_CXP_SPEED_NOT_IN_TABLE;
    EXPECT_EQ(Mlo_getErrorDescription(code) == std::string("Unknown Error."), unlisted) << name;
  }
}

TEST(ErrorTable, UnknownCodesAndTheWordingApplicationsSee) {
  EXPECT_STREQ(Mlo_getErrorDescription(0), "No error");
  for (int unknown : {-1, 1, -2130})
    EXPECT_STREQ(Mlo_getErrorDescription(unknown), "Unknown Error.");
  // Odd spellings stay as applications have always seen them.
  EXPECT_STREQ(Mlo_getErrorDescription(-1012), "Buffer to small to store all received data");
  EXPECT_STREQ(Mlo_getErrorDescription(-40020), "Underlaying library not loaded");
  EXPECT_STREQ(Mlo_getErrorDescription(-1502),
               "An transmission buffer was full, when trying to send data (CLHS)");
  EXPECT_STREQ(Mlo_getErrorDescription(-70),
               "CXP: Incorrect size received, Message size is inconsistent with message size "
               "indication");
}

}  // namespace
