"""What docs/architecture.md says of the tree is what the tree is."""

import importlib.util
import pathlib
import re
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRIPT = ROOT / "scripts" / "check-arrows.py"
spec = importlib.util.spec_from_file_location("check_arrows", SCRIPT)
check_arrows = importlib.util.module_from_spec(spec)
spec.loader.exec_module(check_arrows)

PAGE = ROOT / "docs" / "architecture.md"
MARKS = "before\n<!-- made by scripts/check-arrows.py -->\n```\n{}```\n<!-- end -->\nbehind\n"


class ArchitectureTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.page = PAGE.read_text(encoding="utf-8")

    def test_the_picture_is_what_the_includes_say(self):
        shown = check_arrows.PLACE.search(self.page)[0]
        self.assertEqual(shown, check_arrows.House(ROOT).picture() + "\n",
                         "the tree has changed; remake it: scripts/check-arrows.py --write docs/architecture.md")

    def test_every_room_is_described(self):
        described = re.findall(r"^\| `([\w/]+)/` \| .", self.page, re.MULTILINE)
        self.assertEqual(described, list(check_arrows.House(ROOT).floor_of))

    def test_every_file_it_names_is_there(self):
        names = re.findall(r"`([\w./-]+/[\w./-]*)`", self.page)
        self.assertGreater(len(names), 20)
        self.assertEqual([name for name in names if not (ROOT / name).exists()], [])


class WithPictureTest(unittest.TestCase):
    def test_a_picture_takes_the_place_of_the_one_before_and_of_nothing_else(self):
        self.assertEqual(check_arrows.with_picture(MARKS.format("old\n\\1\n"), "new\\1\n* star"),
                         MARKS.format("new\\1\n* star\n"))

    def test_an_empty_place_is_filled(self):
        self.assertEqual(check_arrows.with_picture(MARKS.format(""), "new"), MARKS.format("new\n"))

    def test_a_page_without_one_place_is_refused(self):
        for page in ("no marks\n", 2 * MARKS.format("old\n")):
            with self.assertRaises(ValueError):
                check_arrows.with_picture(page, "new")


if __name__ == "__main__":
    unittest.main()
