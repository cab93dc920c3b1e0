"""Programs as a user calls them, without others to talk to: golden/commands.txt has their words and what they print.
golden/iordump.txt has references as octets, "$" before each line of them, and what iordump prints of them. Padding is
of spaces where a writer may set it as it likes."""

import os
import re
import unittest

import harness

CASE = re.compile(r"((?:^\$.*\n)+)((?:(?!\$|= ).*\n)*)= (\d)$", re.M)
REFERENCES = [("IOR:" + re.sub(r"[$\s]", "", octets), shown, int(status))
              for octets, shown, status in CASE.findall(harness.golden("iordump.txt"))]
COMMANDS = CASE.findall(harness.golden("commands.txt"))


class Commands(harness.Case):
    def test_what_is_shown_of_references(self):
        self.assertEqual(len(REFERENCES), harness.golden("iordump.txt").count("#"))
        for reference, shown, status in REFERENCES:
            out, complaint, reason = shown.partition("iordump:")
            self.expect(self.run_program("iordump", reference), out, complaint + reason, status)

    def test_words_and_complaints(self):
        whole, report, _ = REFERENCES[0]
        self.file("reference", f"\n\n  {whole.replace('a', 'A')} \r\n")
        places = {"whole": whole, "report": report.strip(), "usage": harness.golden("usage.txt").rstrip("\n") + "\n",
                  "scratch": str(self.scratch), "programs": str(harness.PROGRAMS)}
        self.assertEqual(len(COMMANDS), harness.golden("commands.txt").count("\n$ "))
        for command, shown, status in COMMANDS:
            for name, text in places.items():
                command, shown = command.replace(f"{{{name}}}", text), shown.replace(f"{{{name}}}", text)
            words, _, typed = command[2:-1].partition(" < ")
            result = self.run_program(*words.split(), typed=typed.encode().decode("unicode_escape"), LOCD_PORT=-1)
            printed = result.out + re.sub("^", "!", result.err, flags=re.M).removesuffix("!")
            expected = r"\n(?s:.)*".join(map(re.escape, shown.split("\n...\n"))).replace(r"\{version\}", r"\d+\.\d+\.\d+")
            with self.subTest(command):
                self.assertRegex(printed, rf"\A{expected}\Z")
                self.assertEqual(result.status, int(status))

    def test_a_directory_on_the_standard_input(self):
        directory = os.open(self.scratch, os.O_RDONLY)
        self.addCleanup(os.close, directory)
        self.expect(self.run_program("iordump", stdin=directory), "", "iordump: standard input: Is a directory\n", 1)


if __name__ == "__main__":
    unittest.main()
