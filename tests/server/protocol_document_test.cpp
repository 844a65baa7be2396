// The exchanges of docs/protocol are played against a server with the demo data, and each record
// that comes back has to stand there. VNQ_WRITE_DOCUMENTS=1 in the environment writes what came
// into the documents.
//
//   ```exchange             each line an action, or what came of the action above it
//   here: alice ben-mobile  people of the demo data who are logged in and visible
//   given: update ...       a statement that another program runs
//   versions: 2 7           the numbers of the client version file
//   alice connects          a connection to the document's port; "to 6003": to another one
//   alice C: .+y|#          what one read of the server brings
//   alice S: .+y|#          a record that she is sent, in the order of people, then of records
//   alice leaves
//   a second passes         or "6 seconds pass"
//   alice is disconnected   by the server
//   ; a remark
//
// "```exchange wire" shows the bytes as they travel. GUID, DATE and TIME stand for what is new each
// time. "```bytes" shows a text, its bytes in the code page and their Base64.
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <list>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "host/database/schema.h"
#include "server/ports.h"
#include "sessions/sessions.h"
#include "support/base64_text.h"
#include "support/replace_all.h"
#include "tests/webgate/visitor_client.h"
#include "tools/folder/demo_data.h"
#include "tools/folder/program_database.h"

namespace vnq {
namespace {

const std::string kFolder = VNQ_ROOT "/docs/protocol/";
constexpr std::string_view kFence = "```";

// --- Reading and writing ---

Lines ReadLines(const std::string& path) {
  std::ifstream file(path);
  Lines lines;
  for (std::string line; std::getline(file, line);) lines.push_back(std::move(line));
  return lines;
}

std::string Joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

// The text behind `start`, where the line begins with it.
std::optional<std::string> Behind(std::string_view line, std::string_view start) {
  if (!line.starts_with(start)) return std::nullopt;
  return std::string(line.substr(start.size()));
}

// Bytes on one line, and back.
std::string OnOneLine(std::string_view bytes) {
  std::string line;
  for (const char c : bytes) {
    const bool shown = c >= ' ' && c < '\x7f' && c != '\\';
    line += c == '\r'   ? "\\r"
            : c == '\n' ? "\\n"
            : shown     ? std::string(1, c)
                        : fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
  }
  return line;
}

std::string FromOneLine(const std::string& line) {
  std::string bytes;
  for (size_t at = 0; at < line.size(); ++at) {
    if (line[at] != '\\') {
      bytes += line[at];
    } else if (line[++at] == 'x') {
      bytes += static_cast<char>(std::stoi(line.substr(at + 1, 2), nullptr, 16));
      at += 2;
    } else {
      bytes += line[at] == 'r' ? '\r' : '\n';
    }
  }
  return bytes;
}

Lines RecordsOf(const std::string& text) {
  Lines records;
  for (size_t at = 0; at < text.size();) {
    const size_t next = std::min(text.find(".+", at + 2), text.size());
    records.push_back(text.substr(at, next - at));
    at = next;
  }
  return records;
}

// What is another one each time: new identifiers, and what the database stamps by its own clock.
std::string Repeatable(const std::string& record) {
  static const std::regex guid("[0-9A-F]{32}");
  static const std::regex stamped("^(\\.\\+clot_messeng\\|[^|]*\\|[^|]*)\\|[^|]*\\|[^|]*");
  return std::regex_replace(std::regex_replace(record, guid, "GUID"), stamped, "$1|DATE|TIME");
}

// --- Playing ---

const std::map<std::string, std::string> kUserIds = {{"alice", "1"}, {"ben", "2"},
                                                     {"carol", "3"}, {"wangfang", "4"},
                                                     {"liwei", "5"}, {"zhangmin", "6"}};

struct Party {
  std::string name;
  uint16_t port;
  TestClient client;
  bool isGone = false;
};

// A server on which one exchange after the other is played.
class Stage {
 public:
  explicit Stage(uint16_t port) : port_(port) {
    std::string error;
    database_ = OpenProgramDatabase(server_.folder(), error);
    EXPECT_TRUE(database_) << error;
  }

