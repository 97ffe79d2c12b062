"""What `cmake --install` makes is whole: the programs run from there, with the libraries that came with them."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import runner
from setlib import NEVER, Set, run
from zelfac import programs, result, status

BUILD = programs.find("simset").parents[1]
PACKAGE = "lib/python3/dist-packages"
PROGRAMS = ["ZelFacTest_Eu4K", "simset", "simset-sh", "zelline"]


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="zelfac-install.")
        cls.addClassCleanup(cls.folder.cleanup)
        cls.prefix = pathlib.Path(cls.folder.name)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.prefix], check=True, capture_output=True)
        os.environ["ZELFAC_BIN"] = str(cls.prefix / "bin")

    def test_programs_and_documents_are_there(self):
        self.assertEqual(sorted(path.name for path in (self.prefix / "bin").iterdir()), sorted(PROGRAMS))
        for page in ("man/man1/{}.1", "bash-completion/completions/{}", "zsh/site-functions/_{}"):
            for program in ("zelline", "simset"):
                self.assertIn(program, (self.prefix / "share" / page.format(program)).read_text())
        for page in ("zelline-plan", "zelline-station", "simset-scenario"):
            self.assertIn(".SH DESCRIPTION", (self.prefix / f"share/man/man5/{page}.5").read_text())
        documents = self.prefix / "share/doc/zelfac"
        self.assertTrue((documents / "README.md").is_file())
        self.assertTrue((documents / "docs/protocol.md").is_file())
        self.assertTrue((documents / "docs/plans/demo.toml").is_file())

    def test_no_program_looks_into_the_build(self):
        for path in [*(self.prefix / "bin").iterdir(), *(self.prefix / "lib").glob("*.so*")]:
            found = subprocess.run(["ldd", path], capture_output=True, text=True).stdout
            self.assertNotIn(str(BUILD), found, path)
            self.assertNotIn("not found", found, path)

    def test_version(self):
        self.assertRegex(run("zelline", "--version").stdout, r"^zelline \d+\.\d+\.\d+\n$")

    def test_a_session(self):
        with Set() as tv:
            maps = pathlib.Path(f"/proc/{tv.ready['pid']}/maps").read_text()
            self.assertNotIn(str(BUILD), maps)
            tv.line.connect()
            self.assertEqual(tv.line.ask(0x1274, b"INSTALLED"), status(0x1274, 0))
            self.assertEqual(tv.line.ask(0x1275), result(0x1275, b"INSTALLED"))
            self.assertEqual(tv.zelline("sn", "read").stdout.strip(), b"INSTALLED")

    def python(self, *words, path="/usr/bin:/bin", package=PACKAGE):
        """What Python says with the installed package, far from the sources and without ZELFAC_BIN."""
        environment = {"PATH": path, "PYTHONPATH": str(self.prefix / package), "PYTHONDONTWRITEBYTECODE": "1"}
        command = [sys.executable, *words]
        done = subprocess.run(command, cwd="/", env=environment, capture_output=True, text=True, timeout=NEVER)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def test_the_python_package_drives_the_installed_set(self):
        where = "from zelfac import programs, __file__; print(programs.find('simset')); print(__file__)"
        program, package = self.python("-c", where).split()
        self.assertEqual(program, str(self.prefix / "bin/simset"))
        self.assertEqual(package, str(self.prefix / PACKAGE / "zelfac/__init__.py"))
        self.assertIn("serial number read:    AB12CD34\n", self.python("-m", "zelfac"))

    def test_the_python_package_takes_programs_from_the_path(self):
        shutil.copytree(self.prefix / PACKAGE / "zelfac", self.prefix / "elsewhere/with/zelfac")
        said = self.python("-m", "zelfac", path=f"{self.prefix}/bin:/usr/bin:/bin", package="elsewhere/with")
        self.assertIn("serial number read:    AB12CD34\n", said)
        where = "import zelfac; zelfac.Set().start()"
        with self.assertRaisesRegex(AssertionError, "ProgramMissing: simset was not found: .* ZELFAC_BIN"):
            self.python("-c", where, package="elsewhere/with")


if __name__ == "__main__":
    runner.main()
