# Packs what cpack has staged: the archive for a set, with a manifest, and the debug information of its program in a
# second one, where a debugger looks for it by the build id. The same revision makes the same bytes.
include(${CMAKE_CURRENT_LIST_DIR}/epoch.cmake)
set(stage ${CPACK_TEMPORARY_DIRECTORY})
set(program bin/ZelFacTest_Eu4K)

if(NOT EXISTS ${stage}/config/font/DejaVuSans.ttf)
  message(FATAL_ERROR "The font is missing: install fonts-dejavu-core, or configure with -DZELFAC_FONT=FILE")
endif()

function(run out)
  execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE text OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

run(notes ${CPACK_ZELFAC_READELF} -nW ${stage}/${program})
if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
  message(FATAL_ERROR "${program} has no build id")
endif()
set(id ${CMAKE_MATCH_1}${CMAKE_MATCH_2})
set(debug .build-id/${CMAKE_MATCH_1}/${CMAKE_MATCH_2}.debug)

run(versions ${CPACK_ZELFAC_READELF} -VW ${stage}/${program})
string(REGEX MATCHALL "(GLIBC|GLIBCXX|CXXABI|GCC)_[0-9.]+" versions "${versions}")
list(REMOVE_DUPLICATES versions)
list(SORT versions COMPARE NATURAL)
list(JOIN versions " " versions)
run(needed ${CPACK_ZELFAC_READELF} -dW ${stage}/${program})
string(REGEX REPLACE "[][]" " " needed "${needed}")
string(REGEX MATCHALL "Shared library: +[^ \n]+" needed "${needed}")
list(TRANSFORM needed REPLACE "^.* " "")
list(JOIN needed " " needed)

set(manifest "# ZelFacTest_Eu4K ${CPACK_PACKAGE_VERSION}, revision ${revision}, build id ${id}
# libraries: ${needed}
# versions: ${versions}
# sed '/^#/d' MANIFEST | sha256sum -c
")
file(GLOB_RECURSE files RELATIVE ${stage} ${stage}/*)
list(SORT files)
foreach(file IN LISTS files)
  file(SHA256 ${stage}/${file} sum)
  string(APPEND manifest "${sum}  ${file}\n")
endforeach()
file(WRITE ${stage}/MANIFEST "${manifest}")

# GNU tar's and gzip's outputs depend on nothing else then.
function(pack folder archive)
  execute_process(COMMAND tar --sort=name --format=ustar --mtime=@${epoch} --owner=0 --group=0 --numeric-owner
                          --mode=u+rw,go-w,a+rX -C ${folder} --transform "s,^\\.,${archive}," -c .
                  COMMAND gzip -9n
                  OUTPUT_FILE ${CPACK_PACKAGE_DIRECTORY}/${archive}.tar.gz COMMAND_ERROR_IS_FATAL ANY)
endfunction()

pack(${stage} ${CPACK_PACKAGE_FILE_NAME})
get_filename_component(below ${stage} DIRECTORY)
set(below ${below}/debug)
file(REMOVE_RECURSE ${below})
get_filename_component(folder ${below}/${debug} DIRECTORY)
file(MAKE_DIRECTORY ${folder})
run(none ${CPACK_ZELFAC_OBJCOPY} --only-keep-debug ${CPACK_ZELFAC_PROGRAM} ${below}/${debug})
pack(${below} ${CPACK_PACKAGE_FILE_NAME}-debug)
set(CPACK_EXTERNAL_BUILT_PACKAGES ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}.tar.gz
                                  ${CPACK_PACKAGE_DIRECTORY}/${CPACK_PACKAGE_FILE_NAME}-debug.tar.gz)