  // The exchange as the server plays it: its actions, and what came of each.
  Lines Play(const Lines& exchange, bool asOnWire) {
    SetScene();
    asOnWire_ = asOnWire;
    Lines played;
    for (const std::string& line : exchange) {
      if (IsOutcome(line)) continue;
      played.push_back(line);
      Act(line);
      AddOutcome(played);
    }
    return played;
  }

  Lines ShowBytes(const Lines& block) {
    Lines shown;
    for (const std::string& line : block) {
      if (!line.starts_with(".+")) continue;
      const std::string bytes = server_.page().ToBytes(line);
      std::string digits;
      for (const char c : bytes) digits += fmt::format("{:02X} ", static_cast<unsigned char>(c));
      digits.pop_back();
      shown.insert(shown.end(), {line, digits, Base64EncodeBytes(bytes)});
    }
    return shown;
  }

 private:
  static bool IsOutcome(const std::string& line) {
    static const std::regex outcome("^\\S+ (S: .*|is disconnected)$");
    return std::regex_match(line, outcome);
  }

  // Nobody is connected, the database holds the demo data, and it is the same moment again.
  void SetScene() {
    parties_.clear();
    server_.Pump();
    server_.InHandler([](Host& host) { SweepLostClients(host); });
    std::string statements;
    for (const TableDef& table : SchemaTables()) {
      statements += "delete from " + std::string(table.name) + ";";
    }
    statements +=
        "insert into OtherForm(ID,Logo) values(1,0);"
        "insert into UpDateForm(id,Users_RoVesr,Users_IDVesr,Clot_RoVesr,Clot_FormVesr,NewGo_Vesr,"
        "NewRo_Vesr,LeaveFile_Vesr,ClotFile_Vesr) values(1,0,0,0,0,0,0,0,0)";
    server_.Run(statements);
    std::ostringstream said;
    ASSERT_TRUE(AddDemoData(*database_->driver, database_->folder.engine, said, said))
        << said.str();
    GoToMidnight();
    SetVersions(0, 0);
  }

  // To the beginning of the one day on which all exchanges are played.
  void GoToMidnight() {
    const LocalTime now = server_.Now();
    const int64_t ofDay = (now.hour * 60 + now.minute) * 60 + now.second;
    server_.StallMs((24 * 60 * 60 - ofDay) * 1000);
    const LocalTime day{2026, 3, 4, 0, 0, 0};
    server_.SetDate(day.MinusDays(++days_));
  }

  void SetVersions(int oldest, int newest) {
    server_.host().MinClientVersion = oldest;
    server_.host().ClientDownloadVersion = newest;
  }

  void Act(const std::string& line) {
    std::istringstream words(line);
    std::string name, verb;
    words >> name >> verb;
    if (name == ";") return;
    if (const auto names = Behind(line, "here: ")) return BringIn(*names);
    if (const auto statement = Behind(line, "given: ")) return server_.Run(*statement);
    if (line == "a second passes") return server_.Tick();
    if (line.ends_with(" seconds pass")) return server_.AdvanceMs(std::stoi(name) * 1000);
    if (name == "versions:") {
      int newest = 0;
      words >> newest;
      return SetVersions(std::stoi(verb), newest);
    }
    if (verb == "connects") {
      std::string to;
      uint16_t port = port_;
      words >> to >> port;
      return Connect(name, port == 0 ? port_ : port);
    }
    Party* const party = Find(name);
    if (party == nullptr) {
      ADD_FAILURE() << "nobody of this name, or no action: " << line;
    } else if (verb == "leaves") {
      party->client.Close();
      std::erase_if(parties_, [&](const Party& each) { return each.name == name; });
    } else if (const auto text = Behind(line, name + " C: ")) {
      Send(*party, *text);
    } else {
      ADD_FAILURE() << "no action: " << line;
    }
  }

  Party* Find(const std::string& name) {
    for (Party& party : parties_) {
      if (party.name == name) return &party;
    }
    return nullptr;
  }

