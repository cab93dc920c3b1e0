#!/usr/bin/env python3
"""Installs the tree into a scratch folder and uses it as other people's projects do.

usage: install_test.py BUILD_TREE SOURCE_TREE GENERATOR COMPILER

The installed programs run without help from the environment. Exactly the headers that the public ones reach are
installed. Programs are compiled against them in a folder that has files of the same names as ours, through pkg-config
and through the CMake package: the project in other/.
"""

import fnmatch
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

PUBLIC = ("corba.h", "agent.h")
GENERATED = ("*_stub.h", "*_skel.h")  # from our own definitions
INCLUDE = re.compile(r"^#include <harbolance/([^>]+)>", re.MULTILINE)
# Handles for generated code, and CORBA::ORB::InvalidName.
UNNAMED = {"CORBA_Object_type", "CORBA_Current_type", "CORBA_ORB_InvalidName"}


def run(*command, status=0, **environment):
    environment = {"PATH": os.environ["PATH"], "LC_ALL": "C", **environment}
    done = subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=300)
    if done.returncode != status:
        sys.exit(f"{' '.join(map(str, command))} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def expect(condition, what):
    if not condition:
        sys.exit(f"not so: {what}")


def check_headers(include):
    installed = {str(path.relative_to(include)) for path in include.rglob("*") if path.is_file()}
    reached, pending = set(), [*PUBLIC, *(path.name for one in GENERATED for path in include.glob(one))]
    while pending:
        name = pending.pop()
        expect(name in installed, f"{name} is installed")
        if name not in reached:
            reached.add(name)
            text = (include / name).read_text()
            pending += INCLUDE.findall(text)
            expect('#include "' not in text, f"{name} includes by its place in the installed tree")
    expect(installed == reached, f"{sorted(installed - reached)} are reached from the public headers")

    texts = {name: re.sub(r"//.*", "", (include / name).read_text()) for name in reached}
    spelled = set(re.findall(r"\bCORBA_\w+", " ".join(texts.values())))
    named = " ".join(text for name, text in texts.items() if name == "corba.h" or fnmatch.fnmatch(name, GENERATED[0]))
    without = spelled - set(re.findall(r"\bCORBA_\w+", named)) - UNNAMED
    without = {name for name in without if not re.search(rf"X\({name[6:]}\)", texts["marshal/exception/vexcept.h"])}
    expect(not without, f"{sorted(without)} have names in namespace CORBA (corba.h)")


def main():
    build, source = map(pathlib.Path, sys.argv[1:3])
    generator, compiler = sys.argv[3:5]
    for tool in ("cmake", "pkg-config"):
        expect(shutil.which(tool), f"{tool} is there; scripts/packages installs it")
    with tempfile.TemporaryDirectory() as scratch:
        scratch = pathlib.Path(scratch)
        prefix = scratch / "prefix"
        run("cmake", "--install", build, "--prefix", prefix)
        expect("Usage: peerscan [-options]" in run(prefix / "bin/peerscan", "-h"), "peerscan -h tells its usage")
        expect(run(prefix / "sbin/locd", "--version").strip(), "locd --version tells its version")
        for page in (source / "docs/man").iterdir():
            expect((prefix / f"share/man/man{page.suffix[1:]}" / page.name).exists(), f"{page.name} is installed")
        check_headers(prefix / "include/harbolance")

        # A project with folders named like ours.
        own = scratch / "own"
        for folder in ("base", "net", "object", "orb"):
            (own / folder).mkdir(parents=True)
            for header in (source / "src" / folder).glob("*.h"):
                (own / folder / header.name).write_text("#error a file of the project in place of the library's\n")
        package = next(prefix.glob("lib/**/pkgconfig"))
        moved = scratch / "moved"
        prefix.rename(moved)
        flags = shlex.split(run("pkg-config", "--cflags", "--libs", "harbolance",
                                PKG_CONFIG_PATH=str(moved / package.relative_to(prefix))))
        expect("-std=c++20" in flags, "pkg-config names the language")
        for header in PUBLIC:
            (own / header).write_text(f"#include <harbolance/{header}>\n")
            run(compiler, f"-I{own}", "-Wall", "-Wextra", "-Werror", "-x", "c++", "-fsyntax-only", own / header, *flags)

        project = scratch / "other"
        shutil.copytree(source / "tests/house/other", project)
        run("cmake", "-G", generator, "-S", project, "-B", project / "build", f"-DCMAKE_PREFIX_PATH={moved}",
            f"-DCMAKE_CXX_COMPILER={compiler}", f"-DTREE={source}", f"-DOWN={own}")
        run("cmake", "--build", project / "build")
        expect(run(project / "build/by_the_book") == "by the book\n", "a program of the standard mapping runs")
        expect("Charles Darwin" in run(project / "build/records_two", scratch / "books"), "a compiled definition works")
        expect("INV_OBJREF" in run(project / "build/hello_client", "IOR:none", status=1), "a client runs")
        expect("Usage: announce" in run(project / "build/announce", "--help"), "announce --help tells its usage")


main()
