#include "host/settings/platform_settings.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/harness/app_folder.h"

namespace vnq {
namespace {

class PlatformSettingsTest : public ::testing::Test {
 protected:
  std::optional<PlatformSettings> Read(std::string_view text, std::string_view locale = "") {
    folder_.Write("platform.ini", text);
    error_.clear();
    return ReadPlatformSettings(PlatformIniPath(folder_.path()), locale, error_);
  }

  PlatformSettings ReadGood(std::string_view text, std::string_view locale = "") {
    const auto settings = Read(text, locale);
    EXPECT_TRUE(settings) << error_;
    return settings.value_or(PlatformSettings());
  }

  /// What the error says behind the file's path.
  std::string ErrorOf(std::string_view text) {
    EXPECT_FALSE(Read(text));
    const std::string prefix = PlatformIniPath(folder_.path()) + ": ";
    EXPECT_TRUE(error_.starts_with(prefix)) << error_;
    return error_.substr(std::min(prefix.size(), error_.size()));
  }

  AppFolder folder_;
  std::string error_;
};

TEST(LanguageIdOfLocale, KnowsTheLanguagesThatHaveTexts) {
  EXPECT_EQ(LanguageIdOfLocale("zh_CN.UTF-8"), 2052);
  EXPECT_EQ(LanguageIdOfLocale("zh_SG"), 2052);
  EXPECT_EQ(LanguageIdOfLocale("zh_TW.Big5"), 1028);
  EXPECT_EQ(LanguageIdOfLocale("zh_HK@modifier"), 1028);
  EXPECT_EQ(LanguageIdOfLocale("en_US.UTF-8"), 1033);
}

TEST(LanguageIdOfLocale, AnyOtherIsZero) {
  for (const char* name : {"", "C", "POSIX", "en_GB.UTF-8", "de_DE", "zh"}) {
    EXPECT_EQ(LanguageIdOfLocale(name), 0) << name;
  }
}

TEST(SystemLocaleName, TakesLcAllBeforeLang) {
  setenv("LANG", "en_US.UTF-8", 1);
  setenv("LC_ALL", "zh_CN.UTF-8", 1);
  EXPECT_EQ(SystemLocaleName(), "zh_CN.UTF-8");
  setenv("LC_ALL", "", 1);
  EXPECT_EQ(SystemLocaleName(), "en_US.UTF-8");
  unsetenv("LC_ALL");
  unsetenv("LANG");
  EXPECT_EQ(SystemLocaleName(), "");
}

TEST_F(PlatformSettingsTest, MissingFileTakesTheDefaults) {
  const auto settings =
      ReadPlatformSettings(PlatformIniPath(folder_.path()), "zh_TW.UTF-8", error_);
  ASSERT_TRUE(settings) << error_;
  EXPECT_EQ(settings->languageId, 1028);
  EXPECT_EQ(settings->codePage, 950);
  EXPECT_EQ(settings->bindAddress, "0.0.0.0");
  EXPECT_EQ(settings->databaseDriver, "FreeTDS");
  EXPECT_EQ(settings->connectTimeoutS, 5);
  EXPECT_EQ(settings->statementTimeoutS, 10);
  EXPECT_EQ(settings->busyTimeoutMs, 2000);
  EXPECT_EQ(settings->durability, SqlDurability::kReceipt);
  EXPECT_EQ(settings->commit, SqlCommit::kTurn);
  EXPECT_TRUE(settings->drives.empty());
  EXPECT_EQ(settings->stopCommand, "systemctl stop %s");
  EXPECT_EQ(settings->startCommand, "systemctl start %s");
}

TEST_F(PlatformSettingsTest, EveryKeyReachesItsSetting) {
  const PlatformSettings settings = ReadGood(
      "\xEF\xBB\xBF[locale]\nlanguage_id=1033\ncode_page=936\n[network]\nbind_address=127.0.0.2\n"
      "[database]\ndriver=postgresql\nconnect_timeout_s=1\nstatement_timeout_s=2\n"
      "busy_timeout_ms=3\ndurability=commit\ncommit=statement\n[drives]\nd=/srv/数据\nE=/srv/e\n"
      "[services]\nstop_command=stop %s\nstart_command=start %s\n");
  EXPECT_EQ(settings.languageId, 1033);
  EXPECT_EQ(settings.codePage, 936);
  EXPECT_EQ(settings.bindAddress, "127.0.0.2");
  EXPECT_EQ(settings.databaseDriver, "postgresql");
  EXPECT_EQ(settings.connectTimeoutS, 1);
  EXPECT_EQ(settings.statementTimeoutS, 2);
  EXPECT_EQ(settings.busyTimeoutMs, 3);
  EXPECT_EQ(settings.durability, SqlDurability::kCommit);
  EXPECT_EQ(settings.commit, SqlCommit::kStatement);
  EXPECT_EQ(settings.drives,
            (std::map<std::string, std::string>{{"D", "/srv/数据"}, {"E", "/srv/e"}}));
  EXPECT_EQ(settings.stopCommand, "stop %s");
  EXPECT_EQ(settings.startCommand, "start %s");
}

TEST_F(PlatformSettingsTest, CodePageFollowsTheLanguageOfTheFile) {
  EXPECT_EQ(ReadGood("[locale]\nlanguage_id=2052\n", "en_US").codePage, 936);
  EXPECT_EQ(ReadGood("[locale]\nlanguage_id=1033\n", "zh_CN").codePage, 1252);
  EXPECT_EQ(ReadGood("", "de_DE").codePage, 1252);
}

TEST_F(PlatformSettingsTest, EmptyValueTakesTheDefault) {
  EXPECT_EQ(ReadGood("[database]\nbusy_timeout_ms=\n").busyTimeoutMs, 2000);
}

TEST_F(PlatformSettingsTest, ValueMayBeLongerThanALegacyOne) {
  const std::string command = "/usr/bin/" + std::string(300, 'x') + " %s";
  EXPECT_EQ(ReadGood("[services]\nstop_command=" + command + "\n").stopCommand, command);
}

TEST_F(PlatformSettingsTest, BadValueIsNamedWithItsKey) {
  EXPECT_EQ(ErrorOf("[locale]\nlanguage_id=english\n"),
            "[locale] language_id=english is not a number from 0 to 65535");
  EXPECT_EQ(ErrorOf("[locale]\ncode_page=-1\n"),
            "[locale] code_page=-1 is not a number from 1 to 65535");
  EXPECT_EQ(ErrorOf("[network]\nbind_address=localhost\n"),
            "[network] bind_address=localhost is not an IPv4 address");
  EXPECT_EQ(ErrorOf("[database]\nconnect_timeout_s=0\n"),
            "[database] connect_timeout_s=0 is not a number from 1 to 3600");
  EXPECT_EQ(ErrorOf("[database]\ndurability=always\n"),
            "[database] durability=always is not one of receipt, commit, none");
  EXPECT_EQ(ErrorOf("[database]\ncommit=never\n"),
            "[database] commit=never is not one of turn, statement");
}

TEST_F(PlatformSettingsTest, FirstBadValueIsTheOneThatIsNamed) {
  EXPECT_EQ(ErrorOf("[locale]\nlanguage_id=x\ncode_page=y\n"),
            "[locale] language_id=x is not a number from 0 to 65535");
}

TEST_F(PlatformSettingsTest, WhatTheLogTellsIsReadAndChecked) {
  const LogSettings log = ReadGood("[log]\nlevel=debug\nformat=json\nslow_ms=0\n").log;
  EXPECT_EQ(log.level, "debug");
  EXPECT_EQ(log.format, "json");
  EXPECT_EQ(log.slowMs, 0);
  EXPECT_EQ(ErrorOf("[log]\nlevel=loud\n"),
            "[log] level=loud is not one of debug, info, warning, error");
  EXPECT_EQ(ErrorOf("[log]\nformat=xml\n"), "[log] format=xml is not one of text, json");
}

TEST_F(PlatformSettingsTest, WhoWantsToKnowOfAllFaultsGetsEachAndTheDefaultInItsPlace) {
  folder_.Write("platform.ini",
                "[network]\nbind_address=x\n[limits]\npush_mb=many\noutput_mb=7\n"
                "[protection]\nlogin_frist=yes\n");
  std::vector<std::string> faults;
  const PlatformSettings settings =
      ReadUsablePlatformSettings(PlatformIniPath(folder_.path()), "", faults);
  ASSERT_EQ(faults.size(), 3U);
  EXPECT_NE(faults[0].find("bind_address=x is not"), std::string::npos);
  EXPECT_NE(faults[1].find("push_mb=many is not"), std::string::npos);
  EXPECT_NE(faults[2].find("login_frist is not a key of this section"), std::string::npos);
  EXPECT_EQ(settings.bindAddress, "0.0.0.0");
  EXPECT_EQ(settings.limits.pushMb, LimitSettings().pushMb);
  EXPECT_EQ(settings.limits.outputMb, 7);
}

TEST_F(PlatformSettingsTest, AddressesAreFourNumbersUpTo255) {
  for (const char* bad :
       {"1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.", "1..2.3", "::1", "1.2.3.-4"}) {
    EXPECT_FALSE(Read("[network]\nbind_address=" + std::string(bad) + "\n")) << bad;
  }
  EXPECT_EQ(ReadGood("[network]\nbind_address=255.0.10.1\n").bindAddress, "255.0.10.1");
}

TEST_F(PlatformSettingsTest, CommandLineWins) {
  PlatformSettings settings =
      ReadGood("[locale]\nlanguage_id=2052\ncode_page=936\n[network]\nbind_address=127.0.0.2\n");
  ASSERT_TRUE(ApplyOverrides({1033, 1252, "127.0.0.3", "debug", "json"}, settings, error_));
  EXPECT_EQ(settings.languageId, 1033);
  EXPECT_EQ(settings.codePage, 1252);
  EXPECT_EQ(settings.bindAddress, "127.0.0.3");
  EXPECT_EQ(settings.log.level, "debug");
  EXPECT_EQ(settings.log.format, "json");
}

TEST_F(PlatformSettingsTest, CodePageThatNothingGivesFollowsTheCommandLinesLanguage) {
  PlatformSettings settings = ReadGood("[locale]\nlanguage_id=1033\n");
  ASSERT_TRUE(ApplyOverrides({2052, {}, {}, {}, {}}, settings, error_));
  EXPECT_EQ(settings.codePage, 936);
}

TEST_F(PlatformSettingsTest, CodePageOfTheFileOutlivesTheCommandLinesLanguage) {
  PlatformSettings settings = ReadGood("[locale]\ncode_page=950\n");
  ASSERT_TRUE(ApplyOverrides({2052, {}, {}, {}, {}}, settings, error_));
  EXPECT_EQ(settings.codePage, 950);
}

TEST_F(PlatformSettingsTest, BadAddressOfTheCommandLineIsNamed) {
  PlatformSettings settings = ReadGood("");
  EXPECT_FALSE(ApplyOverrides({{}, {}, "nowhere", {}, {}}, settings, error_));
  EXPECT_EQ(error_, "--bind nowhere is not an IPv4 address");
}

}  // namespace
}  // namespace vnq
