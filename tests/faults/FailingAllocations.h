#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Takes the place of the C library's allocator in a test program, for every library in it. Not for
/// programs under a sanitizer, which has an allocator of its own.
namespace qatest {

enum class AllocationFault {
  once,   ///< the n-th allocation fails, the next one succeeds
  burst,  ///< the n-th allocation fails, and the 31 behind it
};

/// Counts every allocation of the process from here on, and fails the `nth` (from 1); 0 fails none.
void startFailing(uint64_t nth, AllocationFault fault);

/// Allocations of this size never fail.
void spareSize(std::size_t size);

/// Ends that; returns how many allocations there were.
uint64_t stopFailing();

/// Follows the blocks that are allocated from here on.
void startFollowing();

/// Blocks that were allocated since and are still there, each with its size and its callers, the
/// nearest first, up to the library's interface.
std::vector<std::string> stopFollowing();

}  // namespace qatest
