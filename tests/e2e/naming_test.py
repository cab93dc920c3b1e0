"""Objects by name: servers announce them to agents and to activation daemons, clients find them there."""

import itertools
import unittest

import giop
import harness
import wire
from calls_test import TYPE, CallCase, id_of
from giop import reply
from harness import wait_until

OAD = "IDL:tarnwicknet/Activation/OAD:1.0"
SEARCH, LOGIN = ("message", wire.LOCATE_AGENT), ("request", wire.LOGIN)
KEY = b"\1QMC" + giop.Writer().ulong(0).string(TYPE).string("echo").octets
LOCATE, REGISTER = ("request", wire.LOCATE), ("request", wire.REGISTER)
UNREGISTER, UNREACHABLE = ("request", wire.UNREGISTER), ("message", wire.UNREACHABLE)


class NamingCase(CallCase):
    agent = None

    def domain(self, agent, host):
        return "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, "-OAipaddr", self.host(host)

    def named(self, *name, host=2, options=(), **env):
        program = self.start("calls_server", *name, *self.domain(self.agent, host), *options, **env)
        program.reference = program.wait_line("IOR:[0-9a-f]+$").group()
        return program

    def caller(self, *options):
        probe = self.start("calls_probe", *options, *self.domain(self.agent, 9))
        probe.talked = 0
        return probe


class Announcing(NamingCase):
    def setUp(self):
        super().setUp()
        self.agent = self.fake_agent(self.host(1))

    def told(self, key):
        return [heard.record.request for heard in self.agent.all(key)]

    def test_all_forms_of_all_interfaces(self):
        """The most derived interface first; what is reached twice is told once. All of it is taken back."""
        for options, ids in (((), ["IDL:Calls/{}:1.0"]), (("-ORBbackcompat", 1), ["IDL:Calls/{}:1.0", "Calls::{}"])):
            del self.agent.heard[:]
            server = self.named("pair", options=options, CALLS_KIND="both")
            host, port, _ = giop.target(server.reference)
            names = [form.format(text.format(kind)) for kind in ("Both", "Left", "Top", "Right") for text in ids
                     for form in ("{}", f"{host}_{{}}", f"{host}_{{}}_pair", "{}_pair")]
            providers = [wire.provider(name, host, port, reference=server.reference) for name in names]
            wait_until(lambda: len(self.told(REGISTER)) >= len(names), "all registrations")
            server.type("retire\n")
            wait_until(lambda: len(self.told(UNREGISTER)) >= len(names), "all withdrawals")
            for key in (REGISTER, UNREGISTER):
                self.assertEqual([one.with_(clientAddr=providers[0].clientAddr, agentAddr=providers[0].agentAddr)
                                  for one in self.told(key)], providers)
            server.end()

    def test_what_is_not_told(self):
        for name, options in (((), ()), (("echo",), ("-OAagent", 0)), (("echo",), ("-ORBagent", 0))):
            self.named(*name, options=options)
        self.assertEqual(self.agent.heard, [])
        self.named("")  # published, and yet without a name
        self.assertEqual([one.name.name for one in self.told(REGISTER)], [TYPE, f"{self.host(2)}_{TYPE}"])

    def test_what_goes_while_there_is_no_agent(self):
        """The next agent does not hear of it."""
        server = self.named("pair", CALLS_KIND="both", **harness.FAST_CLOCK)
        self.agent.end()
        server.type("retire\n")
        server.wait_line("Harbolance: Unable to locate agent", limit=60)
        self.agent = self.fake_agent(self.agent.host, self.agent.port)
        self.agent.wait_for(LOGIN)
        server.end()
        self.assertEqual(self.told(REGISTER), [])


