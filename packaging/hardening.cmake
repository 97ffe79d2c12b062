# What everything is built with that leaves this house; scripts/check-hardening reads it back from the programs.
include(CheckPIESupported)
check_pie_supported()

add_compile_options(-fstack-protector-strong -fstack-clash-protection)
add_compile_definitions(_FORTIFY_SOURCE=2 _GLIBCXX_ASSERTIONS)
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