  void BringIn(const std::string& names) {
    std::istringstream rest(names);
    for (std::string name; rest >> name;) {
      const std::string person = name.substr(0, name.find('-'));
      ASSERT_TRUE(kUserIds.contains(person)) << person;
      const bool isMobile = name.ends_with("-mobile");
      parties_.push_back(
          {name, kClientPort, server_.Online(kUserIds.at(person), isMobile ? 3 : 1)});
    }
    for (Party& party : parties_) party.client.Receive();
    server_.Run("delete from ServerLog");
  }

  void Connect(const std::string& name, uint16_t port) {
    parties_.push_back({name, port, server_.ConnectTo(port)});
    if (port != kVisitorPort || asOnWire_) return;
    parties_.back().client.SendBytes(GoodUpgradeRequest());
    parties_.back().client.ReceiveBytes();
  }

  static const PortRow& RowOf(uint16_t port) {
    const auto rows = PortTable();
    return *std::find_if(rows.begin(), rows.end(),
                         [port](const PortRow& row) { return row.number == port; });
  }

  void Send(Party& party, const std::string& text) {
    if (asOnWire_) return party.client.SendBytes(FromOneLine(text));
    switch (RowOf(party.port).wire) {
      case Wire::kBase64:
        return party.client.Send(text);
      case Wire::kPlainText:
        return party.client.SendBytes(server_.page().ToBytes(text));
      case Wire::kWebSocket:
        return party.client.SendBytes(TextFrame(Base64EncodeText(server_.page(), text)));
    }
  }

  void AddOutcome(Lines& played) {
    for (Party& party : parties_) {
      for (const std::string& record : Received(party)) {
        played.push_back(party.name + " S: " + record);
      }
      if (party.isGone || !party.client.IsClosed()) continue;
      party.isGone = true;
      played.push_back(party.name + " is disconnected");
    }
  }

  Lines Received(Party& party) {
    if (!asOnWire_ && RowOf(party.port).wire == Wire::kBase64) {
      Lines records = RecordsOf(party.client.Receive());
      for (std::string& record : records) record = Repeatable(record);
      return records;
    }
    const std::string bytes = party.client.ReceiveBytes();
    if (!asOnWire_) return RecordsOf(server_.page().FromBytes(bytes));
    return bytes.empty() ? Lines{} : Lines{OnOneLine(bytes)};
  }

  uint16_t port_;
  TestServer server_;
  std::optional<ProgramDatabase> database_;  // as another program has it
  int days_ = 0;
  std::list<Party> parties_;  // in the order of their coming
  bool asOnWire_ = false;
};

// --- A document as the server and the tables make it ---

// The port of a file named "6004-clients.md"; the main port for the overview.
uint16_t PortOf(const std::string& file) {
  return file.starts_with("6") ? static_cast<uint16_t>(std::stoi(file.substr(0, 4))) : kClientPort;
}

const PortRow& RowOfFile(const std::string& file) {
  for (const PortRow& row : PortTable()) {
    if (row.number == PortOf(file)) return row;
  }
  throw std::logic_error(file);
}

std::string FormOf(const CommandRow& row) {
  return std::string(row.word) + "|" + std::string(row.fields) + (row.fields.empty() ? "#" : "|#");
}

std::string HeardBy(const CommandRow& row) {
  if (row.heard.empty()) return "Nobody hears of it.";
  static const std::regex word(R"((\.\+\w+))");
  return fmt::format("Who hears of it: {}.",
                     std::regex_replace(std::string(row.heard), word, "`$1`"));
}

// The four lines below a command's heading.
Lines BelowHeading(const CommandRow& row) {
  return {"", "    " + FormOf(row), "", HeardBy(row)};
}

std::optional<std::string> CommandOfHeading(const std::string& line) {
  if (!line.starts_with("### `.+") || !line.ends_with('`')) return std::nullopt;
  return line.substr(5, line.size() - 6);
}

const CommandRow* FindCommand(const PortRow& port, std::string_view word) {
  for (const CommandRow& row : port.commands()) {
    if (row.word == word) return &row;
  }
  return nullptr;
}

Lines BlockAt(const Lines& lines, size_t first) {
  size_t last = first;
  while (last < lines.size() && lines[last] != kFence) ++last;
  return {lines.begin() + static_cast<long>(first), lines.begin() + static_cast<long>(last)};
}

Lines MadeAnew(const std::string& file, const Lines& standing) {
  const PortRow& port = RowOfFile(file);
  Stage stage(port.number);
  Lines made;
  for (size_t i = 0; i < standing.size(); ++i) {
    made.push_back(standing[i]);
    if (const auto word = CommandOfHeading(standing[i])) {
      const CommandRow* const row = FindCommand(port, *word);
      EXPECT_NE(row, nullptr) << file << ": " << *word;
      if (row == nullptr) continue;
      const Lines below = BelowHeading(*row);
      made.insert(made.end(), below.begin(), below.end());
      if (i + 2 < standing.size() && standing[i + 2].starts_with("    .+")) i += below.size();
    }
    const bool isExchange = standing[i].starts_with("```exchange");
    if (!isExchange && standing[i] != "```bytes") continue;
    const Lines block = BlockAt(standing, i + 1);
    const Lines shown =
        isExchange ? stage.Play(block, standing[i].ends_with("wire")) : stage.ShowBytes(block);
    made.insert(made.end(), shown.begin(), shown.end());
    i += block.size();
  }
  return made;
}

std::vector<std::string> Documents() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    if (entry.path().extension() == ".md") names.insert(entry.path().filename());
  }
  return {names.begin(), names.end()};
}

