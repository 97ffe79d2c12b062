"""`python3 -m zelfac`: a short session with a simulated set."""

import sys

from . import Set, ZelfacError

def main() -> int:
    """Switches a set on, asks it three things and ends it; 0 when it answered as it should."""
    if sys.argv[1:]:
        print("usage: python3 -m zelfac\n\nA short session with a simulated set. What the package holds: pydoc3 zelfac")
        return 0 if sys.argv[1] in ("-h", "--help") else 2
    try:
        print("switching on a factory-new simulated set ...", flush=True)
        with Set() as tv:
            print(f"on: its line is {tv.ready['line']}")
            tv.line.connect()
            print("connected")
            print(f"serial number written: {tv.line.order(0x1274, b'AB12CD34')}")
            print(f"serial number read:    {tv.line.query(0x1275).decode()}")
            print(f"MAC address:           {tv.line.query(0x1279).decode()}")
            print(f"calls in the trace:    {len(tv.trace())}")
        return 0
    except ZelfacError as error:
        print(f"zelfac: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
