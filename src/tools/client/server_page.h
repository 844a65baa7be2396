// Which code page a client of this tool speaks.
#pragma once

namespace CLI {
class App;
}

namespace vnq {

/// What the clients speak when nothing says otherwise: the page of the sample folder.
inline constexpr int kDefaultServerPage = 936;

/// Adds --code-page, and in its place --app-path, which takes the page that the server's folder is
/// configured for. `codePage` holds the default before, and lives as long as the program parses.
void AddServerPage(CLI::App& command, int& codePage);

/// True when the arguments named a page.
bool IsServerPageGiven(const CLI::App& command);

}  // namespace vnq
