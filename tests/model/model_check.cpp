#include "tests/model/model_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <regex>

#include "host/database/schema.h"
#include "support/base64_text.h"

namespace vnq::model {
namespace {

// The tables that modelled commands write or read, with the columns that are held against the
// model.
const std::map<std::string, std::vector<std::string>> kTables = {
    {"Users_ID", {"UserID",        "UserName",     "UserPaws",     "FcName",   "UserState",
                  "UserIcoLine",   "IsVerify",     "NetworkIP",    "LocalIP",  "LocalIPList",
                  "Mac",           "MacList",      "LoginTime",    "PlatForm", "Registration_Id",
                  "ManuFacturer",  "Users_IDVesr", "Fav_FormVesr", "Jod",      "age",
                  "Effigy",        "tel1",         "tel2",         "address",  "School",
                  "Constellation", "say",          "UserIco"}},
    {"Users_Role", {"UserID", "RoleID"}},
    {"Role",
     {"ID", "Permissions", "Plug", "PtpSize", "PtpType", "ClotSize", "ClotType", "UsersSize",
      "UsersType", "PubSize", "PubType", "DepartmentPermission", "Department"}},
    {"Clot_Silence", {"MyID", "YouID"}},
    {"Clot_Form",
     {"UpperID", "UserID", "IsAdmin", "remark", "last_ack_typeid1", "last_ack_typeid2",
      "last_ack_typeid3", "last_ack_typeid4"}},
    {"Messeng_Text",
     {"Msg_ID", "MyID", "YouID", "FcName", "To_Date", "To_Time", "UserText", "FontInfo", "To_Type",
      "IsAck1", "IsAck2", "IsAck3", "IsAck4"}},
    {"MessengClot_Text",
     {"TypeID", "Msg_ID", "ClotID", "MyID", "FcName", "UserText", "FontInfo", "To_Type"}},
    {"Msg_Acks", {"Msg_ID", "ClotID", "MyID", "YouID", "IsReceipt1", "IsReceipt2"}},
    {"MessengNotice_Text", {"Msg_ID", "MyID", "Ntitle", "Ncontent", "Nlink", "TO_IP", "To_Date"}},
    {"Notice_Acks", {"Msg_ID", "MyID", "YouID", "IsAck1", "IsAck2"}},
    {"Tab_Chat",
     {"ChatId", "MyID", "YouID", "IsVideo", "LoginType1", "LoginType2", "Status", "CloseRole",
      "InTime"}},
    {"remote_chat", {"ChatId", "MyID", "YouID", "Status", "CloseRole", "ip"}},
    {"Users_Pic", {"UserID", "pic"}},
    {"Clot_Pic", {"ClotID", "pic"}},
    {"Clot_Ro",
     {"TypeID", "TypeName", "Remark", "To_Date", "Sender", "Users_IDVesr", "Users_FormVesr"}},
    {"MessengVerify_Type",
     {"UserID1", "ClotID", "UserID2", "UserText", "TO_IP", "To_Date", "To_Type1", "To_Type2",
      "To_Type3", "To_Type4"}},
    {"News_Form", {"UserID", "Motif"}},
    {"News_Ro", {"MyID", "UserID"}},
    {"Messeng_Type", {"UserID1", "UserID2", "To_Date", "To_Type", "UserText", "FontInfo"}},
    {"MessengKefu_Type", {"UserID1", "UserID2", "FcName", "To_Date", "To_Type", "UserText"}},
    {"UpDateForm",
     {"id", "Users_RoVesr", "Users_IDVesr", "Clot_RoVesr", "Clot_FormVesr", "NewGo_Vesr",
      "NewRo_Vesr", "LeaveFile_Vesr", "ClotFile_Vesr"}},
    {"Fav_Form", {"UserID", "MyID"}},
    {"MessengVerify_Blacklist", {"MyID", "YouID", "TO_IP", "To_Date", "To_Type"}},
    {"LeaveFile",
     {"Msg_ID", "UserID1", "UserID2", "TypePath", "PcSize", "ToDate", "SendTy", "FilPath"}},
    {"ClotFile",
     {"Msg_ID", "MyID", "ClotID", "TypePath", "PcSize", "UsName", "FilPath", "FileState"}},
    {"Kefu", {"IP", "City"}},
    {"OtherForm", {"ID", "Logo"}},
    {"lv_chater_Clot_Form", {"TypeID", "UserID", "IsAdmin"}},
    {"ServerLog", {"Txt", "UserID", "Ip", "Ico"}},
};

constexpr const char* kRows = R"(
insert into Users_ID(UserID,UserName,UserPaws,FcName,UserState,UserIcoLine,IsVerify,Registration_Id)
  values('1','name1','pw1','Ann',1,0,0,''),('2','name2','pw2','Ben',1,0,1,'phone2'),
        ('m5','namem5','pwm5','Eve',1,0,0,NULL),('6','name6','pw6','Fay',0,0,0,NULL);
insert into Users_ID(UserID,UserName,UserPaws,FcName,UserState,UserIcoLine,IsVerify,LocalIPList,Mac)
  values('3','name3','pw3','Cid',1,0,2,'10.0.0.1-10.0.0.9,127.0.0.1','kefu'),
        ('4','name4','pw4',NULL,1,0,0,'127.0.0.2',NULL);
insert into Users_Role(UserID,RoleID) values('3',1),('4',1),('2',2),('1',3);
insert into Role(ID,Permissions,Plug,PtpSize,PtpType,ClotSize,ClotType,UsersSize,UsersType,PubSize,
                 PubType,DepartmentPermission,Department)
  values(1,'1,19','p','10','txt','20','*','30','doc','40','*','d1','d2'),
        (2,'2,','','1','a','2','b','3','c','4','d','e','f'),
        (3,'3,4','','1','a','2','b','3','c','4','d','e','f');
update OtherForm set Logo=3 where ID=1;
insert into lv_chater_Clot_Form(TypeID,UserID,IsAdmin)
  values(5,'name1',0),(5,'name2',0),(5,'name3',1),(6,'name3',0);
insert into Clot_Form(UpperID,UserID,IsAdmin,remark)
  values('Clot000001','1',1,'ann'),('Clot000001','2',0,'ben'),('Clot000001','m5',0,'eve'),
        ('Clot000002','3',2,'cid'),('Clot000002','2',0,'ben');
insert into Clot_Ro(TypeID,TypeName) values('Clot000001','One'),('Clot000002','Two');
insert into Tab_Chat(ChatId,MyID,YouID,IsVideo,LoginType1,LoginType2,Status,CloseRole)
  values(41,'1','2',0,1,2,0,0),(42,'3','m5',1,2,1,0,0);
insert into Clot_Pic(ClotID,pic) values('Clot000001','7'),('Clot000002','x');
insert into News_Form(UserID,Motif) values('1','motif'),('1','motif'),('2','other');
insert into Messeng_Type(UserID1,UserID2,To_Date,To_Type,UserText,FontInfo)
  values('1','2','2026-01-02 03:04:05',7,'old','f'),('1','3','2026-01-02 03:04:06',2,'older','f'),
        ('2','3','2026-01-02 03:04:07',3,'x',NULL);
insert into MessengKefu_Type(UserID1,UserID2,FcName,To_Date,To_Type,UserText)
  values('1','v1','Vis','2026-01-02 03:04:08',3,'line'),('2','v2',NULL,'2026-01-02 03:04:09',1,'l');
delete from vnq_keyword;
insert into vnq_keyword(col_keyword,col_type) values('bad,very',0);
insert into vnq_keyword(col_keyword,col_type) values('stop',1);
)";

std::string Masked(std::string text) {
  static const std::regex stamp(R"((\.\+clot_messeng\|[^|]*\|[^|]*\|)[0-9-]*\|[0-9:]*\|)");
  static const std::regex id("[0-9A-F]{32}");
  text = std::regex_replace(text, stamp, "$1DATE|TIME|");
  return std::regex_replace(text, id, "GUID");
}

std::string Shown(const Row& row, const std::vector<std::string>& columns) {
  std::string line;
  for (const std::string& column : columns) {
    const auto found = row.find(column);
    const bool isNull = found == row.end() || !found->second;
    line += (line.empty() && &column == &columns.front() ? "" : "|") +
            (isNull ? std::string("NULL") : *found->second);
  }
  return Masked(line);
}

std::string Columns(const std::vector<std::string>& columns) {
  return fmt::format("{}", fmt::join(columns, ","));
}

// The rows of one side that the other has not.
std::string Missing(const Lines& lines, const Lines& others) {
  Lines more;
  std::set_difference(lines.begin(), lines.end(), others.begin(), others.end(),
                      std::back_inserter(more));
  return fmt::format("{}", fmt::join(more, "\n         "));
}

}  // namespace

