#!/usr/bin/env python3
"""How `peerscan -r` grows with the domain: time, memory and traffic of a run over the location service, against one locd.

    bench/domain_scale.py [BUILD_DIRECTORY]        (default: build/release)

Two families of domains: as many repository ids as objects, for which two lists are asked per id, and few ids with many
objects each. Every object is registered with a reference of its own, as servers do. Runs peerscan several times on each
and prints medians; a run is timed as a user sees it, the agent's part included, whose processor time stands beside it.
Datagrams and connections are those of the network namespace that the bench makes for itself, per run.

Exits with 1 when ten times the objects cost twelve times as much, in processor time of both or in memory, or when the
largest of a family misses its limit in seconds.
"""

import fcntl
import os
import pathlib
import re
import resource
import socket
import statistics
import struct
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/e2e"))
import giop  # noqa: E402
import wire  # noqa: E402

# Of each family: how many ids and objects, and the seconds that the largest may take.
FAMILIES = {"ids": ([(100, 100), (1_000, 1_000), (10_000, 10_000)], 10.0),
            "objects": ([(10, 1_000), (10, 10_000), (10, 100_000)], 2.0)}
RUNS = 5
GROWTH = 12.0
HOST = "127.0.0.1"


def own_network():
    """Runs this program again in a network namespace with loopback only, where nothing else is counted."""
    if os.environ.get("IN_OWN_NETWORK"):
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
            up = struct.pack("16sh14x", b"lo", 0x41)  # IFF_UP | IFF_RUNNING
            fcntl.ioctl(sock, 0x8914, up)  # SIOCSIFFLAGS
        return
    unshare = ["unshare", "--net"] if os.geteuid() == 0 else ["unshare", "--user", "--map-root-user", "--net"]
    os.execvpe("unshare", [*unshare, sys.executable, *sys.argv], {**os.environ, "IN_OWN_NETWORK": "1"})


def counted():
    """The datagrams that were sent and the connections that were opened so far."""
    rows = [line.split() for line in pathlib.Path("/proc/net/snmp").read_text().splitlines()]
    values = {(head[0], key): int(value) for head, row in zip(rows[::2], rows[1::2])
              for key, value in zip(head[1:], row[1:])}
    return values["Udp:", "OutDatagrams"], values["Tcp:", "ActiveOpens"]


def objects_of(ids, objects):
    """Repository id and name of each; short, since our agent takes 32 MiB of registrations."""
    for number in range(objects):
        yield f"IDL:T{number % ids}:1.0", f"o{number}"


class Server:
    """A client of the agent that registers objects; several requests are under way at once."""

    LIMIT = 30_000  # objects of one client
    WINDOW = 12

    def __init__(self, port):
        self.sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.sock.connect((HOST, port))
        self.sock.settimeout(20)
        self.waiting = 0
        self.ask(wire.request(wire.LOGIN, wire.login()))
        self.answers(0)

    def ask(self, record):
        self.sock.send(wire.datagram(record))
        self.waiting += 1
        self.answers(self.WINDOW)

    def answers(self, most):
        while self.waiting > most:
            self.sock.recv(8192)
            self.waiting -= 1

    def register(self, objects):
        for key, name in objects:
            reference = giop.reference(key, HOST, 15000, giop.object_key(key, name))
            provider = wire.provider(key, HOST, 15000, reference=reference)
            self.ask(wire.request(wire.REGISTER, provider))
        self.answers(0)


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
    return int(pathlib.Path(f"/proc/{pid}/schedstat").read_text().split()[0]) / 1e9


def children_seconds():
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    return used.ru_utime + used.ru_stime


def run_peerscan(program, environment, expected):
    """Wall seconds, processor seconds, peak MiB, datagrams and connections of one run."""
    # A child of this interpreter would inherit its peak memory; one of GNU time does not.
    with tempfile.NamedTemporaryFile("r") as figures:
        before, used, start = counted(), children_seconds(), time.monotonic()
        done = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", figures.name, program, "-d", "-r", "."],
                              env=environment, capture_output=True, check=True)
        wall = time.monotonic() - start
        datagrams, connections = (after - first for after, first in zip(counted(), before))
        peak = figures.read()
    if done.stdout.count(b"OBJECT NAME") != expected or done.stderr:
        raise SystemExit(f"peerscan showed {done.stdout.count(b'OBJECT NAME')} of {expected} objects: {done.stderr}")
    return wall, children_seconds() - used, int(peak) / 1024, datagrams, connections


def measure(bin_directory, ids, objects):
    with tempfile.TemporaryDirectory() as scratch:
        scratch = pathlib.Path(scratch)
        (scratch / "localaddr").write_text("127.0.0.1 255.0.0.0 127.255.255.255\n")
        environment = dict(os.environ, LOCD_LOCAL_FILE=str(scratch / "localaddr"), LOCD_ADDR=HOST)
        log = scratch / "locd"
        agent = subprocess.Popen([bin_directory / "locd", "--address", HOST, "--port", "0", "--check-interval", "3600"],
                                 env=environment, stdout=log.open("w"))
        try:
            ready = wait_for_line(log, agent, "locd: ", 20)
            port = environment["LOCD_PORT"] = re.search(r"port (\d+)", ready).group(1)
            everything = list(objects_of(ids, objects))
            servers = []
            for begin in range(0, objects, Server.LIMIT):
                servers.append(Server(int(port)))
                servers[-1].register(everything[begin:begin + Server.LIMIT])
            run_peerscan(bin_directory / "peerscan", environment, objects)
            before = processor_seconds(agent.pid)
            runs = [run_peerscan(bin_directory / "peerscan", environment, objects) for _ in range(RUNS)]
            agent_seconds = (processor_seconds(agent.pid) - before) / RUNS
        finally:
            agent.terminate()
            agent.wait()
    return (*(statistics.median(column) for column in zip(*runs)), agent_seconds)


def main():
    own_network()
    build = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/release")
    print(f"{'ids':>7} {'objects':>8} {'wall s':>9} {'cpu s':>9} {'agent cpu s':>12} {'peak MiB':>9} {'datagrams':>10} "
          f"{'connections':>12}")
    kept = True
    for family, (sizes, limit) in FAMILIES.items():
        rows = []
        for ids, objects in sizes:
            wall, processor, peak, datagrams, connections, agent = measure((build / "bin").resolve(), ids, objects)
            rows.append((processor + agent, peak))
            print(f"{ids:>7} {objects:>8} {wall:>9.4f} {processor:>9.3f} {agent:>12.3f} {peak:>9.1f} {datagrams:>10} "
                  f"{connections:>12}", flush=True)
        time_growth, memory_growth = (rows[-1][i] / rows[-2][i] for i in range(2))
        print(f"{family}: the last tenfold costs time x {time_growth:.2f}, memory x {memory_growth:.2f}, limit x "
              f"{GROWTH:.0f}; {wall:.2f} of {limit:.0f} s")
        kept = kept and max(time_growth, memory_growth) < GROWTH and wall < limit
    sys.exit(0 if kept else 1)


main()
