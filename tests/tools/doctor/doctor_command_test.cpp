#include "tools/doctor/doctor_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <limits>
#include <memory>
#include <sstream>

#include <CLI/CLI.hpp>

#include "platform/net/event_loop.h"
#include "platform/net/tcp.h"
#include "platform/sql/sql_driver.h"
#include "platform/system/code_page.h"
#include "platform/system/instance.h"
#include "support/replace_all.h"
#include "tests/harness/app_folder.h"
#include "tests/harness/as_nobody.h"
#include "tests/harness/certificate.h"
#include "tests/harness/own_address.h"
#include "tests/harness/shell_run.h"
#include "tools/folder/init_command.h"
#include "tools/schema/schema_sql.h"

namespace vnq {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kIni = "Web/Data/DataBase.ini";
constexpr const char* kTexts = "Language/English/lang.ini";

class DoctorCommand : public ::testing::Test {
 protected:
  DoctorCommand() {
    std::ostringstream said;
    EXPECT_EQ(RunInit({folder_.path(), false, "en_US"}, said, said), 0) << said.str();
    Replace("platform.ini", ";bind_address=0.0.0.0", "bind_address=" + address_);
    plain_ = folder_.ReadBytes("platform.ini");
  }

  int Run() {
    out_.str("");
    return RunDoctor(options_, out_);
  }
  /// The findings of a run that begin with `kind`.
  std::string Said(const std::string& kind) {
    Run();
    std::istringstream lines(out_.str());
    std::string found;
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with(kind + ": ")) found += line + "\n";
    }
    return found;
  }
  std::string Errors() { return Said("error"); }
  std::string Warnings() { return Said("warning"); }

  void Replace(const std::string& file, std::string_view what, std::string_view by) {
    std::string bytes = folder_.ReadBytes(file);
    ASSERT_NE(bytes.find(what), std::string::npos) << file << ": " << what;
    ReplaceAll(bytes, what, by);
    folder_.Write(file, bytes);
  }
  void Execute(const std::string& statement) {
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    const auto driver = OpenSqlite(options);
    ASSERT_TRUE(driver->Execute(statement, {})) << driver->LastError();
  }
  void AddRowsOfADeployment() {
    std::filesystem::create_directories(folder_.path() + "/root/MyPic");
    Execute("insert into Tab_Config values('VNQ_CONSOLE','SysConfig',0,'" + folder_.path() +
            "/root')");
    Execute("insert into Plug values(11,1,'http://[ServerIp]:98/push')");
    Execute("insert into Users_ID(UserID) values('1')");
  }

  AppFolder folder_;
  DoctorOptions options_{.appPath = folder_.path(), .localeName = "en_US", .leastFreeMb = 0};
  const std::string address_ = AddressOfThisProcess(213);
  std::string plain_;  // platform.ini as it was made
  std::ostringstream out_;
};

TEST_F(DoctorCommand, FreshFolderHasNoErrors) {
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), Not(HasSubstr("error: ")));
  EXPECT_THAT(out_.str(), HasSubstr("0 errors, "));
  EXPECT_THAT(out_.str(), HasSubstr("ok: schema: all 46 tables"));
  EXPECT_THAT(out_.str(), HasSubstr("ok: texts in the database: Chinese and emoji come back"));
  EXPECT_THAT(out_.str(), HasSubstr("are free on " + address_));
}

TEST_F(DoctorCommand, DeploymentInOrderHasNeitherErrorsNorWarnings) {
  AddRowsOfADeployment();
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), HasSubstr("\n0 errors, 0 warnings\n"));
  EXPECT_THAT(out_.str(), HasSubstr("ok: pictures: " + folder_.path() + "/root/MyPic"));
  EXPECT_THAT(out_.str(), HasSubstr("ok: push address: http://127.0.0.1:98/push"));
}

TEST_F(DoctorCommand, ChangesNothing) {
  const std::string before = folder_.ReadBytes("Web/Data/vnq.db");
  Run();
  EXPECT_EQ(folder_.ReadBytes("Web/Data/vnq.db"), before);
  EXPECT_FALSE(folder_.Has(".vnq_main_service.lock"));
}

