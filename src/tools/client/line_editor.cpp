#include "tools/client/line_editor.h"

#include <sys/ioctl.h>

#include <algorithm>

#include "support/utf8.h"
#include "tools/client/chat_text.h"

namespace vnq {
namespace {

constexpr size_t kMaxLineBytes = 16 * 1024;

constexpr char Ctrl(char letter) {
  return static_cast<char>(letter & 0x1F);
}
constexpr char kEscape = 0x1B;
constexpr char kBackspace = 0x7F;

bool IsContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}
bool IsControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == kBackspace;
}

// Bytes of the UTF-8 character that begins with `lead`; 1 for what begins none.
size_t LengthOf(char lead) {
  const auto byte = static_cast<unsigned char>(lead);
  return byte >= 0xF0 && byte <= 0xF4 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC2 ? 2 : 1;
}

std::string CommonBeginning(const std::vector<std::string>& texts) {
  std::string common = texts.front();
  for (const std::string& text : texts) {
    size_t same = 0;
    while (same < common.size() && same < text.size() && common[same] == text[same]) ++same;
    while (same > 0 && same < common.size() && IsContinuation(common[same])) --same;
    common.resize(same);
  }
  return common;
}

}  // namespace

LineEditor::Event LineEditor::Key(char byte) {
  if (!escape_.empty()) {
    escape_ += byte;
    const bool opensMore = escape_.size() == 2 && (byte == '[' || byte == 'O');
    const bool parameter = escape_.size() > 2 && ((byte >= '0' && byte <= '9') || byte == ';');
    if (opensMore || (parameter && escape_.size() < 16)) return Event::kNone;
    EscapeSequence(byte);
    escape_.clear();
    return Event::kNone;
  }
  if (byte != '\t') candidates_.clear();
  if (!IsControl(byte)) {
    Insert(byte);
    return Event::kNone;
  }
  if (isPasting_ && byte != kEscape) {
    if (byte == '\r' || byte == '\n' || byte == '\t') Insert(' ');
    return Event::kNone;
  }
  return query_ ? SearchControl(byte) : Control(byte);
}

LineEditor::Event LineEditor::Control(char byte) {
  character_.clear();
  switch (byte) {
    case '\r':
    case '\n':
      return EndLine();
    case Ctrl('C'):
      if (text_.empty()) return Event::kInterrupt;
      text_.clear();
      cursor_ = 0;
      break;
    case Ctrl('D'):
      if (text_.empty()) return Event::kEndOfInput;
      EraseUnder();
      break;
    case Ctrl('H'):
    case kBackspace:
      EraseBefore();
      break;
    case '\t':
      Complete();
      break;
    case Ctrl('A'):
      cursor_ = 0;
      break;
    case Ctrl('E'):
      cursor_ = text_.size();
      break;
    case Ctrl('B'):
      cursor_ = Before(cursor_);
      break;
    case Ctrl('F'):
      cursor_ = Behind(cursor_);
      break;
    case Ctrl('K'):
      text_.resize(cursor_);
      break;
    case Ctrl('U'):
      text_.erase(0, cursor_);
      cursor_ = 0;
      break;
    case Ctrl('W'):
      EraseWordBefore();
      break;
    case Ctrl('P'):
      RecallOlder();
      break;
    case Ctrl('N'):
      RecallNewer();
      break;
    case Ctrl('R'):
      own_ = text_;
      query_ = "";
      found_ = history_.size();
      break;
    case kEscape:
      escape_ = kEscape;
      break;
    default:
      break;
  }
  return Event::kNone;
}

void LineEditor::EscapeSequence(char last) {
  const std::string_view parameters =
      escape_.size() > 3 ? std::string_view(escape_).substr(2, escape_.size() - 3) : "";
  if (escape_.size() < 3) return;
  switch (last) {
    case 'A':
      RecallOlder();
      break;
    case 'B':
      RecallNewer();
      break;
    case 'C':
      cursor_ = Behind(cursor_);
      break;
    case 'D':
      cursor_ = Before(cursor_);
      break;
    case 'H':
      cursor_ = 0;
      break;
    case 'F':
      cursor_ = text_.size();
      break;
    case '~':
      if (parameters == "3") EraseUnder();
      if (parameters == "1" || parameters == "7") cursor_ = 0;
      if (parameters == "4" || parameters == "8") cursor_ = text_.size();
      if (parameters == "200" || parameters == "201") isPasting_ = parameters == "200";
      break;
    default:
      break;
  }
}

LineEditor::Event LineEditor::EndLine() {
  finished_ = text_;
  history_.Add(text_);
  recalled_.reset();
  text_.clear();
  own_.clear();
  cursor_ = 0;
  return Event::kLine;
}

// --- Searching earlier lines ---

LineEditor::Event LineEditor::SearchControl(char byte) {
  character_.clear();
  switch (byte) {
    case Ctrl('R'):
      Search(found_);
      return Event::kNone;
    case Ctrl('H'):
    case kBackspace:
      while (!query_->empty() && IsContinuation(query_->back())) query_->pop_back();
      if (!query_->empty()) query_->pop_back();
      Search(history_.size());
      return Event::kNone;
    case Ctrl('G'):
    case Ctrl('C'):
      EndSearch(own_);
      return Event::kNone;
    default:  // a key for the line that was found
      EndSearch(text_);
      return Control(byte);
  }
}

// The newest line in front of `end` that holds the text; where there is none what is shown stays.
void LineEditor::Search(size_t end) {
  if (query_->empty()) return;
  const std::optional<size_t> entry = history_.FindBefore(end, *query_);
  if (!entry) return;
  found_ = *entry;
  text_ = history_[*entry];
  cursor_ = text_.find(*query_);
}

