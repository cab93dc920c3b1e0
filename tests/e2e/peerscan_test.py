"""peerscan as a user meets it: text on both streams and exit status, against simulated agents and locd."""

import os
import re
import signal
import socket
import subprocess
import unittest

import giop
import harness
import wire
from harness import FAST_CLOCK, LOOPBACK_BROADCAST, SILENT, golden

OAD_ID = "IDL:tarnwicknet/Activation/OAD:1.0"
FAILED = "CORBA Exception during execution of peerscan: EXCEPTION ObjLocation::Fail {\n\treason:\n%d \n}\n\n"
NO_AGENTS = "\npeerscan: There are no agents running in your domain.\n"
NO_OADS = "\npeerscan: There are no OADs running on in your domain.\n"
NO_REGISTERED = "\npeerscan: There are no Object Implementations registered with OADs.\n"
NO_STARTED = "\npeerscan: There are no manually started Object Implementations.\n"
REGISTERED = "\npeerscan: Following are the list of Implementations registered with OADs.\n"
LOCATE_AGENT, TCP_ENDPOINT = ("message", wire.LOCATE_AGENT), ("message", wire.TCP_ENDPOINT)
LOGIN, LIST_AGENTS, END = [("request", kind) for kind in (wire.LOGIN, wire.LIST_AGENTS, wire.END)]

# With control characters, in one octet and in UTF-8, an octet that begins no character, and what JSON escapes.
STRANGE = 'a\nb\x7f\xc2\x9b\x9b "gr\xc3\xbc\xc3\x9f\\"'
# The names that an agent may hold: objects, and what is none of them. A query for names alone lists these.
NAMES = [wire.name(f"127.0.0.{text}", service) for text, service in (
    ("1_IDL:Bank/Account:1.0_Alice", 4), ("1_IDL:Bank/Account:1.0_Bob", 4), ("2_IDL:Print/Queue:1.0_Lobby", 4),
    ("1_IDL:Print/Queue:1.0", 4), ("3_IDL:Empty:1.0_", 4), (f"3_IDL:\x1b[2J:1.0_{STRANGE}", 4), (f"1_{OAD_ID}", 4),
    ("1_OAD-of-Activation", 4), ("1_IDL:Bank/Archive:1.0_Vault", 5), ("9_*_Starter", 5), ("1_IDL:OAD:1.0", 5),
    ("1_IDL:Two:1.0", 2), ("1_IDL:Six:1.0", 6))]
NAMES += map(wire.name, (
    "IDL:Bank/Account:1.0_Alice", "10.0.0.1", "_IDL:a:1.0_x", "northgate_IDL:a:1.0_x", "255.255.255.255_IDL:a:1.0_x",
    "256.0.0.1_IDL:a:1.0_x", "00000000000000001_IDL:a:1.0_x", f"127.0.0.1_{OAD_ID}_x"))
NAMES.append(NAMES[1].with_(argType=3))  # is listed twice


def provider(key, number, name="", service=4, port=15003):
    """With a reference, as servers announce their objects."""
    host = f"127.0.0.{number}"
    return wire.provider(key, host, port, service=service, agent="127.0.0.77",
                         reference=giop.reference(key, host, port, giop.object_key(key, name)))


# The same objects as the location service finds them: by interface, with references.
OADS = [provider(*told, port=15000) for told in ((OAD_ID, 1), (OAD_ID, 7), ("Activation::OAD", 6))]
OBJECTS = [provider(*told) for told in (
    ("IDL:Bank/Account:1.0", 1, "Alice", 4, 15004), ("IDL:Bank/Account:1.0", 1, "Bob"), ("IDL:Print/Queue:1.0", 2, "Lobby"),
    ("IDL:Print/Queue:1.0", 1, "", 4, 15001), ("IDL:Empty:1.0", 3), ("IDL:\x1b[2J:1.0", 3, STRANGE),
    ("IDL:Bank/Archive:1.0", 1, "Vault", 5), ("*", 9, "Starter", 5), ("IDL:OAD:1.0", 1, "", 5),
    ("IDL:Bank/Account:1.0", 1, "Bob", 4, 15002))]
