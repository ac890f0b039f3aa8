"""Says which links and file names in the documents lead nowhere; nothing is fetched.

Arguments: the files of the tree, as paths from its root; those that end in .md are the documents. Looked at
are links to files and to headings, and whatever stands in backticks and reads like a file or a folder. Exit
status: 1 when something leads nowhere.
"""

import os
import re
import sys

FENCED = re.compile(r"^(```|~~~).*?^\1", re.MULTILINE | re.DOTALL)
CODE = re.compile(r"`([^`\n]+)`")
LINK = re.compile(r"\]\(\s*([^)\s]+)[^)]*\)|^\[[^\]]+\]:\s*(\S+)", re.MULTILINE)
HEADING = re.compile(r"^#+\s+(.+?)\s*#*$", re.MULTILINE)
PATH = re.compile(r"(\./)?([\w.-]+/)+[\w.-]*|[\w-]+\.(cpp|h|hpp|py|ts|cmake|md|yaml)")
# Media types have a slash too; and what is built or written at run time is no file of the tree.
NO_PATH = re.compile(r"(application|text)/[\w.-]+|(build|\.state)/.*")


def without_code_blocks(text):
    """The text with its fenced blocks emptied; line numbers stay."""
    return FENCED.sub(lambda block: "\n" * block.group().count("\n"), text)


def anchors(text):
    """What a link may name after # in a document: its headings as GitHub spells them."""
    names, count = set(), {}
    for heading in HEADING.findall(without_code_blocks(text)):
        heading = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading)
        slug = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
        count[slug] = count.get(slug, 0) + 1
        names.add(slug if count[slug] == 1 else f"{slug}-{count[slug] - 1}")
    return names


class Tree:
    """The files and folders that may be meant."""

    def __init__(self, files):
        self.texts = {}
        self.entries = set(files)
        for file in files:
            while file := os.path.dirname(file):
                self.entries.add(file)

    def text(self, document):
        if document not in self.texts:
            with open(document, encoding="utf-8") as file:
                self.texts[document] = file.read()
        return self.texts[document]

    def has(self, path):
        """True when something of the tree is called so, from the root or from any folder."""
        path = os.path.normpath(path)
        return path in self.entries or any(entry.endswith("/" + path) for entry in self.entries)

    def complaint(self, document, target):
        """What is wrong with a link of a document; None when it leads somewhere or out of the tree."""
        if re.match(r"[a-z][a-z0-9+.-]*:", target):
            return None
        path, _, anchor = target.partition("#")
        path = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
        if path not in self.entries:
            return f"no such file: {target}"
        if anchor and anchor not in anchors(self.text(path)):
            return f"no such heading: {target}"
        return None

    def findings(self, document):
        """(line, complaint) for each."""
        text = without_code_blocks(self.text(document))

        def line(match):
            return text.count("\n", 0, match.start()) + 1

        for match in CODE.finditer(text):
            name = match.group(1)
            if PATH.fullmatch(name) and not NO_PATH.fullmatch(name) and not self.has(name):
                yield line(match), f"no such file or folder: {name}"
        for match in LINK.finditer(CODE.sub(lambda code: "_" * len(code.group()), text)):
            complaint = self.complaint(document, match.group(1) or match.group(2))
            if complaint:
                yield line(match), complaint


def main():
    tree = Tree(sys.argv[1:])
    failed = False
    for document in sorted(file for file in sys.argv[1:] if file.endswith(".md")):
        for line, complaint in sorted(tree.findings(document)):
            failed = True
            print(f"{document}:{line}: {complaint}")
    return 1 if failed else 0


sys.exit(main())
