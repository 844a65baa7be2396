#include "tools/client/chat_program.h"

#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <memory>

#include "host/settings/ansi_code_page.h"
#include "platform/system/code_page.h"
#include "tools/client/chat_console.h"
#include "tools/client/chat_screen.h"
#include "tools/client/chat_session.h"
#include "tools/client/chat_text.h"
#include "tools/client/connection.h"
#include "tools/client/password.h"
#include "tools/client/record_stream.h"
#include "tools/history/catch_up.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

constexpr int kConnectWaitMs = 10'000;
constexpr int kReconnectWaitMs = 2'000;  // nothing is shown meanwhile
constexpr int64_t kLongestReconnectMs = 30'000;
constexpr int kSendWaitMs = 10'000;
constexpr int kLongestPollMs = 1'000;

// One text has to be one read of the server: the next one follows a moment later.
constexpr int64_t kBetweenTextsMs = 25;

// Silence after which a record that has come in is taken for whole.
constexpr int64_t kQuietMs = 40;
constexpr int64_t kQuietUnclosedMs = 400;

// How long the server may take to close after the good-bye.
constexpr int64_t kGoodbyeWaitMs = 1'000;

constexpr std::string_view kOffer = "* /reconnect logs in again, /quit ends";

volatile sig_atomic_t stopSignal = 0;
volatile sig_atomic_t isResized = 0;

void OnSignal(int number) {
  (number == SIGWINCH ? isResized : stopSignal) = number;
}

// Ends the program's loop on a signal, so that the terminal is given back; and notes that it has
// another size.
class Signals {
 public:
  Signals() {
    stopSignal = 0;
    struct sigaction action {};
    action.sa_handler = OnSignal;
    for (size_t i = 0; i < std::size(kNumbers); ++i) sigaction(kNumbers[i], &action, &before_[i]);
  }
  ~Signals() {
    for (size_t i = 0; i < std::size(kNumbers); ++i) sigaction(kNumbers[i], &before_[i], nullptr);
  }
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

 private:
  static constexpr int kNumbers[] = {SIGINT, SIGTERM, SIGHUP, SIGWINCH};
  struct sigaction before_[std::size(kNumbers)];
};

int64_t NowMs() {
  using std::chrono::duration_cast;
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return duration_cast<std::chrono::milliseconds>(now).count();
}

std::string HostMachineId() {
  char host[256] = "";
  gethostname(host, sizeof host - 1);
  return std::string("vnqctl-") + host;
}

class ChatProgram : public ChatSink {
 public:
  /// catchUp  null where nothing is to be caught up on.
  ChatProgram(const ChatOptions& options, const AnsiText& ansi, ChatScreen& screen,
              CatchUp* catchUp)
      : options_(options),
        ansi_(ansi),
        screen_(screen),
        catchUp_(catchUp),
        stream_(ansi),
        names_(options.stateFile.empty() ? DefaultNamesFile(options.server, options.port)
                                         : options.stateFile),
        session_({options.user, options.machineId.empty() ? HostMachineId() : options.machineId,
                  options.verbose, screen.IsTerminal(), screen.IsTerminal()},
                 names_, *this),
        console_(session_, names_, *this) {}

  int Run();

  void SendRecord(const std::string& record) override;
  void Show(const std::string& line) override { screen_.Show(line); }
  void Complain(const std::string& line) override;

 private:
  bool Connect(int waitMs = kConnectWaitMs);
  void TryAgainLater();
  void TryAgainWhenDue();
  bool TakePassword(std::string& error);
  void Step();
  void WaitForSomething();
  int PollTimeout() const;
  int64_t QuietMs() const;
  bool MayTakeLines() const;
  bool WantsInput() const;
  void ReadConnection();
  void TakeRestWhenQuiet();
  void Hear(const std::vector<std::string>& records);
  void KeepUp();
  void ShowMissed();
  void WriteConnection();
  void TakeTypedLines();
  bool NothingMoreToDo() const;
  void Do(const ConsoleRequest& request);
  void SeeWhetherClosed();
  void BeginLeaving();
  void LeaveWhenDue();
  void ComplainOfReceipts();
  void SaveNames();
  std::string Prompt() const;

  const ChatOptions& options_;
  const AnsiText& ansi_;
  ChatScreen& screen_;
  CatchUp* catchUp_;
  TlsClient tls_;
  Connection connection_;
  RecordStream stream_;
  KnownNames names_;
  ChatSession session_;
  ChatConsole console_;

