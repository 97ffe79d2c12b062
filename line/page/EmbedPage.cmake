# Writes OUTPUT, the operator's page as C++: one file of the HTML, the style, the script and the texts of all languages.
#   cmake -DFOLDER=files -DOUTPUT=PageText.cpp -P EmbedPage.cmake
# Every language has the texts of the first, en.json, and no others.
function(keys_of file into)
  file(READ ${file} content)
  string(JSON count LENGTH "${content}")
  set(keys "")
  math(EXPR last "${count} - 1")
  foreach(at RANGE ${last})
    string(JSON key MEMBER "${content}" ${at})
    list(APPEND keys ${key})
  endforeach()
  list(SORT keys)
  set(${into} "${keys}" PARENT_SCOPE)
endfunction()

keys_of(${FOLDER}/texts/en.json wanted)
file(GLOB others RELATIVE ${FOLDER}/texts ${FOLDER}/texts/*.json)
list(REMOVE_ITEM others en.json)
list(SORT others)
set(texts "")
set(languages "")
foreach(name IN ITEMS en.json LISTS others)
  keys_of(${FOLDER}/texts/${name} keys)
  if(NOT keys STREQUAL wanted)
    message(FATAL_ERROR "texts/${name}: has other texts than en.json:\n  ${keys}\n  ${wanted}")
  endif()
  cmake_path(GET name STEM language)
  file(READ ${FOLDER}/texts/${name} content)
  string(STRIP "${content}" content)
  if(texts)
    string(APPEND texts ",\n")
  endif()
  string(APPEND texts "\"${language}\": ${content}")
  string(APPEND languages "\"${language}\", ")
endforeach()

file(READ ${FOLDER}/station.html page)
file(READ ${FOLDER}/station.css style)
file(READ ${FOLDER}/station.js script)
foreach(part style script texts)
  string(FIND "${${part}}" "</" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${part}: holds what ends an element")
  endif()
endforeach()
string(REPLACE "@TEXTS@" "{${texts}}" page "${page}")
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")
string(FIND "${page}" ")page\"" clash)
if(NOT clash EQUAL -1)
  message(FATAL_ERROR "the page holds what ends a literal")
endif()
file(WRITE ${OUTPUT} "// Made from line/page/files by EmbedPage.cmake.
#include \"page/PageText.h\"

namespace zelline {

std::string_view PageText() {
    return R\"page(${page})page\";
}

const std::vector<std::string_view>& PageLanguages() {
    static const std::vector<std::string_view> kLanguages = {${languages}};
    return kLanguages;
}

}  // namespace zelline
")
