#!/usr/bin/env python3
"""What the compiler makes of each definition in cases/: its model or its messages, and its status.

The expected text stands beside each NAME.idl as NAME.txt. With --update the texts are written anew, to be read before
they are committed.
"""

import pathlib
import subprocess
import sys


def outcome(compiler, definition):
    command = [compiler, "--dump-model", "-Iparts", "-DTEN=10", definition.name]
    done = subprocess.run(command, cwd=definition.parent, capture_output=True, text=True, timeout=60)
    return f"{done.stderr}{done.stdout}status {done.returncode}\n"


def main():
    compiler, folder = sys.argv[1], pathlib.Path(sys.argv[2])
    failed = 0
    definitions = sorted(folder.glob("*.idl"))
    for definition in definitions:
        expected = definition.with_suffix(".txt")
        found = outcome(compiler, definition)
        if "--update" in sys.argv:
            expected.write_text(found)
        elif not expected.exists() or found != expected.read_text():
            print(f"--- {definition.name}: not as in {expected.name}, but:\n{found}")
            failed += 1
    sys.exit(1 if failed or not definitions else 0)


main()
