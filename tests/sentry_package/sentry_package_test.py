"""Checks that the project builds where CMake finds the error-reporting SDK, with a stand-in for its
package: configures all of it in a build tree of its own, compiles there every source that meets the
SDK, and looks whether the SDK's import library has what these import. No other source sees a
difference, and the only library that calls the SDK is diagnostics.

    sentry_package_test.py PROJECT_FOLDER BUILD_TREE PACKAGE_FOLDER IMPORT_LIBRARY TOOLCHAIN_FILE NM
"""

import json
import re
import shlex
import subprocess
import sys
import unittest
from pathlib import Path

project, tree, package, import_library, toolchain, nm = map(Path, sys.argv[1:7])
SDK = "diagnostics/sentry_sdk.h"
# Their libraries are linked into the service, which gets the SDK.
CALLERS = ["diagnostics/error_reporting.cpp", "diagnostics/logging.cpp"]


def run(*command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    assert done.returncode == 0, done.stdout
    return done.stdout


def that_meet_the_sdk(sources):
    """Those of the sources that include the SDK, or a header of the project that does."""
    known = {}

    def meets(name):
        if name not in known:
            known[name] = False  # In a circle it is found by another way.
            path = project / name
            text = path.read_text(encoding="utf-8") if path.is_file() else ""
            names = re.findall(r'^#include "(.*)"', text, re.M)
            known[name] = SDK in names or any(meets(included) for included in names)
        return known[name]

    return [name for name in sources if meets(name)]


def symbols(kind, *files):
    return set(re.findall(r"(?m) (\w*sentry_\w+)$", run(nm, kind, *files)))


class SentryPackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.said = run("cmake", "-S", project, "-B", tree, "-G", "Ninja",
                       f"-DCMAKE_TOOLCHAIN_FILE={toolchain}", "-DCMAKE_BUILD_TYPE=Debug",
                       f"-DCMAKE_PREFIX_PATH={package}", "-DCMAKE_REQUIRE_FIND_PACKAGE_sentry=ON",
                       "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON")
        cls.commands = {}
        for entry in json.loads((tree / "compile_commands.json").read_text()):
            path = Path(entry["file"])
            if project in path.parents and path.suffix == ".cpp":
                cls.commands[str(path.relative_to(project))] = shlex.split(entry["command"])
        cls.sources = that_meet_the_sdk(cls.commands)

    def test_1_finds_the_package(self):
        self.assertIn(f"The error-reporting SDK: {package}", self.said)
        self.assertEqual([name for name in self.sources
                          if "-DCAPTURE_SERVICE_HAS_SENTRY_SDK" in self.commands[name]], CALLERS)

    def test_2_every_source_that_meets_the_sdk_compiles(self):
        self.assertTrue({"local_sentry/local_sentry.cpp", "tests/doubles/recording_sentry.cpp",
                         "tests/windows/local_sentry_test.cpp"} < set(self.sources), self.sources)
        objects = [self.object_of(name) for name in self.sources]
        run("cmake", "--build", tree, "--target", *objects)

    def test_3_the_import_library_has_what_they_call(self):
        wanted = symbols("--undefined-only", *(tree / self.object_of(name) for name in CALLERS))
        self.assertGreater(len(wanted), 15)
        # With that prefix a function is called as a DLL's.
        self.assertEqual([name for name in wanted if not name.startswith("__imp_sentry_")], [])
        self.assertEqual(wanted - symbols("--defined-only", import_library), set())

    def object_of(self, name):
        command = self.commands[name]
        return command[command.index("-o") + 1]


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[7:], verbosity=2)
