"""Customer files from a USB stick into the set."""

import runner
import sticks
from runner import AtOnce, cases
from sticks import CHECK, ENCRYPT, ERRORS, FLICKER, KEYS, Folder, Update, full_stick, installed, key_content
from zelfac import Control
from zelfac.sticks import CUSTOMER, FILES, write

STICK = "/mnt/usb/sda1"
MOUNTED = [
    "/zodata/critical", "/zodata/factory", "/zodata/model", "/var/local", "/var/run", "/vendor/tvconfig/config",
    "/config", "/serialdata", "/certificate",
]

# what fails, and how
FAILURES = {
    **{
        f"{name} {step}": (name, ("keys", "fail", name, step, 5))
        for name in KEYS
        for step in ("write", "check")
        if name[:2] != "ci"
    },
    **{f"{name} write": (name, ("keys", "fail", name, "write", 5)) for name in ("ciplus", "ciplusecp")},
    "region": ("config", ("meta", "fail", 2, 7)),
    "brand": ("config", ("flash", "fail", "brand", 7)),
    "flash address": ("mac", ("flash", "fail", "macaddr", 7)),
    "metadata address": ("mac", ("meta", "fail", 8, 7)),
}
GOOD_RANGES = {
    "carry": ("00-11-22-FF-FF-FF--00-11-23-00-00-10\r\n", "00-11-23-00-00-00--00-11-23-00-00-10\r\n"),
    "colons": ("00:aa:22:33:44:0f--00:AA:22:33:44:ff\n", "00-AA-22-33-44-10--00-AA-22-33-44-ff\r\n"),
}
BAD_RANGES = {
    "backwards": "00-11-22-33-44-FF--00-11-22-33-44-FE\r\n",
    "short": "00-11-22-33-44-FE--00-11-22-33-44-F",
    "empty": "",
    "long": "x" * 60,
    "byte-order mark": "\ufeff00-11-22-33-44-FE--00-11-22-33-44-FF\r\n",
    "blank": " 00-11-22-33-44-FE--00-11-22-33-44-FF\r\n",
    "letters": "00-11-22-33-44-FE--00-11-22-33-44-FG\r\n",
    "dashes": "-" * 17 + "--00-11-22-33-44-FF\r\n",
}
# Whether the supervisor answers, and what the set makes of it.
SUPERVISOR = {
    "on": (1, ""),
    "3000": (1, ""),
    "wrong": (1, "oem1 Err;"),
    "off": (1, "oem1 Err;"),
    "9000": (1, "oem1 Err;"),
}
# Names on a stick, and the shell's word for each.
NAMES = {
    "blank": "blank HDCP14MTK9602 x.bin",
    "semicolon": "HDCP14MTK9602;touch ${PWD}oops;",
    "substitution": "HDCP14MTK9602$(touch oops)`touch oops`",
    "signs": "HDCP14MTK9602'\"&|<>*?#~!",
    "line end": "HDCP14MTK9602\ntouch oops\n",
    "plain": "-HDCP14MTK9602_+:,@%.bin",
}


