// Memory that runs out, for tests in a process of their own.
#ifndef ZELFAC_TESTS_AMCLIENT_FAILINGNEW_H
#define ZELFAC_TESTS_AMCLIENT_FAILINGNEW_H

#include <cstddef>

namespace amclient {

// From now on operator new of `size` bytes to twice as many throws bad_alloc, on every thread of the process.
void FailAllocationsFrom(std::size_t size);

}  // namespace amclient

#endif
