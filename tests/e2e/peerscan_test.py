"""peerscan as a user meets it: text on both streams and exit status, against agents played by the test.

What is proven:

`Listings`     all three listings of one agent and of three, in the order of their collections; host names;
               OADs under both of their names; which names count as implementations; hostile texts and sets;
               an endpoint question that is not answered.
`Options`      each option, what selects listings, their order, the usage text, complaints, the pause,
               expressions.
`OrbOptions`   -ORB, -OA and -LOC words: taken out, acted on, refused with a bad value.
`Search`       where an agent is looked for and in which order, by options, variables and files; answers
               that are none; the port of the domain; agents that refuse or speak another version.
`NoAgent`      a network without an agent: what is printed, and that nothing else runs. Slow: pays a whole
               search.
`SilentLists`  list endpoints that say nothing: bounded, and the rest is listed. Slow: pays their time
               limit.
`Domain`       peerscan with locd and announce, one agent and three.
"""

import concurrent.futures
import os
import shutil
import signal
import socket
import subprocess
import unittest

import harness
import listing
import wire
from harness import SILENT, PATIENCE

OAD_ID = "IDL:tarnwicknet/Activation/OAD:1.0"


class PeerscanCase(harness.Case):
    def agent(self, number=1, **told):
        return self.fake_agent(self.host(number), **told)

    def scan(self, agent, *options, **told):
        """peerscan in the domain of the agent."""
        return self.run_program("peerscan", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port,
                                *options, **told)

    def expect(self, result, out, err="", status=0):
        self.assertEqual(result.out, out)
        self.assertEqual(result.err, err)
        self.assertEqual(result.status, status)


NAMES = [wire.name("127.0.0.1_IDL:Bank/Account:1.0_Alice"), wire.name("127.0.0.1_IDL:Bank/Account:1.0_Bob"),
         wire.name("127.0.0.2_IDL:Print/Queue:1.0_Lobby"), wire.name("127.0.0.1_IDL:Print/Queue:1.0"),
         wire.name("127.0.0.1_IDL:Bank/Archive:1.0_Vault", wire.OAD), wire.name("IDL:Bank/Account:1.0"),
         wire.name("IDL:Bank/Account:1.0_Alice"), wire.name("127.0.0.9_*_Starter", wire.OAD),
         wire.name("127.0.0.3_IDL:Empty:1.0_")]


def oad_providers(hosts, text=OAD_ID):
    return [wire.provider(text, host, 15000) for host in hosts]


