"""iordump as a user meets it. golden/iordump.txt has references as octets, "$" before each line of them, and what is
printed of them, with the exit status at the end. Padding is of spaces where a writer may set it as it likes."""

import os
import re
import unittest

import harness

GOLDEN = harness.golden("iordump.txt")
CASES = [("IOR:" + re.sub(r"[$\s]", "", octets), out, err, int(status)) for octets, out, err, status in re.findall(
    r"^#.*\n((?:\$.*\n)+)((?:(?!iordump:|=).*\n)*)(iordump:.*\n)?= (\d)$", GOLDEN, re.M)]


class Iordump(harness.Case):
    def test_what_is_shown_of_references(self):
        self.assertEqual(len(CASES), GOLDEN.count("#"))
        for reference, *shown in CASES:
            self.expect(self.run_program("iordump", reference), *shown)

    def test_sources_and_complaints(self):
        whole, report = CASES[0][:2]
        name = self.file("reference", f"\n\n  {whole} \r\n")
        self.expect(self.run_program("iordump", "-f", name), report)
        self.expect(self.run_program("iordump", typed=f"\t{whole.replace('a', 'A')}\n\n"), report)
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
                ([], "IOR:01202020ffffffff41", f"not a reference: {damaged}")):
            with self.subTest(words=words, typed=typed):
                self.expect(self.run_program("iordump", *words, typed=typed), "", f"iordump: {complaint}\n", 1)


if __name__ == "__main__":
    unittest.main()