class Finding(NamingCase):
    def setUp(self):
        super().setUp()
        self.agent = self.fake_agent(self.host(1))

    def provide(self, server, *names):
        self.agent.providers = [wire.provider(name, server.host, server.port, reference=server.reference)
                                .with_(agentAddr=wire.addr(self.agent.host, self.agent.port)) for name in names]

    def asked(self):
        """What has come since this was asked last."""
        heard, self.agent.heard[:] = list(self.agent.heard), []
        return [one.record.request.name if harness.key_of(one.record) == LOCATE else harness.key_of(one.record)
                for one in heard]

    def test_what_a_bind_costs(self):
        server = self.server("echo")
        names = [f"{TYPE}_echo", f"{self.host(7)}_{TYPE}_echo", TYPE]
        self.provide(server, *names)
        probe = self.caller()
        self.talk(probe, "bind echo: ok")
        self.assertEqual(self.asked(), [SEARCH, LOGIN, names[0]])
        self.talk(probe, "null 1: ok", "bind echo: ok", f"bind echo {self.host(7)}: ok", "bind: ok", "null 1: ok")
        self.assertEqual(self.asked(), names[1:])
        probe = self.caller("-ORBcacheDSQuery", 0)
        self.talk(probe, "bind echo: ok", "bind echo: ok")
        self.assertEqual(self.asked(), [SEARCH, LOGIN, names[0], names[0]])


    def test_what_a_provider_may_send(self):
        """Its reference leads nowhere: the address counts. Where that does, it is all there is."""
        server = self.server("echo")
        other_make = "IOR:" + giop.ior(TYPE, b"x" * 9).replace(bytes(4) + b"\x09", b"\5\0\0\0\x09").hex()
        for reference, bound in ((None, "ok"), ("IOR:zz", "ok"), ("IOR:" + bytes(12).hex(), "ok"),
                                 ("IOR:" + "00" * 3000, "ok"), (other_make, "CORBA::NO_IMPLEMENT 1"),
                                 (giop.reference(TYPE, "no.such.host.invalid", 1, b"k"), "CORBA::NO_IMPLEMENT 1")):
            self.agent.providers = [wire.provider(f"{TYPE}_echo", server.host, server.port, reference=reference)]
            self.talk(self.caller(), "limits 0 0 1: ok", f"bind echo: {bound}")

    def test_a_server_that_does_not_answer(self):
        """The agent is told, and asked once for another. The one that it goes on naming is tried for a while."""
        name = f"{TYPE}_echo"
        server = self.server("echo")
        self.provide(server, name)
        still, other = self.caller(), self.caller()
        self.talk(still, "bind echo: ok", "rebind 0: ok")
        self.talk(other, "bind echo: ok", "limits 0 0 1: ok")
        server.kill()
        self.asked()
        self.talk(still, "null 1: CORBA::NO_IMPLEMENT 1")
        self.agent.wait_for(UNREACHABLE)
        self.assertEqual(self.asked(), [UNREACHABLE])
        self.talk(other, "null 1: CORBA::NO_IMPLEMENT 1")
        asked = self.asked()
        self.assertEqual({*asked}, {UNREACHABLE, name})
        self.assertLess(len(asked), 40)
        self.agent.providers = []
        self.talk(other, "null 1: CORBA::NO_IMPLEMENT 1")
        self.asked()
        self.provide(self.server("echo"), name)
        self.talk(other, "null 1: ok")
        self.assertEqual(self.asked(), [name])
        # Two that do not answer, in turn.
        dead = itertools.cycle(wire.provider(name, "127.0.0.1", port) for port in (1, 2))
        self.agent.script[LOCATE] = lambda record: wire.reply(0, record, 0, next(dead))
        self.talk(self.caller(), "limits 0 0 1: ok", "bind echo: CORBA::NO_IMPLEMENT 1")
        self.assertLess(len(self.asked()), 40)


