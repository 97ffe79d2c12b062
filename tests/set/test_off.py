"""A set that is off: what `simset ctl` sees and changes in its folder, and that it holds when the set goes on."""

import os
import pathlib
import signal
import tempfile
import threading

import runner
from runner import AtOnce
from setlib import NEVER, Set, run
from sticks import LED, Folder, Update, full_stick, installed
from zelfac import Control, ControlFailed, matching, result

VOLUME = "tovix.sl2.i32.sound.main.volume"
MESSAGE = "tovix.sl2.messages.messageid"
ADDRESS = "tovix.sl2.str.network.ip-address"
BACKLIGHT = "tovix.sl2.i32.video.backlight"


class Arranged(AtOnce):
    def test_what_is_changed_holds_when_the_set_goes_on(self):
        with Folder() as folder:
            tv = Control(folder / "state")
            made = tv.ctl("behave", "supervisor", "wrong")
            self.assertIn(b"factory-new set now, and off", made.stderr)
            self.assertEqual(tv.ctl("behave", "wired", "off").stderr, b"")
            tv.model.set(BACKLIGHT, 33)
            tv.model.set(ADDRESS, "10.0.0.9")
            tv.model.fail(LED, "connect", 7, times=1)
            tv.keys.fail("hdcp1", "write", 5)
            tv.flash.set("brand", "ACME")
            tv.meta.set(6, "model nine")
            tv.put(b"ARRANGED", "/var/local/ZelPcbSn")
            tv.put(b"note", "/certificate/a/b")
            tv.rm("/var/tvservice/tvRunningTime")
            self.assertEqual(tv.plug(full_stick(folder / "stick", ["mac"]), "sdx1"), "vu_sdx1")
            with Set(state=tv.state, mode="1") as on:
                self.assertEqual(on.behaviours()["supervisor"], "wrong")
                self.assertEqual(on.behaviours()["wired"], "off")
                self.assertEqual(on.model.list(BACKLIGHT), {BACKLIGHT: 33})
                self.assertEqual(on.keys.failures(), '[{"name":"5","status":5,"step":"write"}]')
                self.assertEqual(on.flash.list()["brand"], "ACME")
                self.assertEqual(on.meta.get(6), "model nine")
                self.assertEqual(on.cat("/certificate/a/b"), b"note")
                self.assertEqual((on.ls("/config/font"), on.ls("/var/tvservice")), (["DejaVuSans.ttf"], []))
                self.assertEqual([stick["name"] for stick in on.plugged()], ["vu_sdx1"])
                self.assertIn("/mnt/usb/sdx1", on.mounts())
                on.await_started()
                on.line.connect()
                self.assertEqual(on.line.ask(0x1275), result(0x1275, b"ARRANGED"))
                self.assertEqual([on.line.order(0x12A0, b"RED_ON") for _ in range(2)], [False, True])

    def test_what_it_forgets_without_power_is_refused(self):
        with Folder() as folder:
            tv = Control(folder / "state")
            tv.flash.set("brand", "x")
            with self.assertRaisesRegex(ControlFailed, f"off, and forgets {MESSAGE} without power"):
                tv.model.set(MESSAGE, 5)

    def test_what_wants_a_set_that_is_on(self):
        with Folder() as folder:
            tv = Control(folder / "state")
            verbs = (("press", 70), ("mounts",), ("mounts", "--unsynced"), ("reboot",), ("power-cut",), ("line",), ("am", "x"),
                     ("line", "--unplug"), ("screenshot", "x.png"), ("services", "down"), ("apm", "request", "requestStop"),
                     ("wait", "who=x"), ("model", "notify", VOLUME, "state", 1))
            for there in (False, True):
                for verb in verbs:
                    done = tv.ctl(*verb, check=False)
                    self.assertEqual((done.returncode, done.stdout), (1, b""), verb)
                    expected = f'the set is off, and "{verb[0]}" wants one that is on' if there else "there is no set in "
                    self.assertIn(expected, done.stderr.decode(), verb)
                    self.assertEqual(tv.state.exists(), there, verb)
                tv.flash.set("brand", "x")

    def test_a_folder_without_a_set_stays_so_when_it_is_only_looked_at(self):
        with tempfile.TemporaryDirectory() as folder:
            for verb in (("trace",), ("model", "get", VOLUME), ("ls", "/"), ("nonsense",), ("behave", "wired"), ("usb", "list")):
                done = run("simset", "ctl", "--state", folder, *verb)
                self.assertEqual((done.returncode, done.stdout), (1, ""), verb)
            self.assertIn("there is no set in " + folder, done.stderr)
            self.assertEqual(os.listdir(folder), [])


