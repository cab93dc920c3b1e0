"""The examples as a user meets them: servers and clients as processes that call each other."""

import pathlib
import unittest

import harness

BANK = (pathlib.Path(__file__).parent / "golden" / "bank.txt").read_text()


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

    def test_bank(self):
        """Factory, exceptions, a diamond, and calls back to the client while it waits; all is gone afterwards."""
        _, reference = self.start_server("bank-server")
        for _ in range(2):
            self.expect(self.run_program("bank-client", reference, "-OAipaddr", self.host(2)), BANK)

    def test_wrong_references(self):
        """Not a reference, and one to an object of another interface."""
        _, bank = self.start_server("bank-server")
        self.assertIn("INV_OBJREF", self.run_program("hello-client", "IOR:0x").err)
        self.expect(self.run_program("hello-client", bank), err="hello-client: no Hello behind this reference\n",
                    status=1)


if __name__ == "__main__":
    unittest.main()
