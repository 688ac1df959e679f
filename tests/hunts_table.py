#!/usr/bin/env python3
"""Prints one table of the hunts among the tests of a run: what each did, and how it ended.

    hunts_table.py RESULTS.xml    what ctest --output-junit wrote

A hunt is a test whose name begins with "hunt.", or with "fuzz." and goes on like a file's name: the
build tree of the fuzz targets has unit tests as well. It says what it did in lines that begin with
"hunt: "; what libFuzzer and Valgrind say is taken from their own last lines.
"""
import re
import sys
import textwrap
import xml.etree.ElementTree as ElementTree

WIDTH = 70


def story_of(output):
    story = re.findall(r"^hunt: (.*)$", output, re.MULTILINE)
    story += [f"{runs} inputs in {seconds} s"
              for runs, seconds in re.findall(r"^Done (\d+) runs in (\d+) second", output, re.MULTILINE)]
    story += re.findall(r"ERROR SUMMARY: (\d+ errors from \d+ contexts)", output)
    return "; ".join(line.strip() for line in story) or "nothing was said"


def rows_of(path):
    for test in ElementTree.parse(path).getroot().iter("testcase"):
        if not re.fullmatch(r"hunt\.\w+|fuzz\.[a-z_]+", test.get("name")):
            continue
        result = {"run": "passed", "fail": "FAILED"}.get(test.get("status"), "not run")
        output = test.findtext("system-out") or ""
        yield test.get("name"), story_of(output), result, float(test.get("time") or 0)


def main():
    rows = sorted(rows_of(sys.argv[1]))
    if not rows:
        return
    print(f"\n{'Hunt':18} {'What was done':{WIDTH}} Result")
    for name, story, result, seconds in rows:
        first, *rest = textwrap.wrap(story, WIDTH)
        print(f"{name:18} {first:{WIDTH}} {result}, {seconds:.0f} s")
        for line in rest:
            print(f"{'':18} {line}")


if __name__ == "__main__":
    main()
