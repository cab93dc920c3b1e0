"""iordump as a user meets it: the report, complaints and the exit status.

What is proven:

`Report`     every kind of profile, key and component in both byte orders; nil; hostile texts.
`Sources`    the argument, a file, the standard input; what may surround a reference.
`Faults`     broken references by their messages; parts that cannot be read within a sound reference.
"""

import os
import subprocess
import unittest

import harness

# A reference is written down as the octets of its encapsulation, by hand.
PERSISTENT = """00 514d43 00000000 0000000a 49444c3a413a312e3000 2020 00000002 7800"""  # 30
LITTLE = f"""01 202020 0a000000 49444c3a413a312e3000 2020 01000000
             00000000 36000000
               01 01 00 20 09000000 31302e302e302e3700 20 b136 1e000000 {PERSISTENT}"""


def text(octets):
    return "IOR:" + "".join(octets.split())


def big(profiles, count=1):
    """A big-endian reference of type "T" with these profiles."""
    return text(f"00 202020 00000002 5400 2020 {count:08x} {profiles}")


def with_key(key, size):
    """One whose one profile is of version 1.0, host "h", port 80."""
    return big(f"00000000 {16 + size:08x} 00 01 00 20 00000002 6800 0050 {size:08x} {key}")


def report(*lines):
    return "\n".join(("Type id: T", "Profiles: 1", "", *lines, ""))


class IordumpCase(harness.Case):
    def expect(self, result, out, err="", status=0):
        self.assertEqual(result.out, out)
        self.assertEqual(result.err, err)
        self.assertEqual(result.status, status)

    def expect_key(self, key, size, *lines):
        self.expect(self.run_program("iordump", with_key(key, size)),
                    report("Profile 1: tag 0 (TAG_INTERNET_IOP)", "  Version: 1.0", "  Host: h", "  Port: 80",
                           *lines))


REPORT = """\
Type id: IDL:A:1.0
Profiles: 1

Profile 1: tag 0 (TAG_INTERNET_IOP)
  Version: 1.0
  Host: 10.0.0.7
  Port: 14001
  Object key: 30 octets
    Kind: persistent
    Repository id: IDL:A:1.0
    Object name: x
"""


class Report(IordumpCase):
    def test_a_little_endian_reference_with_a_big_endian_key(self):
        self.expect(self.run_program("iordump", text(LITTLE)), REPORT)

    def test_keys_of_each_kind(self):
        self.expect_key("00 514d43 00000001 00000002 4100 2020 11223344 00000009", 24,
                        "  Object key: 24 octets", "    Kind: transient", "    Repository id: A",
                        "    Adapter: 0x11223344", "    Serial: 9")
        self.expect_key("01 514d43 03000000 78563412", 12,
                        "  Object key: 12 octets", "    Kind: key", "    Key: 0x12345678")
        self.expect_key("00 514d43 00000004 00000004 53766300 00000002 0741", 22,
                        "  Object key: 22 octets", "    Kind: service", "    Service name: Svc",
                        "    Service id: 2 octets", "      0000  07 41" + 14 * "   " + "  .A")
        self.expect_key("00 514d43 00000000 00000002 4100 2020 00000001 00", 21,
                        "  Object key: 21 octets", "    Kind: persistent", "    Repository id: A",
                        "    Object name: (empty)")

    def test_a_key_of_another_orb_as_octets_and_characters(self):
        self.expect_key("1b" + "41" * 17, 18, "  Object key: 18 octets, not of this ORB",
                        "    0000  1b" + 15 * " 41" + "  ." + 15 * "A",
                        "    0010  41 41" + 14 * "   " + "  AA")

    def test_components_code_sets_and_unknown_tags(self):
        code_sets = "01 202020 00000000 00000000 09010100 01000000 01000105"
        self.expect(
            self.run_program("iordump", big(f"""
                00002712 {65:08x} 00 01 01 20 00000002 6800 0050 00000001 aa 202020 00000002
                    00000001 00000018 {code_sets} 00000063 00000001 7a 202020
                00000001 00000028 00 202020 00000001 00000001 00000018 {code_sets}
                12345678 00000001 ff""", 3)),
            """\
Type id: T
Profiles: 3

Profile 1: tag 10002 (TAG_ALT_IIOP)
  Version: 1.1
  Host: h
  Port: 80
  Object key: 1 octet, not of this ORB
    0000  aa                                               .
  Components: 2
  Component: tag 1 (TAG_CODE_SETS), 24 octets
    Char code set: 0x00000000 (not stated)
    Wide char code set: 0x00010109 (UTF-16)
      converts: 0x05010001 (UTF-8)
  Component: tag 99, 1 octet
    0000  7a                                               z

Profile 2: tag 1 (TAG_MULTIPLE_COMPONENTS)
  Components: 1
  Component: tag 1 (TAG_CODE_SETS), 24 octets
    Char code set: 0x00000000 (not stated)
    Wide char code set: 0x00010109 (UTF-16)
      converts: 0x05010001 (UTF-8)

Profile 3: tag 0x12345678
  Data: 1 octet
    0000  ff                                               .
""")

    def test_the_nil_reference(self):
        self.expect(self.run_program("iordump", text("01 202020 01000000 00 202020 00000000")),
                    "Type id: (empty)\nProfiles: 0 (nil reference)\n")

    def test_what_a_terminal_would_act_on_becomes_dots(self):
        hostile = text("00 202020 00000008 1b5d303b789b0700 00000000")
        self.expect(self.run_program("iordump", hostile),
                    "Type id: .]0;x..\nProfiles: 0 (nil reference)\n")


