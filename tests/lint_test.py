#!/usr/bin/python3
"""Checks scripts/clang_tidy.py on a project of one header and two files.

    lint_test.py PROJECT_FOLDER
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

root = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None

FINDING = "use nullptr [modernize-use-nullptr,-warnings-as-errors]"


class LintTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory(prefix="lint test ")
        self.addCleanup(scratch.cleanup)
        self.project = Path(scratch.name)
        self.write(".clang-tidy", "Checks: '-*,modernize-use-nullptr'\nWarningsAsErrors: '*'\n")
        self.write("CMakeLists.txt",
                   "cmake_minimum_required(VERSION 3.25)\nproject(p LANGUAGES CXX)\n"
                   "add_library(p core/a.cpp tests/b.cpp)\n"
                   "target_include_directories(p PRIVATE .)\n")
        self.write("core/a.h", "inline int* None() { return nullptr; }\n")
        self.write("core/a.cpp", '#include "core/a.h"\nint* A() { return None(); }\n')
        self.write("tests/b.cpp", "int* B() { return nullptr; }\n")
        self.build()

    def write(self, name, text):
        path = self.project / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(text)

    def build(self):
        subprocess.run(
            "cmake -B build/x -G Ninja -DCMAKE_EXPORT_COMPILE_COMMANDS=ON && cmake --build build/x",
            shell=True, check=True, cwd=self.project, stdout=subprocess.DEVNULL)

    def lint(self, *arguments):
        """The status, and what was said."""
        done = subprocess.run(
            [sys.executable, "-B", root / "scripts" / "clang_tidy.py", "build/x", *arguments],
            cwd=self.project, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        return done.returncode, done.stdout

    def assert_says(self, said, changed, of, bad=0):
        self.assertEqual(
            said, (1 if bad else 0,
                   f"clang-tidy: {changed} of {of} files have changed; {bad} of them not clean.\n"))

    def test_looks_again_only_at_what_has_changed(self):
        self.assert_says(self.lint(), 2, 2)
        self.assert_says(self.lint(), 0, 2)
        self.write("core/a.h", "inline int* None() { return nullptr; }  // Changed.\n")
        self.assert_says(self.lint(), 1, 2)
        self.write(".clang-tidy", "Checks: '-*,modernize-use-override'\nWarningsAsErrors: '*'\n")
        self.assert_says(self.lint(), 2, 2)

    def test_shows_a_finding_in_a_test_or_a_header_until_it_is_mended(self):
        for name in ("tests/b.cpp", "core/a.h"):
            good = (self.project / name).read_text()
            self.write(name, good.replace("nullptr", "0"))
            for _ in range(2):
                status, said = self.lint()
                self.assertEqual(status, 1, name)
                self.assertIn(FINDING, said)
                self.assertTrue(said.endswith("; 1 of them not clean.\n"), said)
            self.write(name, good)
            self.assertEqual(self.lint()[0], 0)

    def test_shows_what_the_linter_says_about_itself(self):
        self.write(".clang-tidy", "Checks: [\n")
        status, said = self.lint()
        self.assertEqual(status, 1)
        self.assertIn("Error parsing", said)

    def test_looks_at_one_file_when_told_so(self):
        self.assert_says(self.lint("--only", "tests/b.cpp"), 1, 1)
        self.assertEqual(self.lint("--only", "core/a.h"),
                         (1, "lint: no file of build/x: core/a.h\n"))

    def test_needs_a_tree(self):
        (self.project / "build/x/compile_commands.json").unlink()
        self.assertEqual(self.lint(), (1, "lint: there is no build/x/compile_commands.json: "
                                          "configure and build the preset first.\n"))


if __name__ == "__main__":
    if root is None:
        sys.exit(__doc__)
    unittest.main(verbosity=2)
