"""What the end-to-end tests stand on: programs as processes, agents and clients played by the tests.

`Case` gives each test a scratch folder, a clean environment whose broadcast stays on loopback, addresses of
its own on loopback, and ends all that the test started. `Program` is a process, `FakeAgent` a location
agent that does as it is told, `Client` the other side of one, `LossyRelay` a bad network between the two.

All waits are for conditions and have a limit, `PATIENCE`.
"""

import collections
import os
import pathlib
import random
import re
import selectors
import socket
import subprocess
import tempfile
import threading
import time
import unittest

import wire

PATIENCE = float(os.environ.get("HARBOLANCE_TEST_PATIENCE", "20"))
PROGRAMS = pathlib.Path(os.environ.get("HARBOLANCE_BIN", "build/release/bin")).resolve()

Result = collections.namedtuple("Result", "out err status seconds")


def wait_until(condition, what, limit=PATIENCE, pause=0.02):
    """The first true value of the condition."""
    end = time.monotonic() + limit
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"not within {limit} s: {what() if callable(what) else what}")
        time.sleep(pause)


def own_host():
    """The address that a search asks before any listed one."""
    try:
        return socket.gethostbyname(socket.gethostname())
    except OSError:
        raise unittest.SkipTest("this host's name has no address") from None


def free_port(hosts):
    """A port that is free for UDP at all of these addresses, below those the system hands out by itself.

    Broadcasts reach every agent of the machine on the same port, so tests that run side by side must not meet on one:
    each process has a share of the ports of its own.
    """
    shares = 128
    with open("/proc/sys/net/ipv4/ip_local_port_range", encoding="ascii") as limits:
        highest = max(int(limits.read().split()[0]), 12000)
    for _ in range(200):
        port = random.SystemRandom().randrange(10000, highest - shares)
        port += (os.getpid() - port) % shares
        taken = []
        try:
            for host in hosts:
                sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
                taken.append(sock)
                sock.bind((host, port))
            return port
        except OSError:
            continue
        finally:
            for sock in taken:
                sock.close()
    raise AssertionError(f"no free port at {hosts}")


class Program:
    """A process of the test. Its lines on both streams are collected apart as they come."""

    def __init__(self, words, env, name):
        self.name = name
        self.killed = False
        self._lines = {"out": [], "err": []}
        self._changed = threading.Condition()
        self._process = subprocess.Popen(words, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                         stderr=subprocess.PIPE, env=env, cwd="/")
        self._readers = [threading.Thread(target=self._read, args=pair, daemon=True)
                         for pair in (("out", self._process.stdout), ("err", self._process.stderr))]
        for reader in self._readers:
            reader.start()

    def _read(self, stream, pipe):
        for line in pipe:
            with self._changed:
                self._lines[stream].append(line.decode("latin-1"))
                self._changed.notify_all()
        with self._changed:
            self._lines[stream].append(None)
            self._changed.notify_all()

    @property
    def pid(self):
        return self._process.pid

    def text(self, stream="out"):
        with self._changed:
            return "".join(line for line in self._lines[stream] if line is not None)

    def lines(self, stream="out"):
        return self.text(stream).splitlines()

    def wait_line(self, pattern, stream="out", after=0, limit=PATIENCE):
        """The match of the first line, from line `after` on, that the pattern matches from its start."""
        compiled = re.compile(pattern)
        at = after

        def found():
            """The match, or None at the end of the stream."""
            nonlocal at
            while at < len(self._lines[stream]):
                line = self._lines[stream][at]
                match = line and compiled.match(line.rstrip("\n"))
                if match or line is None:
                    return (match,)
                at += 1
            return ()

        with self._changed:
            result = self._changed.wait_for(found, limit)
            if not result or not result[0]:
                raise AssertionError(f"{self.name}: no line '{pattern}' "
                                     f"{'before the end' if result else f'within {limit} s'}\n{self._said()}")
            return result[0]

    def _said(self):
        texts = {stream: "".join(line for line in lines if line) for stream, lines in self._lines.items()}
        return f"-- its output\n{texts['out']}-- its errors\n{texts['err']}"

    def type(self, line):
        self._process.stdin.write(line.encode("latin-1") + b"\n")
        self._process.stdin.flush()

    def close_input(self):
        self._process.stdin.close()

    def signal(self, number):
        self._process.send_signal(number)

    def kill(self):
        """As a crash would end it."""
        self.killed = True
        self._process.kill()
        self._process.wait(PATIENCE)

    def is_running(self):
        return self._process.poll() is None

    def wait(self, limit=PATIENCE):
        """The exit status."""
        try:
            status = self._process.wait(limit)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"{self.name} still runs after {limit} s\n{self._said()}") from None
        for reader in self._readers:
            reader.join(PATIENCE)
        return status

    def end(self):
        """Ends the process if it still runs. The exit status."""
        if self.is_running():
            self._process.terminate()
            try:
                self._process.wait(PATIENCE)
            except subprocess.TimeoutExpired:
                self.kill()
        status = self._process.wait()
        for reader in self._readers:
            reader.join(PATIENCE)
        for pipe in (self._process.stdin, self._process.stdout, self._process.stderr):
            try:
                pipe.close()
            except BrokenPipeError:
                pass
        return status


