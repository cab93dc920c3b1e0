"""The location service of a process (location_probe), against a simulated agent, real servers and dying ones. Rows are
commands of the probe and their results."""

import pathlib
import socket
import unittest

import giop
import wire
from calls_test import CallCase
from harness import wait_until

A, ECHO, OAD = "IDL:A:1.0", "IDL:Calls/Echo:1.0", "Activation::OAD"
WATCH, UNWATCH = ("request", wire.REGISTER_TRIGGER), ("request", wire.UNREGISTER_TRIGGER)
REGISTER, UNREACHABLE = ("request", wire.REGISTER), ("message", wire.UNREACHABLE)


def reference(key, name, port):
    return giop.reference(key, "127.0.0.1", port, giop.object_key(key, name))


def provider(key, name="", port=7, service=4, told=None, text=None, agent=None):
    """Registered with the agent, which only matters where it is told that the provider is down."""
    one = wire.provider(text or key, port=port, service=service, reference=told or reference(key, name, port))
    return one.with_(agentAddr=wire.addr(agent.host, agent.port)) if agent else one


def described(key, name="-", port=7, more="", agent="127.0.0.1"):
    return f"{key} {name} 127.0.0.1:{port} {agent}{more}"


def host_name(address):
    try:
        return socket.gethostbyaddr(address)[0]
    except socket.herror:
        return address


class LocationCase(CallCase):
    def probe(self, agent, *options):
        probe = self.start("location_probe", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, "-OAipaddr",
                           "127.0.0.1", *options)
        probe.taken = {True: 0, False: 0}  # results, events
        self.said(probe, "ready 1")
        return probe

    def service(self, *options, **told):
        agent = self.fake_agent(self.host(1), **told)
        return agent, self.probe(agent, *options)

    def line(self, probe, is_result):
        """The next result of a command, or the next event."""
        def lines():
            return [line for line in probe.lines() if line.startswith("= ") == is_result]
        wait_until(lambda: len(lines()) > probe.taken[is_result], lambda: probe)
        probe.taken[is_result] += 1
        return lines()[probe.taken[is_result] - 1]

    def said(self, probe, event):
        self.assertEqual(self.line(probe, False), event)

    def ask(self, probe, command, result="ok"):
        probe.type(command + "\n")
        self.assertEqual((command, self.line(probe, True)), (command, f"= {result}"))

    def expect(self, probe, command, *members):
        """A list, in any order."""
        probe.type(command + "\n")
        said = self.line(probe, True)[2:].split(" | ")
        self.assertEqual([said[0], *sorted(said[1:])], [str(len(members)), *sorted(members)], command)


