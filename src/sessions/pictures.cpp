// Versions of pictures and of the logo. The pictures themselves travel by a sibling service.
#include "host/picture_files.h"
#include "host/server_log.h"
#include "host/slots/sending.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

constexpr std::string_view kPictureFolder = "\\Mypic\\";

void WritePictureVersion(Host& host, const Fields& fields) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select *  from Users_Pic where UserID='?'", fields[1]));
  // Kept: where a user has several rows already, another one is added.
  if (Adodc2.RecordCount() != 1) {
    Adodc2.AddNew();
    Adodc2.Set("UserID", fields[1]);
  }
  Adodc2.Set("pic", fields[2]);
  Adodc2.UpdateOnce({"UserID"});
}

void LogPictures(Host& host, const Expr& text, const Fields& fields, const std::string& remoteIp) {
  WriteServerLog(host, text, fields[1], remoteIp, LogIcon::kCommand);
}

// What differs between the pictures of users and of groups.
struct PictureKind {
  std::string_view select;
  std::string_view logKey;
};
constexpr PictureKind kUserPicture = {"Select userid,pic from Users_Pic  where UserID='?'", "im74"};
constexpr PictureKind kGroupPicture = {"Select ClotID,Pic from Clot_Pic where ClotID='?'", "im75"};

// The stored version; 0 without a row, and for one that is no 16-bit number.
int16_t PictureVersion(Host& host, const PictureKind& kind, const Expr& id) {
  int16_t pic = 0;
  Cursor Adodc3(host.database);
  Adodc3.Open(Sql(kind.select, id));
  if (Adodc3.RecordCount() >= 1) Assign(pic, ToInt16(Adodc3["pic"]));
  return pic;
}

// Kept: ends with the version, without a closing "|#".
Expr PictureRecord(const Fields& fields, int16_t pic) {
  return Join(".+synchronization_personality_picture|", fields[2], "|", fields[3], "|", pic);
}

}  // namespace

void HandleModifyPersonalPictures(Host& host, Fields& fields, SlotIndex,
                                  const std::string& remoteIp) {
  WritePictureVersion(host, fields);
  LogPictures(host, Join(fields[1], host.ReadLang("im61"), fields[2]), fields, remoteIp);
}

void HandleClearPersonalPictures(Host& host, Fields& fields, SlotIndex,
                                 const std::string& remoteIp) {
  WritePictureVersion(host, fields);
  DeletePictureFile(host, kPictureFolder, fields[1]);
  LogPictures(host, Join(fields[1], host.ReadLang("im62"), fields[2]), fields, remoteIp);
}

void HandleRequestSynchronousLogo(Host& host, Fields& fields, SlotIndex slot,
                                  const std::string& remoteIp) {
  int16_t Logo = 0;
  {
    Cursor Adodc1(host.database);
    Adodc1.Open(Sql("Select ID,Logo from OtherForm where ID =1"));
    Assign(Logo, ToInt16(Adodc1["Logo"]));
  }
  const auto theirs = PrefixNumber(fields[2]);
  if (!theirs) return;
  const bool differs = *theirs != Logo;
  if (differs)
    YieldThenTellSlot(host, host.SckServer, slot, Join(".+synchronization_LOGO|", Logo, "|#"));
  LogPictures(host, Join(fields[1], host.ReadLang(differs ? "im71" : "im72")), fields, remoteIp);
}

void HandleRequestPersonalizedPhotos(Host& host, Fields& fields, SlotIndex slot,
                                     const std::string& remoteIp) {
  const bool isUser = Is(fields[2], "1");
  if (!isUser && !Is(fields[2], "2")) return;
  const PictureKind& kind = isUser ? kUserPicture : kGroupPicture;
  const int16_t pic = PictureVersion(host, kind, fields[3]);
  const auto theirs = PrefixNumber(fields[4]);
  if (!theirs || *theirs == pic) return;
  YieldThenTellSlot(host, host.SckServer, slot, PictureRecord(fields, pic));
  LogPictures(host,
              Join(fields[1], host.ReadLang(kind.logKey), fields[3], host.ReadLang("im73"), pic),
              fields, remoteIp);
}

}  // namespace vnq