class Case(unittest.TestCase):
    """Base of all tests."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="harbolance-e2e-")
        self.addCleanup(folder.cleanup)
        self.scratch = pathlib.Path(folder.name)
        kept = ("PATH", "HOME", "LD_LIBRARY_PATH", "ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS")
        self.env = {key: os.environ[key] for key in kept if key in os.environ}
        self.env["LC_ALL"] = "C"
        self.env["LOCD_LOCAL_FILE"] = str(self.file("localaddr", "127.0.0.1 255.0.0.0 127.255.255.255\n"))
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

    def _command(self, words, env):
        environment = {**self.env, **{key: str(value) for key, value in (env or {}).items()}}
        return [str(PROGRAMS / words[0]), *map(str, words[1:])], environment

    def start(self, *words, env=None, name=None):
        """A program that goes on until the test ends it, or the end of the test does."""
        program = Program(*self._command(words, env), name or words[0])
        self.addCleanup(self._end_program, program)
        return program

    def _end_program(self, program):
        status = program.end()
        self._look_for_reports(program.text("err"))
        if not program.killed:
            self.assertEqual(status, 0, f"{program.name} ended\n{program.text('err')}")

    def _look_for_reports(self, errors):
        """Of the sanitizers."""
        for sign in ("Sanitizer", "runtime error:"):
            self.assertNotIn(sign, errors)

    def run_program(self, *words, env=None, limit=PATIENCE, typed=""):
        """Runs a program to its end."""
        begin = time.monotonic()
        command, environment = self._command(words, env)
        done = subprocess.run(command, env=environment, cwd="/", timeout=limit,
                              input=typed.encode("latin-1"), capture_output=True, check=False)
        self._look_for_reports(done.stderr.decode("latin-1"))
        return Result(done.stdout.decode("latin-1"), done.stderr.decode("latin-1"), done.returncode,
                      time.monotonic() - begin)

    def fake_agent(self, host, port=None, **told):
        agent = FakeAgent(host, free_port([host]) if port is None else port, **told)
        self.addCleanup(self._end_agent, agent)
        return agent

    def _end_agent(self, agent):
        agent.end()
        self.assertEqual(agent.errors, [], f"the agent at {agent.host} received what is not the protocol")

    def fake_domain(self, count=3):
        """Agents at one port that know each other."""
        hosts = self.hosts(count)
        port = free_port(hosts)
        agents = [self.fake_agent(host, port) for host in hosts]
        for agent in agents:
            agent.others = [(other.host, port) for other in agents if other is not agent]
        return agents

    def client(self, agent, **told):
        """A client of the agent at an address (host, port)."""
        client = Client(agent, **told)
        self.addCleanup(client.end)
        return client

    def start_locd(self, host, port=0, *words, env=None):
        """A location agent that is ready; its port is `program.port`, one of this process's own without a port."""
        port = port or free_port([host])
        program = self.start("locd", "--address", host, "--port", port, *words, env=env,
                             name=f"locd at {host}")
        program.port = int(program.wait_line(r"locd: listening on \S+ port (\d+)").group(1))
        program.address = (host, program.port)
        return program


def key_of(record):
    """What a message is: ("request", LOGIN), ("reply", ACKNOWLEDGED), ("message", LOCATE_AGENT) ..."""
    if record.kind == "DSRequest":
        return ("request", record.requestType)
    if record.kind in ("DSReply", "DSAReply"):
        return ("reply", record.replyType)
    return ("message", record.msgType)


