// A PostgreSQL server of a test's own, on a loopback address of its own.
//
// For tests that stop it, or that need it to sync; others share the one that
// scripts/with_postgres.sh starts.
#pragma once

#include <fcntl.h>
#include <pwd.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "platform/sql/postgres/postgres_connection.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

class PostgresServer {
 public:
  /// True when the programs of a server are installed.
  static bool IsInstalled() { return !Programs().empty(); }

  enum class Socket { kNone, kInItsFolder };

  /// Makes a database folder and starts the server on it. settings: further ones, as "name=value".
  explicit PostgresServer(std::vector<std::string> settings = {}, Socket socket = Socket::kNone)
      : settings_(std::move(settings)), socket_(socket) {
    options_.host = "127." + std::to_string(100 + getpid() % 100) + "." +
                    std::to_string(getpid() / 100 % 256) + "." + std::to_string(2 + made_++);
    options_.port = "5432";
    options_.database = "postgres";
    options_.user = "vnq";
    ready_ = MakeFolder() && StartAgain();
  }
  ~PostgresServer() {
    End(SIGQUIT);
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

  /// False when it could not be made or did not take a connection.
  bool ready() const { return ready_; }

  /// Where its socket is, when it has one.
  const std::string& folder() const { return folder_; }

  /// How to reach it, as a user who may do everything.
  const ServerDatabaseOptions& options() const { return options_; }

  /// Starts the server and waits until it takes connections. False when it does not.
  bool StartAgain() {
    std::vector<std::string> command = {"postgres",
                                        "-D",
                                        folder_ + "/db",
                                        "-h",
                                        options_.host,
                                        "-k",
                                        socket_ == Socket::kNone ? "" : folder_};
    for (const std::string& setting : settings_) command.insert(command.end(), {"-c", setting});
    server_ = Launch(command);
    for (int i = 0; i < 500; ++i) {
      std::string error;
      if (PostgresConnection::Connect(options_, error)) return true;
      usleep(10'000);
    }
    return false;
  }

  /// Ends the server and waits for that. SIGINT: in order; SIGQUIT: as if it had crashed.
  void End(int signal) {
    if (server_ <= 0) return;
    kill(server_, signal);
    waitpid(server_, nullptr, 0);
    server_ = 0;
  }

 private:
  // The folder of the newest server's programs; empty when there is none.
  static std::string Programs() {
    std::vector<std::string> found;
    std::error_code ignored;
    for (const auto& version :
         std::filesystem::directory_iterator("/usr/lib/postgresql", ignored)) {
      std::string folder = version.path() / "bin";
      if (access((folder + "/initdb").c_str(), X_OK) == 0) found.push_back(folder);
    }
    return found.empty() ? "" : *std::max_element(found.begin(), found.end());
  }

  // The server refuses to run as root.
  static const passwd* ServerUser() { return geteuid() == 0 ? getpwnam("postgres") : nullptr; }

  // What starts a program as that user. Where only root gets past the root folder, as in a chroot
  // of somebody's own, the user keeps root's right to pass.
  static std::vector<std::string> AsServerUser() {
    if (!ServerUser()) return {};
    std::vector<std::string> words = {"/usr/bin/setpriv", "--reuid=postgres", "--regid=postgres",
                                      "--init-groups"};
    struct stat root {};
    if (stat("/", &root) == 0 && (root.st_mode & S_IXOTH) == 0) {
      words.insert(words.end(), {"--securebits=+no_setuid_fixup", "--inh-caps=+dac_read_search",
                                 "--ambient-caps=+dac_read_search"});
    }
    return words;
  }

  bool MakeFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vnq_server_XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) return false;
    folder_ = pattern;
    const passwd* user = ServerUser();
    if (user && chown(folder_.c_str(), user->pw_uid, user->pw_gid) != 0) return false;
    pid_t maker = Launch({"initdb", "-D", folder_ + "/db", "-U", options_.user, "-A", "trust", "-E",
                          "UTF8", "--locale=C.UTF-8", "--no-sync", "--wal-segsize=1"});
    int status = -1;
    return waitpid(maker, &status, 0) == maker && status == 0;
  }

  // Runs one of the server's programs, by its path: initdb looks for the server beside itself, and
  // a bare word it would look up in PATH. What it says goes to a file in the folder.
  pid_t Launch(const std::vector<std::string>& command) const {
    std::vector<std::string> words = AsServerUser();
    words.push_back(Programs() + "/" + command.front());
    words.insert(words.end(), command.begin() + 1, command.end());
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const std::string log = folder_ + "/" + command.front() + ".log";
    pid_t child = fork();
    if (child != 0) return child;
    int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    if (chdir(folder_.c_str()) == 0) execv(arguments[0], arguments.data());
    _exit(127);
  }

  inline static int made_ = 0;  // by this process

  std::string folder_;
  std::vector<std::string> settings_;
  Socket socket_;
  ServerDatabaseOptions options_;
  pid_t server_ = 0;
  bool ready_ = false;
};

/// A process that is stopped in its middle until this goes.
class HeldProcess {
 public:
  explicit HeldProcess(pid_t process) : process_(process) { kill(process_, SIGSTOP); }
  ~HeldProcess() { kill(process_, SIGCONT); }
  HeldProcess(const HeldProcess&) = delete;
  HeldProcess& operator=(const HeldProcess&) = delete;

 private:
  pid_t process_;
};

}  // namespace vnq
