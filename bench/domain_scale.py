#!/usr/bin/env python3
"""How `peerscan -r` grows with the domain: time and peak memory per run, against one locd.

    bench/domain_scale.py [BUILD_DIRECTORY]        (default: build/release)

Registers 1,000, 10,000 and 100,000 names, runs peerscan several times on each, and prints medians and how much ten
times the names cost. A run is timed as a user sees it, the agent's part included; the agent's processor time stands
beside it. Exits with 1 when ten times the names cost twelve times as much, or more.
"""

import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time

COUNTS = (1_000, 10_000, 100_000)
RUNS = 7
LIMIT = 12.0
TICKS = os.sysconf("SC_CLK_TCK")


def wait_for_line(log, process, prefix, seconds):
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        text = log.read_text()
        if text.startswith(prefix) and "\n" in text:
            return text
        if process.poll() is not None:
            break
        time.sleep(0.02)
    raise SystemExit(f"no line '{prefix}...' in {log.name}: {log.read_text()!r}")


def processor_seconds(pid):
    fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / TICKS


def run_peerscan(program, environment, expected):
    """Wall seconds, processor seconds and peak KiB of one run."""
    # A child of this interpreter would inherit its peak memory; one of GNU time does not.
    with tempfile.NamedTemporaryFile("r") as figures:
        start = time.monotonic()
        output = subprocess.run(["/usr/bin/time", "-f", "%U %S %M", "-o", figures.name, program, "-d", "-r", "."],
                                env=environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True).stdout
        wall = time.monotonic() - start
        user, system, peak = figures.read().split()
    if output.count(b"OBJECT NAME") != expected:
        raise SystemExit(f"peerscan showed {output.count(b'OBJECT NAME')} of {expected} objects")
    return wall, float(user) + float(system), int(peak)


def measure(bin_directory, count):
    processes = []
    with tempfile.TemporaryDirectory() as scratch:
        scratch = pathlib.Path(scratch)
        (scratch / "localaddr").write_text("127.0.0.1 255.0.0.0 127.255.255.255\n")
        environment = dict(os.environ, LOCD_LOCAL_FILE=str(scratch / "localaddr"), LOCD_ADDR="127.0.0.1")

        def start(name, arguments, **options):
            log = scratch / name
            process = subprocess.Popen([bin_directory / name, *arguments], env=environment, stdout=log.open("w"),
                                       **options)
            processes.append(process)
            return wait_for_line(log, process, name + ": ", 120), process

        try:
            ready, agent = start("locd", ["--address", "127.0.0.1", "--port", "0"])
            environment["LOCD_PORT"] = re.search(r"port (\d+)", ready).group(1)
            names = scratch / "names"
            names.write_text("".join(f"127.0.0.1_IDL:Bench/Thing:1.0_object{i:06}\n" for i in range(count)))
            start("announce", ["--exact", "-"], stdin=names.open())
            run_peerscan(bin_directory / "peerscan", environment, count)
            before = processor_seconds(agent.pid)
            runs = [run_peerscan(bin_directory / "peerscan", environment, count) for _ in range(RUNS)]
            agent_seconds = (processor_seconds(agent.pid) - before) / RUNS
        finally:
            for process in reversed(processes):
                process.terminate()
                process.wait()
    wall, processor, memory = (statistics.median(column) for column in zip(*runs))
    return wall, processor, agent_seconds, memory / 1024


def main():
    build = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/release")
    print(f"{'names':>8} {'wall s':>9} {'cpu s':>9} {'agent cpu s':>12} {'peak MiB':>9}")
    rows = []
    for count in COUNTS:
        row = measure((build / "bin").resolve(), count)
        rows.append(row)
        print(f"{count:>8} {row[0]:>9.4f} {row[1]:>9.4f} {row[2]:>12.4f} {row[3]:>9.1f}", flush=True)
    time_growth = rows[2][0] / rows[1][0]
    memory_growth = rows[2][3] / rows[1][3]
    print(f"from {COUNTS[1]} to {COUNTS[2]} names: time x {time_growth:.2f}, memory x {memory_growth:.2f}, "
          f"limit x {LIMIT:.0f}")
    sys.exit(0 if max(time_growth, memory_growth) < LIMIT else 1)


main()