TestServerOptions ModelCheck::Options() {
  TestServerOptions options;
  options.settings = DefaultSettings("control_computer=1\n") + "[message_push]\ninterval_time=30\n";
  options.versionFile = "7|8";
  options.sql = kRows;
  return options;
}

ModelCheck::ModelCheck(uint64_t seed)
    : seed_(seed),
      sequence_(seed),
      server_(Options()),
      model_({&server_.page(),
              [this](std::string_view key) { return server_.Lang(key); },
              server_.Now(),
              static_cast<int>(seed % 2),
              1,
              7,
              8,
              {"bad", "very"},
              {"stop"}}) {
  server_.host().settings.CheckIM1 = static_cast<int16_t>(seed % 2);
  ReadTables();
}

void ModelCheck::ReadTables() {
  for (const auto& [name, columns] : kTables) {
    for (const std::string& line : server_.Rows("select " + Columns(columns) + " from " + name)) {
      std::vector<std::string> cells = Split(line, "|");
      Row row;
      for (size_t i = 0; i < columns.size() && i < cells.size(); ++i) {
        if (cells[i] != "NULL") row[columns[i]] = cells[i];
      }
      model_.table(name).push_back(row);
    }
  }
  for (const TableDef& table : SchemaTables()) {
    const std::string name(table.name);
    if (kTables.contains(name)) continue;
    counts_[name] = server_.Value("select count(*) from " + name);
  }
}

