"""locd, the location agent, against clients and agents played by the test.

What is proven:

`Requests`      search, login and its statuses, are-you-alive, the TCP endpoint, locate, registrations,
                names too long to be told, lists, another protocol version, requests of strangers;
                repeats of a request.
`Triggers`      notifications of services that come and go, present ones, their repeats until acknowledged,
                their order, and their end.
`Clients`       ends of sessions in both directions, signals, clients that vanish, providers said to be
                unreachable.
`DomainOfLocd`  several agents: known by broadcast and by address, services and triggers across them, and
                agents that die or leave.
`Abuse`         hostile datagrams and TCP streams: the agent serves on, and does not grow.
`CommandLine`   options, their errors, the port.
"""

import errno
import random
import re
import signal
import socket
import struct
import time
import unittest

import harness
import hostile
import wire
from harness import PATIENCE, wait_until


class LocdCase(harness.Case):
    def locd(self, *words, number=1, port=0):
        return self.start_locd(self.host(number), port, *words)

    def logged_in(self, agent, **told):
        client = self.client(agent.address, **told)
        self.assertEqual(client.log_in().status, 0)
        return client

    def register(self, session, name, port=1, **told):
        record = wire.provider(name, "127.0.0.1", port, **told)
        self.assertEqual(session.ask(wire.request(wire.REGISTER, record)).status, 0)
        return record

    def locate(self, client, name, service=wire.MANUAL):
        return client.ask(wire.request(wire.LOCATE, wire.name(name, service)))

    def events(self, client):
        """What it was told; a notification that was sent again before it was acknowledged counts once."""
        told = {one.record.msgNum: one.record for one in client.notifications() if one.record.requestNum == 0}
        return [(one.status, one.reply.name.name, one.reply.addr.port) for one in told.values()]

    def wait_for_events(self, client, count):
        wait_until(lambda: len(self.events(client)) >= count, lambda: f"{count}, heard {self.events(client)}")


