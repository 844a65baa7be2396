#include "bench/load/process_probe.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <time.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace vnq::bench {
namespace {

namespace fs = std::filesystem;

double ClockUs(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

// The process's CPU clock counts in nanoseconds, unlike the ticks of /proc/PID/stat.
std::optional<double> CpuUs(pid_t pid) {
  clockid_t clock{};
  if (clock_getcpuclockid(pid, &clock) != 0) return std::nullopt;
  return ClockUs(clock);
}

int64_t ResidentKb(pid_t pid) {
  std::ifstream status(fmt::format("/proc/{}/status", pid));
  std::string word;
  int64_t kb = 0;
  while (status >> word) {
    if (word == "VmRSS:" && status >> kb) return kb;
  }
  return 0;
}

int64_t Descriptors(pid_t pid) {
  std::error_code error;
  int64_t count = 0;
  fs::directory_iterator entries(fmt::format("/proc/{}/fd", pid), error);
  for (; !error && entries != fs::directory_iterator(); entries.increment(error)) ++count;
  return count;
}

}  // namespace

std::optional<ProcessUse> LookAtProcess(pid_t pid) {
  const auto cpuUs = CpuUs(pid);
  if (!cpuUs) return std::nullopt;
  return ProcessUse{*cpuUs, ResidentKb(pid), Descriptors(pid)};
}

double CpuWithChildrenUs(pid_t pid) {
  double us = CpuUs(pid).value_or(0);
  std::ifstream children(fmt::format("/proc/{0}/task/{0}/children", pid));
  for (pid_t child = 0; children >> child;) us += CpuWithChildrenUs(child);
  return us;
}

double OwnCpuUs() {
  return ClockUs(CLOCK_PROCESS_CPUTIME_ID);
}

double ThreadCpuUs() {
  return ClockUs(CLOCK_THREAD_CPUTIME_ID);
}

int64_t RaiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<int64_t>(limit.rlim_cur);
}

}  // namespace vnq::bench
