#include "tools/client/chat_session.h"

#include <algorithm>
#include <functional>

#include "host/values/fields.h"
#include "support/ids.h"
#include "support/text_codecs.h"
#include "tools/client/chat_text.h"

namespace vnq {
namespace {

constexpr std::string_view kKeepAlive = ".+y|#";

// A font that every code page can name; the server passes it on unread.
constexpr std::string_view kFontInfo = "Arial,10,0,False,False,False";

constexpr size_t kMaxSeen = 4096;
constexpr size_t kMaxSentTexts = 256;
constexpr size_t kFirstWordsColumns = 40;

// .+retract|0 person, 1 group|target|sender|Msg_ID||#
std::string RetractRecord(bool isGroup, const std::string& target, const std::string& sender,
                          const std::string& id) {
  return std::string(".+retract|") + (isGroup ? "1" : "0") + "|" + target + "|" + sender + "|" +
         id + "||#";
}

size_t HashOf(const std::string& key) {
  return std::hash<std::string>()(key);
}

}  // namespace

const ChatSession::HandlerRow ChatSession::kHandlers[] = {
    {".+SuccessfulConnection", &ChatSession::OnGreeting},
    {".+landing_successful", &ChatSession::OnLandingSuccessful},
    {".+SynchronousSuccessfully", &ChatSession::OnSynchronous},
    {".+UpgradedVersion", &ChatSession::OnUpgradedVersion},
    {".+LoginFailed", &ChatSession::OnLoginFailed},
    {".+ProhibitLanding", &ChatSession::OnProhibited},
    {".+landing_restrictions", &ChatSession::OnRestricted},
    {".+busy_force", &ChatSession::OnBusyForce},
    {".+forced_disconnection", &ChatSession::OnForcedDisconnection},
    {".+disconnect", &ChatSession::OnDisconnect},
    {".+reply", &ChatSession::OnReply},
    {".+y", &ChatSession::OnEcho},
    {".+message", &ChatSession::OnMessage},
    {".+clot_messeng", &ChatSession::OnGroupMessage},
    {".+retract", &ChatSession::OnRetract},
};

ChatSession::ChatSession(ChatIdentity identity, KnownNames& names, ChatSink& sink)
    : identity_(std::move(identity)), names_(&names), sink_(&sink) {}

void ChatSession::Begin(std::string password, std::string localAddress, int64_t nowMs) {
  password_ = std::move(password);
  localAddress_ = std::move(localAddress);
  state_ = State::kGreeting;
  passwordRefused_ = false;
  mayComeBack_ = false;
  leaving_ = false;
  echoDue_ = false;
  nowMs_ = waitingSinceMs_ = heardAtMs_ = keepAliveAtMs_ = nowMs;
  presence_.clear();
}

void ChatSession::OnRecord(std::string_view record, int64_t nowMs) {
  if (state_ == State::kClosed) return;
  nowMs_ = heardAtMs_ = nowMs;
  const RecordFields fields(record);
  for (const HandlerRow& row : kHandlers) {
    if (row.word != fields.word()) continue;
    if (!SeenBefore(fields, record)) (this->*row.handler)(fields);
    return;
  }
  if (!ShowPresenceChange(fields) && !SeenBefore(fields, record)) ShowOther(fields, record);
}

void ChatSession::ShowMissed(const std::vector<std::string>& records, int64_t nowMs) {
  const bool hasNew = std::any_of(records.begin(), records.end(), [this](const auto& record) {
    return !seen_.contains(HashOf(DeliveryKey(RecordFields(record), record)));
  });
  if (!hasNew) return;
  sink_->Show("* while you were away:");
  for (const std::string& record : records) OnRecord(record, nowMs);
  sink_->Show("* that was all");
}

// .+SuccessfulConnection|#
void ChatSession::OnGreeting(const RecordFields&) {
  if (state_ != State::kGreeting) return;
  state_ = State::kLandingSent;
  waitingSinceMs_ = nowMs_;
  // The record ends where a version number would stand: this client belongs to no numbered series,
  // and the gate that turns outdated ones away does not ask for it then.
  sink_->SendRecord(".+landing|" + identity_.user + "|" + password_ + "|" + localAddress_ + "|" +
                    identity_.machineId + "||#");
  password_.clear();
}

// .+landing_successful|UserID|IsVerify|permissions|control_computer|client version|#
void ChatSession::OnLandingSuccessful(const RecordFields& fields) {
  if (state_ != State::kLandingSent) return;
  state_ = State::kReporting;
  waitingSinceMs_ = nowMs_;
  userId_ = fields[1];
  names_->Learn(Kind::kUser, userId_, identity_.user);
  sink_->SendRecord(".+successful_online|" + userId_ + "|1|#");
}

void ChatSession::OnSynchronous(const RecordFields&) {
  if (state_ != State::kReporting) return;
  state_ = State::kReady;
  keepAliveAtMs_ = nowMs_;
  sink_->Show("* logged in as " + names_->Label(Kind::kUser, userId_));
  SendAgain();
}

void ChatSession::OnUpgradedVersion(const RecordFields&) {
  End("The server refuses the log-in: it asks for a newer client version.");
}

void ChatSession::OnLoginFailed(const RecordFields&) {
  passwordRefused_ = true;
  End("The log-in failed: the server knows no user " + TerminalLine(identity_.user) +
      " with this password.");
}

void ChatSession::OnProhibited(const RecordFields&) {
  End("The server refuses the log-in: the account " + TerminalLine(identity_.user) +
      " is disabled.");
}

void ChatSession::OnRestricted(const RecordFields&) {
  End("The server refuses the log-in: a role of " + TerminalLine(identity_.user) +
      " admits neither every address nor every machine, and not this one (address " +
      localAddress_ + ", machine " + TerminalLine(identity_.machineId) + ").");
}

// .+busy_force|address or text|#
void ChatSession::OnBusyForce(const RecordFields& fields) {
  End("This session was ended: the account has logged in elsewhere (" +
      TerminalLine(ReadEscapedText(fields[1])) + ").");
}

// .+forced_disconnection|text|#
void ChatSession::OnForcedDisconnection(const RecordFields& fields) {
  constexpr bool kItStops = true;  // and is started again
  End("The server has ended the session: " + TerminalLine(ReadEscapedText(fields[1])), kItStops);
}

// .+disconnect|text
void ChatSession::OnDisconnect(const RecordFields& fields) {
  const std::string reason = TerminalLine(ReadEscapedText(fields[1]));
  End("An administrator has ended the session" + (reason.empty() ? "." : ": " + reason));
}

void ChatSession::OnPeerClosed() {
  if (state_ == State::kClosed) return;
  if (leaving_) {
    state_ = State::kClosed;
  } else if (state_ == State::kLandingSent) {
    End("The server closed the connection without an answer to the log-in.", true);
  } else if (state_ == State::kGreeting) {
    End("The server closed the connection before its greeting.", true);
  } else {
    End("The connection to the server is lost.", true);
  }
}

void ChatSession::Tick(int64_t nowMs) {
  nowMs_ = nowMs;
  if (state_ == State::kClosed) return;
  if (state_ != State::kReady) {
    if (nowMs - waitingSinceMs_ >= kLoginWaitMs)
      End("The server does not answer; the log-in is given up.", true);
    return;
  }
  if (echoDue_ && nowMs - std::max(keepAliveAtMs_, heardAtMs_) >= kEchoWaitMs) {
    End("The server does not answer the keep-alive any more; the connection is given up.", true);
  } else if (!echoDue_ && nowMs - keepAliveAtMs_ >= kKeepAliveMs) {
    echoDue_ = true;
    keepAliveAtMs_ = nowMs;
    sink_->SendRecord(std::string(kKeepAlive));
  }
}

void ChatSession::OnEcho(const RecordFields&) {
  echoDue_ = false;
}

// .+reply|store|target|Msg_ID|#
void ChatSession::OnReply(const RecordFields& fields) {
  const auto found = unconfirmed_.find(fields[3]);
  if (found == unconfirmed_.end()) {
    if (identity_.verbose) sink_->Show("* receipt for " + TerminalLine(fields[3]));
    return;
  }
  sink_->Show("* delivered to the server: \"" + found->second.words + "\" for " +
              found->second.target);
  Forget(fields[3]);
}

// The text needs no receipt any more.
void ChatSession::Forget(const std::string& id) {
  unconfirmed_.erase(id);
  std::erase(sentOrder_, id);
}

// .+message|other party|date|time|text|font|Msg_ID|type|flags|#, from the older store without
// Msg_ID and type
void ChatSession::OnMessage(const RecordFields& fields) {
  const bool stored = fields.size() <= 7;
  names_->Learn(Kind::kUser, fields[1], "");
  const std::string other = names_->Label(Kind::kUser, fields[1]);
  const std::string text = TerminalLine(ReadMessageText(fields[4]));
  const bool own = !stored && IsOwnCopy(fields[7]);
  const std::string who = own ? "you to " + other + " (from your other device)" : other;
  if (!stored) Remember(fields[6], text);
  if (!own) CountUnread(Kind::kUser, fields[1]);
  ShowTimed(fields[2], fields[3], who + ": " + text);
}

// .+clot_messeng|group|sender|date|time|text|font|Msg_ID|type|0 for the sender's copies, else 1|#
void ChatSession::OnGroupMessage(const RecordFields& fields) {
  names_->Learn(Kind::kGroup, fields[1], "");
  names_->Learn(Kind::kUser, fields[2], "");
  const std::string who =
      fields[9] == "0" ? "you (from your other device)" : names_->Label(Kind::kUser, fields[2]);
  Remember(fields[7], TerminalLine(ReadMessageText(fields[5])));
  if (fields[9] != "0") CountUnread(Kind::kGroup, fields[1]);
  ShowTimed(fields[3], fields[4],
            "[" + names_->Label(Kind::kGroup, fields[1]) + "] " + who + ": " +
                TerminalLine(ReadMessageText(fields[5])));
}

// .+retract|scope|sender or group|Msg_ID|...|#
void ChatSession::OnRetract(const RecordFields& fields) {
  const auto found = received_.find(fields[3]);
  const std::string what = found == received_.end() ? "" : ": \"" + found->second + "\"";
  sink_->Show("* " + RecordWords(fields, *names_) + what);
}

bool ChatSession::ShowPresenceChange(const RecordFields& fields) {
  const std::string_view word = PresenceWord(fields.word());
  if (word.empty()) return false;
  // Several users at once where an administrator has disconnected them.
  const bool isList = fields.word() == ".+new_is_offline";
  for (size_t i = 1; i == 1 || (isList && !fields[i].empty() && fields[i] != "#"); ++i) {
    names_->Learn(Kind::kUser, fields[i], "");
    presence_[fields[i]] = word;
    sink_->Show("* " + names_->Label(Kind::kUser, fields[i]) + " is " + std::string(word));
  }
  return true;
}

void ChatSession::ShowOther(const RecordFields& fields, std::string_view record) {
  const std::string words = RecordWords(fields, *names_);
  if (!words.empty()) {
    sink_->Show("* " + words);
  } else if (identity_.verbose) {
    sink_->Show("* record " + TerminalLine(FirstWords(record, 2 * kFirstWordsColumns)));
  }
}

bool ChatSession::SeenBefore(const RecordFields& fields, std::string_view record) {
  const std::string key = DeliveryKey(fields, record);
  if (key.empty()) return false;
  const size_t hash = HashOf(key);
  if (!seen_.insert(hash).second) return true;
  seenOrder_.push_back(hash);
  if (seenOrder_.size() > kMaxSeen) {
    seen_.erase(seenOrder_.front());
    seenOrder_.pop_front();
  }
  return false;
}

void ChatSession::Remember(const std::string& id, const std::string& text) {
  if (!received_.emplace(id, FirstWords(text, kFirstWordsColumns)).second) return;
  receivedOrder_.push_back(id);
  if (receivedOrder_.size() > kMaxSeen) {
    received_.erase(receivedOrder_.front());
    receivedOrder_.pop_front();
  }
}

void ChatSession::ShowTimed(const std::string& date, const std::string& time,
                            const std::string& line) {
  if (date != shownDate_) sink_->Show("* " + TerminalLine(date));
  shownDate_ = date;
  sink_->Show(TerminalLine(time) + " " + line);
}

void ChatSession::SetTarget(Kind kind, std::string_view id) {
  targetKind_ = kind;
  target_ = names_->Resolve(kind, id);
  unread_.erase({targetKind_, target_});
}

void ChatSession::CountUnread(Kind kind, const std::string& id) {
  if (kind != targetKind_ || id != target_) ++unread_[{kind, id}];
}

size_t ChatSession::Unread() const {
  size_t sum = 0;
  for (const auto& [conversation, count] : unread_) sum += count;
  return sum;
}

void ChatSession::ShowUnread() {
  if (unread_.empty()) sink_->Show("* nothing has come from others");
  for (const auto& [conversation, count] : unread_) {
    const auto& [kind, id] = conversation;
    const std::string label = names_->Label(kind, id);
    sink_->Show("* " + std::to_string(count) + " from " +
                (kind == Kind::kGroup ? "[" + label + "]" : label));
  }
}

std::string ChatSession::TargetLabel() const {
  if (target_.empty()) return "";
  const std::string label = names_->Label(targetKind_, target_);
  return targetKind_ == Kind::kGroup ? "[" + label + "]" : label;
}

// .+message|target|sender|text|font|Msg_ID|type|#, and the same of .+clot_messeng with a group for
// the target
bool ChatSession::SendText(std::string_view text) {
  const bool isReady = state_ == State::kReady;
  if (!isReady && (!identity_.outbox || userId_.empty())) {
    sink_->Complain("Not sent: there is no session. /reconnect logs in again.");
  } else if (target_.empty()) {
    sink_->Complain("Not sent: say first whom it is for, with /to USERID.");
  } else if (text.size() > kMaxTextBytes) {
    sink_->Complain("Not sent: the text is longer than " + std::to_string(kMaxTextBytes) +
                    " bytes.");
  } else {
    const std::string id = NewGuidString();
    const std::string command = targetKind_ == Kind::kGroup ? ".+clot_messeng|" : ".+message|";
    const std::string record = command + target_ + "|" + userId_ + "|" + EscapeText(text) + "|" +
                               std::string(kFontInfo) + "|" + id + "|1|#";
    unconfirmed_[id] = {record, TerminalLine(FirstWords(text, kFirstWordsColumns)), TargetLabel(),
                        isReady};
    sentOrder_.push_back(id);
    sentTexts_.push_back({targetKind_, target_, id, unconfirmed_[id].words, TargetLabel()});
    if (sentTexts_.size() > kMaxSentTexts) sentTexts_.erase(sentTexts_.begin());
    if (identity_.echo) sink_->Show("you to " + TargetLabel() + ": " + TerminalLine(text));
    if (isReady) {
      sink_->SendRecord(record);
    } else {
      sink_->Show("* it waits for the next session");
    }
    return true;
  }
  return false;
}

// The same Msg_ID again: the server stores a message once, however often it comes.
void ChatSession::SendAgain() {
  for (const std::string& id : sentOrder_) {
    Unconfirmed& message = unconfirmed_[id];
    const std::string what = message.isSent ? "* sent again: \"" : "* sent: \"";
    message.isSent = true;
    sink_->Show(what + message.words + "\" for " + message.target);
    sink_->SendRecord(message.record);
  }
}

bool ChatSession::IsReady() {
  if (state_ == State::kReady) return true;
  sink_->Complain("There is no session. /reconnect logs in again.");
  return false;
}

bool ChatSession::RetractLast() {
  if (!IsReady()) return false;
  if (sentTexts_.empty()) {
    sink_->Complain("There is nothing to take back: no text was sent in this session.");
    return false;
  }
  const SentText text = std::move(sentTexts_.back());
  sentTexts_.pop_back();
  Forget(text.id);
  sink_->SendRecord(RetractRecord(text.kind == Kind::kGroup, text.target, userId_, text.id));
  sink_->Show("* taken back: \"" + text.words + "\" for " + text.label);
  return true;
}

// .+jitter_window|target|sender|#
bool ChatSession::Nudge(std::string_view idOrName) {
  if (!IsReady()) return false;
  const bool ofTarget = idOrName.empty() && targetKind_ == Kind::kUser;
  const std::string id = ofTarget ? target_ : names_->Resolve(Kind::kUser, idOrName);
  if (id.empty() || !FitsAField(id)) {
    sink_->Complain("Say whom: /nudge USERID; a group has no window.");
    return false;
  }
  sink_->SendRecord(".+jitter_window|" + id + "|" + userId_ + "|#");
  sink_->Show("* nudged " + names_->Label(Kind::kUser, id));
  return true;
}

std::vector<std::string> ChatSession::ResolveUsers(std::string_view users,
                                                   std::string& labels) const {
  std::vector<std::string> ids;
  for (const std::string& user : SplitText(users, ",")) {
    if (user.empty()) continue;
    ids.push_back(names_->Resolve(Kind::kUser, user));
    labels += (labels.empty() ? "" : ", ") + names_->Label(Kind::kUser, ids.back());
  }
  return ids;
}

// .+notification|sender|receivers|title|content|link|#
bool ChatSession::PostNotice(std::string_view receivers, std::string_view title) {
  if (!IsReady()) return false;
  std::string ids, labels;
  for (const std::string& id : ResolveUsers(receivers, labels)) {
    ids += (ids.empty() ? "" : ",") + id;
  }
  if (ids.empty() || title.empty() || !FitsAField(ids) || title.size() > kMaxTextBytes) {
    sink_->Complain("Say whom and what: /notice USERID,USERID TITLE.");
    return false;
  }
  sink_->SendRecord(".+notification|" + userId_ + "|" + ids + "|" + FieldText(title) + "|||#");
  sink_->Show("* notice for " + labels + ": " + TerminalLine(title));
  return true;
}

void ChatSession::SetPresence(std::string_view command, std::string_view inWords) {
  if (!IsReady()) return;
  sink_->SendRecord(std::string(command) + "|" + userId_ + "|#");
  sink_->Show("* you are " + std::string(inWords) + " now");
}

void ChatSession::Leave() {
  leaving_ = true;
  if (state_ == State::kReady) sink_->SendRecord(".+offline|" + userId_ + "|#");
}

void ChatSession::ShowPresence() {
  if (presence_.empty()) sink_->Show("* nobody has been announced since the log-in");
  for (const auto& [id, word] : presence_) {
    sink_->Show("* " + names_->Label(Kind::kUser, id) + ": " + word);
  }
}

void ChatSession::End(const std::string& sentence, bool mayComeBack) {
  state_ = State::kClosed;
  mayComeBack_ = mayComeBack;
  echoDue_ = false;
  sink_->Complain(sentence);
}

}  // namespace vnq
