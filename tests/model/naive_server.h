// The server again, as simple as it can be told: vectors that are searched from the front, rows
// that are maps, no index, no cache, no socket and no SQL. What the real one sends and stores is
// held against it.
//
// It knows a part of the commands; Knows() tells which. A field or column that is not there is
// std::nullopt, and whatever is made of one is none either.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/clock.h"
#include "support/ansi_text.h"
#include "tests/model/steps.h"

namespace vnq::model {

using Text = std::optional<std::string>;
using Row = std::map<std::string, Text>;  // by column; a column that is not in it is NULL
using Table = std::vector<Row>;

struct Slot {
  int state = 0;
  int client = -1;  // who is on it, by the number that Connect gave
  std::string ip, tag, pending, reply;
};

struct Record {
  std::vector<std::string> fields;
  int slot = 0;
  std::string ip;

  Text operator[](size_t i) const { return i < fields.size() ? Text(fields[i]) : std::nullopt; }
};

/// What the model is told of its surroundings instead of reading it.
struct Surroundings {
  const AnsiText* page = nullptr;
  std::function<std::string(std::string_view key)> lang;
  LocalTime now;
  int checkIm1 = 0;
  int controlComputer = 0;
  int minClientVersion = 0, clientDownloadVersion = 0;
  std::vector<std::string> maskKeywords, blockKeywords;
};

class NaiveServer {
 public:
  explicit NaiveServer(Surroundings around) : around_(std::move(around)) {}

  /// True for a command word that the model has.
  static bool Knows(std::string_view word);

  // --- What happens to it ---

  /// A new connection; its number. `ip`: as the server sees it.
  int Connect(const std::string& ip);
  /// The peer of a connection goes; nothing is on its way any more.
  void PeerGoes(int client);
  /// A read, decoded. It is acted on in RunAll, in the order of the calls.
  void Arrive(int client, const std::string& text);
  void RunAll() { turns_.RunAll(); }
  /// A second has passed.
  void Second(const LocalTime& now);

  // --- What it has come to ---

  /// What each client has been sent since the last call.
  std::string TakeHeard(int client);
  bool IsClosed(int client) const;
  const std::vector<Slot>& slots() const { return slots_; }  ///< element 0 is not used
  const std::vector<std::string>& pushes() const { return pushes_; }
  Table& table(const std::string& name) { return tables_[name]; }

 private:
  using Command = Steps (NaiveServer::*)(Record& record);
  struct CommandRow {
    std::string_view word;
    Command run;
    bool needsHash = false;
    int receipt = 0;
  };
  static const std::vector<CommandRow>& Commands();
  static const CommandRow* Find(const std::string& word);

  // Reads and records.
  Steps OnRead(int client, std::string text);
  Steps OnRecord(int slot, std::string text, std::string ip);
  Steps Complete(int slot, std::string ip);
  void Receipt(const CommandRow& row, const Record& record);

  // Slots. 0: there is none.
  int Connected(const Text& tag, int except = 0) const;
  int Tagged(const std::string& tag) const;
  bool On(int slot) const { return slots_[static_cast<size_t>(slot)].state == 7; }
  Slot& At(int slot) { return slots_[static_cast<size_t>(slot)]; }
  int Highest() const { return static_cast<int>(slots_.size()) - 1; }
  void Close(int slot);
  void SweepLost();

  // Sending.
  void Send(int slot, const Text& records);
  Steps TellSlot(int slot, Text records);
  Steps TellTag(Text tag, Text records);
  Steps YieldThenTell(int slot, Text records);
  Steps TellOthersTwice(int slot, Text records);
  Steps TellEverybody(Text records, int except);

  // Rows.
  Row* First(const std::string& table, const std::function<bool(const Row&)>& wanted);
  Row* User(const Text& userId);
  void Log(const Text& text, const Text& userId, const std::string& ip, int icon);
  void Bump(Row& row, const std::string& column);

  // Sessions.
  Steps Landing(Record& record);
  Steps Refuse(int slot, std::string words);
  Steps EndEarlierLanding(Record& record, Row user, std::string tag, bool& goesOn);
  std::string PermissionList(const std::string& userId);
  bool Admits(const std::string& permissions, const std::string& addresses,
              const std::string& machines, const Record& record);
  Steps PhoneLog(Record& record);
  Steps Nudge(Record& record);
  Steps SuccessfulOnline(Record& record);
  Steps BecomeVisible(Record& record, int newState);
  Steps OnLine(Record& record);
  Steps GoAway(Record& record);
  Steps Stealth(Record& record);
  Steps TellThenWrite(Record& record, Text told, int state, std::string key, int icon);
  Steps Offline(Record& record);
  Steps ChangePassword(Record& record);
  Steps ModifyData(Record& record);
  Steps ModifyIsVerify(Record& record);
  Steps ModifyIsSilence(Record& record);
  Steps KeepAlive(Record& record);

  // Messages.
  Steps Message(Record& record);
  Steps GroupMessage(Record& record);
  Steps Mass(Record& record);
  Steps Notification(Record& record);
  Steps Retract(Record& record);
  Steps ReplyTransmission(Record& record);
  Steps Jitter(Record& record);
  Steps MeetingForce(Record& record);

  // Calls, requests, pictures, bulletins.
  Steps MeetingMessage(Record& record);
  Steps RequestRemote(Record& record);
  Steps ReplyRequestRemote(Record& record);
  Steps RemoteControl(Record& record);
  Steps ModifyPicture(Record& record);
  Steps ClearPicture(Record& record);
  Steps Picture(Record& record, std::string key);
  Steps RequestPicture(Record& record);
  Steps DeleteBulletin(Record& record);
  Steps SharedNotice(Record& record);
  Steps OfflineRequest(Record& record);
  void LeaveToOtherDevice(const Record& record, int desktopKind, const Text& id);
  Text Meeting(int kind, const std::string& id);
  Text RemoteRequest(const std::string& id);

