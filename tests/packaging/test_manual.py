"""The manual page says what the program's help texts say, and is well formed."""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

import help_texts

PROGRAM, SCRIPT = os.environ["SERVICEMUX"], os.environ["MANUAL_SCRIPT"]


def groff(page, *options):
    done = subprocess.run(
        ["groff", "-man", "-ww", "-rLL=200n", *options], input=page, capture_output=True, text=True, check=True
    )
    return done.stdout, done.stderr


def words(text):
    return re.sub(r"\s+", " ", text)


class OfTheProgram(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.page = Path(os.environ["MANUAL"]).read_text()
        cls.shown = words(groff(cls.page, "-Tascii", "-P-cbou")[0])

    def test_it_is_formatted_without_a_warning(self):
        self.assertEqual(groff(self.page, "-z", "-Tutf8")[1], "")

    def test_it_is_the_page_of_the_program_as_it_is_now(self):
        made = subprocess.run([SCRIPT, PROGRAM], capture_output=True, text=True, check=True)
        self.assertEqual(self.page, made.stdout)

    def test_it_has_every_subcommand_and_every_line_of_its_help(self):
        pages = help_texts.pages(PROGRAM)
        self.assertGreater(len(pages), 1)
        for path, text in pages.items():
            if path:
                self.assertIn(" ".join(["servicemux", *path]), self.shown)
            _, _, told = text.partition("Usage: ")
            for line in told.splitlines():
                with self.subTest(path=path, line=line):
                    self.assertIn(words(line).strip(), self.shown)


class OfAnyProgram(unittest.TestCase):
    HELP = r"""Does things. And \more.
Usage: any-thing [OPTIONS]

Options:
  --with-a-name-too-long-for-the-column TEXT
                              .dotted description with a \backslash
  -x                          'quoted' and - dashed

.Last words.
"""

    def test_what_roff_would_take_for_itself_comes_out_as_it_is(self):
        with tempfile.TemporaryDirectory() as directory:
            program = Path(directory) / "any-thing"
            version = "[ $1 = --help ] || exec echo 'any-thing 1.0'"
            program.write_text(f"#!/bin/sh\n{version}\ncat <<'END'\n{self.HELP}END\n")
            program.chmod(0o755)
            page = subprocess.run([SCRIPT, program], capture_output=True, text=True, check=True).stdout
        shown, warnings = groff(page, "-Tascii", "-P-cbou")
        self.assertEqual(warnings, "")
        for piece in (
            r"does things. And \more",
            r"--with-a-name-too-long-for-the-column TEXT .dotted description with a \backslash",
            "-x 'quoted' and - dashed",
            ".Last words.",
        ):
            self.assertIn(piece, words(shown))


if __name__ == "__main__":
    unittest.main()
