// What a user without rights sees.
#pragma once

#include <grp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>

namespace vnq {

inline constexpr uid_t kNobody = 65534;

/// True where only root gets past the root folder, as in a chroot of somebody's own.
inline bool IsRootFolderClosed() {
  struct stat root {};
  return stat("/", &root) == 0 && (root.st_mode & S_IXOTH) == 0;
}

/// Gives this process another root folder with the same /tmp and /etc, which everybody may pass.
/// It lies in `folder` and goes with the process.
inline bool EnterOpenRoot(const std::string& folder) {
  if (unshare(CLONE_NEWNS) != 0) return false;
  mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);  // where "/" is a mount at all
  if (mount("tmpfs", folder.c_str(), "tmpfs", 0, "mode=755") != 0) return false;
  for (const char* shared : {"/tmp", "/etc"}) {
    const std::string place = folder + shared;
    if (mkdir(place.c_str(), 0755) != 0) return false;
    if (mount(shared, place.c_str(), nullptr, MS_BIND, nullptr) != 0) return false;
  }
  return chroot(folder.c_str()) == 0 && chdir("/") == 0;
}

/// Runs `work` in a child process and returns what it returns. Root, who may read everything, turns
/// into nobody there; any other user stays. It finds /tmp and /etc.
inline std::string AsNobody(const std::function<std::string()>& work) {
  int ends[2];
  char openRoot[] = "/tmp/vnq_root_XXXXXX";
  const bool needsRoot = geteuid() == 0 && IsRootFolderClosed();
  if (pipe(ends) != 0 || (needsRoot && mkdtemp(openRoot) == nullptr)) return "no pipe or folder";
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    const bool isReady = (!needsRoot || EnterOpenRoot(openRoot)) &&
                         (geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 &&
                                             setuid(kNobody) == 0));
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
  if (needsRoot) rmdir(openRoot);
  return status == 0 ? result : result + " (the child failed)";
}

}  // namespace vnq
