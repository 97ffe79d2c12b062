// What goes onto the wire, byte for byte.
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
