"""What the end-to-end tests stand on: programs as processes, simulated agents and clients.

One thread runs everything: `wait_until` serves all sockets and pipes of the test while it waits, and nothing is
served outside of it. Every wait is for a condition and has a limit.
"""

import collections
import itertools
import os
import pathlib
import random
import re
import selectors
import socket
import subprocess
import tempfile
import time
import unittest

import wire

PATIENCE = float(os.environ.get("HARBOLANCE_TEST_PATIENCE", "20"))
PROGRAMS = pathlib.Path(os.environ.get("HARBOLANCE_BIN", "build/release/bin")).resolve()
HERE = pathlib.Path(__file__).resolve().parent
CORPUS = HERE.parents[1] / "fuzz" / "corpus"
LOOPBACK_BROADCAST = "127.255.255.255"
FASTER = 6  # the clock of a program that has `FAST_CLOCK` in its environment
FAST_CLOCK = {"LD_PRELOAD": PROGRAMS / "test_clock.so", "CLOCK_FACTOR": FASTER,
              "ASAN_OPTIONS": "verify_asan_link_order=0:" + os.environ.get("ASAN_OPTIONS", "")}
SILENT = object()
Result = collections.namedtuple("Result", "out err status")
Heard = collections.namedtuple("Heard", "record sender at")
Place = collections.namedtuple("Place", "host port")
_sources = selectors.DefaultSelector()
# Broadcasts reach every agent of the machine on the same port, so tests that run side by side must not meet on
# one: each process has ports of its own, below those that the system hands out by itself.
_ports = itertools.cycle(range(10000 + os.getpid() % 128 * 150, 10150 + os.getpid() % 128 * 150))


def watch(source, handler):
    """The waits call the handler whenever the socket or pipe has something to read, until `close`."""
    _sources.register(source, selectors.EVENT_READ, handler)
    return source


def unwatch(source):
    if source.fileno() >= 0 and source.fileno() in _sources.get_map():
        _sources.unregister(source)


def close(source):
    unwatch(source)
    source.close()


def wait_until(condition, what, limit=PATIENCE):
    """The first true value of the condition. `what` is for the complaint, or makes it."""
    end = time.monotonic() + limit
    while not (value := condition()):
        if time.monotonic() > end:
            raise AssertionError(f"not within {limit} s: {what() if callable(what) else what}")
        for key, _ in _sources.select(0.05):
            if _sources.get_map().get(key.fd) == key:  # not closed by a handler before it
                key.data(key.fileobj)
    return value


def golden(name):
    return (HERE / "golden" / name).read_text(encoding="latin-1")


def scenes(name):
    """The conversations of a golden file: the title of each, behind "==", and its rows."""
    for scene in golden(name).split("\n== ")[1:]:
        title, *rows = scene.splitlines()
        yield title, [row for row in rows if row and not row.startswith("#")]


def own_host():
    """The address that a search asks before any listed one."""
    return socket.gethostbyname(socket.gethostname())


def udp_socket(host, port=0):
    sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, host == LOOPBACK_BROADCAST)
    sock.bind((host, port))
    return sock


def free_port(hosts):
    """A port that is free for UDP at all of these addresses."""
    for port in itertools.islice(_ports, 150):
        try:
            for host in hosts:
                udp_socket(host, port).close()
            return port
        except OSError:
            continue
    raise AssertionError(f"no free port at {hosts}")


def hostile_datagrams(bent=0):
    """The fuzzers' corpus as datagrams, whole, cut short and stretched, so many bent copies of each, and what is
    no frame. Among them are sound messages: a login, registrations, a search."""
    yield from (b"", b"\0", b"\0\0\0\4", bytes(8192), b"\xff" * 8192, bytes(9000))
    bend = random.Random(1)
    for file in sorted((CORPUS / "fuzz_datagram").iterdir()):
        body = file.read_bytes()
        yield from (wire.framed(body), wire.framed(body)[:-4], wire.framed(body + bytes(64)))
        for _ in range(bent):
            copy = bytearray(body + bytes(4))
            for _ in range(bend.randrange(1, 4)):
                copy[bend.randrange(len(copy))] = bend.choice(b"\0\1#:@\x7f\x80\xff")
            yield from (wire.framed(copy[:-4]), wire.framed(body[:bend.randrange(len(body) + 1) & ~3]))


