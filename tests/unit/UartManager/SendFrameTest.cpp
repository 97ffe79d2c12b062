// What goes onto the wire, byte for byte.
#include <pthread.h>
#include <unistd.h>

#include "UartManager/LinkFixture.h"

namespace {

using SendFrame = scripted::LinkTest;

TEST_F(SendFrame, StatusReply) {
    script.Expect("serial.write 79 10 12 73 01 00 00 01 69 FE");
    m_manager->SendStatusReply(0x1273, 0);
    script.Expect("serial.write 79 10 12 73 01 01 00 01 68 FE");
    m_manager->SendStatusReply(0x1273, 1);
}

TEST_F(SendFrame, AClosedPortLosesTheFrame) {
    UartManager::input_fd = -1;
    script.CaptureOutput();
    m_manager->SendStatusReply(0x1273, 0);
    EXPECT_EQ(script.Output(), "input_fd open failed\n");
}

TEST_F(SendFrame, APortThatClosesWhileTheFrameWaitsForItLosesItAloud) {
    // The C library keeps the stacks of threads: a small one is of no use to the tests that start threads of a
    // usual size and rely on it that there is no room for them.
    pthread_attr_t smallStack;
    pthread_attr_init(&smallStack);
    pthread_attr_setstacksize(&smallStack, std::size_t{256} * 1024);
    pthread_t second{};
    script.CaptureOutput();
    script.Expect("serial.write " + scripted::Hex(scripted::WireFrameOf(0x10, 0x1273, {0}, 0, 1))).Then([&] {
        // Another frame comes while the first is being written; before its turn the port is closed.
        const auto send = [](void* manager) -> void* {
            static_cast<UartManager*>(manager)->SendStatusReply(0x1289, 0);
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&second, &smallStack, send, m_manager.get()), 0);
        usleep(50000);
        UartManager::input_fd = -1;
    });
    m_manager->SendStatusReply(0x1273, 0);
    pthread_join(second, nullptr);
    pthread_attr_destroy(&smallStack);
    EXPECT_EQ(script.Output(), "input_fd open failed\n");
}

TEST_F(SendFrame, StartEndAndChecksumAreMadeAfresh) {
    UartFrame frame{};
    frame.start = 0x11;
    frame.kind = 0x22;
    frame.commandHigh = 0x33;
    frame.commandLow = 0x44;
    frame.length = 2;
    frame.payload[0] = 0x55;
    frame.payload[1] = 0x66;
    frame.payload[2] = 0x77;  // past LEN: not sent
    frame.trailerA = 0x01;
    frame.trailerB = 0x02;
    frame.checksum = 0x00;
    frame.end = 0x00;
    script.Expect("serial.write 79 22 33 44 02 55 66 01 02 A7 FE");
    m_manager->SendFrame(frame);
}

}  // namespace
