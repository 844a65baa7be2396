#include "tools/history/history_store.h"

#include <utility>

#include "tools/history/history_reader.h"

namespace vnq {

HistoryStore::HistoryStore(ProgramDatabase opened)
    : folder_(std::move(opened.folder)),
      database_(std::move(opened.driver)),
      rowColumn_(RowColumnOfMessages(database_.driver(), folder_.engine)),
      texts_(folder_.strings, folder_.appPath, folder_.platform.languageId) {}

std::unique_ptr<HistoryStore> HistoryStore::Open(const std::string& appPath, std::string& error) {
  auto opened = OpenProgramDatabase(appPath, error);
  if (!opened) return nullptr;
  return std::unique_ptr<HistoryStore>(new HistoryStore(std::move(*opened)));
}

LabelOf HistoryStore::labels() {
  return [this](std::string_view key) {
    std::string label = texts_.ReadLang(key);
    return label.empty() ? "[...]" : label;
  };
}

}  // namespace vnq
