// Settings of section [protection], as a test writes them.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/settings/ini_values.h"
#include "tests/harness/test_server.h"

namespace vnq {

/// The walls that lines of the section put up, such as "login_first=yes".
inline ProtectionSettings Walls(const std::string& lines) {
  const std::string path = "platform.ini";
  const IniData data = IniData::Parse("[protection]\n" + lines);
  std::string error;
  ProtectionSettings settings;
  IniValues values(path, data, error);
  ReadProtection(values, settings);
  EXPECT_EQ(error, "");
  return settings;
}

/// A server with these walls.
inline TestServerOptions WithWalls(const std::string& lines) {
  TestServerOptions options;
  options.protection = Walls(lines);
  return options;
}

}  // namespace vnq
