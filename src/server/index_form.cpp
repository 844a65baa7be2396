#include "server/index_form.h"

#include <spdlog/spdlog.h>

#include "accounts/accounts.h"
#include "endpoints/endpoints.h"
#include "files/files.h"
#include "host/server_log.h"
#include "host/slots/wire_codec.h"
#include "messaging/messaging.h"
#include "platform/net/local_address.h"
#include "remote/remote.h"
#include "server/start_up.h"
#include "server/timers.h"
#include "sessions/sessions.h"
#include "support/base64_text.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

// The ports are constants of the program: clients know no others.
constexpr uint16_t kClientPort = 6004;
constexpr uint16_t kVisitorPort = 6001;
constexpr uint16_t kScreenPort = 6002;
constexpr uint16_t kControlPort = 6003;
constexpr uint16_t kApplicationPort = 6007;
constexpr uint16_t kEndpointPort = 6008;

constexpr std::string_view kClientGreeting = ".+SuccessfulConnection|#";
constexpr std::string_view kGreeting = ".+successful_connection|#";

}  // namespace

IndexForm::IndexForm(EventLoop& loop, const Clock& clock, CommandRunner& commands,
                     ProgramFolder folder)
    : loop_(loop),
      folder_(std::move(folder)),
      page_(folder_.codePage),
      http_(loop),
      host_({loop, clock, page_, folder_, http_, commands}),
      sckListen_(loop),
      sckListen6001_(loop),
      sckListen6002_(loop),
      sckListen6003_(loop),
      sckListen6007_(loop),
      sckListen6008_(loop) {
  ServePorts();
}

IndexForm::~IndexForm() {
  for (const EventLoop::TimerId timer : timers_) loop_.StopTimer(timer);
}

// --- Load ---

void IndexForm::Load() {
  OpenListeners();
  host_.ServerIp =
      sckListen_.LocalAddress() == "0.0.0.0" ? FirstLocalAddress() : sckListen_.LocalAddress();
  StartTimers();
  ReadDatabaseSettings(host_);
  SweepOldRows(host_);
  ReadVersionFile(host_);
  SetFontsAndAddresses(host_);
}

void IndexForm::ServePorts() {
  auto serve = [this](SlotArray& slots, void (*onData)(Host&, SlotIndex, const std::string&)) {
    slots.SetOnArrival(
        [this, onData](SlotIndex slot, const std::string& bytes) { onData(host_, slot, bytes); });
  };
  serve(host_.SckServer, OnMainPortData);
  serve(host_.SckServer6001, OnVisitorPortData);
  serve(host_.SckServer6002, OnScreenPortData);
  serve(host_.SckServer6007, OnApplicationPortData);
  serve(host_.SckServer6003, OnControlPortData);
  serve(host_.SckServer6008, OnEndpointPortData);
}

void IndexForm::OpenListeners() {
  const std::string greeting(kGreeting);
  const std::string encodedGreeting = Base64EncodeText(page_, kGreeting);
  Listen(sckListen_, kClientPort, host_.SckServer, Base64EncodeText(page_, kClientGreeting));
  Listen(sckListen6001_, kVisitorPort, host_.SckServer6001, "");
  Listen(sckListen6002_, kScreenPort, host_.SckServer6002, encodedGreeting);
  Listen(sckListen6003_, kControlPort, host_.SckServer6003, greeting);
  Listen(sckListen6007_, kApplicationPort, host_.SckServer6007, encodedGreeting);
  Listen(sckListen6008_, kEndpointPort, host_.SckServer6008, greeting);
}

void IndexForm::Listen(TcpListener& listener, uint16_t port, SlotArray& slots,
                       const std::string& greeting) {
  std::string error;
  auto onRequest = [&slots, greeting](AcceptedSocket request) {
    const SlotIndex slot = slots.Accept(std::move(request));
    if (slot != kNoSlot && !greeting.empty()) slots.Send(slot, greeting);
  };
  if (!listener.Listen(host_.platform.bindAddress, port, std::move(onRequest), error)) {
    spdlog::error("cannot listen on {}", error);
  }
}

