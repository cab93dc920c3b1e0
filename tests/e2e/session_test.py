"""The session with an agent, in a process of its own (session_probe), against locd and agents played by the
test.

What is proven:

`Requests`      registrations, locate and its statuses, late answers, time limits, what the agent asks of the
                process and tells it.
`Queries`       lists of one agent and of the domain; a dead agent among three; list endpoints that fail;
                the session unharmed by all of it.
`Replacement`   an agent that leaves, sends garbage or forgets the process: another search, and what was
                registered is registered again; a process without an agent finds the one that comes up.
`Verification`  the verify port of a process, and a check of a peer.
`Abuse`         hostile datagrams keep the session alive.
`BadNetwork`    a third of the datagrams lost in both directions, others doubled and overtaken, in front of
                locd.
`SilentAgent`   an agent that dies in the middle of a request, and a peer that never answers. Slow: pays the
                whole sequence of retransmissions, for all at once.
"""

import re
import signal
import socket
import time
import unittest

import harness
import hostile
import wire
from harness import PATIENCE, SILENT, wait_until

DONE, TIMED_OUT, UNKNOWN_TRIGGER, UNKNOWN, REGISTERED = 0, 3, -992, -993, -994
BUSY, NOT_LOGGED_IN, NO_ANSWER, NO_AGENT = -997, -998, -999, -1000


class SessionCase(harness.Case):
    def probe(self, agent, *words, env=None, logged_in=True):
        """A process with a session; the agent is where it looks first."""
        place = agent.address if hasattr(agent, "address") else (agent.host, agent.port)
        program = self.start("session_probe", "-ORBagentaddr", place[0], "-ORBagentport", place[1], *words,
                             env=env)
        program.wait_line(f"ready {int(logged_in)}$", limit=4 * PATIENCE)
        return program

    def do(self, probe, command, expected=None, limit=PATIENCE):
        """The words of the result behind the command's."""
        at = len(probe.lines())
        probe.type(command)
        word = command.split()[0]
        if expected is None:
            return probe.wait_line(rf"{word}(?: .*)?$", after=at, limit=limit).group(0).split()[1:]
        probe.wait_line(re.escape(expected) + "$", after=at, limit=limit)
        return None

    def state(self, probe):
        return tuple(self.do(probe, "state"))

    def agent(self, number=1, **told):
        return self.fake_agent(self.host(number), **told)

    def session(self, **told):
        """An agent and a process that is logged in to it."""
        agent = self.agent(**told)
        return agent, self.probe(agent)

    def pair(self):
        """Two agents at one port. The second gets those that the first does not take."""
        hosts = self.hosts(2)
        port = harness.free_port(hosts + [harness.own_host()])
        return [self.fake_agent(host, port) for host in hosts]

    def probe_of_pair(self, first, second, *words):
        # Where this host is asked, between the two, sits an agent that answers with a refusal at once.
        self.fake_agent(harness.own_host(), first.port, script={("message", wire.LOCATE_AGENT): -1})
        return self.probe(first, *words, env={"LOCD_ADDR": second.host})

    def notification(self, name, status=0, port=1, reference="IOR:1"):
        return wire.reply(wire.NOTIFICATION, None, status,
                          wire.provider(name, port=port, reference=reference))


