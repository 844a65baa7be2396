// Passwords as they may be stored: by scrypt (RFC 7914), from which nobody reads them back.
//
//   stored = "$scrypt$ln=" cost ",r=8,p=1$" salt "$" hash      salt and hash in Base64
//
// The letter case of ASCII letters does not count, as it does not where passwords are compared as
// they are.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// True for a text of that form, whatever its parts are.
bool IsPasswordHash(std::string_view stored);

/// The password with a salt of its own. Takes 16 MB and some 40 ms. Empty where the library fails.
std::string HashPassword(std::string_view password);

/// Whether a stored hash is this password's. False for what is no hash or costs more than is made
/// here.
bool PasswordMatches(std::string_view stored, std::string_view password);

}  // namespace vnq
