// The names of the fields of every record, from docs/protocol/records.txt, which is compiled in.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace vnq {

enum class Side { kClient, kServer };  ///< who sends; a client is whoever connects to the port

struct RecordForm {
  uint16_t port = 0;
  Side from = Side::kClient;
  std::string_view word;                ///< with its prefix
  std::vector<std::string_view> names;  ///< of the fields from 1 on, a closing "#" among them
};

/// Every record of the six ports, one word in several forms where it has several.
const std::vector<RecordForm>& RecordForms();

/// The form that fits a word with so many fields best; null for a word that is not known there.
const RecordForm* FindRecordForm(uint16_t port, Side from, std::string_view word, size_t fields);

/// The file of the name "records"; see EmbedTexts.cmake.
std::string_view ShippedRecordForms(std::string_view fileName);

}  // namespace vnq