  // Groups.
  Steps NewGroup(Record& record);
  Steps ModifyGroup(Record& record);
  Steps ModifyGroupPhoto(Record& record);
  Steps ClearGroupPhoto(Record& record);
  Steps GroupPhoto(Record& record, std::string key);
  Steps AddMembers(Record& record);
  Steps ModifyMembers(Record& record);
  Steps DelMembers(Record& record);
  Steps SetAdministrator(Record& record);
  Table MembersOf(const Text& group, const Text& butNot);
  void InsertMember(const Text& group, const std::vector<std::string>& entry, int lastId);
  Steps TellBothDevices(Text userId, Text records);
  Steps DeliverOrPark(Text tag, std::vector<std::string> fields, std::string ip);
  Steps NotifyMember(const Record& record, Text group, Text userId, std::string type2);
  Steps TellMembers(Table members, Text records);
  Steps CloseOut(const Record& record, Text told, std::string key);
  std::string OtherSession(const Record& record);

  // Friendships, and membership by consent.
  struct Acting {
    std::string otherSession, user;  // of the sender, when its record came
  };
  Steps Verify(Record& record);
  Steps Park(Record& record, Text tag);
  Steps ParkUser(Record& record, Text userId);
  Steps Answer(const Record& record, Acting acting, Text told);
  bool Blocked(const Text& myId, const Text& youId, int type);
  void Block(const Record& record, const Text& myId, const Text& youId, int type);
  void Befriend(const Text& userId, const Text& myId);
  void Unfriend(const Text& userId, const Text& myId);
  void BumpFriends(const Text& userId);
  void Greet(const Text& to, const Text& from, int slot);
  Steps FriendRequest(Record& record, Acting acting);
  Steps FriendAccepted(Record& record, Acting acting);
  Steps FriendRefused(Record& record, Acting acting);
  Steps FriendDeleted(Record& record, Acting acting);
  Table MembersWith(const Text& group, const std::string& isAdmin);
  void BumpMembership(const Text& group);
  Steps ParkAdministrators(Record& record);
  Steps ParkOtherAdministrators(Record& record, Acting acting, std::string type4);
  Steps TellPlainMembers(Record& record, Acting acting);
  Steps ParkConcerned(Record& record, Acting acting);
  Steps JoinRequest(Record& record, Acting acting);
  Steps ApplicationAccepted(Record& record, Acting acting);
  Steps ApplicationRefused(Record& record, Acting acting, std::string toOthers,
                           std::string toConcerned);
  Steps MemberLeaves(Record& record, Acting acting);
  Steps GroupDisbanded(Record& record, Acting acting);

  // Files, the logo, web visitors, outside applications.
  Steps UploadFiles(Record& record);
  void LeaveFile(const Record& record);
  void ShareFile(const Record& record);
  Steps RequestLogo(Record& record);
  Steps FindAgent(Text agent, int& found);
  Text VisitorLine(const Record& record);
  Steps Customer(Record& record);
  Steps ToAgent(Text agent, const Record& record);
  Steps CustomerMessage(Record& record, bool toGroup);
  Steps ToAgentsOfGroup(Record& record);
  Steps CustomerInformation(Record& record);
  Row* UserNamed(const Text& name);
  void MakeMessage(Record& record, const std::string& receiver, const std::string& sender,
                   const std::string& text);
  Steps Interface(Record& record);
  void AsMessage(Record& record, const std::string& sender, const std::string& text,
                 const std::string& name, bool toGroup);
  Steps AsNotice(Record& record, std::string sender, std::vector<std::string> list);
  Steps AsVisitor(Record& record, Text target, bool toGroup);

  // What messages are made of.
  void UserMesseng(const Record& record);
  void ClotMesseng(const Record& record);
  void Leave(const Text& tag, int kind, const Text& id);
  Text Delivered(int kind, const std::string& id);
  Text DeliveredFile(const Row& message, const std::string& flags);
  std::string Filter(const std::string& raw);
  void Push(const Text& target, const Text& extra, const Text& source, int kind, const Text& text,
            const std::string& senderTag);
  int LastGroupMessage(const Text& group);
  std::string NewId();

  Surroundings around_;
  std::vector<Slot> slots_ = std::vector<Slot>(2);  // slot 1 is there from the start
  std::vector<std::string> heard_;                  // by client
  std::vector<bool> closed_;
  std::vector<std::string> pushes_;
  std::map<std::string, Table> tables_;
  Turns turns_;
  int seconds_ = 0;
  int madeIds_ = 0;
  int groupMessages_ = 0;  // that there have been
};

// --- Words of the model ---

/// All parts joined; none where one is missing.
Text Joined(const std::vector<Text>& parts);
bool Is(const Text& value, const Text& other);
bool IsNot(const Text& value, const Text& other);
/// As the database compares: without regard to the case of ASCII letters.
bool Alike(const Text& value, const Text& other);
std::optional<int> Number(const Text& value);
/// A column, NULL as the empty text.
std::string Of(const Row& row, const std::string& column);
std::vector<std::string> Split(const std::string& text, const std::string& at);
/// The members as their record lists them, and the record.
std::string ListOf(const Table& members);
Text Memberships(const Text& actor, const Text& group, const Text& list);
bool IsMobile(const std::string& tag);
std::string WithoutM(std::string tag);

}  // namespace vnq::model
