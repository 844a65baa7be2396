// Nodes by themselves: the section of platform.ini, words on the bus, and the directory.
#include <fmt/format.h>

#include <filesystem>
#include <fstream>

#include "host/nodes/directory.h"
#include "host/nodes/words.h"
#include "host/settings/platform_settings.h"
#include "host/settings/program_folder.h"

namespace vnq {
namespace {

// --- Settings ---

// What a platform.ini with these lines comes to: the nodes, or why it cannot be used.
struct ReadNodesOf {
  explicit ReadNodesOf(const std::string& lines) {
    const std::string path = ::testing::TempDir() + "vnq_nodes_" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::ofstream(path) << "[nodes]\n" << lines;
    const auto settings = ReadPlatformSettings(path, "C", error);
    if (settings) nodes = settings->nodes;
    std::filesystem::remove(path);
    if (error.starts_with(path)) error.erase(0, path.size());
  }
  NodeSettings nodes;
  std::string error;
};

TEST(NodeSettings, EmptySectionIsAServerAlone) {
  const ReadNodesOf read("");
  EXPECT_EQ(read.error, "");
  EXPECT_FALSE(read.nodes.AreGiven());
}

TEST(NodeSettings, AllKeysAreRead) {
  const ReadNodesOf read(
      "bus=nats://a:4222, tls://b:4222\nname=n-1\ncluster=c_2\nuser=u\npassword=p\nca=/ca.pem\n");
  EXPECT_EQ(read.error, "");
  EXPECT_EQ(read.nodes.bus, (std::vector<std::string>{"nats://a:4222", "tls://b:4222"}));
  EXPECT_EQ(fmt::format("{} {} {} {} {}", read.nodes.name, read.nodes.cluster, read.nodes.user,
                        read.nodes.password, read.nodes.caFile),
            "n-1 c_2 u p /ca.pem");
}

TEST(NodeSettings, ValueThatCannotBeUsedIsNamed) {
  const struct {
    const char *lines, *error;
  } cases[] = {
      {"bus=host:4222\nname=a\n",
       ": [nodes] bus=host:4222 is not nats://host:4222 or tls://host:4222"},
      {"bus=nats://\nname=a\n", ": [nodes] bus=nats:// is not nats://host:4222 or tls://host:4222"},
      {"bus=nats://h\n", ": [nodes] name= is not a name of letters, digits, - and _, 32 at most"},
      {"bus=nats://h\nname=a.b\n",
       ": [nodes] name=a.b is not a name of letters, digits, - and _, 32 at most"},
      {"bus=nats://h\nname=a\ncluster=*\n",
       ": [nodes] cluster=* is not a name of letters, digits, - and _, 32 at most"},
      {"buss=nats://h\n", ": [nodes] buss is not a key of this section"},
  };
  for (const auto& each : cases) EXPECT_EQ(ReadNodesOf(each.lines).error, each.error);
}

// --- Words ---

TEST(NodeWords, ComeBackWhateverTheyHold) {
  const Words words = {"", "a:b", std::string("\0|\n", 3), "7:", std::string(70'000, 'x')};
  EXPECT_EQ(SplitWords(JoinWords(words)), words);
}

TEST(NodeWords, TextThatIsNoneGivesNothing) {
  for (const char* text : {"5:hell", "x", "3", ":a", "-1:a", "2:ab3", "99999999999999999999:a"}) {
    EXPECT_EQ(SplitWords(text), std::nullopt) << text;
  }
}

// --- The directory ---

TEST(NodeDirectory, FirstNodeByNameAnswersForAKey) {
  NodeDirectory directory;
  for (const char* name : {"b", "a"}) {
    directory.Set(*directory.Enter(name, "1"), DirectoryKey(NodeArray::kClients, "7"), true);
  }
  EXPECT_EQ(*directory.FirstWith("c7"), "a");
  EXPECT_EQ(directory.AllWith("c7"), (std::vector<std::string>{"a", "b"}));
  directory.Forget("a");
  EXPECT_EQ(*directory.FirstWith("c7"), "b");
  EXPECT_EQ(directory.FirstWith("v7"), nullptr);
}

TEST(NodeDirectory, NodeThatBeginsAnewHasNoTags) {
  NodeDirectory directory;
  directory.Set(*directory.Enter("a", "1"), "c7", true);
  EXPECT_EQ(directory.Enter("a", "2")->tags, 0u);
  EXPECT_EQ(directory.FirstWith("c7"), nullptr);
}

TEST(NodeDirectory, TagIsCountedOnceAndTakenOnce) {
  NodeDirectory directory;
  NodeDirectory::Node& node = *directory.Enter("a", "1");
  directory.Set(node, "c7", true);
  directory.Set(node, "c7", true);
  EXPECT_EQ(node.tags, 1u);
  directory.Set(node, "c7", false);
  directory.Set(node, "c7", false);
  EXPECT_EQ(node.tags, 0u);
  EXPECT_TRUE(directory.KeysOf("a").empty());
}

TEST(NodeDirectory, TakesNoMoreNodesThanItHasPlacesFor) {
  NodeDirectory directory;
  for (int i = 0; i < NodeDirectory::kMostNodes; ++i) {
    ASSERT_NE(directory.Enter(std::to_string(i), "1"), nullptr);
  }
  EXPECT_EQ(directory.Enter("one more", "1"), nullptr);
  directory.Forget("5");
  EXPECT_NE(directory.Enter("one more", "1"), nullptr);
}

}  // namespace
}  // namespace vnq
