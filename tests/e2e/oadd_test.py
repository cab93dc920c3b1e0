"""The activation daemon and its command line client, with servers that fork, hang, end and misbehave."""

import json
import os
import pathlib
import re
import signal
import subprocess
import unittest

import giop
import harness
from harness import wait_until

SERVER = harness.PROGRAMS / "activated_server"
INTERFACE = "IDL:Activated:1.0"


class OaddCase(harness.Case):
    def setUp(self):
        super().setUp()
        self.agent = self.start_locd(self.host(9))
        self.registrations, self.reference = self.scratch / "registrations", self.scratch / "reference"
        self.servers = 0

    def gate(self, name):
        """A server with -wait goes on when this is opened for writing."""
        path = self.scratch / name
        os.mkfifo(path)
        return path

    def domain(self):
        return "-ORBagentaddr", self.agent.host, "-ORBagentport", self.agent.port

    def daemon(self, *words, host=1, **env):
        self.reference.unlink(missing_ok=True)
        daemon = self.start("oadd", *self.domain(), "--as-root", "-v", "--address", self.host(host), "--programs",
                            harness.PROGRAMS, "--registrations", self.registrations, "--reference", self.reference,
                            "--end-limit", 2, *words, **env)
        daemon.wait_line(rf"oadd: listening on {self.host(host)} port \d+$")
        return daemon

    def words(self, *words):
        return "oadctl", "--oad-file", self.reference, *words

    def ctl(self, *words):
        """What it prints."""
        result = self.run_program(*self.words(*words))
        self.assertEqual((result.status, result.err), (0, ""), words)
        return result.out

    def fails(self, *words, why):
        """In `why`, {} stands for the interface."""
        self.expect(self.run_program(*self.words(*words)), "", f"oadctl: {why}\n".replace("{}", f'"{INTERFACE}"'), 1)

    def register(self, name, *words, options=()):
        self.ctl("register", "-n", name, *options, "Activated", SERVER, *(words or [name]))

    def states(self):
        """By name: the states and processes of its objects."""
        return {one["name"]: [(each["state"], -each["uid"]) for each in one["objects"]]
                for one in json.loads(self.ctl("status", "--json"))["implementations"]}

    def wait_state(self, name, *states):
        return wait_until(lambda: [state for state, _ in self.states()[name]] == list(states) and self.states()[name],
                          lambda: f"{name} {states}, not {self.states()}")

    def client(self, reference):
        program = self.start("activated_client", reference, *self.domain(), "-OAipaddr", self.host(8))
        self.addCleanup(program.close_input)  # at which it ends
        program.asked = 0

        def ask():
            program.type("\n")
            program.asked += 1
            return wait_until(lambda: program.lines()[program.asked - 1:], f"an answer: {program}")[0]
        return program, ask

    def wait_gone(self, process):
        """Nothing need have taken note of its end."""
        def gone():
            try:
                return pathlib.Path(f"/proc/{process}/stat").read_bytes().rpartition(b")")[2].split()[0] == b"Z"
            except FileNotFoundError:
                return True
        wait_until(gone, f"the end of process {process}")