class Requests(SessionCase):
    def test_registrations(self):
        agent, probe = self.session()
        self.do(probe, "register a IOR:1", "register a 0")
        sent = agent.wait_for(("request", wire.REGISTER)).record.request
        self.assertEqual(sent, wire.provider("a", "127.0.0.1", 4711, harness.own_host(), harness.own_host(),
                                             reference="IOR:1"))
        self.do(probe, "register a", f"register a {REGISTERED}")
        self.do(probe, "unregister b", f"unregister b {UNKNOWN}")
        self.do(probe, "unregister a", "unregister a 0")
        self.assertEqual(agent.wait_for(("request", wire.UNREGISTER)).record.request, sent)
        self.do(probe, "unregister a", f"unregister a {UNKNOWN}")
        self.assertEqual(len(agent.all(("request", wire.REGISTER))), 1)

    def test_triggers(self):
        agent, probe = self.session()
        self.do(probe, "untrigger a", f"untrigger a {UNKNOWN_TRIGGER}")
        self.do(probe, "trigger a", "trigger a 0")
        self.assertEqual(agent.wait_for(("request", wire.REGISTER_TRIGGER)).record.request, wire.name("a"))
        self.do(probe, "untrigger a", "untrigger a 0")
        self.assertEqual(agent.wait_for(("request", wire.UNREGISTER_TRIGGER)).record.request, wire.name("a"))
        agent.send(self.notification("a"))
        agent.wait_for(("reply", wire.ACKNOWLEDGED))
        self.state(probe)
        self.assertNotIn("up a 1", probe.lines())

    def test_a_service_that_is_there_already(self):
        present = wire.provider("a", port=7)
        agent, probe = self.session(script={("request", wire.REGISTER_TRIGGER): lambda record: wire.reply(
            wire.NOTIFICATION, record, 0, present)})
        self.do(probe, "trigger a", "trigger a 0")
        self.assertIn("up a 7", probe.lines())

    def test_locate(self):
        agent, probe = self.session(providers=[wire.provider("a", self.host(4), 7, agent=self.host(5))])
        self.do(probe, "locate a", f"locate a 0 {self.host(4)} 7 {self.host(5)}")
        self.do(probe, "locate b", f"locate b {UNKNOWN}")
        agent.script[("request", wire.LOCATE)] = lambda record: wire.reply(0, record, 0,
                                                                           wire.name("no provider"))
        self.do(probe, "locate a", "locate a 0")
        numbers = [heard.record.msgNum for heard in agent.all(("request", wire.LOCATE))]
        self.assertEqual(len(set(numbers)), 3)

    def test_a_time_limit_and_the_late_answer(self):
        agent, probe = self.session(script={("request", wire.LOCATE): SILENT},
                                    providers=[wire.provider("a", port=7)])
        begin = time.monotonic()
        self.do(probe, "locate b 1", f"locate b {TIMED_OUT}")
        self.assertGreater(time.monotonic() - begin, 0.9)
        asked = agent.wait_for(("request", wire.LOCATE)).record
        # The late answer comes between the next question and its own answer, and is not taken for it.
        del agent.script[("request", wire.LOCATE)]
        late = wire.datagram(wire.reply(0, asked, 0, wire.provider("b", port=99)))
        agent.send(late)
        self.do(probe, "locate a", "locate a 0 127.0.0.1 7 127.0.0.1")
        agent.script[("request", wire.LOCATE)] = lambda record: [agent.send(late), SILENT][1]
        self.do(probe, "locate a 1", f"locate a {TIMED_OUT}")
        self.assertEqual(self.state(probe)[0], "1")

    def test_a_notification_within_a_request(self):
        agent, probe = self.session(providers=[wire.provider("b", port=7)])
        self.do(probe, "nested a", "nested a 0")
        answers = iter([True, False])

        def notify_first(_):
            if not next(answers):
                return None
            agent.send(self.notification("a"))
            return SILENT

        agent.script[("request", wire.LOCATE)] = notify_first
        self.do(probe, "locate b", "locate b 0 127.0.0.1 7 127.0.0.1")
        # The handler ran inside the request, so that its own was refused; the wake-up sent the request again.
        lines = probe.lines()
        self.assertIn("up a 1", lines)
        self.assertIn(f"nested a {BUSY}", lines)
        self.assertEqual(len({heard.record.msgNum for heard in agent.all(("request", wire.LOCATE))}), 1)
        # Outside of one it is answered.
        agent.script[("request", wire.LOCATE)] = -1
        agent.send(self.notification("a", wire.DOWN))
        agent.send(self.notification("a"))
        probe.wait_line(f"nested a {UNKNOWN}$")

    def test_notifications(self):
        agent, probe = self.session()
        self.do(probe, "trigger a", "trigger a 0")
        up, down = self.notification("a", 0, 5), self.notification("a", wire.DOWN, 5)
        for count, message in enumerate((up, up, down, down, self.notification("b")), 1):
            agent.send(message)
            acknowledged = agent.wait_for(("reply", wire.ACKNOWLEDGED), count).record
            self.assertEqual((acknowledged.requestNum, acknowledged.status), (message.msgNum, 0))
        self.state(probe)
        self.assertEqual([line for line in probe.lines() if line.startswith(("up", "down"))],
                         ["up a 5", "down a 5"])

    def test_notifications_without_a_provider(self):
        agent, probe = self.session()
        self.do(probe, "trigger a", "trigger a 0")
        agent.send(wire.reply(wire.NOTIFICATION, None, 0, wire.name("a")))
        agent.send(wire.reply(wire.NOTIFICATION, None))
        agent.wait_for(("reply", wire.ACKNOWLEDGED), 2)
        self.assertEqual(self.state(probe)[0], "1")

    def test_the_agent_asks_whether_it_lives(self):
        agent, probe = self.session()
        question = wire.request(wire.ALIVE, cookie=b"\1\2\3\4")
        for _ in range(3):
            agent.send(question)
        answers = [agent.wait_for(("reply", wire.ALIVE_ANSWERED), count).record for count in (1, 2, 3)]
        self.assertEqual((answers[0].requestNum, answers[0].status, answers[0].cookie),
                         (question.msgNum, 0, b"\1\2\3\4"))
        self.assertEqual(answers, [answers[0]] * 3, "the repeats get the stored answer")
        agent.send(wire.request(wire.ALIVE))
        self.assertNotEqual(agent.wait_for(("reply", wire.ALIVE_ANSWERED), 4).record.msgNum,
                            answers[0].msgNum)
        agent.send(wire.request(77))  # unknown, and nothing happens
        self.assertEqual(self.state(probe)[0], "1")

    def test_an_idle_session_asks_whether_the_agent_lives(self):
        agent = self.agent()
        self.probe(agent, "--keepalive", 1)
        first, second = [agent.wait_for(("request", wire.ALIVE), count) for count in (1, 2)]
        self.assertNotEqual(first.record.msgNum, second.record.msgNum)
        self.assertGreater(second.at - first.at, 0.9)

    def test_the_end_of_the_process_is_told(self):
        for end in ("quit", "input", "signal"):
            with self.subTest(end=end):
                agent, probe = self.session()
                if end == "quit":
                    probe.type("quit")
                elif end == "input":
                    probe.close_input()
                else:
                    probe.signal(signal.SIGTERM)
                agent.wait_for(("request", wire.END))
                self.assertEqual(probe.wait(), 0)
                agent.end()


