"""The serial link and the command table, byte by byte."""

import unittest

import runner
from runner import AtOnce
from setlib import NEVER, Set
from zelfac import READY_FRAME, empty, frame, result, status

ACKNOWLEDGED = [0x1287, 0x1289, 0x128B, 0x128C, 0x1290, 0x1291]
ANSWERED_EMPTY = [0x1277, 0x127D, 0x127F, 0x1280]
DROPPED = [0x1276, 0x127C, 0x127E, *range(0x12A8, 0x12AB), *range(0x12AC, 0x12B3), *range(0x12B5, 0x12B9)]
OUTSIDE = [0x0000, 0x1272, 0x12BB, 0xF0F0, 0xFFFF]
CRC_QUERIES = [0x1282, 0x1284, 0x1286, 0x12A3, 0x12A4, 0x12B4, 0x12BA]
CHUNKS = [0x1281, 0x1283, 0x1285, 0x12A1, 0x12A2, 0x12A7, 0x12B3, 0x12B9]


class Receiver:
    """What a receiver of the protocol delivers, damage or not."""

    def __init__(self):
        self.open = b""

    def commands(self, data):
        """Ids of the frames that `data` completes."""
        found = []
        for at in range(len(data)):
            self.open += data[at : at + 1]
            if self.open[0] != 0x79:
                self.open = b""
            if len(self.open) < 5:
                continue
            length = self.open[4]
            if length > 64 or (len(self.open) >= length + 9 and self.open[length + 8] != 0xFE):
                start = self.open.find(b"\x79", 1)
                self.open = self.open[start:] if start > 0 else b""
            elif len(self.open) >= length + 9:
                if sum(self.open[1 : length + 8]) % 256 == 0:
                    found.append(self.open[2] << 8 | self.open[3])
                self.open = b""
        return found


class ReadyFrames(AtOnce):
    def test_until_connect_and_never_after(self):
        with Set() as tv:
            tv.line.await_bytes(READY_FRAME * 2)
            tv.line.connect()
            self.assertEqual(tv.line.receive(5), b"")


