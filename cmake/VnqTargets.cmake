# Helpers that give every target of the project the same compiler settings.

find_program(VNQ_CCACHE ccache)
if(VNQ_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without this ccache does not look into compilations that use a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
    CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${VNQ_CCACHE})
endif()

add_library(vnq_settings INTERFACE)
target_include_directories(vnq_settings INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(vnq_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -fno-strict-aliasing
  $<$<BOOL:${VNQ_WARNINGS_AS_ERRORS}>:-Werror>)
# GCC 12 sees an overlap in a literal joined with a std::string where there is none.
target_compile_options(vnq_settings INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
# Everything that a peer sends goes through this process: what the system offers against overruns stays on.
target_compile_options(vnq_settings INTERFACE
  $<$<CONFIG:Release,RelWithDebInfo>:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>)
target_compile_definitions(vnq_settings INTERFACE
  VNQ_VERSION="${PROJECT_VERSION}")
# What stands beside the product includes its own headers from the root: "tests/...", "bench/...".
add_library(vnq_from_root INTERFACE)
target_include_directories(vnq_from_root INTERFACE ${CMAKE_SOURCE_DIR})
if(VNQ_SANITIZE)
  # Line tables are enough for a stack trace, and compile in half the time.
  target_compile_options(vnq_settings INTERFACE
    -fsanitize=${VNQ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1
    # The checks that a sanitizer adds hide from GCC what is always set.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_compile_definitions(vnq_settings INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(vnq_settings INTERFACE -fsanitize=${VNQ_SANITIZE})
endif()
if(VNQ_BUILD_FUZZERS)
  target_compile_options(vnq_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VNQ_LTO)
  include(CheckIPOSupported)
  check_ipo_supported()
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
endif()

# vnq_library(<name> <folder> [EXCLUDE file...] [PCH header...] [LINK <target_link_libraries arguments>])
# A static library of all sources below <folder>. A folder without sources is an empty interface. PCH names
# headers of other libraries that most of its sources include and that take long to compile.
function(vnq_library name folder)
  cmake_parse_arguments(ARG "" "" "EXCLUDE;PCH;LINK" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
  foreach(file ${ARG_EXCLUDE})
    list(REMOVE_ITEM sources ${CMAKE_SOURCE_DIR}/${folder}/${file})
  endforeach()
  if(NOT sources)
    add_library(${name} INTERFACE)
    list(TRANSFORM ARG_LINK REPLACE "^(PUBLIC|PRIVATE)$" "INTERFACE")
    list(REMOVE_ITEM ARG_LINK ${name})
    target_link_libraries(${name} INTERFACE vnq_settings ${ARG_LINK})
    return()
  endif()
  list(REMOVE_ITEM ARG_LINK ${name})
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC vnq_settings ${ARG_LINK})
  if(ARG_PCH)
    target_compile_options(${name} PRIVATE -fpch-preprocess)
    target_precompile_headers(${name} PRIVATE ${ARG_PCH})
  endif()
endfunction()

# vnq_embed_texts(<library> <header> <function> <name=path>...)
# Compiles text files into <library>; <header> declares the function that gives them by name (see EmbedTexts.cmake).
function(vnq_embed_texts library header function)
  set(output ${CMAKE_BINARY_DIR}/generated/${function}.cpp)
  foreach(entry ${ARGN})
    string(REGEX REPLACE "^[^=]+=" "" path ${entry})
    string(REPLACE "=${path}" "=${CMAKE_SOURCE_DIR}/${path}" entry ${entry})
    list(APPEND files ${entry})
    list(APPEND inputs ${CMAKE_SOURCE_DIR}/${path})
  endforeach()
  list(JOIN files "," files)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${output} -DHEADER=${header} -DFUNCTION=${function}
            "-DFILES=${files}" -P ${CMAKE_SOURCE_DIR}/cmake/EmbedTexts.cmake
    DEPENDS ${inputs} ${CMAKE_SOURCE_DIR}/cmake/EmbedTexts.cmake
    VERBATIM)
  target_sources(${library} PRIVATE ${output})
endfunction()

# vnq_program(<name> <source> [LINK <libraries>])
# A program that is installed. Appends its name to VNQ_PROGRAMS.
function(vnq_program name source)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  if(NOT EXISTS ${CMAKE_SOURCE_DIR}/${source})
    return()
  endif()
  add_executable(${name} ${CMAKE_SOURCE_DIR}/${source})
  target_link_libraries(${name} PRIVATE vnq_settings ${ARG_LINK})
  set(VNQ_PROGRAMS ${VNQ_PROGRAMS} ${name} PARENT_SCOPE)
endfunction()

# vnq_test(<name> <prefix> FOLDERS <folder>... [LABEL <label>] [PCH header...] [LINK <libraries>])
# One test program of all sources below the folders of tests/; each test is an entry of CTest, <prefix>/<Suite>.<Name>.
# Tests with the label "long" run only in ./test.sh --full.
function(vnq_test name prefix)
  cmake_parse_arguments(ARG "" "LABEL" "FOLDERS;PCH;LINK" ${ARGN})
  set(patterns ${ARG_FOLDERS})
  list(TRANSFORM patterns PREPEND ${CMAKE_SOURCE_DIR}/tests/)
  list(TRANSFORM patterns APPEND /*.cpp)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${patterns})
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE vnq_settings vnq_from_root ${ARG_LINK} GTest::gtest_main GTest::gmock)
  # Half of a test run is compiling tests, whose own speed does not matter.
  target_compile_options(${name} PRIVATE -O0 -U_FORTIFY_SOURCE -fpch-preprocess)
  target_precompile_headers(${name} PRIVATE <gtest/gtest.h> <string> <vector> ${ARG_PCH})
  gtest_discover_tests(${name}
    TEST_PREFIX ${prefix}/
    PROPERTIES TIMEOUT 120 LABELS "${ARG_LABEL}"
    DISCOVERY_TIMEOUT 60)
endfunction()

# vnq_header_check(<name> [LINK <libraries>])
# A target that compiles each header of the project by itself; nothing is kept of it.
function(vnq_header_check name)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/src ${CMAKE_SOURCE_DIR}/src/*.h)
  set(sources)
  foreach(header ${headers})
    string(REPLACE "/" "_" unit ${header})
    set(source ${CMAKE_BINARY_DIR}/headers/${unit}.cpp)
    file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${header}\"\n#include \"${header}\"\n")
    list(APPEND sources ${source})
  endforeach()
  if(NOT sources)
    return()
  endif()
  add_library(${name} OBJECT EXCLUDE_FROM_ALL ${sources})
  target_link_libraries(${name} PRIVATE vnq_settings ${ARG_LINK})
  # Without code nothing is left to optimise.
  target_compile_options(${name} PRIVATE -O0 -U_FORTIFY_SOURCE)
endfunction()
