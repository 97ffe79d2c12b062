// The lock around every write to the port, for the length of a scope.
#ifndef ZELFAC_UARTMANAGER_SENDLOCK_H
#define ZELFAC_UARTMANAGER_SENDLOCK_H

#include <pthread.h>

namespace zel {

class SendLock {
  public:
    explicit SendLock(pthread_mutex_t& mutex) : m_mutex(mutex) { pthread_mutex_lock(&m_mutex); }
    ~SendLock() { pthread_mutex_unlock(&m_mutex); }
    SendLock(const SendLock&) = delete;
    SendLock& operator=(const SendLock&) = delete;

  private:
    pthread_mutex_t& m_mutex;
};

}  // namespace zel

#endif