// --- Settings ---

TEST_F(DoctorCommand, FileThatMayNotBeReadIsNotTakenForMissing) {
  const char* const files[] = {"platform.ini", kIni, kTexts, "Web/download/log.txt",
                               "Web/Data/vnq.db"};
  for (const char* file : files) {
    const std::string path = folder_.path() + "/" + file;
    chmod(path.c_str(), 0);
    const std::string said = AsNobody([&] { return Errors(); });
    chmod(path.c_str(), 0644);
    EXPECT_THAT(said, HasSubstr(path + " cannot be read by user ")) << said;
    EXPECT_THAT(said, Not(HasSubstr(path + " is missing")));
  }
}

TEST_F(DoctorCommand, MissingFolderIsAnError) {
  std::ostringstream out;
  EXPECT_EQ(RunDoctor({folder_.path() + "/none", "en_US"}, out), 1);
  EXPECT_THAT(out.str(), StartsWith("error: --app-path " + folder_.path() + "/none: no such"));
}

TEST_F(DoctorCommand, UnusablePlatformIniIsAnError) {
  Replace("platform.ini", "bind_address=" + address_, "bind_address=localhost");
  EXPECT_THAT(Errors(), HasSubstr("platform.ini: [network] bind_address=localhost is not"));
}

TEST_F(DoctorCommand, UnknownCodePageIsAnError) {
  Replace("platform.ini", "code_page=1252", "code_page=4711");
  EXPECT_THAT(Errors(), HasSubstr("platform.ini: [locale] code_page=4711 is not a known"));
}

TEST_F(DoctorCommand, MissingPlatformIniIsAWarning) {
  std::filesystem::remove(folder_.path() + "/platform.ini");
  EXPECT_THAT(Warnings(), HasSubstr("platform.ini is missing, so this machine's locale"));
}

TEST_F(DoctorCommand, DriveWithoutAFolderIsAnError) {
  Replace("platform.ini", ";D=/srv/im", "D=/nowhere/at/all");
  EXPECT_THAT(Errors(), HasSubstr("platform.ini: [drives] D=/nowhere/at/all is no folder"));
}

TEST_F(DoctorCommand, CertificatesOfListenersAreLookedAt) {
  const auto listener = [&](const Certificate& made) {
    folder_.Write("platform.ini", plain_ +
                                      "\n[listener clients]\nprotocol=6004\nport=16004\ntls=yes\n" +
                                      "certificate=" + made.file + "\nkey=" + made.keyFile + "\n");
  };
  const std::string at = "platform.ini: [listener clients] certificate=";
  const Certificate fine = MakeCertificate(folder_.path(), address_, "fine", 400);
  chmod(fine.keyFile.c_str(), 0600);
  listener(fine);
  EXPECT_THAT(Said("ok"), HasSubstr("listener clients: its certificate holds for "));
  EXPECT_THAT(Warnings() + Errors(), Not(HasSubstr("listener clients")));
  chmod(fine.keyFile.c_str(), 0644);
  EXPECT_THAT(Warnings(), HasSubstr("key=" + fine.keyFile + " may be read by everybody"));

  const Certificate soon = MakeCertificate(folder_.path(), address_, "soon", 5);
  listener(soon);
  EXPECT_THAT(Warnings(),
              AllOf(HasSubstr(at + soon.file + " ends in "), HasSubstr(" days; put a new one")));
  const Certificate ended{folder_.path() + "/ended.pem", fine.keyFile};
  const std::string command = "openssl req -new -subj /CN=ended -key " + fine.keyFile +
                              " | openssl x509 -req -days -1 -signkey " + fine.keyFile + " -out " +
                              ended.file + " 2>/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
  listener(ended);
  EXPECT_THAT(Errors(), HasSubstr(at + ended.file + " ended 1 days ago, and clients refuse it"));
  listener({fine.file, soon.keyFile});
  EXPECT_THAT(Errors(),
              HasSubstr(at + fine.file + " cannot be used, and the listener stays closed"));
  listener({folder_.path() + "/none.pem", fine.keyFile});
  EXPECT_THAT(Errors(), HasSubstr("/none.pem cannot be used, and the listener stays closed"));
}

