// A database that fails on demand, in front of a real one.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/sql/sql_driver.h"

namespace vnq {

/// Passes calls on to another driver, but for the ones that it was told to fail; those do not reach
/// it. Statements and changes of rows count; SyncCommitted has a switch of its own.
class FaultyDriver : public SqlDriver {
 public:
  explicit FaultyDriver(std::unique_ptr<SqlDriver> behind) : behind_(std::move(behind)) {}

  /// Fails the n-th call from now on, 1 being the next; 0 fails none.
  void FailCall(int n) {
    failAt_ = n;
    calls_ = 0;
  }
  void FailAll(bool fail) { failAll_ = fail; }
  void FailSync(bool fail) { failSync_ = fail; }

  /// Calls since the last FailCall.
  int calls() const { return calls_; }

  bool Query(std::string_view statement, std::span<const SqlValue> parameters,
             SqlRows& rows) override {
    return Pass(statement) && Result(behind_->Query(statement, parameters, rows));
  }
  bool Execute(std::string_view statement, std::span<const SqlValue> parameters) override {
    return Pass(statement) && Result(behind_->Execute(statement, parameters));
  }
  bool Insert(const SqlRows& target, std::span<const SqlAssignment> values) override {
    return Pass("insert into " + target.table) && Result(behind_->Insert(target, values));
  }
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) override {
    return Pass("update " + rows.table) && Result(behind_->UpdateRow(rows, row, values));
  }
  bool DeleteRow(const SqlRows& rows, size_t row) override {
    return Pass("delete from " + rows.table) && Result(behind_->DeleteRow(rows, row));
  }
  bool SyncCommitted() override {
    if (!failSync_) return Result(behind_->SyncCommitted());
    lastError_ = "sync: failure on demand";
    return false;
  }
  const std::string& LastError() const override { return lastError_; }

 private:
  bool Pass(std::string_view statement) {
    ++calls_;
    if (!failAll_ && calls_ != failAt_) return true;
    lastError_ = std::string(statement) + ": failure on demand";
    return false;
  }

  bool Result(bool done) {
    if (!done) lastError_ = behind_->LastError();
    return done;
  }

  std::unique_ptr<SqlDriver> behind_;
  std::string lastError_;
  int failAt_ = 0;
  int calls_ = 0;
  bool failAll_ = false;
  bool failSync_ = false;
};

}  // namespace vnq
