// Platform contract: the factory auxiliary library, which keeps a set's factory metadata and its keys.
//
// Every operation returns 0 on success and a code of the library otherwise, blocks until the store has answered,
// and may be called from any thread after init_factory_aux.
#ifndef FACTORY_AUX_FACTORYAUX_H
#define FACTORY_AUX_FACTORYAUX_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <string>

// Metadata items. Items 6 and 8 are texts, the others signed 32-bit numbers.
enum _FAC_META_DATA : std::int32_t {
    META_PROJECT_ID = 0,
    META_COUNTRY = 1,
    META_REGION = 2,
    META_LANGUAGE = 3,
    META_LOGO = 4,
    META_CUSTOMER_MODEL = 6,
    META_MAC = 8,
};

// Key types. 7 is not used.
enum KEY : std::int32_t {
    KEY_NETFLIX = 0,
    KEY_HDCP2 = 1,
    KEY_WIDEVINE = 2,
    KEY_CIPLUS = 3,
    KEY_CIPLUSECP = 4,
    KEY_HDCP1 = 5,
    KEY_PLAYREADY = 6,
    KEY_YOUTUBE = 8,
};

// Opens the stores. To be called once, before any other operation.
std::int32_t init_factory_aux();

// Reads a numeric item into `value`, untouched on failure.
std::int32_t readMetaData(_FAC_META_DATA item, std::int32_t* value);
std::int32_t writeMetaData(_FAC_META_DATA item, std::int32_t value);

// Reads a text item into `buffer` of `size` bytes, NUL-terminated and cut to fit; untouched on failure.
std::int32_t readStrMetaData(_FAC_META_DATA item, char* buffer, std::size_t size);
std::int32_t writeStrMetaData(_FAC_META_DATA item, const std::string& text);

// Installs the key of type `key` from the files named in `files`. One empty name lets the library take the
// key's own source (PlayReady, YouTube).
std::int32_t writeKeys(const std::list<std::string>& files, KEY key);

// Checks the installed key of type `key`.
std::int32_t checkKeyFile(KEY key);

// Makes the access route file that belongs to the project id in the metadata.
std::int32_t createAccessRouteFile();

#endif