class Import(AtOnce):
    def test_everything(self):
        with Folder() as folder, Update(full_stick(folder / "stick", oem=True)) as tv:
            self.assertEqual(tv.outcome(), (1, ""))
            self.assertEqual(tv.led(), (0, 1))
            self.assertEqual(installed(tv), {name: sticks.crc(key_content(name)) for name in KEYS})
            self.assertEqual(
                tv.configuration(), {0: 5, 1: 1, 2: 2, 3: 4, 4: 3, "brand": "ACME"}
            )
            self.assertEqual(tv.meta.get(6), "ACME-43")
            self.assertEqual(tv.meta.get(8), "00-11-22-33-44-FE")
            self.assertEqual(tv.flash.get("macaddr"), "00-11-22-33-44-FE")
            self.assertEqual(tv.flash.get("db_table"), "0")
            self.assertEqual(tv.flash.get("normal_start"), "0")
            self.assertEqual(tv.model.get("tovix.sl2.i32.qorfactory.country"), 1)
            self.assertEqual(tv.model.get("tovix.sl2.i32.qorfactory.serialsdata.model.index"), 5)
            self.assertEqual(tv.flash.get("ZelFacMode"), "3")
            self.assert_stick_left(tv, gone=KEYS, address_range="00-11-22-33-44-FF--00-11-22-33-44-FF\r\n")
            self.assert_open(tv)
            self.assertEqual(tv.text("cat", "/var/run/superwatch"), "13")
            self.assertNotIn(".superwatch13", tv.ls("/var/run"))

    def assert_stick_left(self, tv, gone, address_range):
        left = {path: content for path, content in tv.read_stick().items() if path.startswith(CUSTOMER)}
        expected = {f"{CUSTOMER}/ZelFacTest_Eu4K": b""}
        for name in set(FILES) - set(gone):
            own = {"config": sticks.CONFIG.encode(), "mac": (address_range or "").encode()}
            expected[f"{CUSTOMER}/{FILES[name]}"] = own[name] if name in own else key_content(name)
        self.assertEqual(left, expected)

    def assert_open(self, tv):
        """The partitions that an update writes to can be written."""
        mounts = tv.mounts()
        self.assertEqual([path for path in MOUNTED if "rw" not in mounts[path]], [])
        self.assertEqual(tv.text("cat", "/proc/utopia_mdb/xc"), "ForceFreerun=TRUE")

    def left(self, tv):
        """Names of the items that the stick still has a file of."""
        paths = tv.read_stick()
        return {name for name in FILES if f"{CUSTOMER}/{FILES[name]}" in paths}

    @cases(list(FILES))
    def test_an_item_without_its_folder_is_left_out(self, missing):
        items = [name for name in FILES if name != missing]
        with Folder() as folder, Update(full_stick(folder / "stick", items)) as tv:
            self.assertEqual(tv.outcome(), (1, ""))
            self.assertEqual(set(installed(tv)), set(KEYS) - {missing})
            self.assertEqual(self.left(tv), {"config", "mac"} - {missing})
            self.assertEqual(tv.flash.get("macaddr") == "00-11-22-33-44-FE", missing != "mac")
            self.assertEqual(tv.flash.get("brand") == "ACME", missing != "config")

    @cases(["config", "hdcp1", "ciplusecp", "mac"])
    def test_an_empty_folder_ends_the_import_with_an_error(self, emptied):
        with Folder() as folder:
            stick = full_stick(folder / "stick", oem=True)
            path = stick / CUSTOMER / FILES[emptied]
            path.rename(path.with_name("other.bin"))
            with Update(stick, arrange=[("keys", "fail", "widevine", "check", 5)]) as tv:
                tv.sync_with_loop()
                # The others are installed; nothing is told, the supervisor not asked, the light not changed.
                self.assertEqual(set(installed(tv)), set(KEYS) - {emptied})
                self.assertEqual(self.left(tv), {"config", "mac", "widevine"} - {emptied})
                self.assertNotIn("m_secondUpdateStatus", tv.output())
                self.assertNotIn("13", tv.text("cat", "/var/run/superwatch"))
                self.assertEqual(tv.model.get(FLICKER), 1)
                self.assertIn(" ZelSecondUpdateImport ", tv.output())

    @cases(FAILURES)
    def test_a_failing_item_is_named_and_its_file_stays(self, case):
        name, fault = case
        with Folder() as folder, Update(full_stick(folder / "stick"), arrange=[fault]) as tv:
            self.assertEqual(tv.outcome(), (2, ERRORS[name]))
            self.assertEqual(tv.led()[0], 1)
            line = sticks.RANGE if name == "mac" else "00-11-22-33-44-FF--00-11-22-33-44-FF\r\n"
            self.assert_stick_left(tv, [key for key in KEYS if key != name], line)

    @cases({
        "encrypt connect": (ENCRYPT, "connect"), "encrypt operate": (ENCRYPT, "operate"),
        "check connect": (CHECK, "connect"), "check operate": (CHECK, "operate"),
    })
    def test_refused_ci_plus_actions(self, case):
        action, step = case
        with Folder() as folder:
            fault = ("model", "fail", action, step, 9)
            with Update(full_stick(folder / "stick"), arrange=[fault]) as tv:
                self.assertEqual(tv.outcome(), (2, "ci Err;ci ecp Err;"))
                self.assertEqual(self.left(tv), {"config", "mac", "ciplus", "ciplusecp"})
                # What cannot be encrypted is not handed to the key store; the check comes after that.
                credentials = {"ciplus", "ciplusecp"}
                self.assertEqual(set(installed(tv)) & credentials, set() if action == ENCRYPT else credentials)

    def test_three_key_files_and_two_addresses_serve_sets_in_a_row(self):
        with Folder() as folder:
            stick = full_stick(folder / "stick0", ["hdcp1", "mac"])
            for number in (2, 3):
                write(stick / CUSTOMER / "HDCP14KEY" / f"HDCP14MTK9602_{number}.bin", key_content("hdcp1", number))
            taken, addresses = [], []
            for number in range(2):
                with Update(stick) as tv:
                    self.assertEqual(tv.outcome(), (1, ""))
                    taken.append(installed(tv)["hdcp1"])
                    addresses.append(tv.flash.get("macaddr"))
                    stick = folder / f"stick{number + 1}"
                    tv.copy_stick(stick)
                self.assertEqual(len(list((stick / CUSTOMER / "HDCP14KEY").iterdir())), 2 - number)
            self.assertEqual(addresses, ["00-11-22-33-44-FE", "00-11-22-33-44-FF"])
            self.assertEqual(list((stick / CUSTOMER / "MAC").iterdir()), [])
            with Update(stick) as tv:  # the last key, and no address
                tv.sync_with_loop()
                self.assertNotIn("m_secondUpdateStatus", tv.output())
                taken.append(installed(tv)["hdcp1"])
                self.assertEqual(tv.flash.get("macaddr"), "")
                self.assertEqual([path for path in tv.read_stick() if "HDCP14" in path], [])
            self.assertEqual(sorted(taken), sorted(sticks.crc(key_content("hdcp1", number)) for number in (1, 2, 3)))

    def update_with_range(self, line):
        """Outcome, the range file afterwards and the set's addresses."""
        with Folder() as folder:
            stick = full_stick(folder / "stick", ["mac"])
            write(stick / CUSTOMER / "MAC/mac.txt", line)
            with Update(stick) as tv:
                outcome = tv.outcome()
                left = tv.read_stick()[f"{CUSTOMER}/MAC/mac.txt"]
                return outcome, left.decode(), [tv.flash.get("macaddr"), tv.meta.get(8)]

    @cases(GOOD_RANGES)
    def test_an_address_range(self, case):
        line, following = case
        self.assertEqual(self.update_with_range(line), ((1, ""), following, [line[:17]] * 2))

    @cases(BAD_RANGES)
    def test_an_address_range_that_is_none(self, line):
        self.assertEqual(self.update_with_range(line), ((2, "mac Err;"), line, [""] * 2))

    def supervised(self, stick, case):
        behaviour, outcome = case
        with Update(stick) as tv:
            tv.behave("supervisor", behaviour)
            self.assertEqual(tv.outcome(), outcome)
            self.assertEqual(tv.text("cat", "/var/run/superwatch"), "13")
            self.assertNotIn(".superwatch13", tv.ls("/var/run"))
            self.assertEqual(tv.flash.get("db_table"), "0")

    @cases({answer: (answer, outcome) for answer, outcome in SUPERVISOR.items()})
    def test_oem_data_alone(self, case):
        with Folder() as folder:
            write(folder / "stick" / "OEM_data.zip", "x")
            self.supervised(folder / "stick", case)

    @cases({answer: (answer, outcome) for answer, outcome in SUPERVISOR.items()})
    def test_oem_data_and_a_key(self, case):
        with Folder() as folder:
            self.supervised(full_stick(folder / "stick", ["hdcp1"], oem=True), case)

    def test_a_marker_that_is_gone_after_the_wait(self):
        with Folder() as folder, Update(full_stick(folder / "stick", ["hdcp1"], oem=True)) as tv:
            tv.behave("supervisor", "off")
            tv.await_true(lambda: ".superwatch13" in tv.ls("/var/run"), "the request")
            tv.rm("/var/run/.superwatch13")
            self.assertEqual(tv.outcome(), (2, "oem2 Err;"))
            self.assertEqual(tv.led()[0], 1)

    @cases({"something": ["hdcp1"], "nothing": []})
    def test_a_stick_without_the_marker(self, items):
        with Folder() as folder, Update(full_stick(folder / "stick", items, marker=False)) as tv:
            self.assertEqual(tv.outcome(), (1, "") if items else (0, ""))
            self.assertIn(" ret1:1 ret2:1 ", tv.output())
            self.assertEqual(set(installed(tv)), set(items))

    @cases(["ab", "ba"])
    def test_of_two_sticks_the_last_decides(self, order):
        with Folder() as folder:
            both = {
                "a": full_stick(folder / "a", ["hdcp1"]),
                "b": full_stick(folder / "b", ["hdcp2"], addresses=""),
            }
            write(both["b"] / CUSTOMER / "HDCP14KEY" / "HDCP14MTK9602_9.bin", key_content("hdcp1", 9))
            with Update(*(both[name] for name in order)) as tv:
                self.assertEqual(tv.outcome(), (1, ""))
                number = 9 if order == "ab" else 1
                self.assertEqual(installed(tv)["hdcp1"], sticks.crc(key_content("hdcp1", number)))
                # A folder that only the other stick has is used as well.
                self.assertEqual(installed(tv)["hdcp2"], sticks.crc(key_content("hdcp2")))
                left = {name: set(tv.read_stick(f"vu_sd{'ab'[order.index(name)]}1")) for name in "ab"}
                folder_of = f"{CUSTOMER}/HDCP14KEY/HDCP14MTK9602_"
                self.assertEqual(folder_of + "1.bin" in left["a"], order == "ab")
                self.assertEqual(folder_of + "9.bin" in left["b"], order == "ba")
                self.assertNotIn(f"{CUSTOMER}/{FILES['hdcp2']}", left["b"])

    def test_a_write_protected_stick(self):
        with Folder() as folder:
            stick = full_stick(folder / "stick")
            stick.chmod(0o555)
            with Update(stick) as tv:
                self.assertEqual(tv.outcome(), (2, "mac Err;"))
                self.assertEqual(set(installed(tv)), set(KEYS))
                self.assert_stick_left(tv, gone=[], address_range=sticks.RANGE)
                self.assertEqual(tv.flash.get("macaddr"), "00-11-22-33-44-FE")
            stick.chmod(0o755)

    def test_the_last_address_on_a_write_protected_stick(self):
        """It stays there and would be given to the next set as well: this one says so."""
        line = "00-11-22-33-44-FF--00-11-22-33-44-FF\r\n"
        with Folder() as folder:
            stick = full_stick(folder / "stick", ["mac"], addresses=line)
            stick.chmod(0o555)
            with Update(stick) as tv:
                self.assertEqual(tv.outcome(), (2, "mac Err;"))
                self.assert_stick_left(tv, gone=set(FILES) - {"mac"}, address_range=line)
            stick.chmod(0o755)

    def test_what_an_import_used_up_stays_so_when_the_stick_is_pulled(self):
        """Also when it ends at an empty folder: the power is cut as soon as the result is shown."""
        with Folder() as folder:
            stick = full_stick(folder / "stick", ["hdcp1", "ciplus"])
            (stick / CUSTOMER / "CONFIG").mkdir()
            with Update(stick, state=folder / "state") as tv:
                tv.sync_with_loop()
                self.assertEqual(set(installed(tv)), {"hdcp1", "ciplus"})
                tv.power_cut()
                tv.await_end()
            self.assert_stick_left(Control(folder / "state"), FILES, None)

    @cases(NAMES)
    def test_a_name_is_nothing_but_a_name(self, name):
        with Folder() as folder:
            stick = full_stick(folder / "stick", [])
            write(stick / CUSTOMER / "HDCP14KEY" / name, key_content("hdcp1"))
            write(stick / CUSTOMER / "HDCP14KEY" / "x", "a neighbour")
            with Update(stick) as tv:
                self.assertEqual(tv.outcome(), (1, ""))
                self.assertEqual(installed(tv), {"hdcp1": sticks.crc(key_content("hdcp1"))})
                left = [path for path in tv.read_stick() if "HDCP14KEY" in path]
                self.assertEqual(left, [f"{CUSTOMER}/HDCP14KEY/x"])
                for place in ("/", "/tmp", STICK, f"{STICK}/{CUSTOMER}/HDCP14KEY"):
                    self.assertNotIn("oops", tv.text("ls", place))


if __name__ == "__main__":
    runner.main()
