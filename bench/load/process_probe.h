// What a process has used so far, as the system counts it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>

namespace vnq::bench {

struct ProcessUse {
  double cpuUs = 0;  ///< user and system time of all threads that live
  int64_t rssKb = 0;
  int64_t descriptors = 0;
};

/// Nothing when there is no such process, or it may not be looked at.
std::optional<ProcessUse> LookAtProcess(pid_t pid);

/// CPU time of a process and of its children that live, in µs.
double CpuWithChildrenUs(pid_t pid);

/// CPU time of this process and of this thread, in µs.
double OwnCpuUs();
double ThreadCpuUs();

/// Lets this process hold as many connections as it is allowed to; returns how many descriptors.
int64_t RaiseDescriptorLimit();

}  // namespace vnq::bench
