// What the files of the command client share; nobody else's.
#ifndef ZELFAC_AMCLIENT_AMCLIENTSTATE_H
#define ZELFAC_AMCLIENT_AMCLIENTSTATE_H

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "amclient/AmClient.h"
#include "amclient/ManagerStream.h"

constexpr std::size_t kAmWorkBuffer = 2048;
constexpr std::size_t kAmReadBuffer = 128;  // one byte of it stays zero

struct t_pipe {
    int read = -1;
    int write = -1;
};

// The streams. Written before the threads start and after they were joined; in between each field belongs to the
// thread named, the manager's streams to whoever holds g_sendcmd_mutex. Plain pointers and descriptors on purpose:
// nothing of it may be torn down under a thread that is still running when the process exits.
struct t_cmdcvt_info {
    t_pipe input;        // the application's standard input; the reader writes
    t_pipe output;       // the application's standard output; the relay reads
    t_pipe error;        // the application's standard error; the relay reads
    t_pipe relayWake;    // the relay reads, anybody writes
    t_pipe readerWake;   // the reader reads, anybody writes
    int realInput = -1;  // the reader's
    zel::ManagerStream realOutput;
    zel::ManagerStream realError;
    int savedOutput = -1;
    int savedError = -1;
    // The reader's work buffers of kAmWorkBuffer bytes each.
    char* pendingLine = nullptr;
    char* passThrough = nullptr;
    char* value = nullptr;
    std::atomic<std::uint32_t> drainAsked{0};
    std::atomic<std::uint32_t> drainDone{0};
    std::atomic<bool> relayRuns{false};
};

extern t_cmdcvt_info g_cmdcvt_info;
extern t_am_client* g_record;  // the record that init was given; g_am_client until then
extern pthread_t g_td;         // output relay; 0 never started
extern pthread_t g_td_in;      // command reader
extern std::atomic<std::int32_t> g_i4_done;
extern pthread_mutex_t g_sendcmd_mutex;  // held around every write to the manager

// Thread entries.
void* AmRelayThread(void*);
void* AmReaderThread(void*);

// Whether the calling thread is the command reader.
bool AmOnReaderThread();

// Waits a little before something that has failed is tried again, without poll, which may be what has failed.
void AmPause();

// Wakes the thread that waits on `wake`.
void AmWake(const t_pipe& wake);

// Closes a descriptor that is open and marks it closed.
void AmClose(int& descriptor);

// Locks g_sendcmd_mutex for a scope.
class AmSendLock {
  public:
    AmSendLock() : m_locked(pthread_mutex_lock(&g_sendcmd_mutex) == 0) {}
    ~AmSendLock() {
        if (m_locked) {
            pthread_mutex_unlock(&g_sendcmd_mutex);
        }
    }
    AmSendLock(const AmSendLock&) = delete;
    AmSendLock& operator=(const AmSendLock&) = delete;
    explicit operator bool() const { return m_locked; }

  private:
    bool m_locked;
};

#endif