class Listings(PeerscanCase):
    def test_one_agent_and_nothing_else(self):
        agent = self.agent()
        self.expect(self.scan(agent, "-d"),
                    listing.agents(agent.port, agent.host) + listing.NO_OADS +
                    listing.NO_OAD_IMPLEMENTATIONS +
                    listing.NO_MANUAL_IMPLEMENTATIONS, listing.NO_SERVICE)
        agent.wait_for(("request", wire.END))
        self.assertEqual([wire_kind(heard) for heard in agent.heard],
                         [("message", wire.LOCATE_AGENT), ("request", wire.LOGIN)] +
                         # Two queries for OADs and one for names, each of which asks for the agents first.
                         [("request", wire.LIST_AGENTS)] +
                         [("request", wire.LIST_AGENTS), ("message", wire.TCP_ENDPOINT)] * 3 +
                         [("request", wire.END)])
        queries = [(query.requestType, query.request and query.request.name) for query in agent.queries]
        self.assertEqual(queries,
                         [(wire.LIST_PROVIDERS, "Activation::OAD"), (wire.LIST_PROVIDERS, OAD_ID),
                          (wire.LIST_NAMES, None)])

    def test_login_tells_who_asks(self):
        agent = self.agent()
        self.scan(agent, "-a")
        told = agent.wait_for(("request", wire.LOGIN)).record
        self.assertEqual(told.request.hostName, socket.gethostname())
        self.assertEqual((told.request.loginName, told.request.loginExtra, told.request.machineType),
                         ("", "", 2))
        self.assertTrue(0 < told.request.verifyPort < 65536)
        self.assertEqual(len(told.cookie), 4)

    def test_everything_of_one_agent(self):
        agent = self.agent(names=NAMES, providers=oad_providers(["127.0.0.1", "127.0.0.7"]))
        names = listing.received(NAMES, listing.name_hash).keys()
        oads = listing.received(agent.providers, listing.provider_hash).keys()
        expected = (listing.agents(agent.port, agent.host) + listing.oads([one.addr.addr for one in oads]) +
                    listing.implementations(names))
        self.assertIn("\t\t\tSERVICE NAME: Starter\n", expected)
        self.assertIn("\n\t\tREPOSITORY ID: IDL:Print/Queue:1.0\n", expected)
        self.expect(self.scan(agent, "-d"), expected, listing.NO_SERVICE)

    def test_everything_of_three_agents(self):
        first, second, third = self.fake_domain()
        first.names, second.names, third.names = NAMES[:3], NAMES[2:5], NAMES[5:]
        first.providers = oad_providers(["127.0.0.1"])
        second.providers = oad_providers(["127.0.0.1", "127.0.0.2"])
        third.providers = oad_providers(["127.0.0.3"], "Activation::OAD")
        others = listing.received([wire.addr(*other) for other in first.others], listing.addr_hash).keys()
        in_order = [agent for other in others for agent in (second, third) if agent.host == other.addr]
        names = listing.merged(first.names, [agent.names for agent in in_order], listing.name_hash)

        def found(text):
            sets = [[one for one in agent.providers if one.name.name == text] for agent in [first] + in_order]
            return listing.merged(sets[0], sets[1:], listing.provider_hash)

        oads = listing.union(found("Activation::OAD"), found(OAD_ID), listing.provider_hash).keys()
        self.assertEqual(len(oads), 3)
        self.expect(self.scan(first, "-d"),
                    listing.agents(first.port, first.host, [wire.addr(*other) for other in first.others]) +
                    listing.oads([one.addr.addr for one in oads]) + listing.implementations(names.keys()),
                    listing.NO_SERVICE)

    def test_hosts_have_names_without_d(self):
        agent = self.agent(names=[wire.name("127.0.0.1_IDL:A:1.0_a")], providers=oad_providers(["127.0.0.1"]))
        name = socket.gethostbyaddr("127.0.0.1")[0]
        result = self.scan(agent)
        self.assertIn(f"\npeerscan: Found 1 OADs in your domain\n\tHOST: {name}\n", result.out)
        self.assertIn(f"{listing.MANUAL_HEADING}\tHOST: {name}\n\n\t\tREPOSITORY ID: IDL:A:1.0\n", result.out)

    def test_oads_under_either_name_count_once(self):
        agent = self.agent(providers=oad_providers(["127.0.0.5"]) +
                           oad_providers(["127.0.0.6"], "Activation::OAD"))
        result = self.scan(agent, "-o", "-d")
        self.assertIn("Found 2 OADs", result.out)
        self.assertEqual(sorted(result.out.splitlines()[2:]), ["\tHOST: 127.0.0.5", "\tHOST: 127.0.0.6"])
        agent.providers = oad_providers(["127.0.0.6"], "Activation::OAD")
        self.expect(self.scan(agent, "-o", "-d"), listing.oads(["127.0.0.6"]))

    def implementations(self, names, *options):
        agent = self.agent(names=names)
        return self.scan(agent, "-d", "-r", *(options or ["^.*"])).out

    def test_daemons_and_other_services_are_no_implementations(self):
        shown = self.implementations([
            wire.name("127.0.0.1_" + OAD_ID), wire.name("127.0.0.1_Activation::OAD"),
            wire.name("127.0.0.1_OAD-of-Activation"), wire.name("127.0.0.1_IDL:Two:1.0", 2),
            wire.name("127.0.0.1_IDL:Six:1.0", 6), wire.name("127.0.0.1_IDL:OAD:1.0", wire.OAD)])
        self.assertEqual(shown, listing.OAD_HEADING +
                         "\tHOST: 127.0.0.1\n\n\t\tREPOSITORY ID: IDL:OAD:1.0\n" +
                         listing.NO_MANUAL_IMPLEMENTATIONS)

    def test_an_object_known_twice_is_listed_twice(self):
        name = wire.name("127.0.0.1_IDL:A:1.0_a")
        shown = self.implementations([name, name.with_(argType=3)])  # not equal, so the set holds both
        self.assertEqual(shown.count("\t\t\tOBJECT NAME: a\n"), 2)

    def test_control_characters_do_not_reach_the_terminal(self):
        shown = self.implementations([wire.name("127.0.0.1_IDL:\x1b[2J:1.0_a\nb\x7f")])
        self.assertIn("REPOSITORY ID: IDL:?[2J:1.0\n\t\t\tOBJECT NAME: a?b?\n", shown)

    def test_records_of_other_classes_in_a_list_are_passed_over(self):
        agent = self.agent(names=[wire.addr("127.0.0.1", 1), wire.name("127.0.0.1_IDL:A:1.0_a")])
        result = self.scan(agent, "-r", "A", "-d")
        self.assertIn("OBJECT NAME: a\n", result.out)
        self.assertEqual(result.status, 0)
        agent.script[("request", wire.LIST_AGENTS)] = lambda record: wire.reply(
            0, record, 0, wire.record_set([wire.name("x"), wire.addr("127.0.0.8", 1)]))
        result = self.scan(agent, "-a", "-d")
        self.assertEqual(result.status, 0)
        self.assertIn("\tHOST: 127.0.0.8\n", result.out)

    def test_lists_longer_than_a_datagram(self):
        names = [wire.name(f"127.0.0.1_IDL:A:1.0_object{number}") for number in range(2000)]
        agent = self.agent(names=names)
        expected = listing.implementations(listing.received(names, listing.name_hash).keys())
        self.expect(self.scan(agent, "-r", "^.*", "-d"), expected, listing.NO_SERVICE)

    def test_a_list_that_is_no_set_gives_none(self):
        agent = self.agent(script={("request", wire.LIST_AGENTS): lambda record: wire.reply(
            0, record, 0, wire.addr("127.0.0.8", 1))})
        self.expect(self.scan(agent, "-a", "-d"), listing.agents(agent.port, agent.host))

    def test_endpoint_answers_that_are_none(self):
        agent = self.agent(names=NAMES)
        agent.script[("message", wire.TCP_ENDPOINT)] = lambda record: wire.agent_reply(
            0, record, 0, wire.name("no address"))
        self.expect(self.scan(agent, "-d"), listing.agents(agent.port, agent.host) + listing.NO_OADS +
                    listing.NO_OAD_IMPLEMENTATIONS + listing.NO_MANUAL_IMPLEMENTATIONS, listing.NO_SERVICE)
        self.assertEqual(len(agent.all(("message", wire.TCP_ENDPOINT))), 9)
        # Status and reply type of an endpoint's answer mean nothing: the object decides.
        agent.script[("message", wire.TCP_ENDPOINT)] = lambda record: wire.agent_reply(
            77, record, -1, wire.addr(agent.host, agent.tcp_port))
        self.assertIn("OBJECT NAME: Alice\n", self.scan(agent, "-r", "^.*").out)


