"""The examples as a user meets them: servers and clients as processes that call each other."""

import pathlib
import unittest

import harness
from harness import wait_until

BANK = (pathlib.Path(__file__).parent / "golden" / "bank.txt").read_text()
TRACE = """bound to a IDL:Hello:1.0
-> greet, 90 octets
<- a reply with 30 octets
Hello, trace!
-> greet, 85 octets
<- a reply with 56 octets
<- CORBA::BAD_PARAM
the empty name is refused
"""
SERVED = ["request greet", "replied greet", "request greet", "failed  greet: CORBA::BAD_PARAM", "replied greet",
          "a client has gone"]


class Examples(harness.Case):
    def start_server(self, name):
        """The process and the reference that it prints."""
        server = self.start(name, "-OAipaddr", self.host(1))
        return server, server.wait_line("IOR:[0-9a-f]+$").group()

    def test_hello(self):
        server, reference = self.start_server("hello-server")
        self.expect(self.run_program("hello-client", reference), "Hello, world!\n")
        self.expect(self.run_program("hello-client", reference, ""), "Hello, !\n")
        server.kill()
        self.assertEqual(self.run_program("hello-client", reference).status, 1)

    def test_hello_by_name(self):
        agent = self.start_locd(self.host(1))
        self.env.update(LOCD_ADDR=agent.host, LOCD_PORT=agent.port)
        server = self.start("hello-server", "porter", "-OAipaddr", self.host(2))
        server.wait_line("IOR:")
        for words in ((), ("",), ("porter", "world")):
            self.expect(self.run_program("hello-client", *words), "Hello, world!\n")

    def test_bank(self):
        """Factory, exceptions, a diamond, and calls back to the client while it waits; all is gone afterwards."""
        _, reference = self.start_server("bank-server")
        for _ in range(2):
            self.expect(self.run_program("bank-client", reference, "-OAipaddr", self.host(2)), BANK)

    def test_trace(self):
        """What interceptors see on both sides."""
        server, reference = self.start_server("trace-server")
        self.expect(self.run_program("trace-client", reference), TRACE)
        wait_until(lambda: server.lines()[1:] == SERVED, lambda: server)

    def test_bench_echo(self):
        """Every case is answered, in the words that scripts read."""
        _, reference = self.start_server("bench-echo-server")
        for case in ("null", "echo1k", "structs", "sink1m", "oneway", "pipe64", "first"):
            result = self.run_program("bench-echo-client", reference, case, 70)
            self.assertRegex(result.out, rf"^case={case} count=70 sec=\S+ client_cpu_us=\S+ client_rss_kb=\d+"
                             + (r" first_ms=\S+\n$" if case == "first" else r"\n$"))
        self.assertEqual(self.run_program("bench-echo-client", reference, "other", 1).status, 2)

    def test_wrong_references(self):
        """Not a reference, and one to an object of another interface."""
        _, bank = self.start_server("bank-server")
        self.assertIn("INV_OBJREF", self.run_program("hello-client", "IOR:0x").err)
        self.expect(self.run_program("hello-client", bank), err="hello-client: no Hello behind this reference\n",
                    status=1)


if __name__ == "__main__":
    unittest.main()
