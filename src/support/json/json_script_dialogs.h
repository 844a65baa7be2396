// What a script asks of the person in front of it.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// Three message boxes. All texts are UTF-8.
class ScriptDialogs {
 public:
  virtual ~ScriptDialogs() = default;

  virtual void ShowInformation(std::string_view message, std::string_view title) = 0;
  virtual void ShowWarning(std::string_view message, std::string_view title) = 0;

  /// What was entered; `initial` when it was accepted as it stood, the empty text when the box was
  /// cancelled.
  virtual std::string Ask(std::string_view prompt, std::string_view title,
                          std::string_view initial) = 0;
};

}  // namespace vnq
