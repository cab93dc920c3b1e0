"""How long servers live, and whom they serve, by their adapter's options."""

import unittest

import giop
from calls_test import TYPE, CallCase, id_of
from giop import NO_EXCEPTION, SYSTEM_EXCEPTION, request
from harness import wait_until


class Policies(CallCase):
    def test_a_server_for_one_client_ends_with_its_connection(self):
        server = self.server("echo", CALLS_POLICY=1)
        peer = self.connect(server)
        for number in range(2):
            peer.send(request(number, server.key, "null"))
            self.assertEqual(peer.reply(), (number, NO_EXCEPTION, b""))
        peer.close()
        self.assertEqual(server.wait(), 0)

    def test_a_server_for_one_call_ends_behind_it(self):
        server = self.server("echo", CALLS_POLICY=2)
        peer = self.connect(server)
        for operation, result in (("_non_existent", b"\0"), ("nothing", None), ("null", b"")):
            peer.send(request(1, server.key, operation))
            _, status, octets = peer.reply()
            self.assertEqual(status, NO_EXCEPTION if result is not None else SYSTEM_EXCEPTION, operation)
            self.assertTrue(result is None or octets == result, operation)
        self.assertEqual(server.wait(), 0)


class Limits(CallCase):
    def test_a_busy_connection_is_left_alone(self):
        server = self.server("echo", CALLS_CONNECTIONS=1)
        silent, asked = self.listener(), []
        silent.answer = lambda peer, one: asked.append((peer, id_of(one)))
        head = giop.ior(TYPE, b"")
        profile = bytes.fromhex(silent.reference[4:])[len(head):]
        busy = self.connect(server)
        busy.send(request(1, server.key, "relay", lambda body: body.string(TYPE).ulong(1).ulong(0).sequence(profile)
                          .ulong(2)))
        wait_until(lambda: asked, "the call of the servant")
        self.assertEqual([one.type for one in self.connect(server).end()], [giop.CLOSE])
        peer, number = asked[0]
        peer.send(giop.reply(number, results=lambda body: body.ulong(1)))
        self.assertEqual(busy.reply(), (1, NO_EXCEPTION, giop.Writer().ulong(2).octets))


if __name__ == "__main__":
    unittest.main()
