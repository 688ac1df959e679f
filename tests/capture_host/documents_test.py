#!/usr/bin/python3
"""Checks that docs/protocol.md shows the example as it is, and that nothing but the host library
creates a host's pipe.

    documents_test.py PROJECT_FOLDER
"""

import re
import sys
import unittest
from pathlib import Path

root = Path(sys.argv.pop(1)) if len(sys.argv) > 1 else None

# The service's own end of the pipe is tested piece by piece.
MAY_CREATE_PIPES = {
    "capture_host/host_pipe.cpp",
    "tests/capture_host/service_test.cpp",
    "tests/windows/pipe_channel_test.cpp",
    "tests/windows/pipe_operation_test.cpp",
}
FOLDERS = ["bench", "capture_host", "examples", "service", "tests", "tools"]


class DocumentsTest(unittest.TestCase):
    def test_the_page_shows_the_example_as_it_is(self):
        page = (root / "docs" / "protocol.md").read_text(encoding="utf-8")
        example = (root / "examples" / "minimal_host.cpp").read_text(encoding="utf-8")
        self.assertEqual(re.findall(r"```cpp\n(.*?)```", page, re.DOTALL), [example])

    def test_the_example_stays_short(self):
        example = (root / "examples" / "minimal_host.cpp").read_text(encoding="utf-8")
        self.assertLessEqual(len(example.splitlines()), 60)

    def test_only_the_host_library_creates_pipes(self):
        found = {
            str(path.relative_to(root))
            for folder in FOLDERS
            for path in (root / folder).rglob("*.cpp")
            if "CreateNamedPipe" in path.read_text(encoding="utf-8")
        }
        self.assertEqual(found, MAY_CREATE_PIPES)


if __name__ == "__main__":
    if root is None:
        sys.exit(__doc__)
    unittest.main(verbosity=2)
