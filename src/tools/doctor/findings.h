// What a check has to say, one line a finding.
#pragma once

#include <ostream>
#include <string_view>

namespace vnq {

class Findings {
 public:
  explicit Findings(std::ostream& out) : out_(out) {}

  /// What was checked and is as it should be.
  void Ok(std::string_view what) { Line("ok", what); }

  /// The server works, but hardly as it is meant.
  void Warning(std::string_view what) {
    Line("warning", what);
    ++warnings_;
  }

  /// Something does not work.
  void Error(std::string_view what) {
    Line("error", what);
    ++errors_;
  }

  int errors() const { return errors_; }
  int warnings() const { return warnings_; }

 private:
  void Line(std::string_view kind, std::string_view what) {
    out_ << kind << ": " << what << "\n";
    out_.flush();  // a check behind it may take its time
  }

  std::ostream& out_;
  int errors_ = 0;
  int warnings_ = 0;
};

}  // namespace vnq
