"""The location service of a process (location_probe), against a simulated agent, real servers and dying ones. Rows are
commands of the probe and their results."""

import pathlib
import socket
import time
import unittest

import giop
import wire
from calls_test import CallCase, id_of
from harness import Place, wait_until

OAD_ID = "IDL:tarnwicknet/Activation/OAD:1.0"
HANDLER = "IDL:tarnwicknet/ObjLocation/TriggerHandler:1.0"
WATCH, UNWATCH = ("request", wire.REGISTER_TRIGGER), ("request", wire.UNREGISTER_TRIGGER)
UNREACHABLE = ("message", wire.UNREACHABLE)
ECHO = "IDL:Calls/Echo:1.0"


def at(agent):
    return "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, "-OAipaddr", "127.0.0.1"


def provider(key, name="", port=7, service=4, reference=None, text=None):
    """Of the domain's own form, and under the agent's address 127.0.0.9."""
    reference = reference or giop.reference(key, "127.0.0.1", port, giop.object_key(key, name))
    return wire.provider(text or key, port=port, service=service, reference=reference, agent="127.0.0.9")


def host_name(address):
    try:
        return socket.gethostbyaddr(address)[0]
    except socket.herror:
        return address


def described(key, name="-", port=7, more=""):
    return f"{key} {name} 127.0.0.1:{port} 127.0.0.9{more}"


class LocationCase(CallCase):
    def service(self, *options, **told):
        agent = self.fake_agent(self.host(1), **told)
        probe = self.start("location_probe", *at(agent), *options)
        probe.wait_line("ready 1$")
        probe.talked = 1
        return agent, probe

    def expect(self, probe, command, *members):
        """A list, in any order."""
        probe.type(command + "\n")
        said = probe.wait_line("= .*", probe.talked).group()[2:].split(" | ")
        probe.talked = len(probe.lines())
        self.assertEqual([said[0], *sorted(said[1:])], [str(len(members)), *sorted(members)], command)