class Sources(IordumpCase):
    def test_a_file_and_the_standard_input(self):
        name = self.file("reference", f"\n\n  {text(LITTLE)} \r\n")
        self.expect(self.run_program("iordump", "-f", name), REPORT)
        self.expect(self.run_program("iordump", typed=f"\t{text(LITTLE).replace('a', 'A')}\n\n"), REPORT)
        self.expect(self.run_program("iordump", f" {text(LITTLE)}\n"), REPORT)

    def test_a_wrong_command_line(self):
        usage = self.run_program("iordump", "-h")
        self.assertEqual((usage.status, usage.err), (0, ""))
        for words in (("-x",), ("-f",), ("a", "b"), ("-f", "file", "a")):
            with self.subTest(words=words):
                result = self.run_program("iordump", *words)
                self.assertEqual((result.status, result.out), (1, ""))
                self.assertTrue(result.err.endswith(usage.out), result.err)

    def test_files_that_cannot_be_read(self):
        missing = self.scratch / "missing"
        self.expect(self.run_program("iordump", "-f", missing), "",
                    f"iordump: {missing}: No such file or directory\n", 1)
        self.expect(self.run_program("iordump", "-f", self.scratch), "",
                    f"iordump: {self.scratch}: Is a directory\n", 1)
        directory = os.open(self.scratch, os.O_RDONLY)
        self.addCleanup(os.close, directory)
        done = subprocess.run([harness.PROGRAMS / "iordump"], stdin=directory, capture_output=True, timeout=10,
                              check=False)
        self.assertEqual((done.returncode, done.stderr), (1, b"iordump: standard input: Is a directory\n"))
        endless = self.run_program("iordump", "-f", "/dev/zero")
        self.expect(endless, "", "iordump: not a reference: the text is too long for a reference\n", 1)


class Faults(IordumpCase):
    def test_broken_references_are_told_apart(self):
        whole = text(LITTLE)
        for reference, complaint in (
                (" \n", "there is no reference"),
                ("ior:00", 'it does not begin with "IOR:"'),
                (f"log: {whole}", 'it does not begin with "IOR:"'),
                (f"{whole[:10]}g{whole[10:]}", "'g' at character 11 is no hexadecimal digit"),
                (f"{whole} {whole}", f"' ' at character {len(whole) + 1} is no hexadecimal digit"),
                (f"{whole}\x1b[m", f"octet 0x1b at character {len(whole) + 1} is no hexadecimal digit"),
                ("IOR:", "its octets are cut short or damaged"),
                (whole[:-2], "its octets are cut short or damaged"),
                (text("01 202020 ffffffff 41"), "its octets are cut short or damaged")):
            with self.subTest(reference=reference):
                self.expect(self.run_program("iordump", typed=reference), "",
                            f"iordump: not a reference: {complaint}\n", 1)
        self.expect(self.run_program("iordump", typed=f"{whole}\0"), "",
                    f"iordump: not a reference: octet 0x00 at character {len(whole) + 1} is no "
                    "hexadecimal digit\n", 1)

    def test_parts_that_cannot_be_read_are_shown_and_named(self):
        self.expect(self.run_program("iordump", big("00000000 00000003 000100")),
                    report("Profile 1: tag 0 (TAG_INTERNET_IOP)", "  Unreadable body: 3 octets",
                           "    0000  00 01 00" + 13 * "   " + "  ..."),
                    "iordump: profile 1: the body cannot be read\n", 1)
        result = self.run_program("iordump", with_key("00 514d43 00000004 ffffffff", 12))
        self.assertEqual(result.err, "iordump: profile 1: the object key cannot be read\n")
        self.assertIn("    Unreadable object key: 12 octets\n", result.out)
        self.assertEqual(result.status, 1)
        result = self.run_program("iordump", big("00000001 00000011 00 202020 00000001 00000001 00000001 00"))
        self.assertEqual(result.err, "iordump: profile 1: the code sets cannot be read\n")
        self.assertIn("    Unreadable code sets: 1 octet\n", result.out)
        self.assertEqual(result.status, 1)


if __name__ == "__main__":
    unittest.main()
