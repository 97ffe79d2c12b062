// The function that a preloaded one stands in front of.
#ifndef SIMSET_PRELOAD_NEXT_H
#define SIMSET_PRELOAD_NEXT_H

#include <dlfcn.h>
#include <string.h>

namespace simset::preload {

// The function of this name that the shim stands in front of; null when no library behind it has one.
template <typename Function>
Function Next(const char* name) {
    // dlsym's object pointer is a function's address by POSIX; the language has no conversion that says so.
    void* const symbol = dlsym(RTLD_NEXT, name);
    Function function = nullptr;
    static_assert(sizeof function == sizeof symbol, "POSIX");
    memcpy(&function, &symbol, sizeof function);
    return function;
}

}  // namespace simset::preload

#endif