def wire_kind(heard):
    return harness.key_of(heard.record)


class Options(PeerscanCase):
    def test_usage(self):
        program = str(harness.PROGRAMS / "peerscan")
        for options, complaint in ((["-h"], ""), (["-?"], ""), (["-a", "-h", "-C"], ""),
                                   (["-x"], f"{program}: invalid option -- 'x'\n"),
                                   (["-r"], f"{program}: option requires an argument -- 'r'\n"),
                                   (["-C", "--agents"], f"{program}: invalid option -- '-'\n")):
            with self.subTest(options=options):
                result = self.run_program("peerscan", *options)
                self.expect(result, listing.USAGE, complaint)
                self.assertLess(result.seconds, PATIENCE / 4, "nothing is searched for")

    def test_order_of_options_is_irrelevant(self):
        agent = self.agent(names=NAMES, providers=oad_providers(["127.0.0.7"]))
        everything = self.scan(agent, "-d")
        for options in (["-r", "^.*", "-o", "-a", "-d"], ["-oadr", "^.*"],
                        ["-a", "-a", "-o", "-d", "-o", "-r^.*"],
                        ["-d", "word", "another"]):
            with self.subTest(options=options):
                self.assertEqual(self.scan(agent, *options)[:3], everything[:3])

    def test_what_is_asked_for_is_listed(self):
        agent = self.agent(names=NAMES, providers=oad_providers(["127.0.0.7"]))
        agents, oads = listing.agents(agent.port, agent.host), listing.oads(["127.0.0.7"])
        names = listing.implementations(listing.received(NAMES, listing.name_hash).keys())
        for options, out, err in ((["-a", "-a"], agents, ""), (["-o"], oads, ""),
                                  (["-o", "-a"], agents + oads, ""), (["-r", "."], names, listing.NO_SERVICE),
                                  (["-r", ".", "-a"], agents + names, listing.NO_SERVICE),
                                  (["-b"], agents + oads + names, listing.NO_SERVICE)):
            with self.subTest(options=options):
                self.expect(self.scan(agent, "-d", *options), out, err)

    def test_an_option_of_getopt_ends_the_options(self):
        agent = self.agent()
        self.expect(self.scan(agent, "-a", "-d", "--", "-x"), listing.agents(agent.port, agent.host))

    def test_pause(self):
        agent = self.agent()
        for typed in ("\n", "x", ""):
            with self.subTest(typed=typed):
                program = self.start("peerscan", "-ORBagentaddr", agent.host, "-ORBagentport", agent.port,
                                     "-aCd")
                program.wait_line(">>> Press RETURN to continue <<<$")
                self.assertTrue(program.is_running())
                if typed:
                    program.type(typed)
                else:
                    program.close_input()
                self.assertEqual(program.wait(), 0)
                self.assertEqual(program.text(), listing.agents(agent.port, agent.host) +
                                 "\n>>> Press RETURN to continue <<<\n")

    def patterns(self, agent, pattern, means):
        names = listing.received(agent.names, listing.name_hash).keys()
        self.assertEqual(self.scan(agent, "-d", "-r", pattern).out, listing.implementations(names, means))

    def test_expressions(self):
        agent = self.agent(names=NAMES)
        for pattern, means in (("IDL:Bank/Account:1.0", "IDL:Bank/Account:1.0"), ("^Bank", "^Bank"),
                               ("Bank", "Bank"),
                               ("Queue:1.0$", "Queue:1.0$"), ("Account\\|Archive", "Account|Archive"),
                               ("A[cr]c+", "A[cr]c+"), ("\\(Bank\\)", "(Bank)"), ("(Bank)", "[(]Bank[)]"),
                               ("^\\*$", r"^\*$")):
            with self.subTest(pattern=pattern):
                self.patterns(agent, pattern, means)

    def test_a_pattern_that_matches_nothing_prints_nothing(self):
        self.expect(self.scan(self.agent(names=NAMES), "-r", "Nowhere"), "", listing.NO_SERVICE)

    def test_the_last_expression_wins(self):
        agent = self.agent(names=NAMES)
        self.assertEqual(self.scan(agent, "-r", "Nowhere", "-r", "Queue")[:3],
                         self.scan(agent, "-r", "Queue")[:3])

    def test_an_invalid_expression(self):
        agent = self.agent(names=[wire.name("127.0.0.1_IDL:A:1.0_a")])
        complaint = "peerscan: Invalid regular expression: \n[a\n"
        self.expect(self.scan(agent, "-d", "-a", "-C", "-r", "[a"),
                    listing.agents(agent.port, agent.host) + listing.NO_OAD_IMPLEMENTATIONS + complaint,
                    listing.NO_SERVICE)
        agent.names = [wire.name("127.0.0.1_IDL:A:1.0_a", wire.OAD)]
        self.expect(self.scan(agent, "-d", "-r", "[a"), complaint, listing.NO_SERVICE)
        agent.names = []
        self.expect(self.scan(agent, "-d", "-r", "[a"),
                    listing.NO_OAD_IMPLEMENTATIONS + listing.NO_MANUAL_IMPLEMENTATIONS, listing.NO_SERVICE)


