"""locd, the location agent, against simulated clients and agents: conversations, which golden/locd.txt has and
describes, and what needs more than the words of one."""

import fcntl
import os
import pathlib
import re
import resource
import signal
import socket
import subprocess
import unittest

import harness
import wire
from harness import SILENT, wait_until

NOTIFICATION = ("reply", wire.NOTIFICATION)
ALIVE, END = ("request", wire.ALIVE), ("request", wire.END)
QUESTIONS = {"login": wire.LOGIN, "alive": wire.ALIVE, "locate": wire.LOCATE, "register": wire.REGISTER,
             "unregister": wire.UNREGISTER, "watch": wire.REGISTER_TRIGGER, "unwatch": wire.UNREGISTER_TRIGGER,
             "agents": wire.LIST_AGENTS, "providers": wire.LIST_PROVIDERS, "end": wire.END, "unknown": 99}
STATUS = {0: "ok", wire.REFUSED: "refused", wire.RECONNECT: "reconnect", wire.KNOWN: "known"}
ANSWERS = {wire.LOGIN: wire.LOGIN_ANSWERED, wire.ALIVE: wire.ALIVE_ANSWERED}


def shown(provider):
    return f"{provider.name.name}:{provider.addr.port}"


def told(client):
    """The notifications; one that was sent again before it was acknowledged counts once. An agent of another test may
    still send to a client that had this client's port."""
    records = {heard.record.msgNum: heard.record for heard in client.all(NOTIFICATION)
               if heard.sender == client.agent_place}
    return ", ".join(("down " if one.status == wire.DOWN else "up ") + shown(one.reply)
                     for one in records.values() if one.requestNum == 0)