void LineEditor::EndSearch(std::string text) {
  query_.reset();
  recalled_.reset();
  text_ = std::move(text);
  cursor_ = text_.size();
}

// --- Completing ---

// As far as all agree; then, key by key, one after the other.
void LineEditor::Complete() {
  if (!candidates_.empty()) {
    candidate_ = (candidate_ + 1) % candidates_.size();
    return ReplaceBefore(candidates_[candidate_]);
  }
  const std::string before = text_.substr(0, cursor_);
  std::vector<std::string> found;
  if (completer_) found = completer_(before);
  if (found.empty()) return Insert(' ');
  const std::string common = CommonBeginning(found);
  const bool isFurther = common.size() > before.size() || found.size() == 1;
  ReplaceBefore(isFurther ? common : found.front());
  if (found.size() == 1) return;
  candidate_ = isFurther ? found.size() - 1 : 0;
  candidates_ = std::move(found);
}

void LineEditor::ReplaceBefore(const std::string& text) {
  if (text.size() + text_.size() - cursor_ > kMaxLineBytes) return;
  text_.replace(0, cursor_, text);
  cursor_ = text.size();
}

// --- Changing the line ---

// Bytes of one character go in together, and only when they are one.
void LineEditor::Insert(char byte) {
  if (!IsContinuation(byte)) character_.clear();
  if (character_.empty() && IsContinuation(byte)) return;
  character_ += byte;
  if (character_.size() < LengthOf(character_.front())) return;
  if (TerminalLine(character_) == character_) Put(character_);
  character_.clear();
}

void LineEditor::Put(const std::string& character) {
  if (query_) {
    *query_ += character;
    return Search(std::min(found_ + 1, history_.size()));
  }
  if (text_.size() + character.size() > kMaxLineBytes) return;
  text_.insert(cursor_, character);
  cursor_ += character.size();
}

void LineEditor::EraseBefore() {
  const size_t from = Before(cursor_);
  text_.erase(from, cursor_ - from);
  cursor_ = from;
}

void LineEditor::EraseUnder() {
  text_.erase(cursor_, Behind(cursor_) - cursor_);
}

void LineEditor::EraseWordBefore() {
  size_t from = cursor_;
  while (from > 0 && text_[from - 1] == ' ') --from;
  while (from > 0 && text_[from - 1] != ' ') --from;
  text_.erase(from, cursor_ - from);
  cursor_ = from;
}

void LineEditor::RecallOlder() {
  const size_t shown = recalled_.value_or(history_.size());
  if (shown == 0) return;
  if (!recalled_) own_ = text_;
  Recall(shown - 1);
}

void LineEditor::RecallNewer() {
  if (recalled_) Recall(*recalled_ + 1);
}

void LineEditor::Recall(size_t entry) {
  const bool isOwn = entry >= history_.size();
  recalled_ = isOwn ? std::nullopt : std::optional<size_t>(entry);
  text_ = isOwn ? own_ : history_[entry];
  cursor_ = text_.size();
}

// A character with the joining marks behind it is one step.
size_t LineEditor::Before(size_t position) const {
  while (position > 0) {
    do --position;
    while (position > 0 && IsContinuation(text_[position]));
    size_t behind = position;
    if (CharacterWidth(NextSequence(text_, behind)) > 0) break;
  }
  return position;
}

size_t LineEditor::Behind(size_t position) const {
  if (position >= text_.size()) return text_.size();
  NextSequence(text_, position);
  for (size_t next = position; next < text_.size(); position = next) {
    if (CharacterWidth(NextSequence(text_, next)) > 0) break;
  }
  return position;
}

std::string LineEditor::Paint(std::string_view prompt, size_t columns) const {
  if (!query_) return PaintBehind(prompt, columns);
  return PaintBehind("(search) " + *query_ + ": ", columns);
}

std::string LineEditor::PaintBehind(std::string_view prompt, size_t columns) const {
  const size_t promptWidth = DisplayWidth(prompt);
  const size_t room = columns > promptWidth + 3 ? columns - promptWidth - 1 : 2;
  size_t start = cursor_;
  for (size_t shown = 0; start > 0;) {
    const size_t before = Before(start);
    shown += DisplayWidth(std::string_view(text_).substr(before, start - before));
    if (shown >= room) break;
    start = before;
  }
  size_t end = start;
  size_t width = 0;
  for (size_t next = start; next < text_.size(); end = next) {
    width += CharacterWidth(NextSequence(text_, next));
    if (width > room) break;
  }
  const size_t column =
      promptWidth + DisplayWidth(std::string_view(text_).substr(start, cursor_ - start));
  std::string row = "\r" + std::string(prompt) + text_.substr(start, end - start) + "\x1B[K\r";
  if (column > 0) row += "\x1B[" + std::to_string(column) + "C";
  return row;
}

void RawTerminal::Enter() {
  termios settings{};
  if (before_ || tcgetattr(fd_, &settings) != 0) return;
  before_ = settings;
  settings.c_iflag &= ~static_cast<tcflag_t>(ICRNL | IXON | BRKINT | ISTRIP);
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ICANON | IEXTEN | ISIG);
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  tcsetattr(fd_, TCSADRAIN, &settings);
}

void RawTerminal::Leave() {
  if (before_) tcsetattr(fd_, TCSADRAIN, &*before_);
  before_.reset();
}

size_t TerminalColumns(int fd) {
  winsize size{};
  if (ioctl(fd, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
  return size.ws_col;
}

}  // namespace vnq
