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

#define SIMSET_VISIBLE __attribute__((visibility("default")))

// Types and parameter lists are no expressions: they take no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)

// Finds the C library's function of that name when the shim is loaded. To ask later would take the loader's lock,
// and another thread may hold that which waits for this one: a sanitizer looks at files while it walks the
// libraries, and the application opens libraries. Who calls before the shim is loaded asks then.
#define SIMSET_NEXT(Result, name, parameters)                                                                 \
    Result(*s_next_##name) parameters = nullptr;                                                              \
    __attribute__((constructor)) void FindNext_##name() {                                                     \
        s_next_##name = simset::preload::Next<Result(*) parameters>(#name);                                   \
    }                                                                                                         \
    Result(*Next_##name()) parameters {                                                                       \
        return s_next_##name != nullptr ? s_next_##name : simset::preload::Next<Result(*) parameters>(#name); \
    }

// NOLINTEND(bugprone-macro-parentheses)

#endif
