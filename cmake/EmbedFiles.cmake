# embed_files(<target> <header> <function> <name>=<file>...): makes files part of a target. <header> declares
#
#   std::optional<std::string_view> zebbussim::<function>(std::string_view name);
#
# which returns the content of a file by its name. The source is written again when one of the files changes.
#
# Run as a script (cmake -P), it writes that source.

if(CMAKE_SCRIPT_MODE_FILE)
  set(arrays "")
  set(entries "")
  set(number 0)
  foreach(pair IN LISTS FILES)
    string(REGEX MATCH "^([^=]+)=(.+)$" matched "${pair}")
    set(name "${CMAKE_MATCH_1}")
    file(READ "${CMAKE_MATCH_2}" content HEX)
    # 24 bytes a line.
    string(REGEX REPLACE "(................................................)" "\\1\n" content "${content}")
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\\\x\\1" content "${content}")
    string(REGEX REPLACE "([^\n]+)" "    \"\\1\"" content "${content}")
    string(STRIP "${content}" content)
    if(content STREQUAL "")
      set(content "\"\"")
    endif()
    string(APPEND arrays "constexpr char kFile${number}[] =\n    ${content};\n")
    string(APPEND entries "    {\"${name}\", {kFile${number}, sizeof kFile${number} - 1}},\n")
    math(EXPR number "${number} + 1")
  endforeach()
  file(WRITE "${OUTPUT}" "// Written by cmake/EmbedFiles.cmake. Do not edit.
#include \"${HEADER}\"

#include <utility>

namespace zebbussim {

namespace {

${arrays}
constexpr std::pair<std::string_view, std::string_view> kFiles[] = {
${entries}};

}  // namespace

std::optional<std::string_view> ${FUNCTION}(std::string_view name) {
    for (const auto& [known, content] : kFiles) {
        if (known == name) {
            return content;
        }
    }
    return std::nullopt;
}

}  // namespace zebbussim
")
  return()
endif()

set(EMBED_FILES_SCRIPT ${CMAKE_CURRENT_LIST_FILE})

function(embed_files target header function)
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${function}.cpp)
  set(files "")
  foreach(pair IN LISTS ARGN)
    string(REGEX REPLACE "^[^=]+=" "" file "${pair}")
    list(APPEND files ${file})
  endforeach()
  add_custom_command(OUTPUT ${source}
    COMMAND ${CMAKE_COMMAND} -DOUTPUT=${source} -DHEADER=${header} -DFUNCTION=${function} "-DFILES=${ARGN}"
      -P ${EMBED_FILES_SCRIPT}
    DEPENDS ${files} ${EMBED_FILES_SCRIPT}
    VERBATIM)
  target_sources(${target} PRIVATE ${source})
endfunction()
