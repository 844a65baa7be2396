#include <gtest/gtest.h>
#include <sys/stat.h>

#include <sstream>

#include "tests/harness/app_folder.h"
#include "tools/moving/archive_format.h"
#include "tools/moving/archive_reader.h"
#include "tools/moving/archive_writer.h"

namespace vnq {
namespace {

using Rows = std::vector<std::vector<SqlValue>>;

const SourceTable kRole = {
    "Role", {{"ID", SqlColumnType::kInteger, ""}, {"Plug", SqlColumnType::kText, ""}}, 0, 0};
const SourceTable kLog = {"ServerLog", {{"Txt", SqlColumnType::kText, ""}}, 0, 17};

class Archive : public ::testing::Test {
 protected:
  std::string Path() const { return folder_.path() + "/a.vnqdata"; }
  std::string Bytes() const { return folder_.ReadBytes("a.vnqdata"); }

  void Write() {
    ArchiveWriter writer;
    ASSERT_TRUE(writer.Open(Path())) << writer.LastError();
    WriteTable(writer, kRole,
               {{SqlValue::Integer(1), SqlValue::Null()},
                {SqlValue::Integer(2), SqlValue::Text("two\nlines")}});
    WriteTable(writer, kLog, {});
    ASSERT_TRUE(writer.Close()) << writer.LastError();
  }

  static void WriteTable(ArchiveWriter& writer, const SourceTable& table, const Rows& rows) {
    ASSERT_TRUE(writer.BeginTable(table)) << writer.LastError();
    for (const auto& row : rows) ASSERT_TRUE(writer.AddRow(row)) << writer.LastError();
    ASSERT_TRUE(writer.EndTable()) << writer.LastError();
  }

  // Why a text is no archive; empty when it is one.
  static std::string Refusal(const std::string& bytes) {
    std::string error;
    auto reader = ArchiveReader::Open(std::make_unique<std::istringstream>(bytes), error);
    EXPECT_EQ(reader == nullptr, !error.empty());
    return error;
  }

  size_t FilesInFolder() const {
    const std::filesystem::directory_iterator files(folder_.path());
    return static_cast<size_t>(std::distance(begin(files), end(files)));
  }

