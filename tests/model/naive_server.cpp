#include "tests/model/naive_server.h"

#include <algorithm>
#include <cctype>

namespace vnq::model {

// --- Words of the model ---

Text Joined(const std::vector<Text>& parts) {
  std::string all;
  for (const Text& part : parts) {
    if (!part) return std::nullopt;
    all += *part;
  }
  return all;
}

bool Is(const Text& value, const Text& other) {
  return value && other && *value == *other;
}

bool IsNot(const Text& value, const Text& other) {
  return value && other && *value != *other;
}

bool Alike(const Text& value, const Text& other) {
  if (!value || !other) return false;
  auto same = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  };
  return std::equal(value->begin(), value->end(), other->begin(), other->end(), same);
}

std::optional<int> Number(const Text& value) {
  if (!value || value->empty() || value->size() > 9) return std::nullopt;
  if (value->find_first_not_of("0123456789") != value->npos) return std::nullopt;
  return std::stoi(*value);
}

std::string Of(const Row& row, const std::string& column) {
  const auto found = row.find(column);
  return found == row.end() ? "" : found->second.value_or("");
}

std::vector<std::string> Split(const std::string& text, const std::string& at) {
  std::vector<std::string> pieces;
  if (text.empty()) return pieces;
  size_t from = 0;
  for (size_t to; (to = text.find(at, from)) != text.npos; from = to + at.size()) {
    pieces.push_back(text.substr(from, to - from));
  }
  pieces.push_back(text.substr(from));
  return pieces;
}

bool IsMobile(const std::string& tag) {
  return tag.ends_with('m');
}

std::string WithoutM(std::string tag) {
  std::erase(tag, 'm');
  return tag;
}

// --- Commands ---

const std::vector<NaiveServer::CommandRow>& NaiveServer::Commands() {
  static const std::vector<CommandRow> commands = {
      {".+landing", &NaiveServer::Landing},
      {".+phone_log", &NaiveServer::PhoneLog},
      {".+request_data_synchronization_online", &NaiveServer::Nudge},
      {".+successful_online", &NaiveServer::SuccessfulOnline},
      {".+change_password", &NaiveServer::ChangePassword},
      {".+modify_data", &NaiveServer::ModifyData},
      {".+modify_isverify", &NaiveServer::ModifyIsVerify},
      {".+modify_isSilence", &NaiveServer::ModifyIsSilence},
      {".+offline", &NaiveServer::Offline},
      {".+stealth", &NaiveServer::Stealth},
      {".+go_away", &NaiveServer::GoAway},
      {".+on_line", &NaiveServer::OnLine},
      {".+message", &NaiveServer::Message, true, 1},
      {".+clot_messeng", &NaiveServer::GroupMessage, true, 2},
      {".+retract", &NaiveServer::Retract},
      {".+mass_information", &NaiveServer::Mass},
      {".+reply_transmission", &NaiveServer::ReplyTransmission},
      {".+jitter_window", &NaiveServer::Jitter},
      {".+meeting_force", &NaiveServer::MeetingForce},
      {".+notification", &NaiveServer::Notification},
      {".+new_group_information", &NaiveServer::NewGroup},
      {".+modify_group_information", &NaiveServer::ModifyGroup},
      {".+modify_group_photos", &NaiveServer::ModifyGroupPhoto},
      {".+clear_group_photos", &NaiveServer::ClearGroupPhoto},
      {".+add_group_members", &NaiveServer::AddMembers},
      {".+modify_group_members", &NaiveServer::ModifyMembers},
      {".+del_group_members", &NaiveServer::DelMembers},
      {".+set_group_administrator", &NaiveServer::SetAdministrator},
      {".+meeting_message", &NaiveServer::MeetingMessage},
      {".+request_remote", &NaiveServer::RequestRemote},
      {".+reply_request_remote", &NaiveServer::ReplyRequestRemote},
      {".+remote_control", &NaiveServer::RemoteControl},
      {".+modify_personal_pictures", &NaiveServer::ModifyPicture},
      {".+clear_personal_pictures", &NaiveServer::ClearPicture},
      {".+request_personalized_photos", &NaiveServer::RequestPicture},
      {".+delete_bulletin", &NaiveServer::DeleteBulletin},
      {".+shared_notice", &NaiveServer::SharedNotice},
      {".+offline_request_web_information", &NaiveServer::OfflineRequest},
      {".+messengverify", &NaiveServer::Verify},
      {".+upload_files", &NaiveServer::UploadFiles},
      {".+request_synchronous_LOGO", &NaiveServer::RequestLogo},
      {".+customer", &NaiveServer::Customer},
      {".+customer_information", &NaiveServer::CustomerInformation, true},
      {".+interface_information", &NaiveServer::Interface},
      {".+y", &NaiveServer::KeepAlive},
  };
  return commands;
}