  std::string password_;
  std::deque<std::string> lines_;  // typed or read, not yet done
  std::deque<std::string> texts_;  // Base64, not yet sent
  int64_t nowMs_ = 0;
  int64_t nextTextMs_ = 0;
  int64_t heardMs_ = 0;
  int64_t linesFromMs_ = 0;  // a script waits until then
  int64_t againAtMs_ = 0;    // the next try to come back; 0: none
  int64_t againInMs_ = 0;    // what was waited for the last one; 0: there was none
  int64_t leaveByMs_ = 0;    // the limit of the present step of leaving
  bool inputReady_ = false;
  bool wasOpen_ = false;
  bool caughtUp_ = false;  // in this session
  bool quitting_ = false;
  bool saidGoodbye_ = false;
  bool namesFailed_ = false;
  bool failed_ = false;
  bool done_ = false;
};

int ChatProgram::Run() {
  names_.Load();
  if (options_.keepHistory && !names_.file().empty()) {
    screen_.KeepHistoryIn(names_.file() + ".typed");
  }
  screen_.SetCompleter([this](const std::string& before) { return console_.Completions(before); });
  if (screen_.IsTerminal() && !options_.codePageIsGiven) {
    Show("* code page " + std::to_string(options_.codePage) +
         "; --code-page or --app-path names another");
  }
  nowMs_ = NowMs();
  done_ = !Connect() && !screen_.IsTerminal();
  while (!done_) Step();
  SaveNames();
  if (!screen_.OutputError().empty()) Complain("cannot write the output: " + screen_.OutputError());
  return failed_ || (console_.Failed() && !screen_.IsTerminal()) ? 1 : 0;
}

bool ChatProgram::Connect(int waitMs) {
  againAtMs_ = 0;
  std::string error;
  const TlsClient* const tls = options_.tls.use ? &tls_ : nullptr;
  if ((tls == nullptr || tls_.Load(options_.tls.trust, error)) && TakePassword(error) &&
      connection_.Open(options_.server, options_.port, waitMs, error, tls)) {
    stream_ = RecordStream(ansi_);
    texts_.clear();
    nowMs_ = heardMs_ = NowMs();
    session_.Begin(password_, connection_.LocalAddress(), nowMs_);
    wasOpen_ = true;
    caughtUp_ = false;
    return true;
  }
  if (againInMs_ == 0) Complain(error);
  if (screen_.IsTerminal()) TryAgainLater();
  return false;
}

// Each time the wait is twice as long, up to a bound. Said once.
void ChatProgram::TryAgainLater() {
  nowMs_ = NowMs();
  if (againInMs_ == 0) Show("* tries to come back by itself; /reconnect tries at once, /quit ends");
  againInMs_ =
      std::min(std::max<int64_t>(2 * againInMs_, options_.reconnectMs), kLongestReconnectMs);
  againAtMs_ = nowMs_ + againInMs_;
}

void ChatProgram::TryAgainWhenDue() {
  if (againAtMs_ != 0 && nowMs_ >= againAtMs_ && !quitting_ && stopSignal == 0) {
    Connect(kReconnectWaitMs);
  }
}

bool ChatProgram::TakePassword(std::string& error) {
  if (!password_.empty()) return true;
  screen_.Suspend();
  const bool given = ReadPassword(options_.passwordFile, password_, error);
  screen_.Resume();
  if (!given) return false;
  if (FitsAField(password_) && ansi_.FromBytes(ansi_.ToBytes(password_)) == password_) return true;
  password_.clear();
  error = "the password holds a character that the protocol or the code page cannot carry";
  return false;
}

void ChatProgram::Step() {
  screen_.SetPrompt(Prompt());
  WaitForSomething();
  nowMs_ = NowMs();
  ReadConnection();
  TakeRestWhenQuiet();
  session_.Tick(nowMs_);
  if (session_.state() == ChatSession::State::kReady) againInMs_ = 0;
  if (inputReady_) {
    for (std::string& line : screen_.ReadLines()) lines_.push_back(std::move(line));
  }
  TakeTypedLines();
  WriteConnection();
  if (stopSignal != 0 || NothingMoreToDo()) BeginLeaving();
  SeeWhetherClosed();
  TryAgainWhenDue();
  LeaveWhenDue();
}

void ChatProgram::WaitForSomething() {
  pollfd waited[2] = {{connection_.fd(), POLLIN, 0},
                      {WantsInput() ? screen_.inputFd() : -1, POLLIN, 0}};
  const int ready = poll(waited, 2, PollTimeout());
  if (isResized != 0) {
    isResized = 0;
    screen_.Resized();
  }
  inputReady_ = ready > 0 && waited[1].revents != 0;
}

