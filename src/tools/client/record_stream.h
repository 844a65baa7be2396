// The client's side of the main port's framing: bytes as they come in, records out.
//
//   stream  = { text }                      one Base64 text per send of the server, back to back
//   text    = { group } [ padded group ]    groups of four characters; a padded group ends its text
//   record  = ".+" word { "|" field }       ends where the next ".+" begins, at a padded group, or
//   in silence
//
// A closing "|#" is no end mark: some records have none, and a field may be "#" by chance. So the
// last record of an unpadded text is known to be whole only when nothing more comes. The caller
// waits a moment, a short one when RestLooksComplete(), and calls TakeRest().
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/ansi_text.h"

namespace vnq {

/// Incremental decoder. Where the stream is cut into reads makes no difference to what comes out.
class RecordStream {
 public:
  /// ansi  the code page of the server; must outlive the stream.
  explicit RecordStream(const AnsiText& ansi) : ansi_(&ansi) {}

  /// Takes the bytes of a read; returns the records that are complete now, in order, as text.
  ///
  /// Characters outside the Base64 alphabet are dropped. A piece that does not begin with ".+" (the
  /// server sent something that is no record) comes out as it is.
  std::vector<std::string> Feed(std::string_view bytes);

  /// True when part of a record is held back.
  bool HasRest() const { return !rest_.empty(); }

  /// True when what is held back ends in "|#", as nearly every record does, and no group is half
  /// read.
  bool RestLooksComplete() const;

  /// What is held back, as a record; nothing when there is none. A group that is half read is
  /// dropped.
  std::vector<std::string> TakeRest();

 private:
  void TakeGroup(std::vector<std::string>& records);
  void CutAtPrefixes(size_t from, std::vector<std::string>& records);
  void Emit(size_t bytes, std::vector<std::string>& records);

  const AnsiText* ansi_;
  std::string group_;  // up to three characters of a group
  std::string rest_;   // decoded bytes of the record that is coming in
};

/// The Base64 texts that carry one record to the main port.
///
/// Usually one. A text must be one read of the server, so a record that would not fit one network
/// packet goes out in several parts, which the server joins again (it does so for `.+message` and
/// `.+clot_messeng`); the caller leaves time between them. Line feeds behind the record, which the
/// main port drops, bring each text to a multiple of three bytes: no padding arises, and texts that
/// meet in one read are not lost.
std::vector<std::string> EncodeForMainPort(const AnsiText& ansi, std::string_view record);

}  // namespace vnq
