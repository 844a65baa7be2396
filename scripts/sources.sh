# The project's own C++ files, one a line, relative to the root. Sourced by the other scripts.

source_folders=(platform support host sessions messaging relations files remote webgate endpoints
  accounts tools bench fuzz tests)

ListSources() {
  local folder existing=()
  for folder in "${source_folders[@]}"; do
    [[ -d "$folder" ]] && existing+=("$folder")
  done
  {
    find "${existing[@]}" -type f \( -name '*.h' -o -name '*.cpp' \)
    [[ -f main.cpp ]] && echo main.cpp
  } | LC_ALL=C sort
}
