// What a command asks of who sends it, where a deployment has put up walls (protection.h). Without
// walls nobody asks.
#pragma once

namespace vnq {

class Fields;

/// Whose word a command is.
enum class Sender {
  kAnybody,      ///< logged in or not, and names nobody as its sender
  kUser,         ///< who has logged in on the main port
  kVisitor,      ///< a web visitor who has registered
  kPhone,        ///< a phone that is taken for its user's without a password
  kApplication,  ///< a program that writes in the name of anybody
};

/// A column of the command table, written as the functions below.
struct CommandNeeds {
  Sender sender = Sender::kAnybody;
  int senderField = 0;  ///< number of the field that names the sender; 0: none
  bool (*namesSender)(const Fields& fields) = nullptr;  ///< false where that field names another;
                                                        ///< null: it never does
  int listField = 0;  ///< number of the field that is a list; 0: none
  char listMark = 0;  ///< between the list's elements; '|': the record's own fields are the list

  constexpr CommandNeeds WithList(int field, char mark) const {
    CommandNeeds needs = *this;
    needs.listField = field;
    needs.listMark = mark;
    return needs;
  }
};

/// Nothing: anybody may send it.
inline constexpr CommandNeeds kFromAnybody{};

/// Comes from a user who has logged in, whom `field` names; 0: no field does.
constexpr CommandNeeds FromUser(int field = 0,
                                bool (*namesSender)(const Fields& fields) = nullptr) {
  return {Sender::kUser, field, namesSender};
}

constexpr CommandNeeds FromVisitor(int field) {
  return {Sender::kVisitor, field};
}

inline constexpr CommandNeeds kFromPhone{Sender::kPhone};
inline constexpr CommandNeeds kFromApplication{Sender::kApplication};

}  // namespace vnq
