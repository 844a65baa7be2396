// vnqctl text: the library's codecs and small routines on standard input and output.
//
//   vnqctl text escape|unescape|url-encode|url-decode|base64-encode|base64-decode [--code-page N]
//   vnqctl text sha1|guid|ip-number
//
// Input and output are UTF-8. The codecs write exactly their result; the others end it with one
// line end.
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

/// The code page of the codecs when none is named.
inline constexpr int kTextCodePage = 936;

/// Adds the command to a program's arguments. It runs while they are parsed, and leaves its exit
/// code.
///
/// exitCode  must live as long as the program parses.
void AddTextCommand(CLI::App& app, int& exitCode);

/// Runs one routine, by the name it has on the command line, on all of `in`. Gives the exit code:
/// 0, or 2 with a line on `errors` for a code page or a routine that is not known. Only the six
/// codecs look at the code page.
int RunTextRoutine(const std::string& name, int codePage, std::istream& in, std::ostream& out,
                   std::ostream& errors);

}  // namespace vnq