PROVIDERS = OADS + OBJECTS
IDS = [one.name for one in OBJECTS[2:]]
ALL = {"names": NAMES + IDS, "providers": PROVIDERS}


def agents(agent, *others, port=None):
    """The first listing."""
    count = f"{len(others) + 1} agents" if others else "one agent"
    hosts = "".join(f"\tHOST: {host}\n" for host in [agent.host, *others])
    return f"\npeerscan: Found {count} at port {port or agent.port}\n{hosts}"


class PeerscanCase(harness.Case):
    def agent(self, **told):
        return self.fake_agent(self.host(1), **told)

    def scan(self, agent, *options, **told):
        """peerscan in the domain of the agent, with hosts by number."""
        return self.run_program("peerscan", "-d", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port,
                                *options, **told)


class Listings(PeerscanCase):
    def test_one_agent_and_nothing_else(self):
        agent = self.agent()
        self.expect(self.scan(agent), agents(agent) + NO_OADS + NO_REGISTERED + NO_STARTED)
        agent.wait_for(END)
        # The location service asks twice for OADs and once for everything. Whatever number of queries that takes,
        # each of the three asks for the agents and for their endpoints once.
        self.assertEqual([harness.key_of(heard.record) for heard in agent.heard],
                         [LOCATE_AGENT, LOGIN, LIST_AGENTS] + [LIST_AGENTS, TCP_ENDPOINT] * 3 + [END])
        oads = [(name, 4) for name in ("Activation::OAD", OAD_ID)]
        self.assertEqual([query.request and (query.request.name, query.request.serviceType) for query in agent.queries],
                         [(OAD_ID, 4), (OAD_ID, 5)] + oads + [oads[0], ("Activation::OAD", 5)] + oads + oads + [None])
        login = agent.wait_for(LOGIN).record.request
        self.assertEqual((login.hostName, login.loginName, login.loginExtra, login.machineType),
                         (socket.gethostname(), "", "", 2))

    def test_everything_of_one_agent(self):
        agent = self.agent(**ALL)
        self.expect(self.scan(agent), agents(agent) + golden("everything.txt"))
        document = golden("everything.json").replace("HOST", agent.host).replace("PORT", str(agent.port))
        self.expect(self.scan(agent, "--json", "-C", "-ORBagentDebug", "0"), document,
                    "\n>>> Press RETURN to continue <<<\n")
        # Without -d hosts have names.
        host = f"\tHOST: {socket.gethostbyaddr('127.0.0.1')[0]}\n"
        out = self.run_program("peerscan", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port).out
        self.assertIn(f"\npeerscan: Found 3 OADs in your domain\n{host}", out)
        self.assertIn(f"{host}\n\t\tREPOSITORY ID: IDL:Bank/Account:1.0\n", out)

    def test_everything_of_three_agents(self):
        first, second, third = self.fake_domain()
        first.names, second.names, third.names = IDS[:3], IDS[2:5], IDS[4:]
        first.providers, second.providers, third.providers = PROVIDERS[:4], PROVIDERS[:6], PROVIDERS[4:]
        expected = agents(first, second.host, third.host) + golden("everything.txt")
        # In another order than those of one agent.
        self.assertEqual(sorted(self.scan(first).out.splitlines()), sorted(expected.splitlines()))
        # An agent that does not answer a list query is left out; the others are listed.
        for second.tcp in ("mute", "hang"):
            lines = self.scan(first, "-r", "Bank", **FAST_CLOCK).out.splitlines()
            self.assertEqual(sorted(line[-5:] for line in lines[-3:]), [": Bob", ": Bob", "Alice"])

    def test_without_the_location_service(self):
        """It asks for objects of OADs, which the old way does not: an agent that fails there sends peerscan back."""
        agent = self.agent(names=NAMES, providers=PROVIDERS, tcp=lambda query: "cut" if query.request and
                           query.request.serviceType == 5 else "serve")
        agent.names.append(IDS[0])
        self.expect(self.scan(agent), agents(agent) + golden("everything.txt"), FAILED % 4 * 2)
        # A name is cut at the first two bars; the host is dotted, of 16 characters at most.
        agent.names = [wire.name(f"{host}_IDL:a:1.0_{name}") for host, name in (
            ("127.1", "of_my_own"), ("0000000000000001", "OAD"))] + [wire.name("127.2__"), IDS[0]]
        shown = re.findall(r"HOST: (.*)\n\n.*: (.*)\n(?:.*NAME: (.*)\n)?", self.scan(agent, "-r", ".*").out)
        self.assertEqual(shown, [("0.0.0.1", "IDL:a:1.0", "OAD"), ("127.0.0.2", "", ""),
                                 ("127.0.0.1", "IDL:a:1.0", "of_my_own")])
        # What can't be listed is null.
        agent.tcp = "cut"
        for words, members in (("-o -r .", ("oads", "implementations")), ("-r [", ("implementations",))):
            lines = ",\n".join(f'  "{member}": null' for member in members)
            self.assertEqual(self.scan(agent, "--json", *words.split()).out, f"{{\n{lines}\n}}\n")
        # Both ways are listed.
        agent.tcp, agent.names = "serve", ALL["names"]
        both = self.scan(agent, "-b", "-r", "Bank").out
        self.assertEqual([both.count(f"NAME: {name}\n") for name in ("Alice", "Bob", "Vault")], [2, 4, 2])

    def test_answers_that_are_no_lists(self):
        agent, some = self.agent(names=NAMES), wire.record_set([wire.name("x"), wire.addr("127.0.0.8", 1)])
        for answer, others in ((wire.addr("127.0.0.8", 1), []), (some, ["127.0.0.8"])):
            agent.script[LIST_AGENTS] = lambda record, answer=answer: wire.reply(0, record, 0, answer)
            self.expect(self.scan(agent, "-a"), agents(agent, *others), "" if others else
                        "peerscan: cannot list the other agents: the answer is no list\n")
        # Status and reply type of an endpoint's answer mean nothing: the object decides.
        agent.names, agent.providers = ALL["names"], PROVIDERS
        places = [wire.addr(agent.host, agent.tcp_port)] + [wire.name("no address")] * 6
        agent.script = {TCP_ENDPOINT: lambda record: wire.agent_reply(77, record, -1, places.pop())}
        failed = ("peerscan: cannot list the names of objects: the agent does not answer, refuses, or answers with "
                  "something else\n")
        self.expect(self.scan(agent, "-r", "."), NO_REGISTERED + NO_STARTED, FAILED % 4 + failed)
        self.assertIn("OBJECT NAME: Alice\n", self.scan(agent, "-r", ".").out)


