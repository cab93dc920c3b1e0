#!/usr/bin/env python3
"""Installs the tree into a scratch folder and uses it as a stranger would.

The installed programs run without help from the environment; a project of a few lines finds the CMake package, builds
the example against it and runs it.
"""

import os
import pathlib
import subprocess
import sys
import tempfile

PROJECT = """cmake_minimum_required(VERSION 3.25)
project(stranger LANGUAGES CXX)
find_package(Harbolance REQUIRED)
add_executable(announce {example})
target_link_libraries(announce PRIVATE Harbolance::harbolance)
"""


def run(*command, status=0):
    environment = {"PATH": os.environ["PATH"], "LC_ALL": "C"}
    done = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=300)
    if done.returncode != status:
        sys.exit(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def expect(condition, what):
    if not condition:
        sys.exit(f"not found: {what}")


def main():
    build, source = map(pathlib.Path, sys.argv[1:3])
    with tempfile.TemporaryDirectory() as scratch:
        prefix = pathlib.Path(scratch) / "prefix"
        run("cmake", "--install", build, "--prefix", prefix)
        expect("Usage: peerscan [-options]" in run(prefix / "bin/peerscan", "-h"), "usage of the installed peerscan")
        expect(run(prefix / "sbin/locd", "--version").strip(), "version of the installed locd")
        for page in ("man1/peerscan.1", "man1/iordump.1", "man8/locd.8"):
            expect((prefix / "share/man" / page).exists(), page)
        packages = list(prefix.glob("lib/**/pkgconfig/harbolance.pc"))
        expect(packages and "${pcfiledir}" in packages[0].read_text(), "a pkg-config file that can be moved")

        project = pathlib.Path(scratch) / "stranger"
        project.mkdir()
        (project / "CMakeLists.txt").write_text(PROJECT.format(example=source / "examples/announce.cpp"))
        run("cmake", "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={prefix}")
        run("cmake", "--build", project / "build")
        expect("Usage: announce" in run(project / "build/announce", "--help"), "usage of the stranger's program")


main()