TEST_F(DoctorCommand, MissingDataBaseIniIsAnError) {
  std::filesystem::remove(folder_.path() + "/" + kIni);
  EXPECT_THAT(Errors(), HasSubstr("DataBase.ini is missing"));
}

TEST_F(DoctorCommand, DatabaseTypeInOtherLetterCaseIsPointedOut) {
  Replace(kIni, "DB_TYPE=access", "DB_TYPE=Access");
  EXPECT_THAT(Warnings(), HasSubstr("[server_connection] DB_TYPE=Access asks for a database"));
  EXPECT_THAT(Errors(), HasSubstr("[server_connection] DB_SERVER= is empty"));
}

TEST_F(DoctorCommand, DriverOfAnotherServerIsAWarning) {
  Replace(kIni, "DB_TYPE=access", "DB_TYPE=PostgreSQL");
  EXPECT_THAT(Warnings(), HasSubstr("DB_TYPE=PostgreSQL does not go with " + folder_.path() +
                                    "/platform.ini: [database] driver=FreeTDS, which is for SQL"));
  Replace("platform.ini", ";driver=FreeTDS", "driver=postgresql");
  EXPECT_THAT(Warnings(), Not(HasSubstr("does not go with")));
}

TEST_F(DoctorCommand, PortOfTheDatabaseServerThatIsNoneIsAnError) {
  Replace(kIni, "DB_TYPE=access", "DB_TYPE=postgresql");
  Replace(kIni, "DB_SERVER=", "DB_SERVER=127.41.3.9");
  Replace(kIni, "DB_NAME=", "DB_NAME=vnq");
  Replace(kIni, "DB_USER=", "DB_USER=im");
  Replace(kIni, "DB_PORT=", "DB_PORT=54321000");
  EXPECT_THAT(Errors(), HasSubstr("[server_connection] DB_PORT=54321000 is no port"));
}

TEST_F(DoctorCommand, ValueBeyond127BytesIsAnErrorAndAPasswordIsNotTold) {
  Replace(kIni, "DB_PWD=", "DB_PWD=" + std::string(128, 's'));
  EXPECT_THAT(Errors(), AllOf(HasSubstr("[server_connection] DB_PWD=... has 128 bytes"),
                              Not(HasSubstr("sss"))));
}

TEST_F(DoctorCommand, ValueOf127BytesIsFine) {
  Replace(kIni, "DB_NAME=", "DB_NAME=" + std::string(127, 's'));
  EXPECT_EQ(Errors(), "");
}

TEST_F(DoctorCommand, NumbersThatAreNoneAreWarnings) {
  Replace(kIni, "CheckIM0=0", "CheckIM0=yes");
  Replace(kIni, "control_computer=0", "control_computer=40000");
  EXPECT_THAT(Warnings(), AllOf(HasSubstr("[server_connection] CheckIM0=yes is no number"),
                                HasSubstr("control_computer=40000 is no number from -32768")));
}

TEST_F(DoctorCommand, PushIntervalAbove32IsAWarning) {
  Replace(kIni, "interval_time=30", "interval_time=33");
  EXPECT_THAT(Warnings(), HasSubstr("[message_push] interval_time=33 is not from 0 to 32"));
}

TEST_F(DoctorCommand, SweepThatTakesEverythingIsAWarning) {
  Replace(kIni, "options=0\nchatsday=30", "options=1\nchatsday=0");
  EXPECT_THAT(Warnings(), HasSubstr("[delete_chats] chatsday=0 deletes everything"));
}

TEST_F(DoctorCommand, UnknownSweepIsAWarning) {
  Replace(kIni, "options=0\nnoticeday", "options=2\nnoticeday");
  EXPECT_THAT(Warnings(), HasSubstr("[delete_offline_notices] options=2 does nothing"));
}

TEST_F(DoctorCommand, PasswordThatEverybodyCanReadIsAWarning) {
  Replace(kIni, "DB_PWD=", "DB_PWD=geheim");
  const std::string path = folder_.path() + "/" + kIni;
  ASSERT_EQ(chmod(path.c_str(), 0644), 0);
  EXPECT_THAT(Warnings(), AllOf(HasSubstr("chmod o-rwx " + path), Not(HasSubstr("geheim"))));
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  EXPECT_THAT(Warnings(), Not(HasSubstr("chmod")));
}

