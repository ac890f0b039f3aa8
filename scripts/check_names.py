#!/usr/bin/env python3
"""Finds names with marks of their type ("pName", "m_bOpen") where the plain dialect is written.

Arguments: files of the tree; those of the driver and of host/, which keep their marks, are left out, and so
are names that their headers declare, because the rest of the tree uses those. clang-tidy checks the case of
names, but takes such a mark for a word. Prints "file:line: name" for each; exit status 1 when there is one.
"""

import os
import re
import sys

MARKED_FOLDERS = ("plugin", "host", "cloud", "interface", "lock", "access")
MARKED = re.compile(r"\b(?:[msg]_)?(?:[psibune]|cb|tmr)[A-Z]\w*")
NO_NAMES = re.compile(r'R"\(.*?\)"|//[^\n]*|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'')


def main(files):
    sources = [file for file in files if file.endswith((".h", ".cpp"))]
    declared = set()
    for file in sources:
        if file.endswith(".h") and file.split(os.sep)[0] in MARKED_FOLDERS:
            with open(file, encoding="utf-8") as header:
                declared.update(MARKED.findall(header.read()))
    found = False
    for file in sources:
        if file.split(os.sep)[0] in MARKED_FOLDERS:
            continue
        with open(file, encoding="utf-8") as source:
            for number, line in enumerate(source, 1):
                for name in MARKED.findall(NO_NAMES.sub("", line)):
                    if name not in declared:
                        found = True
                        print(f"{file}:{number}: {name}")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