class Descriptions(LocationCase):
    def test_what_cannot_be_described_is_left_out(self):
        good = provider(A, "x")
        bad = [provider(A, told=text, port=port) for port, text in enumerate((
            "IOR:", "IOR:00", "garbage", "IOR:" + "f" * 4000, "IOR:0020202000000001002020200000000000",  # no profiles
            "IOR:" + giop.Writer().octet(1).string(A).ulong(1).ulong(99).sequence(b"x").octets.hex(),
            "IOR:" + giop.ior(A, b"\1\1").hex()), 100)] + [wire.provider(A, port=90), wire.addr("1.2.3.4", 5)]
        # A key of another make, or one that is cut short, names nothing.
        foreign, cut = (provider(A, told=giop.reference(A, "127.0.0.1", port, key), port=port)
                        for port, key in ((8, b"Z" * 20), (9, b"\1QMC" + bytes(8))))
        agent, probe = self.service(names=[one.name.with_(name=f"n{i}") for i, one in enumerate((*bad[:-1], good))])
        agent._found = lambda name: [good, foreign, *bad, cut] if (name.name, name.serviceType) == (A, 4) else []
        self.expect(probe, "ids", A)
        self.expect(probe, f"descs {A}", described(A, "x"), described("-", port=8), described("-", port=9))
        # A profile of another transport makes an object all the same, which cannot be called.
        self.expect(probe, f"objects {A}", "x", "-", "-", "-", "-")

    def test_operations(self):
        agent, probe = self.service()
        for command, result in (("ids", 0), ("count", "0 0"), ("descs X", 0), ("objects", "Fail 1")):
            self.ask(probe, command, result)
        agent.providers = [provider(A, "x"), provider(A, "y", 9), provider(A, "z", 8, 5), provider(OAD, "d", 9),
                           provider(A, "y", 9, text=f"{A}_y")]
        agent.names = [one.name for one in agent.providers]
        # Without the daemons' addresses nothing is activable by its own.
        x, y, z = described(A, "x"), described(A, "y", 9), described(A, "z", 8, " activable")
        self.ask(probe, "oads 0")
        self.expect(probe, f"descs {A}", x, y, z)
        for refreshed in "10":
            self.ask(probe, f"oads {refreshed}")
            self.expect(probe, f"descs {A} y", f"{y} activable")
        self.ask(probe, "count", "2 2")
        self.expect(probe, f"descs {OAD}", described(OAD, "d", 9))
        self.expect(probe, "ids", A, OAD)
        self.expect(probe, f"objects {A}", "x", "y", "z")
        agent.tcp = "cut"
        self.ask(probe, "ids", "Fail 4")

    def test_traces(self):
        agent, probe = self.service("-LOCdebug", "1")
        agent.providers = [provider(A, told="IOR:junk"), provider(OAD, port=9)]
        agent.names = [one.name for one in agent.providers]
        host = host_name(agent.host)
        self.expect(probe, "ids", OAD)
        self.expect(probe, f"objects {A}")
        self.expect(probe, "agents", host)
        agent.tcp = "cut"
        self.ask(probe, "ids", "Fail 4")
        said = probe.out.replace(agent.names[1].value.name, "IOR:oad").replace(host, "HOST")
        self.assertEqual(said, (pathlib.Path(__file__).parent / "golden/location_trace.txt").read_text())


class Verification(LocationCase):
    def test_the_dead_are_left_out_and_told(self):
        server, silent = self.server("echo"), self.listener()
        silent.answer = lambda peer, one: None
        quiet = reference(ECHO, "quiet", silent.port)
        absent = giop.reference(ECHO, server.host, server.port, giop.object_key(ECHO, "absent"))
        agent, probe = self.service("-LOCverify", "1")
        # The last is at a daemon's address, so it need not run.
        agent.providers = [provider(ECHO, told=text, port=port, agent=agent) for port, text in enumerate((
            server.reference, reference(ECHO, "gone", 1), absent, quiet, quiet, quiet), 50)] + [provider(OAD, port=55)]
        self.expect(probe, f"descs {ECHO}", described(ECHO, "echo", server.port, "", agent.host),
                    described(ECHO, "quiet", silent.port, " activable", agent.host))
        agent.wait_for(UNREACHABLE, 4)
        self.assertEqual(sorted(heard.record.object.addr.port for heard in agent.all(UNREACHABLE)), [51, 52, 53, 54])
        # Two objects of the silent server cost one wait: where the first is, and the call.
        self.assertEqual(silent.requests(), 2)


