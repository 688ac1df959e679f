"""Checks that a checkout works whose path has blanks and letters outside ASCII, for a user without
root: sets it up, builds a program in it and runs that. What scripts/setup has fetched and built for
this checkout is linked.

    checkout_test.py PROJECT_FOLDER FOLDER_FOR_FILES
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

LIMIT_S = 300
NOBODY = 65534

project, files = Path(sys.argv[1]).resolve(), Path(sys.argv[2]).resolve()


def copy_sources(folder):
    names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                           cwd=project, check=True, capture_output=True, text=True).stdout
    for name in filter(None, names.split("\0")):
        if (project / name).is_file():
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(project / name, folder / name)


def link_dependencies(folder):
    """All but the Wine prefix, which belongs to a user."""
    deps = folder / ".deps"
    shutil.copytree(project / ".deps" / "stamps", deps / "stamps",
                    ignore=shutil.ignore_patterns("prefix"))
    for name in ("ffmpeg7", "json11", "libzip", "wine10"):
        (deps / name).symlink_to((project / ".deps" / name).resolve())


class CheckoutTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory(dir=files, prefix="a b ü ")
        cls.addClassCleanup(scratch.cleanup)
        cls.root = Path(scratch.name) / "Aufnahme ©"
        cls.root.mkdir()
        copy_sources(cls.root)
        link_dependencies(cls.root)
        cls.as_user = []
        if os.geteuid() == 0:
            cls.as_user = ["setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}", "--clear-groups"]
            for folder, _, names in os.walk(scratch.name):
                for path in (folder, *(os.path.join(folder, name) for name in names)):
                    os.chown(path, NOBODY, NOBODY, follow_symlinks=False)

    def run_in_it(self, *command):
        environment = {"PATH": "/usr/local/bin:/usr/bin:/bin", "HOME": str(self.root),
                       "LC_ALL": "C.UTF-8"}
        done = subprocess.run([*self.as_user, *command], cwd=self.root, env=environment,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, timeout=LIMIT_S)
        return done.returncode, done.stdout

    def assert_run(self, expected, *command):
        self.assertEqual(self.run_in_it(*command), (0, expected))

    def test_1_is_set_up(self):
        self.assert_run("setup: creating the Wine prefix .deps/prefix\nsetup: ready\n",
                        "scripts/setup")
        self.assert_run("setup: ready\n", "scripts/setup")

    def test_2_builds_and_runs_a_program(self):
        for command in (["cmake", "--preset", "windows-x64", "-DBUILD_TESTING=OFF"],
                        ["cmake", "--build", "--preset", "windows-x64", "--target", "demo_game"]):
            status, text = self.run_in_it(*command)
            self.assertEqual(status, 0, text)
        version = re.search(r"(?m)^project\(CaptureService VERSION (\S+) ",
                            (project / "CMakeLists.txt").read_text(encoding="utf-8"))[1]
        self.assert_run(f"demo_game {version}\n", "scripts/with_desktop", "--display", "640x480",
                        "--", "scripts/wine", "build/windows-x64/bin/demo_game.exe", "--version")
        self.assertEqual([path.name for path in (self.root / "build").iterdir()], ["windows-x64"])

    def test_3_says_what_is_missing(self):
        self.assertEqual(
            self.run_in_it("scripts/run", "--no-build"),
            (1, f"run: {self.root}/build/windows-x64/bin/CaptureService.exe is missing: run"
                " scripts/run without --no-build.\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], verbosity=2)
