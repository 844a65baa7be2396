// Requests of friends and groups, answers to them and news of memberships that found nobody.
//
// The server parks such a record in MessengVerify_Type, a row for each of the two devices of a user,
// and plays none back. A row stays until its device's reader takes it away, or for ever.
#pragma once

#include <string>
#include <vector>

#include "host/database/database.h"
#include "host/database/database_engine.h"
#include "tools/history/history_entry.h"

namespace vnq {

/// One row, columns as they are stored; relations/relations.h tells what they mean.
struct ParkedRequest {
  std::string ClotID, UserID2, UserText;
  std::string To_Type1, To_Type2, To_Type3, To_Type4;
  std::string To_Date;  ///< "YYYY-MM-DD hh:mm:ss"

  /// The record that the server would have sent.
  std::string Record() const;
};

/// Appends what waits for a device of the user, oldest first. False when the statement fails, which
/// the driver's LastError() tells.
bool ReadParkedRequests(Database& database, const std::string& UserID, Device device,
                        std::vector<ParkedRequest>& requests);

/// Takes away the device's rows that are like one of the requests, in one transaction; without a
/// To_Date a request is like the rows of any time. False, with the reason in `error`: all are there.
bool DropParkedRequests(Database& database, DatabaseEngine engine, const std::string& UserID,
                        Device device, const std::vector<ParkedRequest>& requests,
                        std::string& error);

}  // namespace vnq
