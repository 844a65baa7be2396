#include "platform/system/process_log.h"

#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>

#include "platform/system/log_stream.h"
#include "support/json/json_value.h"
#include "support/json/json_writer.h"

namespace vnq {
namespace {

std::string_view AsView(spdlog::string_view_t text) {
  return {text.data(), text.size()};
}

// By the numbers of syslog.
char Priority(spdlog::level::level_enum level) {
  switch (level) {
    case spdlog::level::critical:
    case spdlog::level::err:
      return '3';
    case spdlog::level::warn:
      return '4';
    case spdlog::level::info:
      return '6';
    default:
      return '7';
  }
}

class PriorityFlag : public spdlog::custom_flag_formatter {
 public:
  void format(const spdlog::details::log_msg& message, const std::tm&,
              spdlog::memory_buf_t& line) override {
    line.push_back(Priority(message.level));
  }
  std::unique_ptr<custom_flag_formatter> clone() const override {
    return std::make_unique<PriorityFlag>();
  }
};

/// {"time":"2026-01-02T03:04:05.678","level":"info","event":"ready","message":"..."}
class JsonFormatter : public spdlog::formatter {
 public:
  explicit JsonFormatter(bool isForJournal) : isForJournal_(isForJournal) {}

  void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override {
    if (isForJournal_) Append(std::string{'<', Priority(message.level), '>'}, line);
    spdlog::memory_buf_t head;
    head_.format(message, head);
    line.append(head.data(), head.data() + head.size());
    // Lines that nobody named are for developers.
    const char* event = message.source.empty() ? "other" : message.source.funcname;
    Append(std::string(R"("event":")") + event + R"(","message":)", line);
    Append(WriteJson(JsonValue(std::string(AsView(message.payload)))) + "}\n", line);
  }
  std::unique_ptr<spdlog::formatter> clone() const override {
    return std::make_unique<JsonFormatter>(isForJournal_);
  }

 private:
  static void Append(const std::string& text, spdlog::memory_buf_t& line) {
    line.append(text.data(), text.data() + text.size());
  }

  const bool isForJournal_;
  spdlog::pattern_formatter head_{R"({"time":"%Y-%m-%dT%H:%M:%S.%e","level":"%l",)",
                                  spdlog::pattern_time_type::local, ""};
};

// Standard error. Lines that find no room are counted, and their number is told when there is some.
class StandardErrorSink : public spdlog::sinks::base_sink<std::mutex> {
 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    if (lost_ > 0 && !WriteLost()) {
      ++lost_;
    } else {
      lost_ = Write(message) ? 0 : 1;
    }
  }
  void flush_() override {}

 private:
  bool Write(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    return stream_.Write({line.data(), line.size()});
  }
  bool WriteLost() {
    const std::string words = std::to_string(lost_) + " lines are lost: nobody read the log";
    const spdlog::source_loc event{"", 1, "log_lines_lost"};
    return Write({event, "", spdlog::level::warn, words});
  }

  LogStream stream_{STDERR_FILENO};
  int64_t lost_ = 0;
};

// systemd says which stream is its journal by the numbers of device and file.
bool WritesToJournal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  return stream != nullptr && fstat(STDERR_FILENO, &status) == 0 &&
         stream == std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
}

void SetTextPattern() {
  auto formatter = std::make_unique<spdlog::pattern_formatter>();
  formatter->add_flag<PriorityFlag>('*').set_pattern(
      WritesToJournal() ? "<%*>%l: %v" : "%Y-%m-%d %H:%M:%S.%e %l: %v");
  spdlog::set_formatter(std::move(formatter));
}

}  // namespace

bool SetUpLog(const LogOptions& options, std::string& error) {
  const bool isLevel = options.level == "debug" || options.level == "info" ||
                       options.level == "warning" || options.level == "error";
  if (!isLevel || (options.format != "text" && options.format != "json")) {
    error = isLevel ? "--log-format " + options.format + " is not one of text, json"
                    : "--log-level " + options.level + " is not one of debug, info, warning, error";
    return false;
  }
  constexpr const char* kName = "vnq";
  if (spdlog::get(kName) == nullptr) {
    spdlog::set_default_logger(
        std::make_shared<spdlog::logger>(kName, std::make_shared<StandardErrorSink>()));
  }
  spdlog::set_level(spdlog::level::from_str(options.level));
  if (options.format == "json") {
    spdlog::set_formatter(std::make_unique<JsonFormatter>(WritesToJournal()));
  } else {
    SetTextPattern();
  }
  return true;
}

}  // namespace vnq
