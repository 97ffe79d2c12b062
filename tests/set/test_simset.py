"""What simset refuses, and what it survives."""

import runner
from runner import AtOnce
from setlib import Set


class Files(AtOnce):
    def test_what_the_set_is_built_on_is_not_removed(self):
        with Set("--mode", "none") as tv:
            (tv.folder / "file").write_bytes(b"x")
            tv.ctl("put", tv.folder / "file", "/var/local/folder/file")
            tv.ctl("put", tv.folder / "file", "/own/file")
            before = {folder: tv.text("ls", folder) for folder in ("/", "/bin/", "/dev", "/var/local", "/config/font")}
            for path in (
                "/", "//", "/.", "/bin", "/usr", "/dev", "/dev/", "/dev/ttyS0", "/proc", "/var", "/var/local", "/zodata",
                "/config/../bin", "/var/local/.", "/var/local/..", "/proc/self/root", "/simset", "/tmp", "/mnt/usb",
            ):
                done = tv.ctl("rm", path, check=False)
                self.assertEqual(done.returncode, 1, path)
                self.assertNotEqual(done.stderr, b"", path)
                self.assertEqual({folder: tv.text("ls", folder) for folder in before}, before, path)
            tv.ctl("rm", "/var/local/folder")
            tv.ctl("rm", "/own/")
            self.assertNotIn("folder", tv.text("ls", "/var/local").split())
            self.assertNotIn("own", tv.text("ls", "/").split())


if __name__ == "__main__":
    runner.main()
