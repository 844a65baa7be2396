#include "tools/history/parked_requests.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>

#include "tools/folder/in_transaction.h"

namespace vnq {
namespace {

// Rows are parked under the tag of a session.
Statement ParkedFor(const std::string& UserID, Device device) {
  return Sql("Select * from MessengVerify_Type where UserID1='?'",
             UserID + (device == Device::kMobile ? "m" : ""));
}

ParkedRequest ReadRow(const Cursor& row) {
  return {OrEmpty(row["ClotID"]),   OrEmpty(row["UserID2"]),  OrEmpty(row["UserText"]),
          OrEmpty(row["To_Type1"]), OrEmpty(row["To_Type2"]), OrEmpty(row["To_Type3"]),
          OrEmpty(row["To_Type4"]), OrEmpty(row["To_Date"])};
}

auto ContentOf(const ParkedRequest& request) {
  return std::tie(request.ClotID, request.UserID2, request.UserText, request.To_Type1,
                  request.To_Type2, request.To_Type3, request.To_Type4);
}

bool IsLike(const ParkedRequest& row, const ParkedRequest& request) {
  return ContentOf(row) == ContentOf(request) &&
         (request.To_Date.empty() || request.To_Date == row.To_Date);
}

}  // namespace

std::string ParkedRequest::Record() const {
  return fmt::format(".+messengverify|{}|{}|{}|{}|{}|{}|{}|#", ClotID, UserID2, UserText, To_Type1,
                     To_Type2, To_Type3, To_Type4);
}

bool ReadParkedRequests(Database& database, const std::string& UserID, Device device,
                        std::vector<ParkedRequest>& requests) {
  Cursor rows(database);
  if (!rows.Open(ParkedFor(UserID, device))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) requests.push_back(ReadRow(rows));
  std::stable_sort(requests.begin(), requests.end(),
                   [](const auto& a, const auto& b) { return a.To_Date < b.To_Date; });
  return true;
}

bool DropParkedRequests(Database& database, DatabaseEngine engine, const std::string& UserID,
                        Device device, const std::vector<ParkedRequest>& requests,
                        std::string& error) {
  if (requests.empty()) return true;
  SqlDriver& driver = database.driver();
  const bool done = InTransaction(driver, engine, [&] {
    Cursor rows(database);
    if (!rows.Open(ParkedFor(UserID, device))) return false;
    for (; !rows.EndOfRows(); rows.MoveNext()) {
      const ParkedRequest row = ReadRow(rows);
      const bool isMeant =
          std::any_of(requests.begin(), requests.end(),
                      [&](const ParkedRequest& request) { return IsLike(row, request); });
      if (isMeant && !rows.Delete()) return false;
    }
    return true;
  });
  if (done && driver.SyncCommitted()) return true;
  error = driver.LastError();
  return false;
}

}  // namespace vnq
