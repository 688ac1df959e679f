"""The floors of the project: which folder may include what.

The list is the table under "Folders" in docs/architecture.md, read from there, so that the page and
the check cannot differ. A row gives a folder and what its files may include besides their own
folder's: folders that stand above it in the table, or single headers of such folders.
"""

import re
from pathlib import Path, PurePosixPath

SOURCES = {".c", ".cpp", ".h"}
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]+"([^"]+)"', re.MULTILINE)
ROW = re.compile(r"^\| `([a-z0-9_/]+)/` \|([^|]*)\|", re.MULTILINE)


def read_floors(page):
    """Folder to the folders and headers that it may include, in the order of the page's table."""
    table = page.split("## Folders", 1)[1].split("\n## ", 1)[0]
    return {
        folder: [name.rstrip("/") for name in re.findall(r"`([^`]+)`", allowed)]
        for folder, allowed in ROW.findall(table)
    }


def folder_of(path, floors):
    """The listed folder that holds the file, the innermost if several do; none if no one does."""
    parents = [str(parent) for parent in PurePosixPath(path).parents]
    return next((parent for parent in parents if parent in floors), None)


def check_list(floors):
    """A folder may only know what stands above it, so that folders cannot form a circle."""
    known = []
    for folder, allowed in floors.items():
        for name in allowed:
            if (folder_of(name, floors) or name) not in known and name not in known:
                yield f"the list lets {folder}/ include {name}, which does not stand above it"
        known.append(folder)


def check_includes(files, floors):
    """`files` is path to content. Yields a line for each include that is not allowed."""
    for path, content in files.items():
        folder = folder_of(path, floors)
        if folder is None:
            yield f"{path} stands in no folder of the list"
            continue
        for included in INCLUDE.findall(content):
            target = folder_of(included, floors)
            if included not in files:
                yield f"{path} includes {included}, which is no file of the project"
            elif target != folder and target not in floors[folder] and included not in floors[folder]:
                yield f"{path} includes {included}, which climbs: {folder}/ may not know it"


def check_circles(files):
    """Takes a header and its source for one file, which neither includes itself on the way round."""
    stem = lambda path: str(PurePosixPath(path).with_suffix(""))
    edges = {}
    for path, content in files.items():
        mine = edges.setdefault(stem(path), set())
        mine.update(stem(name) for name in INCLUDE.findall(content) if stem(name) != stem(path))

    done, walk = set(), []

    def visit(name):
        if name in walk:
            yield "circle: " + " -> ".join(walk[walk.index(name):] + [name])
            return
        if name in done:
            return
        walk.append(name)
        for included in sorted(edges.get(name, ())):
            yield from visit(included)
        walk.pop()
        done.add(name)

    for name in sorted(edges):
        yield from visit(name)


def read_files(root, names):
    return {
        name: (Path(root) / name).read_text(encoding="utf-8")
        for name in names
        if PurePosixPath(name).suffix in SOURCES and (Path(root) / name).exists()
    }
