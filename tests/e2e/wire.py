"""The agent protocol in octets, written a second time and by tables: it shows mistakes that the library's encoder
and decoder might share. It is strict where the library has to be tolerant: a wrong padded length, an octet left
over, an unknown class in what the programs send raise `WireError`.

A record has its class name as `kind` and its fields by their protocol names. Texts are `str`, each character one
octet (latin-1). Records on a TCP connection go through one `Connection`, whose type tables last.
"""

import itertools
import socket
import struct
import types

VERSION = "Kestrune 2.0"
REQUEST, REPLY, AREPLY, LOCATE_AGENT, UNREACHABLE, TCP_ENDPOINT = 1, 2, 5, 6, 7, 9  # msgType
LOGIN, ALIVE, LOCATE, REGISTER_TRIGGER, REGISTER, UNREGISTER, UNREGISTER_TRIGGER = 0, 2, 3, 4, 5, 6, 7
LIST_AGENTS, LIST_PROVIDERS, END, LIST_NAMES = 8, 9, 10, 11  # requestType
ACKNOWLEDGED, LOGIN_ANSWERED, ALIVE_ANSWERED, LOCATED, NOTIFICATION, END_ANSWERED = 1, 2, 4, 5, 6, 12
DOWN, REFUSED, RECONNECT, KNOWN, OTHER_VERSION = -95, -96, -97, -98, -100  # status
REFERENCE, MANUAL, OAD = 2, 4, 5  # serviceType
DATAGRAM_LIMIT = 8192

# Fields in stream order. The shape `object` has a tag and may be None; a class name as shape is an embedded
# record, which has none.
_MESSAGE = "version:text msgType:int msgNum:uint cookie:cookie "
_AGENT_MESSAGE = "version:text msgType:int msgNum:uint object:object cookie:cookie "
CLASSES = {kind: [tuple(field.split(":")) for field in fields.split()] for kind, fields in {
    "DSRequest": _MESSAGE + "requestType:int request:object",
    "DSReply": _MESSAGE + "replyType:int requestNum:uint status:int reply:object",
    "DSAMessage": _AGENT_MESSAGE,
    "DSAReply": _AGENT_MESSAGE + "replyType:int requestNum:uint status:int",
    "DSName": "name:text argType:int serviceType:int value:object",
    "DSAddr": "addr:quad port:int",
    "DSLogin": "hostName:text loginName:text loginExtra:text userName:text processId:int machineType:int "
               "verifyPort:int",
    "DSProvider": "name:DSName addr:DSAddr clientAddr:DSAddr agentAddr:DSAddr protocolType:int adminPort:int",
    "DSSet": "members:table",
}.items()}


class WireError(Exception):
    """What was received is not in the form of the protocol."""


def _check(holds, complaint):
    if not holds:
        raise WireError(complaint)


class Record(types.SimpleNamespace):
    """One object of the stream. Compares by class and fields."""

    def with_(self, **changes):
        return Record(**{**vars(self), **changes})


def padded(octets):
    return octets + bytes(-len(octets) % 4)


def unsigned(value):
    return struct.pack(">I", value & 0xFFFFFFFF)


def c_string(text):
    octets = padded(text.encode("latin-1") + b"\0")
    return unsigned(len(octets)) + octets


def framed(octets):
    """With the length word, which counts itself."""
    return unsigned(len(octets) + 4) + octets


class Encoder:
    """Writes framed messages; its type table lasts as long as it does. No object is written twice."""

    def __init__(self):
        self._types = []
        self._put = {
            "int": lambda value: struct.pack(">i", value), "uint": unsigned, "object": self._object,
            "text": lambda value: unsigned(len(value)) + c_string(value),
            "quad": lambda value: bytes(map(int, value.split("."))),
            "cookie": lambda value: unsigned(len(value)) + padded(value),
            "table": lambda value: unsigned(2 * len(value) + 2) + unsigned(len(value)) +
                                   b"".join(map(self._object, value))}

    def message(self, record):
        return framed(self._object(record))

    def _object(self, record):
        if record is None:
            return b":\0\0\0" + c_string("::")
        if record.kind in self._types:
            return b"#\0\0\0" + unsigned(self._types.index(record.kind)) + self._fields(record, record.kind)
        self._types.append(record.kind)
        return b":\0\0\0" + c_string(record.kind) + self._fields(record, record.kind)

    def _fields(self, record, kind):
        values = ((getattr(record, name), shape) for name, shape in CLASSES[kind])
        return b"".join(self._put[shape](value) if shape in self._put else self._fields(value, shape)
                        for value, shape in values)