class LocdCase(harness.Case):
    def setUp(self):
        super().setUp()
        self.clients, self.agents, self.former = {}, {}, {}

    def locd(self, *words):
        self.agent = self.start_locd(self.host(1), 0, *words)
        return self.agent

    def formed(self, count, *words, peers=True):
        """Agents that know each other, with the clients a, b ... of each."""
        hosts = self.hosts(count)
        port = harness.free_port(hosts)
        agents = [self.start_locd(host, port, *words, *[word for other in hosts[:at] if peers
                                                        for word in ("--peer", other)])
                  for at, host in enumerate(hosts)]
        for letter, agent in zip("abc", agents):
            self.join(letter, agent)
            self.talk(f"{letter} login: ok")
            self.clients[letter].wait_for_others(*[other for other in agents if other is not agent])
        self.agent = agents[0]
        return agents

    def join(self, letter, agent=None, **told):
        self.clients[letter] = self.client(agent or self.agent, **told)
        return self.clients[letter]

    def question(self, client, words):
        verb, name, port, service = re.match(r"(\w+) ?(!?\w*):?(\d*)/?(\d*)$", words).groups()
        payload = wire.name(name, int(service or wire.MANUAL)) if name else None
        if name.startswith("!"):
            payload = {"!name": wire.name("x"), "!address": wire.addr("127.0.0.1", 1), "!nothing": None}[name]
        elif verb in ("register", "unregister", "unreachable"):
            payload = wire.provider(name, port=int(port or 0), service=int(service or wire.MANUAL))
        elif verb == "login":
            payload = wire.login(client.verify_port, int(name or 1))
        if verb == "unreachable":
            return wire.agent_message(wire.UNREACHABLE, payload)
        return wire.request(QUESTIONS[verb], payload, cookie=b"abcd")

    def answer(self, client, question):
        """By its status and the provider in it, and of the right type."""
        record = client.ask(question)
        provider = record.reply and record.reply.kind == "DSProvider"
        present = question.requestType == wire.REGISTER_TRIGGER and provider
        self.assertEqual((record.replyType, record.cookie), (
            wire.NOTIFICATION if present else ANSWERS.get(question.requestType, 0), question.cookie))
        return STATUS.get(record.status, "no") + (f" {shown(record.reply)}" if provider else "")

    def say(self, letter, client, words):
        """The answer to a question."""
        again, words = words.startswith("again "), words.removeprefix("again ")
        if words == "names":
            return " ".join(client.names())
        if words.startswith("providers"):
            return " ".join(sorted(map(shown, client.query(self.question(client, words)))))
        question = self.question(client, words)
        former = self.former.setdefault((letter, words.rstrip("12 ")), question)
        question.msgNum = former.msgNum if again else question.msgNum
        return self.answer(client, question)

    def act(self, letter, client, verb, rest):
        """Does what has no answer."""
        if verb == "hears":
            events, limit = re.match(r"(.*?)(?:, within ([\d.]+))?$", rest).groups()
            wait_until(lambda: len(told(client)) >= len(events), lambda: f"{rest}, but {told(client)}",
                       float(limit or harness.PATIENCE))
            self.say(letter, client, "alive")  # comes behind all that was sent before
            self.assertEqual(told(client), events)
        elif verb == "asked":
            count = int(rest.rstrip("+"))
            wait_until(lambda: len(client.all(ALIVE)) >= count, f"{count} questions")
            self.assertTrue(rest.endswith("+") or len(client.all(ALIVE)) == count, rest)
        elif verb == "ended":
            client.wait_for(END, int(rest))
        elif verb == "late":
            client.send(wire.reply(wire.ALIVE_ANSWERED, client.all(ALIVE)[-1].record))
        elif verb == "silent":
            client.script[ALIVE] = SILENT
        elif verb == "moves":
            harness.close(client._udp)
            client._udp = client.open(harness.udp_socket("127.0.0.1"))
        else:
            client.send(self.former.get((letter, rest)) or self.question(client, f"{verb} {rest}".strip()))

    def talk(self, *rows):
        for row in rows:
            who, asks = row.split(" ", 1)
            letter, host, other = re.match(r"(\w)@?(\d*)=?(\w?)$", who).groups()
            client = self.clients.get(letter) or self.join(
                letter, self.agents.get(letter), host=self.host(int(host)) if host else "127.0.0.1")
            client.verify_port = self.clients[other].verify_port if other else client.verify_port
            words, colon, answer = (asks + " ").partition(": ")
            if colon:
                self.assertEqual(self.say(letter, client, words), answer.strip(), row)
            else:
                self.act(letter, client, *words.strip().partition(" ")[::2])

    def memory(self):
        """The most that the agent has used."""
        status = pathlib.Path(f"/proc/{self.agent.process.pid}/status").read_text(encoding="ascii")
        return int(re.search(r"VmHWM:\s+(\d+)", status).group(1)) * 1024


class Conversations(LocdCase):
    def test_conversations(self):
        for title, rows in harness.scenes("locd.txt"):
            with self.subTest(title):
                count, words = re.match(r"[^,]*(?:, of (\d) agents)?(?:, with (.*))?$", title).groups()
                self.clients, self.agents, self.former = {}, {}, {}
                if count:
                    self.formed(int(count))
                else:
                    self.locd(*(words or "").split())
                self.talk(*rows)


