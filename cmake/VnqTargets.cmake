# Helpers that give every target of the project the same compiler settings.

find_program(VNQ_CCACHE ccache)
if(VNQ_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${VNQ_CCACHE})
endif()

add_library(vnq_settings INTERFACE)
target_include_directories(vnq_settings INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(vnq_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror -fno-strict-aliasing)
target_compile_definitions(vnq_settings INTERFACE
  VNQ_VERSION="${PROJECT_VERSION}")
if(VNQ_SANITIZE)
  target_compile_options(vnq_settings INTERFACE
    -fsanitize=${VNQ_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  target_link_options(vnq_settings INTERFACE -fsanitize=${VNQ_SANITIZE})
endif()

# vnq_library(<name> <folder> [EXCLUDE file...] [LINK <target_link_libraries arguments>])
# A static library of all sources directly in <folder>. A folder without sources is an empty interface.
function(vnq_library name folder)
  cmake_parse_arguments(ARG "" "" "EXCLUDE;LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
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
function(vnq_program name source)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  if(NOT EXISTS ${CMAKE_SOURCE_DIR}/${source})
    return()
  endif()
  add_executable(${name} ${CMAKE_SOURCE_DIR}/${source})
  target_link_libraries(${name} PRIVATE vnq_settings ${ARG_LINK})
endfunction()

# vnq_test(<name> <folder> [LINK <libraries>])
# One test program of all *_test.cpp in tests/<folder>; each test is an entry of CTest.
function(vnq_test name folder)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${folder}/*.cpp)
  if(NOT sources)
    return()
  endif()
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE vnq_settings ${ARG_LINK} GTest::gtest_main GTest::gmock)
  gtest_discover_tests(${name} PROPERTIES TIMEOUT 120 DISCOVERY_TIMEOUT 60)
endfunction()
