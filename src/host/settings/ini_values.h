// The values of platform.ini, read into variables; the first that cannot be used ends the reading,
// or, for whoever wants to know of all that are wrong, leaves the default in its place.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/ini_file.h"

namespace vnq {

/// Each Read leaves its variable as it was where the key is missing or empty, and once a value
/// could not be used. True when the variable was set.
class IniValues {
 public:
  /// path  of the file, for messages. error: gets the first fault, with file, key and value.
  IniValues(const std::string& path, const IniData& data, std::string& error)
      : path_(path), data_(data), error_(&error) {}

  /// Goes on after a fault, and tells each.
  IniValues(const std::string& path, const IniData& data, std::vector<std::string>& faults)
      : path_(path), data_(data), faults_(&faults) {}

  /// False when the reading has ended.
  bool ok() const { return ok_; }

  /// The value; nothing when the key is missing or empty.
  std::optional<std::string> Find(std::string_view section, std::string_view key) const;

  bool Read(std::string_view section, std::string_view key, std::string& variable);
  bool Read(std::string_view section, std::string_view key, int lowest, int highest, int& variable);

  /// "yes" or "no", in any letter case.
  bool Read(std::string_view section, std::string_view key, bool& variable);

  /// Ends the reading at a key of the section that is none of these: what is meant to protect must
  /// not be lost by a slip of the pen.
  void KnowOnly(std::string_view section, std::span<const std::string_view> keys);

  /// The names of all sections, in lower case.
  std::vector<std::string> Sections() const { return data_.Sections(); }

  /// Says that a value is not what was wanted, and ends the reading; nothing where it has ended.
  void Fail(std::string_view section, std::string_view key, std::string_view value,
            std::string_view wanted);

 private:
  void Tell(std::string fault);

  const std::string& path_;
  const IniData& data_;
  std::string* error_ = nullptr;
  std::vector<std::string>* faults_ = nullptr;
  bool ok_ = true;
};

}  // namespace vnq
