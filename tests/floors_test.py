"""Holds the project's includes against its list of floors: floors_test.py SOURCE_FOLDER."""

import subprocess
import sys
import unittest
from pathlib import Path

import floors

ROOT = Path(sys.argv.pop(1)) if len(sys.argv) > 1 else Path(__file__).parent.parent
LIST = {"ground": [], "first": ["ground"], "first/room": ["first"], "roof": ["ground", "first/a.h"]}


class Project(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        page = (ROOT / "docs" / "architecture.md").read_text(encoding="utf-8")
        cls.floors = floors.read_floors(page)
        names = subprocess.run(
            ["git", "ls-files", "--cached", "--others", "--exclude-standard"],
            cwd=ROOT, check=True, capture_output=True, text=True).stdout.splitlines()
        cls.files = floors.read_files(ROOT, names)

    def test_the_service_has_six_floors(self):
        six = ["platform", "gsdk", "protocol", "diagnostics", "recording", "service"]
        self.assertEqual(list(self.floors)[:6], six)
        for number, folder in enumerate(six):
            self.assertEqual(self.floors[folder], six[:number], folder)

    def test_the_list_only_looks_up_the_page(self):
        self.assertEqual(list(floors.check_list(self.floors)), [])

    def test_every_listed_folder_has_sources(self):
        with_sources = {floors.folder_of(path, self.floors) for path in self.files}
        self.assertEqual(set(self.floors) - with_sources, set())

    def test_no_include_climbs(self):
        self.assertEqual(list(floors.check_includes(self.files, self.floors)), [])

    def test_no_files_form_a_circle(self):
        self.assertEqual(list(floors.check_circles(self.files)), [])


class Rules(unittest.TestCase):
    def test_the_table_is_read_from_the_page(self):
        page = ("# A\n\n## Folders\n\n| Folder | May include | x |\n|---|---|---|\n"
                "| `ground/` | | Soil |\n| `roof/` | `ground/`, `first/a.h` | Tiles |\n"
                "\n## Next\n| `no/` | `roof/` | |\n")
        self.assertEqual(floors.read_floors(page), {"ground": [], "roof": ["ground", "first/a.h"]})

    def test_a_folder_that_knows_one_below_it_in_the_list_is_told(self):
        self.assertEqual(
            list(floors.check_list({"ground": ["first"], "first": ["ground"]})),
            ["the list lets ground/ include first, which does not stand above it"])
        self.assertEqual(list(floors.check_list(LIST)), [])

    def test_an_include_that_climbs_is_told(self):
        files = {"ground/a.cpp": '#include "first/a.h"\n', "first/a.h": "", "first/b.h": "",
                 "roof/a.cpp": '#include "first/a.h"\n  # include "first/b.h"\n'}
        self.assertEqual(
            list(floors.check_includes(files, LIST)),
            ["ground/a.cpp includes first/a.h, which climbs: ground/ may not know it",
             "roof/a.cpp includes first/b.h, which climbs: roof/ may not know it"])

    def test_a_room_is_a_folder_of_its_own(self):
        files = {"first/a.cpp": '#include "first/room/a.h"\n', "first/a.h": "",
                 "first/room/a.h": '#include "first/a.h"\n'}
        self.assertEqual(
            list(floors.check_includes(files, LIST)),
            ["first/a.cpp includes first/room/a.h, which climbs: first/ may not know it"])

    def test_a_file_outside_the_list_is_told(self):
        files = {"cellar/a.cpp": "", "a.cpp": ""}
        self.assertEqual(
            list(floors.check_includes(files, LIST)),
            ["cellar/a.cpp stands in no folder of the list", "a.cpp stands in no folder of the list"])

    def test_an_include_of_no_file_is_told(self):
        self.assertEqual(
            list(floors.check_includes({"first/a.cpp": '#include "ground/gone.h"'}, LIST)),
            ["first/a.cpp includes ground/gone.h, which is no file of the project"])

    def test_a_circle_of_files_is_told_also_through_their_sources(self):
        files = {"first/a.h": "", "first/a.cpp": '#include "first/a.h"\n#include "first/b.h"\n',
                 "first/b.h": '#include "first/c.h"\n', "first/c.h": "",
                 "first/c.cpp": '#include "first/a.h"\n'}
        self.assertEqual(list(floors.check_circles(files)),
                         ["circle: first/a -> first/b -> first/c -> first/a"])
        del files["first/c.cpp"]
        self.assertEqual(list(floors.check_circles(files)), [])


if __name__ == "__main__":
    unittest.main()
