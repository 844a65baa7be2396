// What arriving records say, in words for a person.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/client/known_names.h"

namespace vnq {

/// The fields of one arrived record: element 0 is the command with its prefix. What is missing
/// reads as empty.
class RecordFields {
 public:
  explicit RecordFields(std::string_view record);

  const std::string& operator[](size_t field) const;
  const std::string& word() const { return (*this)[0]; }
  size_t size() const { return elements_.size(); }

 private:
  std::vector<std::string> elements_;
};

/// One line about a record that changes nothing in the session: notices, requests, files, group
/// news. Learns the names that the record shows. Empty for a record that is not known or tells a
/// person nothing.
std::string RecordWords(const RecordFields& fields, KnownNames& names);

/// The state that a presence record gives its user ("online", "away", "offline", "on the phone");
/// empty for other records. The user is field 1.
std::string_view PresenceWord(std::string_view word);

/// True for the copy of a message that this user sent from another device.
///
/// The kind of copy is the type field of an arriving `.+message`: 1 and even values from 10 on are
/// the sender's copies, 2 and odd values the target's.
bool IsOwnCopy(std::string_view messageType);

/// What a delivered message, file or notice is known by when it comes again: a sender who missed a
/// receipt sends again, and the server delivers again. The whole record where no Msg_ID tells it
/// from others; empty for records that deliver nothing stored.
std::string DeliveryKey(const RecordFields& fields, std::string_view record);

}  // namespace vnq
