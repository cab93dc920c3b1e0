#!/usr/bin/env python3
"""What the compiler makes of definitions, compared as text.

Of each NAME.idl in cases/ the model or the messages, and the status: NAME.txt. Of those in golden/, and of the example,
what a user reads of the output: NAME_stub.h.golden and others. With --update the texts are written anew, to be read before they are
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


def output(name):
    def text(compiler, definition):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([compiler, "--servant", "-o", folder, definition], check=True, timeout=60)
            return (pathlib.Path(folder) / name).read_text()
    return text


def refused(compiler, definition):
    """What is refused only when code is to be made: nothing is written then."""
    with tempfile.TemporaryDirectory() as folder:
        own = pathlib.Path(folder) / "desk_impl.cpp"
        own.write_text("mine")
        commands = [["--servant", definition], ["--client-only", "--servant", definition],
                    ["context.idl"]]
        done = [subprocess.run([compiler, "-o", folder, *words], cwd=definition.parent, capture_output=True, text=True,
                               timeout=60) for words in commands]
        text = "".join(f"{one.stderr}status {one.returncode}\n" for one in done).replace(folder, "FOLDER")
        return text + f"{sorted(path.name for path in pathlib.Path(folder).iterdir())} {own.read_text()}\n"


def main():
    compiler, here, example = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    cases = [(one, one.with_suffix(".txt"), model) for one in sorted((here / "cases").glob("*.idl"))]
    golden, desk = here / "golden", here / "golden" / "desk.idl"
    cases += [(one, golden / f"{one.stem}_stub.h.golden", output(f"{one.stem}_stub.h")) for one in (desk, example)]
    cases += [(desk, golden / f"{name}.golden", output(name)) for name in ("desk_skel.h", "desk_impl.cpp")]
    cases.append((pathlib.Path(desk.name), golden / "refused.txt", lambda compiler, _: refused(compiler, desk)))
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