class Queries(SessionCase):
    def domain(self):
        agents = self.fake_domain()
        for number, agent in enumerate(agents):
            agent.names = [wire.name("shared"), wire.name(f"of{number}")]
            agent.providers = [wire.provider("a", agent.host, number)]
        return agents

    def test_lists(self):
        agents = self.domain()
        port = agents[0].port
        probe = self.probe(agents[0])
        self.assertEqual(self.do(probe, "agents"), ["0"] + [f"{agent.host}:{port}" for agent in agents[1:]])
        self.assertEqual(self.do(probe, "names here"), ["0", "of0", "shared"])
        self.assertEqual(self.do(probe, "names"), ["0", "of0", "of1", "of2", "shared"])
        self.assertEqual(self.do(probe, "providers a here"), ["a", "0", f"{agents[0].host}:0"][1:])
        self.assertEqual(self.do(probe, "providers a"), ["0"] +
                         [f"{agent.host}:{at}" for at, agent in enumerate(agents)])
        self.assertEqual(self.do(probe, "providers b"), ["0"])

    def test_a_dead_agent_among_three(self):
        agents = self.domain()
        probe = self.probe(agents[0])
        agents[1].end()
        self.assertEqual(self.do(probe, "names"), ["0", "of0", "of2", "shared"])

    def test_a_refusing_agent_among_three(self):
        agents = self.domain()
        probe = self.probe(agents[0])
        for tcp in ("refuse", "close", "cut", "garbage", "huge"):
            with self.subTest(tcp=tcp):
                agents[2].tcp = tcp
                if tcp == "refuse":
                    agents[2].script[("message", wire.TCP_ENDPOINT)] = lambda record: wire.agent_reply(
                        0, record, 0, wire.addr(self.host(3), 1))
                else:
                    agents[2].script.clear()
                self.assertEqual(self.do(probe, "names"), ["0", "of0", "of1", "shared"])

    def test_a_failing_endpoint_leaves_the_session_alone(self):
        for tcp in ("refuse", "close", "cut", "garbage", "huge"):
            with self.subTest(tcp=tcp):
                agent, probe = self.session(tcp=tcp, providers=[wire.provider("a", port=7)])
                status, none = self.do(probe, "names here")
                self.assertEqual(none, "none")
                if tcp == "refuse":
                    self.assertEqual(status, str(NO_ANSWER))
                else:
                    self.assertLess(int(status), 0)
                self.do(probe, "locate a", "locate a 0 127.0.0.1 7 127.0.0.1")
                self.assertEqual(self.state(probe)[0], "1")
                self.assertEqual(len(agent.all(("request", wire.LOGIN))), 1)
                agent.end()

    def test_a_silent_endpoint_question(self):
        agent, probe = self.session(script={("message", wire.TCP_ENDPOINT): SILENT})
        begin = time.monotonic()
        self.assertEqual(self.do(probe, "names here"), [str(NO_ANSWER), "none"])
        self.assertGreater(time.monotonic() - begin, 2.5)
        self.assertEqual(len(agent.all(("message", wire.TCP_ENDPOINT))), 3)
        self.assertEqual(self.state(probe)[0], "1")

    def test_refused_lists(self):
        agent, probe = self.session(script={("request", wire.LIST_AGENTS): -1})
        self.assertEqual(self.do(probe, "agents"), [str(NO_ANSWER), "none"])
        self.assertEqual(self.do(probe, "names"), [str(NO_ANSWER), "none"])
        self.assertEqual(self.do(probe, "names here"), ["0"])

    def test_an_unreachable_provider_is_told_to_its_agent(self):
        agents = self.domain()
        probe = self.probe(agents[0])
        self.do(probe, f"unreachable a {agents[1].host}", "unreachable a 0")
        told = agents[1].wait_for(("message", wire.UNREACHABLE)).record.object
        self.assertEqual((told.name.name, told.agentAddr.addr, told.addr.port), ("a", agents[1].host, 4711))

    def test_the_programs_among_themselves(self):
        first = self.start_locd(self.host(1))
        second = self.start_locd(self.host(2), first.port, "--peer", self.host(1), "--check-interval", "1")
        for agent, other in ((first, second), (second, first)):
            client = self.client(agent.address)
            client.log_in()
            client.wait_for_others([other.address])
        here, there = self.probe(first), self.probe(second)
        self.do(here, "trigger b", "trigger b 0")
        self.do(there, "register b", "register b 0")
        here.wait_line("up b 4711$")
        self.do(there, "register a", "register a 0")
        self.assertEqual(self.do(here, "names here"), ["0"])
        self.assertEqual(self.do(here, "names"), ["0", "a", "b"])
        self.assertEqual(self.do(here, "providers a"), ["0", "127.0.0.1:4711"])
        self.do(here, "locate a", f"locate a 0 127.0.0.1 4711 {self.host(2)}")
        # A process that dies without a word is missed by its agent.
        there.kill()
        here.wait_line("down b 4711$")
        wait_until(lambda: self.do(here, "names") == ["0"], "the dead process's names are withdrawn")


