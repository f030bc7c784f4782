#ifndef VESK_TESTS_SUPPORT_CHILD_PROCESS_H
#define VESK_TESTS_SUPPORT_CHILD_PROCESS_H

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vesk::test {

// What a program run to its end left: exit status (-1 when it did not exit on its own in time,
// or died of a signal), stdout and stderr.
struct ChildResult {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs program with arguments, variables added to the environment and input on its stdin; kills
// it once timeout has passed, so that no test waits for ever.
inline ChildResult RunChild(const std::string& program, const std::vector<std::string>& arguments,
                            const std::vector<std::pair<std::string, std::string>>& environment,
                            const std::string& input = "",
                            std::chrono::milliseconds timeout = std::chrono::seconds(60)) {
  int in[2], out[2], err[2];
  if (pipe(in) != 0 || pipe(out) != 0 || pipe(err) != 0) throw std::runtime_error("pipe failed");
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("fork failed");
  if (child == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) close(fd);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> argv{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    execv(program.c_str(), argv.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  close(err[1]);
  // Small inputs fit the pipe; the child reads them when it is ready, or never.
  signal(SIGPIPE, SIG_IGN);
  [[maybe_unused]] const ssize_t written = write(in[1], input.data(), input.size());
  close(in[1]);
  ChildResult result;
  pollfd fds[] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  std::string* texts[] = {&result.out, &result.err};
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  bool killed = false;
  for (int open = 2; open > 0;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      kill(child, SIGKILL);
      killed = true;
      break;
    }
    if (poll(fds, 2, static_cast<int>(left.count())) <= 0) continue;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP))) continue;
      char bytes[4096];
      const ssize_t got = read(fds[i].fd, bytes, sizeof bytes);
      if (got > 0) {
        texts[i]->append(bytes, static_cast<size_t>(got));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  for (const pollfd& fd : fds) {
    if (fd.fd >= 0) close(fd.fd);
  }
  int status = 0;
  waitpid(child, &status, 0);
  if (!killed && WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

}  // namespace vesk::test

#endif
