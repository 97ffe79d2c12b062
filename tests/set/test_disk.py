"""Disks that are full, links that somebody planted, and what the shells of the application inherit."""

import os
import stat
import subprocess
import time
import zlib

import runner
from commandset import CommandSet
from keylib import STAGING, KeySet, content
from runner import AtOnce, cases
from zelfac import empty, result, status
from zelfac.keyfiles import CHUNK, CONFIG, HDCP1, NETFLIX, chunks, crc

PAGE = 4096
CLOSE_ON_EXEC = 0o2000000
# by name: the commands that write and read a record, and its file
RECORDS = {
    "serial number": (0x1274, 0x1275, "/var/local/ZelPcbSn"),
    "test result": (0x1298, None, "/var/local/ZelTestResult"),
}


class DiskSet(KeySet):
    def root(self, path):
        """A path of the set as this program sees it."""
        return f"/proc/{self.ready['pid']}/root{path}"

    def limit(self, path, pages):
        """Puts a disk of so many pages over a folder of the set."""
        user = [] if os.geteuid() == 0 else ["--user", "--preserve-credentials"]
        mount = ["mount", "-t", "tmpfs", "-o", f"size={pages * PAGE}", "tmpfs", path]
        subprocess.run(["nsenter", "-t", str(self.ready["pid"]), "--mount", *user, *mount], check=True)

    def fill(self, path):
        with open(self.root(path + "/filler"), "wb", buffering=0) as filler:
            try:
                while filler.write(bytes(PAGE)):
                    pass
            except OSError:
                pass

    def await_first_chunk(self):
        self.await_true(lambda: os.path.exists(self.root(STAGING + "/tmp_000.bin")), "the first chunk")

    def permissions(self, path):
        return stat.S_IMODE(os.stat(self.root(path)).st_mode)


class FullDisk(AtOnce):
    @cases(RECORDS)
    def test_a_record_that_is_not_stored_is_a_failure(self, case):
        write, read, path = case
        with DiskSet() as tv:
            tv.resize("/var/local", 4 * PAGE)
            tv.fill("/var/local")
            self.assertEqual(tv.disks()["/var/local"], {"size": 4 * PAGE, "used": 4 * PAGE, "free": 0})
            self.assertEqual(tv.line.ask(write, b"FIRST"), status(write, 1))
            told = [row for row in tv.trace(who="disk", call="full") if "thread" in row]
            self.assertEqual([row["path"].startswith(path) for row in told], [True] * len(told))
            self.assertTrue(told)
            if read:
                self.assertEqual(tv.line.ask(read), empty(read))
            os.unlink(tv.root("/var/local/filler"))
            self.assertEqual(tv.line.ask(write, b"FIRST"), status(write, 0))
            tv.fill("/var/local")
            self.assertEqual(tv.line.ask(write, b"SECOND"), status(write, 1))
            self.assertEqual(tv.cat(path), b"FIRST")
            self.assertEqual(set(os.listdir(tv.root("/var/local"))), {"filler", os.path.basename(path)})

    def test_a_key_that_is_not_received_whole(self):
        """The key store takes what there is, and the answer goes by that; the checksum tells."""
        data = content(HDCP1, 3 * PAGE)
        with DiskSet() as tv:
            tv.limit("/tmp", 2)
            self.assertEqual(tv.send(HDCP1, data), status(HDCP1.command, 0))
            self.assertRegex(tv.output(), r" ZelUartCmdProcessRxCmd \d+ fail\n")
            self.assertLess(tv.key(HDCP1)[0], len(data))
            self.assertNotEqual(tv.query(HDCP1), result(HDCP1.query, crc(data)))


class Sizes(AtOnce):
    def test_a_command_that_finds_no_room(self):
        with CommandSet() as tv:
            tv.run("mount -o remount,rw /serialdata")
            tv.resize("/serialdata", "8K")
            self.assertNotEqual(tv.run("busybox cp /bin/busybox /serialdata/x"), 0)
            self.assertIn("No space left on device", tv.output("err"))
            self.assertEqual(tv.disks()["/serialdata"], {"size": 2 * PAGE, "used": 2 * PAGE, "free": 0})
            row, = tv.trace(who="disk", call="full")
            self.assertEqual((row["path"], row["command"]), ("/serialdata", "busybox cp /bin/busybox /serialdata/x"))
            tv.resize("/serialdata", "default")
            self.assertEqual(tv.run("busybox cp /bin/busybox /serialdata/x"), 0)

    def test_full_takes_no_file(self):
        with CommandSet() as tv:
            tv.run("mount -o remount,rw /serialdata")
            tv.resize("/serialdata", "full")
            self.assertNotEqual(tv.run("touch /serialdata/x"), 0)
            self.assertEqual(tv.run("mount -o remount,ro /serialdata"), 0)
            self.assertIn("ro", tv.mounts()["/serialdata"])

    def test_a_size_outlives_the_power(self):
        with CommandSet() as tv:
            own = tv.disks()
            tv.put(bytes(3 * PAGE), "/serialdata/x")
            refused = tv.ctl("disk", "/serialdata", 2 * PAGE, check=False)
            self.assertEqual((refused.returncode, b"holds more" in refused.stderr), (1, True))
            self.assertEqual(tv.disks()["/serialdata"]["size"], own["/serialdata"]["size"])
            tv.resize("/serialdata", "16K")
            tv.stop()
            tv.start()
            self.assertEqual(tv.disks()["/serialdata"]["size"], 4 * PAGE)
            tv.resize("/serialdata", "default")
            tv.reboot()
            self.assertEqual(tv.disks()["/serialdata"]["size"], own["/serialdata"]["size"])
            tv.stop()
            tv.resize("/serialdata", "12K")
            self.assertEqual(tv.disks()["/serialdata"], {"size": 3 * PAGE})
            tv.start()
            self.assertEqual(tv.disks()["/serialdata"], {"size": 3 * PAGE, "used": 3 * PAGE, "free": 0})

    def test_what_holds_more_than_its_size_is_full(self):
        """What was not synced is back after a power cut, and does not fit any more."""
        with CommandSet() as tv:
            tv.put(bytes(3 * PAGE), "/serialdata/x")
            tv.run("sync")
            tv.rm("/serialdata/x")
            tv.resize("/serialdata", 2 * PAGE)
            tv.power_cut()
            tv.await_end()
            tv.stop()
            tv.start()
            self.assertIn("simset: /serialdata holds more than its size and is full with that", tv.errors())
            self.assertEqual([row["path"] for row in tv.trace(who="disk", call="too-small")], ["/serialdata"])
            self.assertEqual(tv.disks()["/serialdata"], {"size": 3 * PAGE, "used": 3 * PAGE, "free": 0})

    def test_a_stick_has_one(self):
        with CommandSet() as tv:
            (tv.folder / "stick").mkdir()
            (tv.folder / "stick/file").write_bytes(bytes(PAGE))
            tv.resize("/mnt/usb/sda1", 2 * PAGE)
            tv.plug(tv.folder / "stick")
            self.assertEqual(tv.disks()["/mnt/usb/sda1"], {"size": 2 * PAGE, "used": PAGE, "free": PAGE})
            self.assertNotEqual(tv.run("busybox cp /bin/busybox /mnt/usb/sda1/x"), 0)