class Descriptions(LocationCase):
    def test_what_cannot_be_described_is_left_out(self):
        good = provider("IDL:A:1.0", "x")
        bad = [provider("IDL:A:1.0", reference=text, port=port) for port, text in enumerate((
            "IOR:", "IOR:00", "garbage", "IOR:" + "f" * 4000, "IOR:0020202000000001002020200000000000",  # no profiles
            "IOR:" + giop.Writer().octet(1).string("IDL:A:1.0").ulong(1).ulong(99).sequence(b"x").octets.hex(),
            "IOR:" + giop.ior("IDL:A:1.0", b"\1\1").hex()), 100)] + [wire.provider("IDL:A:1.0", port=90), wire.addr("1.2.3.4", 5)]
        # A key of another make, or one that is cut short, names nothing.
        foreign = provider("IDL:A:1.0", reference=giop.reference("IDL:A:1.0", "127.0.0.1", 8, b"Z" * 20), port=8)
        cut = provider("IDL:A:1.0", reference=giop.reference("IDL:A:1.0", "127.0.0.1", 9, b"\1QMC" + bytes(8)), port=9)
        agent, probe = self.service(names=[one.name.with_(name=f"n{i}") for i, one in enumerate((*bad[:-1], good))])
        agent._found = lambda name: [good, foreign, *bad, cut] if name.serviceType == 4 and "A" == name.name[4] else []
        self.expect(probe, "ids", "IDL:A:1.0")
        self.expect(probe, "descs IDL:A:1.0", described("IDL:A:1.0", "x"), described("-", port=8), described("-", port=9))
        # A profile of another transport makes an object all the same, which cannot be called.
        self.expect(probe, "objects IDL:A:1.0", "x", "-", "-", "-", "-")


    def test_operations(self):
        near, far, vault = provider("IDL:A:1.0", "x"), provider("IDL:A:1.0", "y", 9), provider("IDL:A:1.0", "z", 8, 5)
        agent, probe = self.service()
        self.talk(probe, "ids: 0", "count: 0 0", "descs IDL:A:1.0: 0", "objects: Fail 1", "descs: Fail 1",
                  f"agents: 1 | {host_name(agent.host)}")
        agent.providers = [near, far, vault, provider("Activation::OAD", "d", 9),
                           provider("IDL:A:1.0", "y", 9, text="IDL:A:1.0_y")]
        agent.names = [near.name, far.name.with_(name="IDL:A:1.0_y"), agent.providers[3].name]
        # Without the daemons' addresses nothing is activable by its own; running objects come first.
        x, y, z = (described("IDL:A:1.0", *told) for told in (("x",), ("y", 9), ("z", 8, " activable")))
        self.talk(probe, "oads 0: ok")
        self.expect(probe, "descs IDL:A:1.0", x, y, z)
        self.talk(probe, "oads 1: ok", f"descs IDL:A:1.0 y: 1 | {y} activable", "objects IDL:A:1.0 y: 1 | y",
                  "oads 0: ok", f"descs IDL:A:1.0 y: 1 | {y} activable", "count: 2 2", "oads 1: ok",
                  f"descs Activation::OAD: 1 | {described('Activation::OAD', 'd', 9)}")
        self.expect(probe, "ids", "IDL:A:1.0", "Activation::OAD")
        self.expect(probe, "objects IDL:A:1.0", "x", "y", "z")
        agent.tcp = "cut"
        self.talk(probe, "ids: Fail 4", "objects IDL:A:1.0: Fail 4", "count: Fail 4")

    def test_traces(self):
        agent, probe = self.service("-LOCdebug", "1")
        agent.providers = [provider("IDL:A:1.0", reference="IOR:junk"), provider("Activation::OAD", port=9)]
        agent.names = [one.name for one in agent.providers]
        self.talk(probe, "ids: 1 | Activation::OAD", "objects IDL:A:1.0: 0", f"agents: 1 | {host_name(agent.host)}")
        agent.tcp = "cut"
        self.talk(probe, "ids: Fail 4")
        said = probe.out.replace(agent.providers[1].name.value.name, "IOR:oad").replace(host_name(agent.host), "HOST")
        self.assertEqual(said, (pathlib.Path(__file__).parent / "golden/location_trace.txt").read_text())


class Verification(LocationCase):
    def of(self, agent, reference, **told):
        """A provider of the object that the agent holds itself."""
        made = provider(ECHO, reference=reference, **told)
        made.agentAddr = wire.addr(agent.host, agent.port)
        return made

    def test_the_dead_are_left_out_and_told(self):
        server, silent = self.server("echo"), self.listener()
        silent.answer = lambda peer, one: None
        gone = giop.reference(ECHO, "127.0.0.1", 1, giop.object_key(ECHO, "gone"))
        absent = giop.reference(ECHO, server.host, server.port, giop.object_key(ECHO, "absent"))
        quiet = giop.reference(ECHO, "127.0.0.1", silent.port, giop.object_key(ECHO, "quiet"))
        agent, probe = self.service("-LOCverify", "1")
        agent.providers = [self.of(agent, text, port=port) for port, text in enumerate((server.reference, gone, absent, quiet), 50)]
        # Two objects of the silent server cost one wait.
        agent.providers += [self.of(agent, quiet, port=60), provider(OAD_ID, port=61), self.of(agent, quiet, port=61)]
        start = time.monotonic()
        activable = f"{ECHO} quiet 127.0.0.1:{silent.port} {agent.host} activable"
        self.expect(probe, f"descs {ECHO}", f"{ECHO} echo {server.host}:{server.port} {agent.host}", activable)
        self.assertLess(time.monotonic() - start, 1.9)
        agent.wait_for(UNREACHABLE, 4)
        self.assertEqual(sorted(heard.record.object.addr.port for heard in agent.all(UNREACHABLE)), [51, 52, 53, 60])


