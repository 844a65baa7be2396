#include "host/picture_files.h"

#include <algorithm>
#include <filesystem>

#include "host/host.h"
#include "host/skipped.h"

namespace vnq {
namespace {

bool IsPlainName(std::string_view name) {
  return std::none_of(name.begin(), name.end(),
                      [](char c) { return c == '/' || c == '\\' || (c >= 0 && c < ' '); });
}

}  // namespace

void DeletePictureFile(Host& host, std::string_view folder, const Expr& id) {
  if (!id.ok() || !IsPlainName(id.text())) {
    NoteSkipped("delete a picture", id.ok() ? "no plain name" : "failed value");
    return;
  }
  const std::string words = host.ServerRootPath + std::string(folder) + id.text() + ".jpg";
  const std::filesystem::path path = host.paths.Map(words);
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::symlink_status(path, error);
  if (!std::filesystem::is_regular_file(status) && !std::filesystem::is_symlink(status)) return;
  if (!std::filesystem::remove(path, error)) NoteSkipped("delete a picture", error.message());
}

}  // namespace vnq