class Replacement(SessionCase):
    def expect_moved(self, probe, second):
        """With everything that it had registered."""
        registered = {second.wait_for(("request", wire.REGISTER),
                                      count).record.request.name.name for count in (1, 2)}
        self.assertEqual(registered, {"a", "b"})
        self.assertEqual(second.wait_for(("request", wire.REGISTER_TRIGGER)).record.request.name, "t")
        self.assertEqual(self.state(probe), ("1", second.host, str(second.port)))

    def busy_probe(self, first, second):
        probe = self.probe_of_pair(first, second)
        for command in ("register a", "register b", "trigger t"):
            self.do(probe, command, command + " 0")
        first.script[("message", wire.LOCATE_AGENT)] = -1  # from now on for nobody
        return probe

    def test_an_agent_that_leaves(self):
        first, second = self.pair()
        probe = self.busy_probe(first, second)
        farewell = wire.request(wire.END)
        first.send(farewell)
        answer = first.wait_for(("reply", wire.END_ANSWERED)).record
        self.assertEqual((answer.requestNum, answer.status), (farewell.msgNum, 0))
        self.expect_moved(probe, second)
        second.send(self.notification("t"))
        probe.wait_line("up t 1$")

    def test_an_agent_that_sends_garbage(self):
        first, second = self.pair()
        probe = self.busy_probe(first, second)
        first.send(b"\0\0\0\x08oops")
        self.expect_moved(probe, second)

    def test_an_agent_that_has_forgotten_the_process(self):
        first, second = self.pair()
        second.providers = [wire.provider("x", port=7)]
        probe = self.busy_probe(first, second)
        first.script[("request", wire.LOCATE)] = wire.RECONNECT
        self.do(probe, "locate x", "locate x 0 127.0.0.1 7 127.0.0.1")
        self.expect_moved(probe, second)
        asked = [agent.wait_for(("request", wire.LOCATE)).record.msgNum for agent in (first, second)]
        self.assertEqual(asked[0], asked[1], "it is the same request")

    def test_the_same_agent_again(self):
        agent, probe = self.session()
        self.do(probe, "register a", "register a 0")
        before = agent.client
        agent.send(wire.request(wire.END))
        agent.wait_for(("request", wire.REGISTER), 2)
        self.assertNotEqual(agent.client, before, "from a fresh socket")
        self.assertEqual(self.state(probe)[0], "1")

    def test_a_process_without_an_agent(self):
        own = harness.own_host()
        port = harness.free_port([own, "127.255.255.255", self.host(1)])
        self.fake_agent(own, port, script={("message", wire.LOCATE_AGENT): -1})
        agent = self.fake_agent(self.host(1), port, broadcast=True,
                                script={("message", wire.LOCATE_AGENT): -1})
        probe = self.probe(agent, logged_in=False)
        self.assertIn("Harbolance: Unable to locate agent. Will try every 15 seconds to locate agent",
                      probe.lines())
        self.do(probe, "register a", f"register a {NO_AGENT}")
        self.do(probe, "trigger t", f"trigger t {NO_AGENT}")
        for command in ("locate a", "names", "providers a", "agents"):
            self.assertIn(str(NOT_LOGGED_IN), self.do(probe, command))
        # The next search finds one, and what was wanted meanwhile is registered.
        del agent.script[("message", wire.LOCATE_AGENT)]
        agent.wait_for(("request", wire.REGISTER), limit=15 + PATIENCE)
        agent.wait_for(("request", wire.REGISTER_TRIGGER))
        self.assertEqual(self.state(probe)[0], "1")