class Options(PeerscanCase):
    def test_what_is_asked_for_is_listed(self):
        agent = self.agent(**ALL)
        first, (oads, names) = agents(agent), golden("everything.txt").split(REGISTERED)
        everything = first + oads + REGISTERED + names
        for words, out, err in (
                ("-a -a", first, ""), ("-o", oads, ""), ("-o -a", first + oads, ""), ("-r Nowhere", "", ""),
                ("-r . -a", first + REGISTERED + names, ""), ("-o -r ^.*", oads + REGISTERED + names, ""),
                ("-oadr ^.*", everything, ""), ("word -r^.* -o another -a", everything, ""),
                ("-a -- -x", first, "")):
            with self.subTest(words=words):
                self.expect(self.scan(agent, *words.split()), out, err)

    def test_expressions(self):
        agent = self.agent(**ALL)
        for pattern, shown in (("IDL:Bank/Account:1.0", "Account"), ("^Bank", ""), ("Bank", "Account Archive"),
                               ("Queue:1.0$", "Queue Queue"), ("Account\\|Archive", "Account Archive"),
                               ("A[cr]c+", "Account Archive"), ("\\(Bank\\)", "Account Archive"), ("(Bank)", "")):
            lines = self.scan(agent, "-r", "Nowhere", "-r", pattern).out.splitlines()  # the last one wins
            ids = [line.split("/")[1][:-4] for line in lines if "REPOSITORY ID" in line]
            self.assertEqual(sorted(ids), shown.split(), pattern)
        complaint = "peerscan: Invalid regular expression: \n[a\n"
        for agent.names, out in ((IDS[:1], NO_REGISTERED + complaint), (IDS, complaint),
                                 ([], NO_REGISTERED + NO_STARTED)):
            self.expect(self.scan(agent, "-r", "[a"), out)

    def test_pause(self):
        agent = self.agent()
        for typed in ("\n", "x", ""):
            program = self.start("peerscan", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, "-aCd")
            program.wait_line(">>> Press RETURN to continue <<<$")
            self.assertFalse(program.ended())
            program.type(typed)
            program.close_input()
            self.assertEqual(program.wait(), 0)
            self.assertEqual(program.out, agents(agent) + "\n>>> Press RETURN to continue <<<\n")

    def test_a_reader_that_goes_away(self):
        agent = self.agent()
        program = self.start("peerscan", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, "-C")
        program.stop_reading()
        program.close_input()
        self.assertEqual(program.wait(), 0)
        self.assertEqual(program.err, "peerscan: the report could not be written completely\n")
        agent.wait_for(END)

    def test_words_of_the_orb(self):
        agent = self.agent()
        self.expect(self.scan(agent, "-ORBfoo", "-h", "-a", "-LOCdebug", "0", "-OAport", "-x"), agents(agent))
        out = self.scan(agent, "-a", "-ORBagentDebug", "1").out
        self.assertRegex(out, rf"^DSUser:: Connected to agent \[[^]]*Internet Addr:  {agent.host} \n")
        self.assertTrue(out.endswith(agents(agent)), out)

    def test_the_source_address(self):
        agent = self.agent(**ALL)
        self.assertIn("OBJECT NAME: Lobby\n", self.scan(agent, "-OAipaddr", self.host(9), "-r", "Queue").out)
        for kind in (LOCATE_AGENT, LOGIN, LIST_AGENTS, TCP_ENDPOINT, END):
            self.assertEqual(agent.wait_for(kind).sender[0], self.host(9), kind)


