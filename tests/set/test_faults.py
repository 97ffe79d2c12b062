"""Faults of what the board does for an application: shell commands, mounts, syncs."""

import runner
from commandset import CommandSet
from keylib import KeySet, content
from runner import AtOnce
from setlib import Set
from zelfac import status
from zelfac.keyfiles import HDCP1

KILLED = 128 + 9
MOUNT_FAILED = 32  # of mount(8)
EROFS = 30
WRITE_SERIAL = 0x1274


class ShellCommands(AtOnce):
    def test_one_that_fails_has_done_nothing(self):
        with CommandSet() as tv:
            tv.commands.fail("touch /tmp/*", 9, times=1)
            self.assertEqual((tv.run("touch /tmp/x"), tv.ls("/tmp")), (9, []))
            self.assertEqual((tv.run("touch /tmp/x"), tv.ls("/tmp")), (0, ["x"]))
            rows = tv.trace(who="shell", command="touch /tmp/x")
            self.assertEqual([row.get("fault") for row in rows], [9, None])

    def test_others_run(self):
        with CommandSet() as tv:
            tv.commands.fail("touch", 9)
            self.assertEqual(tv.run("touch /tmp/x"), 0)
            tv.commands.fail("touch", 0)
            self.assertEqual(tv.commands.failures(), "[]")

    def test_the_application_goes_on_without_what_it_did_not_get(self):
        with KeySet() as tv:
            tv.commands.fail("mv /tmp/tmpkey/tmp.bin *", 1, times=1)
            self.assertEqual(tv.send(HDCP1, content(HDCP1, 100)), status(HDCP1.command, 1))
            self.assertEqual(tv.send(HDCP1, content(HDCP1, 100)), status(HDCP1.command, 0))


class Mounts(AtOnce):
    def test_one_that_fails_leaves_the_partition_as_it_was(self):
        with CommandSet() as tv:
            tv.mount.fail("/certificate", EROFS, times=1)
            self.assertEqual(tv.run("mount -o remount,rw /certificate"), MOUNT_FAILED)
            self.assertIn("ro", tv.mounts()["/certificate"])
            row, = tv.trace(who="mount")
            self.assertEqual((row["target"], row["errno"], row["fault"]), ("/certificate", EROFS, EROFS))
            self.assertEqual(tv.run("mount -o remount,rw /certificate"), 0)
            self.assertIn("rw", tv.mounts()["/certificate"])
            self.assertEqual(tv.run("mount -o remount,rw /config"), 0)

    def test_the_applications_own_calls(self):
        with Set(arrange=[("mount", "fail", "/serial*", EROFS), ("shell", "fail", "mount*/serialdata", 1)]) as tv:
            tv.await_started()
            self.assertRegex(tv.output(), r"mount fail, mount_res:-1\n")
            self.assertIn("ro", tv.mounts()["/serialdata"])
            self.assertIn(EROFS, [row.get("fault") for row in tv.trace(who="mount", target="/serialdata")])


class Syncs(AtOnce):
    def write_and_cut(self, *faults):
        """What is left of a serial number when the power is cut after its answer."""
        with Set(strict=True) as tv:
            tv.await_started()
            tv.line.connect()
            for times in faults:
                tv.sync.fail(5, times=times)
            self.assertEqual(tv.line.ask(WRITE_SERIAL, b"KEPT"), status(WRITE_SERIAL, 0))
            told = [row["status"] for row in tv.trace(who="sync", fault=5)]
            tv.power_cut()
            self.assertEqual(tv.await_end(), KILLED)
            tv.stop()
            with CommandSet(state=tv.state) as after:
                return told, "ZelPcbSn" in after.ls("/var/local")

    def test_one_that_fails_saves_nothing(self):
        told, kept = self.write_and_cut(None)
        self.assertFalse(kept)
        self.assertTrue(told)
        self.assertEqual(set(told), {5})

    def test_the_next_saves_what_it_left(self):
        self.assertEqual(self.write_and_cut(1), ([5], True))

    def test_without_a_fault_all_is_saved(self):
        self.assertEqual(self.write_and_cut(), ([], True))


if __name__ == "__main__":
    runner.main()