class Program:
    """A process of the test. What it writes is collected by the waits."""

    def __init__(self, words, env, stdin=subprocess.PIPE):
        self.killed, self.out, self.err = False, "", ""
        self.process = subprocess.Popen(words, stdin=stdin, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        env=env, cwd="/", bufsize=0)
        self._open = [watch(self.process.stdout, self._read), watch(self.process.stderr, self._read)]

    def _read(self, pipe):
        octets = os.read(pipe.fileno(), 65536)
        self.out += octets.decode("latin-1") if pipe is self.process.stdout else ""
        self.err += octets.decode("latin-1") if pipe is self.process.stderr else ""
        if not octets:
            self._open.remove(pipe)
            close(pipe)

    def stop_reading(self):
        self._open.remove(self.process.stdout)
        close(self.process.stdout)

    def __repr__(self):
        return f"{self.process.args}\n-- its output\n{self.out}-- its errors\n{self.err}"

    def lines(self):
        return self.out.split("\n")[:-1]

    def wait_line(self, pattern, after=0, limit=PATIENCE):
        """The match of the first line, from line `after` on, that the pattern matches from its start."""
        def found():
            over = self.ended()
            match = next(filter(None, (re.match(pattern, line) for line in self.lines()[after:])), None)
            if over and not match:
                raise AssertionError(f"ended without a line '{pattern}': {self}")
            return match
        return wait_until(found, lambda: f"a line '{pattern}' of {self}", limit)

    def type(self, text):
        self.process.stdin.write(text.encode("latin-1"))

    def close_input(self):
        if self.process.stdin:
            self.process.stdin.close()

    def kill(self):
        """As a crash would end it."""
        self.killed = True
        self.process.kill()
        self.wait()

    def ended(self):
        """With nothing left to read."""
        return self.process.poll() is not None and not self._open

    def wait(self):
        """The exit status."""
        wait_until(self.ended, lambda: f"the end of {self}")
        return self.process.returncode

    def end(self):
        """The exit status; a process that still runs is told to end."""
        self.process.terminate()
        try:
            return self.wait()
        finally:
            self.process.kill()
            self.close_input()


class Case(unittest.TestCase):
    """Base of all tests: a scratch folder, an environment whose broadcast stays on loopback, addresses of the
    test's own on loopback. All that the test starts is ended."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="harbolance-e2e-")
        self.addCleanup(folder.cleanup)
        self.scratch = pathlib.Path(folder.name)
        kept = ("PATH", "HOME", "LD_LIBRARY_PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")
        self.env = {key: os.environ[key] for key in kept if key in os.environ}
        self.env["LC_ALL"] = "C"
        self.env["LOCD_LOCAL_FILE"] = self.file("localaddr", f"127.0.0.1 255.0.0.0 {LOOPBACK_BROADCAST}\n")
        numbers = random.SystemRandom()
        self._network = f"127.{numbers.randrange(1, 255)}.{numbers.randrange(1, 255)}"

    def host(self, number):
        """An address that no other test uses. The first is 1."""
        return f"{self._network}.{number}"

    def hosts(self, count):
        return [self.host(number) for number in range(1, count + 1)]

    def file(self, name, text):
        path = self.scratch / name
        path.write_text(text, encoding="latin-1")
        return path

    def _program(self, words, env, **told):
        environment = {key: str(value) for key, value in {**self.env, **env}.items()}
        program = Program([str(PROGRAMS / words[0]), *map(str, words[1:])], environment, **told)
        self.addCleanup(lambda: (program.end(),
                                 self.assertNotRegex(program.err, "Sanitizer|runtime error:")))
        return program

    def start(self, *words, **env):
        """A program that goes on until the test ends it, or the end of the test does. It has to end with 0."""
        program = self._program(words, env)
        self.addCleanup(lambda: program.killed or self.assertEqual(program.end(), 0, program))
        return program

    def run_program(self, *words, typed="", stdin=subprocess.PIPE, **env):
        """Runs a program to its end."""
        program = self._program(words, env, stdin=stdin)
        if typed:
            program.type(typed)
        program.close_input()
        status = program.wait()
        return Result(program.out, program.err, status)

    def expect(self, result, out="", err="", status=0):
        self.assertEqual(result, Result(out, err, status))

    def start_locd(self, host, port=0, *words, **env):
        """A location agent that is ready; without a port it has one of this process's own."""
        program = self.start("locd", "--address", host, "--port", port or free_port([host]), *words, **env)
        program.host = host
        program.port = int(program.wait_line(r"locd: listening on \S+ port (\d+)").group(1))
        return program

    def fake_agent(self, host, port=0, **told):
        agent = FakeAgent(host, port or free_port([host]), **told)
        self.addCleanup(agent.end)
        return agent

    def fake_domain(self, count=3):
        """Agents at one port that know each other."""
        hosts = self.hosts(count)
        port = free_port(hosts)
        return [self.fake_agent(host, port, others=[Place(other, port) for other in hosts if other != host])
                for host in hosts]

    def client(self, agent, **told):
        client = Client(agent, **told)
        self.addCleanup(client.end)
        return client


