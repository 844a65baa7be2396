// Rows and lists of a group, shared by the commands that change one.
#pragma once

#include <string>
#include <vector>

#include "host/database/version_counters.h"
#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// The rows of a cursor on Clot_Form as member list text. The cursor stands on its first row
/// afterwards.
std::string MemberListOf(Cursor& rows);

/// Raises UpDateForm.Clot_RoVesr and Clot_FormVesr: a group came or went. Nothing when the row is
/// not exactly one.
void BumpGroupCatalogue(Host& host);

/// The entries of a member list text. What stands behind the last "-" is no entry, so one that is
/// not closed is passed over. A failed text has none.
std::vector<std::string> CountedEntries(const Expr& list);

}  // namespace vnq