// --- Texts ---

TEST_F(DoctorCommand, LanguageWithoutTextsIsAWarning) {
  Replace("platform.ini", "language_id=1033", "language_id=1031");
  EXPECT_THAT(Warnings(), HasSubstr("platform.ini: [locale] language_id=1031 has no texts"));
}

TEST_F(DoctorCommand, MissingLanguageFileIsAnError) {
  std::filesystem::remove(folder_.path() + "/" + kTexts);
  EXPECT_THAT(Errors(), HasSubstr("/Language/English/lang.ini is missing"));
}

TEST_F(DoctorCommand, MissingTextsAreNamed) {
  Replace(kTexts, "\nim13=", "\nim13x=");
  Replace(kTexts, "\nim3=", "\n;im3=");
  EXPECT_THAT(Warnings(), HasSubstr("show nothing: [IndexForm] im13, [PcTelnet] im3;"));
}

TEST_F(DoctorCommand, LongTextIsAnError) {
  Replace(kTexts, "im13=", "im13=" + std::string(120, '-'));
  EXPECT_THAT(Errors(), HasSubstr("lang.ini: [IndexForm] im13=---"));
  EXPECT_THAT(Errors(), HasSubstr("what stands behind 127 is not read"));
}

TEST_F(DoctorCommand, TextThatBreaksARecordIsAnError) {
  Replace(kTexts, "im13=", "im13=a|b ");
  EXPECT_THAT(Errors(), HasSubstr("holds a vertical bar"));
}

TEST_F(DoctorCommand, TextsSavedAsUtf8AreAnError) {
  Replace("platform.ini", "language_id=1033", "language_id=2052");
  Replace("platform.ini", "code_page=1252", "code_page=936");
  folder_.Write("Language/Chinese_Simplified/lang.ini", "[IndexForm]\nim2=服务已经在运行。\n");
  EXPECT_THAT(Errors(), HasSubstr("it is saved as UTF-8 and read in code page 936"));
  folder_.Write("Language/Chinese_Simplified/lang.ini",
                CodePage::Open(936)->ToBytes("[IndexForm]\nim2=服务已经在运行。\n"));
  EXPECT_EQ(Errors(), "");
}

// --- Version file ---

TEST_F(DoctorCommand, VersionFileWithoutTwoNumbersIsAnError) {
  folder_.Write("Web/download/log.txt", "1005\n");
  EXPECT_THAT(Errors(), HasSubstr("log.txt: the first line is \"1005\""));
  folder_.Write("Web/download/log.txt", std::string("\t 1005|1007\0\r\n", 14));
  EXPECT_EQ(Errors(), "");
}

TEST_F(DoctorCommand, VersionFileThatLocksTheCurrentClientOutIsAWarning) {
  folder_.Write("Web/download/log.txt", "1007|1005\n");
  EXPECT_THAT(Warnings(), HasSubstr("1007|1005 refuses the current client itself"));
}

TEST_F(DoctorCommand, MissingVersionFileIsAWarning) {
  std::filesystem::remove(folder_.path() + "/Web/download/log.txt");
  EXPECT_THAT(Warnings(), HasSubstr("clients of any version are let in"));
}

// --- Database ---

TEST_F(DoctorCommand, MissingDatabaseFileIsAnErrorAndIsNotMade) {
  std::filesystem::remove(folder_.path() + "/Web/Data/vnq.db");
  EXPECT_THAT(Errors(), HasSubstr("DataBaseName=\\Web\\Data\\vnq.db: there is no file"));
  EXPECT_FALSE(folder_.Has("Web/Data/vnq.db"));
}

TEST_F(DoctorCommand, JetFileIsAnErrorWithTheCommandToRun) {
  folder_.Write("Web/Data/im.mdb", std::string("\0\1\0\0Standard Jet DB\0", 20));
  Replace(kIni, "DataBaseName=\\Web\\Data\\vnq.db", "DataBaseName=\\Web\\Data\\im.mdb");
  EXPECT_THAT(Errors(), HasSubstr("&& vnqctl import --from " + folder_.path() +
                                  "/Web/Data/im.mdb --app-path " + folder_.path()));
}

