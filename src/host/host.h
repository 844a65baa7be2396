// What commands work on: one bundle, made at start, owned by the composition root and passed by
// reference.
//
// Nothing here is a cache of users or groups: the database owns everything lasting. The values that
// load leaves behind (server/load.h) stay as they are until the process ends, but for the keyword
// lists, which can be read again.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/database/database.h"
#include "host/outgoing/outgoing_calls.h"
#include "host/outgoing/push_queue.h"
#include "host/settings/ansi_code_page.h"
#include "host/settings/program_folder.h"
#include "host/settings/texts.h"
#include "host/slots/pending_records.h"
#include "host/slots/record_trace.h"
#include "host/slots/slots.h"
#include "host/slots/unsynced_receipts.h"
#include "platform/net/clock.h"
#include "platform/net/event_loop.h"
#include "platform/net/peer_warnings.h"
#include "platform/system/paths.h"

namespace vnq {

/// The machine and the deployment as the host is made of them. Everything referred to outlives the
/// host.
struct HostParts {
  EventLoop& loop;
  const Clock& clock;
  const AnsiText& page;
  ProgramFolder& folder;
  HttpClient& http;
  CommandRunner& commands;
};

class Cluster;
class Protection;

struct Host {
  /// Prepares the database that the folder's settings name; opens no port.
  explicit Host(HostParts parts);
  ~Host();

  // --- The machine ---
  EventLoop& loop;
  const Clock& clock;
  const AnsiText& page;
  const PathMapper& paths;
  PlatformSettings platform;

  // --- Settings and texts ---
  std::string AppPath;
  std::string ConnectionString;
  Settings settings;
  Texts texts;

  // --- The database ---
  Database database;

  // --- Connections ---
  std::shared_ptr<ConnectionBudget> budget;  ///< what those of all ports may hold
  SlotArray SckServer;      ///< 6004, clients; Tag: UserID, with `m` behind it for a mobile session
  SlotArray SckServer6001;  ///< web visitors; Tag: stage, then the visitor's identifier
  SlotArray SckServer6002;  ///< screen relay
  SlotArray SckServer6003;  ///< control channel; Tag: the sibling's name
  SlotArray SckServer6007;  ///< account application
  SlotArray SckServer6008;  ///< managed endpoints; Tag: the endpoint's WindowsInfo
  PendingRecords PendingRecord;         ///< by main-port slot: a record whose end has not come
  SlotTexts ReplyBuffer;                ///< by main-port slot: records for the next tick of Timer1
  UnsyncedReceipts unsyncedReceipts;    ///< those in ReplyBuffer that no sync has followed yet
  PendingRecords PendingVisitorRecord;  ///< by 6001 slot: the same for visitor lines
  SlotTable<int32_t> HeartbeatAge;      ///< by 6003 slot: seconds since the sibling was heard

  // --- What the log tells of them ---
  RecordTrace trace;           ///< of users that the operator follows
  LineQuota logIns;            ///< how many log-ins are a line
  PeerWarnings refusedLogins;  ///< by address

  // --- What load leaves behind ---
  std::string ServerIp;                    ///< local address of the main listener
  std::string ServerRootPath;              ///< the data root, with backslashes
  std::vector<std::string> MaskKeywords;   ///< words that are starred out
  std::vector<std::string> BlockKeywords;  ///< words that replace the whole message by a notice
  int32_t MinClientVersion = 0;
  int32_t ClientDownloadVersion = 0;
  std::string ServerFontInfo;
  std::string DefaultFontInfo;
  std::string PushUrl;
  std::string WebSocketResponseTemplate;

  // --- What a deployment lets nobody do ---
  std::unique_ptr<Protection> protection;  ///< null where every wall is down

  // --- The other nodes ---
  std::unique_ptr<Cluster> cluster;  ///< null where this server is alone

  // --- Outgoing ---
  OutgoingCalls outgoing;
  vnq::PushQueue PushQueue;

  /// The text of a key in the machine's language, read afresh at each use.
  std::string ReadLang(std::string_view key) { return texts.ReadLang(key); }
};

}  // namespace vnq