class OrbOptions(PeerscanCase):
    def test_words_of_the_orb_are_taken_out(self):
        agent = self.agent()
        for words in (["-ORBnocallback"], ["-ORBfoo", "-h"], ["-OAnoshm", "-OAport", "-x"], ["-ORBtcpdelay"],
                      ["-OAid", "TSingle"], ["-ORBid", "ORB"], ["-ORBagent", "1"],
                      ["-LOCdebug", "0", "-LOCverify", "10", "-LOCtimeout", "5"]):
            with self.subTest(words=words):
                self.expect(self.scan(agent, *words, "-a", *words, "-d"),
                            listing.agents(agent.port, agent.host))

    def test_debug_tells_of_the_connection(self):
        agent = self.agent()
        result = self.scan(agent, "-a", "-d", "-ORBagentDebug", "1")
        self.assertTrue(result.out.startswith("DSUser:: Connected to agent ["), result.out)
        self.assertIn(f"Internet Addr:  {agent.host} \n", result.out)
        self.assertTrue(result.out.endswith(listing.agents(agent.port, agent.host)), result.out)

    def test_bad_values_of_the_location_service(self):
        flag = "must be followed by a 0 or 1"
        number = "must be followed by an unsigned long"
        for words, complaint in ((["-LOCdebug"], flag), (["-LOCdebug", "2"], flag), (["-LOCdebug", ""], flag),
                                 (["-LOCverify", "-a"], flag), (["-LOCtimeout"], number),
                                 (["-LOCtimeout", "x"], number),
                                 (["-LOCtimeout", ""], number)):
            with self.subTest(words=words):
                self.expect(self.run_program("peerscan", *words), "",
                            f"Location Service initialization error:\n\t{words[0]} {complaint}\n", 1)

    def test_the_source_address(self):
        agent = self.agent(names=NAMES)
        source = self.host(9)
        result = self.scan(agent, "-d", "-OAipaddr", source, "-r", "Queue")
        self.assertIn("OBJECT NAME: Lobby\n", result.out)
        for kind in (("message", wire.LOCATE_AGENT), ("request", wire.LOGIN), ("request", wire.LIST_AGENTS),
                     ("message", wire.TCP_ENDPOINT), ("request", wire.END)):
            self.assertEqual({heard.sender[0] for heard in agent.all(kind)}, {source}, kind)


