#!/usr/bin/env python3
"""usage: check_layers.py TREE [TABLE]

Reads the includes of every source file of TREE and reports those that TABLE (TREE/tests/layers/layers.txt) does not
allow. Exit status: 0 when there is none, 1 otherwise."""

import pathlib
import re
import sys

INCLUDE = re.compile(r'^\s*#\s*include\s+["<]([^">]+)[">]', re.MULTILINE)
# Made by the build.
GENERATED = re.compile(r'(_export\.h|\.moc)$')
PRIVATE = re.compile(r'_p\.h$')
# What is built against the installed headers, which are never private.
OUTSIDE = ("tools", "examples")


def read_table(path):
    """The allowed places for each folder or file."""
    table = {}
    for number, line in enumerate(path.read_text().splitlines(), 1):
        line = line.split("#")[0].strip()
        if not line:
            continue
        name, colon, allowed = line.partition(":")
        if not colon or name in table:
            sys.exit(f"{path}:{number}: not \"FOLDER: FOLDERS\", or a second line for {name}")
        table[name] = allowed.split()
    return table


def lies_in(file, place):
    return file == place or file.startswith(place + "/")


def line_for(file, table):
    """The line that counts for a file: the longest name that fits."""
    fitting = [name for name in table if lies_in(file, name)]
    return max(fitting, key=len, default=None)


def resolve(name, includer, headers):
    """The header of the tree that is meant, or None for one of the system's."""
    beside = str(pathlib.PurePosixPath(includer).parent / name)
    if beside in headers:
        return beside
    found = [header for header in headers if header == name or header.endswith("/" + name)]
    # Each library and program comes first in its own list of include folders.
    own = [header for header in found if header.split("/")[0] == includer.split("/")[0]]
    found = own or found
    if len(found) > 1:
        sys.exit(f"{includer}: \"{name}\" could be any of {', '.join(sorted(found))}")
    return found[0] if found else None


def find_circles(table):
    """Lines that include each other, as messages."""
    folders = {name: [place for place in allowed if place in table] for name, allowed in table.items()}
    circles = []

    def walk(name, road):
        for below in folders[name]:
            if below in road:
                circles.append("layers in a circle: " + " -> ".join(road[road.index(below):] + [below]))
            else:
                walk(below, road + [below])

    for name in folders:
        walk(name, [name])
    return circles


def check(tree, table_path):
    table = read_table(table_path)
    problems = find_circles(table)
    for name in table:
        if not (tree / name).exists():
            problems.append(f"{table_path.name}: there is no {name}")
    files = sorted(path.relative_to(tree).as_posix() for top in {name.split("/")[0] for name in table}
                   for path in (tree / top).rglob("*") if path.suffix in (".h", ".cpp"))
    headers = {file for file in files if file.endswith(".h")}
    count = 0
    for file in files:
        own = line_for(file, table)
        if own is None:
            problems.append(f"{file}: no line of {table_path.name} is about it")
            continue
        for name in INCLUDE.findall((tree / file).read_text()):
            if GENERATED.search(name):
                continue
            header = resolve(name, file, headers)
            if header is None:
                continue
            count += 1
            is_own = line_for(header, table) == own
            if not is_own and not any(lies_in(header, place) for place in table[own]):
                problems.append(f"{file} includes {header}, which {own} may not")
            elif not is_own and PRIVATE.search(header) and own.split("/")[0] in OUTSIDE:
                problems.append(f"{file} includes {header}, which is not installed")
    if count == 0:
        problems.append(f"{tree}: no include of its own was found")
    return count, problems


def main(arguments):
    if not 1 <= len(arguments) <= 2 or arguments[0].startswith("-"):
        sys.exit(__doc__)
    tree = pathlib.Path(arguments[0])
    table_path = pathlib.Path(arguments[1]) if len(arguments) == 2 else tree / "tests/layers/layers.txt"
    count, problems = check(tree, table_path)
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"{count} includes of our own headers, {len(problems)} wrong")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
