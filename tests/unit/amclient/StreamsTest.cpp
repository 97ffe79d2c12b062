// The client's streams and threads, seen from the manager's side.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <random>
#include <set>
#include <string>

#include "amclient/AmClientState.h"
#include "amclient/ClientProcess.h"
#include "amclient/FailingNew.h"
#include "amclient/OrderedApplication.h"

using amclient::ClientProcess;
using amclient::FillRecord;
using amclient::PrintLines;
using amclient::RunApplication;
using amclient::RunOrders;

namespace {

constexpr std::size_t kLongName = 400;

std::set<int> OpenDescriptors() {
    std::set<int> open;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0) {
            open.insert(descriptor);
        }
    }
    return open;
}

// ---- Start and end --------------------------------------------------------------------------------------------

TEST(AmClientStreams, StartIsAnnounced) {
    ClientProcess client(RunApplication);
    client.Write(":cli:exit 5\n");
    EXPECT_EQ(client.Wait(), 5);
    EXPECT_EQ(client.Error(), "am client init [hello]\n");
    EXPECT_EQ(client.Output(), "am client thread start \n");
}

TEST(AmClientStreams, WhatWasPrintedBeforeComesFirst) {
    ClientProcess client([] {
        std::printf("before ");
        return RunApplication();
    });
    client.Write(":cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "before am client thread start \n");
}

TEST(AmClientStreams, ALineArrivesWhenItIsPrinted) {
    ClientProcess client(RunApplication);
    client.Write(":cli:say one line\n");
    EXPECT_TRUE(client.SeesOutput("one line\n"));
    client.Write(":cli:complain one error\n");
    EXPECT_TRUE(client.SeesError("one error\n"));
}

TEST(AmClientStreams, LastWordsWithoutANewlineReachTheManager) {
    ClientProcess client([] {
        FillRecord();
        const int result = AmClientInit(&g_am_client);
        std::printf("last words");
        return result;
    });
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \nlast words");
}

TEST(AmClientStreams, ShutdownFromTheApplication) {
    ClientProcess client(RunApplication);
    client.Write(":cli:say still here\n:cli:shutdown\n");
    EXPECT_EQ(client.Wait(), 100);  // 0 both times, and nothing is sent any more
    EXPECT_NE(client.Output().find("still here\n"), std::string::npos);
    EXPECT_EQ(client.Output().find(":hello"), std::string::npos);
}

TEST(AmClientStreams, ShutdownFromTheCommandReader) {
    ClientProcess client(RunApplication);
    client.Write(":am:stop=1,pause=2\n:am:pause=3\n");
    EXPECT_EQ(client.Wait(), 30);
    EXPECT_EQ(client.Output(), "am client thread start \nstopping");
}

TEST(AmClientStreams, EndOfInputEndsNothing) {
    ClientProcess client(RunApplication);
    client.Write(":cli:deaf\n");
    ASSERT_TRUE(client.SeesOutput("deaf\n"));
    client.Write(":am:go=1\n:cli:say after the end\n:cli:exit 6\n:cli:exit 7");
    client.CloseInput();
    EXPECT_EQ(client.Wait(), 6);
    EXPECT_NE(client.Output().find("after the end\n"), std::string::npos);
}

TEST(AmClientStreams, NoOtherProcessInheritsTheClientsDescriptors) {
    ClientProcess client([] {
        const std::set<int> before = OpenDescriptors();
        FillRecord();
        AmClientInit(&g_am_client);
        int inherited = 0;
        int added = 0;
        for (const int descriptor : OpenDescriptors()) {
            if (before.count(descriptor) == 0) {
                ++added;
                inherited += (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0 ? 0 : 1;
            }
        }
        return added >= 10 ? inherited : 50;
    });
    EXPECT_EQ(client.Wait(), 0);
}

TEST(AmClientStreams, AProcessWithoutStandardStreamsRunsAsWell) {
    ClientProcess client([] {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        FillRecord();
        const int result = AmClientInit(&g_am_client);
        std::fputs("alive\n", stderr);
        return result;
    });
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_NE(client.Error().find("alive\n"), std::string::npos);
}

// ---- Failures of the start ------------------------------------------------------------------------------------

TEST(AmClientStreams, WithoutDescriptorsTheStartFailsAndTheStreamsStay) {
    ClientProcess client([] {
        FillRecord();
        rlimit few{};
        few.rlim_cur = static_cast<rlim_t>(dup(0)) + 5;
        few.rlim_max = few.rlim_cur;
        setrlimit(RLIMIT_NOFILE, &few);
        const int result = AmClientInit(&g_am_client);
        std::puts("my own output");
        return result;
    });
    EXPECT_EQ(client.Wait(), kAmInitFailed);
    EXPECT_EQ(client.Error(), "am client init [hello]\nCMD_CONVERT: create pipe error!!!\n\n");
    EXPECT_EQ(client.Output(), "my own output\n");
}

// What stands behind a descriptor.
ino_t Behind(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 ? status.st_ino : 0;
}

void AllowDescriptorsBelow(int limit) {
    rlimit few{};
    getrlimit(RLIMIT_NOFILE, &few);
    few.rlim_cur = static_cast<rlim_t>(limit);
    setrlimit(RLIMIT_NOFILE, &few);
}

TEST(AmClientStreams, WhicheverDescriptorIsMissingTheStartFailsOrTheManagerIsHeard) {
    ClientProcess client([] {
        FillRecord();
        const std::set<int> before = OpenDescriptors();
        const std::array<ino_t, 3> streams{Behind(0), Behind(1), Behind(2)};
        int limit = STDERR_FILENO + 1;  // none at all
        int failures = 0;
        for (AllowDescriptorsBelow(limit); AmClientInit(&g_am_client) != 0; AllowDescriptorsBelow(++limit)) {
            ++failures;
            if (OpenDescriptors() != before || std::array<ino_t, 3>{Behind(0), Behind(1), Behind(2)} != streams) {
                return 70 + failures;
            }
        }
        return failures < 13 ? failures : RunOrders();
    });
    client.Write(":am,app,7:pause=heard\n:cli:exit 40\n");
    EXPECT_EQ(client.Wait(), 40);
    EXPECT_NE(client.Output().find("pause 7 heard NULL\n"), std::string::npos) << client.Output();
    EXPECT_NE(client.Error().find("CMD_CONVERT: create pipe error!!!\n\n"), std::string::npos);
    EXPECT_NE(client.Error().find("CMD_CONVERT: dup error!!!\n\n"), std::string::npos);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
constexpr rlim_t kMiB = rlim_t{1} << 20;

// A thread's stack: more than the C library keeps of those of threads that have ended, which it would take
// instead.
constexpr rlim_t kStack = 64 * kMiB;

#if UINTPTR_MAX == UINT32_MAX
// Takes the whole address space but so much of it: an emulated processor knows no limit of it.
bool LimitSpace(rlim_t room) {
    const auto take = [](std::size_t size) {
        return mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    };
    const auto left = static_cast<std::size_t>(room);
    void* const kept = take(left);
    for (std::size_t size = std::size_t{1} << 30; size >= 4096; size /= 2) {
        while (take(size) != MAP_FAILED) {
        }
    }
    return munmap(kept, left) == 0;
}
#else
bool LimitSpace(rlim_t room) {
    rlim_t pages = 0;
    if (!(std::ifstream("/proc/self/statm") >> pages)) {
        return false;
    }
    const rlim_t limit = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + room;
    const rlimit space{limit, RLIM_INFINITY};
    return setrlimit(RLIMIT_AS, &space) == 0;
}
#endif

// Starts the client in an address space that can grow by so much.
int StartInLittleSpace(rlim_t room) {
    FillRecord();
    std::free(std::malloc(100000));  // the heap has what it needs
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStack);
    pthread_setattr_default_np(&attributes);
    if (!LimitSpace(room)) {
        return 97;
    }
    const int result = AmClientInit(&g_am_client);
    std::puts("my own output");
    return result;
}

TEST(AmClientStreams, WithoutARelayThreadTheStartFailsAndTheStreamsAreGivenBack) {
    ClientProcess client([] { return StartInLittleSpace(kMiB / 2); });
    EXPECT_EQ(client.Wait(), kAmInitFailed);
    EXPECT_EQ(client.Output(), "am client thread start \nthread start failed\nmy own output\n");
}

TEST(AmClientStreams, WithoutAReaderThreadTheStartFailsAndTheStreamsAreGivenBack) {
    ClientProcess client([] { return StartInLittleSpace(kStack * 3 / 2); });
    EXPECT_EQ(client.Wait(), kAmInitFailed);
    EXPECT_EQ(client.Output(), "am client thread start \nin thread start failed\nmy own output\n");
}
#endif

// ---- Lines ----------------------------------------------------------------------------------------------------

TEST(AmClientStreams, EachParameterIsDispatched) {
    ClientProcess client(RunApplication);
    client.Write(":am,app,7:pause=now,volume=[1,,x y],mode=\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \npause 7 now NULL\ncommand 7 [1,,x y] volume\n");
    EXPECT_EQ(client.Error(),
              "am client init [hello]\n[AM_CLIENT]parse cmd pause \n[AM_CLIENT]parse cmd volume \n"
              "[AM_CLIENT]parse cmd mode \n[AM_CLIENT] recvCmd invalid parameter\n");
}

TEST(AmClientStreams, LinesForOthersAreIgnored) {
    ClientProcess client(RunApplication);
    client.Write(":tv,am:pause=1\n:am,client:pause=2\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \n");
    EXPECT_EQ(client.Error(), "am client init [hello]\n");
}

TEST(AmClientStreams, WhatCannotBeParsedIsReported) {
    ClientProcess client(RunApplication);
    client.Write("hello\n:am:pause\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    const std::string failed = "[_cmd_convert_parse] parse failed\n";
    EXPECT_EQ(client.Error(), "am client init [hello]\n" + failed + failed);
}

TEST(AmClientStreams, ALineInTwoWritesIsParsedOnce) {
    ClientProcess client(RunApplication);
    const std::string line = ":am,app,7:pause=now\n";
    std::string expected = "am client thread start \n";
    for (std::size_t split = 1; split < line.size(); ++split) {
        client.Write(line.substr(0, split));
        client.Write(line.substr(split) + ":am:go=" + std::to_string(split) + "\n");
        expected += "pause 7 now NULL\ncommand NULL " + std::to_string(split) + " go\n";
        ASSERT_TRUE(client.SeesOutput("command NULL " + std::to_string(split) + " go\n"));
        EXPECT_EQ(client.Output(), expected) << split;
    }
}

TEST(AmClientStreams, ALineInAHundredWritesIsParsedOnce) {
    ClientProcess client(RunApplication);
    const std::string value(100, 'v');
    for (const char byte : ":am:pause=" + value + "\n:cli:exit 0\n") {
        client.Write({&byte, 1});
    }
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \npause NULL " + value + " NULL\n");
}

TEST(AmClientStreams, LinesUpToTheBufferAreTakenWhole) {
    ClientProcess client(RunApplication);
    const std::string head = ":am:pause=";
    std::string expected = "am client thread start \n";
    for (const std::size_t length : {126U, 127U, 128U, 254U, 2046U, 2047U}) {
        const std::string value(length - head.size(), 'v');
        client.Write(head + value + "\n");
        expected += "pause NULL " + value + " NULL\n";
    }
    client.Write(":cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), expected);
}

TEST(AmClientStreams, LongerLinesFailWholeAndTheNextOneIsHeard) {
    ClientProcess client(RunApplication);
    std::string expected = "am client thread start \n";
    std::string errors = "am client init [hello]\n";
    for (const std::size_t length : {2048U, 2049U, 100000U}) {
        for (const std::string head : {":am:pause=", ":cli:say "}) {
            client.Write(head + std::string(length - head.size(), 'v') + "\n:am:pause=next\n");
            expected += "pause NULL next NULL\n";
            errors += "[_cmd_convert_parse] parse failed\n[AM_CLIENT]parse cmd pause \n";
        }
    }
    client.Write(":cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), expected);
    EXPECT_EQ(client.Error(), errors);
}

TEST(AmClientStreams, NoiseLosesNoGoodLine) {
    const unsigned seed = 5150;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    ClientProcess client(RunApplication);
    for (int i = 0; i < 50; ++i) {
        // No colon: noise must not happen to say something.
        std::string noise(random() % 500, '\0');
        for (char& byte : noise) {
            byte = static_cast<char>(random());
            byte = byte == ':' ? ';' : byte;
        }
        client.Write(noise + "\n:am:pause=" + std::to_string(i) + "\n");
        EXPECT_TRUE(client.SeesOutput("pause NULL " + std::to_string(i) + " NULL\n"));
    }
}

TEST(AmClientStreams, ALongListKeepsItsBracket) {
    ClientProcess client(RunApplication);
    const std::string full(252, 'x');
    client.Write(":am:a=[" + full + "],b=[" + full + "y],c=[" + full + ",y],d=[" + std::string(251, 'x') +
                 ",y]\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_NE(client.Output().find("NULL [" + full + "] a\n"), std::string::npos);
    EXPECT_NE(client.Output().find("NULL [" + full + "] b\n"), std::string::npos);
    EXPECT_NE(client.Output().find("NULL [" + full + "] c\n"), std::string::npos);
    EXPECT_NE(client.Output().find("NULL [" + std::string(251, 'x') + ",] d\n"), std::string::npos);
}

TEST(AmClientStreams, PassThroughIsUnchanged) {
    ClientProcess client(RunApplication);
    client.Write(":dbg,a:  any [thing, = :x \r\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_NE(client.Output().find("odd input :dbg,a:  any [thing, = :x \r\n"), std::string::npos);
}

TEST(AmClientStreams, AnApplicationThatDoesNotReadItsInputHoldsNothingUp) {
    ClientProcess client(RunApplication);
    client.Write(":cli:deaf\n");
    ASSERT_TRUE(client.SeesOutput("deaf\n"));
    for (int i = 0; i < 1000; ++i) {
        client.Write(":dbg:" + std::string(100, 'd') + "\n");
    }
    EXPECT_TRUE(client.SeesError("[AM_CLIENT] standard input not read, line dropped\n"));
    client.Write(":am,,9:hear=1\n");
    EXPECT_TRUE(client.SeesOutput("command 9 1 hear\n"));
    ASSERT_TRUE(client.SeesOutput("odd input :dbg:" + std::string(100, 'd') + "\n"));
    client.Write(":am:pause=end\n");
    EXPECT_TRUE(client.SeesOutput("pause NULL end NULL\n"));
}

TEST(AmClientStreams, InterruptedWaitsGoOn) {
    ClientProcess client([] {
        struct sigaction action {};
        action.sa_handler = [](int) {};
        sigaction(SIGALRM, &action, nullptr);
        FillRecord();
        AmClientInit(&g_am_client);
        for (int i = 0; i < 100; ++i) {
            pthread_kill(g_td, SIGALRM);
            pthread_kill(g_td_in, SIGALRM);
            poll(nullptr, 0, 1);
        }
        std::puts("interrupted");
        return RunOrders();
    });
    ASSERT_TRUE(client.SeesOutput("interrupted\n"));
    client.Write(":cli:say heard\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \ninterrupted\nheard\n");
}

TEST(AmClientStreams, BlankLinesSayNothing) {
    ClientProcess client(RunApplication);
    client.Write("\n:am,app,7:pause=one\n\n\n:am,app,7:pause=two\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \npause 7 one NULL\npause 7 two NULL\n");
    EXPECT_EQ(client.Error(),
              "am client init [hello]\n[AM_CLIENT]parse cmd pause \n[AM_CLIENT]parse cmd pause \n");
}

TEST(AmClientStreams, ALineForWhichThereIsNoMemoryIsReportedAndTheNextOneIsHeard) {
    ClientProcess client([] {
        amclient::FailAllocationsFrom(kLongName);
        return RunApplication();
    });
    client.Write(":am,app,7:" + std::string(kLongName, 'n') + "=1\n:am,app," + std::string(kLongName, 'a') +
                 ":pause=1\n:am,app,7:pause=heard\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \npause 7 heard NULL\n");
    const std::string failed = "[_cmd_convert_parse] parse failed\n";
    EXPECT_EQ(client.Error(), "am client init [hello]\n" + failed + failed + "[AM_CLIENT]parse cmd pause \n");
}

// ---- Output ---------------------------------------------------------------------------------------------------

TEST(AmClientStreams, LogOffSwallowsAndLogOnRelays) {
    ClientProcess client(RunApplication);
    client.Write(":am:log=off\n:cli:say secret\n:cli:complain hidden\n:cli:report quiet\n");
    ASSERT_TRUE(client.SeesOutput("\n:hello,am,:quiet\n"));
    client.Write(":am:log=on\n:cli:say public\n:cli:complain open\n:cli:exit 0\n");
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_EQ(client.Output(), "am client thread start \n\n:hello,am,:quiet\npublic\n");
    EXPECT_EQ(client.Error().find("hidden"), std::string::npos);
    EXPECT_NE(client.Error().find("open\n"), std::string::npos);
}

TEST(AmClientStreams, Reports) {
    ClientProcess client([] {
        FillRecord();
        AmClientInit(&g_am_client);
        AmClientSend("cmd", "payload");
        AmClientReportResumed("7", "text");
        AmClientReportPaused(nullptr, "text");
        AmClientReportFailed("7", "text", 5, "why");
        AmClientReportFailed("7", "text", 1234, nullptr);
        AmClientTestHook1();
        AmClientTestHook2();
        return AmClientSend("cmd", nullptr);
    });
    EXPECT_EQ(client.Wait(), kAmFailed);
    EXPECT_EQ(client.Output(),
              "am client thread start \n"
              "\n:hello,am,cmd:payload\n"
              "\n:hello,am,7:resumed=text\n"
              "\n:hello,am,:paused=text\n"
              "\n:hello,am,7:failed=text,err_code=  5,err_msg=why\n"
              "\n:hello,am,7:failed=text,err_code=1234\n"
              "\n:hello,am,:resumed=hello\n"
              "\n:hello,am,:failed=hello,err_code=  0\n");
}

TEST(AmClientStreams, AManagerThatDoesNotReadForAWhileGetsEverythingInOrder) {
    ClientProcess client(RunApplication);
    const int lines = 15000;  // some 650 kB
    client.Write(":cli:print " + std::to_string(lines) + "\n:am:log=on\n:cli:complain heard\n");
    ASSERT_TRUE(client.SeesError("printed\n"));  // and nothing of the output has been read yet
    ASSERT_TRUE(client.SeesError("heard\n"));
    client.Write(":cli:exit 3\n");
    std::string expected = "am client thread start \n";
    for (int i = 0; i < lines; ++i) {
        expected += "this is line " + std::to_string(i) + " of the application's output\n";
    }
    EXPECT_EQ(client.Wait(), 3);
    EXPECT_EQ(client.Output(), expected);
}

TEST(AmClientStreams, AManagerThatDoesNotReadAtAllStopsNobody) {
    ClientProcess client(RunApplication);
    client.Write(":cli:print 100000\n:cli:report late\n:cli:complain through\n");
    ASSERT_TRUE(client.SeesError("through\n"));
    ASSERT_TRUE(client.SeesOutput(" bytes lost\n"));
    client.Write(":am:pause=again\n");
    EXPECT_TRUE(client.SeesOutput("pause NULL again NULL\n"));
    client.Write(":cli:exit 4\n");
    EXPECT_EQ(client.Wait(), 4);
}

TEST(AmClientStreams, AManagerThatNeverReadsDoesNotKeepTheApplicationFromEnding) {
    ClientProcess client(RunApplication);
    client.Write(":cli:print 100000\n:am:stop=1\n");
    ASSERT_TRUE(client.SeesError("parse cmd stop"));
    for (int waited = 0; waited < 20000 && client.IsRunning(); ++waited) {
        poll(nullptr, 0, 1);
    }
    EXPECT_EQ(client.Wait(), 30);
}

TEST(AmClientStreams, AManagerThatClosesItsEndKillsNobody) {
    ClientProcess client(RunApplication);
    client.CloseOutput();
    client.Write(":cli:print 10000\n:cli:report x\n");
    ASSERT_TRUE(client.SeesError("printed\n"));
    client.Write(":cli:exit 8\n");
    EXPECT_EQ(client.Wait(), 8);
}

// poll refuses to look at more places than the process may have descriptors, so with a limit between what the
// command reader and what the relay looks at it fails for the relay alone.
TEST(AmClientStreams, ARelayWhosePollFailsForAWhileGoesOn) {
    ClientProcess client([] {
        FillRecord();
        AmClientInit(&g_am_client);
        rlimit usual{};
        getrlimit(RLIMIT_NOFILE, &usual);
        AllowDescriptorsBelow(4);
        PrintLines(5000);  // more than three times what the pipe holds
        std::fputs("printed\n", stderr);
        setrlimit(RLIMIT_NOFILE, &usual);
        return RunOrders();
    });
    std::string expected = "am client thread start \n";
    for (int i = 0; i < 5000; ++i) {
        expected += "this is line " + std::to_string(i) + " of the application's output\n";
    }
    EXPECT_TRUE(client.SeesOutput("this is line 4999 of the application's output\n"));
    EXPECT_TRUE(client.SeesError("printed\n"));
    client.Write(":am:pause=heard\n");
    EXPECT_TRUE(client.SeesOutput("pause NULL heard NULL\n"));
    client.Write(":cli:exit 6\n");
    EXPECT_EQ(client.Wait(), 6);
    EXPECT_EQ(client.Output(), expected + "pause NULL heard NULL\n");
}

// The callback's own thread cannot wait for the relay, which then ends while the application is still at work.
TEST(AmClientStreams, WhoPrintsAfterTheRelayHasEndedIsNotHeldUp) {
    ClientProcess client([] {
        FillRecord();
        static std::atomic<bool> s_stopped{false};
        g_am_client.pause = [](const char*, const char*, const char*) {
            AmClientShutdown();
            s_stopped = true;
        };
        AmClientInit(&g_am_client);
        while (!s_stopped) {
            poll(nullptr, 0, 1);
        }
        PrintLines(20000);
        return 7;
    });
    client.Write(":am:pause=1\n");
    EXPECT_EQ(client.Wait(), 7);
}

TEST(AmClientStreams, AFullDiskBehindTheOutputIsTriedAgainWithoutHaste) {
    ClientProcess client([] {
        FillRecord();
        const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
        dup2(full, STDOUT_FILENO);
        AmClientInit(&g_am_client);
        std::puts("no room for this");
        const std::clock_t before = std::clock();
        poll(nullptr, 0, 1000);
        const std::clock_t used = std::clock() - before;
        std::fprintf(stderr, "heard\n");
        AmClientDrain();
        _exit(used < CLOCKS_PER_SEC / 4 ? 0 : 1);
        return 0;
    });
    EXPECT_EQ(client.Wait(), 0);
    EXPECT_NE(client.Error().find("heard\n"), std::string::npos);
}

}  // namespace
