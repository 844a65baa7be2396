#include "tools/library/text_input.h"

#include <istream>
#include <sstream>
#include <string_view>
#include <utility>

namespace vnq {

std::string ReadTextInput(std::istream& input) {
  static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::ostringstream whole;
  whole << input.rdbuf();
  std::string text = std::move(whole).str();
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  return text;
}

}  // namespace vnq
