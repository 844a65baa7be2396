// Which code page a client of this tool speaks.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace vnq {

/// What the clients speak when nothing says otherwise: the page of the sample folder.
inline constexpr int kDefaultServerPage = 936;

/// Adds --code-page, and in its place --app-path, which takes the page that the server's folder is
/// configured for. `codePage` holds the default before. The folder's path goes to `appPath` unless it
/// is null. Both live as long as the program parses.
void AddServerPage(CLI::App& command, int& codePage, std::string* appPath = nullptr);

/// True when the arguments named a page.
bool IsServerPageGiven(const CLI::App& command);

}  // namespace vnq
