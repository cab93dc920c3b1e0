"""The session with an agent, in a process of its own (session_probe), against simulated agents and locd. Rows are
commands of the probe and their results: "locate a: 0 127.0.0.1:7"."""

import resource
import signal
import unittest

import harness
import wire
from calls_test import SANITIZED
from harness import FAST_CLOCK, FASTER, PATIENCE, SILENT, Place, wait_until

TIMED_OUT, UNKNOWN_TRIGGER, UNKNOWN, REGISTERED = 3, -992, -993, -994
BUSY, NOT_LOGGED_IN, NO_ANSWER, NO_AGENT = -997, -998, -999, -1000
LOCATE_AGENT, TCP_ENDPOINT = ("message", wire.LOCATE_AGENT), ("message", wire.TCP_ENDPOINT)
LOGIN, ALIVE, LOCATE, REGISTER, WATCH, LIST_AGENTS, END = [("request", kind) for kind in (
    wire.LOGIN, wire.ALIVE, wire.LOCATE, wire.REGISTER, wire.REGISTER_TRIGGER, wire.LIST_AGENTS, wire.END)]
ACKNOWLEDGED = ("reply", wire.ACKNOWLEDGED)
FOUND = "locate a: 0 127.0.0.1:7 of 127.0.0.1"


def notification(name, status=0, port=1):
    return wire.reply(wire.NOTIFICATION, None, status, wire.provider(name, port=port, reference="IOR:1"))


class SessionCase(harness.Case):
    def probe(self, agent, *words, logged_in=1, **env):
        """A process with a session; the agent is where it looks first."""
        probe = self.start("session_probe", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, *words, **env)
        probe.wait_line(f"ready {logged_in}$", limit=4 * PATIENCE)
        return probe

    def session(self, **told):
        """An agent that has the service a, and a process that is logged in to it."""
        agent = self.fake_agent(self.host(1), providers=[wire.provider("a", port=7)], **told)
        return agent, self.probe(agent)

    def pair(self):
        """Two agents at one port. The second gets those that the first does not take: where this host is asked,
        between the two, sits one that answers with a refusal at once."""
        hosts = self.hosts(2)
        port = harness.free_port(hosts + [harness.own_host()])
        self.fake_agent(harness.own_host(), port, script={LOCATE_AGENT: -1})
        self.env["LOCD_ADDR"] = hosts[1]
        return [self.fake_agent(host, port, providers=[wire.provider("a", port=7)]) for host in hosts]

    def result(self, probe, command, limit=PATIENCE):
        at = len(probe.lines())
        probe.type(command + "\n")
        return probe.wait_line("= (.*)$", after=at, limit=limit).group(1)

    def talk(self, probe, *rows, limit=PATIENCE):
        for row in rows:
            command = row.partition(": ")[0]
            self.assertEqual(f"{command}: {self.result(probe, command, limit)}", row)

    def expect_logged_in(self, probe, agent):
        self.talk(probe, f"state: 1 {agent.host}:{agent.port}")