TEST_F(DoctorCommand, FileThatIsNoDatabaseIsAnError) {
  folder_.Write("Web/Data/vnq.db", std::string(4096, 'x'));
  EXPECT_THAT(Errors(), HasSubstr("vnq.db: file is not a database"));
}

TEST_F(DoctorCommand, DamagedDatabaseIsAnError) {
  for (int i = 0; i < 200; ++i) {
    Execute("insert into Users_ID(UserID,UserName) values('" + std::to_string(i) + "','name')");
  }
  std::string bytes = folder_.ReadBytes("Web/Data/vnq.db");
  // The rows of the last pages go; the pages before them still make a database.
  const size_t damaged = bytes.size() - 3 * 4096;
  bytes.replace(damaged, bytes.size() - damaged, bytes.size() - damaged, 'x');
  folder_.Write("Web/Data/vnq.db", bytes);
  EXPECT_THAT(Errors(), HasSubstr("is damaged"));
}

TEST_F(DoctorCommand, MissingTableIsAnError) {
  Execute("drop table Kefu");
  EXPECT_THAT(Errors(), HasSubstr("tables are missing: Kefu; vnqctl init --app-path"));
}

TEST_F(DoctorCommand, MissingColumnIsAnErrorAndAMissingIndexAWarning) {
  Execute("alter table Users_ID drop column say");
  Execute("drop index idx_Users_ID_UserID");
  EXPECT_THAT(Errors(), HasSubstr("table Users_ID: column say is missing"));
  EXPECT_THAT(Warnings(), HasSubstr("table Users_ID: no index on UserID"));
}

TEST_F(DoctorCommand, MissingCountersAreAnError) {
  Execute("delete from UpDateForm");
  EXPECT_THAT(Errors(), HasSubstr("table UpDateForm has no row with id=1"));
  Execute("insert into UpDateForm(id) values(1)");
  Execute("insert into UpDateForm(id) values(1)");
  EXPECT_THAT(Warnings(), HasSubstr("table UpDateForm has several rows with id=1"));
}

TEST_F(DoctorCommand, WrongComparisonsAreNamed) {
  std::string table;
  for (const TableDef& one : SchemaTables()) {
    if (one.name == "Users_ID") table = CreateTableStatement(one, DatabaseEngine::kSqlite);
  }
  ReplaceAll(table, "UserName TEXT COLLATE NOCASE", "UserName TEXT COLLATE RTRIM");
  ReplaceAll(table, "UserPaws TEXT", "UserPaws TEXT COLLATE NOCASE");
  Execute("drop table Users_ID");
  Execute(table);
  EXPECT_THAT(
      Warnings(),
      AllOf(HasSubstr("column UserName: collation rtrim tells upper from lower case"),
            HasSubstr("column UserPaws: collation nocase takes upper and lower case for equal"),
            HasSubstr("column UserName of Users_ID: ASCII letters compare without regard to case,"
                      " but not in this database"),
            HasSubstr("column UserName of Users_ID: trailing blanks count in comparisons, but"),
            HasSubstr("column UserPaws of Users_ID: passwords compare with regard to case, but")));
}

// --- Rows ---

TEST_F(DoctorCommand, PictureRootOnAnUnknownDriveIsAWarning) {
  AddRowsOfADeployment();
  Execute("update Tab_Config set Col_Data='Q:/im'");
  EXPECT_THAT(Warnings(), HasSubstr("Col_Data=Q:/im names a drive that [drives]"));
}

TEST_F(DoctorCommand, MissingPictureFolderIsAWarning) {
  AddRowsOfADeployment();
  Execute("update Tab_Config set Col_Data='" + folder_.path() + "\\other'");
  EXPECT_THAT(Warnings(), HasSubstr("there is no folder " + folder_.path() + "/other/Mypic"));
}

