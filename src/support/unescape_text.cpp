// UnescapeText: one pass where that gives the same, and else its walk, in time that does not grow
// with text times escapes.
//
// Taken literally, each escape that the walk meets costs a pass over the whole text. Here the text
// is a chain of characters of which a replacement takes out some, and a table knows for each escape
// where it may stand:
//
// - A character never moves in the chain, so the first index tells which of two stands in front.
// - Two places of one escape never overlap, since "%" is no digit: the order of replacing them does
// not matter.
// - Each change enters the escapes that it may have made into the table, under the "%" that opens
// them. Entries
//   are never removed; what they say is checked when they are used.
// - The walk counts positions, not characters: for each place replaced in front of it, it goes as
// many characters
//   forward as were taken out there. It never goes back.
#include <algorithm>
#include <unordered_map>
#include <vector>

#include "support/hex_digits.h"
#include "support/text_codecs.h"
#include "support/utf16.h"
#include "support/utf8.h"

namespace vnq {
namespace {

constexpr size_t kShortLength = 3;  // "%41"
constexpr size_t kLongLength = 6;   // "%u4E2D"

class UnescapeWalk {
 public:
  UnescapeWalk(const AnsiText& page, std::string_view text);

  std::string Run();

 private:
  using Node = uint32_t;

  // An escape's own characters, its "%" and "u" aside, seven bits each; the length tells the forms
  // apart.
  struct Escape {
    size_t length = 0;
    uint32_t key = 0;
    unsigned number = 0;
  };

  Node end() const { return static_cast<Node>(units_.size()); }
  std::optional<Escape> EscapeAt(Node node, size_t length) const;
  char16_t CharacterOf(const Escape& escape) const;
  bool StandsAt(Node node, const Escape& escape) const;
  std::vector<Node> PlacesOf(const Escape& escape);
  void Enter(Node node);
  void EnterAround(Node node);
  void ReplaceAt(Node node, size_t length, char16_t character);
  void ReplaceEverywhere(const Escape& escape);

  const AnsiText& page_;
  std::u16string units_;     // by node; a node that was taken out keeps its last character
  std::vector<Node> next_;   // end() behind the last
  std::vector<Node> prev_;   // end() in front of the first
  std::vector<bool> taken_;  // taken out of the chain
  std::unordered_map<uint32_t, std::vector<Node>> places_;
  Node walk_ = 0;
};

UnescapeWalk::UnescapeWalk(const AnsiText& page, std::string_view text)
    : page_(page), units_(Utf8ToUtf16(text)), taken_(units_.size()) {
  for (Node node = 0; node < end(); ++node) {
    next_.push_back(node + 1);
    prev_.push_back(node == 0 ? end() : node - 1);
  }
  for (Node node = 0; node < end(); ++node) Enter(node);
}

std::string UnescapeWalk::Run() {
  for (; walk_ != end(); walk_ = next_[walk_]) {
    if (const auto escape = EscapeAt(walk_, kLongLength)) ReplaceEverywhere(*escape);
    if (walk_ == end()) break;
    if (const auto escape = EscapeAt(walk_, kShortLength)) ReplaceEverywhere(*escape);
    if (walk_ == end()) break;
  }

  std::u16string left;
  for (Node node = 0; node < end(); ++node) {
    if (!taken_[node]) left.push_back(units_[node]);
  }
  return Utf16ToUtf8(left);
}

std::optional<UnescapeWalk::Escape> UnescapeWalk::EscapeAt(Node node, size_t length) const {
  if (units_[node] != u'%') return std::nullopt;
  Escape escape;
  escape.length = length;
  Node at = next_[node];
  if (length == kLongLength) {
    if (at == end() || units_[at] != u'u') return std::nullopt;
    at = next_[at];
  }
  for (size_t digits = length == kLongLength ? 4 : 2; digits > 0; --digits, at = next_[at]) {
    const int digit = at == end() ? -1 : HexDigit(units_[at]);
    if (digit < 0) return std::nullopt;
    escape.number = escape.number << 4 | static_cast<unsigned>(digit);
    escape.key = escape.key << 7 | units_[at];
  }
  return escape;
}

char16_t UnescapeWalk::CharacterOf(const Escape& escape) const {
  const auto byte = static_cast<unsigned char>(escape.number);
  const std::string single = escape.length == kLongLength ? "" : page_.FromSingleByte(byte);
  size_t at = 0;
  return static_cast<char16_t>(single.empty() ? escape.number : NextCodePoint(single, at));
}

bool UnescapeWalk::StandsAt(Node node, const Escape& escape) const {
  if (taken_[node]) return false;
  const std::optional<Escape> found = EscapeAt(node, escape.length);
  return found && found->key == escape.key;
}

// Takes the escape's entries out of the table: each of them is replaced or was no longer true.
std::vector<UnescapeWalk::Node> UnescapeWalk::PlacesOf(const Escape& escape) {
  std::vector<Node> places;
  places.swap(places_[escape.key]);
  std::erase_if(places, [&](Node node) { return !StandsAt(node, escape); });
  std::sort(places.begin(), places.end());
  places.erase(std::unique(places.begin(), places.end()), places.end());
  return places;
}

void UnescapeWalk::Enter(Node node) {
  for (const size_t length : {kShortLength, kLongLength}) {
    if (const auto escape = EscapeAt(node, length)) places_[escape->key].push_back(node);
  }
}

void UnescapeWalk::EnterAround(Node node) {
  for (size_t i = 0; i < kLongLength && node != end(); ++i, node = prev_[node]) Enter(node);
}

void UnescapeWalk::ReplaceAt(Node node, size_t length, char16_t character) {
  Node behind = next_[node];
  for (size_t i = 1; i < length; ++i) {
    taken_[behind] = true;
    behind = next_[behind];
  }
  units_[node] = character;
  next_[node] = behind;
  if (behind != end()) prev_[behind] = node;
  EnterAround(node);
}

void UnescapeWalk::ReplaceEverywhere(const Escape& escape) {
  const Node met = walk_;
  const char16_t character = CharacterOf(escape);
  size_t forward = 0;
  for (const Node node : PlacesOf(escape)) {
    ReplaceAt(node, escape.length, character);
    if (node < met) forward += escape.length - 1;
  }
  for (; forward > 0 && walk_ != end(); --forward) walk_ = next_[walk_];
}

// True for what an escape is made of. No other character can be part of an escape, so one that
// comes out of an escape cannot make another one.
bool BelongsToEscapes(char32_t c) {
  return c == '%' || c == 'u' || HexDigit(c) >= 0;
}

// True for bytes that read and write back as they are, and have no surrogate to pair with.
bool IsCharactersOnly(std::string_view text) {
  for (size_t at = AsciiPrefix(text); at < text.size();) {
    const char32_t value = NextSequence(text, at);
    if (value == kReplacementCharacter || (value >= 0xD800 && value < 0xE000)) return false;
  }
  return true;
}

// Reads the escapes from the first to the last, each where it stands. While none of them gives a
// character that belongs to escapes, the walk does nothing else: it meets each one first, and
// nothing new comes up behind it or in front of it.
class UnescapePass {
 public:
  UnescapePass(const AnsiText& page, std::string_view text) : page_(page), rest_(text) {}