class ProtocolDocument : public ::testing::TestWithParam<std::string> {};

TEST_P(ProtocolDocument, ShowsWhatTheServerDoes) {
  const Lines standing = ReadLines(kFolder + GetParam());
  const Lines made = MadeAnew(GetParam(), standing);
  if (std::getenv("VNQ_WRITE_DOCUMENTS") != nullptr) {
    std::ofstream(kFolder + GetParam()) << Joined(made);
    return;
  }
  EXPECT_EQ(Joined(standing), Joined(made))
      << "write it anew by VNQ_WRITE_DOCUMENTS=1 and --gtest_filter='*ProtocolDocument*'";
}

INSTANTIATE_TEST_SUITE_P(All, ProtocolDocument, ::testing::ValuesIn(Documents()),
                         [](const auto& d) {
                           return std::regex_replace(d.param.substr(0, d.param.find('.')),
                                                     std::regex("\\W"), "_");
                         });

// --- Nothing is left out ---

// One line of records.txt: "6004 < .+new_online|UserID|NetworkIP|LocalIP|#".
struct RecordForm {
  uint16_t port;
  bool isFromClient;
  std::string form;
  bool operator==(const RecordForm&) const = default;
};

std::vector<RecordForm> RecordForms() {
  std::vector<RecordForm> forms;
  for (const std::string& line : ReadLines(kFolder + "records.txt")) {
    if (line.empty() || line.starts_with(';')) continue;
    forms.push_back(
        {static_cast<uint16_t>(std::stoi(line.substr(0, 4))), line[5] == '>', line.substr(7)});
  }
  return forms;
}

std::string WordOf(const std::string& record) {
  return record.substr(0, std::min(record.find_first_of("| "), record.size()));
}

// Calls `look` with each line of each exchange that is not shown as bytes.
template <typename Look>
void ForEachLine(const Look& look) {
  for (const std::string& file : Documents()) {
    const Lines lines = ReadLines(kFolder + file);
    for (size_t i = 0; i < lines.size(); ++i) {
      if (lines[i] != "```exchange") continue;
      for (const std::string& line : BlockAt(lines, i + 1)) look(file, line);
    }
  }
}

// The record of a line "alice S: .+y|#"; nothing for other lines.
std::optional<std::string> RecordOf(const std::string& line, char side) {
  const size_t mark = line.find(std::string(" ") + side + ": ");
  if (mark == std::string::npos || line.find(' ') != mark) return std::nullopt;
  return line.substr(mark + 4);
}

