// Lines of the process's log that programs can tell apart: each has the name of its event, which
// stays when its words change.
#pragma once

#include <spdlog/spdlog.h>

#include <utility>

namespace vnq {

/// A line of the log. event: what has happened, in lower case, words joined by "_";
/// docs/watching.md lists them. The JSON form of the log has it beside the words.
template <typename... Args>
void LogEvent(const char* event, spdlog::level::level_enum level,
              spdlog::format_string_t<Args...> words, Args&&... args) {
  spdlog::log(spdlog::source_loc{"", 1, event}, level, words, std::forward<Args>(args)...);
}

template <typename... Args>
void LogInfo(const char* event, spdlog::format_string_t<Args...> words, Args&&... args) {
  LogEvent(event, spdlog::level::info, words, std::forward<Args>(args)...);
}

template <typename... Args>
void LogWarning(const char* event, spdlog::format_string_t<Args...> words, Args&&... args) {
  LogEvent(event, spdlog::level::warn, words, std::forward<Args>(args)...);
}

template <typename... Args>
void LogError(const char* event, spdlog::format_string_t<Args...> words, Args&&... args) {
  LogEvent(event, spdlog::level::err, words, std::forward<Args>(args)...);
}

}  // namespace vnq
