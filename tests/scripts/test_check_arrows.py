"""The include arrows of a small tree made for the test."""

import importlib.util
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-arrows.py"
spec = importlib.util.spec_from_file_location("check_arrows", SCRIPT)
check_arrows = importlib.util.module_from_spec(spec)
spec.loader.exec_module(check_arrows)

HOUSE = {
    "above": "programs/show\nprograms/read",
    "below": "library/front\nlibrary/left  library/right\nlibrary/ground\ninterface/idl",
    "surface": "library/front/door.h",
    "scaffold": "tests",
    "exceptions": "",
}
TREE = {
    "programs/show/main.cpp": '#include "programs/read/read.h"\n#include "library/front/door.h"\n#include <vector>\n',
    "programs/read/read.h": "",
    "library/front/door.h": "",
    "library/front/door.cpp": '#include "library/front/door.h"\n#include "library/left/left.h"\n',
    "library/left/left.h": '#include "library/ground/ground.h"\n',
    "library/right/right.h": "",
    "library/ground/ground.h": '#include "records_types.h"\n',
    "interface/idl/records.thrift": 'include "other.thrift"\n',
    "interface/idl/other.thrift": "",
    "tests/left_test.cpp": '#include "library/left/left.h"\n#include "left.h"\n',
    "tests/left.h": "",
    "build/generated.h": '#include "library/front/door.h"\n',
}
PICTURE = """\
programs/show  -> programs/read  library/front
programs/read
---------------------------------------- the public surface ----------------------------------------
library/front  -> library/left
library/left   -> library/ground
library/right
library/ground -> interface/idl
interface/idl"""


class ArrowsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for path, text in TREE.items():
            self.write(path, text)

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text)

    def house(self, **changes):
        return check_arrows.House(self.root, **{**HOUSE, **changes})

    def problems(self, path, text, **changes):
        self.write(path, text)
        return self.house(**changes).problems

    def test_a_tree_in_order_gives_its_picture(self):
        house = self.house()
        self.assertEqual(house.problems, [])
        self.assertEqual(house.picture(), PICTURE)

    def test_an_arrow_back_up_is_named_with_its_line(self):
        self.assertEqual(self.problems("library/ground/low.cpp", '// why\n\n  #  include "library/left/left.h"\n'),
                         ['library/ground/low.cpp:3: library/ground -> library/left ("library/left/left.h") '
                          'runs back up'])

    def test_an_arrow_between_programs_runs_down_too(self):
        self.write("programs/show/show.h", "")
        self.assertEqual(self.problems("programs/read/read.cpp", '#include "programs/show/show.h"\n'),
                         ['programs/read/read.cpp:1: programs/read -> programs/show ("programs/show/show.h") '
                          'runs back up'])

    def test_rooms_of_one_floor_do_not_know_one_another(self):
        self.assertEqual(self.problems("library/right/right.cpp", '#include "library/left/left.h"\n'),
                         ['library/right/right.cpp:1: library/right -> library/left ("library/left/left.h") '
                          'runs sideways'])

    def test_programs_see_nothing_below_the_surface(self):
        self.assertEqual(self.problems("programs/read/read.cpp", '#include "library/left/left.h"\n'),
                         ['programs/read/read.cpp:1: programs/read -> library/left ("library/left/left.h") '
                          'reaches below the public surface'])

    def test_a_neighbour_of_a_public_header_is_not_public(self):
        self.write("library/front/inner.h", "")
        self.assertEqual(len(self.problems("programs/read/read.cpp", '#include "library/front/inner.h"\n')), 1)

    def test_nothing_leans_on_the_tests(self):
        self.assertEqual(self.problems("library/left/left.cpp", '#include "tests/left.h"\n'),
                         ['library/left/left.cpp:1: library/left -> tests ("tests/left.h") leans on the scaffold'])

    def test_angle_brackets_hide_no_arrow(self):
        self.assertEqual(len(self.problems("library/ground/low.cpp", "#include <library/left/left.h>\n")), 1)

    def test_a_path_that_climbs_hides_no_arrow(self):
        self.assertEqual(len(self.problems("library/ground/low.cpp", '#include "../left/left.h"\n')), 1)

    def test_a_file_outside_the_rooms_is_named(self):
        self.assertEqual(self.problems("library/new/new.cpp", '#include "library/ground/ground.h"\n'),
                         ["library/new/new.cpp: stands in no declared room"])

    def test_a_file_in_a_folder_of_a_room_is_outside_the_rooms(self):
        self.assertEqual(self.problems("library/left/deep/deep.h", ""),
                         ["library/left/deep/deep.h: stands in no declared room"])

    def test_a_header_that_is_nowhere_is_named(self):
        self.assertEqual(self.problems("library/left/left.cpp", '#include "gone.h"\n'),
                         ['library/left/left.cpp:1: library/left -> ?: "gone.h" stands in no declared room'])

    def test_an_exception_lets_one_include_through_and_shows_it(self):
        self.write("library/ground/other.cpp", '#include "library/left/left.h"\n')
        self.write("library/ground/low.cpp", '#include "library/left/left.h"\n')
        house = self.house(exceptions="library/ground/low.cpp  library/left/left.h")
        self.assertEqual([problem.split(":")[0] for problem in house.problems], ["library/ground/other.cpp"])
        self.assertIn("library/ground -> library/left*  interface/idl\n", house.picture())
        self.assertTrue(house.picture().endswith("\n* library/ground/low.cpp -> library/left/left.h"))

    def test_an_exception_for_nothing_is_named(self):
        self.assertEqual(self.house(exceptions="library/front/door.cpp library/left/left.h").problems,
                         ["library/front/door.cpp -> library/left/left.h: is excepted for nothing"])

    def test_a_room_without_files_is_named(self):
        self.assertEqual(self.house(below=HOUSE["below"] + "\nlibrary/cellar").problems,
                         ["library/cellar: is declared and has no file"])

    def test_the_exit_status_tells_of_a_problem(self):
        copy = self.root / "scripts" / SCRIPT.name
        self.write(copy, SCRIPT.read_text())
        wrong = subprocess.run([sys.executable, copy], capture_output=True, text=True, check=False)
        self.assertEqual(wrong.returncode, 1)
        self.assertIn("check-arrows: library/front/door.h: stands in no declared room\n", wrong.stderr)


if __name__ == "__main__":
    unittest.main()
