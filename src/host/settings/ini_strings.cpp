#include "host/settings/ini_strings.h"

namespace vnq {

void IniStrings::Look(std::string_view path) {
  if (looked_ && path == lastPath_) return;
  uint64_t version = path == lastPath_ ? reader_.Look(lastMapped_) : 0;
  // A file that cannot be read may stand there in other letters now.
  if (version == 0) {
    lastPath_ = path;
    lastMapped_ = paths_.Map(path);
    version = reader_.Look(lastMapped_);
    lastVersion_ = 0;
    lastTexts_.clear();
  }
  if (version != lastVersion_) lastTexts_.clear();
  lastVersion_ = version;
  looked_ = looksOnceATurn_;
}

std::string IniStrings::ReadIniString(std::string_view path, std::string_view section,
                                      std::string_view key) {
  Look(path);
  std::string name(section);
  name.append(1, '\n').append(key);
  const auto known = lastTexts_.find(name);
  if (known != lastTexts_.end()) return known->second;
  const std::string text = codePage_->FromBytes(reader_.ReadKnown(lastMapped_, section, key));
  lastTexts_.emplace(std::move(name), text);
  return text;
}

}  // namespace vnq
