// The names and ids that a client has seen, kept in a small file of its own.
//
// No record lists who there is, so a client remembers what records have shown. The file is UTF-8,
// one line each:
//
//   line = ( "user" | "group" ) TAB id TAB name       the name may be empty
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace vnq {

class KnownNames {
 public:
  enum class Kind { kUser, kGroup };

  /// Ids of one kind that are remembered at most; further ones are not.
  static constexpr size_t kMaxIds = 10'000;

  KnownNames() = default;

  /// file  where the names are kept; empty for nowhere.
  explicit KnownNames(std::string file) : file_(std::move(file)) {}

  /// Where the names are kept; empty for nowhere.
  const std::string& file() const { return file_; }

  /// Reads the file. Lines that are none of ours are passed over; a missing file is an empty one.
  void Load();

  /// Writes the file when something has changed since, by way of a second file that takes its
  /// place, so that a crash leaves the old one or the new one. Makes the folder, readable by its
  /// owner only. False: `error` says why.
  bool Save(std::string& error);

  /// Remembers an id. An empty name leaves a name that is known; ids that are empty are not
  /// remembered.
  void Learn(Kind kind, std::string_view id, std::string_view name);

  /// "Name (id)", or the id alone; safe on a terminal.
  std::string Label(Kind kind, std::string_view id) const;

  /// The id that a person means: an id as it stands, or the one id with that name.
  std::string Resolve(Kind kind, std::string_view idOrName) const;

  /// Names by id, in order of the ids.
  const std::map<std::string, std::string, std::less<>>& All(Kind kind) const {
    return kind == Kind::kUser ? users_ : groups_;
  }

 private:
  void ReadLine(std::string_view line);
  std::string Text() const;

  std::map<std::string, std::string, std::less<>> users_, groups_;
  std::string file_;
  bool changed_ = false;
};

/// Where the names of one server are kept unless told otherwise: below $XDG_STATE_HOME, else
/// ~/.local/state. Empty when there is no home.
std::string DefaultNamesFile(std::string_view server, int port);

}  // namespace vnq
