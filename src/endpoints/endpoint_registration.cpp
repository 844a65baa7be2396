// Managed computers: they register, answer the console, and report USB disks.
#include "endpoints/endpoints.h"
#include "endpoints/plain_text.h"
#include "host/nodes/crossing.h"
#include "host/server_log.h"
#include "support/ascii_case.h"

namespace vnq {
namespace {

// The peer on the control channel that steers managed computers.
constexpr std::string_view kConsole = "VNQPcTelnet";
constexpr size_t kInformationFields = 15;

// Fields behind the last one wanted are cut off; with one missing there is no record.
Expr SubmitInformationRecord(const Fields& fields) {
  Expr record(".+submit_information|");
  for (size_t field = 1; field <= kInformationFields; ++field) {
    record = Join(record, fields[field], "|");
  }
  return Join(record, "#");
}

void AssignEndpoint(Cursor& row, const Fields& fields, const std::string& remoteIp) {
  row.Set("UserName", fields[2]);
  row.Set("Upan", fields[3]);
  row.Set("LocalIP", remoteIp);
  row.Set("UserIcoLine", 1);
  row.UpdateOnce({"WindowsInfo"});
}

// Kept: only a single row counts as known. Of a name with two rows each landing makes one more.
void SaveEndpoint(Host& host, const Fields& fields, const std::string& remoteIp) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select *  from Users_WinInfo where WindowsInfo='?'", fields[1]));
  if (Adodc2.RecordCount() != 1) {
    Adodc2.AddNew();
    Adodc2.Set("WindowsInfo", fields[1]);
  }
  AssignEndpoint(Adodc2, fields, remoteIp);
  Adodc2.Close();
}

// "true" and "false" in any letter case, and numbers, of which 0 is false; anything else is no
// truth value.
std::optional<bool> ToBoolean(const Expr& value) {
  if (SameButForCase(OrEmpty(value), "true")) return true;
  if (SameButForCase(OrEmpty(value), "false")) return false;
  const std::optional<double> number = ToNumber(value);
  return number ? std::optional<bool>(*number != 0) : std::nullopt;
}

// What a computer reports of a disk, as the log says it. Of a kind that is neither there are no
// words, not even the computer's own.
Expr DiskWords(Host& host, const Expr& computer, int16_t kind, bool inserted) {
  if (kind == 1) return Join(computer, host.ReadLang(inserted ? "im57" : "im56"));
  if (kind == 2) return Join(computer, host.texts.ReadLang("PcTelnet", inserted ? "im3" : "im2"));
  return "";
}

}  // namespace

// --- Commands ---

void HandleEndpointLanding(Host& host, Fields& fields, SlotIndex slot,
                           const std::string& remoteIp) {
  host.loop.Yield();
  if (Is(fields[1], "")) fields.Set(1, remoteIp);
  DropHolders(host, host.SckServer6008, fields[1]);
  DisplaceElsewhere(host, NodeArray::kEndpoints, fields[1], "");
  host.SckServer6008.SetTag(slot, fields[1]);
  SaveEndpoint(host, fields, remoteIp);
}

void HandleSubmitInformation(Host& host, Fields& fields, SlotIndex, const std::string&) {
  const SlotIndex console = host.SckServer6003.FirstConnected(kConsole);
  if (console == kNoSlot) {
    AskElsewhere(host, NodeArray::kControl, kConsole, order::kPlain,
                 {ArrayWord(NodeArray::kControl), kConsole, SubmitInformationRecord(fields)});
    return;
  }
  host.loop.Yield();
  SendPlainText(host, host.SckServer6003, console, SubmitInformationRecord(fields));
}

void HandleInsertUDisk(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  bool inserted = false;
  Assign(inserted, ToBoolean(fields[4]));
  int16_t kind = 0;
  Assign(kind, ToInt16(fields[3]));
  std::string text;
  Assign(text, DiskWords(host, fields[1], kind, inserted));
  WriteServerLog(host, text, fields[2], remoteIp,
                 inserted ? LogIcon::kDiskInserted : LogIcon::kDiskRemoved);
}

}  // namespace vnq
