"""What bash offers after a TAB is what the program takes there."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import help_texts

PROGRAM, COMPLETION = os.environ["SERVICEMUX"], os.environ["COMPLETION"]
ASK = """
set -u
source "$1"; shift
directory=$1; shift
cd "$directory"
COMP_WORDS=("$@") COMP_CWORD=$(($# - 1))
_servicemux
printf '%s\\n' "${COMPREPLY[@]}"
"""


def offered(*words, program=PROGRAM, directory="/"):
    command = ["bash", "--norc", "-c", ASK, "bash", COMPLETION, directory, program, *words]
    done = subprocess.run(command, capture_output=True, text=True, check=True)
    if done.stderr:
        raise AssertionError(done.stderr)
    return sorted(done.stdout.split())


class OfTheProgram(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        (Path(self.directory) / "dump").mkdir()
        for name in ("tables.json", "capture.ts"):
            (Path(self.directory) / name).touch()

    def offered(self, *words):
        return offered(*words, directory=self.directory)

    def test_the_first_word_is_a_subcommand(self):
        subcommands = help_texts.subcommands(help_texts.text(PROGRAM))
        self.assertGreater(len(subcommands), 1)
        self.assertEqual(self.offered(""), sorted(subcommands))
        self.assertEqual(self.offered("pl"), ["play"])

    def test_a_dash_brings_the_options_of_the_subcommand(self):
        for path, text in help_texts.pages(PROGRAM).items():
            with self.subTest(path=path):
                self.assertEqual(self.offered(*path, "-"), sorted(help_texts.options(text)))
        self.assertEqual(self.offered("play", "tables.json", "--nu"), ["--null-period"])

    def test_other_words_are_files(self):
        self.assertEqual(self.offered("play", ""), ["capture.ts", "dump", "tables.json"])
        self.assertEqual(self.offered("import", "capture.ts", "-o", "t"), ["tables.json"])

    def test_a_directory_is_asked_for_where_one_is_needed(self):
        self.assertEqual(self.offered("play", "tables.json", "--dump", ""), ["dump"])

    def test_nothing_is_offered_for_a_number(self):
        self.assertEqual(self.offered("play", "--bitrate", ""), [])

    def test_values_to_choose_from_are_offered(self):
        self.assertEqual(self.offered("play", "--timing", ""), ["classic", "standards"])

    def test_an_option_without_a_value_takes_no_word(self):
        self.assertEqual(self.offered("play", "--quiet", "t"), ["tables.json"])

    def test_bash_asks_it_for_the_program(self):
        command = ["bash", "--norc", "-c", 'source "$1"; complete -p servicemux', "bash", COMPLETION]
        done = subprocess.run(command, capture_output=True, text=True, check=True)
        self.assertEqual(done.stdout.split()[-3:], ["-F", "_servicemux", "servicemux"])


class OfAProgramWithMore(unittest.TestCase):
    """Subcommands below subcommands, and values to choose from."""

    HELP = """#!/bin/sh
case "$*" in
  "--help") printf 'Subcommands:\\n  ctl                         Controls\\n\\nThe end.\\n' ;;
  "ctl --help") printf 'Subcommands:\\n  show                        Shows\\n' ;;
  "ctl show --help") printf 'Options:\\n  --how TEXT:{short,long} REQUIRED  How\\n  -f,--force REQUIRED         So\\n' ;;
  *) exit 2 ;;
esac
"""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.program = Path(directory.name) / "servicemux"
        self.program.write_text(self.HELP)
        self.program.chmod(0o755)

    def offered(self, *words):
        return offered(*words, program=self.program)

    def test_a_subcommand_brings_those_below_it(self):
        self.assertEqual(self.offered(""), ["ctl"])
        self.assertEqual(self.offered("ctl", ""), ["show"])

    def test_options_are_those_of_the_innermost_subcommand(self):
        self.assertEqual(self.offered("ctl", "show", "-"), ["--force", "--how", "-f"])

    def test_a_flag_that_must_be_given_takes_no_word(self):
        self.assertIn("etc", self.offered("ctl", "show", "--force", ""))  # of the files in /

    def test_values_to_choose_from_are_offered(self):
        self.assertEqual(self.offered("ctl", "show", "--how", ""), ["long", "short"])
        self.assertEqual(self.offered("ctl", "show", "--how", "s"), ["short"])


if __name__ == "__main__":
    unittest.main()
