#include "templates/platform/InterProcessLock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "templates/platform/InterProcessLockGuard.h"

namespace vesk::templates::platform {
namespace {

using Clock = std::chrono::steady_clock;

// The semaphore files of a lock name in /dev/shm: "sem.<name>" and its suffixed companions.
std::set<std::string> ShmFiles(const std::string& name) {
  std::set<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
    const std::string file = entry.path().filename();
    if (file.rfind("sem." + name, 0) == 0) files.insert(file);
  }
  return files;
}

// Another process that builds its own lock of the same name and does what it is told through
// a socket: 't' try_acquire, 'a' acquire, 'r' release. Every answer is awaited with a bound, so a
// wedged child fails the test instead of hanging it.
class Contender {
 public:
  struct Message {
    uint32_t command;
    uint32_t result;
    uint32_t milliseconds;  // the time-out of a 't'; in the answer, the time the command took
  };

  explicit Contender(const std::string& name) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) throw std::runtime_error("socketpair");
    pid_ = fork();
    if (pid_ == 0) {
      close(ends[0]);
      // A forked main thread has its parent's pthread_self(), after which the thread semaphore
      // is named: the child's lock is built by a thread of its own.
      std::thread(Serve, name, ends[1]).join();
      _exit(0);
    }
    close(ends[1]);
    socket_ = ends[0];
    const timeval bound{20, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &bound, sizeof bound);
  }
  ~Contender() {
    if (pid_ > 0) {
      Send('q');
      waitpid(pid_, nullptr, 0);
    }
    close(socket_);
  }

  void Send(char command, uint32_t milliseconds = 0) {
    const Message message{static_cast<uint32_t>(command), 0, milliseconds};
    ASSERT_EQ(write(socket_, &message, sizeof message), ssize_t(sizeof message));
  }
  Message Receive() {
    Message answer{};
    if (read(socket_, &answer, sizeof answer) != sizeof answer) {
      ADD_FAILURE() << "the other process did not answer";
    }
    return answer;
  }
  Message Ask(char command, uint32_t milliseconds = 0) {
    Send(command, milliseconds);
    return Receive();
  }
  void Kill() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

 private:
  static void Serve(const std::string& name, int socket) {
    InterProcessLock lock(name.c_str(), true);
    for (Message message; read(socket, &message, sizeof message) == sizeof message;) {
      if (message.command == 'q') return;
      const Clock::time_point start = Clock::now();
      message.result = message.command != 't' || lock.try_acquire(message.milliseconds);
      if (message.command == 'a') lock.acquire();
      if (message.command == 'r') lock.release();
      message.milliseconds = static_cast<uint32_t>(
          std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
      if (write(socket, &message, sizeof message) != sizeof message) return;
    }
  }

  pid_t pid_ = -1;
  int socket_ = -1;
};

class InterProcessLockTest : public ::testing::Test {
 protected:
  // Tests run in parallel processes, and /dev/shm outlives them.
  const std::string name_ = "vesk-lock-test-" + std::to_string(getpid());

  void TearDown() override {
    for (const std::string& file : ShmFiles(name_)) unlink(("/dev/shm/" + file).c_str());
  }
};

// Processes that make and drop locks of one name at the same time all finish: the last user's
// clean-up in one must not leave another waiting for a share that went with it.
TEST_F(InterProcessLockTest, ProcessesThatComeAndGoTogetherAllFinish) {
  std::vector<pid_t> children;
  for (int child = 0; child < 3; ++child) {
    const pid_t pid = fork();
    if (pid == 0) {
      std::thread([&] {
        for (int round = 0; round < 2000; ++round) {
          InterProcessLock lock(name_.c_str(), true);
          if (round % 3 == 0) {
            lock.enter();
            lock.leave();
          }
        }
      }).join();
      _exit(0);
    }
    children.push_back(pid);
  }
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(20);
  for (pid_t pid : children) {
    int status = -1;
    while (waitpid(pid, &status, WNOHANG) == 0 && Clock::now() < deadline)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (Clock::now() >= deadline) kill(pid, SIGKILL), waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a process hung or failed";
  }
}

// The message with which building a recursive lock of this name fails; empty if it does not.
template <class Error>
std::string FailureOf(const std::string& name) {
  try {
    InterProcessLock lock(name.c_str(), true);
  } catch (const Error& error) {
    return error.what();
  }
  return "";
}

TEST_F(InterProcessLockTest, NamesThatCannotBeSemaphoresThrowBeforeAnyIsMade) {
  EXPECT_EQ(FailureOf<std::runtime_error>(name_ + "/board"), "Semaphore name is invalid");
  // With its leading slash the name reaches the 252 bytes of the name buffer.
  const std::string tooLong = name_ + std::string(251 - name_.size(), 'x');
  EXPECT_EQ(FailureOf<std::logic_error>(tooLong), "Lock name is too long");
  // The main name fits, the thread semaphore's name with its thread id does not.
  const std::string threadTooLong = name_ + std::string(240 - name_.size(), 'x');
  EXPECT_EQ(FailureOf<std::logic_error>(threadTooLong), "Lock  name is too long");
  EXPECT_TRUE(ShmFiles(name_).empty());
  // Without recursion there is no thread semaphore to name.
  InterProcessLock plain(threadTooLong.c_str(), false);
  EXPECT_EQ(ShmFiles(name_), std::set<std::string>{"sem." + threadTooLong});
}