TEST_F(DoctorCommand, PushAddressMustBePlainHttpWithAHost) {
  AddRowsOfADeployment();
  Execute("update Plug set Plug_Target='https://[ServerIp]/push'");
  EXPECT_THAT(Errors(), HasSubstr("Plug_Target=https://[ServerIp]/push does not begin with"));
  Execute("update Plug set Plug_Target='http://[ServerIp]:98/push'");
  Replace(kIni, "DataBaseIp=127.0.0.1", "DataBaseIp=");
  EXPECT_THAT(Errors(), HasSubstr("has no host; "));
  Execute("delete from Plug");
  EXPECT_THAT(Warnings(), HasSubstr("table Plug has no row with Plug_Site=11"));
  Replace(kIni, "interval_time=30", "interval_time=0");
  EXPECT_THAT(Warnings(), Not(HasSubstr("table Plug")));
}

TEST_F(DoctorCommand, SecondKeywordRowIsAWarning) {
  Execute("insert into vnq_keyword values(1,'a,b')");
  EXPECT_THAT(Warnings(), Not(HasSubstr("vnq_keyword")));
  Execute("insert into vnq_keyword values(1,'c')");
  EXPECT_THAT(Warnings(), HasSubstr("table vnq_keyword has several rows with col_type=1"));
}

TEST_F(DoctorCommand, NoUserIsAWarning) {
  EXPECT_THAT(Warnings(), HasSubstr("table Users_ID has no user; vnqctl user add"));
}

// --- Ports ---

TEST_F(DoctorCommand, StoredHashesWithoutTheirWallAreAnError) {
  AddRowsOfADeployment();
  Execute("update Users_ID set UserPaws='$scrypt$ln=14,r=8,p=1$c2FsdA==$aGFzaA=='");
  EXPECT_THAT(Errors(), AllOf(HasSubstr("the passwords of 1 users are stored as hashes"),
                              HasSubstr("protection.hash_passwords yes")));
  Replace("platform.ini", ";hash_passwords=no", "hash_passwords=yes");
  EXPECT_THAT(Errors(), Not(HasSubstr("hashes")));
}

TEST_F(DoctorCommand, PortOfAnotherProgramIsAnError) {
  SystemClock clock;
  EventLoop loop(clock);
  TcpListener other(loop);
  std::string error;
  ASSERT_TRUE(other.Listen(
      address_, 6003, [](AcceptedSocket) {}, error))
      << error;
  EXPECT_THAT(Errors(), HasSubstr("port " + address_ + ":6003: Address already in use"));
}

TEST_F(DoctorCommand, PortsOfTheServerItselfAreFine) {
  SystemClock clock;
  EventLoop loop(clock);
  TcpListener server(loop);
  InstanceLock lock;
  std::string error;
  ASSERT_TRUE(server.Listen(
      address_, 6004, [](AcceptedSocket) {}, error))
      << error;
  ASSERT_EQ(lock.Acquire(folder_.path() + "/.vnq_main_service.lock", error),
            InstanceLock::Result::kHeld);
  EXPECT_EQ(Run(), 0);
  EXPECT_THAT(out_.str(), HasSubstr("ok: ports: the server runs on this folder"));
}

TEST_F(DoctorCommand, NeedsTheFoldersPath) {
  CLI::App app;
  int exitCode = 0;
  AddDoctorCommand(app, exitCode);
  std::vector<std::string> arguments = {"doctor"};
  EXPECT_THROW(app.parse(arguments), CLI::RequiredError);
}

TEST_F(DoctorCommand, GoesOnBehindValuesThatCannotBeUsed) {
  AddRowsOfADeployment();
  Replace("platform.ini", "bind_address=" + address_, "bind_address=localhost");
  Replace("platform.ini", "code_page=1252", "code_page=4711");
  Replace("platform.ini", ";durability=receipt", "durability=always");
  Execute("drop table Kefu");
  const std::string errors = Errors();
  for (const char* words :
       {"bind_address=localhost is not an IPv4 address", "code_page=4711 is not a known",
        "durability=always is not one of receipt, commit, none", "tables are missing: Kefu"}) {
    EXPECT_THAT(errors, HasSubstr(words));
  }
  EXPECT_THAT(out_.str(), HasSubstr("ok: texts: "));
}

