"""Calls between processes, and what hostile or dying peers do to them."""

import os
import resource
import signal
import socket
import struct
import time
import unittest

import giop
import harness
from giop import NO_EXCEPTION, SYSTEM_EXCEPTION, Writer, message, reply, reply_of, request
from harness import PATIENCE, wait_until

TYPE = "IDL:Calls/Echo:1.0"
NOT_THERE = giop.exception("OBJECT_NOT_EXIST", 0, 1)
LOCAL = ("-OAipaddr", "127.0.0.1", "-ORBagent", "0")
SANITIZED = b"__asan_init" in (harness.PROGRAMS / "calls_server").read_bytes()


class CallCase(harness.Case):
    def server(self, name="echo", *options, **env):
        program = self.start("calls_server", name, *LOCAL, "-OAtcpdelay", *options, **env)
        program.reference = program.wait_line("IOR:[0-9a-f]+$").group()
        program.host, program.port, program.key = giop.target(program.reference)
        return program

    def probe(self, reference, *options):
        program = self.start("calls_probe", reference, *LOCAL, "-ORBtcpdelay", *options)
        program.talked = 0
        return program

    def talk(self, probe, *rows, limit=PATIENCE):
        for row in rows:
            command = row.partition(": ")[0]
            probe.type(command + "\n")
            said = probe.wait_line("= .*", probe.talked, limit)
            probe.talked = len(probe.lines())
            self.assertEqual(f"{command}: {said.group()[2:]}", row)

    def connect(self, server):
        peer = RawPeer(socket.create_connection((server.host, server.port), PATIENCE))
        self.addCleanup(peer.close)
        return peer

    def listener(self):
        """A server of the test's own, whose handler answers one message with octets, or None, or closes."""
        server = FakeServer()
        self.addCleanup(server.close)
        return server


class RawPeer:
    """One connection, read and written by hand. What a wait of the test serves."""

    def __init__(self, sock, answer=None):
        self.sock, self.parser, self.messages, self.ended = sock, giop.Parser(), [], False
        self._answer = answer
        harness.watch(sock, self.read)

    def has_input(self):
        try:
            return self.sock.recv(1, socket.MSG_PEEK | socket.MSG_DONTWAIT) != b""
        except BlockingIOError:
            return False

    def read(self, sock):
        try:
            octets = sock.recv(65536)
        except ConnectionError:
            octets = b""
        for one in self.parser.feed(octets):
            self.messages.append(one)
            answer = self._answer(one) if self._answer else None
            if isinstance(answer, bytes):
                self.sock.sendall(answer)
        if not octets:
            self.ended = True
            self.close()

    def send(self, octets):
        self.sock.sendall(octets)

    def take(self, count=1):
        """The next messages."""
        wait_until(lambda: len(self.messages) >= count or self.ended, lambda: f"{count} messages: {self.messages}")
        taken, self.messages = self.messages[:count], self.messages[count:]
        return taken

    def reply(self):
        return reply_of(self.take()[0])

    def end(self):
        """All messages until the connection has ended."""
        wait_until(lambda: self.ended, lambda: f"the end, after {self.messages}")
        return self.messages

    def close(self):
        harness.close(self.sock)


class FakeServer:
    def __init__(self):
        self.sock = socket.create_server(("127.0.0.1", 0))
        self.port = self.sock.getsockname()[1]
        self.reference = giop.reference(TYPE, "127.0.0.1", self.port, b"key")
        self.answer, self.peers = None, []
        harness.watch(self.sock, self._accept)

    def _accept(self, sock):
        peer = RawPeer(sock.accept()[0], lambda one: self._answer(peer, one))
        self.peers.append(peer)

    def _answer(self, peer, one):
        if one.type == giop.LOCATE:  # a client asks so about a key that it does not understand
            return message(giop.LOCATED, one.body[:4] + struct.pack("<I", 1))
        return self.answer(peer, one)

    def requests(self):
        return sum(len(peer.messages) for peer in self.peers)

    def close(self):
        for closable in (self, *self.peers):
            harness.close(closable.sock)


def id_of(one):
    """Of a request without contexts."""
    return struct.unpack_from("<I" if one.little else ">I", one.body, 4)[0]


