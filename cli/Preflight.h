#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>

namespace cli {

/// What the system calls an error of errno.
std::string errorText(int error);

/// What is known of a path before anything is run on it.
struct Preflight {
  /// Why the path is no readable media file; empty when nothing speaks against it.
  std::string problem;
  /// Opening the path may block or have effects (a pipe, a device, a socket).
  bool mayBlock = false;
};

Preflight inspectMedia(const std::string& path);

/// Why a settings file cannot be read; empty when it can.
std::string whyNotReadable(const std::string& path);

/// Why a log cannot be appended to; empty when it can. Makes the file when it is missing.
std::string whyNotAppendable(const std::string& path);

/// Why pictures cannot be put into a folder; empty when they can. Makes the folder, and those above
/// it, when it is missing.
std::string whyNoFolder(const std::string& path);

/// The path from the root, through all links that there are; what is not there may be its end.
std::string wholePath(const std::string& path);

/// What names that lead to the same file have in common; empty for one that leads to none.
using FileIdentity = std::pair<dev_t, ino_t>;
std::optional<FileIdentity> identityOf(const std::string& path);

}  // namespace cli
