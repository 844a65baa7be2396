#include "platform/system/password_hash.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

TEST(PasswordHash, MatchesItsPasswordInAnyLetterCaseAndNoOther) {
  const std::string hash = HashPassword("Geheim-1");
  EXPECT_TRUE(IsPasswordHash(hash));
  EXPECT_TRUE(PasswordMatches(hash, "Geheim-1"));
  EXPECT_TRUE(PasswordMatches(hash, "geheim-1"));
  EXPECT_FALSE(PasswordMatches(hash, "Geheim-2"));
  EXPECT_FALSE(PasswordMatches(hash, ""));
}

TEST(PasswordHash, IsAnotherEachTimeAndFitsAColumnOf255) {
  const std::string one = HashPassword("x"), other = HashPassword("x");
  EXPECT_NE(one, other);
  EXPECT_LT(one.size(), 255u);
  EXPECT_EQ(one.find('\''), std::string::npos);
}

// Made by Python's hashlib.scrypt: the form is not only our own.
TEST(PasswordHash, OneOfAnotherProgramMatches) {
  EXPECT_TRUE(PasswordMatches(
      "$scrypt$ln=10,r=8,p=1$MDEyMzQ1Njc4OWFiY2RlZg==$6g3umF+uVrJsObaTZhIbbTlgrvOEFcCItdwSjtPF67M=",
      "correct horse"));
}

TEST(PasswordHash, WhatIsNoneMatchesNothing) {
  const std::string good = HashPassword("x");
  for (const std::string& stored :
       {std::string(), std::string("x"), std::string("$scrypt$ln="), std::string("$scrypt$ln=14"),
        std::string("$scrypt$ln=14,r=8,p=1$"), std::string("$scrypt$ln=14,r=8,p=1$$"),
        std::string("$scrypt$ln=99,r=8,p=1$MDEy$MDEy"), good.substr(0, good.size() - 8),
        "$scrypt$ln=20" + good.substr(13)}) {
    EXPECT_FALSE(PasswordMatches(stored, "x")) << stored;
  }
}

}  // namespace
}  // namespace vnq
