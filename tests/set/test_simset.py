"""What simset refuses, and what it survives."""

import os
import pathlib
import shutil
import signal
import tempfile
import threading

import runner
from runner import AtOnce
from setlib import NEVER, Set, run
from zelfac import programs


class Files(AtOnce):
    def test_what_the_set_is_built_on_is_not_removed(self):
        with Set() as tv:
            tv.put(b"x", "/var/local/folder/file")
            tv.put(b"x", "/own/file")
            before = {folder: tv.ls(folder) for folder in ("/", "/bin/", "/dev", "/var/local", "/config/font")}
            for path in (
                "/", "//", "/.", "/bin", "/usr", "/dev", "/dev/", "/dev/ttyS0", "/proc", "/var", "/var/local", "/zodata",
                "/config/../bin", "/var/local/.", "/var/local/..", "/proc/self/root", "/simset", "/tmp", "/mnt/usb",
            ):
                done = tv.ctl("rm", path, check=False)
                self.assertEqual(done.returncode, 1, path)
                self.assertNotEqual(done.stderr, b"", path)
                self.assertEqual({folder: tv.ls(folder) for folder in before}, before, path)
            tv.rm("/var/local/folder")
            tv.rm("/own/")
            self.assertNotIn("folder", tv.ls("/var/local"))
            self.assertNotIn("own", tv.ls("/"))


# An application that starts DirectFB, and in which another thread then writes to address 0. Python's fault handler
# stands for a sanitizer's: it was there before.
FAULTY = """#!/usr/bin/python3
import ctypes, faulthandler, os, sys, threading
if "again" not in sys.argv:
    os.environ["LD_PRELOAD"] += ":libdirectfb-1.7.so.7"
    os.execv(sys.executable, [sys.executable, sys.argv[0], "again"])
faulthandler.enable()
assert ctypes.CDLL(None).DirectFBInit(None, None) == 0
thread = threading.Thread(target=lambda: ctypes.memset(0, 0, 1), daemon=True)
thread.start()
thread.join(20)
os._exit(0)
"""


class Faults(AtOnce):
    def test_a_fault_of_the_application_ends_it(self):
        with Set() as held:
            held.stop()
            application = held.folder / "faulty"
            application.write_text(FAULTY)
            application.chmod(0o755)
            with Set(app=application, state=held.state) as tv:
                self.assertEqual(tv.await_end(), 128 + signal.SIGSEGV)
                said = tv.output("err")
                self.assertIn("Fatal Python error: Segmentation fault", said)


class Panel(AtOnce):
    def test_a_lost_x_server_is_named(self):
        with Set(panel="640x480") as tv:
            tv.line.connect()
            children = pathlib.Path(f"/proc/{tv.process.pid}/task/{tv.process.pid}/children").read_text().split()
            servers = [pid for pid in children if pathlib.Path(f"/proc/{pid}/comm").read_text().strip() == "Xvfb"]
            self.assertEqual(len(servers), 1)
            os.kill(int(servers[0]), signal.SIGKILL)
            self.assertEqual(tv.await_end(), 5)
            self.assertIn("X server has ended", tv.errors())

    def test_a_set_is_not_made_without_the_font(self):
        """The machine's font is hidden in a namespace of its own."""
        with tempfile.TemporaryDirectory() as folder:
            simset = [programs.find("simset"), "run", "--state", folder + "/state", "--panel", "none"]
            script = ["sh", "-c", 'mount -t tmpfs none /usr/share/fonts && exec "$0" "$@"']
            done = run("unshare", "--map-root-user", "--mount", *script, *simset)
            self.assertEqual(done.returncode, 6, done.stderr)
            self.assertIn("fonts-dejavu-core", done.stderr)
            with Set(state=folder + "/state") as tv:
                self.assertIn("DejaVuSans.ttf", tv.ls("/config/font"))


class Arguments(AtOnce):
    def test_what_is_refused_has_no_effect(self):
        with Set() as tv:
            done = tv.ctl("am", "--bogus", check=False)
            self.assertEqual(done.returncode, 1)
            self.assertIn(b"usage: am", done.stderr)
            self.assertEqual(tv.ctl("usb", "plug", tv.folder, check=False).returncode, 1)
            self.assertEqual(list((tv.state / "usb").iterdir()), [])

    def test_the_help_lists_every_verb(self):
        said = run("simset", "ctl", "--help").stdout
        for verb in ("apm fail", "execute", "behave", "line --unplug|--plug", "reboot", "am LINE", "power-cut"):
            self.assertIn(verb, said)


class Line(AtOnce):
    def test_the_link_does_not_outlive_the_line(self):
        with Set() as tv:
            link = tv.state / "line"
            self.assertEqual(link.resolve(), pathlib.Path(tv.ready["line"]))
            tv.line.close()
            tv.process.kill()
            tv.await_end()
            terminals = []
            try:
                # Until somebody has the terminal that was the set's.
                while not pathlib.Path(tv.ready["line"]).exists():
                    terminals.extend(os.openpty())
                self.assertTrue(link.is_symlink())
                self.assertFalse(link.exists())
                done = run("zelline", "--port", link, "connect")
                self.assertEqual(done.returncode, 4)
                self.assertIn(str(link), done.stderr)
            finally:
                for terminal in terminals:
                    os.close(terminal)


class Power(AtOnce):
    def test_reboots_at_once_are_carried_out(self):
        with Set() as tv:
            ended = []

            def ask():
                ended.append(tv.ctl("reboot", check=False).returncode)

            asking = [threading.Thread(target=ask) for _ in range(4)]
            for thread in asking:
                thread.start()
            for thread in asking:
                thread.join(NEVER)
            self.assertEqual(ended, [0] * 4)
            self.assertEqual(tv.flash.get("ZelFacMode"), "1")
            tv.process.send_signal(signal.SIGTERM)
            self.assertEqual(tv.await_end(), 0)

    def test_a_reboot_without_an_application_ends_the_set(self):
        with Set() as held:
            application = held.folder / "application"
            shutil.copy(programs.find("ZelFacTest_Eu4K"), application)
            held.stop()
            with Set(app=application, state=held.state) as tv:
                application.unlink()
                done = tv.ctl("reboot", check=False)
                self.assertEqual(done.returncode, 1)
                self.assertIn(b"went off", done.stderr)
                self.assertNotEqual(tv.await_end(), 0)
                self.assertIn("application", tv.errors())


if __name__ == "__main__":
    runner.main()
