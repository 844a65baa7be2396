#include "platform/system/memory.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

namespace vnq {
namespace {

constexpr size_t kReserveBytes = 4 * 1024 * 1024;
constexpr size_t kMuchBytes = 32 * 1024 * 1024;

void* reserve = nullptr;

void GiveUpReserve() {
  if (reserve == nullptr) throw std::bad_alloc();
  free(std::exchange(reserve, nullptr));
}

}  // namespace

void HoldMemoryInReserve() {
  if (reserve == nullptr) reserve = malloc(kReserveBytes);
  std::set_new_handler(GiveUpReserve);
}

void GiveBackFreeMemory() {
  static size_t known = 0;  // free within the process, and looked at before
  const size_t now = mallinfo2().fordblks;
  known = std::min(known, now);
  if (now - known < kMuchBytes) return;
  malloc_trim(0);
  known = mallinfo2().fordblks;
}

}  // namespace vnq
