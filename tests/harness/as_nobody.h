// What a user without rights sees.
#pragma once

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace vnq {

inline constexpr uid_t kNobody = 65534;

/// Runs `work` in a child process and returns what it returns. Root, who may read everything, turns
/// into nobody there; any other user stays.
inline std::string AsNobody(const std::function<std::string()>& work) {
  int ends[2];
  if (pipe(ends) != 0) return "no pipe";
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    const bool isReady = geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 &&
                                            setuid(kNobody) == 0);
    const std::string result = isReady ? work() : "root stays root";
    const ssize_t written = write(ends[1], result.data(), result.size());
    _exit(written == static_cast<ssize_t>(result.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string result;
  char buffer[4096];
  for (ssize_t got; (got = read(ends[0], buffer, sizeof buffer)) > 0;) {
    result.append(buffer, static_cast<size_t>(got));
  }
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 ? result : result + " (the child failed)";
}

}  // namespace vnq