class Requests(LocdCase):
    def test_a_search_is_answered(self):
        client = self.client(self.locd())
        answer = client.ask(wire.agent_message(wire.LOCATE_AGENT, cookie=b"\1\2\3\4"))
        self.assertEqual((answer.kind, answer.replyType, answer.status, answer.object, answer.cookie),
                         ("DSAReply", wire.LOCATED, 0, wire.addr(self.agent.host, self.agent.port), b"\1\2\3\4"))
        # An agent on every address names the one that it is asked from.
        anywhere = self.start_locd("0.0.0.0")
        anywhere.host = self.host(1)
        client = self.client(anywhere, host=self.host(2))
        for kind in (wire.LOCATE_AGENT, wire.TCP_ENDPOINT):
            # Also when the question has the form of another agent's announcement.
            for told in ({}, {"payload": wire.addr(self.host(2), 9), "cookie": b"\1\2\3\4"}):
                self.assertRegex(client.ask(wire.agent_message(kind, **told)).object.addr, r"^127\.")

    def test_the_answer_to_another_version(self):
        client, question = self.client(self.locd()), wire.request(wire.LOGIN, wire.login(), cookie=b"wxyz")
        client.send(wire.datagram(question).replace(b"Kestrune 2.0", b"Kestrune 2.1"))
        answer = client.wait_for(("reply", wire.LOGIN_ANSWERED)).record
        self.assertEqual((answer.status, answer.requestNum, answer.cookie),
                         (wire.OTHER_VERSION, question.msgNum, question.cookie))

    def test_what_is_registered(self):
        self.locd()
        self.talk("a login: ok", "b login: ok")
        first, other = self.clients.values()
        record = wire.provider("y", port=4711, reference="IOR:00", client=self.host(3))
        self.assertEqual(self.answer(first, wire.request(wire.REGISTER, record)), "ok")
        self.assertEqual(other.ask(self.question(other, "locate y")).reply,
                         record.with_(agentAddr=wire.addr(self.agent.host, self.agent.port)))
        # A name too long to be told of is not taken.
        longest = wire.DATAGRAM_LIMIT - len(wire.datagram(self.question(first, "register")))
        outcomes = [tuple(self.answer(first, self.question(first, f"{verb} {'n' * length}"))[:2]
                          for verb in ("register", "locate"))
                    for length in range(longest - 200, longest + 1, 4)]
        self.assertEqual(sorted(set(outcomes)), [("no", "no"), ("ok", "ok")])

    def test_lists(self):
        self.locd()
        self.talk("a login: ok", "a register x:1: ok", "a register y:1: ok")
        client = self.clients["a"]
        client.wait_for_others()
        connection = client.list_connection()
        # Two questions at once, then octet by octet, then some that fail, all on one connection.
        questions = [self.question(client, "providers x"), wire.request(wire.LIST_NAMES)]
        for question in questions:
            connection.send(question)
        self.assertEqual([connection.receive().requestNum for _ in questions], [one.msgNum for one in questions])
        for octet in connection.encode(wire.request(wire.LIST_NAMES)):
            connection.sock.sendall(bytes([octet]))
        self.assertEqual(len(connection.receive().reply.members), 2)
        for words in ("unknown", "agents", "providers"):
            connection.send(self.question(client, words))
            self.assertNotEqual(connection.receive().status, 0)