class Starting(OaddCase):
    def test_ten_lookups_start_one_server(self):
        daemon, go = self.daemon(), self.gate("go")
        self.register("Anna", f"-wait={go}", "Anna")
        self.assertEqual(self.states(), {"Anna": [("registered", 0)]})
        lookups = [self.start(*self.words("lookup", "Activated", "Anna")) for _ in range(10)]
        self.wait_state("Anna", "starting")
        self.fails("lookup", "-w", 0, INTERFACE, "Anna",
                   why='the server of {} "Anna" is not active yet, or too many servers run; try again later')
        go.open("w").close()
        self.assertEqual({lookup.wait() for lookup in lookups}, {0})
        self.assertEqual(len({lookup.out for lookup in lookups}), 1)
        self.assertEqual(len(re.findall("is started", daemon.err)), 1, daemon)
        _, ask = self.client(lookups[0].out.strip())
        self.assertEqual([("active", int(ask()))], self.states()["Anna"])
        self.assertEqual(self.ctl("lookup", "Activated"), lookups[0].out)

    def test_a_lookup_does_not_wait_for_another(self):
        """Each waits inside the one before: the first is over first, and what is left of the second's time counts."""
        self.daemon()
        for name in ("Anna", "Bert", "Cora"):
            self.register(name, f"-wait={self.gate(name)}", name)
        lookups = {}
        for name, seconds in (("Anna", -1), ("Bert", -1), ("Cora", 2)):
            lookups[name] = self.start(*self.words("lookup", "-w", seconds, "Activated", name))
            self.wait_state(name, "starting")
        (self.scratch / "Anna").open("w").close()
        self.assertEqual(lookups["Anna"].wait(), 0)
        self.assertIsNone(lookups["Bert"].process.poll())
        lookups["Cora"].killed = True  # it does not end with 0
        self.assertEqual(lookups["Cora"].wait(), 1)
        self.assertIn("has not made its object active in time", lookups["Cora"].err)
        (self.scratch / "Bert").open("w").close()
        self.assertEqual(lookups["Bert"].wait(), 0)

    def test_policies(self):
        """A server for all, one for each client, one for each call; a reference to the daemon serves again."""
        self.daemon()
        for policy, own, again in (("shared", 1, 1), ("unshared", 2, 2), ("per-method", 4, 6)):
            with self.subTest(policy):
                self.register(policy, options=("-p", policy))
                references = [self.ctl("lookup", "Activated", policy).strip() for _ in range(2)]
                self.assertEqual(len(self.states()[policy]), 1, "one is enough for both")
                clients = [self.client(reference) for reference in references]
                processes = [ask() for _, ask in clients for _ in range(2)]
                self.assertEqual(len(set(processes)), own, processes)
                if policy == "unshared":
                    self.assertEqual(processes[0], processes[1])
                    self.wait_state(policy, "active", "active")
                    clients[0][0].end()
                    self.wait_state(policy, "active")
                if policy == "shared":
                    os.kill(int(processes[0]), signal.SIGKILL)
                    self.wait_state(policy, "registered")
                # A new client of the old reference starts what has ended.
                if policy != "shared":
                    processes += [self.client(references[0])[1]() for _ in range(2)]
                    self.assertEqual(len(set(processes)), again + (2 if policy == "unshared" else 0), processes)

    def test_what_a_server_is_started_with(self):
        script = self.file("program", '#!/bin/sh\nenv\nfor word; do echo "word $word"; done\necho fds; ls /proc/$$/fd\n'
                           "grep -E 'Sig(Blk|Ign)|NoNewPrivs' /proc/self/status; pwd; exit 1\n")
        script.chmod(0o755)
        daemon = self.daemon("--programs", self.scratch, SECRET="of the daemon", HOME="/home")
        self.ctl("register", "-e", "TZ=a b", "-e", "OWN=1", "X", script, "a b", "-ORBword", "$HOME")
        result = self.run_program(*self.words("lookup", "X"))
        self.assertEqual(result.status, 1)
        wait_until(lambda: "has ended" in daemon.err, "the end of the script")
        said = [line for line in daemon.err.split("\n") if " oadd " not in line and line]
        self.assertEqual([line[5:] for line in said if line.startswith("word ")][:-1],
                         ["a b", "-ORBword", "$HOME", *map(str, self.domain()), "-OAactivateIOR",
                          self.reference.read_text().strip(), "-OAoad_uid"])
        self.assertEqual({line for line in said if re.match("SECRET|TZ|OWN|HOME", line)},
                         {"TZ=a b", "OWN=1", "HOME=/home"})
        self.assertRegex("\n".join(said), r"\nfds\n0\n1\n(10\n)?2\nSig")  # 10 is the script
        for line in ("SigBlk:\t0000000000000000", "SigIgn:\t0000000000000000", "NoNewPrivs:\t1", "/"):
            self.assertIn(line, said)