Heard = collections.namedtuple("Heard", "record sender at")

SILENT = object()


class Endpoint:
    """A thread that reads UDP sockets and keeps what it heard."""

    def __init__(self):
        self.heard = []
        self.errors = []
        self._changed = threading.Condition()
        self._selector = selectors.DefaultSelector()
        self._wake_read, self._wake_write = os.pipe()
        self._selector.register(self._wake_read, selectors.EVENT_READ, None)
        self._ended = False
        self._thread = threading.Thread(target=self._run, daemon=True)

    def _watch(self, sock, handler):
        self._selector.register(sock, selectors.EVENT_READ, handler)

    def _run(self):
        while not self._ended:
            for event, _ in self._selector.select():
                if event.data is not None and not self._ended:
                    try:
                        event.data(event.fileobj)
                    except Exception as error:  # shown by the test that owns the endpoint
                        self.errors.append(repr(error))

    def _note(self, record, sender):
        """Before it is answered, so that the times of several endpoints tell the order."""
        with self._changed:
            self.heard.append(Heard(record, sender, time.monotonic()))
            self._changed.notify_all()

    def all(self, key):
        """What was heard of that kind."""
        with self._changed:
            return [heard for heard in self.heard if key_of(heard.record) == key]

    def wait_for(self, key, count=1, limit=PATIENCE):
        """Until so many messages of that kind have come; the last of them."""
        with self._changed:
            if not self._changed.wait_for(lambda: len(self.all(key)) >= count, limit):
                raise AssertionError(f"{len(self.all(key))} of {count} {key} within {limit} s; heard "
                                     f"{[key_of(heard.record) for heard in self.heard]}")
            return self.all(key)[count - 1]

    def end(self):
        """Falls silent for good."""
        if self._ended:
            return
        self._ended = True
        os.write(self._wake_write, b"x")
        if self._thread.is_alive():
            self._thread.join(PATIENCE)
        for event in list(self._selector.get_map().values()):
            if event.fileobj != self._wake_read:
                event.fileobj.close()
        self._selector.close()
        os.close(self._wake_read)
        os.close(self._wake_write)


