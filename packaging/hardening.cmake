# What everything is built with that leaves this house; scripts/check-hardening reads it back from the programs.
include(CheckPIESupported)
check_pie_supported()

add_compile_options(-fstack-protector-strong -fstack-clash-protection)
add_compile_definitions(_FORTIFY_SOURCE=2 _GLIBCXX_ASSERTIONS)
# The same sources make the same bytes, wherever they lie.
add_compile_options(-ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=./build)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--build-id=sha1)
