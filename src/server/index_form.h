// The composition root: the one hidden object of the process.
//
// It owns the ports, the timers and everything that commands work on for the life of the process.
// Its public operations forward; no work is done here.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/values/fields.h"
#include "platform/bus/bus.h"
#include "server/ports.h"

namespace vnq {

class IndexForm {
 public:
  /// clock drives the timers through the loop and stamps rows; commands restarts services. Both
  /// outlive the object. bus: to the other nodes; null where the server is alone.
  IndexForm(EventLoop& loop, const Clock& clock, CommandRunner& commands, ProgramFolder folder,
            std::unique_ptr<Bus> bus = nullptr);
  ~IndexForm();

  /// Opens the six listeners, starts the timers, reads what the database and the version file hold,
  /// and sweeps old rows. A step that fails does not stop those behind it; a port that cannot be
  /// bound stays silent. False, and nothing further done, when none could be bound. Yields: no.
  bool Load();

  /// What load has brought about, in a line: how many ports are bound, which are not, and whether
  /// the database can be used. Yields: no. Database: a row of Users_ID is read.
  std::string Readiness();

  /// Reads the keyword lists as load does, and says how long they are. The old ones stay where the
  /// database does not answer. Yields: no. Database: vnq_keyword.
  void ReadKeywordsAgain();

  /// Reads the certificates of listeners with TLS again, for connections from now on, and says so.
  void ReadCertificatesAgain() { ports_.extra().ReadCertificatesAgain(); }

  /// Tells every client, resets presence, closes all slots and listeners. Runs as a handler.
  /// Yields: yes.
  void Unload();

  // --- Operations for outside callers ---

  void ErrLog(const Expr& err1, const Expr& err2);
  void InsertLeaveFile(const Expr& target, const Expr& uploader, const Expr& typePath,
                       const Expr& pcSize, const Expr& filPath, const Expr& msgId);
  void InsertClotFile(const Expr& groupId, const Expr& uploader, const Expr& typePath,
                      const Expr& pcSize, const Expr& filPath, const Expr& msgId);
  void InsertOnlineFile(const Expr& userId, const Expr& typePath, const Expr& pcSize,
                        const Expr& filPath);
  void LeaveMesseng(const Expr& userTag, int16_t kind, const Expr& id);
  void UserMesseng(Fields& fields, SlotIndex slot, const std::string& remoteIp);
  void ClotMesseng(Fields& fields, SlotIndex slot);
  void MeetMesseng(Fields& fields, SlotIndex slot);
  void SameTime(int32_t code, int32_t service);

  Host& host() { return host_; }
  Ports& ports() { return ports_; }

 private:
  void StartTimers();

  EventLoop& loop_;
  ProgramFolder folder_;
  AnsiCodePage page_;
  HttpClient http_;
  Host host_;
  Ports ports_;
  RepeatedWarning outOfMemory_;
  std::vector<EventLoop::TimerId> timers_;
};

}  // namespace vnq
