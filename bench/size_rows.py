"""How large the program is, and what takes it, from the linker's map."""

import collections
import os
import re
import subprocess

STRIP = "x86_64-w64-mingw32-strip"
# A section of the image, where it came from, and its size; long names have a line of their own.
PIECE = re.compile(r"^ \.(text|rdata|data|xdata|pdata|idata|rsrc|tls|CRT|ctors|dtors)\S*\s+"
                   r"0x[0-9a-f]+\s+0x([0-9a-f]+) (\S.*)$", re.M)


def stripped_size(program, scratch):
    copy = os.path.join(scratch, "stripped.exe")
    subprocess.run([STRIP, "--strip-all", "-o", copy, program], check=True)
    size = os.path.getsize(copy)
    os.remove(copy)
    return size


def sizes_by_source(path):
    with open(path, encoding="utf-8") as file:
        linked = file.read().split("Linker script and memory map", 1)[1]
    sizes = collections.Counter()
    for _, size, source in PIECE.findall(linked):
        library = re.match(r"(.*\.a)\(", source)
        sizes[os.path.basename(library[1]) if library else "objects"] += int(size, 16)
    return sizes


def measure(table, programs, linker_map, scratch):
    program = stripped_size(os.path.join(programs, "CaptureService.exe"), scratch)
    empty = stripped_size(os.path.join(programs, "empty_program.exe"), scratch)
    sizes = sizes_by_source(linker_map)
    largest = ", ".join(f"{name} {size / 1024:.0f}" for name, size in sizes.most_common(10))
    table.heading("Size, without symbols")
    table.add("the program", [program / 1024], unit=" KB", note=f"of which, in KB: {largest}")
    table.add("an empty program, linked alike", [empty / 1024], unit=" KB")