class Faults(OaddCase):
    LATE = 'the server of {} "%s" has been started and has not made its object active in time'

    def test_programs_that_misbehave(self):
        daemon = self.daemon("--start-limit", 2)
        self.register("End", "-end", "End")
        self.fails("lookup", "Activated", "End", why='the server of {} "End" cannot be started, or has ended before '
                   "its object was active; the daemon's log says more")
        self.assertEqual(self.states()["End"], [("failed", 0)])
        self.register("Fork", "-fork", "Fork")
        _, ask = self.client(self.ctl("lookup", "Activated", "Fork").strip())
        child, (_, started) = int(ask()), self.wait_state("Fork", "active")[0]
        self.assertNotEqual(child, started)
        os.kill(child, signal.SIGKILL)
        self.wait_state("Fork", "registered")
        self.register("Hang", "-deaf", f"-wait={self.gate('never')}", "Hang")
        self.fails("lookup", "Activated", "Hang", why=self.LATE % "Hang")
        wait_until(lambda: "has ended by signal 9" in daemon.err, lambda: f"the end of a deaf server {daemon}")
        self.assertEqual(self.states()["Hang"], [("failed", 0)])
        # A look-up may give more time than the daemon does.
        for name in ("Patient", "Late"):
            self.register(name, f"-wait={self.gate(name)}", name)
        patient = self.start(*self.words("lookup", "-w", 60, "Activated", "Patient"))
        self.wait_state("Patient", "starting")
        self.fails("lookup", "Activated", "Late", why=self.LATE % "Late")
        (self.scratch / "Patient").open("w").close()
        self.assertEqual(patient.wait(), 0)
        # One that serves something else goes on with that.
        self.register("Other")
        self.register("Wanted", "Other")
        self.fails("lookup", "Activated", "Wanted", why=self.LATE % "Wanted")
        self.assertEqual([state for state, _ in self.states()["Other"]], ["active"])

    def test_a_server_started_by_hand(self):
        self.daemon()
        self.register("Anna")
        server = self.start("activated_server", "Anna", *self.domain(), "-OAipaddr", self.host(7), "-OAactivateIOR",
                            self.reference.read_text().strip(), "-OAoad_uid", 4711)
        server.wait_line("ready")
        self.assertEqual(self.states()["Anna"], [("active", -4711)])
        _, ask = self.client(self.ctl("lookup", "Activated", "Anna").strip())
        self.assertEqual(int(ask()), server.process.pid)
        os.kill(server.process.pid, signal.SIGSTOP)  # it is busy
        self.fails("unregister", "Activated", "Anna", why="the server of {} \"Anna\" runs; end it first, or have the daemon "
                   "end it: oadctl destroy-on-unregister yes")
        os.kill(server.process.pid, signal.SIGCONT)
        server.kill()
        self.wait_state("Anna", "registered")
        _, ask = self.client(self.ctl("lookup", "Activated", "Anna").strip())
        self.assertEqual(self.states()["Anna"], [("active", int(ask()))])

    def test_the_daemon_is_killed(self):
        daemon = self.daemon()
        self.register("Anna")
        self.ctl("lookup", "Activated", "Anna")
        [(_, process)] = self.states()["Anna"]
        daemon.kill()
        self.wait_gone(process)  # its servers follow it
        for _ in range(4):
            daemon = self.daemon()
            count = len(self.states())
            runs = [self.start(*self.words("register", "-n", f"{count}-{number}", "Activated", SERVER))
                    for number in range(12)]
            wait_until(lambda: any(run.ended() for run in runs), "a registration")
            daemon.kill()
            for run in runs:
                run.killed = True
            names = {str(run.process.args[5]) for run in runs if run.wait() == 0}
            daemon = self.daemon()
            self.assertLessEqual({"Anna"} | names, set(self.states()))
            daemon.end()
        self.daemon()
        self.ctl("lookup", "Activated", "Anna")

    def test_the_daemon_ends_its_servers(self):
        daemon = self.daemon()
        for name in ("Anna", "Deaf"):
            self.register(name, f"-{name.lower()}", name)
            self.ctl("lookup", "Activated", name)
        self.register("Slow", f"-wait={self.gate('never')}", "Slow")
        lookup = self.start(*self.words("lookup", "Activated", "Slow"))
        self.wait_state("Slow", "starting")
        processes = [process for objects in self.states().values() for _, process in objects]
        lookup.killed = True
        self.assertEqual(daemon.end(), 0)
        self.assertEqual(lookup.wait(), 1)
        for process in processes:
            self.assertRaises(ProcessLookupError, os.kill, process, 0)

    def test_refusals_to_start(self):
        words = "oadd", "--as-root", "--programs", self.scratch, "--registrations", self.registrations

        def refused(words, why, status=1):
            self.expect(self.run_program(*words), "", f"oadd: {why}\n", status)
        self.registrations.write_text("oadd registrations 1\nnonsense\n")
        refused(words, f"{self.registrations}:2: 'nonsense' stands before the first 'implementation'; mend the file or "
                "move it away, it is left as it is")
        self.assertEqual(self.registrations.read_text(), "oadd registrations 1\nnonsense\n")
        self.registrations.unlink()
        refused([*words, "--programs", "/missing"], "--programs /missing: No such file or directory")
        refused([*words, "word"], "unexpected word 'word'; see oadd --help", 2)
        refused([*words, "--address", "203.0.113.7"], "cannot listen: CORBA::COMM_FAILURE; choose another --address or "
                "--port")
        if os.geteuid() == 0:
            refused(["oadd"], "this would start servers as root; run it as another user, or with --as-root")
        self.daemon()
        refused(words, f"another oadd uses {self.registrations}; end it, or name another file with --registrations")
        self.assertRegex(self.run_program("oadd", "--version").out, r"^oadd \d+\.\d+\.\d+\n$")


