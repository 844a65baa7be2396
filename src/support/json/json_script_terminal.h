// The message boxes of a script on a terminal.
#pragma once

#include <iosfwd>

#include "support/json/json_script_dialogs.h"

namespace vnq {

/// Boxes are lines "title: message" of one stream. A question is its prompt on a line, and the
/// answer is one line of the other stream: an empty line takes the initial value, the end of the
/// input cancels.
class TerminalDialogs : public ScriptDialogs {
 public:
  /// Both streams must outlive the dialogs.
  TerminalDialogs(std::istream& answers, std::ostream& boxes) : answers_(answers), boxes_(boxes) {}

  void ShowInformation(std::string_view message, std::string_view title) override;
  void ShowWarning(std::string_view message, std::string_view title) override;
  std::string Ask(std::string_view prompt, std::string_view title,
                  std::string_view initial) override;

  /// Warnings shown so far.
  int Warnings() const { return warnings_; }

 private:
  std::istream& answers_;
  std::ostream& boxes_;
  int warnings_ = 0;
};

}  // namespace vnq
