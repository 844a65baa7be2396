// Which code page a client of this tool speaks.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace vnq {

/// What the clients speak when nothing says otherwise: the page of the sample folder.
inline constexpr int kDefaultServerPage = 936;

/// Adds --code-page, and --app-path, the server's folder: without the one the page counts that the
/// folder is configured for. `codePage` holds the default before; both live as long as the program
/// parses.
void AddServerPage(CLI::App& command, int& codePage, std::string& appPath);

/// True when the arguments named a page.
bool IsServerPageGiven(const CLI::App& command);

}  // namespace vnq
