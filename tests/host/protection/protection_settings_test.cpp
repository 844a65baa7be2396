#include "host/protection/protection_settings.h"

#include <gtest/gtest.h>

#include "host/settings/ini_values.h"

namespace vnq {
namespace {

// The section's fault, empty when it was read.
std::string Read(const std::string& lines, ProtectionSettings& settings) {
  const std::string path = "platform.ini";
  const IniData data = IniData::Parse("[protection]\n" + lines);
  std::string error;
  IniValues values(path, data, error);
  ReadProtection(values, settings);
  return error;
}
std::string FaultOf(const std::string& lines) {
  ProtectionSettings settings;
  return Read(lines, settings);
}

TEST(ProtectionSettings, EveryWallIsDownByItself) {
  ProtectionSettings settings;
  EXPECT_EQ(Read("", settings), "");
  EXPECT_TRUE(settings.AllDown());
}

TEST(ProtectionSettings, AnyKeyAlonePutsAWallUpButForTwoThatOnlyShapeOne) {
  for (const ProtectionKey& key : ProtectionKeys()) {
    const std::string value = key.flag ? "yes" : key.list ? "10.0.0.0/8" : "7";
    ProtectionSettings settings;
    EXPECT_EQ(Read(std::string(key.key) + "=" + value, settings), "");
    const bool shapes = key.key == "login_lock_s" || key.key == "unlimited_from";
    EXPECT_EQ(settings.AllDown(), shapes) << key.key;
    const bool isRead = key.flag     ? settings.*key.flag
                        : key.number ? settings.*key.number == 7
                                     : (settings.*key.list).Contains("10.1.2.3");
    EXPECT_TRUE(isRead) << key.key;
  }
}

TEST(ProtectionSettings, ValueThatCannotBeUsedIsNamedWithItsKey) {
  EXPECT_EQ(FaultOf("login_first=perhaps"),
            "platform.ini: [protection] login_first=perhaps is not one of yes, no");
  EXPECT_EQ(FaultOf("login_lock_s=-1"),
            "platform.ini: [protection] login_lock_s=-1 is not a number from 0 to 86400");
  EXPECT_EQ(FaultOf("control_from=10.0.0.1, 10.0.0.0/33"),
            "platform.ini: [protection] control_from=10.0.0.1, 10.0.0.0/33 is not a list of "
            "addresses and networks: \"10.0.0.0/33\" is none");
}

TEST(ProtectionSettings, MisspeltKeyIsAFault) {
  EXPECT_EQ(FaultOf("login_frist=yes"),
            "platform.ini: [protection] login_frist is not a key of this section");
}

}  // namespace
}  // namespace vnq
