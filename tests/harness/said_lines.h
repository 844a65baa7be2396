// What the default logger says, for tests of the log.
#pragma once

#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace vnq {

/// Takes it, a text a line, for as long as it lives.
class SaidLines {
 public:
  SaidLines() : before_(spdlog::default_logger()), level_(spdlog::get_level()) {
    auto sink = std::make_shared<spdlog::sinks::ostream_sink_st>(said_);
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("test", sink));
    spdlog::set_pattern("%l: %v");
    spdlog::set_level(spdlog::level::info);
  }
  ~SaidLines() {
    spdlog::set_default_logger(before_);
    spdlog::set_level(level_);
  }
  SaidLines(const SaidLines&) = delete;
  SaidLines& operator=(const SaidLines&) = delete;

  /// The lines since the last call.
  std::vector<std::string> Take() {
    std::vector<std::string> lines;
    std::istringstream text(said_.str());
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    said_.str("");
    return lines;
  }

 private:
  std::ostringstream said_;
  std::shared_ptr<spdlog::logger> before_;
  spdlog::level::level_enum level_;
};

}  // namespace vnq
