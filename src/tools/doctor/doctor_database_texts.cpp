#include "support/numbers.h"
#include "tools/doctor/doctor.h"
#include "tools/folder/database_advice.h"
#include "tools/folder/in_transaction.h"

namespace vnq {

namespace {

// An account that cannot log in and that nobody outside the transaction sees.
constexpr std::string_view kUserId = "vnq-doctor";
constexpr std::string_view kName = "vnq-Doctor-é";
constexpr std::string_view kPassword = "Geheim-1";
constexpr std::string_view kShownName = "中文，繁體 😀";

SqlValue Text(std::string_view text) {
  return SqlValue::Text(std::string(text));
}

/// The trial, step by step; the first one that fails ends it.
class TextTrial {
 public:
  TextTrial(Database& database, Findings& findings)
      : database_(database), driver_(database.driver()), findings_(findings) {}

  /// True when everything was as it should be.
  bool Run() { return AddTwice() && ComeBack() && Compare() && TellEqualRowsApart(); }

 private:
  bool AddTwice() {
    for (int i = 0; i < 2; ++i) {
      if (driver_.Execute(
              "insert into Users_ID(UserID,UserName,UserPaws,FcName,UserState) values(?,?,?,?,0)",
              std::vector<SqlValue>{Text(kUserId), Text(kName), Text(kPassword),
                                    Text(kShownName)})) {
        continue;
      }
      return Fail("a row with Chinese text cannot be added to Users_ID: " +
                  OneLine(driver_.LastError()));
    }
    return true;
  }

  bool ComeBack() {
    SqlRows rows;
    if (!driver_.Query("Select FcName from Users_ID where UserID=?",
                       std::vector<SqlValue>{Text(kUserId)}, rows) ||
        rows.rowCount() != 2) {
      return Fail("a row that was just added to Users_ID is not found: " +
                  OneLine(driver_.LastError()));
    }
    if (rows.cells[0].text == kShownName) return true;
    return Fail("column FcName of Users_ID gives back " + rows.cells[0].text + " for " +
                std::string(kShownName) +
                ": it holds only some of the characters; make it a Unicode column");
  }

  struct Comparison {
    std::string_view column, value;
    bool isEqual;
    std::string_view rule;
  };

  bool Compare() {
    constexpr Comparison kComparisons[] = {
        {"UserName", "VNQ-dOCTOR-é", true, "ASCII letters compare without regard to case"},
        {"UserName", "vnq-Doctor-É", false, "other letters compare with regard to case"},
        {"UserName", "vnq-Doctor-e", false, "accents count in comparisons"},
        {"UserName", "vnq-Doctor-é ", false, "trailing blanks count in comparisons"},
        {"UserPaws", "Geheim-1", true, "passwords are found"},
        {"UserPaws", "geheim-1", false, "passwords compare with regard to case"},
        {"UserPaws", "Geheim-1 ", false, "trailing blanks count in passwords"},
    };
    bool ok = true;
    for (const Comparison& one : kComparisons) ok = Holds(one) && ok;
    return ok;
  }

  bool Holds(const Comparison& one) {
    const std::string column(one.column);
    SqlRows rows;
    const bool ran =
        driver_.Query("Select UserID from Users_ID where UserID=? and " + column + "=?",
                      std::vector<SqlValue>{Text(kUserId), Text(one.value)}, rows);
    if (!ran)
      return Fail("a comparison with column " + column +
                  " of Users_ID fails: " + OneLine(driver_.LastError()));
    if ((rows.rowCount() > 0) == one.isEqual) return true;
    findings_.Warning("column " + column + " of Users_ID: " + std::string(one.rule) +
                      ", but not in this database; its collation is to blame");
    return false;
  }

  bool TellEqualRowsApart() {
    Cursor row(database_);
    if (!row.Open(Sql("Select * from Users_ID where UserID='?'", kUserId)) ||
        !row.Set("FcName", "changed") || !row.Update()) {
      return Fail("a row of Users_ID cannot be changed: " + OneLine(driver_.LastError()));
    }
    const Expr changed = database_.ReadValue(
        Sql("Select count(*) as c from Users_ID where UserID='?' and FcName='changed'", kUserId));
    if (Is(changed, "1")) return true;
    findings_.Warning(
        "table Users_ID: of two equal rows both change with one; a primary key that"
        " the database assigns would tell them apart");
    return false;
  }

  bool Fail(const std::string& what) {
    findings_.Error(what);
    return false;
  }

  Database& database_;
  SqlDriver& driver_;
  Findings& findings_;
};

}  // namespace

void ExamineTextsInDatabase(Database& database, const ProgramFolder& folder, Findings& findings) {
  SqlDriver& driver = database.driver();
  bool tried = false, ok = false;
  InTransaction(driver, folder.engine, [&] {
    tried = true;
    ok = TextTrial(database, findings).Run();
    return false;  // nothing of it stays
  });
  if (!tried) {
    findings.Warning("texts in the database could not be tried: " + OneLine(driver.LastError()));
  } else if (CountRows(driver, "Select UserID from Users_ID where UserID='" + std::string(kUserId) +
                                   "'") > 0) {
    findings.Error("table Users_ID keeps the trial's rows with UserID=" + std::string(kUserId) +
                   "; delete them");
  } else if (ok) {
    findings.Ok("texts in the database: Chinese and emoji come back, comparisons are right");
  }
}

}  // namespace vnq
