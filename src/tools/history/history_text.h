// A stored text as a person reads it.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "tools/history/history_entry.h"

namespace vnq {

/// The deployment's text of a key such as "im283", which names what an inline token stands for.
using LabelOf = std::function<std::string(std::string_view key)>;

/// The text of a message or the title of a notice, unescaped. An inline token reads as its label,
/// up to the brace that closes it; a file keeps its name: "[File] plan.pdf".
std::string ShownText(const HistoryEntry& entry, const LabelOf& label);

/// Everything of an entry that can be searched, in one line: the shown text, a notice's content and
/// link.
std::string WholeText(const HistoryEntry& entry, const LabelOf& label);

/// True when the words stand in the entry, whatever the case of ASCII letters.
bool HoldsWords(const HistoryEntry& entry, std::string_view words, const LabelOf& label);

}  // namespace vnq
