# Puts what the Debian package has outside its own folder where Debian has it, and gives everything the revision's time.
include(${CMAKE_CURRENT_LIST_DIR}/epoch.cmake)
set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(own ${usr}/lib/zelfac)
file(MAKE_DIRECTORY ${usr}/bin ${usr}/lib/python3/dist-packages ${usr}/share/doc)
file(RENAME ${own}/lib/python3/dist-packages/zelfac ${usr}/lib/python3/dist-packages/zelfac)
file(RENAME ${own}/share/doc/zelfac ${usr}/share/doc/zelfac)
file(REMOVE_RECURSE ${own}/lib/python3 ${own}/share)
foreach(program simset zelline)
  file(CREATE_LINK ../lib/zelfac/bin/${program} ${usr}/bin/${program} SYMBOLIC)
endforeach()
execute_process(COMMAND find ${CPACK_TEMPORARY_INSTALL_DIRECTORY} -exec touch -h -d @${epoch} {} +
                COMMAND_ERROR_IS_FATAL ANY)