class Search(PeerscanCase):
    """An answer with a failure ends an attempt at once; without an answer each attempt would take a second."""

    def setUp(self):
        super().setUp()
        self.own = harness.own_host()
        self.port = harness.free_port([self.own, LOOPBACK_BROADCAST] + self.hosts(8))

    def unwilling(self, host, status=-1, code=wire.LOCATED, place=None):
        return self.fake_agent(host, self.port, script={LOCATE_AGENT: lambda record: wire.agent_reply(
            code, record, status, place or wire.addr(self.host(1), self.port))})

    def willing(self, number, **told):
        return self.fake_agent(self.host(number), self.port, **told)

    def expect_found(self, agent, *options, before="", **env):
        result = self.run_program("peerscan", "-a", "-d", *options, **{"LOCD_PORT": self.port, **env})
        self.expect(result, before + agents(agent, port=self.port))

    def test_the_order_of_places(self):
        named, listed = self.unwilling(self.host(1)), self.unwilling(self.host(2), 0, 4)
        third, own = self.unwilling(self.host(3), 0, place=wire.name("no address")), self.unwilling(self.own)
        fourth = self.fake_agent(self.host(4), self.port, script={LOCATE_AGENT: b"\0\0\0\x40abc"})
        found, everywhere = self.fake_agent(self.host(6)), self.willing(5, broadcast=True)
        place = wire.addr(found.host, found.port)  # the answer names the agent to talk to
        everywhere.script[LOCATE_AGENT] = lambda record: wire.agent_reply(wire.LOCATED, record, 0, place)
        hosts = self.file("hosts", f"# {self.host(7)}\n{third.host} # {self.host(8)}\n\n {fourth.host}\n")
        before = ("Harbolance: Unable to contact agent in local node or from list provided. \n"
                  "Will try to locate using broadcast.\n")
        self.expect_found(found, "-ORBagentaddr", named.host, LOCD_ADDR=listed.host, LOCD_ADDR_FILE=hosts,
                          before=before)
        asked = sorted((heard.at, agent, heard.record.msgNum)
                       for agent in (named, listed, third, fourth, own, everywhere)
                       for heard in agent.all(LOCATE_AGENT))
        self.assertEqual([agent for _, agent, _ in asked], [named] * 5 + [own] + [listed] * 5 + [third] * 5 +
                         [fourth] * 5 + [named] * 5 + [everywhere])
        self.assertEqual(len({number for _, _, number in asked}), 1, "all attempts send the same message")
        found.wait_for(LIST_AGENTS)

    def test_the_first_place_with_an_agent_ends_the_search(self):
        own = self.unwilling(self.own)
        first, second = self.willing(1), self.willing(2)
        self.file("agentaddr", f"{first.host}\n")
        hosts = self.file("hosts", second.host)
        self.expect_found(first, LOCD_ADDR=first.host, LOCD_ADDR_FILE=hosts)
        self.assertEqual(second.heard, [])
        self.expect_found(second, "-ORBagentaddr", second.host, LOCD_ADDR=first.host)
        self.expect_found(first, HARBOLANCE_ADM=self.scratch)
        self.expect_found(second, HARBOLANCE_ADM=self.scratch, LOCD_ADDR_FILE=hosts)
        own.script.clear()
        self.expect_found(own, LOCD_ADDR=first.host)

    def test_files(self):
        self.unwilling(self.own)
        agent, named = self.willing(1, broadcast=True), self.unwilling(self.host(2))
        missing = self.scratch / "missing"
        complaint = f"DSUser::Unable to open agentaddr file - {missing}\n"
        # With an empty list the broadcast follows without a word.
        self.expect_found(agent, LOCD_ADDR_FILE=missing, before=complaint)
        self.expect_found(agent, HARBOLANCE_ADM=missing)
        # The option is asked first, but is not in the list behind a file that can't be opened.
        self.expect_found(agent, "-ORBagentaddr", named.host, LOCD_ADDR_FILE=missing, before=complaint)
        self.assertEqual(len(named.all(LOCATE_AGENT)), 5)
        # The table of broadcast addresses: each line is sent to.
        near = self.willing(3, script={LOCATE_AGENT: SILENT})
        line = self.env.pop("LOCD_LOCAL_FILE").read_text()
        self.file("localaddr", f"# two\n127.0.0.2 255.0.0.0 {near.host}\n{line} # this\n127.0.0.3 255.0.0.0")
        self.expect_found(agent, HARBOLANCE_ADM=self.scratch)
        near.wait_for(LOCATE_AGENT)
        self.file("localaddr", "# nothing\n")
        self.expect_found(agent, HARBOLANCE_ADM=self.scratch, LOCD_LOCAL_FILE=self.file("own", line))

    def test_the_port(self):
        here = self.willing(1)
        for option, variable in ((self.port, "1"), ("14000", self.port), ("0", self.port)):
            self.expect_found(here, "-ORBagentaddr", here.host, "-ORBagentport", option, LOCD_PORT=variable)
        # What is no port is said, and read from its front all the same.
        more = f"{self.port}x"
        for words, variable, source in ((["-ORBagentport", more], 1, "-ORBagentport"), ([], more, "LOCD_PORT")):
            result = self.run_program("peerscan", "-ad", "-ORBagentaddr", here.host, *words, LOCD_PORT=variable)
            self.expect(result, agents(here), f"peerscan: {source}: '{more}' is no port\n")
        try:
            here = self.fake_agent(self.host(2), 14000)
        except OSError:
            self.skipTest("port 14000 is taken")
        self.expect(self.run_program("peerscan", "-a", "-d", "-ORBagentaddr", here.host), agents(here))

    def test_answers_to_the_login(self):
        agent = self.willing(1)
        other_version = f"Version mismatch with agent at {agent.host}\n" * 5 + NO_AGENTS
        unexpected = "DSUser::login: Unexpected reply while logging in\n"
        for told, out, status, count in (
                (wire.KNOWN, agents(agent), 0, 1), (wire.REFUSED, NO_AGENTS, 0, 5), (wire.DOWN, NO_AGENTS, 0, 5),
                (wire.RECONNECT, NO_AGENTS, 0, 5), (wire.OTHER_VERSION, other_version, 0, 5),
                (lambda record: wire.reply(4, record), unexpected, 1, 1)):
            with self.subTest(told=told):
                agent.script[LOGIN] = told
                agent.heard.clear()
                self.expect(self.scan(agent, "-a"), out, "", status)
                self.assertEqual(len(agent.all(LOGIN)), count)

    def test_a_network_without_an_agent(self):
        search = ("Harbolance: Unable to locate agent. Will try every 15 seconds to locate agent\n"
                  "DSUser:: Unable to contact agent. Make sure there is an agent running on this network\n")
        failed = "\nThere are no agents running in your domain.\n" + FAILED % 0
        # All at once: each of these waits through five searches. Without a table the host's networks are used,
        # so that run stays in a network of its own.
        env = {**self.env, **FAST_CLOCK, "LOCD_PORT": self.port}
        runs = [(self.start("peerscan", *words.split(), **env), err)
                for words, err in (("", ""), ("-a -C", ""), ("-o", failed), ("-r [", failed))]
        env["LOCD_LOCAL_FILE"] = self.scratch / "missing"
        alone = ["unshare", "--net"] if os.geteuid() == 0 else ["unshare", "--user", "--net"]
        done = subprocess.run([*alone, harness.PROGRAMS / "peerscan", "-a"], capture_output=True, check=False,
                              timeout=harness.PATIENCE, env={key: str(value) for key, value in env.items()})
        for program, err in runs:
            program.wait()
            self.assertEqual((program.out, program.err), (search + NO_AGENTS, err))
        if done.returncode:
            self.skipTest("no network namespaces here")
        self.assertEqual(done.stdout.decode(), "DSAgentHandler::Unable to open localaddr file - "
                         f"{self.scratch}/missing\n" * 5 + search + NO_AGENTS)


class Domain(PeerscanCase):
    """The programs among themselves."""

    def test_one_agent(self):
        agent, near, far = self.start_locd(self.host(1)), self.host(3), self.host(4)
        for host, key, name, *words in ((near, "IDL:Bank/Account:1.0", "Alice"), (far, OAD_ID, ""),
                                        (far, "IDL:Bank/Archive:1.0", "Vault", "--oad"), (far, "IDL:Idle:1.0", "Ann")):
            program = self.start("announce", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port, *words,
                                 "--address", host, "--port", 15010, f"{key}={name}")
            program.wait_line(rf"announce: \d+ names at agent {agent.host}$")
        # What is at a daemon's address counts as registered with it; the daemon itself does not.
        expected = golden("domain.txt").format(agent=agent, near=near, far=far)
        self.assertEqual(sorted(self.scan(agent).out.splitlines()), sorted(expected.splitlines()))
        # What ends says so, and is gone from the list.
        program.process.send_signal(signal.SIGTERM)
        self.assertEqual(program.wait(), 0)
        self.assertNotIn("Idle", self.scan(agent).out)


if __name__ == "__main__":
    unittest.main()
