#include "host/protection/stored_passwords.h"

#include "host/host.h"
#include "platform/system/password_hash.h"

namespace vnq {
namespace {

constexpr std::string_view kSelectByPassword =
    "Select * from Users_ID where UserName='?' and UserPaws='?'";

}  // namespace

StoredPasswords::StoredPasswords(Host& host) : host_(host), work_(host.loop) {}

// A stored hash is no password: who has read it must not log in with it.
void StoredPasswords::OpenUser(Cursor& row, const Expr& UserName, const Expr& password) {
  row.Close();
  if (!password.ok() || IsPasswordHash(password.text())) return;
  row.Open(Sql(kSelectByPassword, UserName, password));
  if (row.RecordCount() >= 1) return;
  row.Open(Sql("Select * from Users_ID where UserName='?'", UserName));
  if (!StandsOnMatch(row, password.text())) row.Close();
}

bool StoredPasswords::StandsOnMatch(Cursor& row, const std::string& password) {
  for (; !row.EndOfRows(); row.MoveNext()) {
    const std::string stored = OrEmpty(row["UserPaws"]);
    if (!IsPasswordHash(stored)) continue;
    if (work_.Do([stored, password] { return PasswordMatches(stored, password) ? "yes" : ""; }) ==
        "yes") {
      return true;
    }
  }
  return false;
}

void StoredPasswords::HashInPlace(const Expr& UserID, const Expr& password) {
  if (IsPasswordHash(OrEmpty(password))) return;
  host_.loop.StartHandler([this, UserID, password] {
    const Expr hash = Hashed(password);
    // Another password may have been set meanwhile.
    host_.database.Execute(Sql("update Users_ID set UserPaws='?' where UserID='?' and UserPaws='?'",
                               hash, UserID, password));
  });
}

Expr StoredPasswords::Hashed(const Expr& password) {
  if (!password.ok() || password.IsNull()) return password;
  const std::string hash = work_.Do([clear = password.text()] { return HashPassword(clear); });
  return hash.empty() ? password : Expr(hash);
}

}  // namespace vnq
