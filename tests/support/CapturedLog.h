#ifndef VESK_TESTS_SUPPORT_CAPTURED_LOG_H
#define VESK_TESTS_SUPPORT_CAPTURED_LOG_H

#include <string>
#include <vector>

namespace vesk::test {

// A line that the capturing dispatcher received.
struct CapturedLine {
  unsigned long long id;
  unsigned int level;
  std::string text;
};

// The test's side of the capturing dispatcher that the library loaded from the test's
// installation directory. Every call makes sure the library's logging client is built first.
class CapturedLog {
 public:
  static void SetDefaultLevel(unsigned int level);
  static void SetAllLevels(unsigned int level);
  static void MapNamesToOneId();
  static void ForgetClients();
  static int ClientCount();
  // The lines received since the last call.
  static std::vector<CapturedLine> Take();
  // The texts of the failure lines (level 5) among them.
  static std::vector<std::string> TakeFailures();
};

}  // namespace vesk::test

#endif
