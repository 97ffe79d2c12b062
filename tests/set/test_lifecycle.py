"""How the application starts, what keys do, and how it ends."""

import json
import select
import subprocess
import unittest

import runner
from runner import AtOnce, cases
from setlib import NEVER, Set
from zelfac import READY_FRAME, BadFrame, frame, matching, programs, result, split_frames, status

KEY_REPORT = 0x1287
CONFIRMED = 0x1290
KEYS = {
    70: b"POWER", 161: b"CHUP", 162: b"VODOWN", 163: b"CHDOWN", 164: b"MENU", 166: b"VOUP", 168: b"SOURCE",
}
FLICKER = "tovix.sl2.system.ctrl.led.flicker"
REBOOT = "tovix.action.system.reboot.tv"
NO_SUCH_FILE = 182  # DirectFB's code for it, as an exit status
NO_DISPLAY = """#!/bin/sh
cp /var/local/application /tmp/ZelFacTest_Eu4K
chmod +x /tmp/ZelFacTest_Eu4K
export DISPLAY=:65000 DFBARGS=system=x11
exec /tmp/ZelFacTest_Eu4K
"""


def whole(data):
    """Whether the line's data end with a frame."""
    try:
        return bool(split_frames(data))
    except BadFrame:
        return False


def ended(**options):
    """Exit status, output, errors and trace of a set whose application ends by itself."""
    with Set(wait=False, **options) as tv:
        code = tv.await_end()
        return code, tv.output(), tv.output("err"), tv.trace_file(tv.before)


class Starts(AtOnce):
    def test_a_start_without_a_mode(self):
        code, output, _, rows = ended(mode="none")
        self.assertEqual(code, 0)
        lines = output.split("\n")
        starting = lines.index("=========ZEL_FACMODE:=========") + 1
        # No list of processes.
        self.assertEqual(lines[starting], "[**APP-DEMO][2][Starting]")
        self.assertEqual(lines[-2:], ["==========zel test end==========", ""])
        self.assertEqual([row["command"] for row in rows if row["who"] == "shell"], [])
        self.assertTrue(matching(rows, call="set", name="UARTOnOff", value="on"))

    @cases(["0", "x2"])
    def test_a_start_in_another_mode(self, text):
        code, output, _, _ = ended(arrange=[("flash", "set", "ZelFacMode", text)])
        self.assertEqual(code, 0)
        self.assertIn(f"=========ZEL_FACMODE:{text}=========\n==================ps start", output)
        self.assertIn("ps -aux | grep ZelFacTest_Eu4K", output)
        self.assertTrue(output.endswith("==========zel test end==========\n"))
        self.assertNotIn("u32Count", output)

    def test_a_start_without_an_application_manager(self):
        code, output, _, rows = ended(arrange=[("apm", "fail", "adapter", 1)])
        self.assertEqual(code, 255)
        self.assertEqual(output, "=========setRpcEnv=========\n=========NULL == s_appManagerClientAdapter=========\n")
        self.assertEqual([row for row in rows if row.get("call") == "init"], [])

    def test_a_start_without_rpc(self):
        code, output, _, _ = ended(mode="none", arrange=[("apm", "fail", "rpc", 9)])
        self.assertIn("=========setRpcEnv=========\n main 455 fail\n*********begin  init_factory_aux*********\n", output)
        self.assertEqual(code, 0)

    def test_a_start_with_failing_calls(self):
        faults = [("apm", "fail", "registerApp", 5), ("flash", "fail", "UARTOnOff", 6), ("meta", "fail", "init", 7)]
        with Set(arrange=faults) as tv:
            tv.await_started()
            tv.line.connect()  # start-up went on
            self.assertIn(" main 618 fail\n", tv.output())
            self.assertIn("=========init_factory_aux ret:7=========\n", tv.output())
            self.assertNotEqual(tv.ctl("press", 70, check=False).returncode, 0)

    def test_a_start_with_a_refused_status(self):
        with Set(arrange=[("apm", "fail", "notifyAppStatusInfo", 5)]) as tv:
            tv.await_started()
            tv.line.connect()

    @cases(["none", "1280x720"])
    def test_a_start_without_a_font(self, panel):
        code, output, errors, _ = ended(arrange=[("rm", "/config/font/DejaVuSans.ttf")], panel=panel)
        self.assertEqual(code, NO_SUCH_FILE)
        self.assertIn(
            "./src/test_adapter <542>:\n\t(#) DirectFBError "
            '[dfb->CreateFont( dfb, "/config/font/DejaVuSans.ttf", &desc, &font )]: ',
            errors,
        )
        self.assertTrue(output.endswith("am client thread start \n"), output[-200:])

    def test_a_start_without_a_display(self):
        with Set(mode="none") as tv:
            tv.put(programs.find("ZelFacTest_Eu4K"), "/var/local/application")
            tv.stop()
            script = tv.folder / "application"
            script.write_text(NO_DISPLAY)
            script.chmod(0o755)
            tv.app, tv.wait_for_line = script, False
            tv.start()
            code = tv.await_end()
            self.assertIn("./src/test_adapter <522>:\n\t(#) DirectFBError [DirectFBCreate( &dfb )]: ", tv.output("err"))
            self.assertIn(code, range(1, 256))
            self.assertNotIn(code, (128 + 11, 128 + 6))


