// The logging client against the capturing dispatcher of the test installation.
#include <gtest/gtest.h>

#include <thread>

#include "tests/support/CapturedLog.h"
#include "tools/logging/Logging.h"

namespace vesk::tools::logging {
namespace {

using test::CapturedLog;

TEST(Logging, LevelsComeFromTheDispatcherAndWritesGoToItWithIdAndLevel) {
  CapturedLog::SetDefaultLevel(3);
  Logger* logger = Logging::GetLogger("vesk.genicam.CxpPort");
  EXPECT_FALSE(logger->IsEnabled(1));
  EXPECT_FALSE(logger->IsEnabled(2));
  EXPECT_TRUE(logger->IsEnabled(3));
  EXPECT_TRUE(logger->IsEnabled(5));
  CapturedLog::SetAllLevels(1);
  EXPECT_TRUE(logger->IsEnabled(1));

  logger->Write(4, "thread-id=1|Failed to initiate GTX reset");
  const auto lines = CapturedLog::Take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].id, logger->GetId());
  EXPECT_EQ(lines[0].level, 4u);
  EXPECT_EQ(lines[0].text, "thread-id=1|Failed to initiate GTX reset");
}

TEST(Logging, OneNameOneLoggerAndNamesOfOneIdShareIt) {
  Logger* a = Logging::GetLogger("vesk.genicam.lib");
  EXPECT_EQ(Logging::GetLogger("vesk.genicam.lib"), a);
  EXPECT_NE(Logging::GetLogger("vesk.genicam.CxpController"), a);

  CapturedLog::MapNamesToOneId();
  Logger* first = Logging::GetLogger("vesk.genicam.GbePort");
  Logger* second = Logging::GetLogger("vesk.genicam.ClhsController");
  EXPECT_EQ(first, second);
  EXPECT_EQ(first->GetId(), 1u);
}

TEST(Logging, AMutedThreadIsSilentAtEveryLevelAndOthersAreNot) {
  CapturedLog::SetDefaultLevel(1);
  Logger* logger = Logging::GetLogger("vesk.genicam.CxpDiscoveryState");
  EXPECT_FALSE(logger->SetThreadMuted(true)) << "unmuting a thread that is not muted";
  EXPECT_TRUE(logger->SetThreadMuted(false));
  EXPECT_FALSE(logger->SetThreadMuted(false)) << "muting twice";
  for (unsigned int level = 1; level <= 7; ++level) EXPECT_FALSE(logger->IsEnabled(level));

  bool otherThreadEnabled = false;
  std::thread other([&] { otherThreadEnabled = logger->IsEnabled(1); });
  other.join();
  EXPECT_TRUE(otherThreadEnabled);

  EXPECT_TRUE(logger->SetThreadMuted(true));
  EXPECT_TRUE(logger->IsEnabled(1));
}

TEST(Logging, AfterTheDispatcherForgetsUsWritesGoNowhereAndLoggersStay) {
  CapturedLog::SetDefaultLevel(1);
  Logger* logger = Logging::GetLogger("vesk.genicam.GbeKa4Port");
  ASSERT_EQ(CapturedLog::ClientCount(), 1);
  CapturedLog::ForgetClients();
  logger->Write(5, "lost");
  EXPECT_TRUE(CapturedLog::Take().empty());
  // New requests get the silent default logger; the one handed out earlier keeps working.
  EXPECT_FALSE(Logging::GetLogger("vesk.genicam.GbeKa4Port")->IsEnabled(6));
  EXPECT_TRUE(logger->IsEnabled(5));
}

TEST(Logging, ManyThreadsRegisterAndWriteAtOnce) {
  CapturedLog::SetDefaultLevel(1);
  constexpr int kThreads = 4;
  constexpr int kLines = 200;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < kLines; ++i) {
        Logger* logger = Logging::GetLogger(i % 2 ? "vesk.genicam.odd" : "vesk.genicam.even");
        if (logger->IsEnabled(2))
          logger->Write(2, (std::to_string(t) + ":" + std::to_string(i)).c_str());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(CapturedLog::Take().size(), static_cast<size_t>(kThreads * kLines));
}

}  // namespace
}  // namespace vesk::tools::logging