// --- Deeds ---

std::string ModelCheck::Run(int deeds) {
  for (int i = 0; i < deeds && difference_.empty(); ++i) {
    const Deed deed = sequence_.Next(peers_.size());
    done_.push_back(Told(deed));
    Do(deed);
    CompareClients();
    CompareSlots();
    if (i % 20 == 19) CompareTables();
  }
  CompareOpen();
  CompareTables();
  CompareCounts();
  if (difference_.empty()) return {};
  return fmt::format("seed {}, after {} deeds:\n  {}\n{}", seed_, done_.size(),
                     fmt::join(done_, "\n  "), difference_);
}

void ModelCheck::Do(const Deed& deed) {
  switch (deed.kind) {
    case Deed::Kind::kConnect:
      peers_.push_back(std::make_unique<Peer>(
          Peer{model_.Connect(deed.address), TestClient(server_, 6004, deed.address)}));
      break;
    case Deed::Kind::kLeave:
      peers_[deed.client]->client.Close();
      model_.PeerGoes(peers_[deed.client]->number);
      peers_.erase(peers_.begin() + static_cast<std::ptrdiff_t>(deed.client));
      break;
    case Deed::Kind::kSend:
      Send(deed.reads);
      break;
    case Deed::Kind::kSecond:
      Seconds(1);
      break;
    case Deed::Kind::kSweep:
      Seconds(20);
      break;
    case Deed::Kind::kElsewhere:
      server_.Run("update Messeng_Text set IsAck4=0 where Msg_ID='" + deed.msgId + "'");
      for (Row& row : model_.table("Messeng_Text")) {
        if (Alike(deed.msgId, Of(row, "Msg_ID"))) row["IsAck4"] = "0";
      }
      break;
  }
}