class Verification(SessionCase):
    def socket(self):
        sock = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(sock.close)
        sock.bind((self.host(9), 0))
        sock.settimeout(PATIENCE)
        return sock

    def test_the_verify_port_of_a_process(self):
        agent = self.agent()
        self.probe(agent)
        place = ("127.0.0.1", agent.wait_for(("request", wire.LOGIN)).record.request.verifyPort)
        sock = self.socket()
        for octets in hostile.datagrams():
            sock.sendto(octets, place)
        for kind in (wire.ALIVE, wire.LOCATE, 99):
            question = wire.request(kind, wire.name("a"), cookie=b"abcd")
            sock.sendto(wire.datagram(question), place)
            while True:  # among the hostile ones are some that are requests
                answer = wire.parse_datagram(sock.recv(65536))
                self.assertEqual((answer.kind, answer.replyType, answer.status),
                                 ("DSReply", wire.ALIVE_ANSWERED, 0))
                if answer.requestNum == question.msgNum:
                    break
            self.assertEqual(answer.cookie, b"abcd")

    def test_a_check_of_a_peer(self):
        probe = self.probe(self.agent())
        sock = self.socket()
        place = f"{sock.getsockname()[0]} {sock.getsockname()[1]}"
        for answer, verdict in ((lambda asked: wire.datagram(wire.reply(wire.ALIVE_ANSWERED, asked)), "up"),
                                (lambda asked: wire.datagram(wire.agent_message(wire.LOCATE_AGENT)), "up"),
                                (lambda asked: b"\0\0\0\5x", "down")):
            with self.subTest(verdict=verdict):
                at = len(probe.lines())
                self.do(probe, f"verify {place}", "verify 0")
                self.do(probe, f"verify {place}", "verify 100")
                octets, sender = sock.recvfrom(65536)
                asked = wire.parse_datagram(octets)
                self.assertEqual((asked.kind, asked.requestType, asked.request),
                                 ("DSRequest", wire.ALIVE, None))
                sock.sendto(answer(asked), sender)
                probe.wait_line(f"peer {verdict}$", after=at)


