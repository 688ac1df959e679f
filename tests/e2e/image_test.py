#!/usr/bin/python3
"""The built service as a file: subsystem, protection flags, imports, resources.

    image_test.py OBJDUMP CaptureService.exe
"""

import re
import subprocess
import sys
import unittest

# What is loaded before the program begins. All other libraries of the system are bound late.
AT_START = {
    "advapi32.dll",
    "api-ms-win-core-shlwapi-legacy-l1-1-0.dll",
    "api-ms-win-shcore-obsolete-l1-1-0.dll",
    "kernel32.dll",
    "msvcrt.dll",
    "sentry.dll",
}


class ImageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.headers = subprocess.run(
            [objdump, "-p", program], check=True, capture_output=True, text=True
        ).stdout
        with open(program, "rb") as file:
            cls.content = file.read()

    def test_has_neither_console_nor_window_of_the_system(self):
        self.assertIn("(Windows GUI)", self.headers)

    def test_is_protected(self):
        for flag in ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"):
            self.assertRegex(self.headers, rf"(?m)^\s+{flag}$")

    def test_loads_only_what_its_start_needs_and_the_reporting_sdk(self):
        imports = {name.lower() for name in re.findall(r"DLL Name: (\S+)", self.headers)}
        self.assertEqual(imports, AT_START)

    def test_carries_its_version(self):
        self.assertIn("VS_VERSION_INFO".encode("utf-16-le"), self.content)
        self.assertIn("CaptureService.exe".encode("utf-16-le"), self.content)

    def test_carries_its_manifest(self):
        for text in (
            b'level="asInvoker"',
            b"PerMonitorV2, PerMonitor</dpiAwareness>",
            b"UTF-8</activeCodePage>",
            b"{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}",
        ):
            self.assertIn(text, self.content)


if __name__ == "__main__":
    objdump, program = sys.argv[1:3]
    unittest.main(argv=sys.argv[:1])