// A script's lines wait for the log-in; a person may type at any time.
bool ChatProgram::MayTakeLines() const {
  return screen_.IsTerminal() || session_.state() == ChatSession::State::kReady;
}

bool ChatProgram::WantsInput() const {
  if (screen_.InputEnded() || quitting_) return false;
  return screen_.IsTerminal() || (MayTakeLines() && lines_.empty());
}

int64_t ChatProgram::QuietMs() const {
  return stream_.RestLooksComplete() ? kQuietMs : kQuietUnclosedMs;
}

int ChatProgram::PollTimeout() const {
  if (connection_.HasRead()) return 0;
  int64_t wakeMs = nowMs_ + kLongestPollMs;
  if (!texts_.empty()) wakeMs = std::min(wakeMs, nextTextMs_);
  if (stream_.HasRest()) wakeMs = std::min(wakeMs, heardMs_ + QuietMs());
  if ((!lines_.empty() && MayTakeLines()) || linesFromMs_ > nowMs_)
    wakeMs = std::min(wakeMs, linesFromMs_);
  if (againAtMs_ != 0) wakeMs = std::min(wakeMs, againAtMs_);
  if (quitting_) wakeMs = std::min(wakeMs, std::max(leaveByMs_, nowMs_ + kQuietMs));
  return static_cast<int>(std::max<int64_t>(wakeMs - NowMs(), 0));
}

void ChatProgram::ReadConnection() {
  if (!connection_.IsOpen()) return;
  std::string bytes;
  const Connection::ReadResult result = connection_.Read(bytes, 0);
  if (result == Connection::ReadResult::kData) {
    heardMs_ = nowMs_;
    Hear(stream_.Feed(bytes));
  } else if (result == Connection::ReadResult::kClosed) {
    Hear(stream_.TakeRest());
    session_.OnPeerClosed();
  }
}

void ChatProgram::TakeRestWhenQuiet() {
  if (stream_.HasRest() && nowMs_ - heardMs_ >= QuietMs()) Hear(stream_.TakeRest());
}

void ChatProgram::Hear(const std::vector<std::string>& records) {
  for (const std::string& record : records) {
    const bool isHeard = session_.state() != ChatSession::State::kClosed;
    session_.OnRecord(record, nowMs_);
    if (isHeard && catchUp_ != nullptr) catchUp_->NoteShown(record);
  }
  if (catchUp_ != nullptr) KeepUp();
  SaveNames();
}

// What comes from the first moment of a session on comes live, and what came just before may come
// both ways, which the session knows to show once.
void ChatProgram::KeepUp() {
  if (!caughtUp_ && session_.state() == ChatSession::State::kReady) {
    caughtUp_ = true;
    ShowMissed();
  }
  std::string error;
  const bool isSeen = caughtUp_ && screen_.OutputError().empty();
  if (isSeen && !catchUp_->MarkShown(error)) {
    Complain("What was shown is not marked as read: " + error);
  }
}

void ChatProgram::ShowMissed() {
  std::vector<std::string> records;
  std::string error;
  if (!catchUp_->Read(session_.userId(), names_, records, error)) {
    return Complain("What came meanwhile is not shown: " + error);
  }
  session_.ShowMissed(records, nowMs_);
  for (const std::string& record : records) catchUp_->NoteShown(record);
}

void ChatProgram::SendRecord(const std::string& record) {
  for (std::string& text : EncodeForMainPort(ansi_, record)) texts_.push_back(std::move(text));
}

void ChatProgram::WriteConnection() {
  if (texts_.empty() || nowMs_ < nextTextMs_ || !connection_.IsOpen()) return;
  if (connection_.Send(texts_.front(), kSendWaitMs)) {
    texts_.pop_front();
    nextTextMs_ = nowMs_ + kBetweenTextsMs;
  } else {
    session_.OnPeerClosed();
  }
}

void ChatProgram::TakeTypedLines() {
  while (!lines_.empty() && !quitting_ && MayTakeLines() && nowMs_ >= linesFromMs_) {
    const std::string line = std::move(lines_.front());
    lines_.pop_front();
    Do(console_.Line(line));
    SaveNames();
  }
}

// At the end of the input, with its last line done; a wait at the end of a script counts, too.
bool ChatProgram::NothingMoreToDo() const {
  return screen_.InputEnded() && lines_.empty() && (screen_.IsTerminal() || nowMs_ >= linesFromMs_);
}