class Keys(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.tv = cls.enterClassContext(Set())
        cls.tv.await_started()
        cls.tv.await_printed()

    def press(self, *codes):
        """What the line hears of these keys and of nothing else; a key that is always confirmed comes after them."""
        for code in (*codes, 105):
            self.tv.press(code)
        heard = []
        while not heard or heard[-1] != status(CONFIRMED, 0) or heard.count(status(CONFIRMED, 0)) <= sum(
            code in (105, 106) for code in codes
        ):
            heard += split_frames(self.tv.line.receive(NEVER, whole).replace(READY_FRAME, b""))
        return heard[:-1]

    def test_0_before_connect(self):
        tv = self.tv
        tv.line.drain()
        # Confirmed before the equipment has connected as well; reports are not.
        self.assertEqual(self.press(105, *KEYS, 106), [status(CONFIRMED, 0)] * 2)
        self.assertEqual(tv.flash.get("ZelFacMode"), "1")

    def test_1_ten_reports_of_each_key(self):
        self.tv.line.connect()
        for code, text in KEYS.items():
            self.assertEqual(self.press(code), [result(KEY_REPORT, text)])
        for code in (1, 69, 71, 104, 107, 160, 165, 167, 169, -1):
            self.assertEqual(self.press(code), [], code)
        self.assertEqual(self.press(*[161] * 10), [result(KEY_REPORT, b"CHUP")] * 9)
        self.assertEqual(self.press(161, 70), [result(KEY_REPORT, b"POWER")])
        self.assertEqual(self.press(*[106, 105] * 6), [status(CONFIRMED, 0)] * 12)
        # Asking for the report over the line is only acknowledged.
        self.assertEqual(self.tv.line.exchange(frame(KEY_REPORT)), status(KEY_REPORT, 0))

    def test_2_the_line_tool_listens(self):
        tv = self.tv
        tv.line.close()
        listener = subprocess.Popen(
            [programs.find("zelline"), "--port", tv.ready["line"], "--json", "listen"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
        )
        try:
            # It listens once it has heard a key that is always confirmed.
            while not select.select([listener.stdout], [], [], 0.5)[0]:
                tv.press(105)
            for text, code in (("MENU", 164), ("SOURCE", 168), ("MENU", 164)):
                tv.press(code)
                row = next(row for row in listener.stdout if text in row)
                self.assertEqual(json.loads(row)["v"], 1)
        finally:
            listener.terminate()
            listener.wait(NEVER)
            listener.stdout.close()

    def test_3_nothing_else_happened(self):
        self.assertEqual(self.tv.trace(who="model", key=REBOOT), [])
        self.assertEqual(self.tv.flash.get("ZelFacMode"), "1")


class PowerKey(AtOnce):
    def ended_by_the_power_key(self, *faults):
        with Set(mode="2", arrange=faults) as tv:
            tv.await_output("ZelGetFacAutoTestBurn u32Count:0")
            for code in (105, 161, 164):
                tv.press(code)
            self.assertEqual(tv.flash.get("ZelFacMode"), "2")
            self.assertEqual(tv.line.receive(0.5), b"")
            tv.press(70)
            # The set restarts into normal operation, which is no mode of ours.
            self.assertEqual(tv.await_end(), 0)
            rows, output = tv.trace_file(tv.before), tv.output()
        self.assertIn("=========ZEL_FACMODE:0=========", output)
        return output, rows

    def place(self, rows, **match):
        found = matching(rows, **match)
        self.assertTrue(found, f"no {match} in the trace")
        return rows.index(found[0])

    def check(self, *faults, failed=False):
        output, rows = self.ended_by_the_power_key(*faults)
        mode = self.place(rows, who="flash", call="set", name="ZelFacMode", value="0")
        led = self.place(rows[mode:], who="model", key=FLICKER) + mode
        restart = self.place(rows[led:], who="model", call="invoke", key=REBOOT) + led
        self.assertLess(led, restart)
        self.assertEqual(" onKeyEvent 213 fail\n" in output, failed)
        self.assertNotIn(" onKeyEvent 221 fail\n", output)

    def test_in_aging_mode(self):
        self.check()

    @cases(["operate", "connect"])
    def test_in_aging_mode_with_a_light_that_fails(self, step):
        self.check(("model", "fail", FLICKER, step, 7), failed=True)


if __name__ == "__main__":
    runner.main()
