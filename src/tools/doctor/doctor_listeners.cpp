#include <sys/stat.h>

#include "platform/net/event_loop.h"
#include "platform/net/tcp.h"
#include "platform/net/tls.h"
#include "support/shell_text.h"
#include "tools/doctor/doctor.h"

namespace vnq {

namespace {

constexpr int64_t kADayS = 86'400;
constexpr int64_t kSoonDays = 21;

class ListenerCheck {
 public:
  ListenerCheck(const ProgramFolder& folder, const ListenerSettings& listener, Findings& findings)
      : file_(PlatformIniPath(folder.appPath)), listener_(listener), findings_(findings) {}

  void CheckCertificate() {
    TlsServer tls;
    std::string error;
    if (!tls.Load(listener_.certificateFile, listener_.keyFile, error)) {
      return findings_.Error(At("certificate", listener_.certificateFile) +
                             " cannot be used, and the listener stays closed: " + error);
    }
    CheckKeyPermissions();
    CheckDates(tls);
  }

 private:
  void CheckKeyPermissions() {
    struct stat status = {};
    if (stat(listener_.keyFile.c_str(), &status) != 0 || (status.st_mode & S_IROTH) == 0) return;
    findings_.Warning(At("key", listener_.keyFile) +
                      " may be read by everybody on this machine; run: chmod o-rwx " +
                      ShellWord(listener_.keyFile));
  }

  void CheckDates(const TlsServer& tls) {
    const std::string at = At("certificate", listener_.certificateFile);
    const int64_t left = tls.SecondsToEnd();
    const std::string days = std::to_string((left < 0 ? -left : left) / kADayS);
    if (tls.SecondsSinceBegin() < 0) {
      findings_.Error(at +
                      " does not hold yet, and clients refuse it; is this machine's date right?");
    } else if (left < 0) {
      findings_.Error(at + " ended " + days + " days ago, and clients refuse it" + kCure);
    } else if (left < kSoonDays * kADayS) {
      findings_.Warning(at + " ends in " + days + " days" + kCure);
    } else {
      findings_.Ok("listener " + listener_.name + ": its certificate holds for " + days + " days");
    }
  }

  std::string At(std::string_view key, const std::string& value) const {
    return KeyAt(file_, "listener " + listener_.name, key, value);
  }

  static constexpr const char* kCure =
      "; put a new one in its place, which the server reads on SIGHUP";

  std::string file_;
  const ListenerSettings& listener_;
  Findings& findings_;
};

}  // namespace

void ExamineListeners(const ProgramFolder& folder, Findings& findings) {
  for (const ListenerSettings& listener : folder.platform.listeners) {
    if (listener.tls) ListenerCheck(folder, listener, findings).CheckCertificate();
  }
}

}  // namespace vnq
