#include "platform/system/instance.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/harness/app_folder.h"
#include "tests/harness/as_nobody.h"

namespace vnq {
namespace {

using Result = InstanceLock::Result;

class InstanceLockTest : public ::testing::Test {
 protected:
  const char* Take(InstanceLock& lock) {
    std::string error;
    const Result result = lock.Acquire(path_, error);
    return result == Result::kHeld ? "held" : result == Result::kError ? "error" : "other";
  }

  AppFolder folder_;
  std::string path_ = folder_.path() + "/lock";
};

TEST_F(InstanceLockTest, IsHeldOnce) {
  InstanceLock first, second;
  EXPECT_STREQ(Take(first), "held");
  EXPECT_STREQ(Take(second), "other");
}

TEST_F(InstanceLockTest, IsFreeWhenItsHolderIsGone) {
  {
    InstanceLock gone;
    EXPECT_STREQ(Take(gone), "held");
  }
  InstanceLock next;
  EXPECT_STREQ(Take(next), "held");
}

TEST_F(InstanceLockTest, NeedsNoRightToWriteTheFile) {
  folder_.Write("lock", "");
  chmod(path_.c_str(), 0444);
  EXPECT_EQ(AsNobody([&] {
              InstanceLock lock;
              return std::string(Take(lock));
            }),
            "held");
}

TEST_F(InstanceLockTest, FileThatRootMakesLetsTheFoldersOwnerStart) {
  if (geteuid() != 0) GTEST_SKIP() << "only root makes files for others";
  ASSERT_EQ(chown(folder_.path().c_str(), kNobody, kNobody), 0);
  {
    const mode_t before = umask(077);
    InstanceLock ofRoot;
    EXPECT_STREQ(Take(ofRoot), "held");
    umask(before);
  }
  EXPECT_EQ(AsNobody([&] {
              InstanceLock lock;
              return std::string(Take(lock));
            }),
            "held");
}

TEST_F(InstanceLockTest, FolderThatIsMissingIsAnErrorWithItsPath) {
  InstanceLock lock;
  std::string error;
  EXPECT_EQ(lock.Acquire(folder_.path() + "/none/lock", error), Result::kError);
  EXPECT_EQ(error, folder_.path() + "/none/lock: No such file or directory");
}

}  // namespace
}  // namespace vnq
