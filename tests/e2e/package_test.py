#!/usr/bin/python3
"""Tries the package as its receiver does: unpacks it into an empty folder, examines it under Wine
with an empty prefix, builds the example against it, and records a clip with that.

    scripts/with_desktop --new-prefix --display 1280x720 --
        package_test.py PROJECT_FOLDER [UNITTEST_ARGUMENT ...]
"""

import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile
from pathlib import Path

LIMIT_S = 240
PROGRAMS = ["CaptureService.exe", "demo_game.exe", "gsdk.dll", "host_console.exe", "sentry.dll"]
TARGET = "x86_64-w64-mingw32"

root = None


def run(command, **options):
    done = subprocess.run(
        [str(part) for part in command],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        stdin=subprocess.DEVNULL,
        text=True,
        timeout=LIMIT_S,
        **options,
    )
    return done.returncode, done.stdout


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def build_id(program):
    """The build id of a program or of its symbols, as objdump shows it."""
    status, text = run([f"{TARGET}-objdump", "-p", program])
    assert status == 0, text
    lines = [line for line in text.splitlines() if "signature" in line.lower()]
    return lines[0].split("signature", 1)[1].split()[0] if lines else None


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.TemporaryDirectory(prefix="package test ")
        cls.addClassCleanup(cls.scratch.cleanup)
        folder = Path(cls.scratch.name)
        status, text = run([root / "scripts" / "package", "--no-build", folder / "zip"])
        assert status == 0, text
        archive = Path(text.splitlines()[-1])
        with zipfile.ZipFile(archive) as file:
            file.extractall(folder / "unpacked")
        (cls.package,) = (folder / "unpacked").iterdir()
        cls.name = archive.stem

    def wine(self, program, *arguments):
        return run([root / "scripts" / "wine", program, *arguments])

    def test_holds_what_is_shipped(self):
        found = {str(path.relative_to(self.package)) for path in self.package.rglob("*")}
        self.assertEqual(sorted(p for p in found if p.startswith("bin/")),
                         sorted(f"bin/{name}" for name in PROGRAMS))
        self.assertEqual(sorted(p for p in found if p.startswith("symbols/")),
                         sorted(f"symbols/{name}.debug" for name in PROGRAMS))
        for name in ["lib/libcapture_host.a", "include/capture_host/service.h",
                     "lib/cmake/capture_host/capture_host-config.cmake", "doc/README.md",
                     "doc/docs/licences.md", "doc/docs/protocol.md",
                     "doc/examples/minimal_host.cpp", "doc/notices/GPL-2.txt"]:
            self.assertIn(name, found)

    def test_notices_are_those_that_the_page_names(self):
        page = (root / "docs" / "licences.md").read_text(encoding="utf-8")
        notices = {path.name for path in (self.package / "doc" / "notices").iterdir()}
        self.assertEqual({name for name in notices if f"`{name}`" not in page}, set())
        self.assertGreaterEqual(len(notices), 6)

    def test_links_of_its_documents_lead_somewhere(self):
        for page in (self.package / "doc").glob("*.md"):
            links = re.findall(r"\]\(([^)#:]+)\)", page.read_text(encoding="utf-8"))
            self.assertEqual([link for link in links if not (page.parent / link).exists()], [],
                             page.name)

    def test_symbols_lie_apart_and_have_their_programs_build_id(self):
        for name in PROGRAMS:
            program = self.package / "bin" / name
            status, text = run([f"{TARGET}-nm", program])
            self.assertIn("no symbols", text, name)
            identity = build_id(program)
            self.assertIsNotNone(identity, name)
            debug = self.package / "symbols" / f"{name}.debug"
            self.assertEqual(build_id(debug), identity, name)
            status, text = run([f"{TARGET}-nm", debug])
            self.assertGreater(len(text.splitlines()), 100, name)

    def test_symbols_name_the_line_of_an_address(self):
        """The first line of a function that each program has, by its name there."""
        for program, symbol, file, begin in [
            ("CaptureService.exe", "wWinMain", "service/main.cpp", "int WINAPI wWinMain("),
            ("gsdk.dll", "gsdk_session_create", "open_gsdk/api/session_entry_points.cpp",
             "bool gsdk_session_create("),
        ]:
            debug = self.package / "symbols" / f"{program}.debug"
            _, text = run([f"{TARGET}-nm", debug])
            (address,) = [line.split()[0] for line in text.splitlines()
                          if line.endswith(f" T {symbol}")]
            status, text = run([f"{TARGET}-addr2line", "-e", debug, address])
            self.assertEqual(status, 0, text)
            lines = (root / file).read_text(encoding="utf-8").splitlines()
            (number,) = [n for n, line in enumerate(lines, 1) if line.startswith(begin)]
            named, found = text.strip().rsplit(":", 1)
            self.assertTrue(named.endswith(file) and not named.startswith("/"), text)
            # A definition may take several lines before its brace.
            self.assertIn(int(found), range(number, number + 6), text)

    def test_versions_are_the_packages(self):
        version = self.name.split("-")[1]
        for name in PROGRAMS:
            _, text = run([f"{TARGET}-objdump", "-s", "-j", ".rsrc", self.package / "bin" / name])
            # VS_FIXEDFILEINFO: a mark, its own version, and the file's version as four numbers.
            data = b"".join(bytes.fromhex("".join(line[1:].split(" ", 1)[1][:35].split()))
                            for line in text.splitlines() if line.startswith(" "))
            start = data.index(bytes.fromhex("bd04effe")) + 8
            low, high, last, build = (
                int.from_bytes(data[start + i : start + i + 2], "little") for i in (0, 2, 4, 6))
            self.assertEqual(f"{high}.{low}.{build}.{last}", f"{version}.0", name)
            self.assertIn(f"CaptureService-{version}-windows-x64", self.name)

    def build_example(self, folder):
        """Builds the packaged example against the packaged library, as the packaged page says."""
        source = folder / "example"
        source.mkdir()
        shutil.copy(self.package / "doc" / "examples" / "minimal_host.cpp", source)
        page = (self.package / "doc" / "docs" / "protocol.md").read_text(encoding="utf-8")
        (project,) = re.findall(r"```cmake\n(.*?)```", page, re.DOTALL)
        (source / "CMakeLists.txt").write_text(project)
        status, text = run(
            ["cmake", "-S", source, "-B", source / "build", "-G", "Ninja",
             "-DCMAKE_SYSTEM_NAME=Windows", f"-DCMAKE_CXX_COMPILER={TARGET}-g++-posix",
             f"-DCMAKE_PREFIX_PATH={self.package}"])
        self.assertEqual(status, 0, text)
        status, text = run(["cmake", "--build", source / "build"])
        self.assertEqual(status, 0, text)
        return source / "build" / "my_host.exe"

    def test_records_a_clip_with_the_example(self):
        folder = Path(tempfile.mkdtemp(dir=self.scratch.name))
        example = self.build_example(folder)
        binaries = self.package / "bin"

        game = subprocess.Popen(
            [root / "scripts" / "wine", binaries / "demo_game.exe", "--size", "640x360",
             "--fps", "30"],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
            text=True)
        self.addCleanup(game.stdout.close)
        self.addCleanup(game.wait)
        self.addCleanup(game.kill)
        # Before, it may say that there is nothing to play its sound on.
        self.assertIn("The window is open.\n", iter(game.stdout.readline, ""))

        for name in ["host_console", "demo_game"]:
            status, text = self.wine(binaries / f"{name}.exe", "--version")
            self.assertEqual(status, 0, text)
            self.assertEqual(text.strip(), f"{name} {self.name.split('-')[1]}")

        # The doctor finds nothing wrong, and the game among the windows.
        report = folder / "report.json"
        with open(report, "w", encoding="utf-8") as output:
            done = subprocess.run(
                [root / "scripts" / "wine", binaries / "host_console.exe", "doctor", "--json"],
                stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.DEVNULL,
                timeout=LIMIT_S)
        text = report.read_text(encoding="utf-8")
        self.assertEqual(done.returncode, 0, text)
        findings = {f["subject"]: f for f in json.loads(text)["findings"]}
        self.assertEqual(findings["sentry.dll"]["text"],
                         "The project's own: reports go to a folder and nowhere else.")
        self.assertIn("all 34 entry points", findings["gsdk.dll"]["text"])
        self.assertIn("video encoder", findings["trial recording"]["text"])
        self.assertIn("pictures by ", findings["trial recording"]["text"])
        windows = [json.loads(line) for line in findings["windows"]["text"].splitlines()[1:]]
        (pid,) = {w["value"]["pid"] for w in windows if w["value"]["title"] == "Demo Game"}

        clip = folder / "clip.mp4"
        status, text = self.wine(example, windows_path(binaries / "CaptureService.exe"), str(pid),
                                 windows_path(clip))
        self.assertEqual(status, 0, text)
        status, text = run(
            ["ffprobe", "-v", "error", "-show_entries", "stream=codec_name,width,height", "-of",
             "json", clip])
        self.assertEqual(status, 0, text)
        video, audio = json.loads(text)["streams"]
        self.assertEqual((video["codec_name"], video["width"], video["height"]),
                         ("h264", 640, 360))
        self.assertEqual(audio["codec_name"], "aac")

    def report(self, zip_file, *options):
        """Runs the report command; its status and the lines of its standard output."""
        output = zip_file.with_suffix(".output")
        with open(output, "w", encoding="utf-8") as stream:
            done = subprocess.run(
                [root / "scripts" / "wine", self.package / "bin" / "host_console.exe", "report",
                 windows_path(zip_file), *options],
                stdin=subprocess.DEVNULL, stdout=stream, stderr=subprocess.DEVNULL,
                timeout=LIMIT_S)
        return done.returncode, output.read_text(encoding="utf-8").splitlines()

    def test_packs_a_report_for_support(self):
        folder = Path(tempfile.mkdtemp(dir=self.scratch.name, prefix="ä b"))
        reports = Path(os.environ["WINEPREFIX"], "drive_c/ProgramData/Orvane/Orvane Daskel 3",
                       "sentry-db")
        reports.mkdir(parents=True)
        # What another SDK keeps there is nobody's business.
        (reports / "memory.dmp").write_text("secret")

        first = folder / "first.zip"
        status, lines = self.report(first)
        self.assertEqual((status, lines),
                         (0, ["about.txt", "doctor.txt", "doctor.json",
                              "Look through it before you pass it on: it names windows, devices,"
                              " folders and people.", windows_path(first)]))
        with zipfile.ZipFile(first) as file:
            self.assertEqual(file.namelist(), ["about.txt", "doctor.txt", "doctor.json"])
            findings = json.loads(file.read("doctor.json"))
            self.assertEqual(findings["well"], True, findings)
            text = file.read("doctor.txt").decode()
            self.assertTrue(text.startswith("ok       CaptureService.exe: "), text)
            self.assertTrue(text.endswith("All is well.\n"), text)
            about = file.read("about.txt").decode()
            self.assertRegex(about, "^A report for support, made by host_console "
                             + re.escape(self.name.split("-")[1])
                             + r" on \d{4}-\d\d-\d\d \d\d:\d\d:\d\d UTC\.\n\ndoctor\.txt ")
            self.assertIn("There is no journal: it is packed when it is named with --journal.\n"
                          "The local sentry.dll has written nothing down on this machine.\n", about)

        journal = folder / "journal"
        journal.write_text('{"direction": "in", "time": 0, "text": "ü"}\n', encoding="utf-8")
        (reports / "journal.jsonl").write_text('{"type": "init"}\n')
        (self.package / "bin" / "gsdk.dll").rename(folder / "gsdk.dll")
        second = folder / "second.zip"
        try:
            status, lines = self.report(second, "--journal", windows_path(journal), "--json")
        finally:
            (folder / "gsdk.dll").rename(self.package / "bin" / "gsdk.dll")
        members = ["about.txt", "doctor.txt", "doctor.json", "journal.jsonl",
                   "reports/journal.jsonl"]
        self.assertEqual((status, [json.loads(line) for line in lines]),
                         (0, [{"zip": windows_path(second), "members": members, "well": False}]))
        with zipfile.ZipFile(second) as file:
            self.assertIsNone(file.testzip())
            self.assertEqual(file.namelist(), members)
            self.assertEqual(file.read("journal.jsonl"), journal.read_bytes())
            self.assertEqual(file.read("reports/journal.jsonl"), b'{"type": "init"}\n')
            problems = [f["subject"] for f in json.loads(file.read("doctor.json"))["findings"]
                        if f["kind"] == "problem"]
            self.assertEqual(problems, ["gsdk.dll"])
            self.assertIn("\njournal.jsonl          every message", file.read("about.txt").decode())

        # Nothing is written over, and the doctor is not kept waiting for.
        before = second.read_bytes()
        status, lines = self.report(second, "--json")
        (line,) = [json.loads(line) for line in lines]
        self.assertEqual((status, line["kind"], line["text"]),
                         (1, "failure",
                          f"There is a {windows_path(second)} already. Name a new file."))
        self.assertEqual(second.read_bytes(), before)
        third = folder / "third.zip"
        status, lines = self.report(third, "--json", "--journal", windows_path(folder / "none"))
        (line,) = [json.loads(line) for line in lines]
        self.assertEqual((status, line["text"]),
                         (1, f"Cannot read the journal {windows_path(folder / 'none')}."
                             " Look at its path."))
        self.assertFalse(third.exists())


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    root = Path(sys.argv.pop(1)).resolve()
    unittest.main(verbosity=2)
