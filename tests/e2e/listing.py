"""What peerscan prints for a domain, computed apart from it: the three listings with the order of their
lines.

The order is that of the collections, so their tables stand here a second time: slots by multiplicative
hashing, probing downwards, four times the capacity when full. Host names are left out: the texts are those
of `-d`.
"""

import re
import struct

NO_AGENTS = "\npeerscan: There are no agents running in your domain.\n"
NO_OADS = "\npeerscan: There are no OADs running on in your domain.\n"
NO_OAD_IMPLEMENTATIONS = "\npeerscan: There are no Object Implementations registered with OADs.\n"
NO_MANUAL_IMPLEMENTATIONS = "\npeerscan: There are no manually started Object Implementations.\n"
OAD_HEADING = "\npeerscan: Following are the list of Implementations registered with OADs.\n"
MANUAL_HEADING = "\npeerscan: Following are the list of Implementations started manually.\n"
NO_SERVICE = "Unable to locate initial LocationService\n\tWill use Harbolance 2.0 peerscan mechanism\n"

USAGE = (
    "Usage: peerscan [-options]\n"
    "\n"
    "where options include:\n"
    "    -?  Prints usage information\n"
    "    -b  Use the Harbolance 2.0 backward-compatible peerscan mechanism\n"
    "        Note: 3.0 Activable objects are listed as \"manually started\" when set\n"
    "    -d  Print hostnames as dotted quad addresses\n"
    "    -r  <repository ID>  \n"
    "        Lists all implementations of the given repository ID\n"
    "        Note: You can use regular expressions in repository IDs\n"
    "        Example: -r \"^.*\" will list all interfaces.\n"
    "    -a  Lists all agents in your domain\n"
    "    -o  Lists all Object Activation Daemons in your domain\n"
    "\n"
    "Without any options set, all agents, OADs and implementations are listed.\n"
    "\n")


def text_hash(text):
    value = 0
    for octet in text.encode("latin-1"):
        value = ((value * 2) ^ (octet - 256 if octet > 127 else octet)) & 0xFFFFFFFF
    return value & 0x7FFFFFFF


def addr_hash(addr):
    word, = struct.unpack("=I", bytes(int(part) for part in addr.addr.split(".")))
    return word ^ addr.port


def name_hash(name):
    return text_hash(name.name) ^ name.argType ^ name.serviceType


def provider_hash(provider):
    return name_hash(provider.name) ^ addr_hash(provider.addr) ^ provider.protocolType


class Table:
    """Keys in the order of their slots; each may carry a value."""

    def __init__(self, size, hash_of):
        self._hash_of = hash_of
        self._make(size)

    def _make(self, size):
        self._bits = max(size.bit_length() + (0 if size & (size - 1) == 0 else 1), 1)
        self._slots = [None] * (1 << self._bits)
        self._count = 0

    def put(self, key, value=None):
        """The value that stands for the key now, which is the first one that was put."""
        mask = len(self._slots) - 1
        at = ((self._hash_of(key) * 0x9E3779B9 & 0xFFFFFFFF) >> (32 - self._bits)) & mask
        while self._slots[at] is not None:
            if self._slots[at][0] == key:
                return self._slots[at][1]
            at = (at - 1) & mask
        self._slots[at] = (key, value)
        self._count += 1
        if self._count > mask:
            old = list(self.items())
            self._make(2 * len(self._slots))
            for entry in old:
                self.put(*entry)
        return value

    def capacity(self):
        return len(self._slots)

    def items(self):
        return [entry for entry in self._slots if entry is not None]

    def keys(self):
        return [key for key, _ in self.items()]


def received(members, hash_of):
    """The members of a set that came over the wire, as a copy of it holds them."""
    order = list(members)
    for _ in ("as read", "as copied"):
        table = Table(len(order), hash_of)
        for member in order:
            table.put(member)
        order = table.keys()
    return table


def merged(first, others, hash_of):
    """The set of one agent with those of the others added."""
    table = received(first, hash_of)
    for other in others:
        for member in received(other, hash_of).keys():
            table.put(member)
    return table


def union(first, second, hash_of):
    table = Table(first.capacity() + second.capacity(), hash_of)
    for member in first.keys() + second.keys():
        table.put(member)
    return table


def agents(port, connected, others=()):
    others = received(others, addr_hash).keys()
    if not others:
        return f"\npeerscan: Found one agent at port {port}\n\tHOST: {connected}\n"
    hosts = "".join(f"\tHOST: {host}\n" for host in [connected] + [other.addr for other in others])
    return f"\npeerscan: Found {len(others) + 1} agents at port {port}\n{hosts}"


def oads(hosts):
    if not hosts:
        return NO_OADS
    lines = "".join(f"\tHOST: {host}\n" for host in hosts)
    return f"\npeerscan: Found {len(hosts)} OADs in your domain\n{lines}"


def implementations(names, pattern=""):
    """The names in the order of the set; the pattern is one that means the same to Python."""
    tables = {5: Table(16, text_hash), 4: Table(16, text_hash)}
    for name in names:
        host, _, rest = name.name.partition("_")
        repository_id, _, object_name = rest.partition("_")
        if name.serviceType not in tables or not re.fullmatch(r"\d+\.\d+\.\d+\.\d+", host):
            continue
        if "Activation" in repository_id and "OAD" in repository_id:
            continue
        by_id = tables[name.serviceType].put(host, Table(16, text_hash))
        by_id.put(repository_id, []).append(object_name)
    return (_printed(tables[5], pattern, OAD_HEADING, NO_OAD_IMPLEMENTATIONS) +
            _printed(tables[4], pattern, MANUAL_HEADING, NO_MANUAL_IMPLEMENTATIONS))


def _printed(table, pattern, heading, nothing):
    if not table.items():
        return nothing
    text = ""
    for host, by_id in table.items():
        host_due = True
        for repository_id, objects in by_id.items():
            if not re.search(pattern, repository_id):
                continue
            text += heading + (f"\tHOST: {host}\n" if host_due else "")
            heading, host_due = "", False
            label = "OBJECT"
            if repository_id == "*":
                label = "SERVICE"
                text += "\n\t\tSERVICE ACTIVATORS: \n"
            else:
                text += f"\n\t\tREPOSITORY ID: {repository_id}\n"
            text += "".join(f"\t\t\t{label} NAME: {one}\n" for one in objects if one)
    return text
