#include "ReportFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

#include "Output.h"

namespace cli {

namespace {

constexpr int kMaxNameAttempts = 100;
/// A run has fewer reports. One more would only be left behind when the process ends at once.
constexpr std::size_t kMostTemporaries = 16;

/// The names of the temporary files that are there, in memory that need not be asked for.
class Temporaries {
 public:
  /// Makes the file. Returns its descriptor, or -1 and `errno`.
  int make(const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    Name* free = find("");
    if (fd >= 0 && free != nullptr && name.size() < free->size()) {
      (*free)[name.copy(free->data(), free->size() - 1)] = '\0';
    }
    return fd;
  }

  void forget(const std::string& name) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (Name* entry = find(name)) {
      entry->front() = '\0';
    }
  }

  [[noreturn]] void removeAndExit(int exitCode) {
    // Held to the end: nobody makes another one.
    mutex_.lock();
    for (const Name& name : names_) {
      if (name.front() != '\0') {
        ::unlink(name.data());
      }
    }
    _exit(exitCode);
  }

 private:
  using Name = std::array<char, PATH_MAX>;

  Name* find(const std::string& text) {
    const auto found = std::find_if(names_.begin(), names_.end(),
                                    [&](const Name& name) { return text == name.data(); });
    return found != names_.end() ? &*found : nullptr;
  }

  std::mutex mutex_;
  std::array<Name, kMostTemporaries> names_ = {};
};

constinit Temporaries temporaries;

[[noreturn]] void fail(int error) {
  throw std::system_error(error, std::generic_category());
}

/// `result` of a system call, which must not be negative.
int checked(int result) {
  if (result < 0) {
    fail(errno);
  }
  return result;
}

}  // namespace

ReportFile::ReportFile(const std::string& target) : target_(target) {
  struct stat status {};
  if (::stat(target.c_str(), &status) != 0) {
    if (errno != ENOENT) {
      fail(errno);
    }
    std::error_code none;
    if (std::filesystem::is_symlink(target, none)) {
      // Through a link that leads nowhere yet, as a plain write would go, if the system lets one.
      ::close(checked(::open(target.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)));
      target_ = std::filesystem::canonical(target).string();
      ::unlink(target_.c_str());
    }
    makeTemporary();
    return;
  }
  if (S_ISDIR(status.st_mode)) {
    fail(EISDIR);
  }
  // Also the proof that an existing file may be written: a rename would not ask.
  fd_ = checked(::open(target.c_str(), O_WRONLY | O_CLOEXEC));
  if (S_ISREG(status.st_mode)) {
    close();
    // Through a link, as a plain write would go.
    target_ = std::filesystem::canonical(target).string();
    makeTemporary();
  }
}

ReportFile::~ReportFile() {
  close();
  if (!temporary_.empty()) {
    ::unlink(temporary_.c_str());
    temporaries.forget(temporary_);
  }
}

void ReportFile::makeTemporary() {
  const std::filesystem::path folder = std::filesystem::path(target_).parent_path();
  for (int attempt = 0; attempt < kMaxNameAttempts; ++attempt) {
    std::string name =
        (folder / (".qatester-" + std::to_string(::getpid()) + "-" + std::to_string(attempt)))
            .string();
    fd_ = temporaries.make(name);
    if (fd_ >= 0) {
      temporary_ = std::move(name);
      return;
    }
    if (errno != EEXIST) {
      fail(errno);
    }
  }
  fail(EEXIST);
}

void ReportFile::commit(const std::string& text) {
  const int error = writeAll(fd_, text);
  if (error != 0) {
    fail(error);
  }
  if (temporary_.empty()) {
    close();
    return;
  }
  checked(::fsync(fd_));
  close();
  checked(std::rename(temporary_.c_str(), target_.c_str()));
  temporaries.forget(temporary_);
  temporary_.clear();
}

void ReportFile::close() {
  if (fd_ >= 0) {
    ::close(fd_);
    fd_ = -1;
  }
}

void exitWithoutTemporaries(int exitCode) {
  temporaries.removeAndExit(exitCode);
}

}  // namespace cli
