// vnq_bench prepare: accounts, groups and old messages in the database of a program's folder.
#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq::bench {

struct PrepareOptions {
  std::string appPath;
  std::string locale = "zh_CN.UTF-8";  ///< of a folder that is not there yet
  int64_t users = 2000;
  std::vector<int64_t> groups = {100, 1000};  ///< numbers of members
  int64_t messageRows = 0;                    ///< old rows that Messeng_Text is to hold
};

/// The database that the folder's settings name, as another program opens it; null with
/// the reason in `error`.
std::unique_ptr<SqlDriver> OpenDatabase(const std::string& appPath, int busyTimeoutMs,
                                        std::string& error);

/// Makes the folder where it is missing, then what is missing of accounts, groups and rows; what is
/// there stays. Works beside a running server. Returns the exit code.
int Prepare(const PrepareOptions& options, std::ostream& out, std::ostream& err);

}  // namespace vnq::bench
