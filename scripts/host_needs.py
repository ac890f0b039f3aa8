#!/usr/bin/env python3
"""Lists what a build of the driver needs of a host, by class: what it leaves for the process to define.

What stands inline in the headers of the build is compiled into the library and is no need of it, so the list
is longest for a library that was built against headers with nothing inline. The symbols of the C and C++
libraries have versions, by which they are told from the host's; and what is weak may be missing.
"""

import argparse
import glob
import os
import re
import subprocess
import sys

FREE = "free functions"


def needs(library, nm):
    """Pairs of class and name, the name with its arguments; data have "typeinfo" or "vtable" for a name."""
    lines = subprocess.run([nm, "-D", "--undefined-only", "-C", library], check=True, capture_output=True,
                           text=True).stdout.splitlines()
    for line in lines:
        kind, symbol = line.split(maxsplit=1)
        if kind != "U" or "@" in symbol:
            continue
        data = re.match(r"(typeinfo|vtable|VTT) for (\w+)$", symbol)
        if data:
            yield data.group(2), data.group(1)
            continue
        owner = re.match(r"(?:non-virtual thunk to )?(\w+)::(.*)", symbol)
        yield owner.groups() if owner else (FREE, symbol)


def documented(document):
    """Of the document's table: what is linked, as pairs of class and name; what is overridden; and as triples
    in which header each class has which names."""
    with open(document, encoding="utf-8") as file:
        rows = re.findall(r"^\| `(\w+\.h)` \| (?:`(\w+)`)? *\| ([^|]*) \| ([^|]*)\|$", file.read(),
                          re.MULTILINE)
    linked, overridden, declared = set(), set(), []
    for header, owner, links, overrides_here in rows:
        names = re.findall(r"`([^`]+)`", links)
        virtual = re.findall(r"`([^`]+)`", overrides_here)
        linked |= {(owner or FREE, name) for name in names}
        overridden |= set(virtual)
        declared.append((header, owner, names + virtual))
    return linked, overridden, declared


def overrides(folders):
    """The names of the virtual operations that classes of these folders override."""
    names = set()
    for folder in folders:
        for header in glob.glob(os.path.join(folder, "*.h")):
            with open(header, encoding="utf-8") as file:
                names |= set(re.findall(r"(~?\w+)\([^()]*\)\s*override\b", file.read()))
    return {name for name in names if not name.startswith("~")}


def compare(found, document, root):
    """Prints how the document differs from what was found, and returns true when it does."""
    linked, overridden, declared = documented(document)
    imported = {(owner, re.sub(r"\(.*", "", name)) for owner, name in found}
    overriding = overrides(os.path.join(root, name) for name in ("interface", "lock"))
    lines = [f"not in the document: {owner} {name}" for owner, name in imported - linked]
    lines += [f"needed by no library: {owner} {name}" for owner, name in linked - imported]
    lines += [f"overridden, but not in the document: {name}" for name in overriding - overridden]
    lines += [f"overridden by no class: {name}" for name in overridden - overriding]
    for header, owner, names in declared:
        with open(os.path.join(root, "host", header), encoding="utf-8") as file:
            text = file.read()
        lines += [f"not in host/{header}: {owner} {name}" for name in names
                  if name not in ("typeinfo", "vtable") and name.lstrip("~") not in text]
    print("\n".join(sorted(lines)) or f"{len(imported)} names, as in the document")
    return bool(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("libraries", nargs="+", metavar="LIBRARY",
                        help="of several the needs are put together")
    parser.add_argument("--nm", default="nm", help="the nm to call")
    parser.add_argument("--compare", metavar="DOCUMENT",
                        help="print how the table of this document differs, and end with 1 if it does")
    arguments = parser.parse_args()
    found = {need for library in arguments.libraries for need in needs(library, arguments.nm)}
    if arguments.compare:
        root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
        return 1 if compare(found, arguments.compare, root) else 0
    for owner in sorted({owner for owner, _ in found}):
        print(owner)
        for name in sorted(name for of, name in found if of == owner):
            print(f"    {name}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
