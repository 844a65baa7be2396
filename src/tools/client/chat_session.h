// One person's session with the server: log-in, conversation, receipts, keep-alive.
//
// A state machine without a socket and without a clock: records and times are handed in, records
// and lines come out through a ChatSink.
//
//   kClosed -> Begin -> kGreeting -> .+SuccessfulConnection -> kLandingSent -> .+landing_successful
//           -> kReporting -> .+SynchronousSuccessfully -> kReady -> refused, ended, lost -> kClosed
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/client/known_names.h"
#include "tools/client/record_words.h"

namespace vnq {

/// Where a session's output goes.
class ChatSink {
 public:
  virtual ~ChatSink() = default;

  /// A record for the server, as one text of its own.
  virtual void SendRecord(const std::string& record) = 0;

  /// A line for the person, safe on a terminal.
  virtual void Show(const std::string& line) = 0;

  /// A refusal or a failure, in a sentence.
  virtual void Complain(const std::string& line) = 0;
};

struct ChatIdentity {
  std::string user;       ///< the name to log in with
  std::string machineId;  ///< what the server's machine restriction compares
  bool verbose = false;   ///< show records that have no words, too
  bool echo = false;      ///< show what is sent
  bool outbox = false;    ///< keep texts that are written without a session for the next one
};

class ChatSession {
 public:
  enum class State { kClosed, kGreeting, kLandingSent, kReporting, kReady };
  using Kind = KnownNames::Kind;

  static constexpr int64_t kLoginWaitMs = 15'000;
  static constexpr int64_t kKeepAliveMs = 30'000;
  static constexpr int64_t kEchoWaitMs = 20'000;
  static constexpr size_t kMaxTextBytes = 10'000;

  /// names and sink must outlive the session.
  ChatSession(ChatIdentity identity, KnownNames& names, ChatSink& sink);

  /// A connection has been made: waits for the greeting, then logs in. localAddress is the client's
  /// own view.
  void Begin(std::string password, std::string localAddress, int64_t nowMs);

  void OnRecord(std::string_view record, int64_t nowMs);

  /// Records from the store, which came while there was no session. Those that were shown before
  /// are not shown again.
  void ShowMissed(const std::vector<std::string>& records, int64_t nowMs);

  /// The server has closed the connection, or it broke.
  void OnPeerClosed();

  /// Sends the keep-alive when it is due; gives up on a server that does not answer.
  void Tick(int64_t nowMs);

  State state() const { return state_; }

  /// Who is logged in; empty before the first log-in.
  const std::string& userId() const { return userId_; }

  /// True when the last log-in was refused for its name or password.
  bool PasswordRefused() const { return passwordRefused_; }

  /// True when the session ended without anybody's will, so that another try is worth while.
  bool MayComeBack() const { return mayComeBack_; }

  /// Messages that no receipt has come for, those of the outbox among them.
  size_t WithoutReceipt() const { return unconfirmed_.size(); }

  /// Whom the next texts are for.
  void SetTarget(Kind kind, std::string_view id);

  /// "Name (id)" of the target; empty before there is one.
  std::string TargetLabel() const;

  /// Texts that have come from others than the target since that was last talked to.
  size_t Unread() const;

  /// Shows how many from whom.
  void ShowUnread();

  /// Sends a text to the target. False, with a complaint, when it cannot go out.
  bool SendText(std::string_view text);

  /// Asks the clients of the last text's target to remove it from their view; the next call takes
  /// the text before it back. False, with a complaint, when there is none.
  bool RetractLast();

  /// Shakes a user's window; without an id that of the target.
  bool Nudge(std::string_view idOrName);

  /// Posts a notice to users, named by ids or known names that are joined by commas.
  bool PostNotice(std::string_view receivers, std::string_view title);

  /// Makes a group of which this user is the only member, and an administrator. Its id comes with
  /// the server's record of it.
  bool CreateGroup(std::string_view name);