class Triggers(LocationCase):
    def setUp(self):
        super().setUp()
        self.echo = self.server("echo")
        self.agent, self.client = self.service()
        self.up = described(ECHO, "echo", self.echo.port, "", self.agent.host)

    def notify(self, text=ECHO, status=0, told=None):
        one = provider(ECHO, text=text, told=told or self.echo.reference, agent=self.agent)
        self.agent.send(wire.reply(wire.NOTIFICATION, None, status, one))

    def test_the_life_of_a_trigger(self):
        text = f"{ECHO}_echo"
        self.ask(self.client, f"watch quiet {ECHO} echo")
        name = self.agent.wait_for(WATCH).record.request
        self.assertEqual((name.name, name.argType, name.serviceType, name.value), (text, 1, 4, None))
        self.notify(text)
        self.said(self.client, f"quiet ready {self.up}")
        # What is no object is passed over, what cannot be called is told to the agent; the trigger stays.
        self.notify(text, told="IOR:junk")
        self.agent.send(wire.reply(wire.NOTIFICATION, None, 0, wire.provider(text)))
        self.notify(text, told=reference(ECHO, "gone", 1))
        self.agent.wait_for(UNREACHABLE)
        self.notify(text, wire.DOWN)
        self.said(self.client, f"quiet down {self.up}")
        for other in (f"quiet {ECHO}", f"other {ECHO} echo"):
            self.ask(self.client, f"unwatch {other}", "Fail 3")
        self.ask(self.client, f"unwatch quiet {ECHO} echo")
        self.agent.wait_for(UNWATCH)
        self.ask(self.client, f"unwatch quiet {ECHO} echo", "Fail 3")
        self.ask(self.client, f"watch quiet {ECHO} echo 10.0.0.1")
        self.assertEqual(self.agent.wait_for(WATCH, 2).record.request.name, f"10.0.0.1_{text}")

    def test_handlers_that_fail_or_leave(self):
        # The registration itself tells of what is there.
        there = provider(ECHO, told=self.echo.reference, agent=self.agent)
        self.agent.script[WATCH] = lambda record: wire.reply(wire.NOTIFICATION, record, 0, there)
        for count, handler in enumerate(("raise", "leave"), 1):
            self.ask(self.client, f"watch {handler} {ECHO}")
            self.said(self.client, f"{handler} ready {self.up}")
            self.agent.wait_for(UNWATCH, count)
            self.ask(self.client, f"unwatch {handler} {ECHO}", "Fail 3")
        self.agent.script.clear()
        # Three with one description: two are taken back, and the other still hears, though it refuses.
        for handler in ("refuse", "quiet", "quiet"):
            self.ask(self.client, f"watch {handler} {ECHO}")
        self.agent.wait_for(WATCH, 5)
        self.client.type(f"unwatch quiet {ECHO}\n" * 2)
        self.assertEqual([self.line(self.client, True) for _ in range(2)], ["= ok"] * 2)
        for status, event in ((0, "ready"), (wire.DOWN, "down")):
            self.notify(status=status)
            self.said(self.client, f"refuse {event} {self.up}")
        def ended():  # a request may be sent again
            return len({one.record.msgNum for one in self.agent.all(UNWATCH)})
        self.assertEqual(ended(), 2)
        self.ask(self.client, f"unwatch refuse {ECHO}")
        wait_until(lambda: ended() == 3, "the end of the last")

    def test_an_object_that_a_handler_makes(self):
        """While the session waits for an answer it is announced as soon as that is there."""
        def told_meanwhile(_):
            self.notify()
        self.ask(self.client, f"watch make {ECHO}")
        self.agent.wait_for(WATCH)
        self.agent.script[WATCH] = told_meanwhile
        self.ask(self.client, f"watch quiet {ECHO} other")
        self.said(self.client, f"make ready {self.up}")
        wait_until(lambda: any("_made" in one.record.request.name.name for one in self.agent.all(REGISTER)),
                   "its announcement")

    def test_handlers_in_other_processes(self):
        for count, name in enumerate(("quiet", "exit", "raise"), 1):
            other = self.probe(self.agent)
            other.type(f"handler {name}\n")
            self.ask(self.client, f"watch {self.line(other, True)[2:]} {ECHO} {name}")
            text = self.agent.wait_for(WATCH, count).record.request.name
            self.notify(text)
            self.said(other, f"{name} ready {self.up}")
            other.killed = name == "exit"
            if name != "quiet":
                self.assertEqual(self.agent.wait_for(UNWATCH, count - 1).record.request.name, text)


if __name__ == "__main__":
    unittest.main()
