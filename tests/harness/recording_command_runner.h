// A command runner that runs nothing.
#pragma once

#include <string>
#include <vector>

#include "platform/system/command_runner.h"

namespace vnq {

/// Writes down what it is asked for: "start <command line>", "block <ms>", "wait <ms>".
class RecordingCommandRunner : public CommandRunner {
 public:
  void Start(const std::string& commandLine) override { calls.push_back("start " + commandLine); }
  void BlockFor(int64_t ms) override { calls.push_back("block " + std::to_string(ms)); }

  void WaitFor(int64_t ms) override { calls.push_back("wait " + std::to_string(ms)); }

  std::vector<std::string> calls;
};

}  // namespace vnq
