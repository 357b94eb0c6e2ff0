#include "support/FaultyReads.h"

// Without <unistd.h>, whose own `read` may be an inline function.
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <thread>

extern "C" long syscall(long number, ...) noexcept;

namespace {

std::atomic<bool> active{false};
std::atomic<bool> hanging{false};
std::atomic<int> faults{0};
std::atomic<ino_t> faultyInode{0};
std::atomic<int64_t> faultyOffset{0};

bool isFaulty(int descriptor) {
  struct stat facts {};
  return active && fstat(descriptor, &facts) == 0 && facts.st_ino == faultyInode &&
         syscall(SYS_lseek, descriptor, 0L, SEEK_CUR) >= faultyOffset;
}

}  // namespace

extern "C" ssize_t read(int descriptor, void* buffer, size_t count) {
  if (isFaulty(descriptor)) {
    faults += 1;
    if (!hanging) {
      errno = EIO;
      return -1;
    }
    while (active) {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }
  return syscall(SYS_read, descriptor, buffer, count);
}

namespace qatest {

FaultyReads::FaultyReads(const std::string& file, int64_t offset, ReadFault fault) {
  struct stat facts {};
  stat(file.c_str(), &facts);
  faultyInode = facts.st_ino;
  faultyOffset = offset;
  hanging = fault == ReadFault::hangs;
  faults = 0;
  active = true;
}

FaultyReads::~FaultyReads() {
  active = false;
}

int FaultyReads::met() const {
  return faults;
}

int openDescriptors(const std::string& file) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    count += std::filesystem::read_symlink(entry.path(), gone) == file ? 1 : 0;
  }
  return count;
}

}  // namespace qatest
