# Writes OUTPUT, the page's files as C++, and beside them the commands' names as the protocol page has them:
#   cmake -DFOLDER=page -DPROTOCOL=protocol.md -DOUTPUT=Page.cpp -P EmbedPage.cmake
file(READ ${PROTOCOL} protocol)
string(REGEX MATCHALL "\n\\| 0x[0-9A-F]+ \\| [0-9]+ \\| [^|]+ \\|" commands "${protocol}")
list(LENGTH commands count)
if(count EQUAL 0)
  message(FATAL_ERROR "${PROTOCOL}: has no table of commands")
endif()
set(names "")
foreach(command IN LISTS commands)
  string(REGEX REPLACE "\n\\| (0x[0-9A-F]+) \\| [0-9]+ \\| ([^|]+) \\|" "  '\\1': '\\2',\n" name "${command}")
  string(APPEND names "${name}")
endforeach()
set(rows "        {\"/commands.js\", \"text/javascript; charset=utf-8\",
         R\"simset(export const kCommands = {\n${names}};\n)simset\"},\n")

file(GLOB files RELATIVE ${FOLDER} ${FOLDER}/*)
list(SORT files)
foreach(name IN LISTS files)
  cmake_path(GET name EXTENSION extension)
  if(extension STREQUAL ".html")
    set(path "/")
    set(type "text/html; charset=utf-8")
  elseif(extension STREQUAL ".css")
    set(path "/${name}")
    set(type "text/css; charset=utf-8")
  elseif(extension STREQUAL ".js")
    set(path "/${name}")
    set(type "text/javascript; charset=utf-8")
  elseif(extension STREQUAL ".svg")
    set(path "/${name}")
    set(type "image/svg+xml")
  else()
    message(FATAL_ERROR "${name}: no type for this file is known")
  endif()
  file(READ ${FOLDER}/${name} content)
  string(FIND "${content}" ")simset\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${name}: holds what ends a literal")
  endif()
  string(APPEND rows "        {\"${path}\", \"${type}\",\n         R\"simset(${content})simset\"},\n")
endforeach()
file(WRITE ${OUTPUT} "// Made from simset/view/page by EmbedPage.cmake.
#include \"simset/view/Page.h\"

namespace simset {

const std::vector<PageFile>& PageFiles() {
    static const std::vector<PageFile> kFiles = {
${rows}    };
    return kFiles;
}

}  // namespace simset
")
