// The composition root: the one hidden object of the process.
//
// It owns the listeners, the timers and everything that commands work on for the life of the
// process, and it ties each port to the room that serves it. Its public operations forward; no work
// is done here.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/values/fields.h"
#include "platform/net/tcp.h"

namespace vnq {

class IndexForm {
 public:
  /// clock drives the timers through the loop and stamps rows; commands restarts services. Both
  /// outlive the object.
  IndexForm(EventLoop& loop, const Clock& clock, CommandRunner& commands, ProgramFolder folder);
  ~IndexForm();

  /// Opens the six listeners, starts the timers, reads what the database and the version file hold,
  /// and sweeps old rows. A step that fails does not stop those behind it; a port that cannot be
  /// bound stays silent. Yields: no.
  void Load();

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

 private:
  void OpenListeners();
  void Listen(TcpListener& listener, uint16_t port, SlotArray& slots, const std::string& greeting);
  void StartTimers();
  void ServePorts();
  void UnloadClients();
  void UnloadEndpoints();
  void UnloadOthers(SlotArray& slots, TcpListener& listener);

  EventLoop& loop_;
  ProgramFolder folder_;
  AnsiCodePage page_;
  HttpClient http_;
  Host host_;
  TcpListener sckListen_, sckListen6001_, sckListen6002_, sckListen6003_, sckListen6007_,
      sckListen6008_;
  std::vector<EventLoop::TimerId> timers_;
};

}  // namespace vnq
