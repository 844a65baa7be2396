// Dialogs that a test answers.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "support/json/json_script_dialogs.h"

namespace vnq {

/// Notes each box as "kind|title|message" (a question as "ask|title|prompt|initial") and gives the
/// prepared answers; without one the initial value.
class FakeDialogs : public ScriptDialogs {
 public:
  std::deque<std::string> answers;
  std::vector<std::string> boxes;

  void ShowInformation(std::string_view message, std::string_view title) override {
    boxes.push_back("information|" + std::string(title) + "|" + std::string(message));
  }
  void ShowWarning(std::string_view message, std::string_view title) override {
    boxes.push_back("warning|" + std::string(title) + "|" + std::string(message));
  }
  std::string Ask(std::string_view prompt, std::string_view title,
                  std::string_view initial) override {
    boxes.push_back("ask|" + std::string(title) + "|" + std::string(prompt) + "|" +
                    std::string(initial));
    if (answers.empty()) return std::string(initial);
    std::string answer = answers.front();
    answers.pop_front();
    return answer;
  }
};

}  // namespace vnq
