#include "host/protection/login_guard.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

constexpr const char* kHere = "10.0.0.1";
constexpr const char* kThere = "10.0.0.2";

struct LoginGuardTest : ::testing::Test {
  LoginGuardTest() {
    settings.loginFailures = 3;
    settings.loginLockS = 60;
    settings.loginSlowdownMs = 500;
  }
  bool Fails(const char* name, const char* address) { return guard.Begin(name, address, nowMs); }

  ProtectionSettings settings;
  LoginGuard guard{settings};
  int64_t nowMs = 1'000'000;
};

TEST_F(LoginGuardTest, NameIsLockedForTheAddressThatFailedAlone) {
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Fails("anna", kHere));
  EXPECT_FALSE(Fails("anna", kHere));
  EXPECT_FALSE(Fails("ANNA ", kHere));
  EXPECT_TRUE(Fails("anna", kThere));
  EXPECT_TRUE(Fails("bert", kHere));
}

TEST_F(LoginGuardTest, LockEndsItsTimeAfterTheLastFailure) {
  for (int i = 0; i < 3; ++i) Fails("anna", kHere);
  nowMs += 59'999;
  EXPECT_FALSE(Fails("anna", kHere));  // is refused, and so lengthens nothing
  nowMs += 1;
  EXPECT_TRUE(Fails("anna", kHere));
}

TEST_F(LoginGuardTest, RightPasswordForgetsTheFailures) {
  for (int i = 0; i < 3; ++i) Fails("anna", kHere);
  guard.Succeeded("anna", kHere);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Fails("anna", kHere)) << i;
}

TEST_F(LoginGuardTest, AddressIsLockedWhateverTheNames) {
  settings.loginAddressFailures = 4;
  for (const char* name : {"a", "b", "c", "d"}) EXPECT_TRUE(Fails(name, kHere)) << name;
  EXPECT_FALSE(Fails("e", kHere));
  EXPECT_TRUE(Fails("e", kThere));
}

TEST_F(LoginGuardTest, EachFailureInARowIsAnsweredLaterUpToTenSeconds) {
  Fails("anna", kHere);
  EXPECT_EQ(guard.SlowdownMs("anna", kHere), 500);
  Fails("anna", kHere);
  EXPECT_EQ(guard.SlowdownMs("anna", kHere), 1000);
  settings.loginSlowdownMs = 60'000;
  EXPECT_EQ(guard.SlowdownMs("anna", kHere), 10'000);
}

}  // namespace
}  // namespace vnq