class Calls(CallCase):
    def test_what_is_called_answers(self):
        for reference in (self.server().reference, self.server("").reference):
            probe = self.probe(reference)
            self.talk(probe, "null 3: ok", "say hello: echo hello", "say no: Refused told so 7", "note 5: ok",
                      "notes: 5", "next 2: 0", "next 7: CORBA::BAD_PARAM 1", "give 0: ok", "give 1: ok",
                      "give 3000000: ok", "turn 1000: ok", "defer 64: ok", "exists: yes", f"is_a {TYPE}: yes",
                      "is_a IDL:Other:1.0: no", "hash: ok", "another: 2", "late: CORBA::OBJECT_NOT_EXIST 1",
                      "fail system: CORBA::NO_PERMISSION 2", "fail unknown: CORBA::UNKNOWN 1",
                      "fail user: Refused undeclared 0", "relay 10: 10", "relay 3000: CORBA::NO_RESOURCES 1",
                      "null 1: ok", "dropped: 2")

    def test_what_is_not_there(self):
        unreachable = giop.reference(TYPE, "127.0.0.1", 1, b"key")
        self.talk(self.probe(unreachable), "rebind 0: ok", "null 1: CORBA::NO_IMPLEMENT 1")
        server = self.server()
        probe = self.probe(giop.reference(TYPE, server.host, server.port, b"no key"))
        self.talk(probe, "null 1: CORBA::NO_IMPLEMENT 1", "exists: no")

    def test_a_server_that_dies_and_comes_back(self):
        server = self.server("echo")
        probe, other = self.probe(server.reference), self.probe(server.reference)
        self.talk(other, "rebind 0: ok", "null 1: ok")
        self.talk(probe, "null 1: ok")
        server.kill()
        server = self.server("echo", "-OAport", server.port)
        self.talk(probe, "say again: echo again")
        self.talk(other, "null 1: ok")
        server.killed = True
        self.talk(other, "crash: CORBA::COMM_FAILURE 1")

    def test_nothing_is_left_behind(self):
        probe = self.probe(self.server().reference)
        self.talk(probe, "load 500: 0 bounded")
        if not SANITIZED:  # sanitizers see every free
            self.talk(probe, "spent 100: 0")

    def test_a_server_ends_in_good_order(self):
        server = self.server()
        peer = self.connect(server)
        harness.unwatch(peer.sock)
        peer.send(request(1, server.key, "give", lambda body: body.sequence(bytes(8 << 20))))
        wait_until(peer.has_input, "the begin of the reply")  # whose rest waits in the server
        server.process.terminate()
        harness.watch(peer.sock, peer.read)
        self.assertEqual(len(peer.take()[0].body), 16 + (8 << 20))
        self.assertEqual(server.wait(), 0)


