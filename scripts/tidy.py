"""Runs clang-tidy over every source that the release build compiles, on all processors.

The sources are those of build/release/compile_commands.json that belong to this tree, so that build has to be
configured. A source without findings is remembered in build/tidy with everything that the result depends on,
and left out as long as none of that changes. Exit status: 1 when there is a finding.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
import threading

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
DATABASE = os.path.join(ROOT, "build", "release")
REMEMBERED = os.path.join(ROOT, "build", "tidy")
CONFIGURATIONS = (os.path.join(ROOT, ".clang-tidy"), os.path.join(ROOT, "host", ".clang-tidy"))
# The analyzer follows every path through the macros of the test library, which takes longer than all other
# checks together; what it looks for, the sanitizers look for while every one of these sources runs. In a
# benchmark it sees nothing but a loop whose variable is not read.
WITHOUT_ANALYZER = "--checks=-clang-analyzer-*"
NOT_FOR_ANALYZER = ("tests/", "bench/")
# Before each finding of clang-tidy's output; notes belong to the finding before them.
FINDING = re.compile(r"^(?=\S+:\d+:\d+: (?:error|warning): )", re.MULTILINE)


class Source:
    """One source: its path from the root, and the compiler's command and folder."""

    def __init__(self, path, entry):
        self.path = path
        self.folder = entry["directory"]
        self.command = shlex.split(entry["command"])

    def options(self):
        """What clang-tidy is called with for this source."""
        return [WITHOUT_ANALYZER] if self.path.startswith(NOT_FOR_ANALYZER) else []

    def includes(self):
        """All files that the compiler reads for it, itself included; as make's rules list them."""
        command = self.command[:self.command.index("-o")] + ["-M", os.path.join(ROOT, self.path)]
        rule = subprocess.run(command, cwd=self.folder, check=True, capture_output=True, text=True).stdout
        return shlex.split(rule.replace("\\\n", " ").partition(":")[2])

    def remembered(self):
        return os.path.join(REMEMBERED, self.path.replace("/", "_") + ".json")


class Digests:
    """Digests of what a result depends on; each file is read once."""

    def __init__(self):
        version = subprocess.run(["clang-tidy", "--version"], check=True, capture_output=True).stdout
        settings = hashlib.sha256(version)
        for path in CONFIGURATIONS:
            with open(path, "rb") as file:
                settings.update(file.read())
        self._settings = settings.hexdigest()
        self._files = {}

    def _of_file(self, path):
        if path not in self._files:
            with open(path, "rb") as file:
                self._files[path] = hashlib.sha256(file.read()).hexdigest()
        return self._files[path]

    def of(self, source, includes):
        """None when one of the files is gone."""
        parts = [self._settings, *source.command, *source.options()]
        try:
            parts += [self._of_file(os.path.join(source.folder, path)) for path in includes]
        except FileNotFoundError:
            return None
        return hashlib.sha256("\n".join(parts).encode()).hexdigest()


class Progress:
    """Prints findings, those in a header once, and on a terminal one line that shows how far it is."""

    def __init__(self, count):
        self._count = count
        self._done = 0
        self._told = set()
        self._lock = threading.Lock()

    def done(self, source, output):
        with self._lock:
            findings = [text for text in FINDING.split(output) if text and text not in self._told]
            self._told.update(findings)
            self._done += 1
            if sys.stdout.isatty():
                print(f"\r\033[K[{self._done}/{self._count}] {source.path}"[:100], end="", flush=True)
                if findings or self._done == self._count:
                    print("\r\033[K", end="", flush=True)
            for text in findings:
                print(text, end="", flush=True)


def sources():
    """The sources of the database that are the tree's own, once each; the largest first, so that no processor
    is left with one of them at the end."""
    with open(os.path.join(DATABASE, "compile_commands.json"), encoding="utf-8") as file:
        entries = json.load(file)
    found = {}
    for entry in entries:
        path = os.path.relpath(os.path.join(entry["directory"], entry["file"]), ROOT)
        if not path.startswith(("..", "build")):
            found.setdefault(path, Source(path, entry))
    return sorted(found.values(), key=lambda source: -os.path.getsize(os.path.join(ROOT, source.path)))


def known_clean(source, digests):
    """True when it had no finding and nothing has changed since. A new header that is found before another of
    its name goes unnoticed, as it does in the build."""
    try:
        with open(source.remembered(), encoding="utf-8") as file:
            last = json.load(file)
    except (FileNotFoundError, json.JSONDecodeError):
        return False
    return last["digest"] == digests.of(source, last["includes"])


def look_over(source, digests):
    """The findings in a source, as text; empty when there is none, which is remembered."""
    includes = source.includes()
    digest = digests.of(source, includes)
    command = ["clang-tidy", "-p", DATABASE, "--quiet", *source.options(), os.path.join(ROOT, source.path)]
    done = subprocess.run(command, cwd=ROOT, check=False, capture_output=True, text=True)
    if done.returncode != 0:
        output = done.stdout or done.stderr or f"{source.path}: clang-tidy ended with {done.returncode}\n"
        return output.replace(ROOT + "/", "")
    with open(source.remembered(), "w", encoding="utf-8") as file:
        json.dump({"digest": digest, "includes": includes}, file)
    return ""


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--all", action="store_true", help="also what is remembered")
    parser.add_argument("sources", nargs="*", help="paths that sources begin with; none are all")
    args = parser.parse_args()
    os.makedirs(REMEMBERED, exist_ok=True)
    digests = Digests()
    wanted = tuple(args.sources) or ""
    due = [source for source in sources()
           if source.path.startswith(wanted) and (args.all or not known_clean(source, digests))]
    progress = Progress(len(due))

    def work(source):
        output = look_over(source, digests)
        progress.done(source, output)
        return bool(output)

    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as processors:
        return 1 if any(list(processors.map(work, due))) else 0


sys.exit(main())
