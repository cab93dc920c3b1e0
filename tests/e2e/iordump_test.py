"""iordump as a user meets it. References are octets that are written down by hand."""

import os
import unittest

import harness

PERSISTENT = "00 514d43 00000000 0000000a 49444c3a413a312e3000 2020 00000002 7800"
LITTLE = f"""01 202020 0a000000 49444c3a413a312e3000 2020 01000000
             00000000 36000000 01 01 00 20 09000000 31302e302e302e3700 20 b136 1e000000 {PERSISTENT}"""
PROFILE = """\
Type id: {}
Profiles: 1

Profile 1: tag 0 (TAG_INTERNET_IOP)
  Version: 1.0
  Host: {}
  Port: {}
  Object key: {} octets{}
"""
REPORT = PROFILE.format("IDL:A:1.0", "10.0.0.7", 14001, 30, """
    Kind: persistent
    Repository id: IDL:A:1.0
    Object name: x""")
# What stands behind the number of octets. An octet of a dump takes three columns; the characters follow all sixteen.
KEYS = [("00 514d43 00000001 00000002 4100 2020 11223344 00000009",
         "\n    Kind: transient\n    Repository id: A\n    Adapter: 0x11223344\n    Serial: 9"),
        ("01 514d43 03000000 78563412", "\n    Kind: key\n    Key: 0x12345678"),
        ("00 514d43 00000004 00000004 53766300 00000002 0741", "\n    Kind: service\n    Service name: Svc\n"
         f"    Service id: 2 octets\n      0000  07 41{14 * '   '}  .A"),
        ("1b" + "41" * 17, f", not of this ORB\n    0000  1b{15 * ' 41'}  .{15 * 'A'}\n"
         f"    0010  41 41{14 * '   '}  AA")]
CODE_SETS = "01 202020 00000000 00000000 09010100 01000000 01000105"
COMPONENT = """\
  Component: tag 1 (TAG_CODE_SETS), 24 octets
    Char code set: 0x00000000 (not stated)
    Wide char code set: 0x00010109 (UTF-16)
      converts: 0x05010001 (UTF-8)
"""


def text(octets):
    return "IOR:" + "".join(octets.split())


def big(profiles, count=1):
    """A big-endian reference of type "T" with these profiles."""
    return text(f"00 202020 00000002 5400 2020 {count:08x} {profiles}")


def with_key(key):
    """One whose one profile is of version 1.0, host "h", port 80."""
    size = len(bytes.fromhex(key))
    return big(f"00000000 {16 + size:08x} 00 01 00 20 00000002 6800 0050 {size:08x} {key}")


class Iordump(harness.Case):
    def test_profiles_keys_and_components(self):
        self.expect(self.run_program("iordump", text(LITTLE)), REPORT)
        for key, lines in KEYS:
            self.expect(self.run_program("iordump", with_key(key)),
                        PROFILE.format("T", "h", 80, len(bytes.fromhex(key)), lines))
        reference = big(f"""00002712 {65:08x} 00 01 01 20 00000002 6800 0050 00000001 aa 202020 00000002
                                00000001 00000018 {CODE_SETS} 00000063 00000001 7a 202020
                            00000001 00000028 00 202020 00000001 00000001 00000018 {CODE_SETS}
                            12345678 00000001 ff""", 3)
        self.expect(self.run_program("iordump", reference), f"""\
Type id: T
Profiles: 3

Profile 1: tag 10002 (TAG_ALT_IIOP)
  Version: 1.1
  Host: h
  Port: 80
  Object key: 1 octet, not of this ORB
    0000  aa{15 * '   '}  .
  Components: 2
{COMPONENT}  Component: tag 99, 1 octet
    0000  7a{15 * '   '}  z

Profile 2: tag 1 (TAG_MULTIPLE_COMPONENTS)
  Components: 1
{COMPONENT}
Profile 3: tag 0x12345678
  Data: 1 octet
    0000  ff{15 * '   '}  .
""")
        for octets, shown in (("01 202020 01000000 00 202020 00000000", "(empty)"),
                              ("00 202020 00000008 1b5d303b789b0700 00000000", ".]0;x..")):  # fit for a terminal
            self.expect(self.run_program("iordump", text(octets)), f"Type id: {shown}\nProfiles: 0 (nil reference)\n")

    def test_parts_that_cannot_be_read_are_shown_and_named(self):
        for reference, what, line in (
                (big("00000000 00000003 000100"), "body", "  Unreadable body: 3 octets\n    0000  00 01 00 "),
                (with_key("00 514d43 00000004 ffffffff"), "object key", "    Unreadable object key: 12 octets\n"),
                (big("00000001 00000011 00 202020 00000001 00000001 00000001 00"), "code sets",
                 "    Unreadable code sets: 1 octet\n")):
            result = self.run_program("iordump", reference)
            self.assertIn(line, result.out)
            self.assertEqual((result.err, result.status), (f"iordump: profile 1: the {what} cannot be read\n", 1))

    def test_sources_and_complaints(self):
        name, whole = self.file("reference", f"\n\n  {text(LITTLE)} \r\n"), text(LITTLE)
        self.expect(self.run_program("iordump", "-f", name), REPORT)
        self.expect(self.run_program("iordump", typed=f"\t{whole.replace('a', 'A')}\n\n"), REPORT)
        self.expect(self.run_program("iordump", f" {whole}\n"), REPORT)
        usage = self.run_program("iordump", "-h")
        self.expect(usage, usage.out)
        self.expect(self.run_program("iordump", "--help"), usage.out)
        self.assertRegex(self.run_program("iordump", "--version").out, r"^iordump \d+\.\d+\.\d+\n$")
        for words in (("-f",), ("a", "b"), ("-f", "file", "a")):
            result = self.run_program("iordump", *words)
            self.assertEqual((result.status, result.out, result.err[-len(usage.out):]), (1, "", usage.out), words)
        directory = os.open(self.scratch, os.O_RDONLY)
        self.addCleanup(os.close, directory)
        self.expect(self.run_program("iordump", stdin=directory), "", "iordump: standard input: Is a directory\n", 1)
        no_digit, damaged = f"at character {len(whole) + 1} is no hexadecimal digit", "its octets are cut short or damaged"
        for words, typed, complaint in (
                (["-f", self.scratch / "missing"], "", f"{self.scratch}/missing: No such file or directory"),
                (["-f", "/dev/zero"], "", "not a reference: the text is too long for a reference"),
                ([], " \n", "not a reference: there is no reference"),
                ([], "ior:00", 'not a reference: it does not begin with "IOR:"'),
                ([], f"{whole[:10]}g{whole[10:]}", "not a reference: 'g' at character 11 is no hexadecimal digit"),
                ([], f"{whole} {whole}", f"not a reference: ' ' {no_digit}"),
                ([], f"{whole}\x1b[m", f"not a reference: octet 0x1b {no_digit}"),
                ([], "IOR:", f"not a reference: {damaged}"), ([], whole[:-2], f"not a reference: {damaged}"),
                ([], text("01 202020 ffffffff 41"), f"not a reference: {damaged}")):
            with self.subTest(words=words, typed=typed):
                self.expect(self.run_program("iordump", *words, typed=typed), "", f"iordump: {complaint}\n", 1)


if __name__ == "__main__":
    unittest.main()
