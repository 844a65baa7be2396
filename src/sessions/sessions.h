// The sessions room: the main port's dispatcher, login and presence.
//
// It owns the table of commands (command_table.h) and the commands that make, change and end a
// session. It keeps no state of its own: who is on a connection is the slot's tag, what others see
// is Users_ID.UserIcoLine.
#pragma once

#include <string>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// One read of a main-port slot: decodes it, splits it into records and runs each record's command,
/// in order.
///
/// slot   where the read arrived; nothing checks that anybody has logged in there.
/// bytes  everything that one receive gave, Base64.
/// Junk and unknown commands are dropped without an answer.
/// Yields: yes, wherever a command does.
void OnMainPortData(Host& host, SlotIndex slot, const std::string& bytes);

/// Answers .+request_data_synchronization|version|# of the account port: the department tree where
/// the version is another one than Users_RoVesr, and the closing record, all as one text.
///
///   .+data_synchronization|Users_RoVesr|<version>|
///   .+data_synchronization|Users_Ro|<column 0>|...|<column 4>|      for each department
///   .+data_synchronization|#1
///
/// A version that is no number gets the closing record alone, without a log line.
/// slot  index into SckServer6007. Yields: yes. Database: UpDateForm, Users_Ro, ServerLog.
void SendDepartmentTree(Host& host, const Fields& fields, SlotIndex slot);

}  // namespace vnq