TEST_F(DoctorCommand, ShowsHowFarTheCheckOfALargeFileHasCome) {
  std::ostringstream progress;
  options_.progress = &progress;
  Run();
  EXPECT_EQ(progress.str(), "");  // it is small
  Execute("create table filler(a); ");
  Execute("insert into filler select zeroblob(3000000)");
  options_.largeFileMb = 1;
  Run();
  EXPECT_THAT(progress.str(), HasSubstr("MB of the database are checked"));
  EXPECT_EQ(Said("error"), "");
}

// --- Nineteen folders, each broken in one way ---

class BrokenFolder;

struct Breakage {
  const char* name;
  std::function<void(BrokenFolder& folder)> make;
  const char* kind;
  std::vector<std::string> words;  ///< of the finding, what cures it among them
  bool needsRoot = false;          ///< to break it
};

void PrintTo(const Breakage& breakage, std::ostream* out) {
  *out << breakage.name;
}

/// A deployment that nothing is wrong with, until one thing is.
class BrokenFolder : public DoctorCommand, public testing::WithParamInterface<Breakage> {
 public:
  BrokenFolder() { AddRowsOfADeployment(); }

  using DoctorCommand::Execute;
  using DoctorCommand::Replace;
  const AppFolder& folder() const { return folder_; }
  std::string Path(const std::string& file) const { return folder_.path() + "/" + file; }
  DoctorOptions& options() { return options_; }
  /// Another way to look than from this process.
  void LookBy(std::function<std::string()> look) { look_ = std::move(look); }
  /// A program that holds a port for as long as the test runs.
  void TakePort(uint16_t port) {
    std::string error;
    ASSERT_TRUE(other_.Listen(
        address_, port, [](AcceptedSocket) {}, error))
        << error;
  }

  std::string Look() {
    if (look_) return look_();
    Run();
    return out_.str();
  }

 private:
  std::function<std::string()> look_;
  SystemClock clock_;
  EventLoop loop_{clock_};
  TcpListener other_{loop_};
};

TEST_P(BrokenFolder, IsFound) {
  if (GetParam().needsRoot && geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  Run();
  ASSERT_THAT(out_.str(), HasSubstr("\n0 errors, 0 warnings\n"));
  GetParam().make(*this);
  const std::string said = Look();
  std::istringstream lines(said);
  std::vector<std::string> found;
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(std::string(GetParam().kind) + ": ") &&
        line.find(GetParam().words.front()) != line.npos) {
      found.push_back(line);
    }
  }
  ASSERT_EQ(found.size(), 1U) << said;
  for (const std::string& words : GetParam().words) EXPECT_THAT(found[0], HasSubstr(words));
  EXPECT_THAT(said, testing::ContainsRegex("\n(ok: ports|error: port )")) << "went on to the end";
}