const NaiveServer::CommandRow* NaiveServer::Find(const std::string& word) {
  for (const CommandRow& row : Commands()) {
    if (row.word == word) return &row;
  }
  return nullptr;
}

bool NaiveServer::Knows(std::string_view word) {
  return Find(std::string(word)) != nullptr;
}

// --- Connections ---

int NaiveServer::Connect(const std::string& ip) {
  const int client = static_cast<int>(heard_.size());
  heard_.emplace_back();
  closed_.push_back(false);
  int slot = 1;
  while (slot <= Highest() && At(slot).state != 0) ++slot;
  if (slot > Highest()) slots_.emplace_back();
  At(slot).state = 7;
  At(slot).client = client;
  At(slot).ip = ip;
  Send(slot, ".+SuccessfulConnection|#");
  return client;
}

void NaiveServer::PeerGoes(int client) {
  closed_[static_cast<size_t>(client)] = true;
  for (Slot& slot : slots_) {
    if (slot.client == client && slot.state == 7) slot.state = 8;
  }
}

void NaiveServer::Arrive(int client, const std::string& text) {
  turns_.Start(OnRead(client, text));
}

void NaiveServer::Close(int slot) {
  if (At(slot).state == 7) closed_[static_cast<size_t>(At(slot).client)] = true;
  At(slot).state = 0;
  At(slot).client = -1;
}

std::string NaiveServer::TakeHeard(int client) {
  return std::exchange(heard_[static_cast<size_t>(client)], {});
}

bool NaiveServer::IsClosed(int client) const {
  return closed_[static_cast<size_t>(client)];
}

int NaiveServer::Connected(const Text& tag, int except) const {
  for (int slot = 1; slot <= Highest(); ++slot) {
    if (slot != except && On(slot) && Is(tag, slots_[static_cast<size_t>(slot)].tag)) return slot;
  }
  return 0;
}

int NaiveServer::Tagged(const std::string& tag) const {
  for (int slot = 1; slot <= Highest(); ++slot) {
    if (slots_[static_cast<size_t>(slot)].tag == tag) return slot;
  }
  return 0;
}

// --- Reads ---

Steps NaiveServer::OnRead(int client, std::string text) {
  int slot = 1;
  while (slot <= Highest() && At(slot).client != client) ++slot;
  if (slot > Highest()) co_return;
  const std::string ip = At(slot).ip;
  std::erase(text, '\r');
  std::erase(text, '\n');
  const std::vector<std::string> pieces = Split(text, ".+");
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (pieces[i].empty()) continue;
    std::string record = i == 0 ? text : ".+" + pieces[i];
    co_await OnRecord(slot, record, ip);
  }
}

Steps NaiveServer::OnRecord(int slot, std::string text, std::string ip) {
  Record record{Split(text, "|"), slot, ip};
  const CommandRow* row = Find(record.fields[0]);
  if (row == nullptr) {
    if (At(slot).pending.empty()) co_return;
    At(slot).pending += text;
    if (At(slot).pending.ends_with('#')) co_await Complete(slot, ip);
    co_return;
  }
  if (row->needsHash && !text.ends_with('#')) {
    At(slot).pending = text;
  } else {
    co_await (this->*row->run)(record);
    if (row->receipt != 0 && IsNot(record[5], "0")) Receipt(*row, record);
  }
  if (row->word == ".+clot_messeng") {
    Log(Joined({record[2], " To ", record[1], around_.lang("im84")}), record[2], ip, 6);
  }
  if (row->word == ".+messengverify") {
    Log(Joined({record[2], " To ", record[1], around_.lang("im264")}), record[2], ip, 12);
  }
}