class Decoder:
    """Reads messages without their length word; its type table lasts as long as it does."""

    def __init__(self):
        self._types = []
        self._get = {
            "int": lambda: struct.unpack(">i", self._take(4))[0], "uint": self._uint, "object": self._object,
            "text": self._text, "quad": lambda: ".".join(map(str, self._take(4))),
            "cookie": lambda: self._take(self._uint()),
            "table": lambda: (self._uint(), [self._object() for _ in range(self._uint())])[1]}

    def message(self, octets):
        self._octets, self._at = octets, 0
        record = self._object()
        _check(self._at == len(octets), f"{len(octets) - self._at} octets behind the object")
        return record

    def _take(self, count):
        octets = self._octets[self._at:self._at + count]
        self._at += count + -count % 4
        _check(self._at <= len(self._octets), f"{count} octets wanted, to {self._at} of {len(self._octets)}")
        return octets

    def _uint(self):
        return struct.unpack(">I", self._take(4))[0]

    def _c_string(self):
        octets = self._take(self._uint())
        text = octets.partition(b"\0")[0]
        _check(len(octets) == len(padded(text + b"\0")), f"{text!r} in {len(octets)} octets")
        return text.decode("latin-1")

    def _text(self):
        length, value = self._uint(), self._c_string()
        _check(len(value) == length, f"length {length} of {value!r}")
        return value

    def _object(self):
        tag = self._take(1)
        _check(tag in (b":", b"#"), f"tag {tag!r}")
        if tag == b":":
            kind = self._c_string()
            if kind == "::":
                return None
            _check(kind in CLASSES, f"unknown class {kind!r}")
            self._types.append(kind)
            return self._record(kind)
        number = self._uint()
        _check(number < len(self._types), f"no class has the number {number}")
        return self._record(self._types[number])

    def _record(self, kind):
        record = Record(kind=kind)
        for name, shape in CLASSES[kind]:
            setattr(record, name, self._get[shape]() if shape in self._get else self._record(shape))
            _check(name != "version" or record.version == VERSION, f"version of {record}")
        return record


def datagram(record):
    return Encoder().message(record)


def parse_datagram(octets):
    _check(octets[:4] == unsigned(len(octets)), f"length word {octets[:4]!r} of {len(octets)} octets")
    return Decoder().message(octets[4:])


class Connection:
    """Messages over a connected TCP socket, with the type tables of both directions."""

    def __init__(self, sock):
        self.sock, self.encode, self._decode = sock, Encoder().message, Decoder().message
        sock.setsockopt(socket.SOL_SOCKET, socket.SO_RCVTIMEO, struct.pack("ll", 20, 0))  # seconds

    def send(self, record):
        self.sock.sendall(self.encode(record))

    def receive(self):
        """The next message, None at the end of the stream."""
        word = self.sock.recv(4, socket.MSG_WAITALL)
        size = struct.unpack(">I", word)[0] - 4 if word else 0
        return self._decode(self.sock.recv(size, socket.MSG_WAITALL)) if word else None


_numbers = itertools.count(0x5EED0000)


def _message(kind, **fields):
    return Record(kind=kind, version=VERSION, **{"msgNum": next(_numbers), "cookie": bytes(4), **fields})


def request(kind, payload=None, **fields):
    return _message("DSRequest", msgType=REQUEST, requestType=kind, request=payload, **fields)


def reply(kind, question, status=0, payload=None):
    """The reply to a request; with None as the question one to nothing, which is a notification."""
    told = {"cookie": question.cookie, "requestNum": question.msgNum} if question else {"requestNum": 0}
    return _message("DSReply", msgType=REPLY, replyType=kind, status=status, reply=payload, **told)


def agent_message(kind, payload=None, **fields):
    return _message("DSAMessage", msgType=kind, object=payload, **fields)


def agent_reply(kind, question, status=0, payload=None):
    return _message("DSAReply", msgType=AREPLY, replyType=kind, status=status, object=payload,
                    cookie=question.cookie, requestNum=question.msgNum)


def name(value, service=MANUAL, reference=None, argument=1):
    """A name; with a reference it carries the stringified form of an object."""
    return Record(kind="DSName", name=value, argType=argument, serviceType=service,
                  value=reference and name(reference, REFERENCE))


def addr(host, port):
    return Record(kind="DSAddr", addr=host, port=port)


def provider(key, host="127.0.0.1", port=0, client="127.0.0.1", agent="127.0.0.1", **told):
    return Record(kind="DSProvider", name=name(key, **told), addr=addr(host, port),
                  clientAddr=addr(client, 0), agentAddr=addr(agent, 0), protocolType=0, adminPort=0)


def login(verify_port=0, process=1):
    return Record(kind="DSLogin", hostName="tester", loginName="", loginExtra="", userName="tester",
                  processId=process, machineType=2, verifyPort=verify_port)


def record_set(members):
    return Record(kind="DSSet", members=list(members))