class Search(PeerscanCase):
    """Agents that answer with a failure are passed over at once, where silent ones cost a second each."""

    NO_AGENT_HERE = -1

    def setUp(self):
        super().setUp()
        self.own = harness.own_host()
        self.port = harness.free_port([self.own, "127.255.255.255"] + self.hosts(8))

    def unwilling(self, host, **told):
        return self.fake_agent(host, self.port, script={("message", wire.LOCATE_AGENT): self.NO_AGENT_HERE},
                               **told)

    def willing(self, number, **told):
        return self.fake_agent(self.host(number), self.port, **told)

    def find(self, *options, env=None):
        return self.run_program("peerscan", "-a", "-d", *options, env={"LOCD_PORT": self.port, **(env or {})})

    def found(self, agent, before="", port=None):
        return before + listing.agents(port or agent.port, agent.host)

    NOT_FOUND = ("Harbolance: Unable to contact agent in local node or from list provided. \n"
                 "Will try to locate using broadcast.\n")

    def test_the_order_of_places(self):
        named, listed, third, fourth = [self.unwilling(self.host(number)) for number in (1, 2, 3, 4)]
        own = self.unwilling(self.own)
        everywhere = self.willing(5, broadcast=True)
        hosts = self.file("hosts", f"# {self.host(7)}\n{third.host} # {self.host(8)}\n\n {fourth.host}\n")
        result = self.find("-ORBagentaddr", named.host,
                           env={"LOCD_ADDR": listed.host, "LOCD_ADDR_FILE": hosts})
        self.expect(result, self.found(everywhere, self.NOT_FOUND))
        asked = sorted((heard.at, agent.host, heard.record.msgNum)
                       for agent in (named, listed, third, fourth, own, everywhere)
                       for heard in agent.all(("message", wire.LOCATE_AGENT)))
        self.assertEqual([host for _, host, _ in asked],
                         [named.host] * 5 + [own.host] + [listed.host] * 5 + [third.host] * 5 +
                         [fourth.host] * 5 +
                         [named.host] * 5 + [everywhere.host])
        self.assertEqual(len({number for _, _, number in asked}), 1, "all attempts send the same message")

    def test_the_first_place_with_an_agent_ends_the_search(self):
        self.unwilling(self.own)
        first, second = self.willing(1), self.willing(2)
        self.expect(self.find(env={"LOCD_ADDR": first.host,
                                   "LOCD_ADDR_FILE": self.file("hosts", second.host)}), self.found(first))
        self.assertEqual(second.heard, [])
        self.expect(self.find("-ORBagentaddr", second.host, env={"LOCD_ADDR": first.host}),
                    self.found(second))

    def test_this_host_goes_before_the_list(self):
        own = self.fake_agent(self.own, self.port)
        listed = self.willing(1)
        self.expect(self.find(env={"LOCD_ADDR": listed.host}), self.found(own))
        self.assertEqual(listed.heard, [])

    def test_the_file_of_the_administration_folder(self):
        self.unwilling(self.own)
        agent, other = self.willing(1), self.willing(2)
        self.file("agentaddr", f"{agent.host}\n")
        self.expect(self.find(env={"HARBOLANCE_ADM": self.scratch}), self.found(agent))
        # A file of its own goes in its place.
        self.expect(self.find(env={"HARBOLANCE_ADM": self.scratch,
                                   "LOCD_ADDR_FILE": self.file("hosts", other.host)}),
                    self.found(other))

    def test_files_that_are_not_there(self):
        self.unwilling(self.own)
        agent = self.willing(1, broadcast=True)
        named = self.unwilling(self.host(2))
        missing = self.scratch / "missing"
        complaint = f"DSUser::Unable to open agentaddr file - {missing}\n"
        # With an empty list the broadcast follows without a word.
        self.expect(self.find(env={"LOCD_ADDR_FILE": missing}), self.found(agent, complaint))
        self.expect(self.find(env={"HARBOLANCE_ADM": missing}), self.found(agent))
        # The option is asked first, but is not in the list behind a file that can't be opened.
        self.expect(self.find("-ORBagentaddr", named.host, env={"LOCD_ADDR_FILE": missing}),
                    self.found(agent, complaint))
        self.assertEqual(len(named.all(("message", wire.LOCATE_AGENT))), 5)

    def test_the_table_of_broadcast_addresses(self):
        self.unwilling(self.own)
        agent = self.willing(1, broadcast=True)
        line = "127.0.0.1 255.0.0.0 127.255.255.255"
        self.env.pop("LOCD_LOCAL_FILE")
        self.file("localaddr", f"# a network of one\n{line} # this one\n{self.host(3)} 255.0.0.0")
        self.expect(self.find(env={"HARBOLANCE_ADM": self.scratch}), self.found(agent))
        self.file("localaddr", "# nothing\n")
        self.expect(self.find(env={"HARBOLANCE_ADM": self.scratch,
                                   "LOCD_LOCAL_FILE": self.file("own", line)}),
                    self.found(agent))

    def test_every_line_of_the_table_is_sent_to(self):
        self.unwilling(self.own)
        near = self.willing(3, script={("message", wire.LOCATE_AGENT): SILENT})
        agent = self.willing(1)
        table = self.file("two", f"127.0.0.1 255.0.0.0 {near.host}\n127.0.0.2 255.0.0.0 {agent.host}\n")
        self.expect(self.find(env={"LOCD_LOCAL_FILE": table}), self.found(agent))
        near.wait_for(("message", wire.LOCATE_AGENT))

    def test_the_answer_names_the_agent_to_talk_to(self):
        agent = self.fake_agent(self.host(1))
        answering = self.willing(2, named=(agent.host, agent.port))
        self.expect(self.find("-ORBagentaddr", answering.host), self.found(agent, port=self.port))
        self.assertEqual({wire_kind(heard) for heard in answering.heard}, {("message", wire.LOCATE_AGENT)})
        agent.wait_for(("request", wire.LIST_AGENTS))

    def test_answers_that_are_none(self):
        answers = iter([
            lambda record: wire.agent_reply(wire.LOCATED, record, -1, wire.addr(self.host(1), self.port)),
            lambda record: wire.agent_reply(4, record, 0, wire.addr(self.host(1), self.port)),
            lambda record: wire.agent_reply(wire.LOCATED, record, 0, wire.name("no address")),
            lambda record: b"\0\0\0\x40abc",
            lambda record: wire.agent_reply(wire.LOCATED, record, 0, wire.addr(self.host(1), self.port))])
        agent = self.willing(1, script={("message",
                                         wire.LOCATE_AGENT): lambda record: finish(next(answers)(record))})

        def finish(answer):
            return answer if isinstance(answer, bytes) else wire.datagram(answer)

        self.expect(self.find("-ORBagentaddr", agent.host), self.found(agent))
        self.assertEqual(len(agent.all(("message", wire.LOCATE_AGENT))), 5)

    def test_the_port(self):
        here = self.willing(1)
        for options, variable in ((["-ORBagentport", self.port], "1"),
                                  (["-ORBagentport", "14000"], self.port),
                                  (["-ORBagentport", "0"], self.port), ([], f"{self.port} and more")):
            with self.subTest(options=options, variable=variable):
                self.expect(self.find("-ORBagentaddr", here.host, *options, env={"LOCD_PORT": variable}),
                            self.found(here))

    def test_the_default_port(self):
        try:
            agent = self.fake_agent(self.host(1), 14000)
        except OSError:
            self.skipTest("port 14000 is taken")
        result = self.run_program("peerscan", "-a", "-d", "-ORBagentaddr", agent.host)
        self.expect(result, self.found(agent))

    def test_a_known_client_is_let_in(self):
        agent = self.willing(1, login_status=wire.KNOWN)
        self.expect(self.find("-ORBagentaddr", agent.host), self.found(agent))

    def test_agents_that_refuse(self):
        for status in (wire.REFUSED, wire.RECONNECT, wire.DOWN, -1, 1):
            with self.subTest(status=status):
                agent = self.willing(1, login_status=status)
                self.expect(self.find("-ORBagentaddr", agent.host), listing.NO_AGENTS)
                self.assertEqual(len(agent.all(("request", wire.LOGIN))), 5)
                agent.end()

    def test_an_agent_of_another_version(self):
        agent = self.willing(1, login_status=wire.OTHER_VERSION)
        self.expect(self.find("-ORBagentaddr", agent.host),
                    f"Version mismatch with agent at {agent.host}\n" * 5 + listing.NO_AGENTS)

    def test_a_login_answered_with_another_type(self):
        agent = self.willing(1, script={("request", wire.LOGIN): lambda record: wire.reply(4, record)})
        self.expect(self.find("-ORBagentaddr", agent.host),
                    "DSUser::login: Unexpected reply while logging in\n", "", 1)


