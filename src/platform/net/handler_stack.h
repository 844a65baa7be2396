// Private to platform: the stacks that handlers run on, and what changing between them takes.
#pragma once

#include <cxxabi.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <new>

#include <boost/context/stack_context.hpp>

#if defined(__SANITIZE_ADDRESS__)
#define VNQ_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VNQ_ASAN 1
#endif
#endif
#ifdef VNQ_ASAN
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace vnq {

#ifdef VNQ_ASAN
inline constexpr size_t kStackBytes = 1024 * 1024;  // instrumented frames are several times larger
#else
inline constexpr size_t kStackBytes = 256 * 1024;
#endif

struct StackRange {
  const void* bottom = nullptr;
  size_t size = 0;
};

/// Whatever is mapped next at these addresses is no stack: the address sanitizer would go by the
/// marks of frames that were left there.
#ifdef VNQ_ASAN
inline void ForgetStack(void* base, size_t size) {
  __asan_unpoison_memory_region(base, size);
}
#else
inline void ForgetStack(void*, size_t) {}
#endif

/// A stack of its own pages, committed as they are touched, with one page in front that faults on
/// overflow. For Boost.Context.
class GuardedStack {
 public:
  explicit GuardedStack(StackRange& range) : range_(&range) {}

  boost::context::stack_context allocate() {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t size = kStackBytes + page;
    void* base = mmap(nullptr, size, PROT_READ | PROT_WRITE,
                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
    if (base == MAP_FAILED) throw std::bad_alloc();
    mprotect(base, page, PROT_NONE);
    boost::context::stack_context stack;
    stack.size = size;
    stack.sp = static_cast<char*>(base) + size;
    *range_ = {static_cast<char*>(base) + page, kStackBytes};
    return stack;
  }
  void deallocate(boost::context::stack_context& stack) {
    void* const base = static_cast<char*>(stack.sp) - stack.size;
    ForgetStack(base, stack.size);
    munmap(base, stack.size);
  }

 private:
  StackRange* range_;
};

/// The C++ runtime keeps the exceptions in flight per thread. Two handlers inside catch blocks
/// would see each other's, so each stack carries its own copy.
struct ExceptionState {
  void* caught = nullptr;
  unsigned int uncaught = 0;

  static ExceptionState Exchange(const ExceptionState& next) {
    ExceptionState previous;
    void* globals = abi::__cxa_get_globals();
    memcpy(&previous.caught, globals, sizeof previous.caught);
    memcpy(&previous.uncaught, static_cast<char*>(globals) + sizeof(void*), sizeof(unsigned int));
    memcpy(globals, &next.caught, sizeof next.caught);
    memcpy(static_cast<char*>(globals) + sizeof(void*), &next.uncaught, sizeof(unsigned int));
    return previous;
  }
};

/// Tell the address sanitizer that the stack is about to change and, on arrival, that it has.
#ifdef VNQ_ASAN
inline void LeaveStack(void** fakeStack, const StackRange& next) {
  __sanitizer_start_switch_fiber(fakeStack, next.bottom, next.size);
}
inline void ArriveOnStack(void* fakeStack, StackRange* previous) {
  __sanitizer_finish_switch_fiber(fakeStack, previous ? &previous->bottom : nullptr,
                                  previous ? &previous->size : nullptr);
}
#else
inline void LeaveStack(void**, const StackRange&) {}
inline void ArriveOnStack(void*, StackRange*) {}
#endif

}  // namespace vnq
