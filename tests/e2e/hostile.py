"""Octets that nobody should send: every way in which a message can be wrong, made from good ones."""

import random

import wire


def _tagged(kind, body=b""):
    return wire.char(":") + wire.c_string(kind) + body


def _message(kind, object_octets, code=1):
    """A request or an agent message around an object that no encoder writes."""
    head = wire.text(wire.VERSION) + wire.integer(code) + wire.unsigned(7)
    cookie = wire.integer(4) + bytes(4)
    if kind == "DSRequest":
        return _tagged(kind, head + cookie + wire.integer(wire.REGISTER) + object_octets)
    return _tagged(kind, head + object_octets + cookie)


def _objects():
    """Objects that lie about what they hold, or hold too much."""
    name = wire.text("name") + wire.integer(1) + wire.integer(4)
    yield _tagged("DSName", wire.unsigned(0xFFFFFFFF) + wire.c_string("name") + wire.integer(1) +
                  wire.integer(4))
    yield _tagged("DSName", wire.unsigned(4) + wire.integer(0x7FFFFFFC) + b"name")
    yield _tagged("DSName", wire.unsigned(4) + wire.integer(-4) + b"name")
    yield _tagged("DSName", wire.unsigned(4) + wire.integer(0))
    yield _tagged("DSName", name + wire.char("@") + wire.integer(99))
    yield _tagged("DSName", name + wire.char("@") + wire.integer(-1))
    yield _tagged("DSName", name + wire.char("@") + wire.integer(2))  # itself
    yield _tagged("DSName", name + wire.char("@") + wire.integer(1))  # the text within the message
    yield wire.char("@") + wire.integer(0)                            # the message that holds it
    yield wire.char("#") + wire.integer(0)                            # a request within a request
    yield wire.char("#") + wire.integer(1000)
    yield wire.char("?") + wire.integer(0)
    yield _tagged("NoSuchClass")
    yield _tagged("X" * 300)
    yield _tagged("")
    for abstract in ("DSResource", "DSCollection", "NCObject"):
        yield _tagged(abstract, bytes(32))
    for kind in ("DSSet", "DSDictionary", "DSOrderedCltn"):
        yield _tagged(kind, wire.unsigned(0xFFFFFFFF) + wire.unsigned(0))
        yield _tagged(kind, wire.unsigned(0x40000000) + wire.unsigned(0x40000000))
        yield _tagged(kind, wire.unsigned(2) + wire.unsigned(0xFFFFFFFF))
        yield _tagged(kind, wire.unsigned(4) + wire.unsigned(2) + wire.char("@") + wire.integer(2) * 2)
    yield _tagged("DSLinkedList", wire.unsigned(0xFFFFFFFF))
    yield _tagged("DSDictionary", wire.unsigned(4) + wire.unsigned(1) + _tagged("DSAddr", bytes(8)))
    yield _tagged("TRXString", wire.unsigned(0xFFFFFFFF) + b"abcd")
    yield _tagged("TRXString", wire.unsigned(0))
    yield _tagged("DSUserInfo", wire.text("user") + bytes(12))
    deep = _tagged("DSAssoc")
    nested = wire.char("#") + wire.integer(1)
    yield deep + nested * 900
    yield _tagged("DSLinkedList", wire.unsigned(1)) + (nested + wire.unsigned(1)) * 500
    yield b""


def bodies():
    """Framed rightly, wrong inside."""
    for octets in _objects():
        yield _message("DSRequest", octets)
        yield _message("DSAMessage", octets, wire.UNREACHABLE)
    for record in (wire.name("just a name"), wire.record_set([wire.addr("127.0.0.1", 1)]), None):
        yield wire.Encoder().object(record)
    yield _tagged("DSRequest")
    yield _tagged("DSRequest", wire.text("Kestrune 1.9"))
    yield _tagged("DSAMessage", wire.text("Kestrune 2.00") + bytes(40))
    cookie = wire.text(wire.VERSION) + wire.integer(1) + wire.unsigned(1)
    yield _tagged("DSRequest", cookie + wire.integer(0x7FFFFFFF) + bytes(64))
    yield _tagged("DSRequest", cookie + wire.integer(-1) + bytes(64))
    yield b""


def datagrams(good=(), seed=1):
    """All kinds, with the good messages cut short, stretched and bent."""
    yield from (b"", b"\0", b"\0\0\0\4", bytes(8192), b"\xff" * 8192, bytes(9000))
    for body in bodies():
        yield wire.framed(body)
    bend = random.Random(seed)
    for record in good:
        octets = wire.datagram(record)
        for cut in range(0, len(octets), 4):
            yield octets[:cut]                 # shorter than its word says
            yield wire.framed(octets[4:cut])   # ending within a field
        yield octets + bytes(4)
        yield wire.framed(octets[4:] + bytes(64))
        for _ in range(40):
            bent = bytearray(octets)
            for _ in range(bend.randrange(1, 4)):
                bent[bend.randrange(4, len(bent))] = bend.choice((0, 1, 0x23, 0x3A, 0x40, 0x7F, 0x80, 0xFF))
            yield bytes(bent)
