"""Sample sticks, and what the check foretells: held against what a set does with the same stick."""

import json

import runner
import sticks
from runner import AtOnce, cases
from setlib import run
from sticks import Folder, Update
from zelfac.sticks import CUSTOMER, write


def stick(verb, folder, *options):
    return run("simset", "stick", verb, folder, *options)


def made(folder, *options):
    done = stick("make", folder, *options)
    assert done.returncode == 0, done.stderr
    return folder


def checked(folder):
    done = stick("check", folder, "--json")
    report = json.loads(done.stdout)
    assert done.returncode == (0 if report["usable"] else 1), done
    return report


def sample(folder):
    return made(folder / "s", "--keys", "2")


def oem(folder):
    return made(folder / "s", "--oem", "--copy")


def export(folder):
    write(folder / "s" / "USB.ZEL", "")
    return folder / "s"


def empty_key(folder):
    root = made(folder / "s")
    write(root / CUSTOMER / "CI+" / "CIPLUSMTK9602_0001.bin", "")
    return root


def bad_contents(folder):
    root = made(folder / "s")
    write(root / CUSTOMER / "CONFIG/CONFIG.bin", "GB\r\n2\r\n")
    write(root / CUSTOMER / "MAC/mac.txt", "02-00-00-00-00-09--02-00-00-00-00-01\r\n")
    return root


def nothing_to_take(folder):
    (folder / "s" / CUSTOMER).mkdir(parents=True)
    return folder / "s"


def protected(folder):
    root = made(folder / "s")
    root.chmod(0o555)
    return root


def last_address(folder):
    return made(folder / "s", "--keys", "3", "--range", "02-00-00-00-00-09--02-00-00-00-00-09")


# by name: the stick, whether it is usable, and for how many sets
STICKS = {
    "sample": (sample, True, 2),
    "oem": (oem, True, 1),
    "export": (export, True, None),
    "last address": (last_address, True, 1),
    "empty key": (empty_key, False, None),
    "bad contents": (bad_contents, False, None),
    "nothing to take": (nothing_to_take, False, None),
    "protected": (protected, False, None),
}


class Stick(AtOnce):
    @cases(STICKS)
    def test_what_is_foretold_happens(self, case):
        make, usable, sets = case
        with Folder() as folder:
            root = make(folder)
            report = checked(root)
            self.assertEqual(report["usable"], usable, report["findings"])
            expected = report["expected"]
            if sets is not None:
                self.assertEqual(expected["sets"], sets)
            # A set that has a configuration already: what a line of the file leaves out differs from it.
            settings = [("meta", "set", item, 7) for item in range(5)] + [("flash", "set", "brand", "OLD")]
            with Update(root, arrange=settings) as tv:
                before = tv.read_stick()
                self.assertEqual(tv.outcome(), (expected["status"], expected["message"]))
                imported = " ret1:-1 " not in tv.output()
                self.assertEqual(expected["action"], "import" if imported else "export")
                gone = set(before) - set(tv.read_stick())
                removing = sum("remove the file" in step for step in expected["steps"])
                if make is protected:
                    removing = 0  # in vain
                self.assertEqual(len(gone), removing + (1 if make is last_address else 0), gone)

    def test_an_empty_folder_is_foretold(self):
        with Folder() as folder:
            root = made(folder / "s")
            (root / CUSTOMER / "HDCP14KEY" / "HDCP14MTK9602_0001.bin").unlink()
            report = checked(root)
            self.assertFalse(report["usable"])
            self.assertEqual((report["expected"]["status"], report["expected"]["screen"]), (0, "Update NG,"))
            with Update(root) as tv:
                tv.sync_with_loop()
                self.assertNotIn("m_secondUpdateStatus", tv.output())

    def test_words_for_people(self):
        with Folder() as folder:
            root = made(folder / "s")
            done = stick("check", root)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertIn('end with status 1 and show "Update Config OK"', done.stdout)
            (root / CUSTOMER / "MAC" / "mac.txt").rename(root / CUSTOMER / "MAC" / "Mac\n.TXT")
            done = stick("check", root)
            self.assertEqual(done.returncode, 1)
            self.assertIn(r"problem: RW9602CustomerFile/MAC/Mac\x0a.TXT: is not seen by a set", done.stdout)

    def test_unusable_arguments(self):
        with Folder() as folder:
            write(folder / "full" / "photo", "x")
            cases = [
                ("make", folder / "full"), ("make", folder / "n", "--keys", "0"), ("make", folder / "n", "--range", "x"),
                ("check", folder / "none"), ("check", folder / "full" / "photo"), ("burn", folder),
            ]
            for case in cases:
                done = stick(*map(str, case))
                self.assertEqual(done.returncode, 2, case)
                self.assertTrue(done.stderr or done.stdout, case)
            self.assertEqual(sticks.files(folder), {"full/photo": b"x"})


if __name__ == "__main__":
    runner.main()
