#include "platform/system/password_hash.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <optional>

#include "support/ascii_case.h"
#include "support/base64_text.h"
#include "support/numbers.h"

namespace vnq {
namespace {

constexpr std::string_view kMark = "$scrypt$ln=";
constexpr std::string_view kParameters = ",r=8,p=1$";
constexpr int kCost = 14, kHighestCost = 17;  // powers of two
constexpr uint64_t kBlock = 8, kParallel = 1;
constexpr uint64_t kMostMemory = 256 * 1024 * 1024;
constexpr size_t kSaltBytes = 16, kHashBytes = 32;

struct Stored {
  int cost = 0;
  std::string salt, hash;
};

std::optional<Stored> Parse(std::string_view stored) {
  if (!IsPasswordHash(stored)) return std::nullopt;
  stored.remove_prefix(kMark.size());
  const size_t parameters = stored.find(kParameters);
  const size_t salt = parameters + kParameters.size();
  if (parameters == stored.npos) return std::nullopt;
  const size_t mark = stored.find('$', salt);
  if (mark == stored.npos) return std::nullopt;
  Stored parsed;
  parsed.cost = ParseInt16(stored.substr(0, parameters)).value_or(0);
  parsed.salt = Base64DecodeBytes(stored.substr(salt, mark - salt));
  parsed.hash = Base64DecodeBytes(stored.substr(mark + 1));
  const bool isUsable = parsed.cost > 0 && parsed.cost <= kHighestCost &&
                        parsed.hash.size() == kHashBytes && !parsed.salt.empty();
  return isUsable ? std::optional(parsed) : std::nullopt;
}

// Empty where the library fails.
std::string Scrypt(std::string_view password, std::string_view salt, int cost) {
  const std::string folded = AsciiLower(password);
  std::string hash(kHashBytes, '\0');
  const bool done = EVP_PBE_scrypt(folded.data(), folded.size(),
                                   reinterpret_cast<const unsigned char*>(salt.data()), salt.size(),
                                   uint64_t{1} << cost, kBlock, kParallel, kMostMemory,
                                   reinterpret_cast<unsigned char*>(hash.data()), hash.size()) == 1;
  return done ? hash : "";
}

}  // namespace

bool IsPasswordHash(std::string_view stored) {
  return stored.starts_with(kMark);
}

std::string HashPassword(std::string_view password) {
  std::string salt(kSaltBytes, '\0');
  if (RAND_bytes(reinterpret_cast<unsigned char*>(salt.data()), static_cast<int>(salt.size())) != 1)
    return "";
  const std::string hash = Scrypt(password, salt, kCost);
  if (hash.empty()) return "";
  return std::string(kMark) + FormatNumber(int64_t{kCost}) + std::string(kParameters) +
         Base64EncodeBytes(salt) + "$" + Base64EncodeBytes(hash);
}

bool PasswordMatches(std::string_view stored, std::string_view password) {
  const std::optional<Stored> parsed = Parse(stored);
  if (!parsed) return false;
  const std::string hash = Scrypt(password, parsed->salt, parsed->cost);
  return hash.size() == kHashBytes &&
         CRYPTO_memcmp(hash.data(), parsed->hash.data(), kHashBytes) == 0;
}

}  // namespace vnq