class Requests(SessionCase):
    def test_registrations(self):
        agent, probe = self.session()
        self.talk(probe, "register b IOR:1: 0", f"register b: {REGISTERED}", f"unregister c: {UNKNOWN}",
                  "unregister b: 0", f"unregister b: {UNKNOWN}", f"untrigger b: {UNKNOWN_TRIGGER}",
                  "trigger b: 0", "untrigger b: 0", f"register {9000 * 'x'}: {NO_ANSWER}")
        self.assertIn("DSUser::registerProvider: The record does not fit in a datagram", probe.err)
        own = harness.own_host()
        sent = wire.provider("b", "127.0.0.1", 4711, own, own, reference="IOR:1")
        kinds = wire.REGISTER, wire.UNREGISTER, wire.REGISTER_TRIGGER, wire.UNREGISTER_TRIGGER
        self.assertEqual([[one.record.request for one in agent.all(("request", kind))] for kind in kinds],
                         [[sent], [sent], [wire.name("b")], [wire.name("b")]])
        agent.send(notification("b"))
        agent.wait_for(ACKNOWLEDGED)
        # One that is there already is in the answer.
        agent.script[WATCH] = lambda record: wire.reply(wire.NOTIFICATION, record, 0, wire.provider("b", port=7))
        self.talk(probe, "trigger b: 0")
        self.assertEqual(probe.lines()[-2:], ["up b:7", "= 0"])

    def test_locate_and_late_answers(self):
        agent, probe = self.session(script={LOCATE: SILENT})
        self.talk(probe, f"locate b 1: {TIMED_OUT}")
        late = wire.reply(0, agent.wait_for(LOCATE).record, 0, wire.provider("b", port=99))
        agent.script[LOCATE] = lambda record: agent.send(late)  # and then its own answer, which is taken
        self.talk(probe, FOUND, f"locate b: {UNKNOWN}")
        agent.script[LOCATE] = lambda record: wire.reply(0, record, 0, wire.name("no provider"))
        self.talk(probe, "locate a: 0")
        self.assertEqual(len({heard.record.msgNum for heard in agent.all(LOCATE)}), 4)

    def test_notifications(self):
        agent, probe = self.session()
        self.talk(probe, "trigger a: 0")
        up, down = notification("a", 0, 5), notification("a", wire.DOWN, 5)
        wrong = [wire.reply(wire.NOTIFICATION, None, 0, payload) for payload in (None, wire.name("a"))]
        for count, message in enumerate((up, up, down, down, notification("b"), *wrong), 1):
            agent.send(message)
            acknowledged = agent.wait_for(ACKNOWLEDGED, count).record
            self.assertEqual((acknowledged.requestNum, acknowledged.status), (message.msgNum, 0))
        self.talk(probe, "nested b: 0")
        self.assertEqual(probe.lines()[2:-1], ["up a:5", "down a:5"])

        # A handler runs inside a request, so that its own is refused; the wake-up sends the request again.
        def notify_first(_):
            agent.script.clear()
            agent.send(notification("b"))
            return SILENT

        agent.script[LOCATE] = notify_first
        self.talk(probe, FOUND)
        self.assertEqual(probe.lines()[-3:-1], ["up b:1", f"nested {BUSY}"])
        self.assertEqual(len({heard.record.msgNum for heard in agent.all(LOCATE)}), 1)
        for message in (notification("b", wire.DOWN), notification("b")):  # outside of one it is answered
            agent.send(message)
        probe.wait_line(f"nested {UNKNOWN}$")

    def test_the_agent_asks_whether_it_lives(self):
        agent, probe = self.session()
        first = wire.request(wire.ALIVE, cookie=b"\1\2\3\4")
        for question in (first, first, wire.request(wire.ALIVE), wire.request(77)):  # 77: nothing happens
            agent.send(question)
        answer, again, fresh = [agent.wait_for(("reply", wire.ALIVE_ANSWERED), at).record for at in (1, 2, 3)]
        self.assertEqual((answer.requestNum, answer.status, answer.cookie), (first.msgNum, 0, first.cookie))
        self.assertEqual(answer, again, "a repeat gets the stored answer")
        self.assertNotEqual(answer.msgNum, fresh.msgNum)
        self.expect_logged_in(probe, agent)
        # And an idle session asks the same of the agent.
        self.probe(agent, 1)
        first, second = [agent.wait_for(ALIVE, count) for count in (1, 2)]
        self.assertNotEqual(first.record.msgNum, second.record.msgNum)
        self.assertGreater(second.at - first.at, 0.9)

    def test_the_end_of_the_process_is_told(self):
        agent, probe = self.session()
        for count, end in enumerate((lambda probe: probe.type("quit\n"), harness.Program.close_input,
                                     lambda probe: probe.process.send_signal(signal.SIGTERM)), 1):
            end(probe)
            agent.wait_for(END, count)
            self.assertEqual(probe.wait(), 0)
            probe = self.probe(agent)


