"""What `cmake --install` makes is whole: the programs run from there, with the libraries that came with them."""

import pathlib
import subprocess
import tempfile
import unittest

import runner
import setlib
from setlib import Set, result, status

BUILD = setlib.BIN.parent
PROGRAMS = ["ZelFacTest_Eu4K", "simset", "simset-sh", "zelline"]


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="zelfac-install.")
        cls.addClassCleanup(cls.folder.cleanup)
        cls.prefix = pathlib.Path(cls.folder.name)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.prefix], check=True, capture_output=True)
        setlib.SIMSET, setlib.ZELLINE = cls.prefix / "bin/simset", cls.prefix / "bin/zelline"

    def test_programs_and_documents_are_there(self):
        self.assertEqual(sorted(path.name for path in (self.prefix / "bin").iterdir()), sorted(PROGRAMS))
        documents = self.prefix / "share/doc/zelfac"
        self.assertTrue((documents / "README.md").is_file())
        self.assertTrue((documents / "docs/protocol.md").is_file())
        self.assertTrue((documents / "docs/plans/demo.toml").is_file())

    def test_no_program_looks_into_the_build(self):
        for path in [*(self.prefix / "bin").iterdir(), *(self.prefix / "lib").iterdir()]:
            found = subprocess.run(["ldd", path], capture_output=True, text=True).stdout
            self.assertNotIn(str(BUILD), found, path)
            self.assertNotIn("not found", found, path)

    def test_version(self):
        done = subprocess.run([setlib.ZELLINE, "--version"], capture_output=True, text=True, check=True)
        self.assertRegex(done.stdout, r"^zelline \d+\.\d+\.\d+\n$")

    def test_a_session(self):
        with Set() as tv:
            maps = pathlib.Path(f"/proc/{tv.ready['pid']}/maps").read_text()
            self.assertNotIn(str(BUILD), maps)
            tv.line.connect()
            self.assertEqual(tv.line.ask(0x1274, b"INSTALLED"), status(0x1274, 0))
            self.assertEqual(tv.line.ask(0x1275), result(0x1275, b"INSTALLED"))
            tv.line.close()
            self.assertEqual(tv.zelline("sn", "read").stdout.strip(), b"INSTALLED")


if __name__ == "__main__":
    runner.main()
