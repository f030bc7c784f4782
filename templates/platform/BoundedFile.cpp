#include "templates/platform/BoundedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vesk::templates::platform {

namespace {

constexpr size_t kFirstChunk = 4096;

std::string Quoted(const std::string& path) { return "'" + path + "'"; }

std::string SystemError(const char* what, const std::string& path, int error) {
  return std::string(what) + " " + Quoted(path) + ": " + std::strerror(error);
}

std::string TooLarge(const std::string& path, size_t maxBytes) {
  return Quoted(path) + " is larger than " + std::to_string(maxBytes) +
         " bytes, more than any file of its kind";
}

// Closes the descriptor on every way out.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Get() const { return fd_; }

 private:
  const int fd_;
};

// Up to maxBytes + 1 bytes, so that a file that grew since its size was taken is seen as too
// large. False with errno set on a failed read.
bool ReadAll(int fd, size_t sizeHint, size_t maxBytes, std::string& text) {
  const size_t limit = maxBytes + 1;
  text.resize(std::min(std::max(sizeHint + 1, kFirstChunk), limit));
  size_t total = 0;
  while (total < limit) {
    if (total == text.size()) text.resize(std::min(text.size() * 2, limit));
    const ssize_t got = ::read(fd, text.data() + total, text.size() - total);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) break;
    total += static_cast<size_t>(got);
  }
  text.resize(total);
  return true;
}

}  // namespace

BoundedFile BoundedFile::Read(const std::string& path, size_t maxBytes) {
  // A name is looked at before it is opened: opening some devices already does something.
  struct stat info {};
  if (::stat(path.c_str(), &info) != 0) {
    return {Status::kCannotOpen, "", SystemError("Cannot open", path, errno)};
  }
  if (!S_ISREG(info.st_mode)) {
    return {Status::kNotRegular, "", Quoted(path) + " is not a regular file"};
  }
  // Non-blocking, should the name have become a FIFO since.
  const Descriptor fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (fd.Get() < 0) return {Status::kCannotOpen, "", SystemError("Cannot open", path, errno)};
  if (::fstat(fd.Get(), &info) != 0 || !S_ISREG(info.st_mode)) {
    return {Status::kNotRegular, "", Quoted(path) + " is not a regular file"};
  }
  if (static_cast<unsigned long long>(info.st_size) > maxBytes) {
    return {Status::kTooLarge, "", TooLarge(path, maxBytes)};
  }
  std::string text;
  if (!ReadAll(fd.Get(), static_cast<size_t>(info.st_size), maxBytes, text)) {
    return {Status::kReadFailed, "", SystemError("Cannot read", path, errno)};
  }
  if (text.size() > maxBytes) return {Status::kTooLarge, "", TooLarge(path, maxBytes)};
  return {Status::kRead, std::move(text), ""};
}

}  // namespace vesk::templates::platform
