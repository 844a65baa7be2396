// The walls that a deployment may put up, from section [protection] of platform.ini. SECURITY.md
// says what each gives. Every one is down by itself.
#pragma once

#include <span>
#include <string_view>

#include "platform/net/address_list.h"

namespace vnq {

class IniValues;

struct ProtectionSettings {
  // Who may do what
  bool loginFirst = false;
  bool senderIsUser = false;
  AddressList phoneLogFrom, interfaceInformationFrom, controlFrom, endpointFrom;

  // How much
  int connectionsPerMinute = 0;  ///< new ones of one address; 0, here and below: any number
  int recordsPerSecond = 0;      ///< of one connection, on average
  int addressRecordsPerSecond = 0;
  AddressList unlimitedFrom;  ///< for whom the three do not count
  int longestRecord = 0;      ///< bytes of a record's text
  int longestList = 0;        ///< elements of a list in a record
  int unreadTimeoutS = 0;     ///< how long a peer may leave unread what was sent; 0: for ever

  // Logins and passwords
  int loginFailures = 0;         ///< of one name from one address, until it is locked; 0: never
  int loginAddressFailures = 0;  ///< of all names from one address
  int loginLockS = 300;
  int loginSlowdownMs = 0;  ///< by which each failure in a row is answered later than the last
  bool hidePasswordsInLog = false;
  bool hashPasswords = false;

  // What slots and receipts are worth
  bool sweepAllPorts = false;
  bool clearSlots = false;
  bool receiptWhenStored = false;
  bool restartInBackground = false;

  /// True when no wall is up.
  bool AllDown() const;
};

/// A key of the section, for the documents and for what checks a file.
struct ProtectionKey {
  std::string_view key;
  bool ProtectionSettings::*flag = nullptr;  ///< yes or no; or
  int ProtectionSettings::*number = nullptr;
  int highest = 0;  ///< of the number, from 0; or
  AddressList ProtectionSettings::*list = nullptr;
};

/// All keys, in the order of the documents.
std::span<const ProtectionKey> ProtectionKeys();

/// Reads the section. A key that is none of these is a fault too.
void ReadProtection(IniValues& values, ProtectionSettings& settings);

}  // namespace vnq
