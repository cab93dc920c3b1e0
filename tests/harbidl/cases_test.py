#!/usr/bin/env python3
"""What the compiler makes of definitions, compared as text.

Of each NAME.idl in cases/ the model or the messages, and the status: NAME.txt. Of those in golden/, and of the example,
the header that a user reads: NAME_stub.h.golden. With --update the texts are written anew, to be read before they are
committed.
"""

import pathlib
import subprocess
import sys
import tempfile


def model(compiler, definition):
    command = [compiler, "--dump-model", "-Iparts", "-DTEN=10", definition.name]
    done = subprocess.run(command, cwd=definition.parent, capture_output=True, text=True, timeout=60)
    return f"{done.stderr}{done.stdout}status {done.returncode}\n"


def header(compiler, definition):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([compiler, "-o", folder, definition], check=True, timeout=60)
        return (pathlib.Path(folder) / f"{definition.stem}_stub.h").read_text()


def main():
    compiler, here, example = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    cases = [(one, one.with_suffix(".txt"), model) for one in sorted((here / "cases").glob("*.idl"))]
    cases += [(one, here / "golden" / f"{one.stem}_stub.h.golden", header)
              for one in [*sorted((here / "golden").glob("*.idl")), example]]
    failed = len(cases) < 10
    for definition, expected, outcome in cases:
        found = outcome(compiler, definition)
        if "--update" in sys.argv:
            expected.write_text(found)
        elif not expected.exists() or found != expected.read_text():
            print(f"--- {definition.name}: not as in {expected.name}, but:\n{found}")
            failed = True
    sys.exit(failed)


main()
