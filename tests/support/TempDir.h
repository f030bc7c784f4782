#ifndef VESK_TESTS_SUPPORT_TEMP_DIR_H
#define VESK_TESTS_SUPPORT_TEMP_DIR_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace vesk::test {

// A fresh directory under /tmp, removed with everything in it at the end of the scope.
class TempDir {
 public:
  TempDir() {
    std::string pattern = "/tmp/vesk-test-XXXXXX";
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::string& Path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }
  // A FIFO that nobody writes to.
  std::string Fifo(const std::string& name) const {
    const std::string path = File(name);
    if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error("mkfifo failed");
    return path;
  }

 private:
  std::string path_;
};

// The lines of a text file; none if it does not exist.
inline std::vector<std::string> ReadLines(const std::string& path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The whole content of a file; empty if it does not exist.
inline std::string ReadText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

// What read(path) answers, on a thread of its own: a reader that still waits on a FIFO after a
// few seconds fails the test, and a writer that comes and goes lets it go.
template <class Read>
auto ReadWithinBound(const std::string& path, Read read) {
  auto answer = std::async(std::launch::async, read, path);
  if (answer.wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
    ADD_FAILURE() << "reading " << path << " waits for a writer";
    ::close(::open(path.c_str(), O_WRONLY | O_NONBLOCK));
  }
  return answer.get();
}

}  // namespace vesk::test

#endif
