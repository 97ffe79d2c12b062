"""What must hold of the stock and the records once two stations have been killed many times (test_station_kill.py)."""

import collections
import contextlib
import re
import sqlite3

import setlib

STATES = ("free", "reserved", "written", "verified", "spent")
LEFT_ALONE = "did not answer a short while ago"  # a server that has answered since, maybe
SENT = ("written", "verified", "spent")


def own(ledger, query):
    """The rows of a query in a station's own file, each a list of texts."""
    with contextlib.closing(sqlite3.connect(ledger)) as store:
        return [[str(value) for value in row] for row in store.execute(query)]


def judge(test, line, stations):
    """`test` is the test case that fails for what is found."""
    outcomes(test, stations)
    items = stock(test, line)
    ledgers(test, line, stations, items)
    units_with_two(test, line, items)
    records(test, line, stations)


def outcomes(test, stations):
    """A set that is in order fails for one reason only: the station has nothing left, and cannot ask for more."""
    ends = collections.Counter()
    for station in stations:
        for slot in station.slots:
            for row, reached in slot.runs:
                end = row["verdict"] if row["verdict"] == "PASSED" else f"{row['verdict']}: {row['reason']}"
                ends[end] += 1
                if row["verdict"] != "PASSED":
                    test.assertEqual(row["reason"], "store", row)
                    test.assertTrue(not reached or LEFT_ALONE in row["words"], row)
    print(dict(ends))
    test.assertGreater(ends["PASSED"], 0)


def stock(test, line):
    """The items as the server has them, by type and name: (state, unit, run, revision, ledger)."""
    shared = {item: units for item, units in line.given.items() if len(units) != 1}
    test.assertEqual(shared, {}, "items that several units got")
    given = {}
    for item, (unit,) in line.given.items():
        given[("mac", item) if ":" in item else ("hdcp1", f"{item[4:9]}.bin")] = unit
    query = "SELECT type, name, state, unit, run, revision, ledger FROM item"
    items = {(row[0], row[1]): row[2:] for row in line.server.ask(query)}
    test.assertEqual(len(items), line.items, "none is lost")
    for item, (state, unit, run, _, ledger) in items.items():
        test.assertIn(state, STATES)
        test.assertEqual(unit == "", state == "free", (item, state, unit))
        if state != "free":
            test.assertTrue(run and ledger, item)
        if state in ("written", "verified"):
            test.assertEqual(given.get(item), unit, item)
    for item, unit in given.items():
        test.assertIn(items[item][0], SENT, item)
        test.assertEqual(items[item][1], unit, item)
    test.assertEqual({kind for kind, _ in given}, {"mac", "hdcp1"})
    states = collections.Counter("leased" if row[0] == "free" and row[4] else row[0] for row in items.values())
    lost = sum(row[0] == "spent" and item not in given for item, row in items.items())
    print(f"{len(given)} given to {len(set(given.values()))} units; {dict(states)}; {lost} spent that no set got")
    return items


def ledgers(test, line, stations, items):
    """What a station would give out is its own, and the server knows what became of the rest."""
    had = {"": set(items)}  # by ledger
    for station in stations:
        ((name,),) = own(station.ledger, "SELECT name FROM ledger")
        rows = own(station.ledger, "SELECT type, name, state, unit, run, revision FROM item")
        had[name] = {(row[0], row[1]) for row in rows}
        for kind, item, state, *more in rows:
            known = items[(kind, item)]
            if known[4] == name:
                test.assertEqual([state, *more], known[:4], (station.name, item))
            else:
                test.assertIn(state, SENT, (station.name, item, known))
    for item, row in items.items():
        # What was leased to a station that was killed before it had it is free, and waits for it.
        test.assertTrue(item in had[row[4]] or row[0] == "free", (item, row))


def units_with_two(test, line, items):
    """A unit has a second item only when nobody could have known of its first, and the check of the stock names it."""
    had = collections.Counter((kind, row[1]) for (kind, _), row in items.items() if row[0] in SENT)
    two = {unit for (_, unit), count in had.items() if count > 1}
    alone = line.server.ask("SELECT DISTINCT unit FROM run WHERE note <> ''")  # in a run without the server
    excused = {unit.name for unit in line.units if unit.may_have_two} | {unit for (unit,) in alone}
    test.assertEqual(two - excused, set())
    told = setlib.run("zelline", "--store", line.server.url, "stock", "check")
    test.assertEqual(set(re.findall(r"the unit (\S+) has two items", told.stdout + told.stderr)), two)
    test.assertEqual(told.returncode, 1 if two else 0, told.stdout + told.stderr)
    moves = sum(unit.moves for unit in line.units)
    print(f"{len(line.units)} units, {moves} moves to another station; {len(two)} units with two items of a type")


def records(test, line, stations):
    """Every run that a station told of is on record where it took place, with what it told, at the server as well."""
    run_query = "SELECT id, unit, station, slot, verdict, revision FROM run ORDER BY id"
    step_query = "SELECT run, number, name, state, value FROM step ORDER BY run, number"
    runs = sorted(row for station in stations for row in own(station.ledger, run_query))
    steps = sorted(row for station in stations for row in own(station.ledger, step_query))
    test.assertEqual(sorted(line.server.ask(run_query)), runs)
    test.assertEqual(sorted(line.server.ask(step_query)), steps)
    known = {row[0]: row[1:] for row in runs}
    begun = {}
    for station in stations:
        for run, (unit, slot) in station.begun.items():
            test.assertEqual(known[run][:3], [unit, station.name, slot], run)
            if run in station.verdicts:
                test.assertEqual(known[run][3], station.verdicts[run], run)
        begun.update(station.begun)
    # What a set said to a run that was cut is on record too.
    states = collections.defaultdict(list)
    for run, _, name, state, value in steps:
        states[run].append(state)
        if name == "mac read" and state == "passed":
            test.assertEqual(line.given[value], {known[run][0]}, run)
    verdicts = collections.Counter(row[3] or "UNFINISHED" for row in known.values())
    for run, row in known.items():
        if row[3] == "PASSED":
            test.assertEqual(set(states[run]), {"passed"}, run)
    cut = [run for run in begun if not known[run][3]]
    test.assertGreater(len(cut), 0)
    print(f"{len(known)} runs on record, {dict(verdicts)}")
