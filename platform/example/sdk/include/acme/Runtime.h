// A made-up vendor's process framework, application manager, factory store and flash variables, in C and C++.
#ifndef ACME_RUNTIME_H
#define ACME_RUNTIME_H

#include <pthread.h>

#include <string>

extern "C" {
int acme_debug_start(void);
int acme_thread_attributes(pthread_attr_t* attributes);
int acme_thread_start(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument,
                      const char* name);

int acme_start_service(const char* name);  // waits until it runs

int acme_env_read(const char* name, char* value, unsigned size);
int acme_env_write(const char* name, const char* value);

int acme_store_open(void);
int acme_store_number(int item, int* value);
int acme_store_set_number(int item, int value);
int acme_store_text(int item, char* text, unsigned size);
int acme_store_set_text(int item, const char* text);
int acme_key_install(int type, const char* const* files, unsigned count);
int acme_key_verify(int type);
int acme_make_route_file(void);
}

namespace acme {

enum class Wish {
    Start,
    Stop,
    Pause,
    Resume,
    Suspend,
    Wakeup,
    ToFront,
    ToBack,
    Show,
    Hide,
    Reload,
    Language,
    Country,
    Display,
    Data,
    Message,
    Focus,
    Unfocus,
    Status
};

// What an application is asked for, on threads of the manager's own.
class Application {
  public:
    virtual ~Application() = default;
    virtual int wish(Wish what, const std::string& first, const std::string& second) = 0;
    virtual int key(int code, bool released) = 0;
    virtual std::string identity() = 0;
};

class Manager {
  public:
    static int prepare();
    static Manager* get();
    virtual int enroll(const char* identity, Application* application) = 0;
    virtual int tell(const char* identity, int state) = 0;
    virtual int dismiss(const char* identity) = 0;
};

}  // namespace acme

#endif