class NoAgent(PeerscanCase):
    """All at once: each of these waits through five searches."""

    LIMIT = 90

    def test_a_network_without_an_agent(self):
        port = harness.free_port([harness.own_host(), "127.255.255.255"])
        search = ("Harbolance: Unable to locate agent. Will try every 15 seconds to locate agent\n"
                  "DSUser:: Unable to contact agent. Make sure there is an agent running on this network\n")
        # Without a table the host's networks are used, so that run stays in a network of its own.
        missing = self.scratch / "missing"
        no_table = f"DSAgentHandler::Unable to open localaddr file - {missing}\n"
        cases = {"everything": ([], {}, search + listing.NO_AGENTS, ""),
                 "agents": (["-a", "-C"], {}, search + listing.NO_AGENTS, ""),
                 "OADs": (["-o"], {}, search + listing.NO_AGENTS, ""),
                 "implementations": (["-r", "["], {}, search + listing.NO_AGENTS, listing.NO_SERVICE)}
        with concurrent.futures.ThreadPoolExecutor() as pool:
            runs = {what: pool.submit(self.run_program, "peerscan", *options, env={"LOCD_PORT": port, **env},
                                      limit=self.LIMIT)
                    for what, (options, env, _, _) in cases.items()}
            alone = pool.submit(self.run_alone, "peerscan", "-a", LOCD_PORT=str(port),
                                LOCD_LOCAL_FILE=str(missing))
            for what, run in runs.items():
                with self.subTest(what=what):
                    self.expect(run.result(), *cases[what][2:])
            with self.subTest(what="no table"):
                done = alone.result()
                if done is None:
                    self.skipTest("no network namespaces here")
                self.assertTrue(done.stdout.startswith(no_table), done.stdout)
                self.assertTrue(done.stdout.endswith(search + listing.NO_AGENTS), done.stdout)
                self.assertEqual(done.returncode, 0)

    def run_alone(self, program, *options, **env):
        """In a network namespace with nothing in it; None where there are none."""
        way = ["unshare", "--net"] if os.geteuid() == 0 else ["unshare", "--user", "--net"]
        if not shutil.which("unshare") or subprocess.run(way + ["true"], capture_output=True,
                                                         check=False).returncode:
            return None
        return subprocess.run(way + [str(harness.PROGRAMS / program), *options], env={**self.env, **env},
                              cwd="/",
                              timeout=self.LIMIT, stdin=subprocess.DEVNULL, capture_output=True, text=True,
                              check=False)


