#include "platform/system/descriptor_limit.h"

#include <sys/resource.h>

namespace vnq {

DescriptorLimit RaiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return {};
  const rlim_t before = limit.rlim_cur;
  limit.rlim_cur = limit.rlim_max;
  return {before, setrlimit(RLIMIT_NOFILE, &limit) == 0 ? limit.rlim_cur : before};
}

}  // namespace vnq
