"""The power fails in the middle of an update: at every step of it in turn in the campaign, at some of them otherwise.

A step is whatever can change something that outlives the power: a shell command (it has not begun then), a mount, a
write (it is done) or a sync (nothing has been saved by it). The address of a set is stored before the range file is
moved on, so a cut between the two leaves an address that the set has and the stick still offers. It is never given
to two sets, because the update has not ended: the set takes the same one again when it is switched on with its stick.
"""

import threading

import runner
import setlib
from runner import AtOnce, cases
from setlib import Set
from sticks import Folder, Update, crc, full_stick, in_parallel, installed, key_content
from zelfac import Control, frame, status
from zelfac.sticks import CUSTOMER, FILES, write

KILLED = 128 + 9
STRIDE = 1 if setlib.campaign() else 9
TAKEN = ["config", "hdcp1", "ciplus", "mac"]  # one of each sort; the other keys repeat these steps
FIRST, SECOND = "00-11-22-33-44-01", "00-11-22-33-44-02"
KEY_FILES = {crc(key_content(name, number)) for name in ("hdcp1", "ciplus") for number in (1, 2)}


def make_stick(root):
    stick = full_stick(root, TAKEN, addresses=f"{FIRST}--00-11-22-33-44-09\r\n")
    for name in ("hdcp1", "ciplus"):
        write(stick / CUSTOMER / FILES[name].replace("_1.bin", "_2.bin"), key_content(name, 2))
    return stick


def make_oem_stick(root):
    write(root / "OEM_data" / "logo.bin", "logo")
    return root


def is_step(row):
    if row["who"] in ("violation", "ctl") or row.get("call") == "umount":
        return False
    return row["who"] in ("shell", "mount") or row.get("call") in ("set", "write", "invoke", "createAccessRouteFile")


def missing_keys(stick):
    """Checksums of the key files that are gone from a stick."""
    return KEY_FILES - {crc(content) for path, content in stick.items() if "/HDCP14KEY/" in path or "/CI+/" in path}


def offered(stick):
    """The address that a stick offers next."""
    return stick[f"{CUSTOMER}/MAC/mac.txt"].decode()[:17]


class PowerCut(AtOnce):
    def cut_at(self, folder, stick, step):
        """Cuts the power at that step of a start. Returns the rows of that start, None when it ended before."""
        cut = Update(stick, state=folder / "state", options=["--power-cut-after", str(step)], wait=False)
        with cut as tv:
            told = " m_secondUpdateStatus:"
            tv.await_true(lambda: tv.process.poll() is not None or told in tv.output(), "either end")
            if tv.process.poll() is None:
                return None
            self.assertEqual(tv.await_end(), KILLED)
        return tv.trace_file(tv.before)

    def check_before_next_start(self, state):
        """What has to hold at once, while the application has not run again. Returns the installed keys."""
        tv = Control(state)
        stick, keys = tv.read_stick(), set(installed(tv).values())
        self.assertLessEqual(missing_keys(stick), keys, "a key file is gone that no set has")
        self.assertIn(offered(stick), (FIRST, SECOND))
        if offered(stick) == SECOND:
            self.assertEqual([tv.flash.get("macaddr"), tv.meta.get(8)], [FIRST, FIRST])
        return keys

    def check_next_start(self, state, keys):
        with Update(state=state) as tv:
            self.assertEqual(tv.outcome(), (1, ""))
            stick, address = tv.read_stick(), tv.meta.get(8)
            self.assertEqual(tv.flash.get("macaddr"), address)
            self.assertEqual(int(offered(stick)[-2:]), int(address[-2:]) + 1)
            self.assertLessEqual(missing_keys(stick), keys | set(installed(tv).values()))
            self.assertEqual(tv.configuration()["brand"], "ACME")

    def sweep(self, make, first, check):
        """Cuts at steps from `first` on until an update ends before its cut; returns what was cut."""
        last, seen, lock = [], {}, threading.Lock()

        def run(step):
            if last:
                return
            with Folder() as folder:
                rows = self.cut_at(folder, make(folder / "stick"), step)
                if rows is None:
                    last.append(step)
                    return
                with lock:
                    seen[step] = [row for row in rows if is_step(row)][-1]
                check(folder / "state")

        failed = in_parallel(range(first, first + 120, STRIDE), run, 6)
        self.assertEqual([(step, str(error)) for step, error in sorted(failed, key=lambda pair: pair[0])], [])
        self.assertTrue(last, "no update came to its end")
        self.assertTrue(seen, "nothing was cut")
        return seen

    def first_step(self, make, command):
        """A step shortly before that command: syncs are steps as well and leave no rows."""
        with Folder() as folder, Update(make(folder / "stick")) as tv:
            tv.outcome()
            rows = tv.trace()
        begin = next(index for index, row in enumerate(rows) if row.get("command") == command)
        return sum(1 for row in rows[:begin] if is_step(row))

    def test_the_steps_of_an_import(self):
        first = self.first_step(make_stick, "echo ForceFreerun=TRUE > /proc/utopia_mdb/xc")

        def check(state):
            self.check_next_start(state, self.check_before_next_start(state))

        seen = self.sweep(make_stick, first, check)
        if STRIDE > 1:
            return
        # All that matters was cut: each write of a key, its removal, both places of the address, the range file.
        rows = list(seen.values())
        self.assertLessEqual({5, 3}, {row["key"] for row in rows if row["who"] == "keys" and row["call"] == "write"})
        self.assertEqual(len({row["command"] for row in rows if "rm -rf" in row.get("command", "")}), 2)
        self.assertIn("macaddr", {row.get("name") for row in rows})
        stored = [step for step, row in seen.items() if row.get("item") == 8]
        self.assertGreaterEqual(len(stored), 2, "the write of the address, and the sync of the range file after it")

    def test_the_steps_of_the_supervisors_part(self):
        first = self.first_step(make_oem_stick, "touch /var/run/.superwatch13")

        def check(state):
            with Update(state=state) as tv:
                self.assertEqual(tv.outcome(), (1, ""))
                self.assertEqual(list(tv.read_stick().values()), [b"logo"])

        seen = self.sweep(make_oem_stick, first, check)
        if STRIDE == 1:
            self.assertIn("echo 13 > /var/run/superwatch", {row.get("command") for row in seen.values()})

    @cases([1, 2, 7, 16])
    def test_an_early_step_leaves_a_set_that_comes_up(self, step):
        with Folder() as folder:
            self.assertIsNotNone(self.cut_at(folder, make_stick(folder / "stick"), step))
            self.check_next_start(folder / "state", set())