class SilentLists(PeerscanCase):
    """All at once: each of these waits for the limit of a list query."""

    LIMIT = 60

    def test_endpoints_that_fall_silent(self):
        domains = {}
        for tcp in ("mute", "hang"):
            self._network = self._network.rsplit(".", 1)[0] + "." + str(len(domains) + 1)
            first, second, third = domains[tcp] = self.fake_domain()
            first.names = [wire.name("127.0.0.1_IDL:A:1.0_a")]
            second.names, second.tcp = NAMES, tcp
            third.names = [wire.name("127.0.0.1_IDL:A:1.0_b")]
        with concurrent.futures.ThreadPoolExecutor() as pool:
            runs = {tcp: pool.submit(self.scan, agents[0], "-d", "-r", "^.*", limit=self.LIMIT)
                    for tcp, agents in domains.items()}
            for tcp, run in runs.items():
                with self.subTest(tcp=tcp):
                    self.assertEqual(sorted(run.result().out.splitlines()[-2:]),
                                     ["\t\t\tOBJECT NAME: a", "\t\t\tOBJECT NAME: b"])
                    self.assertEqual(run.result().status, 0)


class Domain(PeerscanCase):
    """The programs among themselves."""

    def announce(self, agent, *words):
        program = self.start("announce", "-ORBagentaddr", agent.address[0], "-ORBagentport", agent.port,
                             *words)
        program.wait_line(rf"announce: \d+ names at agent {agent.address[0]}$")
        return program

    def scan_locd(self, agent, *options):
        return self.run_program("peerscan", "-ORBagentaddr", agent.address[0], "-ORBagentport", agent.port,
                                *options)

    def test_one_agent(self):
        agent = self.start_locd(self.host(1))
        self.announce(agent, "--address", self.host(3), "--port", 15010, "IDL:Bank/Account:1.0=Alice",
                      "IDL:Bank/Account:1.0=Bob")
        self.announce(agent, "--oad", "--address", self.host(4), "IDL:Bank/Archive:1.0=Vault")
        oad = self.announce(agent, "--address", self.host(4), OAD_ID)
        out = self.scan_locd(agent, "-d").out
        self.assertTrue(out.startswith(
            listing.agents(agent.port, self.host(1)) + listing.oads([self.host(4)]) + listing.OAD_HEADING +
            f"\tHOST: {self.host(4)}\n\n\t\tREPOSITORY ID: IDL:Bank/Archive:1.0\n\t\t\tOBJECT NAME: Vault\n" +
            listing.MANUAL_HEADING + f"\tHOST: {self.host(3)}\n\n\t\tREPOSITORY ID: IDL:Bank/Account:1.0\n"),
                        out)
        self.assertEqual(sorted(out.splitlines()[-2:]),
                         ["\t\t\tOBJECT NAME: Alice", "\t\t\tOBJECT NAME: Bob"])
        # What ends says so, and is gone from the list.
        oad.signal(signal.SIGTERM)
        self.assertEqual(oad.wait(), 0)
        self.assertEqual(self.scan_locd(agent, "-o", "-d").out, listing.NO_OADS)

    def test_three_agents(self):
        hosts = self.hosts(3)
        port = harness.free_port(hosts)
        agents = [self.start_locd(hosts[0], port)]
        agents += [self.start_locd(host, port, "--peer", hosts[0]) for host in hosts[1:]]
        for agent in agents:
            client = self.client(agent.address)
            client.log_in()
            client.wait_for_others([(host, port) for host in hosts if host != agent.address[0]])
        for number, agent in enumerate(agents):
            self.announce(agent, "--address", self.host(10 + number), f"IDL:Part{number}:1.0=object{number}")
        for agent in agents:
            lines = self.scan_locd(agent, "-d").out.splitlines()
            self.assertEqual(lines[:3], ["", f"peerscan: Found 3 agents at port {port}",
                                         f"\tHOST: {agent.address[0]}"])
            self.assertEqual(sorted(lines[2:5]), [f"\tHOST: {host}" for host in hosts])
            for number in range(3):
                at = lines.index(f"\tHOST: {self.host(10 + number)}")
                self.assertEqual(lines[at + 1:at + 4], ["", f"\t\tREPOSITORY ID: IDL:Part{number}:1.0",
                                                        f"\t\t\tOBJECT NAME: object{number}"])


if __name__ == "__main__":
    unittest.main()