class Queries(SessionCase):
    def test_lists(self):
        first, second, third = agents = self.fake_domain()
        for number, agent in enumerate(agents):
            agent.names = [wire.name("shared"), wire.name(f"of{number}")]
        probe = self.probe(first)
        self.talk(probe, "names here: 0 of0 shared", "names: 0 of0 of1 of2 shared", f"unreachable b {second.host}: 0")
        told = second.wait_for(("message", wire.UNREACHABLE)).record.object
        self.assertEqual((told.name.name, told.agentAddr.addr, told.addr.port), ("b", second.host, 4711))
        # Lists of another agent that fail are left out, and those of the own one leave the session as it is.
        for agent, row in ((second, "names: 0 of0 of2 shared"), (third, "names: 0 of0 of1 shared"),
                           (first, f"names here: {NO_ANSWER} none")):
            for agent.tcp in ("close", "cut", "garbage", "huge"):
                self.talk(probe, row)
            agent.script = {TCP_ENDPOINT: lambda record: wire.agent_reply(0, record, 0, wire.addr(first.host, 1))}
            self.talk(probe, row)  # without a listener
            agent.script, agent.tcp = {}, "serve"
        second.end()  # one that has ended is left out too
        third.heard.clear()
        third.script = {TCP_ENDPOINT: SILENT}
        self.talk(probe, "names: 0 of0 shared", "names: 0 of0 shared")
        self.assertEqual(len(third.all(TCP_ENDPOINT)), 3, "one that is silent is waited for once")
        first.heard.clear()
        first.script = {TCP_ENDPOINT: SILENT, LIST_AGENTS: -1}
        self.talk(probe, f"names here: {NO_ANSWER} none", f"names: {NO_ANSWER} none")
        asked = first.all(TCP_ENDPOINT)
        self.assertEqual(len(asked), 3)
        self.assertGreater(asked[2].at - asked[0].at, 1.9)
        self.expect_logged_in(probe, first)
        self.assertEqual(first.all(LOGIN), [])


class Replacement(SessionCase):
    def expect_registered(self, agent, probe):
        names = {agent.wait_for(REGISTER, count).record.request.name.name for count in (1, 2)}
        self.assertEqual(names | {agent.wait_for(WATCH).record.request.name}, {"b", "c", "t"})
        self.expect_logged_in(probe, agent)
        agent.send(notification("t"))
        probe.wait_line("up t:1$")

    def test_another_agent(self):
        for way in ("leaves", "sends garbage", "has forgotten the process"):
            first, second = self.pair()
            probe = self.probe(first)
            self.talk(probe, "register b: 0", "register c: 0", "trigger t: 0")
            before, farewell = first.client(), wire.request(wire.END)
            if way == "leaves":  # and is back at once
                first.send(farewell)
                answer = first.wait_for(("reply", wire.END_ANSWERED)).record
                self.assertEqual((answer.requestNum, answer.status), (farewell.msgNum, 0))
                first.wait_for(WATCH, 2)
                self.assertNotEqual(first.client(), before, "from a fresh socket")
            first.script = {LOCATE_AGENT: -1, LOCATE: wire.RECONNECT}
            if way == "has forgotten the process":
                self.talk(probe, FOUND)
                numbers = {agent.wait_for(LOCATE).record.msgNum for agent in (first, second)}
                self.assertEqual(len(numbers), 1, "it is the same request")
            else:
                first.send(wire.request(wire.END) if way == "leaves" else b"\0\0\0\x08oops")
            self.expect_registered(second, probe)

    def test_a_process_without_an_agent(self):
        port = harness.free_port([harness.own_host(), self.host(1)])
        agent = self.fake_agent(self.host(1), port, script={LOCATE_AGENT: -1})
        probe = self.probe(agent, logged_in=0, **FAST_CLOCK)
        self.talk(probe, *[f"{command}: {NO_AGENT}" for command in ("register b", "register c", "trigger t")],
                  f"locate a: {NOT_LOGGED_IN}", f"names: {NOT_LOGGED_IN} none")
        # The next search finds one, and what was wanted meanwhile is registered.
        agent.script.clear()
        self.expect_registered(agent, probe)

    def test_the_process_goes_on_while_an_agent_is_looked_for(self):
        agent, probe = self.session()
        agent.script = {LOCATE_AGENT: SILENT}
        agent.send(wire.request(wire.END))
        agent.wait_for(LOCATE_AGENT, 2)
        self.talk(probe, f"locate a: {NOT_LOGGED_IN}", f"register b: {NO_AGENT}")
        self.assertLess(len(agent.all(LOCATE_AGENT)), 6, "the search of the first place is not over")
        agent.script.clear()
        agent.wait_for(REGISTER)
        self.expect_logged_in(probe, agent)

    @unittest.skipIf(SANITIZED, "a sanitizer's look at an object's type takes descriptors")
    def test_a_loss_at_the_limit_of_descriptors(self):
        agent = self.fake_agent(self.host(1))
        probe = self.probe(agent, **FAST_CLOCK)
        resource.prlimit(probe.process.pid, resource.RLIMIT_NOFILE, (3, 64))
        agent.send(wire.request(wire.END))
        probe.wait_line("Harbolance: Unable to locate agent")
        resource.prlimit(probe.process.pid, resource.RLIMIT_NOFILE, (64, 64))
        agent.wait_for(LOGIN, 2)
        self.expect_logged_in(probe, agent)

    def test_an_agent_that_dies(self):
        """The system knows that nobody listens at its port."""
        first, second = self.pair()
        probe, idle = self.probe(first), self.probe(first, 1)
        self.talk(probe, FOUND)
        self.talk(idle, "register b: 0")
        first.end()
        self.talk(probe, FOUND)
        second.wait_for(REGISTER)  # by who only asks whether it lives
        for one in (probe, idle):
            self.expect_logged_in(one, second)

    def test_an_agent_that_dies_in_the_middle_of_a_request(self):
        first, second = self.pair()
        probe, checking = self.probe(first, **FAST_CLOCK), self.probe(second, **FAST_CLOCK)
        self.talk(probe, "register b: 0", "register c: 0", "trigger t: 0", FOUND)
        first.heard.clear()
        first.script = {LOCATE: SILENT, LOCATE_AGENT: -1, ALIVE: SILENT}
        self.talk(checking, f"verify {first.host} {first.port}: 0")
        self.talk(probe, FOUND, limit=2 * PATIENCE)
        checking.wait_line("peer down$", limit=2 * PATIENCE)
        # Seconds between the sendings: of a request after a quick answer, of a check from the start.
        for key, numbers, expected in ((LOCATE, 1, (2, 4, 16, 20)), (ALIVE, 5, (3, 6, 20, 20))):
            heard = first.all(key)
            self.assertEqual(len({one.record.msgNum for one in heard}), numbers)
            steps = [FASTER * (later.at - earlier.at) for earlier, later in zip(heard, heard[1:])]
            self.assertEqual(len(steps), len(expected), steps)
            self.assertTrue(all(step > wanted - 0.2 for step, wanted in zip(steps, expected)), steps)
            self.assertLess(sum(steps), sum(expected) + 3, steps)  # what a busy machine adds
        self.expect_registered(second, probe)


