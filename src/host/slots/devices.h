// The two devices of one user, as tags.
//
// A desktop session's tag is the UserID, a mobile session's the UserID with the letter `m` behind
// it. The one bit that tells the devices apart is the last character of a tag.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// True for the tag of a mobile session.
inline bool IsMobileTag(std::string_view tag) {
  return tag.ends_with('m');
}

/// A tag with every `m` removed.
/// Kept: all of them go, not only the last, so a UserID that holds an `m` loses it.
inline std::string BareTag(std::string_view tag) {
  std::string bare;
  for (const char c : tag) {
    if (c != 'm') bare += c;
  }
  return bare;
}

/// The tag of the same user's other device.
inline std::string OtherSessionTag(std::string_view tag) {
  return IsMobileTag(tag) ? BareTag(tag) : BareTag(tag) + "m";
}

}  // namespace vnq
