#!/usr/bin/python3
"""Checks that the project's version stands in one place: version_test.py PROJECT_FOLDER."""

import re
import subprocess
import sys
import unittest
from pathlib import Path

root = Path(sys.argv.pop(1)) if len(sys.argv) > 1 else None


class VersionTest(unittest.TestCase):
    def test_only_the_project_and_its_history_say_it(self):
        project = (root / "CMakeLists.txt").read_text(encoding="utf-8")
        version = re.search(r"(?m)^project\(CaptureService VERSION (\S+) ", project)[1]
        pattern = re.compile(rb"(?<![\d.])" + re.escape(version.encode()) + rb"(?![\d.])")
        names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others",
                                "--exclude-standard"], cwd=root, check=True, capture_output=True,
                               text=True).stdout.split("\0")
        files = [root / name for name in names if (root / name).is_file()]
        self.assertEqual({str(file.relative_to(root)) for file in files
                          if pattern.search(file.read_bytes())},
                         {"CMakeLists.txt", "CHANGELOG.md"})


if __name__ == "__main__":
    if root is None:
        sys.exit(__doc__)
    unittest.main(verbosity=2)
