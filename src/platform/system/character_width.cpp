#include "platform/system/character_width.h"

#include <unicode/uchar.h>

namespace vnq {
namespace {

// Vowels and final consonants of Korean syllables join the letter in front of them.
bool IsJoiningJamo(UChar32 c) {
  const auto kind = u_getIntPropertyValue(c, UCHAR_HANGUL_SYLLABLE_TYPE);
  return kind == U_HST_VOWEL_JAMO || kind == U_HST_TRAILING_JAMO;
}

bool IsJoining(UChar32 c) {
  const auto joining = U_GC_MN_MASK | U_GC_ME_MASK | U_GC_CF_MASK;
  return (U_GET_GC_MASK(c) & joining) != 0 || IsJoiningJamo(c) ||
         u_hasBinaryProperty(c, UCHAR_EMOJI_MODIFIER);
}

bool IsWide(UChar32 c) {
  const auto width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
  return width == U_EA_WIDE || width == U_EA_FULLWIDTH ||
         u_hasBinaryProperty(c, UCHAR_EMOJI_PRESENTATION);
}

}  // namespace

size_t CharacterWidth(char32_t character) {
  if (character < 0x300) return 1;  // nearly every one; the soft hyphen is shown
  const auto c = static_cast<UChar32>(character);
  if (IsJoining(c)) return 0;
  return IsWide(c) ? 2 : 1;
}

}  // namespace vnq