  AppFolder folder_;
};

TEST_F(Archive, LooksAsDocumented) {
  Write();
  EXPECT_EQ(Bytes(),
            "{\"vnqdata\":1}\n"
            "{\"table\":\"Role\",\"columns\":[{\"name\":\"ID\",\"type\":\"integer\"},"
            "{\"name\":\"Plug\",\"type\":\"text\"}]}\n"
            "[1,null]\n"
            "[2,\"two\\nlines\"]\n"
            "{\"rows\":2,\"crc32\":\"e41c697a\"}\n"
            "{\"table\":\"ServerLog\",\"columns\":[{\"name\":\"Txt\",\"type\":\"text\"}],"
            "\"counter\":17}\n"
            "{\"rows\":0,\"crc32\":\"bcafe9f9\"}\n"
            "{\"tables\":2,\"rows\":2,\"crc32\":\"42a38675\"}\n");
}

TEST_F(Archive, TablesAndRowsComeBack) {
  Write();
  std::string error;
  const auto reader = ArchiveReader::Open(Path(), error);
  ASSERT_NE(reader, nullptr) << error;
  ASSERT_EQ(reader->Tables().size(), 2u);
  EXPECT_EQ(reader->Tables()[0].name, "Role");
  EXPECT_EQ(reader->Tables()[0].rows, 2u);
  EXPECT_EQ(reader->Tables()[0].columns[0].type, SqlColumnType::kInteger);
  EXPECT_EQ(reader->Tables()[1].columns[0].name, "Txt");
  EXPECT_EQ(reader->Tables()[1].counter, 17);
  Rows rows;
  const auto keep = [&rows](std::span<const SqlValue> cells) {
    rows.emplace_back(cells.begin(), cells.end());
    return true;
  };
  EXPECT_TRUE(reader->ReadRows(1, keep, error)) << error;
  EXPECT_EQ(rows.size(), 0u);
  EXPECT_TRUE(reader->ReadRows(0, keep, error)) << error;
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[1][0].integer, 2);
  EXPECT_EQ(rows[1][1].text, "two\nlines");
}

TEST_F(Archive, SinkEndsTheReadingWithoutAnError) {
  Write();
  std::string error;
  const auto reader = ArchiveReader::Open(Path(), error);
  ASSERT_NE(reader, nullptr) << error;
  int seen = 0;
  EXPECT_FALSE(reader->ReadRows(
      0, [&seen](auto) { return ++seen < 1; }, error));
  EXPECT_EQ(seen, 1);
  EXPECT_EQ(error, "");
}

TEST_F(Archive, OnlyItsOwnerCanReadIt) {
  const mode_t before = umask(0);
  Write();
  umask(before);
  struct stat status = {};
  ASSERT_EQ(stat(Path().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(Archive, UnfinishedOneLeavesTheFileThatWasThere) {
  folder_.Write("a.vnqdata", "before");
  {
    ArchiveWriter writer;
    ASSERT_TRUE(writer.Open(Path()));
    WriteTable(writer, kLog, {});
    EXPECT_EQ(Bytes(), "before");
  }
  EXPECT_EQ(Bytes(), "before");
  EXPECT_EQ(FilesInFolder(), 1u);
}

TEST_F(Archive, FinishedOneTakesThePlaceOfTheOldOne) {
  folder_.Write("a.vnqdata", "before");
  Write();
  EXPECT_TRUE(Bytes().starts_with("{\"vnqdata\":1}\n"));
  EXPECT_EQ(FilesInFolder(), 1u);
}

TEST_F(Archive, PlaceThatCannotBeWrittenIsNamed) {
  ArchiveWriter inNoFolder, overAFolder;
  EXPECT_FALSE(inNoFolder.Open(folder_.path() + "/none/a.vnqdata"));
  EXPECT_NE(inNoFolder.LastError().find("/none/a.vnqdata"), std::string::npos);
  EXPECT_FALSE(overAFolder.Open(folder_.path()));
  EXPECT_NE(overAFolder.LastError().find("is a folder"), std::string::npos);
}

TEST_F(Archive, FileThatIsNotThereIsNamed) {
  std::string error;
  EXPECT_EQ(ArchiveReader::Open(Path(), error), nullptr);
  EXPECT_EQ(error, Path() + ": No such file or directory");
}

TEST_F(Archive, CutAnywhereItIsRefused) {
  Write();
  const std::string whole = Bytes();
  EXPECT_EQ(Refusal(whole), "");
  for (size_t length = 0; length < whole.size(); ++length) {
    EXPECT_NE(Refusal(whole.substr(0, length)), "") << length;
  }
}

TEST_F(Archive, EachChangedByteIsNoticed) {
  Write();
  const std::string whole = Bytes();
  for (size_t at = 0; at < whole.size(); ++at) {
    for (int change : {1, 2, 0x20, 0x80}) {
      std::string damaged = whole;
      damaged[at] = static_cast<char>(damaged[at] ^ change);
      EXPECT_NE(Refusal(damaged), "") << at << " " << change;
    }
  }
}

TEST_F(Archive, RefusalSaysTableRowAndByte) {
  Write();
  const std::string whole = Bytes();
  const size_t second = whole.find("[2,");
  EXPECT_EQ(Refusal(whole.substr(0, second + 3)),
            "table Role, row 2, byte " + std::to_string(second) + ": the archive breaks off");
  std::string damaged = whole;
  damaged[second] = '(';
  EXPECT_TRUE(Refusal(damaged).starts_with("table Role, row 2, byte " + std::to_string(second) +
                                           ": damaged: {\"rows\":1"))
      << Refusal(damaged);
}

TEST_F(Archive, MissingRowIsNoticed) {
  Write();
  std::string bytes = Bytes();
  bytes.erase(bytes.find("[1,null]\n"), 9);
  EXPECT_NE(Refusal(bytes).find("{\"rows\":1,"), std::string::npos) << Refusal(bytes);
}

TEST_F(Archive, RowOfAnotherWidthIsRefused) {
  Write();
  std::string bytes = Bytes();
  bytes.replace(bytes.find("[1,null]"), 8, "[1]");
  EXPECT_TRUE(Refusal(bytes).ends_with("row 1, byte 104: another number of cells than columns"))
      << Refusal(bytes);
}

TEST_F(Archive, TextBehindTheEndIsRefused) {
  Write();
  EXPECT_NE(Refusal(Bytes() + "\n"), "");
  EXPECT_NE(Refusal(Bytes() + "x"), "");
}

TEST_F(Archive, OtherVersionsAndOtherFilesAreToldApart) {
  EXPECT_EQ(Refusal("{\"vnqdata\":2}\n"),
            "an archive of another version: its first line is not {\"vnqdata\":1}");
  EXPECT_EQ(Refusal("SQLite format 3"), "no archive: it does not begin with {\"vnqdata\":");
  EXPECT_EQ(Refusal(""), "no archive: it does not begin with {\"vnqdata\":");
}

TEST_F(Archive, TableThatComesTwiceIsRefused) {
  ArchiveWriter writer;
  ASSERT_TRUE(writer.Open(Path()));
  SourceTable other = kLog;
  other.name = "serverlog";
  WriteTable(writer, kLog, {});
  WriteTable(writer, other, {});
  ASSERT_TRUE(writer.Close());
  EXPECT_NE(Refusal(Bytes()).find("table serverlog comes twice"), std::string::npos);
}

TEST_F(Archive, FileThatChangedMeanwhileIsNoticed) {
  Write();
  std::string error, bytes = Bytes();
  auto stream = std::make_unique<std::stringstream>(bytes);
  std::stringstream& shared = *stream;
  const auto reader = ArchiveReader::Open(std::move(stream), error);
  ASSERT_NE(reader, nullptr) << error;
  bytes.replace(bytes.find("[1,null]"), 8, "[3,null]");
  shared.str(bytes);
  EXPECT_FALSE(reader->ReadRows(
      0, [](auto) { return true; }, error));
  EXPECT_TRUE(error.starts_with("table Role, row 3, byte ")) << error;
}

TEST_F(Archive, RowsOfManyBlocksComeBack) {
  ArchiveWriter writer;
  ASSERT_TRUE(writer.Open(Path()));
  ASSERT_TRUE(writer.BeginTable(kLog));
  for (size_t i = 0; i < 40; ++i) {
    const std::vector<SqlValue> row = {SqlValue::Text(std::string(i * 1000 + 25000, 'x'))};
    ASSERT_TRUE(writer.AddRow(row));
  }
  ASSERT_TRUE(writer.EndTable() && writer.Close());
  std::string error;
  const auto reader = ArchiveReader::Open(Path(), error);
  ASSERT_NE(reader, nullptr) << error;
  size_t row = 0;
  const auto check = [&row](std::span<const SqlValue> cells) {
    EXPECT_EQ(cells[0].text.size(), row * 1000 + 25000);
    return ++row > 0;
  };
  EXPECT_TRUE(reader->ReadRows(0, check, error)) << error;
  EXPECT_EQ(row, 40u);
}

}  // namespace
}  // namespace vnq
