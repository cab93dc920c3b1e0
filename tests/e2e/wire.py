"""The agent protocol in octets, written a second time.

This codec shares nothing with the library: it is the other pen that catches what the library's encoder and
decoder might agree on by mistake. It is strict where the library has to be tolerant. Anything out of order
in what the programs send raises `WireError`: a wrong padded length, an octet left over, a reference to
nothing.

    octets = datagram(request(LOGIN, login("host")))
    record = parse_datagram(octets)
    record.request.hostName

A record is a `Record` with its class name as `kind` and its fields by their protocol names. Texts are
`str`, each character one octet (latin-1). Records on a TCP connection go through one `Connection`, whose
type tables last.
"""

import struct

VERSION = "Kestrune 2.0"

# msgType
REQUEST, REPLY, AREPLY, LOCATE_AGENT, UNREACHABLE, TCP_ENDPOINT = 1, 2, 5, 6, 7, 9

# requestType
LOGIN, ALIVE, LOCATE, REGISTER_TRIGGER, REGISTER, UNREGISTER, UNREGISTER_TRIGGER = 0, 2, 3, 4, 5, 6, 7
LIST_AGENTS, LIST_PROVIDERS, END, LIST_NAMES = 8, 9, 10, 11

# replyType
ACKNOWLEDGED, LOGIN_ANSWERED, ALIVE_ANSWERED, LOCATED, NOTIFICATION, END_ANSWERED = 1, 2, 4, 5, 6, 12

# status
DOWN, REFUSED, RECONNECT, KNOWN, OTHER_VERSION = -95, -96, -97, -98, -100

# serviceType
REFERENCE, MANUAL, OAD = 2, 4, 5

DATAGRAM_LIMIT = 8192

# Fields in stream order. A kind in `embedded:` has no tag of its own, `object` has one and may be None.
_MESSAGE = [("version", "text"), ("msgType", "int"), ("msgNum", "uint"), ("cookie", "cookie")]
_AGENT_MESSAGE = [("version", "text"), ("msgType", "int"), ("msgNum", "uint"), ("object", "object"),
                  ("cookie", "cookie")]
FIELDS = {
    "DSRequest": _MESSAGE + [("requestType", "int"), ("request", "object")],
    "DSReply": _MESSAGE + [("replyType", "int"), ("requestNum", "uint"), ("status", "int"),
                           ("reply", "object")],
    "DSAMessage": _AGENT_MESSAGE,
    "DSAReply": _AGENT_MESSAGE + [("replyType", "int"), ("requestNum", "uint"), ("status", "int")],
    "DSName": [("name", "text"), ("argType", "int"), ("serviceType", "int"), ("value", "object")],
    "DSAddr": [("addr", "quad"), ("port", "int")],
    "DSLogin": [("hostName", "text"), ("loginName", "text"), ("loginExtra", "text"), ("userName", "text"),
                ("processId", "int"), ("machineType", "int"), ("verifyPort", "int")],
    "DSProvider": [("name", "embedded:DSName"), ("addr", "embedded:DSAddr"),
                   ("clientAddr", "embedded:DSAddr"),
                   ("agentAddr", "embedded:DSAddr"), ("protocolType", "int"), ("adminPort", "int")],
    "DSSet": [("members", "table")],
}


class WireError(Exception):
    """What was received is not in the form of the protocol."""


class Record:
    """One object of the stream. Compares by class and fields."""

    def __init__(self, kind, **fields):
        self.kind = kind
        self.__dict__.update(fields)

    def fields(self):
        return {name: value for name, value in self.__dict__.items() if name != "kind"}

    def with_(self, **changes):
        """A copy with some fields changed."""
        return Record(self.kind, **{**self.fields(), **changes})

    def __eq__(self, other):
        return isinstance(other, Record) and self.kind == other.kind and self.fields() == other.fields()

    def __hash__(self):
        return hash(self.kind)

    def __repr__(self):
        return f"{self.kind}({', '.join(f'{name}={value!r}' for name, value in self.fields().items())})"


# ---- octets

def slots(octets):
    """The octets, padded to whole 4-octet slots."""
    return octets + bytes(-len(octets) % 4)


def char(text):
    return slots(text.encode("latin-1"))


def integer(value):
    return struct.pack(">i", value)


