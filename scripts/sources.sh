# The project's own C++ files, one a line, relative to the root. Sourced by the other scripts.

source_folders=(src bench fuzz tests)

ListSources() {
  local folder existing=()
  for folder in "${source_folders[@]}"; do
    [[ -d "$folder" ]] && existing+=("$folder")
  done
  find "${existing[@]}" -type f \( -name '*.h' -o -name '*.cpp' \) | LC_ALL=C sort
}