class Staging(AtOnce):
    def test_a_planted_link_leads_nowhere(self):
        with DiskSet() as tv:
            tv.line.ask(0x1274, b"SN-1")
            os.chmod(tv.root("/var/local"), 0o755)
            os.symlink("/var/local", tv.root(STAGING))
            data = content(HDCP1, 640)
            tv.line.send(chunks(HDCP1, data)[0])
            tv.await_first_chunk()
            self.assertEqual(tv.permissions(STAGING), 0o700)
            self.assertEqual(tv.send(HDCP1, data), status(HDCP1.command, 0))
            self.assertEqual(tv.key(HDCP1)[0], len(data))
            self.assertEqual(tv.cat("/var/local/ZelPcbSn"), b"SN-1")
            self.assertEqual(tv.permissions("/var/local"), 0o755)

    def test_the_area_is_its_owners_transfer_after_transfer(self):
        with DiskSet() as tv:
            for _ in range(3):
                for kind in (HDCP1, NETFLIX):
                    first, *rest = chunks(kind, content(kind, 200))
                    tv.line.send(first)
                    tv.await_first_chunk()
                    self.assertEqual(tv.permissions(STAGING), 0o700)
                    self.assertEqual(tv.line.exchange(b"".join(rest)), status(kind.command, 0))
                    tv.query(kind)  # and take the next

    def test_another_file_waits_until_the_worker_has_answered(self):
        """The worker is held where it reads the assembled file, which is a pipe of this program's for that long."""
        data, other = content(HDCP1, 100), content(NETFLIX, 60)
        with DiskSet() as tv:
            assembly, pipe = (tv.root(f"{STAGING}/{name}") for name in ("tmp.bin", "pipe"))
            first, second = chunks(HDCP1, data)
            tv.line.send(first)
            tv.await_first_chunk()
            tv.await_true(lambda: os.path.getsize(assembly) == CHUNK, "the first chunk's bytes")
            os.unlink(assembly)
            os.mkfifo(assembly)
            end = os.open(assembly, os.O_RDONLY | os.O_NONBLOCK)
            tv.line.send(second)
            tv.wait(who="shell", command="rm /tmp/tmpkey/tmp_*.bin", since=0)  # the worker's first
            os.close(end)
            tv.line.send(b"".join(chunks(NETFLIX, other)))
            time.sleep(3)  # it has arrived by then, and would have emptied the area
            os.rename(assembly, pipe)
            with open(assembly, "wb") as whole:
                whole.write(data)
            os.close(os.open(pipe, os.O_WRONLY))
            answers = tv.line.exchange(b"", answers=2)
            self.assertEqual(answers, status(HDCP1.command, 0) + status(NETFLIX.command, 0))
            self.assertEqual([tv.key(kind) for kind in (HDCP1, NETFLIX)],
                             [(len(file), zlib.crc32(file)) for file in (data, other)])


class Descriptors(AtOnce):
    def test_no_shell_inherits_any(self):
        with DiskSet() as tv:
            data = content(CONFIG, 200)
            tv.line.send(chunks(CONFIG, data)[0])
            tv.await_first_chunk()
            inherited, closed = {}, set()
            for number in os.listdir(f"/proc/{tv.ready['pid']}/fdinfo"):
                with open(f"/proc/{tv.ready['pid']}/fdinfo/{number}", encoding="ascii") as told:
                    flags = next(line for line in told if line.startswith("flags:"))
                link = os.readlink(f"/proc/{tv.ready['pid']}/fd/{number}")
                if int(flags.split()[1], 8) & CLOSE_ON_EXEC:
                    closed.add(link)
                elif int(number) > 2:
                    inherited[link] = number
            # DirectFB keeps a copy of the error stream that the program was started with, as the command client does.
            self.assertEqual({link: number for link, number in inherited.items() if link not in closed}, {})


if __name__ == "__main__":
    runner.main()