class SecondSet(AtOnce):
    """An update out of aging is cut between the address and the range file, and the stick goes on its way."""

    def cut_behind_the_address(self, folder):
        """The state of the set, which has the address that its stick still offers."""
        with Folder() as dry, Update(make_stick(dry / "stick"), mode="2") as tv:
            tv.outcome()
            rows = tv.trace()
        wanted = next(index for index, row in enumerate(rows) if row.get("item") == 8 and row["call"] == "write")
        wanted = sum(1 for row in rows[: wanted + 1] if is_step(row))
        step = wanted
        while True:  # syncs are steps as well, and one that is cut leaves no row
            state = folder / f"cut{step}"
            stick = make_stick(folder / f"stick{step}")
            options = ["--power-cut-after", str(step)]
            with Update(stick, state=state, mode="2", options=options, wait=False) as tv:
                self.assertEqual(tv.await_end(), KILLED)
                rows = tv.trace_file(tv.before)
            done = sum(1 for row in rows if is_step(row))
            if done >= wanted:
                self.assertEqual([row.get("item") for row in rows if row["who"] != "power"][-1], 8)
                return state
            step += wanted - done

    def pull_stick(self, state, target):
        tv = Control(state)
        self.assertEqual(tv.flash.get("macaddr"), FIRST)
        self.assertEqual(tv.flash.get("ZelFacMode"), "0", "the next start is a normal one")
        self.assertEqual(offered(tv.read_stick()), FIRST)
        tv.copy_stick(target)
        return target

    def test_a_stick_that_goes_on_at_once_gives_its_address_twice(self):
        with Folder() as folder:
            stick = self.pull_stick(self.cut_behind_the_address(folder), folder / "pulled")
            with Update(stick) as second:
                self.assertEqual(second.outcome(), (1, ""))
                self.assertEqual(second.meta.get(8), FIRST)

    def test_a_stick_that_comes_back_first_does_not(self):
        with Folder() as folder:
            state = self.cut_behind_the_address(folder)
            self.pull_stick(state, folder / "pulled")
            Control(state).flash.set("ZelFacMode", "3")
            with Update(state=state) as first:
                self.assertEqual(first.outcome(), (1, ""))
                self.assertEqual(first.meta.get(8), FIRST)
                first.copy_stick(folder / "moved on")
            with Update(folder / "moved on") as second:
                self.assertEqual(second.outcome(), (1, ""))
                self.assertEqual(second.meta.get(8), SECOND)


class ByHand(AtOnce):
    def test_the_next_step_after_ctl_asked_for_it(self):
        with Set() as tv:
            tv.line.connect()
            self.assertEqual(tv.line.ask(0x1274, b"KEPT"), status(0x1274, 0))
            # Whatever the start still has to do would be the next step.
            tv.await_started()
            tv.await_output("pthread_exit ZelWifiScanThread")
            self.assertIn(b"--after N", tv.ctl("power-cut", "--after", "x", check=False).stderr)
            tv.power_cut(1)
            tv.power_cut(0)  # taken back
            self.assertEqual(tv.line.ask(0x1274, b"KEPT"), status(0x1274, 0))
            tv.power_cut(1)
            tv.line.send(frame(0x1274, b"LOST"))
            self.assertEqual(tv.await_end(), KILLED)
            tv.stop()
            tv.start()
            self.assertEqual(tv.cat("/var/local/ZelPcbSn"), b"KEPT")


if __name__ == "__main__":
    runner.main()
