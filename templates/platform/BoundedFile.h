#ifndef VESK_TEMPLATES_PLATFORM_BOUNDED_FILE_H
#define VESK_TEMPLATES_PLATFORM_BOUNDED_FILE_H

#include <cstddef>
#include <string>
#include <utility>

namespace vesk::templates::platform {

// The whole content of a file that names an outside input (a settings file, a saved
// configuration, a camera description). Only a regular file is opened, and without blocking, so
// a FIFO or a device given as its name can neither hang nor feed the reader for ever; a file
// larger than anything of its kind is refused before it is read.
//
//   const BoundedFile file = BoundedFile::Read(path, kMaxFileSize);
//   if (!file) return Refuse(file.Error());
//   Parse(file.Text());
class BoundedFile {
 public:
  enum class Status { kRead, kCannotOpen, kNotRegular, kTooLarge, kReadFailed };

  // maxBytes: the most that a real file of the caller's kind could have, with a wide margin.
  static BoundedFile Read(const std::string& path, size_t maxBytes);

  Status GetStatus() const { return status_; }
  explicit operator bool() const { return status_ == Status::kRead; }
  // Empty unless the file was read.
  const std::string& Text() const { return text_; }
  std::string TakeText() { return std::move(text_); }
  // Why the file was not read, with its name; empty after a read.
  const std::string& Error() const { return error_; }

 private:
  BoundedFile(Status status, std::string text, std::string error)
      : status_(status), text_(std::move(text)), error_(std::move(error)) {}

  Status status_;
  std::string text_;
  std::string error_;
};

}  // namespace vesk::templates::platform

#endif
