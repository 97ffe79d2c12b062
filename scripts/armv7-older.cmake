# The same against the sysroot's own C and C++ library, which are older than the cross compiler's: its folders of both
# are left out, so that the program asks for no symbol that an older set does not have.
include(${CMAKE_CURRENT_LIST_DIR}/armv7.cmake)
set(lib "${ARMV7_SYSROOT}/usr/lib")
set(inc "${ARMV7_SYSROOT}/usr/include")
file(GLOB versions RELATIVE "${inc}/c++" "${inc}/c++/*")
list(GET versions 0 version)
file(GLOB own "/usr/lib/gcc-cross/arm-linux-gnueabihf/*/include")
list(GET own -1 own)
set(common "-isystem ${own} -isystem ${inc}/arm-linux-gnueabihf -isystem ${inc}")
string(APPEND CMAKE_C_FLAGS_INIT " -nostdinc ${common}")
# A newer compiler takes the older std::function for uninitialised.
string(APPEND CMAKE_CXX_FLAGS_INIT " -Wno-maybe-uninitialized")
string(APPEND CMAKE_CXX_FLAGS_INIT
       " -nostdinc -nostdinc++ -isystem ${inc}/c++/${version}"
       " -isystem ${inc}/arm-linux-gnueabihf/c++/${version} -isystem ${inc}/c++/${version}/backward ${common}")
foreach(kind EXE SHARED MODULE)
  string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT
         " -B${lib}/arm-linux-gnueabihf -L${lib}/gcc/arm-linux-gnueabihf/${version} -L${lib}/arm-linux-gnueabihf")
endforeach()