void IndexForm::StartTimers() {
  const int32_t pushMs = host_.settings.pushIntervalMs;
  if (pushMs > 0) {
    timers_.push_back(loop_.StartTimer(pushMs, [this] { WeatherTimeTick(host_); }));
  }
  timers_.push_back(loop_.StartTimer(kErrTimerMs, [this] { ErrTimerTick(host_); }));
  timers_.push_back(loop_.StartTimer(kTimer1Ms, [this] { Timer1Tick(host_); }));
}

// --- Unload ---

void IndexForm::Unload() {
  UnloadClients();
  sckListen_.Close();
  UnloadEndpoints();
  sckListen6008_.Close();
  UnloadOthers(host_.SckServer6001, sckListen6001_);
  UnloadOthers(host_.SckServer6002, sckListen6002_);
  UnloadOthers(host_.SckServer6003, sckListen6003_);
  UnloadOthers(host_.SckServer6007, sckListen6007_);
}

void IndexForm::UnloadClients() {
  SlotArray& slots = host_.SckServer;
  const int highest = slots.Highest();
  for (int i = 1; i <= highest; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (!slots.IsConnected(slot)) continue;
    loop_.Yield();
    SendRecord(host_, slot, Join(".+forced_disconnection|", host_.ReadLang("im13"), "|#"));
    ResetPresence(host_, slots.Tag(slot));
    slots.Close(slot);
    slots.SetTag(slot, "");
  }
}

void IndexForm::UnloadEndpoints() {
  SlotArray& slots = host_.SckServer6008;
  const int highest = slots.Highest();
  for (int i = 1; i <= highest; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (!slots.IsConnected(slot)) continue;
    loop_.Yield();
    Cursor row(host_.database);
    row.Open(Sql("Select UserIcoLine from Users_WinInfo where WindowsInfo='?'", slots.Tag(slot)));
    if (row.RecordCount() >= 1) {
      row.Set("UserIcoLine", 0);
      row.Update();
    }
    slots.Close(slot);
    slots.SetTag(slot, "");
  }
}

void IndexForm::UnloadOthers(SlotArray& slots, TcpListener& listener) {
  for (int i = 1; i <= slots.Highest(); ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (!slots.IsConnected(slot)) continue;
    slots.Close(slot);
    slots.SetTag(slot, "");
  }
  listener.Close();
}

// --- Operations for outside callers ---

void IndexForm::ErrLog(const Expr& err1, const Expr& err2) {
  vnq::ErrLog(host_, err1, err2);
}

void IndexForm::InsertLeaveFile(const Expr& target, const Expr& uploader, const Expr& typePath,
                                const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  vnq::InsertLeaveFile(host_, target, uploader, typePath, pcSize, filPath, msgId);
}

void IndexForm::InsertClotFile(const Expr& groupId, const Expr& uploader, const Expr& typePath,
                               const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  vnq::InsertClotFile(host_, groupId, uploader, typePath, pcSize, filPath, msgId);
}

void IndexForm::InsertOnlineFile(const Expr& userId, const Expr& typePath, const Expr& pcSize,
                                 const Expr& filPath) {
  vnq::InsertOnlineFile(host_, userId, typePath, pcSize, filPath);
}

void IndexForm::LeaveMesseng(const Expr& userTag, int16_t kind, const Expr& id) {
  vnq::LeaveMesseng(host_, userTag, kind, id);
}

void IndexForm::UserMesseng(Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  vnq::UserMesseng(host_, fields, slot, remoteIp);
}

void IndexForm::ClotMesseng(Fields& fields, SlotIndex slot) {
  vnq::ClotMesseng(host_, fields, slot);
}

void IndexForm::MeetMesseng(Fields& fields, SlotIndex slot) {
  vnq::MeetMesseng(host_, fields, slot);
}

void IndexForm::SameTime(int32_t code, int32_t service) {
  host_.outgoing.SameTime(code, service);
}

}  // namespace vnq
