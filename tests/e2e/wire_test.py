"""The test suite's own codec against octets written down by hand, and against itself.

What is proven: the locate message and its answer octet by octet; a provider whose name carries a reference;
classes spelled once a message and once a connection; shared objects as references whose numbers count
embedded objects; malformed octets refused.
"""

import unittest

import wire


def octets(text):
    return bytes.fromhex(text)


VERSION = octets("0000000c 00000010 4b657374 72756e65 20322e30 00000000")


class Wire(unittest.TestCase):
    def test_the_locate_message_in_octets(self):
        expected = (octets("0000004c 3a000000 0000000c 4453414d 65737361 67650000") + VERSION +
                    octets("00000006 01020304 3a000000 00000004 3a3a0000 00000004 00000000"))
        message = wire.agent_message(wire.LOCATE_AGENT, number=0x01020304)
        self.assertEqual(wire.datagram(message), expected)
        self.assertEqual(wire.parse_datagram(expected), message)

    def test_the_answer_to_it_in_octets(self):
        expected = (octets("00000064 3a000000 0000000c 44534152 65706c79 00000000") + VERSION +
                    octets("00000005 000000ff 3a000000 00000008 44534164 64720000 0a000007 000036b0"
                           "00000004 00000000 00000005 01020304 00000000"))
        answer = wire.parse_datagram(expected)
        self.assertEqual((answer.kind, answer.replyType, answer.requestNum, answer.status),
                         ("DSAReply", wire.LOCATED, 0x01020304, 0))
        self.assertEqual(answer.object, wire.addr("10.0.0.7", 14000))
        self.assertEqual(wire.datagram(answer), expected)

    def test_a_provider_in_octets(self):
        expected = (octets("3a000000 0000000c 44535072 6f766964 65720000"       # :DSProvider
                           "00000003 00000004 61626300 00000001 00000004"       # "abc", argType, serviceType
                           "3a000000 00000008 44534e61 6d650000"  # :DSName, the carried reference
                           "00000004 00000008 494f523a 00000000 00000001 00000002 3a000000 00000004 3a3a0000"
                           "7f000001 00000050 7f000002 00000000 7f000003 00000000 00000000 00000000"))
        record = wire.provider("abc", "127.0.0.1", 80, "127.0.0.2", "127.0.0.3", reference="IOR:")
        self.assertEqual(wire.Encoder().object(record), expected)
        self.assertEqual(wire.Decoder().message(expected), record)

    def test_classes_are_spelled_once_and_shared_objects_referred_to(self):
        shared = wire.addr("127.0.0.1", 1)
        # Numbers: the set 0, the provider 1, its name 2, the text 3, three addresses 4 to 6, the address 7.
        record = wire.record_set([wire.provider("abc"), shared, wire.addr("127.0.0.1", 2), shared])
        body = wire.Encoder().object(record)
        self.assertTrue(body.endswith(octets("23000000 00000002 7f000001 00000002 40000000 00000007")))
        read = wire.Decoder().message(body)
        self.assertEqual(read, record)
        self.assertIs(read.members[1], read.members[3])

    def test_a_connection_spells_a_class_in_its_first_message_only(self):
        connection = wire.Connection(None)
        first = connection.encode(wire.request(wire.LIST_NAMES))
        second = connection.encode(wire.request(wire.LIST_NAMES))
        self.assertIn(b"DSRequest", first)
        self.assertEqual(second[4:12], octets("23000000 00000000"))

    def test_strings(self):
        text = wire.Record("TRXString", text="abc")
        self.assertTrue(wire.Encoder().object(text).endswith(octets("00000004 61626300")))
        self.assertTrue(wire.Encoder().object(wire.Record("TRXString",
                                                          text="")).endswith(octets("00000001 00000000")))
        empty = wire.Encoder().object(wire.Record("NCString", text=""))
        self.assertTrue(empty.endswith(octets("00000000 00000004 00000000")))

    def test_what_is_out_of_order_is_refused(self):
        good = wire.datagram(wire.request(wire.LIST_AGENTS))
        for bad in (b"", good[:3], good[:-4], good + bytes(4), wire.framed(good[4:-4]),
                    wire.framed(wire.char("@") + wire.integer(0)),
                    wire.framed(wire.char("#") + wire.integer(0)),
                    wire.framed(wire.char("x")), wire.framed(wire.char(":") + wire.c_string("DSResource")),
                    good.replace(b"Kestrune 2.0", b"Kestrune 2.1")):
            with self.subTest(bad=bad), self.assertRaises(wire.WireError):
                wire.parse_datagram(bad)


if __name__ == "__main__":
    unittest.main()
