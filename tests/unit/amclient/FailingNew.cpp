#include "amclient/FailingNew.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

std::atomic<std::size_t> s_from{std::numeric_limits<std::size_t>::max()};

}  // namespace

void amclient::FailAllocationsFrom(std::size_t size) {
    s_from = size;
}

void* operator new(std::size_t size) {
    const std::size_t from = s_from;
    if (size >= from && size / 2 <= from) {
        throw std::bad_alloc();
    }
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

// Beside the other, because a sanitizer brings one of its own, whose memory ours could not free.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