class Clients(LocdCase):
    def test_notifications_are_repeated_until_acknowledged_and_in_order(self):
        self.locd()
        watcher = self.join("b", script={NOTIFICATION: SILENT})
        self.talk("a login: ok", "b login: ok", "b watch x: ok", "a register x: ok", "a unregister x: ok")
        again = watcher.wait_for(NOTIFICATION, 2).record
        self.assertEqual(watcher.all(NOTIFICATION)[0].record, again)
        # The next one waits for the acknowledgement of this one; a wrong number acknowledges nothing.
        watcher.send(wire.reply(wire.ACKNOWLEDGED, again.with_(msgNum=1)))
        self.talk("b hears up x:0")
        watcher.send(wire.reply(wire.ACKNOWLEDGED, again))
        self.talk("b hears up x:0, down x:0")

    def test_signals_end_the_agent_and_tell_its_clients(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            agent, self.clients = self.locd(), {}
            client = self.join("a", script={END: SILENT})
            self.talk("a login: ok", "b login: ok")
            agent.process.send_signal(number)
            self.clients["b"].wait_for(END)
            self.assertEqual(client.wait_for(END, 2).record, client.wait_for(END).record)
            client.send(wire.agent_message(wire.LOCATE_AGENT))
            self.assertEqual((agent.wait(), agent.err), (0, ""))  # whether they answer or not
            self.assertEqual(client.all(("reply", wire.LOCATED)), [], "it is no agent to go to")

    def test_a_process_that_was_dropped_while_it_was_stopped_comes_back_at_once(self):
        agent = self.locd("--check-interval", "1")
        server = self.start("announce", "--exact", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, "x")
        server.wait_line("announce: 1 names")
        self.talk("b login: ok", "b watch x: ok x:0")
        for number, expected in ((signal.SIGSTOP, "down x:0"), (signal.SIGCONT, "down x:0, up x:0")):
            server.process.send_signal(number)
            self.talk(f"b hears {expected}")


class DomainOfLocd(LocdCase):
    def test_known_by_broadcast(self):
        self.formed(3, peers=False)

    def test_known_by_address(self):
        self.env["LOCD_LOCAL_FILE"] = self.file("nowhere", f"127.0.0.1 255.0.0.0 {self.host(250)}\n")
        agents = self.formed(3, "--interval", "60")
        agents[2].process.send_signal(signal.SIGTERM)  # one that leaves says so
        self.assertEqual(agents[2].wait(), 0)
        self.clients["a"].wait_for_others(agents[1])
        self.clients["b"].wait_for_others(agents[0])
        # Agents that only know the first one meet by it.
        self.join("c", self.start_locd(self.host(7), agents[0].port, "--peer", agents[0].host))
        self.talk("c login: ok")
        self.clients["c"].wait_for_others(*agents[:2])
        # One of another make, which has no number, is a member too.
        other = self.fake_agent(self.host(9), agents[0].port)
        self.join("d", self.start_locd(self.host(8), other.port, "--peer", other.host))
        self.talk("d login: ok")
        self.clients["d"].wait_for_others(other)

    def test_a_dead_agent_is_dropped(self):
        agents = self.formed(3, "--interval", "0.5")
        self.talk("a watch x: ok")
        agents[1].kill()
        self.clients["a"].wait_for_others(agents[2])
        # And is taken in again when it comes back, and told what is waited for.
        agents[1] = self.start_locd(agents[1].host, agents[1].port, "--peer", agents[0].host)
        self.clients["a"].wait_for_others(agents[2], agents[1])
        self.join("d", agents[1])
        self.talk("d login: ok", "d register x:5: ok", "a hears up x:5")

    def played(self):
        """A client a, and an agent of this make that the test plays and its agent knows."""
        self.locd()
        other = self.fake_agent(self.host(9), self.agent.port)
        other.send(wire.agent_message(wire.LOCATE_AGENT, wire.addr(other.host, other.port), cookie=b"\1\2\3\4"),
                   (self.agent.host, self.agent.port))
        self.talk("a login: ok")
        self.clients["a"].wait_for_others(other)
        return other

    def test_doubled_answers_of_the_others_count_once(self):
        other, place = self.played(), (self.agent.host, self.agent.port)
        provider, answers = wire.provider("x", port=7), []

        def notify_and_answer(question):
            answers.append(wire.reply(wire.NOTIFICATION, question, 0, provider))
            other.send(wire.reply(wire.NOTIFICATION, None, 0, provider), place)
            return answers[0]
        other.script[("request", wire.REGISTER_TRIGGER)] = notify_and_answer
        self.talk("a watch x: ok", "a hears up x:7")
        other.send(wire.reply(wire.NOTIFICATION, None, wire.DOWN, provider), place)
        other.send(answers[0], place)  # a late copy
        self.talk("a hears up x:7, down x:7")

    def test_a_repeat_waits_for_the_answer_of_the_others(self):
        self.played().script[("request", wire.LOCATE)] = SILENT
        client = self.clients["a"]
        question = self.question(client, "locate x")
        client.send(question)
        client.send(question)
        self.talk("a alive: ok")
        self.assertEqual(self.answer(client, question), "no")


class Abuse(LocdCase):
    def setUp(self):
        super().setUp()
        self.locd("--check-interval", "60")
        self.talk("a login: ok", "a register x:7: ok")
        self.before = self.memory()

    def expect_unharmed(self):
        self.talk("a locate x: ok x:7", "a providers x: x:7")
        self.assertLess(self.memory() - self.before, 48 << 20)  # sanitizers keep what is freed for a while
        self.assertEqual((self.agent.err, len(self.agent.lines())), ("", 1))

    def test_datagrams(self):
        # Some are sound, such as a login: these come from an address of their own.
        other, probe = self.client(self.agent), self.client(self.agent)
        for number, octets in enumerate(harness.hostile_datagrams(bent=20)):
            other.send(octets)
            if number % 50 == 0:  # not faster than it reads
                probe.ask(wire.agent_message(wire.LOCATE_AGENT))
        for file in (harness.CORPUS / "fuzz_datagram").glob("bad_*"):
            self.clients["a"].send(wire.framed(file.read_bytes()))
        self.expect_unharmed()

    def test_streams(self):
        place = self.clients["a"].list_connection().sock.getpeername()
        good = wire.Encoder().message(wire.request(wire.LIST_NAMES))
        files = (harness.CORPUS / "fuzz_tcp_framing").iterdir()
        words = (0, 3, 5, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 1 << 20)
        for octets in (good[:30], b"GET / HTTP/1.0\r\n\r\n", *[file.read_bytes()[1:] for file in files],
                       *[wire.unsigned(word) + good[4:] for word in words], *harness.hostile_datagrams()):
            with socket.create_connection(place, timeout=harness.PATIENCE) as sock:
                try:
                    sock.sendall(octets)
                    sock.shutdown(socket.SHUT_WR)
                    while sock.recv(65536):
                        pass
                except OSError as error:  # it may close before all of it is there
                    self.assertNotIsInstance(error, TimeoutError)
        # Some that stay open and say nothing, or never read what they asked for.
        for number in range(20):
            sock = socket.create_connection(place)
            self.addCleanup(sock.close)
            sock.sendall(good * (50 * (number % 2)))
        self.expect_unharmed()


class Limits(LocdCase):
    def setUp(self):
        super().setUp()
        self.locd()
        self.talk("a login: ok", "b login: ok")

    def expect_served(self, connection):
        connection.send(wire.request(wire.LIST_NAMES))
        self.assertEqual(connection.receive().reply.members, [])

    def test_long_names_have_a_limit_and_slow_readers_share_their_list(self):
        client, count = self.clients["a"], 0
        while self.say("a", client, f"register {count:08000}") == "ok":
            count += 1
        self.talk("b register x: ok")
        before, half_of_a_list = self.memory(), 32 * 1024 * 1024
        slow = [client.list_connection() for _ in range(30)]
        for connection in slow:
            connection.send(wire.request(wire.LIST_NAMES))
        names = client.names()
        self.assertEqual(len(names), count + 1)
        self.assertLess(sum(map(len, names)), half_of_a_list)
        self.assertLess(self.memory() - before, 5 * half_of_a_list)
        self.assertEqual(len(slow[0].receive().reply.members), count + 1)

    def test_the_connection_that_was_silent_longest_gives_way(self):
        idle = [self.clients["a"].list_connection() for _ in range(64)]
        self.expect_served(idle[0])
        self.talk("a names: ")
        self.assertIsNone(idle[1].receive())
        self.expect_served(idle[0])
        self.expect_served(idle[2])

    def test_without_descriptors_it_waits_for_one(self):
        pid = self.agent.process.pid
        used = len(os.listdir(f"/proc/{pid}/fd"))
        connection = self.clients["a"].list_connection()
        place = connection.sock.getpeername()
        self.expect_served(connection)
        connection.sock.close()
        self.talk("a alive: ok")  # a sanitizer needs descriptors too, for what it has not met before
        wait_until(lambda: len(os.listdir(f"/proc/{pid}/fd")) == used, "the end of the connection")
        soft, hard = resource.prlimit(pid, resource.RLIMIT_NOFILE)
        resource.prlimit(pid, resource.RLIMIT_NOFILE, (used, hard))
        with socket.create_connection(place) as sock:
            wait_until(lambda: "no descriptor is left" in self.agent.err, "the warning")
            self.talk(*["a alive: ok"] * 200)
            self.assertLess(self.agent.err.count("\n"), 5, "it does not try again and again")
            resource.prlimit(pid, resource.RLIMIT_NOFILE, (soft, hard))
            self.expect_served(wire.Connection(sock))


class Operators(LocdCase):
    def test_an_address_is_taken_once_and_a_log_goes_to_the_terminal(self):
        agent = self.locd("--verbose", "--foreground")
        result = self.run_program("locd", "--address", agent.host, "--port", agent.port)
        self.assertEqual((result.out, result.status), ("", 1))
        self.assertRegex(result.err, f"^locd: cannot listen on {agent.host} port {agent.port}: ")
        self.talk("a login: ok")
        self.assertRegex(agent.err, "{}:{} logs in".format(*self.clients["a"].address))

    def test_the_log_is_opened_anew_and_tells_a_status(self):
        log = self.scratch / "log"
        agent = self.locd("--verbose", "--log-file", log)
        self.talk("a login: ok", "a register x:7: ok", "b login: ok", "b watch x: ok x:7")
        log.rename(self.scratch / "former")
        for number in (signal.SIGUSR2, signal.SIGALRM, signal.SIGPIPE, signal.SIGHUP, signal.SIGUSR1):
            agent.process.send_signal(number)
        wait_until(lambda: log.exists() and "memory" in log.read_text(), "a status")
        self.assertRegex((self.scratch / "former").read_text(),
                         r"\A(20\d\d-\d\d-\d\dT[\d:.]+Z locd info: .* logs in, .*\n){2}\Z")
        octets = len(wire.datagram(self.question(self.clients["a"], "register x"))) - len(
            wire.datagram(wire.request(wire.REGISTER)))
        for text in (f"port {agent.port}, lists at port \\d+, 2 clients",
                     f"1 names of 1 providers in {octets} octets, 1 triggers", "memory \\d+ KiB, 0 other agents"):
            self.assertRegex(log.read_text(), rf"Z locd status: .*{text}")
        self.talk("a alive: ok")

    def test_a_log_that_is_not_read_is_no_hindrance(self):
        agent = self.locd("-vv")
        pipe = agent.process.stderr
        fcntl.fcntl(pipe, fcntl.F_SETPIPE_SZ, 4096)
        harness.unwatch(pipe)
        probe = self.client(agent)
        for _ in range(300):
            probe.send(b"nonsense")
            probe.ask(wire.agent_message(wire.LOCATE_AGENT))
        harness.watch(pipe, agent._read)
        wait_until(lambda: re.search(r"warning: \d+ lines are lost", agent.err), "the number of lost lines")
        harness.close(pipe)
        agent._open.remove(pipe)
        probe.send(b"nonsense")
        probe.ask(wire.agent_message(wire.LOCATE_AGENT))

    def test_warnings_at_the_start_are_no_end(self):
        self.env["LOCD_LOCAL_FILE"] = self.file("nowhere", "127.0.0.1 255.0.0.0 192.0.2.255\n")
        agent = self.locd("--peer", "no..host")  # refused before a name server is asked
        for text in ("there is no network to broadcast to", "--peer: there is no host 'no..host' at present"):
            wait_until(lambda: f"Z locd warning: {text}" in agent.err, text)

    def test_a_port_for_lists_serves_again_at_once(self):
        port = harness.free_port([self.host(1)])
        for _ in range(2):
            self.locd("--list-port", port)
            client = self.client(self.agent)
            self.assertEqual(client.list_connection().sock.getpeername(), (self.host(1), port))
            self.assertEqual(client.names(), [])
            self.agent.kill()

    def test_completions_know_all_options(self):
        script = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "completions" / "harbolance.bash"
        for program in ("locd", "announce", "oadd", "oadctl"):
            ask = f". {script}; _harbolance {program} -- {program}; echo ${{COMPREPLY[*]}}"
            known = subprocess.run(["bash", "-c", ask], stdout=subprocess.PIPE, text=True, check=True).stdout.split()
            options = re.findall(r"--[a-z-]+", self.run_program(program, "--help").out)
            self.assertLessEqual(set(options), set(known))


if __name__ == "__main__":
    unittest.main()