class Requests(LocdCase):
    def test_a_search_is_answered(self):
        agent = self.locd()
        client = self.client(agent.address)
        answer = client.ask(wire.agent_message(wire.LOCATE_AGENT, cookie=b"\1\2\3\4"))
        self.assertEqual((answer.kind, answer.replyType, answer.status), ("DSAReply", wire.LOCATED, 0))
        self.assertEqual(answer.object, wire.addr(*agent.address))
        self.assertEqual(answer.cookie, b"\1\2\3\4")

    def test_an_agent_on_every_address_names_the_one_asked_from(self):
        agent = self.locd_anywhere()
        client = self.client((self.host(1), agent.port), host=self.host(2))
        answer = client.ask(wire.agent_message(wire.LOCATE_AGENT))
        self.assertTrue(answer.object.addr.startswith("127."), answer.object)
        endpoint = client.ask(wire.agent_message(wire.TCP_ENDPOINT)).object
        self.assertTrue(endpoint.addr.startswith("127."), endpoint)
        self.assertEqual(client.log_in().status, 0)
        self.assertEqual(client.names(), [])

    def locd_anywhere(self):
        program = self.start("locd", "--port", 0)
        program.port = int(program.wait_line(r"locd: listening on 0\.0\.0\.0 port (\d+)$").group(1))
        return program

    def test_login(self):
        client = self.client(self.locd().address)
        first = client.log_in()
        self.assertEqual((first.replyType, first.status, first.reply), (wire.LOGIN_ANSWERED, 0, None))
        self.assertEqual(client.log_in().status, wire.KNOWN)
        other = self.client(client.agent)
        no_login = other.ask(wire.request(wire.LOGIN, wire.name("no login")))
        self.assertEqual((no_login.replyType, no_login.status), (wire.LOGIN_ANSWERED, wire.REFUSED))
        self.assertEqual(other.ask(wire.request(wire.LOGIN)).status, wire.REFUSED)

    def test_another_version_is_told_so(self):
        agent = self.locd()
        octets = wire.datagram(wire.request(wire.LOGIN, wire.login(), number=77)).replace(b"Kestrune 2.0",
                                                                                          b"Kestrune 2.1")
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sock:
            sock.settimeout(PATIENCE)
            sock.sendto(octets, agent.address)
            answer = wire.parse_datagram(sock.recv(65536))
        self.assertEqual((answer.replyType, answer.status, answer.requestNum),
                         (wire.LOGIN_ANSWERED, wire.OTHER_VERSION, 77))

    def test_strangers_have_to_log_in_first(self):
        client = self.client(self.locd().address)
        for kind, payload in ((wire.REGISTER, wire.provider("x")), (wire.LIST_AGENTS, None),
                              (wire.LOCATE, wire.name("x")), (wire.REGISTER_TRIGGER, wire.name("x"))):
            self.assertEqual(client.ask(wire.request(kind, payload)).status, wire.RECONNECT, kind)
        alive = client.ask(wire.request(wire.ALIVE))
        self.assertEqual((alive.replyType, alive.status), (wire.ALIVE_ANSWERED, wire.RECONNECT))
        self.assertEqual(client.names(), [])

    def test_are_you_alive(self):
        answer = self.logged_in(self.locd()).ask(wire.request(wire.ALIVE, cookie=b"abcd"))
        self.assertEqual((answer.replyType, answer.status, answer.cookie), (wire.ALIVE_ANSWERED, 0, b"abcd"))

    def test_register_and_locate(self):
        agent = self.locd()
        client, other = self.logged_in(agent), self.logged_in(agent)
        self.assertNotEqual(self.locate(other, "service").status, 0)
        registered = self.register(client, "service", 4711, reference="IOR:00", client=self.host(3))
        answer = self.locate(other, "service")
        self.assertEqual(answer.status, 0)
        self.assertEqual(answer.reply.agentAddr.addr, agent.address[0])
        self.assertEqual(answer.reply.with_(agentAddr=registered.agentAddr), registered)
        self.assertNotEqual(self.locate(other, "service", wire.OAD).status, 0)
        # Only who registered may withdraw.
        self.assertNotEqual(other.ask(wire.request(wire.UNREGISTER, registered)).status, 0)
        self.assertEqual(client.ask(wire.request(wire.UNREGISTER, registered)).status, 0)
        self.assertNotEqual(client.ask(wire.request(wire.UNREGISTER, registered)).status, 0)
        self.assertNotEqual(self.locate(other, "service").status, 0)

    def test_requests_without_their_record_fail(self):
        client = self.logged_in(self.locd())
        for kind in (wire.LOCATE, wire.REGISTER, wire.UNREGISTER, wire.REGISTER_TRIGGER,
                     wire.UNREGISTER_TRIGGER, 99):
            for payload in (None, wire.addr("127.0.0.1", 1)):
                with self.subTest(kind=kind, payload=payload):
                    self.assertNotIn(client.ask(wire.request(kind, payload)).status, (0, wire.RECONNECT))

    def test_a_name_too_long_to_be_told_is_not_taken(self):
        client = self.logged_in(self.locd())
        outcomes = set()
        for length in range(7800, wire.DATAGRAM_LIMIT, 4):
            question = wire.request(wire.REGISTER, wire.provider("n" * length))
            if len(wire.datagram(question)) > wire.DATAGRAM_LIMIT:
                break
            taken = client.ask(question).status == 0
            self.assertEqual(self.locate(client, "n" * length).status == 0, taken, length)
            outcomes.add(taken)
        self.assertEqual(outcomes, {True, False})

    def test_lists(self):
        agent = self.locd()
        client = self.logged_in(agent)
        client.ask(wire.request(wire.REGISTER_TRIGGER, wire.name("only waited for")))
        self.assertEqual(client.others(), [])
        first = self.register(client, "a", 1)
        second = self.register(client, "a", 2)
        self.register(client, "b", 1, service=wire.OAD)
        listed = client.query(wire.request(wire.LIST_NAMES))
        self.assertEqual((listed.kind, listed.status, listed.reply.kind), ("DSReply", 0, "DSSet"))
        self.assertEqual(sorted((one.name, one.serviceType) for one in listed.reply.members),
                         [("a", wire.MANUAL), ("b", wire.OAD)])
        found = client.query(wire.request(wire.LIST_PROVIDERS, wire.name("a"))).reply.members
        self.assertEqual(sorted(one.addr.port for one in found), [first.addr.port, second.addr.port])
        self.assertEqual(client.query(wire.request(wire.LIST_PROVIDERS,
                                                   wire.name("a", wire.OAD))).reply.members, [])
        self.assertEqual(len(client.query(wire.request(wire.LIST_PROVIDERS,
                                                       wire.name("b", wire.OAD))).reply.members), 1)

    def test_many_lists_on_one_connection(self):
        client = self.logged_in(self.locd())
        self.register(client, "a")
        endpoint = client.ask(wire.agent_message(wire.TCP_ENDPOINT)).object
        with socket.create_connection((endpoint.addr, endpoint.port), timeout=PATIENCE) as sock:
            connection = wire.Connection(sock)
            for _ in range(3):
                question = wire.request(wire.LIST_NAMES)
                connection.send(question)
                connection.send(wire.request(wire.LIST_PROVIDERS, wire.name("a")))
                answer = connection.receive()
                self.assertEqual((answer.requestNum, [one.name for one in answer.reply.members]),
                                 (question.msgNum, ["a"]))
                self.assertEqual([one.name.name for one in connection.receive().reply.members], ["a"])
            # In pieces as small as they get.
            for octet in connection.encode(wire.request(wire.LIST_NAMES)):
                sock.sendall(bytes([octet]))
            self.assertEqual(len(connection.receive().reply.members), 1)
            for kind in (99, wire.LIST_AGENTS, wire.LIST_PROVIDERS):
                connection.send(wire.request(kind))
                self.assertNotEqual(connection.receive().status, 0)

    def test_a_repeat_is_answered_again_and_not_executed(self):
        agent = self.locd()
        client, watcher = self.logged_in(agent), self.logged_in(agent)
        watcher.ask(wire.request(wire.REGISTER_TRIGGER, wire.name("a")))
        question = wire.request(wire.REGISTER, wire.provider("a"))
        answers = [client.ask(question) for _ in range(3)]
        self.assertEqual(answers, [answers[0]] * 3)
        withdraw = wire.request(wire.UNREGISTER, wire.provider("a"))
        self.assertEqual([client.ask(withdraw).status for _ in range(3)], [0, 0, 0])
        # Two notifications, not four: up and down.
        self.wait_for_events(watcher, 2)
        client.ask(wire.request(wire.ALIVE))
        watcher.ask(wire.request(wire.ALIVE))
        self.assertEqual([status for status, _, _ in self.events(watcher)], [0, wire.DOWN])

    def test_a_late_copy_of_an_old_request_does_nothing(self):
        client = self.logged_in(self.locd())
        question = wire.request(wire.REGISTER, wire.provider("a"))
        client.ask(question)
        client.ask(wire.request(wire.UNREGISTER, wire.provider("a")))
        client.send(question)
        client.ask(wire.request(wire.ALIVE))
        self.assertEqual(client.names(), [])

    def test_a_client_that_logs_in_from_another_port_leaves_the_old_one(self):
        agent = self.locd()
        client = self.logged_in(agent)
        self.register(client, "a")
        elsewhere, again = self.client(agent.address, host=self.host(2)), self.client(agent.address)
        elsewhere.verify_port = again.verify_port = client.verify_port
        self.assertEqual(elsewhere.log_in().status, 0)
        self.assertEqual(elsewhere.names(), ["a"])
        self.assertEqual(again.log_in().status, 0)
        self.assertEqual(again.names(), [])
        self.assertEqual(client.ask(wire.request(wire.ALIVE)).status, wire.RECONNECT)


