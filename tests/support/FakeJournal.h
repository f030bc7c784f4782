#ifndef VESK_TESTS_SUPPORT_FAKE_JOURNAL_H
#define VESK_TESTS_SUPPORT_FAKE_JOURNAL_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

// The fake runtime libraries append what happens to them, one line each, to the file named by
// VESK_FAKE_JOURNAL, so that a test sees the order across both libraries.
inline void FakeJournal(const char* event) {
  const char* path = std::getenv("VESK_FAKE_JOURNAL");
  if (!path) return;
  const int file = open(path, O_WRONLY | O_CREAT | O_APPEND, 0644);
  if (file < 0) return;
  const size_t length = std::strlen(event);
  if (write(file, event, length) == static_cast<ssize_t>(length)) {
    (void)!write(file, "\n", 1);
  }
  close(file);
}

#endif