def key_of(record):
    """What a message is: ("request", LOGIN), ("reply", ACKNOWLEDGED), ("message", LOCATE_AGENT) ..."""
    if record.kind == "DSRequest":
        return ("request", record.requestType)
    return ("message", record.msgType) if record.kind == "DSAMessage" else ("reply", record.replyType)


def octets_of(message):
    return message if isinstance(message, bytes) else wire.datagram(message)


class Endpoint:
    """Sockets that the waits of the test serve, and what was heard on them.

    `script` maps a kind of message (`key_of`) to what it is answered: SILENT, octets or a record; a status, which
    replaces that of the usual answer; or a function of the message that returns one of these or None, the usual.
    """

    def __init__(self, script=None):
        self.heard, self.script, self._sockets = [], dict(script or {}), []

    def open(self, sock, handler=None):
        self._sockets.append(watch(sock, handler or self._read))
        return sock

    def _read(self, sock):
        octets, sender = sock.recvfrom(65536)
        record = wire.parse_datagram(octets)
        self.heard.append(Heard(record, sender, time.monotonic()))
        told = self.script.get(key_of(record))
        told = told(record) if callable(told) else told
        answer = self.usual_answer(record) if told is None or isinstance(told, int) else told
        if isinstance(told, int):
            answer.status = told
        if answer is not None and answer is not SILENT:
            sock.sendto(octets_of(answer), sender)

    def all(self, key):
        """What was heard of that kind."""
        return [heard for heard in self.heard if key_of(heard.record) == key]

    def wait_for(self, key, count=1):
        """Until so many messages of that kind have come; the last of them."""
        wait_until(lambda: len(self.all(key)) >= count,
                   lambda: f"{count} {key}, heard {[key_of(one.record) for one in self.heard]}")
        return self.all(key)[count - 1]

    def end(self):
        """Closes the sockets: nothing is answered any more."""
        while self._sockets:
            close(self._sockets.pop())