TEST_F(InterProcessLockTest, ExcludesOtherProcessesUntilTheLastOfThreeLevelsIsReleased) {
  InterProcessLock lock(name_.c_str(), true);
  Contender other(name_);
  lock.acquire();
  ASSERT_TRUE(lock.try_acquire(0));
  lock.enter();
  EXPECT_TRUE(lock.isAcquired());
  for (int level = 3; level > 0; --level) {
    EXPECT_FALSE(other.Ask('t').result) << "got in with " << level << " levels held";
    lock.release();
  }
  EXPECT_FALSE(lock.isAcquired());
  EXPECT_TRUE(other.Ask('t').result);
  EXPECT_FALSE(lock.try_acquire(0));
  other.Ask('r');
  EXPECT_TRUE(lock.try_acquire(0));
  lock.release();
}

TEST_F(InterProcessLockTest, AnotherObjectOfTheNameIsExcludedInTheSameProcess) {
  InterProcessLock lock(name_.c_str(), true);
  // Built by another thread, so that it has a thread semaphore of its own.
  std::unique_ptr<InterProcessLock> second;
  std::thread([&] { second = std::make_unique<InterProcessLock>(name_.c_str(), true); }).join();
  lock.acquire();
  EXPECT_FALSE(second->try_acquire(0));
  lock.release();
  EXPECT_TRUE(second->try_acquire(0));
  second->release();
}

TEST_F(InterProcessLockTest, AKilledHolderLetsTheNextProcessIn) {
  InterProcessLock lock(name_.c_str(), true);
  Contender holder(name_);
  holder.Ask('a');
  EXPECT_FALSE(lock.try_acquire(0));
  holder.Kill();
  EXPECT_TRUE(lock.try_acquire(0));
  lock.release();
}

TEST_F(InterProcessLockTest, TryAcquireWaitsInWholeSeconds) {
  InterProcessLock lock(name_.c_str(), true);
  Contender other(name_);
  lock.acquire();
  Contender::Message answer = other.Ask('t', 0);
  EXPECT_FALSE(answer.result);
  EXPECT_LT(answer.milliseconds, 900u) << "a time-out of 0 slept";
  // 2500 ms is taken off in steps of 1000, 1000 and 500, each after a full second's sleep.
  answer = other.Ask('t', 2500);
  EXPECT_FALSE(answer.result);
  EXPECT_GE(answer.milliseconds, 3000u);
  // Freed during the first second: the retry after it succeeds.
  other.Send('t', 5000);
  std::this_thread::sleep_for(std::chrono::milliseconds(200));
  lock.release();
  answer = other.Receive();
  EXPECT_TRUE(answer.result);
  EXPECT_GE(answer.milliseconds, 1000u);
}

TEST_F(InterProcessLockTest, TheLastUserRemovesTheCountsButKeepsTheLockFile) {
  const std::string mainFile = "sem." + name_;
  const std::string countingFile = mainFile + "_c";
  auto first = std::make_unique<InterProcessLock>(name_.c_str(), true);
  std::unique_ptr<InterProcessLock> second;
  std::thread([&] { second = std::make_unique<InterProcessLock>(name_.c_str(), true); }).join();
  std::set<std::string> files = ShmFiles(name_);
  ASSERT_EQ(files.size(), 4u) << "main, counting and one thread semaphore per building thread";
  ASSERT_TRUE(files.count(mainFile) && files.count(countingFile));

  second.reset();
  EXPECT_EQ(ShmFiles(name_), files) << "a user that was not the last removed something";
  first.reset();
  files = ShmFiles(name_);
  EXPECT_TRUE(files.count(mainFile));
  EXPECT_FALSE(files.count(countingFile));
  // Only the last user's thread semaphore goes; the other one's stays behind.
  EXPECT_EQ(files.size(), 2u);

  sem_t* main = sem_open(("/" + name_).c_str(), O_RDWR);
  ASSERT_NE(main, SEM_FAILED);
  int users = -1;
  sem_getvalue(main, &users);
  EXPECT_EQ(users, 0);
  {
    InterProcessLock again(name_.c_str(), true);
    sem_getvalue(main, &users);
    EXPECT_EQ(users, 1) << "a new user of the old file counts as for a new lock";
    EXPECT_TRUE(again.try_acquire(0));
    again.release();
  }
  sem_close(main);
}

TEST_F(InterProcessLockTest, GuardLeavesOnlyWhatWasEnteredAndDeletesWhatItOwns) {
  InterProcessLock lock(name_.c_str(), true);
  lock.enter();
  lock.enter();
  { InterProcessLockGuard notLocked(&lock, false); }
  EXPECT_EQ(lock.lockCount(), 2);
  { InterProcessLockGuard keepOnExit(&lock, true, false, false); }
  EXPECT_EQ(lock.lockCount(), 2);
  { InterProcessLockGuard first(&lock); }
  EXPECT_TRUE(lock.isAcquired());
  { InterProcessLockGuard second(&lock); }
  EXPECT_FALSE(lock.isAcquired());
  EXPECT_EQ(lock.lockCount(), 0);
  { InterProcessLockGuard nothingEntered(&lock); }
  EXPECT_EQ(lock.lockCount(), 0);

  sem_t* main = sem_open(("/" + name_).c_str(), O_RDWR);
  ASSERT_NE(main, SEM_FAILED);
  auto owned = std::make_unique<InterProcessLock>(name_.c_str(), true);
  owned->enter();
  int users = 0;
  sem_getvalue(main, &users);
  EXPECT_EQ(users, 2);
  { InterProcessLockGuard owner(owned.release(), true, true); }
  sem_getvalue(main, &users);
  EXPECT_EQ(users, 1) << "the owned lock was not deleted";
  EXPECT_TRUE(lock.try_acquire(0));
  lock.release();
  sem_close(main);
}

}  // namespace
}  // namespace vesk::templates::platform