class Triggers(LocdCase):
    def watch(self, client, name="a"):
        return client.ask(wire.request(wire.REGISTER_TRIGGER, wire.name(name)))

    def test_coming_and_going(self):
        agent = self.locd()
        client, watcher = self.logged_in(agent), self.logged_in(agent)
        answer = self.watch(watcher)
        self.assertEqual((answer.status, answer.replyType == wire.NOTIFICATION, answer.reply),
                         (0, False, None))
        self.register(client, "b")
        up = self.register(client, "a", 3)
        client.ask(wire.request(wire.UNREGISTER, up))
        self.wait_for_events(watcher, 2)
        self.assertEqual(self.events(watcher), [(0, "a", 3), (wire.DOWN, "a", 3)])
        self.assertEqual(client.notifications(), [])

    def test_a_present_service_is_in_the_answer(self):
        client = self.logged_in(self.locd())
        self.register(client, "a", 3)
        answer = self.watch(client)
        self.assertEqual((answer.replyType, answer.status, answer.reply.addr.port), (wire.NOTIFICATION, 0, 3))

    def test_no_more_after_the_end_of_the_trigger(self):
        client = self.logged_in(self.locd())
        self.watch(client, "a")
        self.watch(client, "b")
        self.assertEqual(client.ask(wire.request(wire.UNREGISTER_TRIGGER, wire.name("a"))).status, 0)
        self.assertNotEqual(client.ask(wire.request(wire.UNREGISTER_TRIGGER, wire.name("a"))).status, 0)
        self.register(client, "a")
        self.register(client, "b")
        client.wait_for(("reply", wire.NOTIFICATION))
        client.ask(wire.request(wire.ALIVE))
        self.assertEqual([name for _, name, _ in self.events(client)], ["b"])

    def test_repeated_until_acknowledged_and_in_order(self):
        agent = self.locd()
        client = self.logged_in(agent)
        watcher = self.logged_in(agent, mute=[("reply", wire.NOTIFICATION)])
        self.watch(watcher)
        up = self.register(client, "a", 3)
        client.ask(wire.request(wire.UNREGISTER, up))
        again = watcher.wait_for(("reply", wire.NOTIFICATION), 2)
        first, second = watcher.notifications()
        self.assertEqual(first.record, second.record)
        # The next one waits for the acknowledgement of this one; a wrong number acknowledges nothing.
        watcher.send(wire.reply(wire.ACKNOWLEDGED, again.record.with_(msgNum=1)))
        watcher.ask(wire.request(wire.ALIVE))
        self.assertEqual(len(set(self.events(watcher))), 1)
        watcher.send(wire.reply(wire.ACKNOWLEDGED, again.record))
        down = watcher.wait_for(("reply", wire.NOTIFICATION), 3)
        self.assertEqual(down.record.status, wire.DOWN)
        watcher.send(wire.reply(wire.ACKNOWLEDGED, down.record))