class Kept(AtOnce):
    """What a set left behind."""

    def test_files_keys_and_sticks(self):
        with Folder() as folder:
            stick = full_stick(folder / "stick", ["hdcp1"])
            with Update(stick, state=folder / "state") as tv:
                self.assertEqual(tv.outcome()[0], 1)
                keys = installed(tv)
                left = tv.read_stick()
                names = tv.ls("/var/local")
            off = Control(folder / "state")
            self.assertEqual(installed(off), keys)
            self.assertEqual(off.read_stick(), left)
            self.assertEqual(off.ls("/var/local"), names)
            self.assertEqual(off.cat("/var/tvservice/tvRunningTime"), b"4211")
            off.keys.clear()
            self.assertEqual(off.keys.list(), [])
            off.unplug()
            self.assertEqual(off.plugged(), [])
            self.assertEqual(off.read_stick(), left)

    def test_only_what_is_below_a_kept_folder_is_changed(self):
        """Links lead to nothing outside of the set."""
        with Folder() as folder:
            outside = folder / "outside"
            outside.mkdir()
            off = Control(folder / "state")
            off.put(b"x", "/config/own/file")
            kept = off.state / "partitions"
            (kept / "config/out").symlink_to(outside)
            (kept / "config/up").symlink_to("../..")
            (kept / "config/top").symlink_to("/")
            (kept / "config/in").symlink_to("/certificate")
            before = sorted(os.listdir(kept))
            for path in ("/", "/config", "/config/", "/config/.", "/config/..", "/zodata", "/etc/x", "/var/run/x", "/x", "relative", "",
                         "/config/top/config", "/config/up/state.db", "/config/out/x", "/config/top/x"):
                for verb in (("rm", path), ("put", "/etc/hostname", path)):
                    done = off.ctl(*verb, check=False)
                    self.assertEqual(done.returncode, 1, verb)
                    self.assertNotEqual(done.stderr, b"", verb)
            self.assertEqual((sorted(os.listdir(kept)), os.listdir(outside)), (before, []))
            self.assertTrue((off.state / "state.db").exists())
            off.put(b"through a link", "/config/in/file")
            self.assertEqual(off.cat("/certificate/file"), b"through a link")
            off.rm("/config/up")
            self.assertFalse((kept / "config/up").is_symlink())
            for path in ("/config/own", "/nothing", "/config/out/x"):
                self.assertEqual(off.ctl("cat", path, check=False).returncode, 1, path)

    def test_the_trace_and_the_rules_of_the_last_run(self):
        with Set(strict=False) as tv:
            tv.stop()
            off = Control(tv.state)
            first = off.trace()
            self.assertEqual(first, tv.trace_file())
            self.assertEqual(off.violations(), [])
            tv.app = tv.folder / "application"
            tv.app.write_text("#!/bin/sh\necho sent before the port is set up > /dev/ttyS0\nread code\n")
            tv.app.chmod(0o755)
            tv.start()
            tv.wait(who="violation", since=0)
            rules = [row["rule"] for row in tv.violations()]
            tv.reboot()
            tv.stop()
            off.flash.set("brand", "later")
            second = off.trace()
            self.assertEqual([row["seq"] for row in second], [row["seq"] for row in tv.trace_file(first[-1]["seq"])])
            self.assertEqual([row["call"] for row in matching(second, who="power")], ["on", "reboot", "on", "off"])
            self.assertEqual(second[-1]["words"], ["set", "brand", "later"])
            self.assertEqual(off.trace(since=0), [*first, *second])
            self.assertEqual(off.trace("who=power", since=second[0]["seq"]), [row for row in second if row["who"] == "power"][1:])
            self.assertEqual(off.seq(), second[-1]["seq"])
            self.assertEqual([row["rule"] for row in off.violations()][: len(rules)], rules)
            self.assertEqual(rules[0], "serial-parameters")


class OneAtATime(AtOnce):
    def test_a_set_that_starts_or_ends_is_waited_for(self):
        """Verbs and starts beside each other: none fails, and nothing is lost."""
        with Folder() as folder:
            state = folder / "state"
            Control(state).flash.set("brand", "0")
            ended, failed = threading.Event(), []

            def change():
                off, number = Control(state), 0
                while not ended.is_set():
                    number += 1
                    done = off.ctl("flash", "set", "brand", number, check=False)
                    now = off.ctl("flash", "get", "brand", check=False)
                    # A set may be ending that no longer takes anything: it says so.
                    if done.returncode == 0 and now.returncode == 0 and now.stdout != b"%d\n" % number:
                        failed.append((number, done, now))
                    if b"in use" in done.stderr:
                        failed.append((number, done))

            changing = threading.Thread(target=change)
            changing.start()
            try:
                for number in (signal.SIGTERM, signal.SIGKILL, signal.SIGTERM):
                    with Set(state=state, strict=False) as tv:
                        tv.process.send_signal(number)
                        tv.await_end()
            finally:
                ended.set()
                changing.join(NEVER)
            self.assertEqual(failed, [])

    def test_a_simset_that_does_not_answer_is_named(self):
        with Set() as tv:
            pathlib.Path(tv.state / "control").unlink()
            done = tv.ctl("flash", "get", "brand", check=False)
            self.assertEqual(done.returncode, 1)
            self.assertIn(f"in use by another simset (process {tv.process.pid}), which does not answer", done.stderr.decode())


if __name__ == "__main__":
    runner.main()
