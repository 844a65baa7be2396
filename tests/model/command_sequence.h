// Random sequences of what several clients do, the same for the same seed.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace vnq::model {

/// One client's read: what it sends at one time.
struct Read {
  size_t client = 0;  ///< of those that are connected, by their order
  std::string text;   ///< decoded; any number of records, or a part of one
};

struct Deed {
  enum class Kind {
    kConnect,
    kLeave,     ///< a client goes
    kSend,      ///< reads of several clients that are there before the server looks
    kSecond,    ///< the clock goes on by a second
    kSweep,     ///< by twenty
    kElsewhere  ///< another program clears a flag of a stored message
  };
  Kind kind = Kind::kSecond;
  size_t client = 0;
  std::string address;  ///< of a new client
  std::vector<Read> reads;
  std::string msgId;
};

/// A deed as a line of a report.
std::string Told(const Deed& deed);

class CommandSequence {
 public:
  explicit CommandSequence(uint64_t seed) : random_(seed) {}

  /// The next deed where so many clients are connected.
  Deed Next(size_t clients);

  /// A random record, at times spoilt: cut short, misspelt, with a line break in it.
  std::string AnyRecord();

 private:
  std::string Message();
  std::string Spoilt(std::string record);
  Deed Send(size_t clients);
  std::string ReadText();
  std::string One(const std::vector<std::string>& choices) {
    return choices[Below(choices.size())];
  }
  size_t Below(size_t bound) { return static_cast<size_t>(random_() % bound); }

  std::mt19937_64 random_;
  std::string rest_;  // of a message that was cut, to be sent later
};

}  // namespace vnq::model
