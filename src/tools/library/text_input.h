// Text that a command reads as a whole.
#pragma once

#include <iosfwd>
#include <string>

namespace vnq {

/// Everything up to the end of the stream, less a leading UTF-8 byte order mark.
std::string ReadTextInput(std::istream& input);

}  // namespace vnq