def unsigned(value):
    return struct.pack(">I", value & 0xFFFFFFFF)


def c_string(text):
    padded = slots(text.encode("latin-1") + b"\0")
    return integer(len(padded)) + padded


def text(value):
    """An embedded or whole NCString: the length without the NUL, then the C string."""
    return unsigned(len(value)) + c_string(value)


def quad(address):
    parts = [int(part) for part in address.split(".")]
    return bytes(parts)


def framed(octets):
    """With the length word that counts itself."""
    return unsigned(len(octets) + 4) + octets


class Encoder:
    """Writes objects; its type table lasts until it is dropped."""

    def __init__(self):
        self._types = {}
        self._numbers = {}  # of the objects of this message, by identity
        self._count = 0     # of these and of the embedded ones
        self._depth = 0

    def object(self, record):
        if record is None:
            return char(":") + c_string("::")
        if id(record) in self._numbers:
            return char("@") + integer(self._numbers[id(record)])
        self._numbers[id(record)] = self._count
        self._count += 1
        if record.kind in self._types:
            tag = char("#") + integer(self._types[record.kind])
        else:
            self._types[record.kind] = len(self._types)
            tag = char(":") + c_string(record.kind)
        self._depth += 1
        octets = tag + self._fields(record)
        self._depth -= 1
        if self._depth == 0:
            self._numbers, self._count = {}, 0
        return octets

    def _fields(self, record):
        return b"".join(self._field(shape, getattr(record, name)) for name, shape in FIELDS[record.kind])

    def _field(self, shape, value):
        if shape == "int":
            return integer(value)
        if shape == "uint":
            return unsigned(value)
        if shape == "text":
            self._count += 1  # an embedded object takes a number too
            return text(value)
        if shape == "quad":
            return quad(value)
        if shape == "cookie":
            return integer(len(value)) + slots(value)
        if shape == "object":
            return self.object(value)
        if shape == "table":
            return (unsigned(2 * len(value) + 2) + unsigned(len(value)) +
                    b"".join(self.object(member) for member in value))
        self._count += 1
        return self._fields(value)


class Decoder:
    """Reads objects; its type table lasts until it is dropped."""

    def __init__(self):
        self._types = []
        self._objects = []
        self._octets = b""
        self._at = 0
        self._depth = 0

    def message(self, octets):
        """The one object that the octets are made of."""
        self._octets, self._at, self._depth, self._objects = octets, 0, 0, []
        record = self._object()
        if self._at != len(octets):
            raise WireError(f"{len(octets) - self._at} octets behind the object")
        return record

    def _take(self, count):
        padded = count + -count % 4
        if count < 0 or self._at + padded > len(self._octets):
            raise WireError(f"{count} octets wanted at {self._at} of {len(self._octets)}")
        octets = self._octets[self._at:self._at + count]
        self._at += padded
        return octets

    def _integer(self):
        return struct.unpack(">i", self._take(4))[0]

    def _unsigned(self):
        return struct.unpack(">I", self._take(4))[0]

    def _c_string(self):
        padded = self._integer()
        if padded <= 0 or padded % 4:
            raise WireError(f"a padded length of {padded}")
        octets = self._take(padded)
        end = octets.find(b"\0")
        if end < 0 or end + 1 + -(end + 1) % 4 != padded:
            raise WireError(f"a text of {end} octets in {padded}")
        return octets[:end].decode("latin-1")

    def _text(self):
        length = self._unsigned()
        value = self._c_string()
        if len(value) != length:
            raise WireError(f"length {length} of {value!r}")
        return value

    def _object(self):
        tag = self._take(1)
        if tag == b"@":
            number = self._integer()
            if not 0 <= number < len(self._objects):
                raise WireError(f"no object {number}")
            return self._objects[number]
        if tag == b"#":
            number = self._integer()
            if not 0 <= number < len(self._types):
                raise WireError(f"no class {number}")
            kind = self._types[number]
        elif tag == b":":
            kind = self._c_string()
            if kind == "::":
                return None
            if kind not in FIELDS:
                raise WireError(f"unknown class {kind!r}")
            self._types.append(kind)
        else:
            raise WireError(f"tag {tag!r}")
        return self._read(kind)

    def _read(self, kind):
        record = Record(kind)
        self._objects.append(record)
        for name, shape in FIELDS[kind]:
            setattr(record, name, self._field(shape))
            if name == "version" and record.version != VERSION:
                raise WireError(f"version {record.version!r}")
        return record

    def _field(self, shape):
        if shape == "text":
            self._objects.append(None)
            return self._text()
        simple = {"int": self._integer, "uint": self._unsigned, "object": self._object}
        if shape in simple:
            return simple[shape]()
        if shape == "quad":
            return ".".join(str(octet) for octet in self._take(4))
        if shape == "cookie":
            return self._take(self._integer())
        if shape == "table":
            self._unsigned()
            return [self._object() for _ in range(self._unsigned())]
        return self._read(shape.partition(":")[2])


