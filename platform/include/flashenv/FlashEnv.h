// Platform contract: the flash environment, named boot variables that survive a power cut.
#ifndef FLASHENV_FLASHENV_H
#define FLASHENV_FLASHENV_H

#include <cstddef>
#include <cstdint>
#include <string>

// Both operations return 0 on success and a code of the library otherwise; they may be called from any thread.
class FlashEnv {
  public:
    // The one environment of the set; always there.
    static FlashEnv& instance();

    // Reads variable `name` into `buffer` of `size` bytes, NUL-terminated and cut to fit. A variable that was
    // never set reads as the empty text. `buffer` is untouched on failure.
    virtual std::int32_t getEnv(const std::string& name, char* buffer, std::size_t size) = 0;

    // Sets variable `name` to `value`.
    virtual std::int32_t setEnv(const std::string& name, const std::string& value) = 0;

  protected:
    ~FlashEnv() = default;
};

#endif
