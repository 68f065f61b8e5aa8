#!/usr/bin/env python3
"""check_hardening.py FILE...: every program and library among the files, and within the packages (*.deb) among them,
has Debian's hardening: position-independent, all relocations read-only and made at the start, stack protector,
fortified functions."""
import pathlib
import re
import subprocess
import sys
import tempfile

GOOD = {
    "Position Independent Executable": r"yes|no, regular shared library \(ignored\)",
    "Stack protected": r"yes",
    "Read-only relocations": r"yes",
    "Immediate binding": r"yes",
}
FORTIFIED = "Fortify Source functions"
# The compiler always takes the guarded form of these. Whether it guards the other ones, memcpy for example, depends on
# what it knows of the buffer: if it knows that the call is safe, or knows nothing, it takes the plain form.
ALWAYS_GUARDED = {"asprintf", "dprintf", "fprintf", "printf", "syslog", "vasprintf", "vdprintf", "vfprintf", "vprintf",
                  "vsyslog"}


def is_elf(path):
    if path.is_symlink() or not path.is_file():
        return False
    with path.open("rb") as file:
        return file.read(4) == b"\x7fELF"


def faults_of(path):
    """What the file lacks, in words."""
    # The status is 1 when anything is missing, also where that is no fault here.
    run = subprocess.run(["hardening-check", "--verbose", path], text=True, stdout=subprocess.PIPE, check=False)
    found = dict(re.findall(r"^ (\S[^:]*): ?(.*)$", run.stdout, re.MULTILINE))
    faults = [f"{name}: {found.get(name, 'not told')}" for name, good in GOOD.items()
              if not re.match(good, found.get(name, "not told"))]
    plain = ALWAYS_GUARDED & set(re.findall(r"^\tunprotected: (\S+)$", run.stdout, re.MULTILINE))
    if FORTIFIED not in found or plain:
        faults.append(f"{FORTIFIED}: {', '.join(sorted(plain)) or 'not told'} not guarded")
    return faults


def check(paths, shown):
    """Prints the faults of all ELF files below the paths. \return their number, and that of the files"""
    faults = files = 0
    for path in sorted(path for top in paths for path in ([top] if top.is_file() else top.rglob("*")) if is_elf(path)):
        files += 1
        for fault in faults_of(path):
            faults += 1
            print(f"{shown(path)}: {fault}", file=sys.stderr)
    return faults, files


def check_package(package):
    with tempfile.TemporaryDirectory() as place:
        subprocess.run(["dpkg-deb", "--extract", package, place], check=True)
        return check([pathlib.Path(place)], lambda path: f"{package.name}: /{path.relative_to(place)}")


def main():
    if len(sys.argv) < 2 or sys.argv[1].startswith("-"):
        sys.exit(f"usage: {__doc__}")
    faults = files = 0
    for name in map(pathlib.Path, sys.argv[1:]):
        some = check_package(name) if name.suffix == ".deb" else check([name], str)
        faults += some[0]
        files += some[1]
    if faults or not files:
        sys.exit(f"hardening: {faults} faults in {files} files")
    print(f"hardening: {files} files are in order")


if __name__ == "__main__":
    main()
