#include "tools/text_input.h"

#include <istream>
#include <iterator>

namespace vnq {

std::string ReadTextInput(std::istream& input) {
  static constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  std::string text(std::istreambuf_iterator<char>(input), {});
  if (text.starts_with(kByteOrderMark)) text.erase(0, kByteOrderMark.size());
  return text;
}

}  // namespace vnq
