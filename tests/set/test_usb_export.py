"""The set's own configuration onto a USB stick, and back from it."""

import runner
from runner import AtOnce, cases
from sticks import Folder, Update
from zelfac.sticks import COPY, CUSTOMER, write

EXPORTED = f"{COPY}/CONFIG/CONFIG.bin"
CONFIGURATION = {0: 15, 1: 11, 2: 12, 3: 14, 4: 13, "brand": "NORD LICHT"}
SETTINGS = [("meta", "set", item, CONFIGURATION[item]) for item in range(5)] + [("flash", "set", "brand", "NORD LICHT")]
TEXT = b"11\r\n12\r\n13\r\nNORD LICHT\r\n14\r\n15"


READS = {
    "country": (("meta", "fail", 1, 5), "Country;"),
    "region": (("meta", "fail", 2, 5), "Region;"),
    "logo": (("meta", "fail", 4, 5), "Logo;"),
    "brand": (("flash", "fail", "brand", 5), "Brand;"),
    "language": (("meta", "fail", 3, 5), "Lang;"),
    "project": (("meta", "fail", 0, 5), "Pid;"),
}


class Export(AtOnce):
    def test_an_export_gives_another_set_the_same_configuration(self):
        with Folder() as folder:
            stick = folder / "stick"
            write(stick / "USB.ZEL", "")
            write(stick / COPY / "old.txt", "left by another set")
            with Update(stick, arrange=SETTINGS) as tv:
                self.assertEqual(tv.outcome(), (3, ""))
                self.assertEqual(tv.led(), (0, 1))
                self.assertIn(" ret1:-1 ret2:1 ", tv.output())
                self.assertNotIn(".superwatch12", tv.ls("/var/run"))
                self.assertEqual(tv.read_stick(), {"USB.ZEL": b"", EXPORTED: TEXT})
                # The set itself keeps what it had, and asks for no new databases.
                self.assertEqual(tv.configuration(), CONFIGURATION)
                self.assertEqual([row for row in tv.trace(who="flash", call="set") if row["name"] == "db_table"], [])
                tv.copy_stick(folder / "read")
            content = (folder / "read" / EXPORTED).read_bytes()
            write(folder / "second" / CUSTOMER / "CONFIG" / "CONFIG.bin", content)
            with Update(folder / "second") as tv:
                self.assertEqual(tv.outcome(), (1, ""))
                self.assertEqual(tv.configuration(), CONFIGURATION)

    @cases(READS)
    def test_a_value_that_cannot_be_read_is_named(self, case):
        fault, message = case
        with Folder() as folder:
            write(folder / "stick" / "USB.ZEL", "")
            with Update(folder / "stick", arrange=[*SETTINGS, fault]) as tv:
                self.assertEqual(tv.outcome(), (4, message))
                self.assertEqual(tv.led()[0], 1)
                self.assertIn(EXPORTED, tv.read_stick())

    @cases(["wrong", "off"])
    def test_a_supervisor_that_does_not_succeed_is_told_and_no_failure(self, answer):
        with Folder() as folder:
            write(folder / "stick" / "USB.ZEL", "")
            # It is asked for 6 s later than the set can be told.
            with Update(folder / "stick") as tv:
                tv.behave("supervisor", answer)
                self.assertEqual(tv.outcome(), (3, "oem;"))

    def test_no_stick(self):
        with Update() as tv:
            status, message = tv.outcome()
            self.assertIn(" ret1:-1 ret2:-1 ", tv.output())
            self.assertIn(" ZelGetUSBUpdateFileFullPath ", tv.output())
            # The set's own root takes nothing.
            self.assertEqual((status, message), (4, "Config.bin;"))
            self.assertEqual(tv.led()[0], 1)
            self.assertNotIn(COPY, tv.ls("/"))

    def test_a_write_protected_stick(self):
        with Folder() as folder:
            write(folder / "stick" / COPY / "old.txt", "stays")
            (folder / "stick").chmod(0o555)
            with Update(folder / "stick") as tv:
                self.assertEqual(tv.outcome(), (4, "Config.bin;"))
                self.assertEqual(tv.read_stick(), {f"{COPY}/old.txt": b"stays"})
            (folder / "stick").chmod(0o755)

    def test_the_last_of_two_sticks_gets_it(self):
        with Folder() as folder:
            for name in "ab":
                write(folder / name / "USB.ZEL", "")
            with Update(folder / "a", folder / "b") as tv:
                self.assertEqual(tv.outcome(), (3, ""))
                self.assertNotIn(EXPORTED, tv.read_stick("vu_sda1"))
                self.assertIn(EXPORTED, tv.read_stick("vu_sdb1"))

    def test_any_oem_data_makes_it_an_import(self):
        with Folder() as folder:
            write(folder / "stick" / "OEM_data", "x")
            write(folder / "stick" / COPY / "CONFIG/CONFIG.bin", "stays")
            with Update(folder / "stick") as tv:
                self.assertEqual(tv.outcome(), (1, ""))
                self.assertEqual(tv.read_stick()[EXPORTED], b"stays")


if __name__ == "__main__":
    runner.main()