class Triggers(LocationCase):
    def notify(self, agent, record, status=0):
        agent.send(wire.reply(wire.NOTIFICATION, None, status, record))

    def said(self, probe, *rows):
        for row in rows:
            self.assertEqual(probe.wait_line("(?!= ).*", probe.talked).group(), row)
            probe.talked += 1

    def test_the_life_of_a_trigger(self):
        server, (agent, probe) = self.server("echo"), self.service()
        up = described(ECHO, "echo", server.port)
        there = provider(ECHO, reference=server.reference, text=f"{ECHO}_echo")
        self.talk(probe, f"watch quiet {ECHO} echo: ok")
        name = agent.wait_for(WATCH).record.request
        self.assertEqual((name.name, name.argType, name.serviceType, name.value), (f"{ECHO}_echo", 1, 4, None))
        self.notify(agent, there)
        self.said(probe, f"quiet ready {up}")
        # What is no object is passed over, one that cannot be called is told of; the trigger stays.
        self.notify(agent, provider(ECHO, reference="IOR:junk", text=f"{ECHO}_echo"))
        self.notify(agent, wire.provider(f"{ECHO}_echo"))
        dead = provider(ECHO, port=1, text=f"{ECHO}_echo")
        dead.agentAddr = wire.addr(agent.host, agent.port)
        self.notify(agent, dead)
        self.assertEqual(agent.wait_for(UNREACHABLE).record.object.addr.port, 1)
        self.notify(agent, there, wire.DOWN)
        self.said(probe, f"quiet down {up}")
        self.talk(probe, f"unwatch quiet {ECHO}: Fail 3", f"unwatch other {ECHO} echo: Fail 3",
                  f"unwatch quiet {ECHO} echo: ok")
        agent.wait_for(UNWATCH)
        self.talk(probe, f"unwatch quiet {ECHO} echo: Fail 3", f"watch quiet {ECHO} echo 10.0.0.1: ok")
        self.assertEqual(agent.wait_for(WATCH, 2).record.request.name, f"10.0.0.1_{ECHO}_echo")

    def test_handlers_that_fail_or_leave(self):
        server, (agent, probe) = self.server("echo"), self.service()
        there, up = provider(ECHO, reference=server.reference), described(ECHO, "echo", server.port)
        # The registration itself tells of what is there.
        agent.script[WATCH] = lambda record: wire.reply(wire.NOTIFICATION, record, 0, there)
        for count, handler in enumerate(("raise", "leave"), 1):
            self.talk(probe, f"watch {handler} {ECHO}: ok")
            self.said(probe, f"{handler} ready {up}")
            agent.wait_for(UNWATCH, count)
            self.talk(probe, f"unwatch {handler} {ECHO}: Fail 3")
        agent.script.clear()
        # Two with one description: one is taken back, and the other still hears, though it refuses.
        self.talk(probe, f"watch refuse {ECHO}: ok", f"watch quiet {ECHO}: ok")
        agent.wait_for(WATCH, 4)
        probe.type(f"unwatch quiet {ECHO}\n" * 2)
        wait_until(lambda: probe.lines()[probe.talked:] == ["= ok"] * 2, lambda: probe)
        probe.talked += 2
        for status, event in ((0, "ready"), (wire.DOWN, "down")):
            self.notify(agent, there, status)
            self.said(probe, f"refuse {event} {up}")
        self.assertEqual(len(agent.all(UNWATCH)), 2)

    def test_handlers_in_other_processes(self):
        server, (agent, probe) = self.server("echo"), self.service()
        for count, (name, ends) in enumerate((("quiet", 0), ("exit", 1), ("raise", 1)), 1):
            other = self.start("location_probe", *at(agent))
            other.type(f"handler {name}\n")
            reference = other.wait_line("= (IOR:.*)").group(1)
            other.talked = 2
            self.talk(probe, f"watch {reference} {ECHO} {name}: ok")
            text = agent.wait_for(WATCH, count).record.request.name
            self.notify(agent, provider(ECHO, reference=server.reference, text=text))
            self.said(other, f"{name} ready {described(ECHO, 'echo', server.port)}")
            other.killed = name == "exit"
            if ends:
                self.assertEqual(agent.wait_for(UNWATCH, count - 1).record.request.name, text)


if __name__ == "__main__":
    unittest.main()
