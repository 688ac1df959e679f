#!/usr/bin/python3
"""Runs clang-tidy over the project's sources as build trees compile them, on all processors. A file
that was clean and has not changed since, nor anything that it includes, is left out.

    clang_tidy.py BUILD_TREE ... [--only FILE ...]

Runs in the project's folder. A file that several trees compile is looked at in the first of them.
The trees should be built: what a file includes is what Ninja saw then.
"""

import argparse
import functools
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

root = Path.cwd().resolve()
# Not the project's own.
OUTSIDE = (root / "build", root / ".deps")
# Clang 14 has no std::source_location, so what includes this is left to the compilers.
UNREADABLE = root / "platform" / "windows_failure.h"


def is_own(path):
    return root in path.parents and not any(folder in path.parents for folder in OUTSIDE)


@functools.cache
def digest(path):
    return hashlib.sha256(path.read_bytes()).hexdigest() if path.is_file() else ""


@functools.cache
def linter_version():
    return subprocess.run(["clang-tidy", "--version"], capture_output=True, text=True).stdout


@functools.cache
def configurations(folder):
    """The files that say what is checked in a folder."""
    return [up / ".clang-tidy" for up in (folder, *folder.parents) if root in (up, *up.parents)]


@functools.cache
def cross_options(compiler):
    """What makes Clang see Windows and the headers of a mingw compiler."""
    name = Path(compiler).name
    if "mingw32" not in name:
        return []
    shown = subprocess.run([compiler, "-xc++", "-E", "-v", "/dev/null"], capture_output=True,
                           text=True).stderr
    folders = re.search(r"#include <\.\.\.> search starts here:\n(.*?)End of", shown, re.S)[1]
    # Clang brings the compiler's own headers itself.
    folders = [os.path.normpath(line.strip()) for line in folders.splitlines()]
    return ["--target=x86_64-w64-windows-gnu"] + [
        f"-isystem{folder}" for folder in folders
        if "/lib/gcc/" not in folder or "/c++" in folder]


class Unit:
    """One file as one build tree compiles it."""

    def __init__(self, tree, entry, includes):
        self.tree = tree
        self.path = Path(entry["file"])
        self.name = str(self.path.relative_to(root))
        words = shlex.split(entry["command"])
        # What comes before the first option: the compiler, perhaps with a launcher before it.
        compiler = next(words[i - 1] for i, word in enumerate(words) if word.startswith("-"))
        self.options = cross_options(compiler)
        self.includes = includes
        self.stamp = root / "build" / "lint" / f"{self.name}.clean"
        self.key = self.find_key(entry["command"])

    def find_key(self, command):
        if self.includes is None:
            return None
        seen = hashlib.sha256()
        for text in (linter_version(), command, *self.options):
            seen.update(text.encode())
        for path in sorted({self.path, *self.includes, *configurations(self.path.parent)}):
            seen.update(f"{path} {digest(path)}\n".encode())
        return seen.hexdigest()

    def was_clean(self):
        return self.key is not None and self.stamp.is_file() and self.stamp.read_text() == self.key

    def check(self, headers):
        """What clang-tidy says; empty when the file is clean."""
        done = subprocess.run(
            ["clang-tidy", "--quiet", "-p", self.tree, f"--header-filter={headers}",
             *(f"--extra-arg={option}" for option in self.options), self.path],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        said = re.sub(r"^\d+ warnings?( and \d+ errors?)? generated\.\n", "", done.stdout, flags=re.M)
        if done.returncode != 0:
            return said or f"clang-tidy ended with status {done.returncode}.\n"
        if self.key is not None:
            self.stamp.parent.mkdir(parents=True, exist_ok=True)
            self.stamp.write_text(self.key)
        return said


def included(tree):
    """The project's files that each object of a tree was made of, by the object's path."""
    shown = subprocess.run(["ninja", "-C", tree, "-t", "deps"], capture_output=True, text=True)
    found, current = {}, None
    for line in shown.stdout.splitlines():
        if line.startswith("    "):
            path = Path(os.path.normpath(root / tree / line.strip()))
            if root in path.parents:
                current.append(path)
        elif ": #deps " in line:
            current = found.setdefault(line.split(": #deps ")[0], [])
    return found


def units_of(trees):
    units = {}
    for tree in trees:
        commands = Path(tree) / "compile_commands.json"
        if not commands.is_file():
            sys.exit(f"lint: there is no {commands}: configure and build the preset first.")
        known = included(tree)
        for entry in json.loads(commands.read_text()):
            path = Path(entry["file"])
            # A resource, which is not C++, has no such name.
            if path in units or not is_own(path) or path.suffix not in (".c", ".cpp"):
                continue
            words = shlex.split(entry["command"])
            includes = known.get(words[words.index("-o") + 1])
            if includes is None or UNREADABLE not in includes:
                units[path] = Unit(tree, entry, includes)
    return list(units.values())


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("trees", nargs="+")
    parser.add_argument("--only", nargs="*")
    arguments = parser.parse_args()
    units = units_of(arguments.trees)
    folders = "|".join(sorted({unit.name.split("/")[0] for unit in units if "/" in unit.name}))
    headers = f"/({folders})/.*\\.h$"
    if arguments.only:
        unknown = set(arguments.only) - {unit.name for unit in units}
        if unknown:
            sys.exit(f"lint: no file of {', '.join(arguments.trees)}: {', '.join(sorted(unknown))}")
        units = [unit for unit in units if unit.name in arguments.only]
    changed = [unit for unit in units if not unit.was_clean()]
    bad = 0
    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for number, (unit, said) in enumerate(
                zip(changed, pool.map(lambda unit: unit.check(headers), changed)), 1):
            if sys.stdout.isatty():
                print(f"\r\033[K{number} of {len(changed)}: {unit.name}", end="\r", flush=True)
            if said:
                bad += 1
                print(said, end="", flush=True)
    print(f"clang-tidy: {len(changed)} of {len(units)} files have changed; {bad} of them not clean.")
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