class FakeAgent(Endpoint):
    """A location agent that does as it is told.

    By default it lets everybody log in, takes every registration, and lists `names`, `providers` and
    `others`. `script` maps a kind of message (`key_of`) to what happens instead: SILENT, a status, octets or
    a record to send, or a function of the message that returns one of these. `tcp` is what its TCP endpoint
    does:

        serve    answers                       cut      closes within the answer
        refuse   has no listener               hang     falls silent within it
        mute     reads and never answers       garbage  answers rubbish
        close    closes at once                huge     answers with an absurd length
    """

    def __init__(self, host, port, names=(), providers=(), others=(), login_status=0, script=None,
                 tcp="serve",
                 named=None, broadcast=False):
        super().__init__()
        self.host, self.port = host, port
        self.names, self.providers, self.others = list(names), list(providers), list(others)
        self.login_status = login_status
        self.script = dict(script or {})
        self.tcp = tcp
        self.named = named or (host, port)  # what it answers to a search
        self.client = None                  # who logged in last
        self.queries = []                   # what came over TCP
        self._udp = self._open_udp(host)
        if broadcast:
            self._watch(self._open_udp("127.255.255.255", own=False), self._read_udp)
        self._watch(self._udp, self._read_udp)
        self._listener = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
        self._listener.bind((host, 0))
        self.tcp_port = self._listener.getsockname()[1]
        if tcp != "refuse":
            self._listener.listen(16)
            self._watch(self._listener, self._accept)
        self._connections = []
        self._thread.start()

    def _open_udp(self, host, own=True):
        sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        if not own:
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        sock.bind((host, self.port))
        return sock

    def _read_udp(self, sock):
        octets, sender = sock.recvfrom(65536)
        record = wire.parse_datagram(octets)
        if key_of(record) == ("request", wire.LOGIN):
            self.client = sender
        self._note(record, sender)
        answer = self._answer(record)
        if answer is not None:
            self._udp.sendto(answer, sender)

    def _answer(self, record):
        """Octets, or None."""
        told = self.script.get(key_of(record))
        if callable(told):
            told = told(record)
        if told is SILENT:
            return None
        if isinstance(told, bytes):
            return told
        if isinstance(told, wire.Record):
            return wire.datagram(told)
        answer = self._usual_answer(record)
        if told is not None:
            answer.status = told
        return None if answer is None else wire.datagram(answer)

    def _usual_answer(self, record):
        kind, code = key_of(record)
        if kind == "message" and code == wire.LOCATE_AGENT:
            return wire.agent_reply(wire.LOCATED, record, 0, wire.addr(*self.named))
        if kind == "message" and code == wire.TCP_ENDPOINT:
            return wire.agent_reply(0, record, 0, wire.addr(self.host, self.tcp_port))
        if kind != "request" or code == wire.END:
            return None
        if code == wire.LOGIN:
            return wire.reply(wire.LOGIN_ANSWERED, record, self.login_status)
        if code == wire.ALIVE:
            return wire.reply(wire.ALIVE_ANSWERED, record)
        if code == wire.LIST_AGENTS:
            return wire.reply(0, record, 0, wire.record_set(wire.addr(*other) for other in self.others))
        if code == wire.LOCATE:
            found = self.found(record.request)
            return wire.reply(0, record, 0 if found else -1, found[0] if found else None)
        return wire.reply(0, record)

    def found(self, name):
        return [one for one in self.providers
                if (one.name.name, one.name.serviceType) == (name.name, name.serviceType)]

    def _list(self, record):
        if record.requestType == wire.LIST_NAMES:
            return self.names
        return self.found(record.request)

    def _accept(self, listener):
        sock, _ = listener.accept()
        self._connections.append(sock)
        threading.Thread(target=self._serve, args=(sock,), daemon=True).start()

    def _serve(self, sock):
        connection = wire.Connection(sock)
        try:
            while self.tcp != "close":
                record = connection.receive()
                if record is None:
                    break
                self.queries.append(record)
                if self.tcp == "mute":
                    continue
                octets = connection.encode(wire.reply(0, record, 0, wire.record_set(self._list(record))))
                if self.tcp == "garbage":
                    octets = wire.framed(b"\xff" * 60)
                if self.tcp == "huge":
                    octets = b"\x7f\xff\xff\xff" + octets[4:]
                sock.sendall(octets[:-8] if self.tcp in ("cut", "hang") else octets)
                if self.tcp == "cut":
                    break
            sock.close()
        except wire.WireError as error:
            self.errors.append(f"over TCP: {error!r}")
        except OSError:
            sock.close()  # the client had enough of it

    def send(self, record, to=None):
        """A message of the agent's own, to the last client that logged in; octets go out as they are."""
        self._udp.sendto(record if isinstance(record, bytes) else wire.datagram(record), to or self.client)

    def end(self):
        super().end()
        self._listener.close()
        for sock in self._connections:
            sock.close()


