// Steps that the consent flows of a group share.
#pragma once

#include "relations/verification.h"

namespace vnq {

/// Parks the record to all of the group's administrators. Yields: yes.
void ParkAdministrators(const Verification& run);

/// Parks the record to all administrators but the acting one, its To_Type4 rewritten for them.
/// Without any such administrator the field stays as it is. Yields: yes.
void ParkOtherAdministrators(const Verification& run, std::string_view type4);

/// Parks the record to the user concerned and to the acting user's other session. Yields: yes.
void ParkConcerned(const Verification& run);

/// Raises the counters that tell of a changed membership: UpDateForm.Clot_FormVesr and the group's
/// own.
void BumpMembership(const Verification& run);

/// Sends the member list to the members who are no administrators, the acting user left out.
/// Yields: yes.
void TellPlainMembers(const Verification& run);

}  // namespace vnq