class Domain(OaddCase):
    """By name, through a location agent."""

    def scan(self):
        """Of the listing of what is registered: hosts, interfaces, names; its own order is not told."""
        out = self.run_program("peerscan", "-d", "-r", "Activated", *self.domain()).out
        registered, _, by_hand = out.partition("\npeerscan: Following are the list of Implementations started")
        self.assertNotIn("Activated", by_hand)
        return sorted(re.findall(r"^\t+(.*)", registered, re.M))

    def test_objects_are_found_before_they_run(self):
        daemon = self.daemon()
        for name in ("Anna", "Bert"):
            self.register(name)
        listed = [f"HOST: {self.host(1)}", "OBJECT NAME: Anna", "OBJECT NAME: Bert", f"REPOSITORY ID: {INTERFACE}"]
        self.assertEqual(self.scan(), listed)
        _, ask = self.client("Anna")
        first = int(ask())
        self.assertEqual(self.states(), {"Anna": [("active", first)], "Bert": [("registered", 0)]})
        self.assertEqual(self.scan(), listed)
        os.kill(first, signal.SIGKILL)  # its client need not know
        self.assertNotIn(ask(), (str(first), "COMM_FAILURE"))
        self.ctl("unregister", "Activated", "Bert")
        self.assertEqual(self.scan(), [line for line in listed if "Bert" not in line])
        there = self.run_program("oadctl", *self.domain(), "--host", self.host(1), "status", "Activated")
        self.assertRegex(there.out, f'^"{INTERFACE}" "Anna": active, process \\d+\n$')
        daemon.end()
        self.assertEqual(self.scan(), [])

    def test_the_daemon_moves_while_a_client_calls(self):
        """Between the end of the first and the start of the second there is none."""
        first = self.daemon()
        self.register("Anna")
        _, ask = self.client("Anna")
        process = ask()
        first.kill()
        self.wait_gone(int(process))
        self.daemon()
        self.assertNotEqual(int(ask()), int(process))


class Strangers(OaddCase):
    """Peers of another host: two network namespaces with a cable between them."""

    def setUp(self):
        super().setUp()
        if os.geteuid() != 0:
            self.skipTest("network namespaces need root here")
        self.inside = []
        for _ in range(2):
            holder = subprocess.Popen(["unshare", "--net", "sleep", "100"])
            self.addCleanup(holder.wait)
            self.addCleanup(holder.kill)
            own = os.readlink("/proc/self/ns/net")
            wait_until(lambda: os.readlink(f"/proc/{holder.pid}/ns/net") != own, "a network")
            self.inside.append(["/usr/bin/nsenter", f"--net=/proc/{holder.pid}/ns/net"])
        for place, words in (
                (0, f"link add cable type veth peer name cable netns {holder.pid}"), (0, "link set lo up"),
                (0, "address add 192.0.2.1/24 dev cable"), (0, "link set cable up"),
                (1, "address add 192.0.2.2/24 dev cable"), (1, "link set cable up")):
            subprocess.run([*self.inside[place], "ip", *words.split()], check=True)

    def within(self, place, program, *words, **told):
        return self.run_program(*self.inside[place], harness.PROGRAMS / program, *words, **told)

    def daemon_for(self, *words):
        self.reference.unlink(missing_ok=True)
        daemon = self.start(*self.inside[0], harness.PROGRAMS / "oadd", "-ORBagent", 0, "--as-root", "--address",
                            "192.0.2.1", "--programs", harness.PROGRAMS, "--registrations", self.registrations,
                            "--reference", self.reference, *words)
        daemon.wait_line("oadd: listening")
        return daemon

    def test_what_others_may_do(self):
        refused = ("oadctl: the daemon takes this from its own host only; run oadctl there, or start oadd with --allow "
                   "and the network of this host\n")
        register = self.words("register", "-n", "Anna", "-e", "SECRET=1", "Activated", SERVER, "Anna", "-OAipaddr",
                              "192.0.2.1")
        daemon = self.daemon_for()
        self.expect(self.within(1, *register), "", refused, 1)
        self.expect(self.within(0, *register))
        for words in (("unregister", "Activated", "Anna"), ("unregister", "--all"), ("destroy-on-unregister", "yes"),
                      ("destroy-on-unregister",)):
            self.expect(self.within(1, *self.words(*words)), "", refused, 1)
        looked_up = self.within(1, *self.words("lookup", "Activated", "Anna"))
        self.assertEqual((looked_up.status, looked_up.err), (0, ""))
        for place, environment in ((0, ["SECRET=1"]), (1, [])):
            [one] = json.loads(self.within(place, *self.words("status", "--json")).out)["implementations"]
            self.assertEqual((one["environment"], one["objects"][0]["state"]), (environment, "active"))
        client = self.within(1, "activated_client", looked_up.out.strip(), typed="\n")
        self.assertEqual(int(client.out), -one["objects"][0]["uid"])
        daemon.end()
        self.daemon_for("--allow", "192.0.2.0/30")
        self.expect(self.within(1, *self.words("unregister", "--all")))


if __name__ == "__main__":
    unittest.main()
