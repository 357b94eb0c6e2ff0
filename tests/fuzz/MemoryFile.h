#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/Input.h"

namespace qafuzz {

/// A file that is nowhere but in memory, and has a name all the same.
class MemoryFile {
 public:
  MemoryFile(const uint8_t* data, std::size_t size)
      : fd_(::memfd_create("input", MFD_CLOEXEC)), name_("/proc/self/fd/" + std::to_string(fd_)) {
    require(fd_ >= 0, "a file can be made in memory");
    require(::write(fd_, data, size) == static_cast<ssize_t>(size), "and written");
  }
  explicit MemoryFile(const std::string& text)
      : MemoryFile(reinterpret_cast<const uint8_t*>(text.data()), text.size()) {}
  ~MemoryFile() { ::close(fd_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;

  int fd() const { return fd_; }
  const std::string& name() const { return name_; }

  std::string content() const {
    std::string text(static_cast<std::size_t>(::lseek(fd_, 0, SEEK_END)), '\0');
    require(::pread(fd_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
            "a file in memory can be read");
    return text;
  }

 private:
  int fd_;
  std::string name_;
};

}  // namespace qafuzz