  // False: it takes the walk.
  bool Run() {
    read_.reserve(rest_.size());
    for (;;) {
      const size_t percent = rest_.find('%');
      read_ += rest_.substr(0, percent);
      if (percent == rest_.npos) return true;
      rest_.remove_prefix(percent);
      if (!TakeEscape()) return false;
    }
  }

  std::string& read() { return read_; }

 private:
  // The number of so many digits at `at`; negative when one of them is none.
  int Digits(size_t at, size_t count) const {
    int number = 0;
    for (size_t i = at; i < at + count; ++i) {
      const int digit = i < rest_.size() ? HexDigit(static_cast<unsigned char>(rest_[i])) : -1;
      if (digit < 0) return -1;
      number = number << 4 | digit;
    }
    return number;
  }

  bool TakeEscape() {
    const bool isLong = rest_.size() > 1 && rest_[1] == 'u';
    const int number = isLong ? Digits(2, 4) : Digits(1, 2);
    if (number < 0) {
      read_ += '%';
      rest_.remove_prefix(1);
      return true;
    }
    auto character = static_cast<char32_t>(number);
    if (!isLong) {
      const std::string single = page_.FromSingleByte(static_cast<unsigned char>(number));
      size_t at = 0;
      if (!single.empty()) character = static_cast<char16_t>(NextCodePoint(single, at));
    }
    if (BelongsToEscapes(character)) return false;
    rest_.remove_prefix(isLong ? kLongLength : kShortLength);
    Append(character);
    return true;
  }

  void Append(char32_t character) {
    if (IsLowSurrogate(character) && high_ != 0 && highEnd_ == read_.size()) {
      read_.resize(read_.size() - 3);
      character = JoinSurrogates(high_, character);
    }
    AppendUtf8(read_, character);
    high_ = IsHighSurrogate(character) ? character : 0;
    highEnd_ = read_.size();
  }

  const AnsiText& page_;
  std::string_view rest_;
  std::string read_;
  char32_t high_ = 0;   // the first half of a pair, if that came last
  size_t highEnd_ = 0;  // where it ends in read_
};

}  // namespace

std::string UnescapeText(const AnsiText& page, std::string_view text) {
  if (text.find('%') == text.npos) return std::string(text);
  if (IsCharactersOnly(text)) {
    UnescapePass pass(page, text);
    if (pass.Run()) return std::move(pass.read());
  }
  return UnescapeWalk(page, text).Run();
}

}  // namespace vnq