class Clients(LocdCase):
    def test_the_end_of_a_session_withdraws_its_registrations(self):
        agent = self.locd()
        client, watcher = self.logged_in(agent), self.logged_in(agent)
        watcher.ask(wire.request(wire.REGISTER_TRIGGER, wire.name("a")))
        self.register(client, "a")
        self.register(client, "b")
        client.send(wire.request(wire.END))
        watcher.wait_for(("reply", wire.NOTIFICATION), 2)
        self.assertEqual([one.record.status for one in watcher.notifications()], [0, wire.DOWN])
        self.assertEqual(watcher.names(), [])
        self.assertEqual(client.ask(wire.request(wire.LIST_AGENTS)).status, wire.RECONNECT)

    def test_signals_end_the_agent_and_tell_its_clients(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            with self.subTest(signal=number):
                agent = self.locd()
                clients = [self.logged_in(agent) for _ in range(3)]
                agent.signal(number)
                for client in clients:
                    client.wait_for(("request", wire.END))
                self.assertEqual(agent.wait(), 0)
                self.assertEqual(agent.text("err"), "")

    def test_a_client_that_does_not_answer_does_not_keep_it(self):
        agent = self.locd()
        client = self.logged_in(agent, mute=[("request", wire.END)])
        agent.signal(signal.SIGTERM)
        client.wait_for(("request", wire.END))
        client.send(wire.agent_message(wire.LOCATE_AGENT))
        self.assertEqual(agent.wait(), 0)
        self.assertEqual(client.all(("reply", wire.LOCATED)), [], "it is no agent to go to")

    def test_an_idle_client_is_asked_and_stays(self):
        agent = self.locd("--check-interval", "1")
        client, other = self.logged_in(agent), self.logged_in(agent)
        self.register(client, "a")
        wait_until(lambda: client.checks >= 2, "two checks")
        self.assertEqual(other.names(), ["a"])
        self.assertEqual(client.ask(wire.request(wire.LIST_AGENTS)).status, 0)

    def test_a_vanished_client_is_found(self):
        agent = self.locd("--check-interval", "1")
        client, watcher = self.logged_in(agent, mute=["checks"]), self.logged_in(agent)
        watcher.ask(wire.request(wire.REGISTER_TRIGGER, wire.name("a")))
        self.register(client, "a")
        gone = watcher.wait_for(("reply", wire.NOTIFICATION), 2)
        self.assertEqual(gone.record.status, wire.DOWN)
        wait_until(lambda: client.checks == 8, "the checks before it is given up")
        self.assertEqual(watcher.names(), [])

    def test_an_unreachable_provider_is_checked_at_once(self):
        agent = self.locd("--check-interval", "60")
        client, other = self.logged_in(agent), self.logged_in(agent)
        provider = self.register(client, "a")
        other.send(wire.agent_message(wire.UNREACHABLE, provider))
        wait_until(lambda: client.checks == 1, "a check")
        other.ask(wire.request(wire.ALIVE))
        self.assertEqual(other.names(), ["a"], "it has answered")
        self.assertEqual(other.checks, 0)
        other.send(wire.agent_message(wire.UNREACHABLE, wire.provider("a", port=99)))  # nobody's
        other.ask(wire.request(wire.ALIVE))
        self.assertEqual(client.checks, 1)

    def test_an_unreachable_provider_that_is_gone_is_withdrawn(self):
        agent = self.locd("--check-interval", "3")
        client, watcher = self.logged_in(agent, mute=["checks"]), self.logged_in(agent)
        watcher.ask(wire.request(wire.REGISTER_TRIGGER, wire.name("a")))
        provider = self.register(client, "a")
        watcher.send(wire.agent_message(wire.UNREACHABLE, provider))
        begin = time.monotonic()
        self.assertEqual(watcher.wait_for(("reply", wire.NOTIFICATION), 2).record.status, wire.DOWN)
        self.assertLess(time.monotonic() - begin, 5.5,
                        "sooner than by its silence, which takes twice the interval")


class DomainOfLocd(LocdCase):
    def agents(self, count, *words, peers=True):
        hosts = self.hosts(count)
        port = harness.free_port(hosts)
        started = []
        for number, host in enumerate(hosts):
            known = [word for other in hosts[:number] for word in ("--peer", other)] if peers else []
            started.append(self.start_locd(host, port, *known, *words))
        return started

    def formed(self, agents, **told):
        """Clients of the agents, once these know each other."""
        clients = [self.logged_in(agent, **told) for agent in agents]
        for agent, client in zip(agents, clients):
            client.wait_for_others([other.address for other in agents if other is not agent])
        return clients

    def test_known_by_address(self):
        self.env["LOCD_LOCAL_FILE"] = str(self.file("nowhere", f"127.0.0.1 255.0.0.0 {self.host(250)}\n"))
        self.formed(self.agents(3))

    def test_known_by_broadcast(self):
        self.formed(self.agents(3, peers=False))

    def test_a_dead_agent_is_dropped(self):
        agents = self.agents(3, "--interval", "0.5")
        clients = self.formed(agents)
        clients[0].ask(wire.request(wire.REGISTER_TRIGGER, wire.name("a")))
        agents[1].kill()
        for at in (0, 2):
            clients[at].wait_for_others([agents[2 - at].address])
        # And is taken in again when it comes back, and told what is waited for.
        agents[1] = self.start_locd(agents[1].address[0], agents[1].port, "--peer", agents[0].address[0])
        for at in (0, 2):
            clients[at].wait_for_others([agents[2 - at].address, agents[1].address])
        self.register(self.logged_in(agents[1]), "a")
        clients[0].wait_for(("reply", wire.NOTIFICATION))

    def test_an_agent_that_leaves_says_so(self):
        agents = self.agents(3, "--interval", "60")
        clients = self.formed(agents)
        agents[2].signal(signal.SIGTERM)
        self.assertEqual(agents[2].wait(), 0)
        clients[0].wait_for_others([agents[1].address], limit=5)
        clients[1].wait_for_others([agents[0].address], limit=5)

    def test_an_agent_of_another_make_is_a_member_too(self):
        host = self.host(9)
        port = harness.free_port([host, self.host(1)])
        other = self.fake_agent(host, port)
        agent = self.start_locd(self.host(1), port, "--peer", host)
        self.logged_in(agent).wait_for_others([(other.host, port)])

    def test_services_of_the_others_are_found(self):
        clients = self.formed(self.agents(3))
        self.register(clients[1], "a", 4711)
        for client in clients:
            answer = self.locate(client, "a")
            self.assertEqual((answer.status, answer.reply and answer.reply.addr.port), (0, 4711))
            self.assertEqual(answer.reply.agentAddr.addr, clients[1].agent[0])
        self.assertNotEqual(self.locate(clients[0], "nobody").status, 0)
        self.register(clients[0], "a", 8)
        self.assertEqual(self.locate(clients[0], "a").reply.addr.port, 8, "its own comes first")
        # Lists are each agent's own.
        self.assertEqual([client.names() for client in clients], [["a"], ["a"], []])

    def test_triggers_hear_of_the_others_once(self):
        agents = self.agents(2)
        here, there = self.formed(agents)
        more = self.logged_in(agents[0])
        early = self.register(there, "early")
        here.ask(wire.request(wire.REGISTER_TRIGGER, wire.name("early")))
        self.wait_for_events(here, 1)
        for client in (here, there, more):
            client.ask(wire.request(wire.REGISTER_TRIGGER, wire.name("late")))
        late = self.register(there, "late", 4711)
        for client, count in ((here, 2), (there, 1), (more, 1)):
            self.wait_for_events(client, count)
        there.ask(wire.request(wire.UNREGISTER, late))
        for client, count in ((here, 3), (there, 2), (more, 2)):
            self.wait_for_events(client, count)
        here.ask(wire.request(wire.UNREGISTER_TRIGGER, wire.name("early")))
        there.ask(wire.request(wire.UNREGISTER, early))
        both = [(0, "late", 4711), (wire.DOWN, "late", 4711)]
        for client, expected in ((here, [(0, "early", 1)] + both), (there, both), (more, both)):
            client.ask(wire.request(wire.ALIVE))
            self.assertEqual(self.events(client), expected)


class Abuse(LocdCase):
    GROWTH = 48 * 1024  # KiB: sanitizers keep what is freed for a while

    def memory(self, agent):
        with open(f"/proc/{agent.pid}/status", encoding="ascii") as status:
            return int(re.search(r"VmHWM:\s+(\d+)", status.read()).group(1))

    def good_messages(self):
        return (wire.request(wire.LOGIN, wire.login()),
                wire.request(wire.REGISTER, wire.provider("x", reference="IOR:")),
                wire.request(wire.LOCATE, wire.name("x")),
                wire.agent_message(wire.UNREACHABLE, wire.provider("x")),
                wire.reply(wire.ACKNOWLEDGED, None),
                wire.agent_message(wire.LOCATE_AGENT, wire.addr("127.0.0.1", 1)))

    def test_datagrams(self):
        agent = self.locd("--check-interval", "60")
        client = self.logged_in(agent)
        self.register(client, "a")
        # What is bent can still be a good message, such as another login: that comes from a stranger.
        stranger = self.client(agent.address)
        before = self.memory(agent)
        for sender, good in ((stranger, self.good_messages()), (client, ())):
            for number, octets in enumerate(hostile.datagrams(good)):
                sender.send(octets)
                if number % 50 == 49:  # not faster than it reads
                    probe = self.client(agent.address)
                    probe.ask(wire.agent_message(wire.LOCATE_AGENT))
                    probe.end()
        self.assertLess(self.memory(agent) - before, self.GROWTH)
        watcher = self.logged_in(agent)
        self.assertEqual(self.locate(watcher, "a").status, 0)
        self.assertIn("a", watcher.names())
        self.nothing_but_complaints(agent)

    def nothing_but_complaints(self, agent):
        """Those of the stream about what it was given to read, fit for a terminal."""
        for line in agent.lines("err"):
            self.assertRegex(line, r"^NCistream::readObject[ -~]*$")
        self.assertEqual(set(agent.lines()[1:]) - {"NCipcbuf::underflow: Underflow occured"}, set())

    def streams(self):
        good = wire.Connection(None).encode(wire.request(wire.LIST_PROVIDERS, wire.name("a")))
        yield from (b"", b"\0", good[:4], good[:-1], good[:30])
        for word in (0, 3, 5, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 1 << 20):
            yield struct.pack(">I", word) + good[4:]
        for body in hostile.bodies():
            yield wire.framed(body)
        bend = random.Random(5)
        for _ in range(60):
            bent = bytearray(good)
            bent[bend.randrange(len(bent))] ^= 1 << bend.randrange(8)
            yield bytes(bent)
        yield b"GET / HTTP/1.0\r\n\r\n"

    def test_streams(self):
        agent = self.locd()
        client = self.logged_in(agent)
        self.register(client, "a")
        endpoint = client.ask(wire.agent_message(wire.TCP_ENDPOINT)).object
        place = (endpoint.addr, endpoint.port)
        before = self.memory(agent)
        for octets in self.streams():
            with socket.create_connection(place, timeout=PATIENCE) as sock:
                try:
                    sock.sendall(octets)
                    sock.shutdown(socket.SHUT_WR)
                    while sock.recv(65536):
                        pass
                except (ConnectionResetError, BrokenPipeError):
                    pass
                except OSError as error:
                    self.assertEqual(error.errno, errno.ENOTCONN)
        # Some that stay open and say nothing, or never read what they asked for.
        silent = [socket.create_connection(place, timeout=PATIENCE) for _ in range(20)]
        self.addCleanup(lambda: [sock.close() for sock in silent])
        for sock in silent[:10]:
            sock.sendall(wire.Connection(None).encode(wire.request(wire.LIST_NAMES)) * 50)
        self.assertEqual(client.names(), ["a"])
        self.assertLess(self.memory(agent) - before, self.GROWTH)
        self.nothing_but_complaints(agent)


class CommandLine(LocdCase):
    def test_help_and_version(self):
        told = self.run_program("locd", "--help")
        self.assertEqual((told.status, told.err), (0, ""))
        for option in ("--port", "--address", "--peer", "--verbose", "--foreground", "--check-interval",
                       "--interval"):
            self.assertIn(option, told.out)
        told = self.run_program("locd", "--version")
        self.assertEqual((told.status, told.err), (0, ""))
        self.assertRegex(told.out, r"^locd \d+\.\d+\.\d+\n$")

    def test_errors(self):
        for words, env, complaint in ((["--port", "x"], {}, "--port: 'x'"),
                                      ([], {"LOCD_PORT": "x"}, "LOCD_PORT: 'x'")):
            with self.subTest(complaint=complaint):
                told = self.run_program("locd", *words, env=env)
                self.assertEqual((told.status, told.out), (2, ""))
                self.assertRegex(told.err, rf"^locd: {complaint}.*; see locd --help\n$")

    def test_a_port_that_is_taken(self):
        agent = self.locd()
        told = self.run_program("locd", "--address", agent.address[0], "--port", agent.port)
        self.assertEqual((told.status, told.out), (1, ""))
        self.assertRegex(told.err, rf"^locd: cannot listen on {agent.address[0]} port {agent.port}: Address")

    def test_an_address_that_is_not_of_this_host(self):
        told = self.run_program("locd", "--address", "203.0.113.77", "--port", 0)
        self.assertEqual((told.status, told.out), (1, ""))
        self.assertIn("203.0.113.77", told.err)

    def test_the_port_of_the_environment(self):
        port = harness.free_port([self.host(1)])
        program = self.start("locd", "--address", self.host(1), env={"LOCD_PORT": port})
        program.wait_line(rf"locd: listening on {self.host(1)} port {port}$")

    def test_verbose_tells_on_the_error_stream(self):
        agent = self.locd("--verbose", "--foreground")
        client = self.logged_in(agent)
        agent.wait_line(rf".*{client.address[0]}:{client.address[1]} logs in", "err")
        self.assertEqual(len(agent.lines()), 1)


if __name__ == "__main__":
    unittest.main()
