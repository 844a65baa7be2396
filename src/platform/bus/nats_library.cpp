#include "platform/bus/nats_library.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <mutex>

namespace vnq {
namespace {

// The number in the name changes with whatever a caller might notice.
constexpr const char* kFiles[] = {"libnats.so.3.4", "libnats.so.3"};

void* OpenFile(std::string& error) {
  for (const char* file : kFiles) {
    if (void* const handle = dlopen(file, RTLD_NOW | RTLD_LOCAL)) return handle;
  }
  error = fmt::format("{} cannot be loaded; Debian's package libnats3.4 has it", kFiles[0]);
  return nullptr;
}

template <typename Function>
bool Find(void* handle, const char* name, Function& function, std::string& error) {
  function = reinterpret_cast<Function>(dlsym(handle, name));
  if (function == nullptr) error = fmt::format("the NATS library has no {}", name);
  return function != nullptr;
}

bool FindAll(void* handle, NatsLibrary& library, std::string& error) {
#define VNQ_NATS_FIND(result, name, arguments) \
  if (!Find(handle, #name, library.name, error)) return false;
  VNQ_NATS_FUNCTIONS(VNQ_NATS_FIND)
#undef VNQ_NATS_FIND
  return true;
}

}  // namespace

const NatsLibrary* NatsLibrary::Load(std::string& error) {
  static std::mutex mutex;
  static NatsLibrary library;
  static bool loaded = false;
  const std::lock_guard lock(mutex);
  if (loaded) return &library;
  void* const handle = OpenFile(error);
  if (handle == nullptr || !FindAll(handle, library, error)) return nullptr;
  const NatsStatus opened = library.nats_Open(-1);
  if (opened != kNatsOk) {
    error = library.natsStatus_GetText(opened);
    return nullptr;
  }
  loaded = true;
  return &library;
}

}  // namespace vnq