TEST(ProtocolDocuments, HaveASectionWithAnExchangeForEveryCommandInItsOrder) {
  for (const std::string& file : Documents()) {
    if (!file.starts_with("6")) continue;
    Lines sections, expected;
    std::map<std::string, bool> isShown;
    for (const std::string& line : ReadLines(kFolder + file)) {
      if (const auto word = CommandOfHeading(line)) sections.push_back(*word);
      const auto sent = RecordOf(line, 'C');
      if (sent && !sections.empty() && WordOf(*sent) == sections.back()) {
        isShown[sections.back()] = true;
      }
    }
    for (const CommandRow& row : RowOfFile(file).commands()) {
      expected.emplace_back(row.word);
      EXPECT_TRUE(isShown[std::string(row.word)]) << file << " shows no " << row.word;
    }
    EXPECT_EQ(sections, expected) << file;
  }
}

TEST(ProtocolDocuments, AreOneForEachPort) {
  std::set<uint16_t> told, ports;
  for (const std::string& file : Documents()) {
    if (file.starts_with("6")) told.insert(PortOf(file));
  }
  for (const PortRow& row : PortTable()) ports.insert(row.number);
  EXPECT_EQ(told, ports);
}

TEST(ProtocolDocuments, ListWhatClientsSendAsTheTablesHaveIt) {
  std::vector<RecordForm> listed, expected;
  for (const RecordForm& form : RecordForms()) {
    if (form.isFromClient) listed.push_back(form);
  }
  for (const PortRow& port : PortTable()) {
    for (const CommandRow& row : port.commands()) {
      expected.push_back({port.number, true, FormOf(row)});
    }
  }
  EXPECT_EQ(listed, expected);
}

TEST(ProtocolDocuments, ShowEveryRecordThatTheServerSendsAndListItsFields) {
  std::map<std::string, std::set<size_t>> listed;
  for (const RecordForm& form : RecordForms()) {
    if (!form.isFromClient) listed[WordOf(form.form)].insert(SplitText(form.form, "|").size());
  }
  std::set<std::string> shown;
  ForEachLine([&](const std::string& file, const std::string& line) {
    const auto record = RecordOf(line, 'S');
    if (!record) return;
    shown.insert(WordOf(*record));
    EXPECT_TRUE(listed[WordOf(*record)].contains(SplitText(*record, "|").size()))
        << file << ": records.txt has no such form: " << *record;
  });
  for (const auto& [word, sizes] : listed) {
    EXPECT_TRUE(shown.contains(word) || word == ".+forced_disconnection") << word;
  }
}

// It has a copy, so that it is one file to be put into a folder of plugins.
TEST(ProtocolDocuments, HaveTheirListOfRecordsInTheDissector) {
  const std::string path = VNQ_ROOT "/examples/wireshark/vnq.lua", begin = "[==[\n", end = "]==]";
  std::string dissector = Joined(ReadLines(path));
  const std::string records = Joined(ReadLines(kFolder + "records.txt"));
  const size_t from = dissector.find(begin) + begin.size();
  const size_t size = dissector.find(end) - from;
  if (std::getenv("VNQ_WRITE_DOCUMENTS") != nullptr) {
    std::ofstream(path) << dissector.replace(from, size, records);
    return;
  }
  EXPECT_EQ(dissector.substr(from, size), records) << "write it anew by VNQ_WRITE_DOCUMENTS=1";
}

TEST(ProtocolDocuments, ListEveryWordThatTheSourcesName) {
  std::set<std::string> listed, named;
  for (const RecordForm& form : RecordForms()) listed.insert(WordOf(form.form));
  static const std::regex literal("\"(\\.\\+\\w+)");
  for (const char* room : {"accounts", "endpoints", "files", "messaging", "relations", "remote",
                           "server", "sessions", "webgate"}) {
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(VNQ_ROOT "/src/" + std::string(room))) {
      if (!entry.is_regular_file()) continue;
      const std::string source = Joined(ReadLines(entry.path()));
      for (std::sregex_iterator each(source.begin(), source.end(), literal), end; each != end;
           ++each) {
        named.insert((*each)[1]);
      }
    }
  }
  EXPECT_GT(named.size(), 80u);
  for (const std::string& word : named) EXPECT_TRUE(listed.contains(word)) << word;
}

}  // namespace
}  // namespace vnq
