#include "faults/FailingAllocations.h"

#include <dlfcn.h>
#include <execinfo.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <mutex>
#include <sstream>

extern "C" {
// glibc's own allocator, under the names by which it can be reached once it has been replaced.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace {

constexpr std::size_t kSlots = std::size_t{1} << 16U;
constexpr int kCallers = 24;
constexpr int kOwnFrames = 2;
constexpr uint64_t kBurst = 32;

struct Block {
  void* address = nullptr;
  std::size_t size = 0;
  int callerCount = 0;
  std::array<void*, kCallers> callers = {};
};

std::atomic<bool> counting{false};
std::atomic<bool> burst{false};
std::atomic<uint64_t> allocations{0};
std::atomic<uint64_t> failAt{0};
std::atomic<std::size_t> spared{0};

std::atomic<bool> following{false};
std::mutex tableMutex;
std::array<Block, kSlots> table;
std::size_t used = 0;
thread_local bool inside = false;

bool mustFail(std::size_t size) {
  if (!counting || inside || size == spared) {
    return false;
  }
  const uint64_t number = ++allocations;
  const uint64_t at = failAt;
  const bool fails = at != 0 && (number == at || (burst && number > at && number < at + kBurst));
  if (fails) {
    errno = ENOMEM;
  }
  return fails;
}

void* remember(void* address, std::size_t size) {
  if (address == nullptr || !following || inside) {
    return address;
  }
  inside = true;
  const std::lock_guard<std::mutex> lock(tableMutex);
  if (used < kSlots) {
    Block& block = table[used++];
    block.address = address;
    block.size = size;
    block.callerCount = backtrace(block.callers.data(), kCallers);
  }
  inside = false;
  return address;
}

void forget(void* address) {
  if (address == nullptr || !following || inside) {
    return;
  }
  const std::lock_guard<std::mutex> lock(tableMutex);
  // What goes soon came late.
  for (std::size_t i = used; i-- > 0;) {
    if (table[i].address == address) {
      table[i] = table[--used];
      return;
    }
  }
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return mustFail(size) ? nullptr : remember(__libc_malloc(size), size);
}

void* calloc(std::size_t count, std::size_t size) {
  return mustFail(count * size) ? nullptr : remember(__libc_calloc(count, size), count * size);
}

void* realloc(void* block, std::size_t size) {
  if (mustFail(size)) {
    return nullptr;
  }
  void* moved = __libc_realloc(block, size);
  if (moved != nullptr || size == 0) {
    forget(block);
  }
  return remember(moved, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
  return mustFail(size) ? nullptr : remember(__libc_memalign(alignment, size), size);
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* made = memalign(alignment, size);
  if (made == nullptr) {
    return ENOMEM;
  }
  *block = made;
  return 0;
}

void free(void* block) {
  forget(block);
  __libc_free(block);
}
}

namespace qatest {

void startFailing(uint64_t nth, AllocationFault fault) {
  allocations = 0;
  failAt = nth;
  burst = fault == AllocationFault::burst;
  counting = true;
}

void spareSize(std::size_t size) {
  spared = size;
}

uint64_t stopFailing() {
  counting = false;
  return allocations;
}

void startFollowing() {
  std::array<void*, 1> first = {};
  backtrace(first.data(), 1);  // loads what it needs
  const std::lock_guard<std::mutex> lock(tableMutex);
  used = 0;
  following = true;
}

std::vector<std::string> stopFollowing() {
  following = false;
  std::vector<std::string> blocks;
  for (std::size_t i = 0; i < used; ++i) {
    const Block& block = table[i];
    std::ostringstream text;
    text << block.size << " bytes";
    for (int caller = kOwnFrames; caller < block.callerCount; ++caller) {
      void* const address = block.callers[static_cast<std::size_t>(caller)];
      Dl_info info{};
      if (dladdr(address, &info) == 0) {
        continue;
      }
      const char* file = std::strrchr(info.dli_fname, '/');
      text << (caller == kOwnFrames ? ": " : " < ")
           << (info.dli_sname != nullptr ? info.dli_sname : (file != nullptr ? file + 1 : "?"));
      if (info.dli_sname == nullptr) {
        text << "+" << std::hex
             << static_cast<const char*>(address) - static_cast<const char*>(info.dli_fbase)
             << std::dec;
      } else if (std::strstr(info.dli_fname, "libqatester") != nullptr) {
        break;
      }
    }
    blocks.push_back(text.str());
  }
  return blocks;
}

}  // namespace qatest
