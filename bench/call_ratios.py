"""What calls cost, in times of a plain client and server over loopback: call_ratios.py [PROGRAMS [ROUNDS]]

The yardstick (plain_echo) sends messages of the same length, through static buffers, and encodes nothing. Servers
and clients run on one processor, in interleaved rounds; a figure is the median of the rounds. TCP_NODELAY is on in
both; the last column is ours with the default, off. The exit status is 1 when a limit does not hold.
"""

import os
import pathlib
import socket
import statistics
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests" / "e2e"))
import giop  # noqa: E402

PROGRAMS = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else "build/release/bin").resolve()
ROUNDS = int(sys.argv[2]) if len(sys.argv) > 2 else 7
#         calls in a round, limit
CASES = {"null": (20000, 1.0), "echo1k": (20000, 1.05), "structs": (500, 5), "sink1m": (300, 1.15),
         "oneway": (50000, 0.85), "pipe64": (64000, 0.8)}
LIMIT = 60
NO_DELAY = {"server": ("-OAtcpdelay",), "client": ("-ORBtcpdelay",)}  # these words switch TCP_NODELAY on
children = []


def pin():
    os.sched_setaffinity(0, {0})


def start(*words):
    child = subprocess.Popen([str(PROGRAMS / words[0]), *words[1:]], stdout=subprocess.PIPE, text=True, preexec_fn=pin)
    children.append(child)
    return child, child.stdout.readline().strip()


def measure(*words):
    environment = {**os.environ, "BENCH_T0": repr(time.time())}
    done = subprocess.run([str(PROGRAMS / words[0]), *map(str, words[1:])], stdout=subprocess.PIPE, text=True,
                          timeout=LIMIT, preexec_fn=pin, env=environment, check=True)
    return {key: value for key, value in (word.split("=") for word in done.stdout.split())}


def sizes(reference, case):
    """The octets of one request and of its reply, counted by a relay between client and server."""
    host, port, key = giop.target(reference)
    listener = socket.create_server(("127.0.0.1", 0))
    totals = []

    def copy(source, sink, counts, index):
        while octets := source.recv(1 << 16):
            counts[index] += len(octets)
            sink.sendall(octets)
        sink.shutdown(socket.SHUT_WR)

    for count in (64, 128):
        counts = [0, 0]
        through = giop.reference("IDL:BenchEcho/Echo:1.0", "127.0.0.1", listener.getsockname()[1], key)
        client = subprocess.Popen([str(PROGRAMS / "bench-echo-client"), through, case, str(count)],
                                  stdout=subprocess.DEVNULL, env={**os.environ, "BENCH_WARM": "0"})
        near, far = listener.accept()[0], socket.create_connection((host, port))
        threads = [threading.Thread(target=copy, args=(near, far, counts, 0)),
                   threading.Thread(target=copy, args=(far, near, counts, 1))]
        for thread in threads:
            thread.start()
        client.wait(LIMIT)
        for thread in threads:
            thread.join(LIMIT)
        totals.append(counts)
    return [(after - before) // 64 for before, after in zip(*totals)]


def microseconds(result):
    return float(result["sec"]) / int(result["count"]) * 1e6


def row(name, ours, limit, yardstick, default=None):
    ratio = ours / yardstick
    holds = ratio <= limit
    more = f"{default:10.2f}" if default else ""
    print(f"{name:28}{yardstick:10.2f}{ours:10.2f}{ratio:8.3f}{limit:7.2f}  {'ok' if holds else 'MORE':5}{more}",
          flush=True)
    return holds


def main():
    reference = start("bench-echo-server", *NO_DELAY["server"])[1]
    delayed = start("bench-echo-server")[1]
    port = start("plain_echo", "server")[1]
    median = statistics.median
    good = True
    print(f"{'':28}{'plain':>10}{'ours':>10}{'ratio':>8}{'limit':>7}  {'':5}{'default':>10}   us per call")
    nulls = None
    for case, (count, limit) in CASES.items():
        request, reply = sizes(reference, case)
        plain, ours, default = [], [], []
        for _ in range(ROUNDS):
            plain.append(microseconds(measure("plain_echo", "client", port, case, count, request, max(reply, 24))))
            ours.append(microseconds(measure("bench-echo-client", reference, case, count, *NO_DELAY["client"])))
            default.append(microseconds(measure("bench-echo-client", delayed, case, count // 50)))
        good &= row(case, median(ours), limit, median(plain), median(default))
        nulls = nulls or (request, reply)

    start_plain, start_ours, rss_plain, rss_ours = [], [], [], []
    for _ in range(max(ROUNDS, 15)):
        plain = measure("plain_echo", "client", port, "first", 1, *nulls)
        ours = measure("bench-echo-client", reference, "first", 1, *NO_DELAY["client"])
        start_plain.append(float(plain["first_ms"]) * 1000)
        start_ours.append(float(ours["first_ms"]) * 1000)
        rss_plain.append(float(plain["client_rss_kb"]))
        rss_ours.append(float(ours["client_rss_kb"]))
    good &= row("start to first answer", median(start_ours), 1.5, median(start_plain))
    more = (median(rss_ours) - median(rss_plain)) / 1024
    good &= more <= 1.5
    print(f"{'resident memory, MiB above':28}{median(rss_plain) / 1024:10.2f}{median(rss_ours) / 1024:10.2f}{more:8.2f}"
          f"{1.5:7.2f}  {'ok' if more <= 1.5 else 'MORE'}")

    one, many = [], []
    host, number, _ = giop.target(reference)
    for _ in range(ROUNDS):
        one.append(microseconds(measure("bench-echo-client", reference, "null", 20000, *NO_DELAY["client"])))
        idle = [socket.create_connection((host, number)) for _ in range(199)]
        many.append(microseconds(measure("bench-echo-client", reference, "null", 20000, *NO_DELAY["client"])))
        for sock in idle:
            sock.close()
    good &= row("1 busy of 200 connections", median(many), 1.2, median(one))
    return 0 if good else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    finally:
        for child in children:
            child.terminate()
            child.wait(LIMIT)
