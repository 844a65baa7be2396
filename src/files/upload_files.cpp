#include "files/files.h"
#include "host/slots/wire_codec.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

constexpr int32_t kOfflineFile = 1;
constexpr int32_t kGroupFile = 2;

// The numbers of the stores, as receipts tell them; peer and group messages have 1 and 2.
enum class FileStore : int { kLeaveFile = 3, kClotFile = 4 };

Expr ReceiptRecord(FileStore store, const Expr& owner, const Expr& msgId) {
  return Join(".+reply|", static_cast<int>(store), "|", owner, "|", msgId, "|#");
}

std::string DecodePath(const Expr& field) {
  return field.ok() ? UrlDecodeUtf8(field.text()) : "";
}

}  // namespace

void HandleUploadFiles(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  const std::string typePath = DecodePath(fields[1]);
  const std::string filPath = DecodePath(fields[6]);
  const Expr pcSize = fields[2], uploader = fields[3], owner = fields[4], msgId = fields[7];
  int32_t kind = 0;
  Assign(kind, ToInt32(fields[5]));
  if (kind == kOfflineFile) {
    InsertLeaveFile(host, owner, uploader, typePath, pcSize, filPath, msgId);
    AppendReply(host, slot, ReceiptRecord(FileStore::kLeaveFile, owner, msgId));
  } else if (kind == kGroupFile) {
    InsertClotFile(host, owner, uploader, typePath, pcSize, filPath, msgId);
    AppendReply(host, slot, ReceiptRecord(FileStore::kClotFile, owner, msgId));
  }
}

}  // namespace vnq
