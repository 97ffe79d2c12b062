#include "UartManager/UartManager.h"

#include <cstdarg>
#include <cstdio>
#include <new>

#include "log/LogPrint.h"
#include "os/Thread.h"

UartManager* UartManager::GetInstance() {
    if (m_UartInstance == nullptr) {
        try {
            m_UartInstance = new (std::nothrow) UartManager;
        } catch (const std::bad_alloc&) {
            // The objects of the higher rooms found no memory: there is no manager then either.
        }
    }
    return m_UartInstance;
}

UartManager::UartManager() {
    _bExitUartDebug = 1;
    pthread_mutexattr_t attr;
    zel::ReportThreadError(pthread_mutexattr_init(&attr), __LINE__, "pthread_mutexattr_init(&attr)");
    zel::ReportThreadError(pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_NORMAL), __LINE__,
                           "pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_NORMAL)");
    pthread_mutex_init(&m_sendMutex, &attr);
    pthread_mutexattr_destroy(&attr);
}

UartManager::~UartManager() {
    JoinReported(m_threadUartDebugMode, __LINE__, "pthread_join(m_threadUartDebugMode, &thread_result)",
                 "threadSignalMonitor join failed", "Exit threadSignalMonitor Success.");
    JoinReported(m_ZelUartCommandThreadId, __LINE__, "pthread_join(m_ZelUartCommandThreadId, &thread_result)",
                 "m_ZelUartCommandThreadId join failed", "Exit m_ZelUartCommandThreadId Success.");
    pthread_mutex_destroy(&m_sendMutex);
}

std::int32_t UartManager::Start() {
    std::unique_lock<std::mutex> lock(m_linkMutex);
    if (_bExitUartDebug == 0) {
        return 1;
    }
    // A thread that stopped the link could not join itself. It is gone before there is another in its place. The
    // lock is free meanwhile: a stop that is still under way needs it.
    for (LinkThread* former : {&m_threadUartDebugMode, &m_ZelUartCommandThreadId}) {
        if (former->started) {
            former->started = false;
            const pthread_t id = former->id;
            lock.unlock();
            zel::JoinThread(id);
            lock.lock();
        }
    }
    if (_bExitUartDebug == 0) {
        return 1;
    }
    _bExitUartDebug = 0;
    const int result = StartLinkThread(m_threadUartDebugMode, ZelInitThread, this, __LINE__);
    if (result != 0) {
        zel::ReportThreadError(result, __LINE__,
                               "pthread_create(&m_threadUartDebugMode, &attr, ZelInitThread, this)");
        _bExitUartDebug = 1;
        return 0;
    }
    if (StartLinkThread(m_ZelUartCommandThreadId, ZelUartCommandThread, this, __LINE__) != 0) {
        _bExitUartDebug = 1;
        // The reader leaves by itself; without the join a prompt second Start would have two of them.
        JoinLinkThread(m_threadUartDebugMode);
        return 0;
    }
    return 1;
}

void UartManager::Stop() {
    // Before the lock: whoever joins the command thread holds it, and that thread may be on its way in here.
    if (_bExitUartDebug.exchange(1) == 1) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_linkMutex);
    JoinReported(m_threadUartDebugMode, __LINE__, "pthread_join(m_threadUartDebugMode, &thread_result)",
                 "m_threadUartDebugStart join failed", "Exit m_threadUartDebugStart Success.");
    JoinReported(m_ZelUartCommandThreadId, __LINE__, "pthread_join(m_ZelUartCommandThreadId, &thread_result)",
                 "m_ZelUartCommandThreadId join failed", "Exit m_ZelUartCommandThreadId Success.");
}

int UartManager::StartLinkThread(LinkThread& thread, void* (*entry)(void*), UartManager* manager, int line) {
    const int result = zel::StartThread(thread.id, entry, manager, line);
    thread.started = result == 0;
    return result;
}

int UartManager::JoinLinkThread(LinkThread& thread) {
    const int result = thread.started ? zel::JoinThread(thread.id) : 0;
    thread.started = thread.started && result != 0;
    return result;
}

void UartManager::JoinReported(LinkThread& thread, int line, const char* call, const char* failed,
                               const char* succeeded) {
    if (!thread.started) {
        return;
    }
    const int result = JoinLinkThread(thread);
    zel::ReportThreadError(result, line, call);
    std::printf("%s", result == 0 ? succeeded : failed);
}

void UartManager::SetRunMode(std::uint8_t mode) {
    constexpr auto kLast = static_cast<std::uint8_t>(zel::RunMode::UsbUpdate);
    SetRunMode(mode <= kLast ? static_cast<zel::RunMode>(mode) : zel::RunMode::None);
}

int UartManager::LogPrint(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int printed = zel::LogPrintV(format, arguments);
    va_end(arguments);
    return printed;
}
