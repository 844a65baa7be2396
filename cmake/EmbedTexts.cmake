# Writes a C++ source that holds text files as string literals, so that a program needs no file beside it.
#
#   cmake -DOUTPUT=<file.cpp> -DHEADER=<header> -DFUNCTION=<name> -DFILES=<name=path,name=path...> -P EmbedTexts.cmake
#
# <header> declares, in namespace vnq, a function <name>(std::string_view fileName) that returns the file's bytes, or
# the empty text for a name that is none of the given ones.

set(source "// Generated; edit the files that it holds instead.\n#include \"${HEADER}\"\n\n")
string(APPEND source "namespace vnq {\n\n")
string(APPEND source "std::string_view ${FUNCTION}(std::string_view fileName) {\n")

string(REPLACE "," ";" entries "${FILES}")
foreach(entry ${entries})
  string(REGEX MATCH "^([^=]+)=(.+)$" matched "${entry}")
  set(name "${CMAKE_MATCH_1}")
  file(READ "${CMAKE_MATCH_2}" content)
  if(content MATCHES "\\)text\"")
    message(FATAL_ERROR "${CMAKE_MATCH_2} holds the end mark of a string literal")
  endif()
  string(APPEND source "  if (fileName == \"${name}\") return R\"text(")
  string(APPEND source "${content}")
  string(APPEND source ")text\";\n")
endforeach()

string(APPEND source "  return {};\n}\n\n}  // namespace vnq\n")
file(WRITE "${OUTPUT}" "${source}")
