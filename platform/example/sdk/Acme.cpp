// The made-up vendor's library, as far as a program needs it to be linked: there is no set behind it.
#include <acme/Model.h>
#include <acme/Runtime.h>

extern "C" {

int acme_debug_start(void) {
    return 0;
}

int acme_thread_attributes(pthread_attr_t* attributes) {
    return pthread_attr_init(attributes);
}

int acme_thread_start(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument,
                      const char*) {
    return pthread_create(thread, attributes, entry, argument);
}

int acme_start_service(const char*) {
    return -1;
}

int acme_env_read(const char*, char*, unsigned) {
    return -1;
}

int acme_env_write(const char*, const char*) {
    return -1;
}

int acme_store_open(void) {
    return -1;
}

int acme_store_number(int, int*) {
    return -1;
}

int acme_store_set_number(int, int) {
    return -1;
}

int acme_store_text(int, char*, unsigned) {
    return -1;
}

int acme_store_set_text(int, const char*) {
    return -1;
}

int acme_key_install(int, const char* const*, unsigned) {
    return -1;
}

int acme_key_verify(int) {
    return -1;
}

int acme_make_route_file(void) {
    return -1;
}

}  // extern "C"

namespace acme {

Model* Model::enter(const char*) {
    return nullptr;
}

int Manager::prepare() {
    return -1;
}

Manager* Manager::get() {
    return nullptr;
}

}  // namespace acme
