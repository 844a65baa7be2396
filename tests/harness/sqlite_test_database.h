// A test's database in an SQLite file: the embedded one, or the one that the TDS test server
// serves.
#pragma once

#include "tests/harness/test_database.h"

struct sqlite3;

namespace vnq {

/// A connection to an SQLite file, as another program has it.
class SqliteFile {
 public:
  explicit SqliteFile(const std::string& path);
  ~SqliteFile();
  SqliteFile(const SqliteFile&) = delete;
  SqliteFile& operator=(const SqliteFile&) = delete;

  std::vector<std::string> Rows(const std::string& select);
  void Run(const std::string& statements);

 private:
  sqlite3* handle_ = nullptr;
};

class SqliteTestDatabase final : public TestDatabase {
 public:
  std::string Settings() const override;
  /// The variable VNQ_TEST_COMMIT picks how the server of a run commits.
  std::string PlatformIni() const override {
    const char* commit = getenv("VNQ_TEST_COMMIT");
    return commit ? std::string("[database]\ncommit=") + commit + "\n" : "";
  }
  void Open(const std::string& folder) override;
  std::vector<std::string> Rows(const std::string& select) override { return file_->Rows(select); }
  void Run(const std::string& statements) override { file_->Run(statements); }

 private:
  std::unique_ptr<SqliteFile> file_;
};

/// The file is in the folder of the TDS test server, which makes it at the first log-in.
class TdsTestDatabase final : public TestDatabase {
 public:
  TdsTestDatabase();
  ~TdsTestDatabase() override;
  std::string Settings() const override;
  std::string PlatformIni() const override { return "[database]\ndriver=FreeTDS\n"; }
  void Open(const std::string& folder) override;
  std::vector<std::string> Rows(const std::string& select) override { return file_->Rows(select); }
  void Run(const std::string& statements) override;

 private:
  std::string address_, port_, filesFolder_, name_;
  std::unique_ptr<SqliteFile> file_;
};

}  // namespace vnq