class Commands(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tv = cls.enterClassContext(Set())
        cls.tv.await_started()

    def ask(self, command, payload=b"", **options):
        return self.tv.line.ask(command, payload, **options)

    def test_0_nothing_is_answered_before_connect(self):
        fitting = {0x1278: b"00:11:22:33:44:55", 0x1288: b"HDMI1", 0x129C: b"USB1", 0x129D: b"MAC=00:11:22:33:44:55"}
        fitting |= {0x129E: b"SN", 0x129F: b"\x14", 0x12A5: b"ASPECT=4_3"}
        # All that is answered once the line has connected, but for the command that would end the link.
        requests = [command for command in range(0x1274, 0x12BB) if command != 0x1299]
        burst = b"".join(frame(command, fitting.get(command, b"RED_ON")) for command in requests)
        self.tv.line.send(burst)
        heard = self.tv.line.receive(2).replace(READY_FRAME, b"")
        self.assertEqual(heard, b"")
        self.assertEqual(self.tv.trace(who="model", key="tovix.sl2.system.ctrl.led.gpio", call="set"), [])

    def test_1_connect_is_answered_every_time(self):
        for payload in (b"", b"x", b"x" * 64):
            self.assertEqual(self.ask(0x1273, payload), status(0x1273, 0))

    def burst(self, requests, expected):
        """One burst of requests, and everything that is answered, in order."""
        wanted = b"".join(expected)
        self.tv.line.send(b"".join(requests))
        heard = self.tv.line.receive(NEVER, lambda data: len(data) >= len(wanted))
        self.assertEqual(heard.hex(), wanted.hex())
        self.assertEqual(self.tv.line.receive(0.3), b"")

    def test_2_acknowledged(self):
        commands = [frame(command, payload) for command in ACKNOWLEDGED for payload in (b"", b"any")]
        self.burst(commands, [status(command, 0) for command in ACKNOWLEDGED for _ in range(2)])

    def test_2_answered_empty_and_not_supported(self):
        self.burst(
            [frame(command) for command in ANSWERED_EMPTY] + [frame(0x127A)],
            [empty(command) for command in ANSWERED_EMPTY] + [status(0x127A, 1)],
        )

    def test_2_dropped(self):
        requests = [frame(command, payload) for command in DROPPED + OUTSIDE for payload in (b"", b"text")]
        # Payloads that do not fit: too short, too long, out of range.
        requests += [frame(0x1274), frame(0x1298), frame(0x129C), frame(0x129D), frame(0x129E), frame(0x129F)]
        requests += [frame(0x1278, b"0" * 16), frame(0x1278, b"0" * 18), frame(0x129F, b"\x65"), frame(0x129F, b"\1\1")]
        self.burst(requests + [frame(0x1290)], [status(0x1290, 0)])

    def test_2_unknown_texts_fail(self):
        requests = [(0x12A0, b"RED_ON "), (0x12A0, b""), (0x12A5, b"PANEL"), (0x12A5, b"ETHPING=1.2.3.")]
        requests += [(0x129D, b"MAC"), (0x129C, b"USB1")] + [(command, b"") for command in CHUNKS]
        self.burst([frame(*request) for request in requests], [status(command, 1) for command, _ in requests])

    def test_2_crc_queries_begin_at_zero(self):
        self.burst([frame(command) for command in CRC_QUERIES], [result(command, bytes(4)) for command in CRC_QUERIES])

    def test_3_records(self):
        self.assertEqual(self.ask(0x1275), empty(0x1275))
        serial = b"PCB-" + b"7" * 60
        self.assertEqual(self.ask(0x1274, serial), status(0x1274, 0))
        self.assertEqual(self.ask(0x1275), result(0x1275, serial))
        self.assertEqual(self.tv.cat("/var/local/ZelPcbSn"), serial)
        self.assertEqual(self.ask(0x1274, b"AB12"), status(0x1274, 0))
        self.assertEqual(self.tv.cat("/var/local/ZelPcbSn"), b"AB12")
        self.assertEqual(self.ask(0x1298, b"PASS 1"), status(0x1298, 0))
        self.assertEqual(self.tv.cat("/var/local/ZelTestResult"), b"PASS 1")

    def test_3_addresses(self):
        for command, payload in ((0x1278, b"00:11:22:33:44:55"), (0x129D, b"MAC=66:55:44:33:22:11")):
            self.assertEqual(self.ask(command, payload), status(command, 0))
            mac = payload[-17:]
            self.assertEqual(self.ask(0x1279), result(0x1279, mac))
            self.assertEqual(self.ask(0x129E, b"MAC"), result(0x129E, mac))
            self.assertEqual(self.tv.flash.get("macaddr").encode(), mac)
        wifi = self.tv.model.text("tovix.sl2.str.network.mac-address-wifi").encode()
        self.assertEqual(self.ask(0x127B), result(0x127B, wifi))
        self.assertEqual(self.ask(0x129E, b"WIFIMAC"), result(0x129E, wifi))

    def test_3_picture_sound_and_led(self):
        tv = self.tv
        for command, value in ((0x128E, 0), (0x128D, 100)):
            self.assertEqual(self.ask(command), status(command, 0))
            self.assertEqual(self.ask(0x1295), result(0x1295, bytes([value])))
        self.assertEqual(self.ask(0x128F, answers=2), status(0x128F, 0) * 2)
        for volume in (0, 100, 37):
            self.assertEqual(self.ask(0x129F, bytes([volume])), status(0x129F, 0))
            self.assertEqual(tv.model.get("tovix.sl2.i32.sound.main.volume"), volume)
        for text, value in ((b"RED_ON", 0), (b"RED_OFF", 1), (b"GREEN_OFF", 0), (b"GREEN_ON", 1)):
            self.assertEqual(self.ask(0x12A0, text), status(0x12A0, 0))
            self.assertEqual(tv.model.get("tovix.sl2.system.ctrl.led.gpio"), value)
        for text, value in ((b"ASPECT=4_3", 1), (b"ASPECT=FULL", 2), (b"ASPECT=16_9", 0)):
            self.assertEqual(self.ask(0x12A5, text), status(0x12A5, 0))
            self.assertEqual(tv.model.get("tovix.sl2.i32.video.format"), value)

    def test_3_panel(self):
        def levels():
            return self.tv.model.get("tovix.sl2.action.system.gpio").get("pins", {})

        for text, pin, level in (
            (b"PANEL_VCC_OFF", "45", "0"),
            (b"PANEL_BL_OFF", "7", "0"),
            (b"PANEL_VCC_ON", "45", "1"),
            (b"PANEL_BL_ON", "7", "1"),
        ):
            others = {name: value for name, value in levels().items() if name != pin}
            self.assertEqual(self.ask(0x12A5, text), status(0x12A5, 0))
            self.assertEqual(levels(), others | {pin: level})

    def test_3_versions_and_times(self):
        version = self.tv.model.text("tovix.sl2.str.qorfactory.software.version")
        self.assertEqual(self.ask(0x1297), result(0x1297, version.split(".", 1)[1].encode()))
        for command in (0x1296, 0x12AB):
            for text, sent in ((b"300", b"\x2c\x01\0\0"), (b"0", b"\x0a\0\0\0"), (b"1234abc", b"\xd2\x04\0\0")):
                self.tv.put(text, "/var/tvservice/tvRunningTime")
                self.assertEqual(self.ask(command), result(command, sent))
        self.tv.rm("/var/tvservice/tvRunningTime")
        self.assertEqual(self.ask(0x1296), result(0x1296, b"\x0a\0\0\0"))

    def test_3_named_queries(self):
        for name in (b"SN", b"DEVICEID", b"TVID", b"UL", b"OTHER"):
            self.assertEqual(self.ask(0x129E, name), result(0x129E, b"xxx"))
        self.assertEqual(self.ask(0x129E, b"ESN"), result(0x129E, b"\x01"))
        self.tv.put(b"E" * 60, "/certificate/netflix50/ESNID")
        self.assertEqual(self.ask(0x129E, b"ESN"), result(0x129E, b"E" * 43))

    def test_3_failing_model_calls(self):
        led = "tovix.sl2.system.ctrl.led.gpio"
        for step in ("proxy", "interface", "root", "connect", "operate"):
            key = led if step in ("connect", "operate") else "*"
            self.tv.model.fail(key, step, 7)
            self.assertEqual(self.ask(0x12A0, b"RED_ON"), status(0x12A0, 1), step)
            self.tv.model.fail(key, step, 0)
            self.assertEqual(self.ask(0x12A0, b"RED_ON"), status(0x12A0, 0), step)

    def test_4_damage_on_the_line(self):
        """What is lost with the damage, and nothing else: a receiver of its own says which frames get through."""
        good = frame(0x1290)
        receiver = Receiver()
        for noise in (b"\x79", b"y" * 80, bytes(range(256)), b"\xfe\x79\x00\x12", good[:-1] + b"\x00", good[:4]):
            data = noise + frame(0x1289) + frame(0x1289) + good * 12
            expected = [status(command, 0) for command in receiver.commands(data)]
            with self.subTest(noise=noise.hex()):
                self.assertGreater(len(expected), 1)
                self.burst([data], expected)

    def test_5_a_long_burst(self):
        """More bytes than 16 bits count, in one burst, with a command at its end."""
        self.tv.disturb(baud=0)
        self.tv.line.send(bytes(70000) + frame(0x1290))
        self.assertEqual(self.tv.line.receive(NEVER, lambda data: len(data) >= 10), status(0x1290, 0))
        self.tv.line.send(bytes(307200 + 100) + frame(0x1291))
        self.assertEqual(self.tv.line.receive(NEVER, lambda data: len(data) >= 10), status(0x1291, 0))
        self.tv.disturb(baud=115200)


class Leaving(AtOnce):
    def test_leaving_factory_mode_ends_the_link_and_the_application(self):
        with Set() as tv:
            tv.line.connect()
            tv.await_started()
            self.assertEqual(tv.line.ask(0x1299, seconds=2), b"")
            self.assertEqual(tv.line.ask(0x1273, seconds=2), b"")
            # The screen's loop looks at the run mode after its pause of 10 s (40 s after a redraw).
            self.assertEqual(tv.await_end(), 0)
            output = tv.output()
            self.assertIn("Cus Uart1 Debug Exit!", output)
            self.assertIn("pthread_join(m_ZelUartCommandThreadId, &thread_result): Resource deadlock avoided", output)
            self.assertIn("m_ZelUartCommandThreadId join failed", output)
            self.assertTrue(output.rstrip().endswith("==========zel test end=========="), output[-200:])


if __name__ == "__main__":
    runner.main()
