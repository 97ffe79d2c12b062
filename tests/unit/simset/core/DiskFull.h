// A disk without room, for the time of an object.
#ifndef SIMSET_CORE_DISKFULL_H
#define SIMSET_CORE_DISKFULL_H

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

namespace simset::test {

// No file of this process grows beyond `bytes`: what a full disk looks like to a program, on any machine.
class DiskFull {
  public:
    explicit DiskFull(rlim_t bytes) : m_signal(::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit limit{bytes, m_before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~DiskFull() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        ::signal(SIGXFSZ, m_signal);
    }
    DiskFull(const DiskFull&) = delete;
    DiskFull& operator=(const DiskFull&) = delete;

  private:
    rlimit m_before{};
    void (*m_signal)(int);
};

}  // namespace simset::test

#endif
