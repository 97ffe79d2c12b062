"""Customer files from a USB stick into the set."""

import unittest

import setlib
import sticks
from sticks import CHECK, ENCRYPT, FLICKER, ITEMS, KEYS, LED, Folder, Update, full_stick, in_parallel, key_content, write

STICK = "/mnt/usb/sda1"
CUSTOMER = f"{STICK}/{sticks.CUSTOMER}"
OEM_COMMANDS = ["touch /var/run/.superwatch13", "echo 13 > /var/run/superwatch", "rm -rf /var/run/.superwatch13"]
MOUNTED = [
    "/zodata/critical", "/zodata/factory", "/zodata/model", "/var/local", "/var/run", "/vendor/tvconfig/config",
    "/config", "/serialdata", "/certificate",
]
MOUNTED_BY_SHELL = [*MOUNTED[:3], "/serialdata", "/config", "/vendor/tvconfig/config", "/var/local", "/var/run", "/certificate"]


def removals(names=KEYS):
    return [f"rm -rf {CUSTOMER}/{KEYS[name][0]}/{KEYS[name][1]}" for name in names]


class Import(unittest.TestCase):
    def all_of(self, cases, run, width=4):
        failed = in_parallel(cases, run, width)
        for case, error in failed:
            print(f"{case}: {error}")
        self.assertEqual([case for case, _ in failed], [])

    def test_everything(self):
        with Folder() as folder, Update(full_stick(folder / "stick", oem=True)) as tv:
            self.assertEqual(tv.outcome(), (1, ""))
            tv.await_true(lambda: tv.led() == (0, 1), "the steady light")
            self.assertEqual(tv.keys(), {name: sticks.crc(key_content(name)) for name in KEYS})
            self.assertEqual(
                tv.configuration(), {0: 5, 1: 1, 2: 2, 3: 4, 4: 3, "brand": "ACME"}
            )
            self.assertEqual(tv.text("meta", "get", 6), "ACME-43")
            self.assertEqual(tv.text("meta", "get", 8), "00-11-22-33-44-FE")
            self.assertEqual(tv.text("flash", "get", "macaddr"), "00-11-22-33-44-FE")
            self.assertEqual(tv.text("flash", "get", "db_table"), "0")
            self.assertEqual(tv.text("flash", "get", "normal_start"), "0")
            self.assertEqual(tv.value("model", "get", "tovix.sl2.i32.qorfactory.country"), 1)
            self.assertEqual(tv.value("model", "get", "tovix.sl2.i32.qorfactory.serialsdata.model.index"), 5)
            self.assertEqual(tv.text("flash", "get", "ZelFacMode"), "3")
            self.assert_stick_left(tv, gone=KEYS, address_range="00-11-22-33-44-FF--00-11-22-33-44-FF\r\n")
            self.assert_trace(tv)

    def assert_stick_left(self, tv, gone, address_range):
        left = {path: content for path, content in tv.read_stick().items() if path.startswith(sticks.CUSTOMER)}
        expected = {f"{sticks.CUSTOMER}/ZelFacTest_Eu4K": b""}
        for name in set(ITEMS) - set(gone):
            path = f"{sticks.CUSTOMER}/{ITEMS[name][0]}/{ITEMS[name][1]}"
            expected[path] = {"config": sticks.CONFIG.encode(), "mac": address_range.encode()}.get(name) or key_content(name)
        self.assertEqual(left, expected)

    def assert_trace(self, tv):
        rows = tv.trace()
        mounts = [row["target"] for row in rows if row["who"] == "mount"]
        self.assertEqual(mounts, MOUNTED)
        self.assertEqual({row["flags"] for row in rows if row["who"] == "mount"}, {32})
        shell = tv.shell()
        self.assertEqual(
            shell[-len(MOUNTED_BY_SHELL) - 1 - len(KEYS) - len(OEM_COMMANDS) :],
            [f"mount -o remount,rw {path}" for path in MOUNTED_BY_SHELL]
            + ["echo ForceFreerun=TRUE > /proc/utopia_mdb/xc", *removals(), *OEM_COMMANDS],
        )
        self.assertEqual(tv.text("cat", "/proc/utopia_mdb/xc"), "ForceFreerun=TRUE")
        partitions = [line.split() for line in tv.text("mounts").splitlines()]
        flags = {fields[1]: fields[3].split(",")[0] for fields in partitions}
        self.assertEqual({flags[path] for path in MOUNTED}, {"rw"})
        # What is written, in order; the light last.
        paths = {name: f"{CUSTOMER}/{ITEMS[name][0]}/{ITEMS[name][1]}" for name in ITEMS}
        written = []
        for row in rows[next(i for i, row in enumerate(rows) if "ForceFreerun" in row.get("command", "")) :]:
            if row["who"] == "keys":
                written.append((row["call"], row["key"], *row.get("files", [])))
            elif row["who"] == "flash" and row["call"] == "set" or row["who"] == "meta" and row["call"] == "write":
                written.append((row["who"], row.get("name", row.get("item")), row["value"]))
            elif row["who"] == "model" and row["call"] == "set":
                written.append((row["key"], row["value"]))
            elif row["who"] == "model" and row["call"] == "invoke":
                written.append((row["key"], *(value for _, value in row["args"])))
        self.assertEqual(
            written,
            [
                ("meta", 1, 1), ("tovix.sl2.i32.qorfactory.country", 1), ("flash", "db_table", "0"),
                ("meta", 2, 2),
                ("flash", "db_table", "0"), ("meta", 4, 3),
                ("flash", "brand", "ACME"),
                ("meta", 3, 4),
                ("meta", 6, "ACME-43"),
                ("tovix.sl2.i32.qorfactory.serialsdata.model.index", 5), ("meta", 0, 5), ("flash", "normal_start", "0"),
                ("write", 5, paths["hdcp1"]), ("check", 5),
                ("write", 1, paths["hdcp2"]), ("check", 1),
                ("write", 2, paths["widevine"]), ("check", 2),
                ("write", 0, paths["netflix"]), ("check", 0),
                (ENCRYPT, "NON_ECP", paths["ciplus"]), ("write", 3, paths["ciplus"]), (CHECK, "NON_ECP"),
                (ENCRYPT, "ECP", paths["ciplusecp"]), ("write", 4, paths["ciplusecp"]), (CHECK, "ECP"),
                ("flash", "macaddr", "00-11-22-33-44-FE"), ("meta", 8, "00-11-22-33-44-FE"),
                ("flash", "db_table", "0"),
                ("flash", "db_table", "0"),
                (FLICKER, 0), (LED, 1),
            ],
        )
        # The supervisor is given its time: 100 ms for the marker, 6 s for the work.
        times = {row["command"]: row["ms"] for row in rows if row["who"] == "shell"}
        touch, echo, remove = (times[command] for command in OEM_COMMANDS)
        self.assertGreaterEqual(echo - touch, 100)
        self.assertGreaterEqual(remove - echo, 6000)
        self.assertLess(remove - echo, 10000)

    def test_an_item_without_its_folder_is_left_out(self):
        def run(missing):
            items = [name for name in ITEMS if name != missing]
            with Folder() as folder, Update(full_stick(folder / "stick", items)) as tv:
                self.assertEqual(tv.outcome(), (1, ""))
                self.assertEqual(set(tv.keys()), set(KEYS) - {missing})
                self.assertEqual(tv.update_shell(), removals(name for name in KEYS if name != missing))
                self.assertEqual(tv.text("flash", "get", "macaddr") == "00-11-22-33-44-FE", missing != "mac")
                self.assertEqual(tv.text("flash", "get", "brand") == "ACME", missing != "config")

        self.all_of(ITEMS, run)

    def test_an_empty_folder_ends_the_import_with_an_error(self):
        def run(emptied):
            with Folder() as folder:
                stick = full_stick(folder / "stick", oem=True)
                (stick / sticks.CUSTOMER / ITEMS[emptied][0] / ITEMS[emptied][1]).unlink()
                write(stick / sticks.CUSTOMER / ITEMS[emptied][0] / "other.bin", "x")
                with Update(stick, faults=[("keys", "fail", "widevine", "check", 5)]) as tv:
                    tv.sync_with_loop()
                    # The others are installed; nothing is told, the supervisor not asked, the light not changed.
                    self.assertEqual(set(tv.keys()), set(KEYS) - {emptied})
                    self.assertEqual(
                        tv.update_shell(), removals(name for name in KEYS if name not in (emptied, "widevine"))
                    )
                    self.assertNotIn("m_secondUpdateStatus", tv.output())
                    self.assertEqual(tv.value("model", "get", FLICKER), 1)
                    self.assertEqual([row for row in tv.trace(who="model", call="set") if row["key"] == LED], [])
                    self.assertIn(" ZelSecondUpdateImport ", tv.output())

        self.all_of(["config", "hdcp1", "ciplusecp", "mac"], run)

    def test_a_failing_item_is_named_and_its_file_stays(self):
        cases = [(name, ("keys", "fail", name, step, 5)) for name in KEYS for step in ("write", "check") if name[:2] != "ci"]
        cases += [(name, ("keys", "fail", name, "write", 5)) for name in ("ciplus", "ciplusecp")]
        cases += [
            ("config", ("meta", "fail", 2, 7)), ("config", ("flash", "fail", "brand", 7)),
            ("mac", ("flash", "fail", "macaddr", 7)), ("mac", ("meta", "fail", 8, 7)),
        ]

        def run(case):
            name, fault = case
            with Folder() as folder, Update(full_stick(folder / "stick"), faults=[fault]) as tv:
                self.assertEqual(tv.outcome(), (2, ITEMS[name][2]))
                self.assertEqual(tv.led()[0], 1)
                gone = [key for key in KEYS if key != name]
                self.assertEqual(tv.update_shell(), removals(gone))
                line = sticks.RANGE if name == "mac" else "00-11-22-33-44-FF--00-11-22-33-44-FF\r\n"
                self.assert_stick_left(tv, gone, line)

        self.all_of(cases, run)

    def test_refused_ci_plus_actions(self):
        def run(case):
            action, step = case
            with Folder() as folder:
                fault = ("model", "fail", action, step, 9)
                with Update(full_stick(folder / "stick"), faults=[fault]) as tv:
                    self.assertEqual(tv.outcome(), (2, "ci Err;ci ecp Err;"))
                    self.assertEqual(tv.update_shell(), removals(["hdcp1", "hdcp2", "widevine", "netflix"]))
                    calls = [row["key"] for row in tv.trace(who="keys", call="write")]
                    self.assertEqual(calls, [5, 1, 2, 0] if action == ENCRYPT else [5, 1, 2, 0, 3, 4])
                    # The check is asked for even when the write was refused.
                    if action == ENCRYPT:
                        invoked = [row["key"] for row in tv.trace(who="model", call="invoke") if row["status"] == 0]
                        self.assertEqual(invoked, [CHECK, CHECK])

        self.all_of([(ENCRYPT, "connect"), (ENCRYPT, "operate"), (CHECK, "connect"), (CHECK, "operate")], run)

    def test_three_key_files_and_two_addresses_serve_sets_in_a_row(self):
        with Folder() as folder:
            stick = full_stick(folder / "stick0", ["hdcp1", "mac"])
            for number in (2, 3):
                write(stick / sticks.CUSTOMER / "HDCP14KEY" / f"HDCP14MTK9602_{number}.bin", key_content("hdcp1", number))
            taken, addresses = [], []
            for number in range(2):
                with Update(stick) as tv:
                    self.assertEqual(tv.outcome(), (1, ""))
                    taken.append(tv.keys()["hdcp1"])
                    addresses.append(tv.text("flash", "get", "macaddr"))
                    stick = folder / f"stick{number + 1}"
                    tv.ctl("usb", "read", "vu_sda1", stick)
                self.assertEqual(len(list((stick / sticks.CUSTOMER / "HDCP14KEY").iterdir())), 2 - number)
            self.assertEqual(addresses, ["00-11-22-33-44-FE", "00-11-22-33-44-FF"])
            self.assertEqual(list((stick / sticks.CUSTOMER / "MAC").iterdir()), [])
            with Update(stick) as tv:  # the last key, and no address
                tv.sync_with_loop()
                self.assertNotIn("m_secondUpdateStatus", tv.output())
                taken.append(tv.keys()["hdcp1"])
                self.assertEqual(tv.text("flash", "get", "macaddr"), "")
                self.assertEqual([path for path in tv.read_stick() if "HDCP14" in path], [])
            self.assertEqual(sorted(taken), sorted(sticks.crc(key_content("hdcp1", number)) for number in (1, 2, 3)))

    def test_address_ranges(self):
        good = {
            "00-11-22-FF-FF-FF--00-11-23-00-00-10\r\n": "00-11-23-00-00-00--00-11-23-00-00-10\r\n",
            "00:aa:22:33:44:0f--00:AA:22:33:44:ff\n": "00-AA-22-33-44-10--00-AA-22-33-44-ff\r\n",
        }
        bad = ["00-11-22-33-44-FF--00-11-22-33-44-FE\r\n", "00-11-22-33-44-FE--00-11-22-33-44-F", "", "x" * 60]

        def run(line):
            with Folder() as folder:
                stick = full_stick(folder / "stick", ["mac"])
                write(stick / sticks.CUSTOMER / "MAC/mac.txt", line)
                with Update(stick) as tv:
                    self.assertEqual(tv.outcome(), (1, "") if line in good else (2, "mac Err;"))
                    left = tv.read_stick()[f"{sticks.CUSTOMER}/MAC/mac.txt"]
                    self.assertEqual(left.decode(), good.get(line, line))
                    for kept in (tv.text("flash", "get", "macaddr"), tv.text("meta", "get", 8)):
                        self.assertEqual(kept, line[:17] if line in good else "")

        self.all_of([*good, *bad], run)

    def test_oem_data_alone_and_what_the_supervisor_answers(self):
        # Whether it answers, what the set makes of it without and with a customer folder.
        cases = [
            ("on", (1, ""), (1, "")), ("3000", (1, ""), (1, "")), ("wrong", (1, "oem1 Err;"), (1, "oem1 Err;")),
            ("off", (1, "oem1 Err;"), (1, "oem1 Err;")), ("9000", (1, "oem1 Err;"), (1, "oem1 Err;")),
        ]

        def run(case):
            behaviour, items, outcome = case
            with Folder() as folder:
                stick = folder / "stick"
                if items:
                    full_stick(stick, items, oem=True)
                else:
                    write(stick / "OEM_data.zip", "x")
                with Update(stick) as tv:
                    tv.ctl("behave", "supervisor", behaviour)
                    self.assertEqual(tv.outcome(), outcome)
                    self.assertEqual(tv.update_shell()[-3:], OEM_COMMANDS)
                    self.assertNotIn(".superwatch13", tv.text("ls", "/var/run"))
                    self.assertEqual(tv.text("flash", "get", "db_table"), "0")

        self.all_of([(b, items, o) for b, alone, o in cases for items, o in ((None, alone), (["hdcp1"], o))], run, 5)

    def test_a_marker_that_is_gone_after_the_wait(self):
        with Folder() as folder, Update(full_stick(folder / "stick", ["hdcp1"], oem=True)) as tv:
            tv.ctl("behave", "supervisor", "off")
            tv.await_true(lambda: OEM_COMMANDS[1] in tv.shell(), "the request")
            tv.ctl("rm", "/var/run/.superwatch13")
            self.assertEqual(tv.outcome(), (2, "oem2 Err;"))
            self.assertEqual(tv.led()[0], 1)

    def test_a_stick_without_the_marker_and_one_without_anything_to_take(self):
        def run(items):
            with Folder() as folder, Update(full_stick(folder / "stick", items, marker=False)) as tv:
                self.assertEqual(tv.outcome(), (1, "") if items else (0, ""))
                self.assertIn(" ret1:1 ret2:1 ", tv.output())
                self.assertEqual(set(tv.keys()), set(items))

        self.all_of([["hdcp1"], []], run)

    def test_of_two_sticks_the_last_decides(self):
        def run(order):
            with Folder() as folder:
                both = {
                    "a": full_stick(folder / "a", ["hdcp1"]),
                    "b": full_stick(folder / "b", ["hdcp2"], address_range="")}
                write(both["b"] / sticks.CUSTOMER / "HDCP14KEY" / "HDCP14MTK9602_9.bin", key_content("hdcp1", 9))
                with Update(*(both[name] for name in order)) as tv:
                    self.assertEqual(tv.outcome(), (1, ""))
                    number = 9 if order == "ab" else 1
                    self.assertEqual(tv.keys()["hdcp1"], sticks.crc(key_content("hdcp1", number)))
                    # A folder that only the other stick has is used as well.
                    self.assertEqual(tv.keys()["hdcp2"], sticks.crc(key_content("hdcp2")))
                    where = {name: f"/mnt/usb/sd{'ab'[order.index(name)]}1/{sticks.CUSTOMER}" for name in "ab"}
                    self.assertEqual(
                        tv.update_shell(),
                        [
                            f"rm -rf {where[order[1]]}/HDCP14KEY/HDCP14MTK9602_{number}.bin",
                            f"rm -rf {where['b']}/HDCP22KEY/{KEYS['hdcp2'][1]}",
                        ],
                    )

        self.all_of(["ab", "ba"], run)

    def test_a_write_protected_stick(self):
        with Folder() as folder:
            stick = full_stick(folder / "stick")
            stick.chmod(0o555)
            with Update(stick) as tv:
                self.assertEqual(tv.outcome(), (2, "mac Err;"))
                self.assertEqual(set(tv.keys()), set(KEYS))
                self.assert_stick_left(tv, gone=[], address_range=sticks.RANGE)
                self.assertEqual(tv.text("flash", "get", "macaddr"), "00-11-22-33-44-FE")
            stick.chmod(0o755)

    def test_names_that_a_shell_would_interpret(self):
        names = {
            "blank HDCP14MTK9602 x.bin": True,
            "HDCP14MTK9602;touch ${PWD}oops;": True,
            "HDCP14MTK9602$(touch oops)`touch oops`": True,
            "HDCP14MTK9602'\"&|<>*?#~!": True,
            "HDCP14MTK9602\ntouch oops\n": True,
            "-HDCP14MTK9602_+:,@%.bin": False,
        }

        def run(name):
            with Folder() as folder:
                stick = full_stick(folder / "stick", [])
                write(stick / sticks.CUSTOMER / "HDCP14KEY" / name, key_content("hdcp1"))
                write(stick / sticks.CUSTOMER / "HDCP14KEY" / "x", "a neighbour")
                with Update(stick) as tv:
                    self.assertEqual(tv.outcome(), (1, ""))
                    path = f"{CUSTOMER}/HDCP14KEY/{name}"
                    self.assertEqual(tv.trace(who="keys", call="write")[0]["files"], [path])
                    word = "'" + path.replace("'", "'\\''") + "'" if names[name] else path
                    self.assertEqual(tv.update_shell(), [f"rm -rf {word}"])
                    left = [path for path in tv.read_stick() if "HDCP14KEY" in path]
                    self.assertEqual(left, [f"{sticks.CUSTOMER}/HDCP14KEY/x"])
                    for place in ("/", "/tmp", STICK, f"{CUSTOMER}/HDCP14KEY"):
                        self.assertNotIn("oops", tv.text("ls", place))

        self.all_of(names, run)


if __name__ == "__main__":
    setlib.main()
