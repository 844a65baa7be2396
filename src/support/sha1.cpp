#include "support/sha1.h"

#include <algorithm>
#include <cmath>

#include "support/hex_digits.h"

namespace vnq {
namespace {

constexpr double kWordRange = 4294967296.0;
constexpr size_t kBlockBytes = 64;
constexpr size_t kLengthBytes = 8;

uint32_t Value(const Word32& word) {
  return uint32_t{word[0]} << 24 | uint32_t{word[1]} << 16 | uint32_t{word[2]} << 8 | word[3];
}

Word32 Word(uint32_t value) {
  return {static_cast<uint8_t>(value >> 24), static_cast<uint8_t>(value >> 16),
          static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

std::string Padded(std::string_view message) {
  std::string padded(message);
  padded.push_back('\x80');
  const size_t tail = (padded.size() + kLengthBytes) % kBlockBytes;
  padded.append(tail == 0 ? 0 : kBlockBytes - tail, '\0');
  padded.append(4, '\0');
  for (const uint8_t byte : WordFromNumber(static_cast<double>(message.size()) * 8)) {
    padded.push_back(static_cast<char>(byte));
  }
  return padded;
}

struct Constants {
  std::array<Word32, 5> start = {WordFromHex("67452301"), WordFromHex("EFCDAB89"),
                                 WordFromHex("98BADCFE"), WordFromHex("10325476"),
                                 WordFromHex("C3D2E1F0")};
  std::array<Word32, 4> round = {WordFromHex("5A827999"), WordFromHex("6ED9EBA1"),
                                 WordFromHex("8F1BBCDC"), WordFromHex("CA62C1D6")};
};

using Schedule = std::array<Word32, 80>;

Schedule ScheduleOf(std::string_view block) {
  Schedule schedule;
  for (size_t i = 0; i < 16; ++i) {
    for (size_t j = 0; j < 4; ++j) schedule[i][j] = static_cast<uint8_t>(block[4 * i + j]);
  }
  for (size_t i = 16; i < 80; ++i) {
    const Word32 mixed = WordXor(WordXor(schedule[i - 3], schedule[i - 8]),
                                 WordXor(schedule[i - 14], schedule[i - 16]));
    schedule[i] = WordRotateLeft(mixed, 1);
  }
  return schedule;
}

Word32 RoundFunction(size_t round, const Word32& b, const Word32& c, const Word32& d) {
  if (round < 20) return WordOr(WordAnd(b, c), WordAnd(WordNot(b), d));
  if (round < 40) return WordXor(WordXor(b, c), d);
  if (round < 60) return WordOr(WordOr(WordAnd(b, c), WordAnd(b, d)), WordAnd(c, d));
  return WordXor(WordXor(b, c), d);
}

void AddBlock(std::array<Word32, 5>& running, std::string_view block, const Constants& constants) {
  const Schedule schedule = ScheduleOf(block);
  auto [a, b, c, d, e] = running;
  for (size_t round = 0; round < 80; ++round) {
    Word32 next = WordAdd(WordRotateLeft(a, 5), RoundFunction(round, b, c, d));
    next = WordAdd(WordAdd(next, e), WordAdd(schedule[round], constants.round[round / 20]));
    e = d;
    d = c;
    c = WordRotateLeft(b, 30);
    b = a;
    a = next;
  }
  const std::array<Word32, 5> added = {a, b, c, d, e};
  for (size_t i = 0; i < running.size(); ++i) running[i] = WordAdd(running[i], added[i]);
}

}  // namespace

Word32 WordAnd(const Word32& a, const Word32& b) {
  return Word(Value(a) & Value(b));
}
Word32 WordOr(const Word32& a, const Word32& b) {
  return Word(Value(a) | Value(b));
}
Word32 WordXor(const Word32& a, const Word32& b) {
  return Word(Value(a) ^ Value(b));
}
Word32 WordNot(const Word32& word) {
  return Word(~Value(word));
}
Word32 WordAdd(const Word32& a, const Word32& b) {
  return Word(Value(a) + Value(b));
}

Word32 WordRotateLeft(const Word32& word, unsigned count) {
  count %= 32;
  return count == 0 ? word : Word(Value(word) << count | Value(word) >> (32 - count));
}

Word32 WordFromHex(std::string_view text) {
  uint32_t value = 0;
  for (const char c : text.substr(0, 8)) {
    value =
        value << 4 | static_cast<uint32_t>(std::max(0, HexDigit(static_cast<unsigned char>(c))));
  }
  return Word(value);
}

Word32 WordFromNumber(double value) {
  return Word(
      static_cast<uint32_t>(std::isfinite(value) ? std::floor(ModNumber(value, kWordRange)) : 0));
}

double WordToNumber(const Word32& word) {
  return Value(word);
}

double ModNumber(double a, double b) {
  const double rest = std::fmod(a, b);
  // A negative rest next to 0 would round up to b itself.
  return rest < 0 ? (rest + b < b ? rest + b : 0) : rest;
}

std::string Sha1Bytes(std::string_view message) {
  const Constants constants;
  std::array<Word32, 5> running = constants.start;
  const std::string padded = Padded(message);
  for (size_t at = 0; at < padded.size(); at += kBlockBytes) {
    AddBlock(running, std::string_view{padded}.substr(at, kBlockBytes), constants);
  }

  std::string digest;
  for (const Word32& word : running) digest.append(word.begin(), word.end());
  return digest;
}

}  // namespace vnq