class Octets(CallCase):
    """A client of hand-made octets."""

    def expect_alive(self, server, peer, number=999):
        peer.send(request(number, server.key, "null"))
        self.assertEqual(peer.reply(), (number, NO_EXCEPTION, b""))

    def test_replies(self):
        server = self.server()
        peer = self.connect(server)

        def text(value):
            return lambda body: body.string(value)
        rows = [
            ("say", text("hi"), (NO_EXCEPTION, Writer().string("echo hi").octets)),
            ("say", text("no"), (1, Writer().string("IDL:Calls/Refused:1.0").string("told so").ulong(7).octets)),
            ("say", lambda body: body.sequence(b"no end"), (SYSTEM_EXCEPTION, giop.exception("MARSHAL", 0, 1))),
            ("next", lambda body: body.ulong(2), (NO_EXCEPTION, Writer().ulong(0).octets)),
            ("next", lambda body: body.ulong(3), (SYSTEM_EXCEPTION, giop.exception("BAD_PARAM", 0, 1))),
            ("take", lambda body: body.ulong(1 << 31), (SYSTEM_EXCEPTION, giop.exception("MARSHAL", 0, 1))),
            ("nothing", lambda body: body, (SYSTEM_EXCEPTION, giop.exception("BAD_OPERATION", 0, 1))),
            ("_get_notes", lambda body: body, (NO_EXCEPTION, Writer().ulong(0).octets)),
            ("note", lambda body: body.ulong(0), (NO_EXCEPTION, b"")),  # one-way, yet a response is expected
        ]
        for number, (operation, arguments, expected) in enumerate(rows):
            peer.send(request(number, server.key, operation, arguments))
            self.assertEqual(peer.reply(), (number, *expected), operation)
            # In the other byte order, and octet by octet.
            for octet in request(number, server.key, operation, arguments, little=False):
                peer.send(bytes([octet]))
            self.assertEqual(peer.reply()[:2], (number, expected[0]), operation)
        peer.send(request(50, server.key, "say", text("silent"), response=0))
        for key in (b"", b"\0" * 40, server.key[:-1], server.key[:9]):
            peer.send(request(51, key, "null") + giop.locate(52, key))
            replies = [reply_of(one) for one in peer.take(2)]
            self.assertEqual(replies, [(51, SYSTEM_EXCEPTION, NOT_THERE), (52, 0, b"")], key)
        peer.send(giop.locate(53, server.key))
        self.assertEqual(peer.reply()[:2], (53, 2))  # a name is answered with a shorter key
        many = b"".join(request(number, server.key, "null") for number in range(500))
        peer.send(many)
        self.assertEqual([reply_of(one) for one in peer.take(500)], [(n, NO_EXCEPTION, b"") for n in range(500)])

    def test_replies_that_leave_together(self):
        server, callee, asked = self.server(), self.listener(), []
        callee.answer = lambda peer, one: asked.append((peer, one))
        other = giop.profile("127.0.0.1", callee.port, b"key")
        says = [request(n, server.key, "say", lambda body, n=n: body.string(f"text {n}")) for n in range(64)]
        expected = [(n, NO_EXCEPTION, Writer().string(f"echo text {n}").octets) for n in range(64)]
        relay = request(64, server.key, "relay",
                        lambda body: body.string(TYPE).ulong(1).ulong(0).sequence(other).ulong(2))
        peer = self.connect(server)
        peer.send(b"".join(says) + relay)
        self.assertEqual([reply_of(one) for one in peer.take(64)], expected)
        # They have left although the servant of the last request waits.
        wait_until(lambda: asked, "the servant's call")
        asked[0][0].send(reply(id_of(asked[0][1]), results=lambda body: body.ulong(1)))
        self.assertEqual(peer.reply(), (64, NO_EXCEPTION, Writer().ulong(2).octets))
        # What ends the connection finds them gone.
        peer.send(b"".join(says) + message(giop.REQUEST, b"cut"))
        self.assertEqual([reply_of(one) for one in peer.end()], expected)

    def test_what_is_no_message(self):
        server = self.server()
        peer = self.connect(server)
        body = Writer().ulong(0).octets
        for octets in (message(0, body, magic=b"GIOQ"), message(0, body, version=(1, 1)),
                       message(0, body, version=(1, 2)), message(0, body, version=(2, 0)), message(7, body),
                       message(255, body, little=False), reply(1),
                       message(giop.LOCATED, Writer().ulong(1).ulong(1).octets)):
            peer.send(octets)
            self.assertEqual(peer.take()[0][::2], (giop.ERROR, b""), octets)
            self.expect_alive(server, peer)
        for octets in (message(giop.CANCEL, Writer().ulong(9).octets), message(giop.ERROR)):
            peer.send(octets)
            self.expect_alive(server, peer)
        for octets in (message(giop.CLOSE), message(0), message(0, b"\0\0\0"), message(3, b"\0"),
                       request(1, server.key, "null", contexts=1 << 31), request(1, server.key, "null", contexts=3),
                       message(0, Writer().ulong(0).ulong(1).octet(1).ulong(1 << 30).octets)):
            other = self.connect(server)
            other.send(octets)
            self.assertEqual(other.end(), [], octets)
        self.expect_alive(server, peer)

    def test_a_listener_on_loopback_is_on_loopback_only(self):
        for host in ("127.0.0.1", "localhost"):
            port = self.server("echo", "-OAipaddr", host).port
            socket.create_connection(("127.0.0.1", port), PATIENCE).close()
            with self.assertRaises(ConnectionRefusedError, msg=host):
                socket.create_connection(("127.0.0.2", port), PATIENCE).close()

    def test_sizes_that_lie_cost_nothing(self):
        server = self.server()
        peers = [self.connect(server) for _ in range(50)]
        for peer in peers:
            peer.send(message(0, b"\0", size=0xffffffff))
        self.expect_alive(server, self.connect(server))
        with open(f"/proc/{server.process.pid}/status") as status:
            peak = int(next(line for line in status if line.startswith("VmHWM")).split()[1])
        baseline = 50 * 64 + (16 << 10 if "Sanitizer" not in os.environ.get("HARBOLANCE_BUILD", "") else 1 << 20)
        self.assertLess(peak, baseline * 8)

    def test_urgent_data(self):
        """It ends a read, and is no part of the stream."""
        server = self.server()
        peer = self.connect(server)
        server.process.send_signal(signal.SIGSTOP)
        peer.send(request(1, server.key, "null"))
        peer.sock.send(b"!", socket.MSG_OOB)
        peer.send(request(2, server.key, "null") + request(3, server.key, "null"))
        server.process.send_signal(signal.SIGCONT)
        self.assertEqual([reply_of(one)[0] for one in peer.take(3)], [1, 2, 3])

    def test_peers_that_stop(self):
        server = self.server("echo", "-ORBstallLimit", 1)
        half, behind = self.connect(server), self.connect(server)
        half.send(request(1, server.key, "null")[:-1])
        behind.send(request(1, server.key, "null") + b"GIOP")
        small = request(1, server.key, "null")
        huge = request(1, server.key, "give", lambda body: body.sequence(bytes(4 << 20)))
        for requests in (small * (len(huge) // len(small)), huge):
            deaf = self.connect(server)
            harness.unwatch(deaf.sock)
            deaf.sock.settimeout(0.2)
            sent = 0
            with self.assertRaises(OSError, msg="the server reads more and more, and keeps the replies"):
                while sent < 12 * len(huge):
                    sent += deaf.sock.send(requests[sent % len(requests):])
        self.expect_alive(server, self.connect(server))
        self.assertEqual(half.end(), [])
        self.assertEqual(len(behind.end()), 1)
        with self.assertRaises(ConnectionError):
            deaf.sock.settimeout(PATIENCE)
            while True:
                deaf.send(huge)

    def test_many_connections(self):
        limit = self.server("echo", CALLS_CONNECTIONS=3)
        peers = [self.connect(limit) for _ in range(3)]
        for peer in (*peers, peers[0]):
            self.expect_alive(limit, peer)
        self.expect_alive(limit, self.connect(limit))
        self.assertEqual([one.type for one in peers[1].end()], [giop.CLOSE])  # idle for longest
        few = self.server("echo")
        count = 300  # the event loop has 256
        # A sanitizer's look at an object's type takes descriptors.
        if not SANITIZED:
            count = 60
            resource.prlimit(few.process.pid, resource.RLIMIT_NOFILE, (40, 40))
        crowd = [self.connect(few) for _ in range(count)]
        self.expect_alive(few, self.connect(few))
        del crowd


class Servers(CallCase):
    """Servers of hand-made octets."""

    def call(self, answer, *rows, **told):
        server = self.listener()
        server.answer = answer
        probe = self.probe(server.reference)
        self.talk(probe, *rows, **told)
        return server

    def test_replies_that_are_none(self):
        def bad(make):
            return lambda peer, one: make(id_of(one))
        for make, result in (
                (lambda id: reply(id, 4), "CORBA::BAD_PARAM 1"),
                (lambda id: reply(id, 1 << 31), "CORBA::BAD_PARAM 1"),
                (lambda id: reply(id + 1), "CORBA::OBJECT_NOT_EXIST 1"),
                (lambda id: reply(id, SYSTEM_EXCEPTION), "CORBA::MARSHAL 1"),
                (lambda id: message(giop.REPLY), "CORBA::MARSHAL 1"),
                (lambda id: message(giop.ERROR), "CORBA::INV_OBJREF 1"),
                (lambda id: request(id, b"key", "null"), "CORBA::INV_OBJREF 1"),
                (lambda id: message(9, bytes(4)), "CORBA::INV_OBJREF 1"),
                (lambda id: message(giop.REPLY, bytes(12), version=(1, 1)), "CORBA::INV_OBJREF 1"),
                (lambda id: message(giop.CLOSE, magic=b"GIOQ"), "CORBA::INV_OBJREF 1"),
                (lambda id: b"GARBAGE" * 9, "CORBA::INV_OBJREF 1")):
            with self.subTest(make(5)):
                self.call(bad(make), "rebind 0: ok", f"null 1: {result}")
        self.call(lambda peer, one: reply(id_of(one), results=lambda body: body.sequence(b"no end")), "rebind 0: ok",
                  "say x: CORBA::MARSHAL 1")
        self.call(lambda peer, one: reply(id_of(one), little=False, results=lambda body: body.string("big")),
                  "say x: big")

    def test_connections_that_end(self):
        answered = []

        def every_other(peer, one):
            answered.append(one)
            if len(answered) % 2:
                return reply(id_of(one)) + message(giop.CLOSE)
            peer.close()
        server = self.call(every_other, "null 1: ok", "null 1: ok")
        self.assertEqual(len(server.peers), 3)
        for last in (message(giop.CLOSE), b"GI", reply(0)[:-2]):
            def cut(peer, one, last=last):
                peer.send(last)
                peer.close()
            result = "NO_RESOURCES 1" if last == message(giop.CLOSE) else "COMM_FAILURE 1"
            self.call(cut, "rebind 0: ok", f"null 1: CORBA::{result}")

    def test_a_server_that_hangs_up_at_once(self):
        """It is called again, but not as fast as it hangs up."""
        times = []

        def fourth_only(peer, one):
            times.append(time.monotonic())
            if len(times) == 4:
                return reply(id_of(one))
            peer.close()
        self.call(fourth_only, "null 1: ok")
        self.assertGreater(times[3] - times[0], 0.13, times)

    def test_replies_that_come_late(self):
        server = self.listener()
        late = []

        def answer(peer, one):
            if one.type == giop.REQUEST:
                late.append(id_of(one))
            return b"".join(map(reply, late)) if len(late) == 3 else None
        server.answer = answer
        probe = self.probe(server.reference)
        self.talk(probe, "cancelled: CORBA::OBJECT_NOT_EXIST 1", "limits 0 1 0: ok", "null 1: CORBA::NO_RESPONSE 1",
                  "null 1: ok")
        self.assertEqual(len(server.peers), 1)

    def test_a_request_whose_time_ends_while_it_leaves(self):
        server = self.listener()
        server.answer = lambda peer, one: harness.unwatch(peer.sock)
        probe = self.probe(server.reference)
        self.talk(probe, "note 1: ok")
        wait_until(server.requests, "the peer that reads no more")
        # The octets are those of the caller, who frees them then.
        self.talk(probe, "limits 1 0 0: ok", f"take {8 << 20}: CORBA::NO_RESPONSE 1")
        peer = server.peers[0]
        harness.watch(peer.sock, peer.read)
        wait_until(lambda: len(peer.messages[-1].body) > 8 << 20, "the whole request")
        octets = peer.messages[-1].body[-(8 << 20):]
        self.assertEqual([octets[i] for i in range(0, 8 << 20, 4093)],
                         [(i * 7 + i // 251) % 256 for i in range(0, 8 << 20, 4093)])

    def test_a_reply_that_drips(self):
        server = self.listener()
        dripping = []
        server.answer = lambda peer, one: dripping.append((peer, reply(id_of(one))))
        probe = self.probe(server.reference)
        probe.type("limits 0 1 0\nnull 1\n")
        wait_until(lambda: dripping, "the request")
        peer, octets = dripping[0]
        started = time.monotonic()
        for octet in octets[:20]:
            peer.send(bytes([octet]))
            wait_until(lambda: len(probe.lines()) > 1 or time.monotonic() > started + 0.15 * len(octets), "time")
            started = time.monotonic()
            if len(probe.lines()) > 1:
                break
        probe.wait_line("= CORBA::NO_RESPONSE 1$")

    def test_forwards(self):
        real = self.server()
        target_profile = bytes.fromhex(real.reference[4:])[4:]
        hops = []

        def forward(reference):
            def answer(peer, one):
                hops.append(one)
                octets = bytes.fromhex(reference[4:])
                little = octets[0] & 1
                return message(giop.REPLY, struct.pack("<III" if little else ">III", 0, id_of(one), giop.FORWARD) +
                               octets[4:], bool(little))
            return answer
        self.assertTrue(target_profile)
        self.call(forward(real.reference), "say hi: echo hi", "say more: echo more")
        self.assertEqual(len(hops), 1)
        # Two servers that forward to each other for ever: every hop works, and the process goes on.
        one, two = self.listener(), self.listener()
        one.answer, two.answer = forward(two.reference), forward(one.reference)
        hops.clear()
        probe = self.probe(one.reference)
        probe.type("null 1\n")
        wait_until(lambda: len(hops) > 200, lambda: f"{len(hops)} hops")
        self.assertLess(len(one.peers) + len(two.peers), 5)
        two.answer = lambda peer, message: reply(id_of(message))
        probe.wait_line("= ok$")


if __name__ == "__main__":
    unittest.main()