class Moves(NamingCase):
    """Servers and agents that come and go, with real agents."""

    def setUp(self):
        super().setUp()
        self.agent = self.start_locd(self.host(1), 0, "--check-interval", 2)

    def test_a_server_that_moves_is_followed(self):
        for kind, new_first in (("", True), ("", False), ("service", True)):
            old = self.named("echo", CALLS_KIND=kind)
            probe = self.caller(*[old.reference] if kind else [])
            self.talk(probe, *["bind echo: ok"] if not kind else [], "note 5: ok", "notes: 5")
            probe.type("moved 5\n")
            new = self.named("echo", host=3, CALLS_KIND=kind) if new_first else None
            old.end() if new_first else old.kill()
            new = new or self.named("echo", host=3, CALLS_KIND=kind)
            self.assertEqual(probe.wait_line("= .*", probe.talked).group(), "= ok", (kind, new_first))
            new.end()


    def test_a_server_that_dies(self):
        """The agent hears of it from the client that finds out."""
        server = self.named("echo")
        peer = self.client(self.agent)
        peer.log_in()
        self.assertIn(f"{TYPE}_echo", peer.names())
        server.kill()
        self.talk(self.caller(), "bind echo: CORBA::NO_IMPLEMENT 1")
        self.assertEqual(peer.names(), [])

    def test_agents_that_die_and_come_back(self):
        self.named("echo", **harness.FAST_CLOCK)
        probe = self.start("calls_probe", *self.domain(self.agent, 9), **harness.FAST_CLOCK)
        probe.talked = 0
        self.talk(probe, "bind echo: ok")
        self.agent.kill()
        self.talk(probe, "null 1: ok", "bind echo: ok", "bind other: CORBA::NO_IMPLEMENT 1", limit=40)
        self.agent = self.start_locd(self.agent.host, self.agent.port)
        peer = self.client(self.agent)
        peer.log_in()
        wait_until(lambda: f"{TYPE}_echo" in peer.names(), "the server", limit=40)
        self.talk(self.caller(), "bind echo: ok", "null 1: ok")


class Activation(NamingCase):
    """With a daemon of the test's own, which is found at the agent."""

    def setUp(self):
        super().setUp()
        self.agent = self.fake_agent(self.host(1))
        self.daemon = self.listener()
        self.daemon.answer = self.answer
        self.asked, self.results = [], {}
        reference = giop.reference(OAD, "127.0.0.1", self.daemon.port, b"daemon")
        for host, name in ((harness.own_host(), OAD), ("127.0.0.1", "Activation::OAD")):
            self.agent.providers.append(wire.provider(f"{host}_{name}", reference=reference))

    def answer(self, peer, one):
        operation = next((name for name in ("boa_activate_obj", "boa_deactivate_obj", "lookup_implementation")
                         if name.encode() in one.body), None)
        if not operation:
            return None  # a client that goes
        self.asked.append(operation)
        results = self.results.get(operation, lambda body: body)
        if callable(results):
            return reply(id_of(one), results=results)
        return reply(id_of(one), giop.USER_EXCEPTION, lambda body: body.string(results))

    def defined_as(self, interface, policy):
        return lambda body: (body.string(interface).string("echo").sequence(b"").string("/bin/true").ulong(policy)
                             .ulong(0).ulong(0))

    def test_references_by_policy(self):
        """A registered object is not announced. Its clients go to the daemon at once, or when the server is gone."""
        daemon = "127.0.0.1", self.daemon.port
        for interface, policy, first, others in ((TYPE, 0, None, True), (TYPE, 1, daemon, False),
                                                 (TYPE, 2, daemon, False), ("*", 1, None, False)):
            self.results["boa_activate_obj"] = self.defined_as(interface, policy)
            server = self.named("echo")
            host, port, key = giop.target(server.reference)
            self.assertEqual((host, port) == daemon, first == daemon)
            self.assertEqual(key, KEY)
            self.assertEqual(bytes.fromhex(server.reference[4:]).count(key), 2 if others else 1)
            server.end()
        self.results["boa_activate_obj"] = "IDL:tarnwicknet/Activation/NotRegistered:1.0"
        self.assertEqual(self.agent.all(REGISTER), [])
        self.named("echo")
        self.assertEqual(len(self.agent.all(REGISTER)), 4)

    def test_older_peers_ask_for_what_is_not_running(self):
        server = self.server("echo")
        self.agent.providers.append(wire.provider("Calls::Echo_echo", service=wire.OAD))
        self.results["lookup_implementation"] = lambda body: body.aligned(bytes.fromhex(server.reference[4:])[4:])
        self.talk(self.caller("-ORBbackcompat", 1), "bind echo: ok", "null 1: ok")
        self.assertEqual(self.asked[-1], "lookup_implementation")


if __name__ == "__main__":
    unittest.main()
