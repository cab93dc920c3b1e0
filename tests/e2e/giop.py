"""Messages of the inter-ORB protocol as octets, in either byte order, written and read here by hand. Padding is blank, as ours."""

import collections
import struct

REQUEST, REPLY, CANCEL, LOCATE, LOCATED, CLOSE, ERROR = range(7)
NO_EXCEPTION, USER_EXCEPTION, SYSTEM_EXCEPTION, FORWARD = range(4)
Message = collections.namedtuple("Message", "type little body")


class Writer:
    """A message's body. Alignment counts from the message's start, 12 octets before."""

    def __init__(self, little=True):
        self.octets, self.little = b"", little

    def ulong(self, value):
        self.octets += b" " * (-len(self.octets) % 4) + struct.pack("<I" if self.little else ">I", value)
        return self

    def aligned(self, octets):
        """What has been written at a multiple of 4, such as a stringified reference behind its first 4 octets."""
        self.octets += b" " * (-len(self.octets) % 4) + octets
        return self

    def octet(self, value):
        self.octets += bytes([value])
        return self

    def string(self, text):
        return self.sequence(text.encode("latin-1") + b"\0")

    def sequence(self, octets):
        self.ulong(len(octets))
        self.octets += octets
        return self


def message(type, body=b"", little=True, magic=b"GIOP", version=(1, 0), size=None, order=None):
    size = len(body) if size is None else size
    order = int(little) if order is None else order
    return magic + bytes([*version, order, type]) + struct.pack("<I" if little else ">I", size) + body


def request(id, key, operation, arguments=lambda body: body, little=True, response=1, contexts=0, **told):
    """`contexts` is the count that the message claims; it has none."""
    body = Writer(little).ulong(contexts).ulong(id).octet(response).sequence(key).string(operation).sequence(b"")
    return message(REQUEST, arguments(body).octets, little, **told)


def locate(id, key, little=True):
    return message(LOCATE, Writer(little).ulong(id).sequence(key).octets, little)


def reply(id, status=NO_EXCEPTION, results=lambda body: body, little=True):
    return message(REPLY, results(Writer(little).ulong(0).ulong(id).ulong(status)).octets, little)


def exception(name, minor, completed):
    """What follows a reply's header."""
    return Writer().string(f"IDL:omg.org/CORBA/{name}:1.0").ulong(minor).ulong(completed).octets


def profile(host, port, key):
    body = Writer().octet(1).octet(1).octet(0)
    body.string(host)
    body.octets += bytes(-len(body.octets) % 2) + struct.pack("<H", port)
    return body.sequence(key).octets


def reference(type_id, host, port, key):
    """A stringified reference with one profile."""
    return "IOR:" + ior(type_id, profile(host, port, key)).hex()


def object_key(repository_id, name):
    """Of an object that is known by its interface and its name."""
    body = Writer()
    body.octets = b"\1QMC"
    return body.ulong(0).string(repository_id).string(name).octets


def ior(type_id, profile):
    return Writer().octet(1).string(type_id).ulong(1).ulong(0).sequence(profile).octets


def target(text):
    """The host, port and key of a stringified reference with one profile."""
    octets, at = bytes.fromhex(text[4:]), 0
    little = octets[0] & 1

    def number(data, at, format="I"):
        at += -at % struct.calcsize(format)
        return struct.unpack_from(("<" if little else ">") + format, data, at)[0], at + struct.calcsize(format)

    def sequence(data, at):
        count, at = number(data, at)
        return data[at:at + count], at + count
    _, at = sequence(octets, 1)
    _, at = number(octets, at)
    _, at = number(octets, at)
    profile, _ = sequence(octets, at)
    little = profile[0] & 1
    host, at = sequence(profile, 3)
    port, at = number(profile, at, "H")
    key, _ = sequence(profile, at)
    return host[:-1].decode(), port, key


class Parser:
    """Whole messages out of what has come so far."""

    def __init__(self):
        self.octets = b""

    def feed(self, octets):
        self.octets += octets
        while len(self.octets) >= 12:
            little, type = self.octets[6] & 1, self.octets[7]
            end = 12 + struct.unpack_from("<I" if little else ">I", self.octets, 8)[0]
            if len(self.octets) < end:
                return
            body, self.octets = self.octets[12:end], self.octets[end:]
            yield Message(type, little, body)


def reply_of(message):
    """The id, the status and the octets after them, of a reply without service contexts."""
    assert message.type in (REPLY, LOCATED), message
    order = "<" if message.little else ">"
    if message.type == REPLY:
        contexts, id, status = struct.unpack_from(order + "III", message.body)
        assert contexts == 0, message
        return id, status, message.body[12:]
    return (*struct.unpack_from(order + "II", message.body), message.body[8:])