class Verification(SessionCase):
    def test_the_verify_port_of_a_process(self):
        agent = self.session()[0]
        peer = self.client(Place("127.0.0.1", agent.wait_for(LOGIN).record.request.verifyPort))
        for octets in harness.hostile_datagrams():
            peer.send(octets)
        for kind in (wire.ALIVE, wire.LOCATE, 99):
            answer = peer.ask(wire.request(kind, wire.name("a"), cookie=b"abcd"))
            self.assertEqual((answer.replyType, answer.status, answer.cookie), (wire.ALIVE_ANSWERED, 0, b"abcd"))

    def test_a_check_of_a_peer(self):
        agent, probe = self.session(script={ALIVE: SILENT})
        check = f"verify {agent.host} {agent.port}"
        for answer, verdict in ((None, "up"), (wire.agent_message(wire.LOCATE_AGENT), "up"), (b"\0\0\0\5x", "down")):
            agent.heard.clear()
            at = len(probe.lines())
            self.talk(probe, f"{check}: 0", f"{check}: 100")
            asked = agent.wait_for(ALIVE)
            agent.send(answer or wire.reply(wire.ALIVE_ANSWERED, asked.record), asked.sender)
            probe.wait_line(f"peer {verdict}$", after=at)

    def test_hostile_datagrams(self):
        agent, probe = self.session()
        other = self.client(Place("127.0.0.1", agent.client()[1]), host=agent.host)  # and another port

        def flood(_):
            agent.script.clear()  # once: each wake-up of the session sends the request again
            for octets in harness.hostile_datagrams():
                other.send(octets)

        flood(None)
        self.talk(probe, FOUND)
        agent.script[LOCATE] = flood
        self.talk(probe, FOUND)
        self.expect_logged_in(probe, agent)
        self.assertEqual(len(agent.all(LOGIN)), 1, "others can't make it leave its agent")
        for octets in harness.hostile_datagrams():
            agent.send(octets)
            self.result(probe, "state")
        wait_until(lambda: self.result(probe, "state")[0] == "1", "logged in again")
        for wrong in (lambda record: wire.datagram(wire.reply(0, record, 0, wire.provider("a")))[:-4],
                      lambda record: wire.datagram(wire.reply(0, record)).replace(b" 2.0", b" 2.1"),
                      lambda record: wire.agent_reply(0, record)):
            agent.script[LOCATE] = lambda record: [agent.script.clear(), wrong(record)][1]
            self.talk(probe, FOUND)


if __name__ == "__main__":
    unittest.main()