class Client(Endpoint):
    """A client that logs in to an agent and answers it. `mute` keeps kinds of messages unanswered."""

    def __init__(self, agent, host="127.0.0.1", mute=()):
        super().__init__()
        self.agent = agent
        self.mute = set(mute)
        self._udp = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._udp.bind((host, 0))
        self._verify = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._verify.bind((host, 0))
        self.address = self._udp.getsockname()
        self.verify_port = self._verify.getsockname()[1]
        self.checks = 0  # are-you-alive on the verify port
        self._watch(self._udp, self._read)
        self._watch(self._verify, self._read_check)
        self._thread.start()

    def _read(self, sock):
        octets, sender = sock.recvfrom(65536)
        record = wire.parse_datagram(octets)
        answer = None
        if key_of(record) == ("request", wire.ALIVE):
            answer = wire.reply(wire.ALIVE_ANSWERED, record)
        elif key_of(record) == ("request", wire.END):
            answer = wire.reply(wire.END_ANSWERED, record)
        elif record.kind == "DSReply" and record.replyType == wire.NOTIFICATION and not self._awaits(record):
            answer = wire.reply(wire.ACKNOWLEDGED, record)
        if answer is not None and key_of(record) not in self.mute:
            sock.sendto(wire.datagram(answer), sender)
        self._note(record, sender)

    def _awaits(self, record):
        return record.requestNum != 0 and record.requestNum == getattr(self, "_asked", None)

    def _read_check(self, sock):
        octets, sender = sock.recvfrom(65536)
        record = wire.parse_datagram(octets)
        self.checks += 1
        if "checks" not in self.mute:
            sock.sendto(wire.datagram(wire.reply(wire.ALIVE_ANSWERED, record)), sender)

    def send(self, record):
        self._udp.sendto(record if isinstance(record, bytes) else wire.datagram(record), self.agent)

    def ask(self, record, limit=PATIENCE):
        """Sends and waits for the answer by its number, sending again each second."""
        self._asked = record.msgNum
        with self._changed:
            begin = len(self.heard)
        end = time.monotonic() + limit
        while time.monotonic() < end:
            self.send(record)
            answer = self._wait_answer(record.msgNum, begin, min(1, limit))
            if answer is not None:
                return answer
        raise AssertionError(f"no answer to {record} within {limit} s")

    def _wait_answer(self, number, begin, limit):
        def answers():
            return [heard.record for heard in self.heard[begin:]
                    if heard.record.kind in ("DSReply", "DSAReply") and heard.record.requestNum == number]

        with self._changed:
            return next(iter(self._changed.wait_for(answers, limit)), None)

    def log_in(self):
        return self.ask(wire.request(wire.LOGIN, wire.login(verify_port=self.verify_port)))

    def query(self, record):
        """A list over the agent's TCP endpoint; the whole reply."""
        endpoint = self.ask(wire.agent_message(wire.TCP_ENDPOINT)).object
        with socket.create_connection((endpoint.addr, endpoint.port), timeout=PATIENCE) as sock:
            connection = wire.Connection(sock)
            connection.send(record)
            return connection.receive()

    def names(self):
        return sorted(one.name for one in self.query(wire.request(wire.LIST_NAMES)).reply.members)

    def wait_for_names(self, expected, limit=PATIENCE):
        expected = sorted(expected)
        wait_until(lambda: self.names() == expected, lambda: f"names {expected}, there are {self.names()}",
                   limit)

    def others(self):
        answer = self.ask(wire.request(wire.LIST_AGENTS))
        return sorted((one.addr, one.port) for one in answer.reply.members)

    def wait_for_others(self, expected, limit=PATIENCE):
        expected = sorted(expected)
        wait_until(lambda: self.others() == expected, lambda: f"agents {expected}, there are {self.others()}",
                   limit)

    def notifications(self):
        return self.all(("reply", wire.NOTIFICATION))

    def end(self):
        if not self._ended:
            self.send(wire.request(wire.END))  # an agent that ends next need not wait for this client
        super().end()


class LossyRelay(Endpoint):
    """A bad network in front of an agent: datagrams in both directions get lost, doubled and overtaken.

    Which ones depends on the seed and on their order alone. The answer to a search names the relay in place
    of the agent, so that the session talks through it too.
    """

    LOSS, DOUBLE, OVERTAKE = 0.3, 0.15, 0.15

    def __init__(self, host, port, agent, seed):
        super().__init__()
        self._agent = agent
        self._host, self._port = host, port
        self._random = {"out": random.Random(seed), "back": random.Random(seed + 1)}
        self._held = {}
        self.lost = {"out": 0, "back": 0}
        self.passed = {"out": 0, "back": 0}
        self._front = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._front.bind((host, port))
        self._ways = {}  # from a client's address to the socket that stands for it
        self._watch(self._front, self._read_front)
        self._thread.start()

    def _read_front(self, sock):
        octets, sender = sock.recvfrom(65536)
        if sender not in self._ways:
            way = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            way.bind((self._host, 0))
            self._ways[sender] = way
            self._watch(way, lambda back: self._read_back(back, sender))
        way = self._ways[sender]
        self._pass("out", octets, lambda one: way.sendto(one, self._agent))

    def _read_back(self, sock, client):
        octets, _ = sock.recvfrom(65536)
        record = wire.parse_datagram(octets)
        if record.kind == "DSAReply" and record.replyType == wire.LOCATED:
            octets = wire.datagram(record.with_(object=wire.addr(self._host, self._port)))
        self._pass("back", octets, lambda one: self._front.sendto(one, client))

    def _pass(self, way, octets, send):
        number = self._random[way].random()
        if number < self.LOSS:
            self.lost[way] += 1
            return
        self.passed[way] += 1
        if number < self.LOSS + self.OVERTAKE and way not in self._held:
            self._held[way] = (octets, send)  # goes behind the next one
            return
        send(octets)
        if number > 1 - self.DOUBLE:
            send(octets)
        if way in self._held:
            late, send_late = self._held.pop(way)
            send_late(late)