def datagram(record):
    return framed(Encoder().object(record))


def parse_datagram(octets):
    if len(octets) < 4 or struct.unpack(">I", octets[:4])[0] != len(octets):
        raise WireError(f"length word {octets[:4]!r} of {len(octets)} octets")
    return Decoder().message(octets[4:])


class Connection:
    """Messages over a connected TCP socket, with the type tables of both directions."""

    def __init__(self, sock):
        self.sock = sock
        self._out = Encoder()
        self._in = Decoder()

    def encode(self, record):
        return framed(self._out.object(record))

    def send(self, record):
        self.sock.sendall(self.encode(record))

    def receive(self):
        """The next message, None at the end of the stream."""
        word = self._read(4)
        if word is None:
            return None
        total = struct.unpack(">I", word)[0]
        if total < 4:
            raise WireError(f"length word {total}")
        body = self._read(total - 4)
        if body is None:
            raise WireError("the stream ended inside a message")
        return self._in.message(body)

    def _read(self, count):
        octets = b""
        while len(octets) < count:
            piece = self.sock.recv(count - len(octets))
            if not piece:
                if octets:
                    raise WireError("the stream ended inside a message")
                return None
            octets += piece
        return octets


# ---- records

_numbers = iter(range(0x5EED0000, 0xFFFFFFFF))


def request(kind, payload=None, number=None, cookie=bytes(4)):
    return Record("DSRequest", version=VERSION, msgType=REQUEST, cookie=cookie, requestType=kind,
                  request=payload,
                  msgNum=next(_numbers) if number is None else number)


def reply(kind, question, status=0, payload=None, number=None):
    """The reply to a request, or with None as the question one to nothing, such as a notification."""
    return Record("DSReply", version=VERSION, msgType=REPLY, replyType=kind, status=status, reply=payload,
                  msgNum=next(_numbers) if number is None else number,
                  cookie=question.cookie if question else bytes(4),
                  requestNum=question.msgNum if question else 0)


def agent_message(kind, payload=None, number=None, cookie=bytes(4)):
    return Record("DSAMessage", version=VERSION, msgType=kind, object=payload, cookie=cookie,
                  msgNum=next(_numbers) if number is None else number)


def agent_reply(kind, question, status=0, payload=None):
    return Record("DSAReply", version=VERSION, msgType=AREPLY, msgNum=next(_numbers), object=payload,
                  cookie=question.cookie, replyType=kind, requestNum=question.msgNum, status=status)


def name(value, service=MANUAL, reference=None):
    """A name; with a reference it carries the stringified form of an object."""
    carried = None
    if reference is not None:
        carried = Record("DSName", name=reference, argType=1, serviceType=REFERENCE, value=None)
    return Record("DSName", name=value, argType=1, serviceType=service, value=carried)


def addr(host, port):
    return Record("DSAddr", addr=host, port=port)


def provider(key, host="127.0.0.1", port=0, client="127.0.0.1", agent="127.0.0.1", service=MANUAL,
             reference=None):
    """A provider; the key is a text or a whole name."""
    return Record("DSProvider", name=name(key, service, reference) if isinstance(key, str) else key,
                  addr=addr(host, port), clientAddr=addr(client, 0), agentAddr=addr(agent, 0), protocolType=0,
                  adminPort=0)


def login(host="tester", verify_port=0, process=1):
    return Record("DSLogin", hostName=host, loginName="", loginExtra="", userName="tester", processId=process,
                  machineType=2, verifyPort=verify_port)


def record_set(members):
    return Record("DSSet", members=list(members))
