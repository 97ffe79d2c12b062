"""packaging/check-set, copied onto a set and run there: what it says of a whole one, and of one that lacks something."""

import pathlib
import shutil
import tempfile

import runner
from runner import AtOnce
from setlib import Set
from zelfac import programs

CHECK = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "check-set"
BIN = programs.find("simset").parent
FONT = "/config/font/DejaVuSans.ttf"
# As the application of a set it can have no arguments of its own; what lies in ../lib is at /simset/lib there.
START = "#!/bin/sh\nexec /bin/sh /simset/lib/check-set --app /simset/lib/ZelFacTest_Eu4K\n"


class CheckSet(AtOnce):
    def check(self, status, *said, without=(), arrange=()):
        with tempfile.TemporaryDirectory(prefix="zelfac-check-set.") as name:
            folder = pathlib.Path(name)
            shutil.copytree(BIN.parent / "lib", folder / "lib", ignore=lambda *_: without)
            shutil.copy(CHECK, folder / "lib")
            shutil.copy(BIN / "ZelFacTest_Eu4K", folder / "lib")
            start = folder / "start"
            start.mkdir()
            (start / "start").write_text(START)
            (start / "start").chmod(0o755)
            with Set(app=start / "start", wait=False, strict=False, arrange=arrange) as tv:
                ended = tv.await_end()
                output = tv.output()
        self.assertEqual(ended, status, output)
        for text in said:
            self.assertIn(text, output)
        return output

    def test_a_whole_set(self):
        output = self.check(0, "ok       program /usr/bin/busybox\n", f"ok       the font {FONT}\n", "Nothing is missing.\n")
        self.assertNotIn("MISSING", output)
        self.assertRegex(output, r"ok       libraries: .*libframe\.so")
        self.assertIn("ok       /zodata/factory, a mount of its own that can be remounted\n", output)

    def test_without_the_font(self):
        self.check(1, f"MISSING  the font {FONT}", "\n1 missing.\n", arrange=[("rm", FONT)])

    def test_without_a_library(self):
        self.check(1, "MISSING  library libframe.so\n", "\n1 missing.\n", without=("libframe.so",))


if __name__ == "__main__":
    runner.main()
