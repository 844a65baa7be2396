// Any bytes as what the server sends to a client of this project.
//
// Where the stream is cut makes no difference to the records, and each comes out in words. What a
// client sends reads back on the server's side.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "host/settings/ansi_code_page.h"
#include "support/base64_text.h"
#include "tools/client/record_stream.h"
#include "tools/client/record_words.h"

namespace {

using Records = std::vector<std::string>;

void Require(bool promise) {
  if (!promise) std::abort();
}

Records Read(const vnq::AnsiText& page, std::string_view bytes, size_t cut) {
  vnq::RecordStream stream(page);
  Records records;
  while (!bytes.empty()) {
    for (std::string& record : stream.Feed(bytes.substr(0, cut))) records.push_back(record);
    bytes.remove_prefix(std::min(cut, bytes.size()));
  }
  for (std::string& record : stream.TakeRest()) records.push_back(record);
  Require(!stream.HasRest());
  return records;
}

void CheckWords(const Records& records) {
  vnq::KnownNames names;
  for (const std::string& record : records) {
    const vnq::RecordFields fields(record);
    vnq::RecordWords(fields, names);
    vnq::PresenceWord(fields.word());
    vnq::IsOwnCopy(fields[7]);
    vnq::DeliveryKey(fields, record);
  }
}

// A text that is cut in parts arrives as the reads of its parts.
void CheckSending(const vnq::AnsiText& page, std::string_view text) {
  std::string arrived;
  for (const std::string& part : vnq::EncodeForMainPort(page, text)) {
    Require(part.size() % 4 == 0 && part.find('=') == part.npos);
    arrived += vnq::Base64DecodeBytes(part);
  }
  std::string bytes = page.ToBytes(page.FromBytes(page.ToBytes(text)));
  while (arrived.ends_with('\n')) arrived.pop_back();
  while (bytes.ends_with('\n')) bytes.pop_back();
  std::erase(arrived, '\n');
  std::erase(bytes, '\n');
  Require(arrived == bytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const vnq::AnsiCodePage page(vnq::CodePage::Open(936));
  if (size == 0) return 0;
  const size_t cut = 1 + data[0] % 7;
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);
  // Text that begins like a record is encoded first, as the server does.
  const std::string wire = bytes.starts_with('.')
                               ? vnq::Base64EncodeText(page, page.FromBytes(bytes))
                               : std::string(bytes);
  const Records records = Read(page, wire, wire.size() + 1);
  Require(Read(page, wire, cut) == records);
  CheckWords(records);
  CheckSending(page, page.FromBytes(bytes));
  return 0;
}
