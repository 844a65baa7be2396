#include "server/ports.h"

#include <algorithm>
#include <new>

#include "endpoints/endpoints.h"
#include "host/protection/protection.h"
#include "platform/net/port_holder.h"
#include "platform/system/event_log.h"
#include "server/command_table.h"
#include "sessions/sessions.h"
#include "support/base64_text.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

std::optional<std::string> ReadBase64(Host& host, SlotIndex, const std::string& bytes) {
  return Base64DecodeText(host.page, bytes);
}

// A client that wants a line break in a text escapes it.
std::optional<std::string> ReadWithoutLineBreaks(Host& host, SlotIndex, const std::string& bytes) {
  std::string text = Base64DecodeText(host.page, bytes);
  std::erase(text, '\r');
  std::erase(text, '\n');
  return text;
}

std::optional<std::string> ReadPlainText(Host& host, SlotIndex, const std::string& bytes) {
  return host.page.FromBytes(bytes);
}

constexpr std::string_view kClientGreeting = ".+SuccessfulConnection|#";
constexpr std::string_view kGreeting = ".+successful_connection|#";

// The ports that no sweep visits keep the slots of peers that vanish; see docs/operating.md.
// clang-format off
constexpr PortRow kPorts[] = {
  {kClientPort, "clients",                   1, &Host::SckServer,     kClientGreeting, Wire::kBase64,
   ReadWithoutLineBreaks, true,  &Host::PendingRecord,        ClientCommands,      TakeLeaveOfClient},
  {6001, "web visitors",                     3, &Host::SckServer6001, "",              Wire::kWebSocket,
   ReadVisitorText,       true,  &Host::PendingVisitorRecord, VisitorCommands,     nullptr},
  {6002, "screen relay",                     4, &Host::SckServer6002, kGreeting,       Wire::kBase64,
   ReadBase64,            true,  nullptr,                     ScreenCommands,      nullptr},
  {6003, "sibling services and the console", 5, &Host::SckServer6003, kGreeting,       Wire::kPlainText,
   ReadControlText,       true,  nullptr,                     ControlCommands,     nullptr},
  {6007, "applications for an account",      6, &Host::SckServer6007, kGreeting,       Wire::kBase64,
   ReadBase64,            false, nullptr,                     ApplicationCommands, nullptr},
  {6008, "managed computers",                2, &Host::SckServer6008, kGreeting,       Wire::kPlainText,
   ReadPlainText,         false, nullptr,                     EndpointCommands,    TakeLeaveOfEndpoint},
};
// clang-format on

std::string Greeting(const Host& host, const PortRow& row) {
  return row.wire == Wire::kBase64 ? Base64EncodeText(host.page, row.greeting)
                                   : std::string(row.greeting);
}

}  // namespace

std::span<const PortRow> PortTable() {
  return kPorts;
}

Ports::Ports(Host& host)
    : host_(host),
      starved_(host.loop, "connections have to wait", "descriptors_out"),
      extra_(host.loop, host.platform.listeners, starved_) {
  for (const PortRow& row : kPorts) {
    Port& port = ports_.emplace_back(row, host.loop, starved_);
    (host.*row.slots).SetOnArrival([this, &port](SlotIndex slot, std::string bytes) {
      Read(port, slot, std::move(bytes));
    });
  }
}

Ports::Port& Ports::Find(uint16_t number) {
  return *std::find_if(ports_.begin(), ports_.end(),
                       [number](const Port& port) { return port.row.number == number; });
}

const std::string& Ports::LocalAddress(uint16_t number) {
  return Find(number).listener.LocalAddress();
}

const Dispatcher& Ports::DispatcherOf(uint16_t number) {
  return Find(number).dispatcher;
}

// --- Load ---

void Ports::Load() {
  for (Port& port : ports_) Listen(port);
  extra_.Load([this](uint16_t protocol) { return RequestsOf(Find(protocol)); },
              host_.platform.protection.unreadTimeoutS);
}

// What becomes of a connection, whichever way it has come.
TcpListener::OnRequest Ports::RequestsOf(Port& port) {
  SlotArray& slots = host_.*port.row.slots;
  return [this, &slots, &row = port.row,
          greeting = Greeting(host_, port.row)](AcceptedSocket request) {
    Protection* const walls = host_.protection.get();
    if (walls && !walls->AdmitsConnection(row.number, request.remoteIp())) return;
    const SlotIndex slot = slots.Accept(std::move(request));
    if (slot == kNoSlot) return;
    if (walls) walls->SlotTaken(slots, slot, row.pending);
    if (!greeting.empty()) slots.Send(slot, greeting);
  };
}

void Ports::Listen(Port& port) {
  port.listener.SetUnreadTimeout(host_.platform.protection.unreadTimeoutS);
  std::string error;
  if (!port.listener.Listen(host_.platform.bindAddress, port.row.number, RequestsOf(port), error)) {
    const std::string holder = HolderOfPort(host_.platform.bindAddress, port.row.number);
    LogError("port_not_bound", "cannot listen on {}{}{}", error, holder.empty() ? "" : ", by ",
             holder);
  }
}

std::vector<uint16_t> Ports::Unbound() const {
  std::vector<uint16_t> numbers;
  for (const Port& port : ports_) {
    if (port.listener.LocalAddress().empty()) numbers.push_back(port.row.number);
  }
  return numbers;
}

// --- Reads ---

void Ports::OnRead(uint16_t number, SlotIndex slot, const std::string& bytes) {
  Read(Find(number), slot, bytes);
}

void Ports::Read(Port& port, SlotIndex slot, std::string bytes) {
  SlotArray& slots = host_.*port.row.slots;
  const std::string remoteIp = slots.RemoteHostIP(slot);
  const std::optional<std::string> text = port.row.read(host_, slot, bytes);
  std::string().swap(bytes);  // its commands may take long
  if (text && host_.protection && !host_.protection->AdmitsRead(slots, slot, *text)) return;
  if (text) port.dispatcher.Run(host_, *text, slot, remoteIp);
}

// --- Unload ---

void Ports::Unload() {
  std::vector<Port*> inTurn;
  for (Port& port : ports_) inTurn.push_back(&port);
  std::sort(inTurn.begin(), inTurn.end(),
            [](const Port* a, const Port* b) { return a->row.unloadTurn < b->row.unloadTurn; });
  for (Port* port : inTurn) {
    CloseSlots(port->row);
    port->listener.Close();
    extra_.Close(port->row.number);
  }
}

// Where memory is short, a slot loses its farewell, and the others do not.
void Ports::TakeLeave(const PortRow& row, SlotIndex slot) {
  try {
    if (row.takeLeave != nullptr) row.takeLeave(host_, slot);
  } catch (const std::bad_alloc&) {
    host_.loop.NoteOutOfMemory();
  }
}

void Ports::CloseSlots(const PortRow& row) {
  SlotArray& slots = host_.*row.slots;
  for (const SlotIndex slot : slots.AllNow()) {
    if (!slots.IsConnected(slot)) continue;
    TakeLeave(row, slot);
    slots.Close(slot);
    slots.SetTag(slot, "");
  }
}

}  // namespace vnq
