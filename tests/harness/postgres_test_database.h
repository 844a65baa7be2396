// A test's database on the PostgreSQL of the run.
//
// Making one costs a third of a second of CPU, so tests that do not run at the same time use the
// same one after another; who takes it empties it.
#pragma once

#include <functional>

#include "tests/harness/test_database.h"

struct pg_conn;

namespace vnq {

class PostgresTestDatabase final : public TestDatabase {
 public:
  PostgresTestDatabase();
  ~PostgresTestDatabase() override;
  std::string Settings() const override;
  std::string PlatformIni() const override { return "[database]\ndriver=postgresql\n"; }
  void Open(const std::string& folder) override;

  /// `rowid` stands for the place of a row in its table, which an update changes.
  std::vector<std::string> Rows(const std::string& select) override;
  void Run(const std::string& statements) override;

 private:
  pg_conn* Connect(const std::string& database) const;
  bool Take(int number);

  std::string address_, port_, name_;
  pg_conn* owner_ = nullptr;       // holds the lock that makes the database this test's
  pg_conn* connection_ = nullptr;  // of the other program
  bool changed_ = false;           // its tables, so that no other test can have it
};

}  // namespace vnq