const Breakage kBreakages[] = {
    {"AddressThatIsNone",
     [](BrokenFolder& f) { f.Replace("platform.ini", "bind_address=", "bind_address=x"); },
     "error",
     {"[network] bind_address=x", "is not an IPv4 address"}},
    {"MisspeltKeyOfPlatformIni",
     [](BrokenFolder& f) { f.Replace("platform.ini", ";busy_timeout_ms=", "busy_timeout="); },
     "warning",
     {"[database] busy_timeout is nothing", "did you mean busy_timeout_ms?"}},
    {"MisspeltKeyOfDataBaseIni",
     [](BrokenFolder& f) { f.folder().Write(kIni, f.folder().ReadBytes(kIni) + "noticedays=9\n"); },
     "warning",
     {"[delete_offline_notices] noticedays is nothing", "did you mean noticeday?"}},
    {"NumberThatIsNone",
     [](BrokenFolder& f) { f.Replace(kIni, "chatsday=30", "chatsday=a month"); },
     "warning",
     {"chatsday=a month is no number", "vnqctl setting set", "delete_chats.chatsday 30"}},
    {"TypeOfAnotherDriver",
     [](BrokenFolder& f) { f.Replace(kIni, "DB_TYPE=access", "DB_TYPE=postgresql"); },
     "warning",
     {"DB_TYPE=postgresql does not go with", "driver=FreeTDS"}},
    {"TextsInAnotherCodePage",
     [](BrokenFolder& f) {
       f.folder().Write(kTexts, f.folder().ReadBytes(kTexts) + "im999=Grüße\n");
     },
     "error",
     {"lang.ini: it is saved as UTF-8", "save it in that"}},
    {"LanguageFileThatIsMissing",
     [](BrokenFolder& f) { std::filesystem::remove(f.Path(kTexts)); },
     "error",
     {"lang.ini is missing", "vnqctl init --app-path"}},
    {"NamesThatTheCodePageLacks",
     [](BrokenFolder& f) { f.Execute("update Users_ID set FcName='王'"); },
     "warning",
     {"column FcName: code page 1252 lacks characters of 1 text", "王 where UserID=1",
      "vnqctl setting set"}},
    {"TwoUsersOfOneName",
     [](BrokenFolder& f) {
       f.Execute("insert into Users_ID(UserID,UserName) values('2','Anna'),('3','aNNA')");
     },
     "warning",
     {"2 users are called anna", "vnqctl user delete"}},
    {"NoManager",
     [](BrokenFolder& f) { f.Replace(kIni, "CheckIM0=0", "CheckIM0=1"); },
     "warning",
     {"nobody is one", "vnqctl user set", "--manager yes"}},
    {"FileThatMayNotBeRead",
     [](BrokenFolder& f) {
       f.folder().Write("root/MyPic/1.jpg", "x");
       chmod(f.Path("root/MyPic/1.jpg").c_str(), 0);
       f.LookBy([&f] {
         return AsNobody([&f] {
           std::ostringstream out;
           RunDoctor(f.options(), out);
           return out.str();
         });
       });
     },
     "error",
     {"root/MyPic/1.jpg cannot be read by user "}},
    {"FilesOfSeveralOwners",
     [](BrokenFolder& f) {
       f.folder().Write("mixed.txt", "x");
       EXPECT_EQ(chown(f.Path("mixed.txt").c_str(), kNobody, kNobody), 0);
     },
     "warning",
     {"mixed.txt", "chown -R "},
     true},
    {"FewDescriptors",
     [](BrokenFolder& f) {
       f.LookBy([&f] {
         return RunInShell("ulimit -n 64; " VNQ_CTL_PROGRAM " doctor --free-mb 0 --app-path " +
                           f.folder().path())
             .output;
       });
     },
     "warning",
     {"64 descriptors at most", "need 102", "LimitNOFILE"}},
    {"FullDisk",
     [](BrokenFolder& f) { f.options().leastFreeMb = std::numeric_limits<int>::max(); },
     "error",
     {"MB are free where", "make room"}},
    {"LongWriteAheadLog",
     [](BrokenFolder& f) {
       f.folder().Write("Web/Data/vnq.db-wal", "");
       std::filesystem::resize_file(f.Path("Web/Data/vnq.db-wal"), 140'000'000);
     },
     "warning",
     {"vnq.db-wal has 133 MB", "keeps a transaction", "fuser "}},
    {"PresenceWithoutASession",
     [](BrokenFolder& f) { f.Execute("update Users_ID set UserIcoLine=1"); },
     "warning",
     {"1 user seems to be online", "vnqctl presence repair --app-path"}},
    {"PortOfAnotherProgram",
     [](BrokenFolder& f) { f.TakePort(6003); },
     "error",
     {":6003: Address already in use", "by process ", "(vnq_tools_tests)", "vnqctl setting set"}},
    {"MissingColumn",
     [](BrokenFolder& f) { f.Execute("alter table Users_ID drop column say"); },
     "error",
     {"column say is missing", "vnqctl upgrade",
      "alter table Users_ID add column say TEXT COLLATE NOCASE"}},
    {"DatabaseOfANewerVersion",
     [](BrokenFolder& f) { f.Execute("update vnq_schema set version=9"); },
     "error",
     {"schema version 9, and this program knows it up to 1", "restore a backup"}},
};
static_assert(std::size(kBreakages) == 19);

INSTANTIATE_TEST_SUITE_P(Nineteen, BrokenFolder, testing::ValuesIn(kBreakages),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
}  // namespace vnq
