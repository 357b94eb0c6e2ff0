#include "Preflight.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

namespace cli {

std::string errorText(int error) {
  return std::generic_category().message(error);
}

namespace {

/// Opens and closes `path`; returns why that failed, or an empty text.
std::string probe(const std::string& path, int flags) {
  const int fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
  if (fd < 0) {
    return errorText(errno);
  }
  ::close(fd);
  return "";
}

Preflight inspect(const std::string& path, bool mayBeEmpty) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) {
    return {errorText(errno)};
  }
  if (S_ISDIR(status.st_mode)) {
    return {"is a directory"};
  }
  if (!S_ISREG(status.st_mode)) {
    return {"is not a regular file", true};
  }
  const std::string unreadable = probe(path, O_RDONLY);
  if (unreadable.empty() && status.st_size == 0 && !mayBeEmpty) {
    return {"is empty"};
  }
  return {unreadable};
}

}  // namespace

Preflight inspectMedia(const std::string& path) {
  if (path == "-") {
    return {"standard input cannot be tested, only files", true};
  }
  return inspect(path, false);
}

std::string whyNotReadable(const std::string& path) {
  return inspect(path, true).problem;
}

std::string whyNotAppendable(const std::string& path) {
  return probe(path, O_WRONLY | O_APPEND | O_CREAT);
}

std::string whyNoFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) {
    // A link that leads nowhere exists, but is no folder.
    return error == std::errc::file_exists ? errorText(ENOTDIR) : error.message();
  }
  return ::access(path.c_str(), W_OK | X_OK) == 0 ? "" : errorText(errno);
}

std::string wholePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path whole = std::filesystem::weakly_canonical(path, error);
  // What is not there is not made absolute.
  return (error ? std::filesystem::path(path) : std::filesystem::absolute(whole, error))
      .lexically_normal()
      .string();
}

std::optional<FileIdentity> identityOf(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0
             ? std::optional<FileIdentity>({status.st_dev, status.st_ino})
             : std::nullopt;
}

}  // namespace cli
