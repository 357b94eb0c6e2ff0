#pragma once

#include <cstdint>
#include <string>

namespace qatest {

enum class ReadFault {
  fails,  ///< with an I/O error
  hangs,  ///< until the object goes
};

/// While one lives, reading the file at `offset` or behind it goes wrong: it takes the place of
/// POSIX `read` in a test program. Only one at a time.
class FaultyReads {
 public:
  FaultyReads(const std::string& file, int64_t offset, ReadFault fault);
  ~FaultyReads();
  FaultyReads(const FaultyReads&) = delete;
  FaultyReads& operator=(const FaultyReads&) = delete;

  /// How many reads have met the fault.
  int met() const;
};

/// How many file descriptors of this process refer to the file.
int openDescriptors(const std::string& file);

}  // namespace qatest