// What one client sends twice before the server looks is one read, and behind the padding of its
// first text nothing is seen.
void ModelCheck::Send(const std::vector<Read>& reads) {
  const AnsiText& page = server_.page();
  std::vector<std::pair<size_t, std::string>> arrivals;  // bytes by client, as they came
  std::vector<bool> padded(peers_.size(), false);
  for (const Read& read : reads) {
    peers_[read.client]->client.SendQuietly(read.text);
    const auto found = std::find_if(arrivals.begin(), arrivals.end(), [&](const auto& arrival) {
      return arrival.first == read.client;
    });
    const std::string bytes = page.ToBytes(read.text);
    if (found == arrivals.end()) {
      arrivals.emplace_back(read.client, bytes);
    } else if (!padded[read.client]) {
      found->second += bytes;
    }
    if (bytes.size() % 3 != 0) padded[read.client] = true;
  }
  server_.Pump();
  for (const auto& [client, bytes] : arrivals) {
    model_.Arrive(peers_[client]->number, page.FromBytes(bytes));
  }
  model_.RunAll();
}

void ModelCheck::Seconds(int count) {
  for (; count > 0; --count) {
    server_.Tick();
    model_.Second(server_.Now());
  }
}

// --- Differences ---

void ModelCheck::Expect(const std::string& what, const std::string& real,
                        const std::string& model) {
  if (real == model || !difference_.empty()) return;
  difference_ = fmt::format("{}\n server: {}\n model:  {}", what, real, model);
}

void ModelCheck::CompareClients() {
  server_.Pump();
  for (size_t i = 0; i < peers_.size(); ++i) {
    Peer& peer = *peers_[i];
    Expect(fmt::format("what client {} heard", i), Masked(Decoded(peer.client.ReceiveNow())),
           Masked(model_.TakeHeard(peer.number)));
    if (!model_.IsClosed(peer.number)) continue;
    Expect(fmt::format("client {} is closed", i), peer.client.IsClosed() ? "yes" : "no", "yes");
  }
  // Who was put out goes, as a client does that sees the end of its connection.
  std::erase_if(peers_, [this](const auto& peer) { return model_.IsClosed(peer->number); });
}

void ModelCheck::CompareOpen() {
  for (size_t i = 0; i < peers_.size(); ++i) {
    Expect(fmt::format("client {} is closed", i), peers_[i]->client.IsClosed() ? "yes" : "no",
           "no");
  }
}

// Each text that was sent has its own padding.
std::string ModelCheck::Decoded(const std::string& wire) const {
  std::string bytes;
  for (size_t i = 0; i + 4 <= wire.size(); i += 4) bytes += Base64DecodeBytes(wire.substr(i, 4));
  return server_.page().FromBytes(bytes);
}

void ModelCheck::CompareSlots() {
  const std::vector<Slot>& slots = model_.slots();
  Expect("slots", std::to_string(server_.host().SckServer.Highest()),
         std::to_string(slots.size() - 1));
  for (size_t i = 1; i < slots.size(); ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    const auto expect = [&](std::string_view what, const std::string& real,
                            const std::string& model) {
      Expect(fmt::format("{} of slot {}", what, i), Masked(real), Masked(model));
    };
    expect("state", std::to_string(static_cast<int>(server_.State(slot))),
           std::to_string(slots[i].state));
    expect("tag", server_.Tag(slot), slots[i].tag);
    expect("unfinished record", server_.host().PendingRecord[slot], slots[i].pending);
    expect("waiting records", server_.Waiting(slot), slots[i].reply);
  }
  Expect("queued pushes", fmt::format("{}", fmt::join(server_.host().PushQueue.lines(), "\n")),
         fmt::format("{}", fmt::join(model_.pushes(), "\n")));
}

void ModelCheck::CompareTables() {
  for (const auto& [name, columns] : kTables) {
    Lines real = server_.Rows("select " + Columns(columns) + " from " + name);
    for (std::string& line : real) line = Masked(line);
    Lines model;
    for (const Row& row : model_.table(name)) model.push_back(Shown(row, columns));
    std::sort(real.begin(), real.end());
    std::sort(model.begin(), model.end());
    Expect("rows of " + name, Missing(real, model), Missing(model, real));
  }
}

void ModelCheck::CompareCounts() {
  for (const auto& [name, count] : counts_) {
    Expect("rows of " + name, server_.Value("select count(*) from " + name), count);
  }
}

}  // namespace vnq::model