class Abuse(SessionCase):
    def test_datagrams_of_others(self):
        agent, probe = self.session(providers=[wire.provider("a", port=7)])
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as stranger:
            stranger.bind((self.host(9), 0))
            place = ("127.0.0.1", agent.client[1])

            def flood(_):
                # Once: each wake-up of the session sends the request again.
                del agent.script[("request", wire.LOCATE)]
                for octets in hostile.datagrams():
                    stranger.sendto(octets, place)

            for octets in hostile.datagrams():
                stranger.sendto(octets, place)
            self.do(probe, "locate a", "locate a 0 127.0.0.1 7 127.0.0.1")
            agent.script[("request", wire.LOCATE)] = flood
            self.do(probe, "locate a", "locate a 0 127.0.0.1 7 127.0.0.1")
        self.assertEqual(self.state(probe)[0], "1")
        self.assertEqual(len(agent.all(("request", wire.LOGIN))), 1, "others can't make it leave its agent")

    def test_datagrams_of_the_agent(self):
        agent, probe = self.session(providers=[wire.provider("a", port=7)])
        for number, octets in enumerate(hostile.datagrams()):
            if number % 8 == 0:
                self.state(probe)
            agent.send(octets)
        wait_until(lambda: self.state(probe)[0] == "1", "logged in again")
        self.do(probe, "locate a", "locate a 0 127.0.0.1 7 127.0.0.1")

    def test_answers_that_are_wrong_inside(self):
        agent = self.agent()
        answers = (lambda record: wire.datagram(wire.reply(0, record, 0, wire.provider("a")))[:-4],
                   lambda record: wire.datagram(wire.reply(0, record)).replace(b"Kestrune 2.0",
                                                                               b"Kestrune 2.1"),
                   lambda record: wire.datagram(wire.agent_reply(0, record)))
        for answer in answers:
            with self.subTest(answer=answer(wire.request(3))):
                probe = self.probe(agent)
                pending = iter([answer])
                agent.script[("request", wire.LOCATE)] = lambda record: next(pending, lambda _: -1)(record)
                self.do(probe, "locate a", f"locate a {UNKNOWN}")
                self.assertEqual(self.state(probe)[0], "1")
                probe.type("quit")
                probe.wait()