void ChatProgram::Do(const ConsoleRequest& request) {
  switch (request.kind) {
    case ConsoleRequest::Kind::kQuit:
      BeginLeaving();
      break;
    case ConsoleRequest::Kind::kReconnect:
      connection_.Close();
      againInMs_ = 0;  // what fails now is said
      if (!Connect() && !screen_.IsTerminal()) done_ = true;
      break;
    case ConsoleRequest::Kind::kWait:
      linesFromMs_ = nowMs_ + 1000 * int64_t{request.seconds};
      break;
    case ConsoleRequest::Kind::kNone:
      break;
  }
}

void ChatProgram::SeeWhetherClosed() {
  if (session_.state() != ChatSession::State::kClosed) return;
  connection_.Close();
  texts_.clear();
  if (session_.PasswordRefused()) password_.clear();
  done_ = done_ || quitting_ || !screen_.IsTerminal();
  if (wasOpen_ && !done_) session_.MayComeBack() ? TryAgainLater() : Show(std::string(kOffer));
  wasOpen_ = false;
}

void ChatProgram::BeginLeaving() {
  if (quitting_) return;
  quitting_ = true;
  const bool patient = !screen_.IsTerminal() && stopSignal == 0;
  leaveByMs_ = nowMs_ + (patient ? options_.receiptWaitMs : kGoodbyeWaitMs);
}

// First the receipts, then the good-bye, then the server's close; each with its limit.
void ChatProgram::LeaveWhenDue() {
  if (!quitting_ || done_) return;
  const bool settled = session_.WithoutReceipt() == 0 && texts_.empty();
  const bool isLost = !saidGoodbye_ && session_.state() != ChatSession::State::kReady;
  if (isLost && session_.WithoutReceipt() > 0) ComplainOfReceipts();
  if (saidGoodbye_ || session_.state() != ChatSession::State::kReady) {
    done_ = nowMs_ >= leaveByMs_ || session_.state() != ChatSession::State::kReady;
  } else if (settled || nowMs_ >= leaveByMs_) {
    if (session_.WithoutReceipt() > 0) ComplainOfReceipts();
    texts_.clear();
    session_.Leave();
    saidGoodbye_ = true;
    leaveByMs_ = nowMs_ + kGoodbyeWaitMs;
  }
}

void ChatProgram::ComplainOfReceipts() {
  Complain("No receipt has come for " + std::to_string(session_.WithoutReceipt()) +
           " of the messages.");
}

void ChatProgram::Complain(const std::string& line) {
  failed_ = failed_ || !screen_.IsTerminal();
  screen_.Complain(line);
}

// Names are a convenience: a file that cannot be written is said once and does not end the chat.
void ChatProgram::SaveNames() {
  std::string error;
  if (names_.Save(error) || namesFailed_) return;
  namesFailed_ = true;
  screen_.Complain(error);
}

std::string ChatProgram::Prompt() const {
  if (session_.state() == ChatSession::State::kClosed) return "(no session) > ";
  if (session_.state() != ChatSession::State::kReady) return "(logging in) > ";
  const std::string more = session_.Unread() == 0 ? "" : " +" + std::to_string(session_.Unread());
  return session_.TargetLabel() + more + "> ";
}

}  // namespace

int RunChat(const ChatOptions& options, int inputFd, int outputFd, int errorFd) {
  ChatScreen plain(-1, outputFd, errorFd);
  const std::string self = "vnqctl chat: ";
  const std::shared_ptr<const CodePage> page = CodePage::Open(options.codePage);
  if (page == nullptr) {
    plain.Complain(self + "unknown code page " + std::to_string(options.codePage));
    return kExitArguments;
  }
  const std::string machineId = options.machineId.empty() ? HostMachineId() : options.machineId;
  for (const std::string& text : {options.user, machineId}) {
    if (!text.empty() && FitsAField(text) && page->Holds(text)) continue;
    plain.Complain(fmt::format(
        "{}\"{}\" holds a character that the protocol or code page {} cannot carry, or nothing",
        self, text, options.codePage));
    return kExitArguments;
  }
  std::unique_ptr<CatchUp> catchUp;
  if (options.catchUp) {
    std::string error;
    catchUp = CatchUp::Open(options.appPath, error);
    if (catchUp == nullptr) {
      plain.Complain(self + error);
      return kExitFailed;
    }
  }
  const Signals signals;
  const AnsiCodePage ansi(page);
  ChatScreen screen(inputFd, outputFd, errorFd);
  return ChatProgram(options, ansi, screen, catchUp.get()).Run();
}

}  // namespace vnq
