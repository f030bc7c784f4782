#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <ostream>
#include <string>
#include <thread>

#include "lwip/sys.h"

namespace {

using namespace std::chrono_literals;

// Runs `step` on a thread of its own and tells whether it finished within `bound`. A step that
// stays blocked is left behind (detached) rather than hanging the test.
bool FinishesWithin(std::function<void()> step, std::chrono::milliseconds bound) {
  auto done = std::make_shared<std::promise<void>>();
  std::future<void> finished = done->get_future();
  std::thread([step, done] {
    step();
    done->set_value();
  }).detach();
  return finished.wait_for(bound) == std::future_status::ready;
}

void EnterAndLeave() { sys_arch_unprotect(sys_arch_protect()); }

// The owner enters `depth` times; a stranger's unprotect between changes nothing.
struct ProtectRow {
  int depth;
  bool strangerUnprotects;
};

void PrintTo(const ProtectRow& row, std::ostream* os) {
  *os << "depth " << row.depth << (row.strangerUnprotects ? ", stranger unprotects" : "");
}

class SysArchProtect : public testing::TestWithParam<ProtectRow> {};

TEST_P(SysArchProtect, KeepsOthersOutUntilTheOwnerLeavesEveryLevel) {
  const ProtectRow row = GetParam();
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  std::promise<void> entered;
  std::thread owner([&] {
    for (int i = 0; i < row.depth; ++i) sys_arch_protect();
    entered.set_value();
    released.wait();
    for (int i = 0; i < row.depth; ++i) {
      EXPECT_FALSE(FinishesWithin(EnterAndLeave, 50ms)) << "let in at level " << row.depth - i;
      sys_arch_unprotect(0);
    }
  });
  ASSERT_EQ(entered.get_future().wait_for(5s), std::future_status::ready) << "the owner re-enters";
  if (row.strangerUnprotects) {
    ASSERT_TRUE(FinishesWithin([] { sys_arch_unprotect(0); }, 5s));
  }
  release.set_value();
  owner.join();
  EXPECT_TRUE(FinishesWithin(EnterAndLeave, 5s));
}

INSTANTIATE_TEST_SUITE_P(Levels, SysArchProtect,
                         testing::Values(ProtectRow{1, false}, ProtectRow{3, false},
                                         ProtectRow{1, true}, ProtectRow{2, true}),
                         [](const testing::TestParamInfo<ProtectRow>& info) {
                           return "Depth" + std::to_string(info.param.depth) +
                                  (info.param.strangerUnprotects ? "StrangerUnprotects" : "");
                         });

}  // namespace