Steps NaiveServer::Complete(int slot, std::string ip) {
  Record record{Split(At(slot).pending, "|"), slot, ip};
  const CommandRow* row = Find(record.fields[0]);
  if (row != nullptr && row->needsHash) {
    co_await (this->*row->run)(record);
    // A Msg_ID that is no number counts as not 0, one that is not there as well.
    if (row->receipt != 0 && Number(record[5]).value_or(1) != 0) Receipt(*row, record);
  }
  At(slot).pending.clear();
}

void NaiveServer::Receipt(const CommandRow& row, const Record& record) {
  const Text reply =
      Joined({".+reply|", std::to_string(row.receipt), "|", record[1], "|", record[5], "|#"});
  if (reply) At(record.slot).reply += *reply;
}

// --- Sending ---

void NaiveServer::Send(int slot, const Text& records) {
  if (!records || slot == 0 || !On(slot)) return;
  heard_[static_cast<size_t>(At(slot).client)] += *records;
}

Steps NaiveServer::TellSlot(int slot, Text records) {
  if (!On(slot)) co_return;
  co_await turns_.Give();
  Send(slot, records);
}

Steps NaiveServer::TellTag(Text tag, Text records) {
  const int slot = Connected(tag);
  if (slot != 0) co_await TellSlot(slot, records);
}

Steps NaiveServer::YieldThenTell(int slot, Text records) {
  co_await turns_.Give();
  Send(slot, records);
}

// With a turn at each connected slot and another before the send.
Steps NaiveServer::TellOthersTwice(int slot, Text records) {
  const int highest = Highest();
  for (int other = 1; other <= highest; ++other) {
    if (!On(other)) continue;
    co_await turns_.Give();
    if (other != slot) co_await TellSlot(other, records);
  }
}

Steps NaiveServer::TellEverybody(Text records, int except) {
  const int highest = Highest();
  for (int slot = 1; slot <= highest; ++slot) {
    if (slot != except) co_await TellSlot(slot, records);
  }
}

// --- Time ---

void NaiveServer::SweepLost() {
  for (int slot = 1; slot <= Highest(); ++slot) {
    if (At(slot).state == 0 || At(slot).state == 7) continue;
    const std::string tag = At(slot).tag;
    Close(slot);
    At(slot).tag.clear();
    if (tag.empty()) continue;
    Row* user = IsMobile(tag) ? nullptr : User(tag);
    if (user != nullptr) (*user)["UserIcoLine"] = Of(*user, "Registration_Id").empty() ? "0" : "3";
    Log(tag + around_.lang("im14"), tag, At(slot).ip, 16);
  }
}

void NaiveServer::Second(const LocalTime& now) {
  around_.now = now;
  if (++seconds_ % 20 == 0) SweepLost();
  if (seconds_ % 30 == 0) pushes_.clear();  // they were sent
  for (int slot = 1; slot <= Highest(); ++slot) {
    if (!On(slot)) continue;
    Send(slot, At(slot).reply);
    At(slot).reply.clear();
  }
}

// --- Rows ---

Row* NaiveServer::First(const std::string& table, const std::function<bool(const Row&)>& wanted) {
  for (Row& row : tables_[table]) {
    if (wanted(row)) return &row;
  }
  return nullptr;
}

Row* NaiveServer::User(const Text& userId) {
  return First("Users_ID", [&](const Row& row) { return Alike(userId, Of(row, "UserID")); });
}

void NaiveServer::Log(const Text& text, const Text& userId, const std::string& ip, int icon) {
  if (!text || !userId) return;
  Table& log = tables_["ServerLog"];
  if (log.size() > 2000) log.clear();
  log.push_back({{"Txt", text}, {"UserID", userId}, {"Ip", ip}, {"Ico", std::to_string(icon)}});
}

void NaiveServer::Bump(Row& row, const std::string& column) {
  row[column] = std::to_string(Number(Of(row, column)).value_or(0) + 1);
}

}  // namespace vnq::model
