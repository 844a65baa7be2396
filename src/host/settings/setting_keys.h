// Every key of DataBase.ini: what the server reads, what the doctor knows, what a new file says.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "host/settings/settings.h"

namespace vnq {

struct SettingKey {
  enum class Kind {
    kText,
    kSecret,  ///< a text that no message shows
    kNumber,  ///< 16 bits
  };

  std::string_view section, key;
  Kind kind;
  std::string_view preset;   ///< the value in a new file
  std::string_view comment;  ///< what stands above it there; empty for nothing
  void (*take)(Settings& settings, const std::string& value);
};

/// In the order of a new file: the keys of a section stand together.
std::span<const SettingKey> SettingKeys();

/// A new file: each key with its preset, for the embedded database. ASCII.
std::string NewDataBaseIni();

}  // namespace vnq