class BadNetwork(SessionCase):
    SEED = 5

    def test_loss_doubles_and_overtaking(self):
        agent = self.start_locd(self.host(1))
        relay = harness.LossyRelay(self.host(2), agent.port, agent.address, self.SEED)
        self.addCleanup(relay.end)
        relay.address = (self.host(2), agent.port)
        # All that it sends goes through the relay, its broadcasts too.
        table = self.file("relay", f"127.0.0.1 255.0.0.0 {relay.address[0]}\n")
        probe = self.probe(relay, env={"LOCD_LOCAL_FILE": table})
        other = self.probe(agent)
        self.do(probe, "trigger t", "trigger t 0", limit=4 * PATIENCE)
        for name in ("a", "b", "c"):
            self.do(probe, f"register {name}", f"register {name} 0", limit=4 * PATIENCE)
        self.do(probe, "unregister b", "unregister b 0", limit=4 * PATIENCE)
        self.do(other, "register t", "register t 0")
        probe.wait_line("up t 4711$", limit=4 * PATIENCE)
        self.do(probe, "locate t", f"locate t 0 127.0.0.1 4711 {self.host(1)}", limit=4 * PATIENCE)
        self.assertEqual(self.do(other, "names"), ["0", "a", "c", "t"])
        self.assertEqual(self.state(probe), ("1", self.host(2), str(agent.port)))
        for way in ("out", "back"):
            self.assertGreater(relay.lost[way], 0)
        self.assertEqual(relay.errors, [])


class SilentAgent(SessionCase):
    LIMIT = 110
    FRESH = (3, 6, 20, 20)   # seconds between sendings; the fifth is waited for 20 more
    KNOWING = (2, 4, 16, 20)  # after a quick answer

    def expect_steps(self, heard, expected):
        times = [one.at for one in heard]
        steps = [later - earlier for earlier, later in zip(times, times[1:])]
        self.assertEqual(len(steps), len(expected), steps)
        for step, wanted in zip(steps, expected):
            self.assertAlmostEqual(step, wanted, delta=1.5, msg=steps)

    def test_an_agent_that_dies_in_the_middle_of_a_request(self):
        # An agent that is only silent, to see what it is sent.
        first, second = self.pair()
        second.providers = [wire.provider("x", port=7)]
        quiet = self.probe_of_pair(first, second)
        self.do(quiet, "register a", "register a 0")
        self.do(quiet, "trigger t", "trigger t 0")
        # A real one, killed.
        hosts = [self.host(3), self.host(4)]
        port = harness.free_port(hosts)
        dying, surviving = [self.start_locd(host, port) for host in hosts]
        orphan = self.probe(dying, env={"LOCD_ADDR": hosts[1]})
        self.do(orphan, "register a", "register a 0")
        self.do(orphan, "trigger t", "trigger t 0")
        # A peer that never answers a check.
        peer = self.agent(9, script={("request", wire.ALIVE): SILENT})
        checking = self.probe(second)
        self.do(checking, f"verify {peer.host} {peer.port}", "verify 0")

        first.script = {("request", wire.LOCATE): SILENT, ("message", wire.LOCATE_AGENT): -1}
        dying.kill()
        orphan.type("locate a")
        self.do(quiet, "locate x", "locate x 0 127.0.0.1 7 127.0.0.1", limit=self.LIMIT)
        orphan.wait_line(f"locate a 0 127.0.0.1 4711 {hosts[1]}$", limit=self.LIMIT)
        checking.wait_line("peer down$", limit=self.LIMIT)

        asked = first.all(("request", wire.LOCATE))
        self.assertEqual(len({repr(heard.record) for heard in asked}), 1, "repeats are the same message")
        self.expect_steps(asked, self.KNOWING)
        checks = peer.all(("request", wire.ALIVE))
        self.assertEqual(len({heard.record.msgNum for heard in checks}), 5, "each check has its own")
        self.expect_steps(checks, self.FRESH)
        # What was registered is registered again, and works there.
        self.assertEqual(second.wait_for(("request", wire.REGISTER)).record.request.name.name, "a")
        second.wait_for(("request", wire.REGISTER_TRIGGER))
        client = self.client(surviving.address)
        client.log_in()
        client.wait_for_names(["a"])
        client.ask(wire.request(wire.REGISTER, wire.provider("t", port=9)))
        orphan.wait_line("up t 9$")


if __name__ == "__main__":
    unittest.main()