  /// Adds users, named by ids or known names that are joined by commas, to the target group.
  bool Invite(std::string_view users);

  /// Leaves the target group, which is no target afterwards.
  bool LeaveGroup();

  /// A step of a friendship with a user: add (with a text for the user), accept, refuse, block or
  /// delete.
  bool Friend(std::string_view step, std::string_view idOrName, std::string_view text);

  /// Changes the own presence: `.+on_line`, `.+go_away`, `.+stealth`.
  void SetPresence(std::string_view command, std::string_view inWords);

  /// Says good-bye; the server closes the connection.
  void Leave();

  /// Shows who has been announced so far, and as what.
  void ShowPresence();

 private:
  struct Unconfirmed {
    std::string record, words, target;
    bool isSent = false;  // false: it waits in the outbox
  };
  struct SentText {
    Kind kind;
    std::string target, id, words, label;
  };
  using Handler = void (ChatSession::*)(const RecordFields&);
  struct HandlerRow {
    std::string_view word;
    Handler handler;
  };
  static const HandlerRow kHandlers[];

  void OnGreeting(const RecordFields& fields);
  void OnLandingSuccessful(const RecordFields& fields);
  void OnSynchronous(const RecordFields& fields);
  void OnUpgradedVersion(const RecordFields& fields);
  void OnLoginFailed(const RecordFields& fields);
  void OnProhibited(const RecordFields& fields);
  void OnRestricted(const RecordFields& fields);
  void OnBusyForce(const RecordFields& fields);
  void OnForcedDisconnection(const RecordFields& fields);
  void OnDisconnect(const RecordFields& fields);
  void OnReply(const RecordFields& fields);
  void OnEcho(const RecordFields& fields);
  void OnMessage(const RecordFields& fields);
  void OnGroupMessage(const RecordFields& fields);
  void OnRetract(const RecordFields& fields);

  bool ShowPresenceChange(const RecordFields& fields);
  void ShowOther(const RecordFields& fields, std::string_view record);
  bool SeenBefore(const RecordFields& fields, std::string_view record);
  void Remember(const std::string& id, const std::string& text);
  bool IsReady();
  bool HasTargetGroup();
  std::vector<std::string> ResolveUsers(std::string_view users, std::string& labels) const;
  std::string OwnName() const;
  void Forget(const std::string& id);
  void ShowTimed(const std::string& date, const std::string& time, const std::string& line);
  void SendAgain();
  void End(const std::string& sentence, bool mayComeBack = false);
  void CountUnread(Kind kind, const std::string& id);

  ChatIdentity identity_;
  KnownNames* names_;
  ChatSink* sink_;

  State state_ = State::kClosed;
  bool passwordRefused_ = false;
  bool mayComeBack_ = false;
  bool leaving_ = false;
  int64_t nowMs_ = 0;
  int64_t waitingSinceMs_ = 0;  // for the next step of the log-in
  int64_t heardAtMs_ = 0;       // the last record of any kind
  int64_t keepAliveAtMs_ = 0;   // the last keep-alive sent
  bool echoDue_ = false;

  std::string password_, localAddress_, userId_;
  Kind targetKind_ = Kind::kUser;
  std::string target_;
  std::map<std::pair<Kind, std::string>, size_t> unread_;
  std::string shownDate_;
  std::map<std::string, Unconfirmed> unconfirmed_;  // by Msg_ID
  std::vector<std::string> sentOrder_;              // Msg_IDs, oldest first
  std::map<std::string, std::string> presence_;     // word by user id
  std::set<size_t> seen_;  // hashes of what was shown, to know a repeated delivery
  std::deque<size_t> seenOrder_;
  std::vector<SentText> sentTexts_;              // that can be taken back, oldest first
  std::map<std::string, std::string> received_;  // first words by Msg_ID
  std::deque<std::string> receivedOrder_;
};

}  // namespace vnq