class FakeAgent(Endpoint):
    """A location agent that does as it is told.

    By default it lets everybody log in, takes every registration, and lists `names`, `providers` and `others`.
    `tcp` is what its TCP endpoint does: serve; mute, reads and never answers; hang or cut, stops or closes within
    the answer; close, at once; garbage; huge, answers with an absurd length. It may be a function of the query.
    """

    def __init__(self, host, port, names=(), providers=(), others=(), tcp="serve", broadcast=False, **told):
        super().__init__(**told)
        self.host, self.port, self.tcp = host, port, tcp
        self.names, self.providers, self.others = list(names), list(providers), list(others)
        self.queries = []  # what came over TCP
        self._udp = self.open(udp_socket(host, port))
        if broadcast:
            self.open(udp_socket(LOOPBACK_BROADCAST, port))
        self.tcp_port = self.open(socket.create_server((host, 0)), self._accept).getsockname()[1]

    def usual_answer(self, record):
        kind, code = key_of(record)
        if kind == "message" and code in (wire.LOCATE_AGENT, wire.TCP_ENDPOINT):
            told = (wire.LOCATED, self.port) if code == wire.LOCATE_AGENT else (0, self.tcp_port)
            return wire.agent_reply(told[0], record, 0, wire.addr(self.host, told[1]))
        if kind != "request" or code == wire.END:
            return None
        answer = wire.reply({wire.LOGIN: wire.LOGIN_ANSWERED, wire.ALIVE: wire.ALIVE_ANSWERED}.get(code, 0), record)
        if code == wire.LIST_AGENTS:
            answer.reply = wire.record_set(wire.addr(*other) for other in self.others)
        elif code == wire.LOCATE:
            answer.reply = next(iter(self._found(record.request)), None)
            answer.status = 0 if answer.reply else -1
        return answer

    def _found(self, name):
        return [one for one in self.providers
                if (one.name.name, one.name.serviceType) == (name.name, name.serviceType)]

    def _accept(self, listener):
        connection = wire.Connection(listener.accept()[0])
        self.open(connection.sock, lambda _: self._serve(connection))
        if self.tcp == "close":
            close(connection.sock)

    def _serve(self, connection):
        try:
            record = connection.receive()
            if record:
                self.queries.append(record)
                found = self.names if record.requestType == wire.LIST_NAMES else self._found(record.request)
                octets = connection.encode(wire.reply(0, record, 0, wire.record_set(found)))
                manner = self.tcp(record) if callable(self.tcp) else self.tcp
                connection.sock.sendall({
                    "mute": b"", "cut": octets[:-8], "hang": octets[:-8], "garbage": wire.framed(b"\xff" * 60),
                    "huge": b"\x7f\xff\xff\xff" + octets[4:]}.get(manner, octets))
            if not record or manner == "cut":
                close(connection.sock)
        except OSError:
            close(connection.sock)  # the client had enough of it

    def client(self):
        """Who logged in last."""
        return self.all(("request", wire.LOGIN))[-1].sender

    def send(self, message, to=None):
        """A message of the agent's own, to the last client that logged in; octets go out as they are."""
        self._udp.sendto(octets_of(message), to or self.client())


class Client(Endpoint):
    """A client that can log in to the agent, and answers it. Are-you-alive comes on a port of its own."""

    ANSWERS = {("request", wire.ALIVE): wire.ALIVE_ANSWERED, ("request", wire.END): wire.END_ANSWERED,
               ("reply", wire.NOTIFICATION): wire.ACKNOWLEDGED}

    def __init__(self, agent, host="127.0.0.1", **told):
        super().__init__(**told)
        self._agent, self._asked = agent, None
        self.agent_place = agent.host, agent.port
        self._udp = self.open(udp_socket(host))
        self.address = self._udp.getsockname()
        self.verify_port = self.open(udp_socket(host)).getsockname()[1]

    def usual_answer(self, record):
        # What answers a question of this client's is not acknowledged, whatever its type.
        if key_of(record) in self.ANSWERS and getattr(record, "requestNum", None) != self._asked:
            return wire.reply(self.ANSWERS[key_of(record)], record)
        return None

    def send(self, message):
        self._udp.sendto(octets_of(message), (self._agent.host, self._agent.port))

    def ask(self, record):
        """Sends and waits for the answer by its number, sending again each second."""
        self._asked, begin, sent = record.msgNum, len(self.heard), 0

        def answer():
            nonlocal sent
            if time.monotonic() > sent + 1:
                self.send(record)
                sent = time.monotonic()
            return next((heard.record for heard in self.heard[begin:]
                         if getattr(heard.record, "requestNum", None) == record.msgNum), None)

        return wait_until(answer, f"an answer to {record}")

    def log_in(self):
        return self.ask(wire.request(wire.LOGIN, wire.login(self.verify_port)))

    def list_connection(self):
        """To the agent's TCP endpoint."""
        endpoint = self.ask(wire.agent_message(wire.TCP_ENDPOINT)).object
        sock = socket.create_connection((endpoint.addr, endpoint.port))
        self._sockets.append(sock)
        return wire.Connection(sock)

    def query(self, question):
        """The members of a list."""
        connection = self.list_connection()
        with connection.sock:
            connection.send(question)
            return connection.receive().reply.members

    def names(self):
        return sorted(one.name for one in self.query(wire.request(wire.LIST_NAMES)))

    def wait_for_others(self, *agents):
        """Until the agent lists these and no more."""
        def others():
            return {(one.addr, one.port) for one in self.ask(wire.request(wire.LIST_AGENTS)).reply.members}
        wait_until(lambda: others() == {(agent.host, agent.port) for agent in agents}, lambda: f"not {others()}")

    def end(self):
        if self._sockets:
            self.send(wire.request(wire.END))  # an agent that ends next need not wait for this client
        super().end()
