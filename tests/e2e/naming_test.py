"""Objects by name: servers announce them to agents, clients find them there."""

import unittest

from calls_test import CallCase


class Naming(CallCase):
    def setUp(self):
        super().setUp()
        self.agent = self.start_locd(self.host(1))
        self.domain = "-ORBagentaddr", self.agent.host, "-ORBagentport", self.agent.port

    def named(self, name="echo", host=2):
        return self.start("calls_server", name, *self.domain, "-OAipaddr", self.host(host))

    def client(self):
        probe = self.start("calls_probe", *self.domain, "-OAipaddr", self.host(9))
        probe.talked = 0
        return probe

    def test_by_name(self):
        self.named().wait_line("IOR:")
        self.talk(self.client(), "bind echo: ok", "say hello: echo hello")


if __name__ == "__main__":
    unittest.main()
