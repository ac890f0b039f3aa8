#!/usr/bin/env python3
"""Writes a software bill of materials (SPDX 2.3, JSON) of what a build tree has linked, from the tree itself.

The linker says which objects and archive members an artefact is made of, Ninja which headers those were
compiled from, the artefact which shared libraries it loads, esbuild what is bundled in the page; dpkg and
web/package-lock.json say to which package each file belongs. A file that is in an artefact and belongs to no
package is an error, because a bill that leaves something out is wrong. Exit status 2, and one line on stderr,
when there is no bill.
"""

import argparse
import datetime
import filecmp
import hashlib
import json
import os
import platform
import re
import shlex
import subprocess
import sys
import tempfile
import urllib.parse

ARTEFACTS = ("lib/libLVESTARA.so", "bin/vestara-devhost", "bin/vestara-cloudsim")
PAGE = "share/vestara/configurator"
METAFILE = "share/vestara/configurator-metafile.json"
DOCUMENT = "SPDXRef-DOCUMENT"
UNSAID = "NOASSERTION"
# Identifiers of SPDX's list of licences. A package may have any text in that place, and only what consists of
# these is handed on.
LICENCES = frozenset(("0BSD", "Apache-2.0", "BSD-2-Clause", "BSD-3-Clause", "CC0-1.0", "ISC", "MIT"))


class Failure(Exception):
    """Why there is no bill, in one line."""


def run(*command, folder=None, statuses=(0,)):
    """What a command prints, with messages in English. Raises Failure unless it ends with one of the
    statuses."""
    try:
        done = subprocess.run(command, cwd=folder, env={**os.environ, "LC_ALL": "C"}, check=False,
                              capture_output=True, text=True)
    except FileNotFoundError:
        raise Failure(f"the program {command[0]} is not there") from None
    if done.returncode not in statuses:
        reason = (done.stderr or done.stdout or "no message").strip().splitlines()[-1]
        raise Failure(f"{command[0]} ended with {done.returncode}: {reason}")
    return done.stdout


def digest(path, algorithm):
    with open(path, "rb") as file:
        return hashlib.file_digest(file, algorithm).hexdigest()


def checksums(path, *algorithms):
    return [{"algorithm": name, "checksumValue": digest(path, name.lower())} for name in algorithms]


class Build:
    """A build tree of CMake and Ninja. Nothing is written to it."""

    def __init__(self, folder):
        if not os.path.isdir(folder):
            raise Failure(f"there is no build folder {folder}")
        self.folder = os.path.realpath(folder)
        for name in ("CMakeCache.txt", "build.ninja", *ARTEFACTS, f"{PAGE}/index.html", METAFILE):
            if not os.path.isfile(self.path(name)):
                raise Failure(f"{os.path.join(folder, name)} is not there; build it first")
        with open(self.path("CMakeCache.txt"), encoding="utf-8") as file:
            cache = dict(re.findall(r"^(\w+):[A-Z]+=(.*)$", file.read(), re.MULTILINE))
        try:
            self.source = os.path.realpath(cache["CMAKE_HOME_DIRECTORY"])
            self.version = cache["CMAKE_PROJECT_VERSION"]
            self._ninja_program = cache["CMAKE_MAKE_PROGRAM"]
        except KeyError as error:
            raise Failure(f"{os.path.join(folder, 'CMakeCache.txt')} has no {error.args[0]}") from None

    def path(self, name):
        return os.path.normpath(os.path.join(self.folder, name))

    def _owns(self, path):
        return os.path.realpath(path).startswith((self.source + os.sep, self.folder + os.sep))

    def _ninja(self, *arguments):
        # Without -n, Ninja opens its logs to write.
        return run(self._ninja_program, "-n", "-t", *arguments, folder=self.folder)

    def _link_again(self, artefact):
        """What the linker reads for an artefact, a line each; members with their archive in brackets. It
        tells while it links, so it links once more, and what comes out has to be the artefact itself."""
        words = shlex.split(self._ninja("commands", "-s", artefact))
        try:
            command = words[2:words.index("&&", 2)]
            output = command.index("-o") + 1
        except ValueError:
            raise Failure(f"the command that links {artefact} is not one of CMake's") from None
        with tempfile.TemporaryDirectory() as folder:
            command[output] = os.path.join(folder, "linked")
            # Members of archives are told when the option is there twice.
            lines = run(*command, "-Wl,--trace,--trace", folder=self.folder).splitlines()
            if not filecmp.cmp(command[output], self.path(artefact), shallow=False):
                raise Failure(f"{artefact} is not what its objects make; build it again")
        return lines

    def _members(self, archive, names):
        """The objects that an archive of the project has under these names."""
        inputs = self._ninja("query", archive).partition("  outputs:")[0]
        return [path for path in re.findall(r"^    ([^|\s].*)$", inputs, re.MULTILINE)
                if os.path.basename(path) in names]

    def compiled_in(self, artefact):
        """The files of others that are part of an artefact (headers, archives, objects): paths, each with
        what to say of it."""
        objects = set()
        archives = {}
        others = {}
        for line in self._link_again(artefact):
            if member := re.fullmatch(r"\((.+\.a)\)(.+)", line):
                archives.setdefault(member[1], set()).add(member[2])
            elif line.endswith(".o"):
                objects.add(line)
        for archive, names in archives.items():
            if self._owns(self.path(archive)):
                objects.update(self._members(archive, names))
            else:
                others[self.path(archive)] = os.path.basename(archive)
        for path in [path for path in objects if not self._owns(self.path(path))]:
            others[self.path(path)] = os.path.basename(path)
            objects.remove(path)
        for header in self._headers(objects):
            if not self._owns(header):
                others[header] = "headers"
        return others

    def _headers(self, objects):
        """All that the objects of the project were compiled from; paths."""
        found = set()
        described = set()
        for line in self._ninja("deps", *sorted(objects)).splitlines():
            if line.startswith("    "):
                found.add(self.path(line.strip()))
            elif line.endswith("(VALID)"):
                described.add(line.partition(": #deps ")[0])
        if unknown := sorted(objects - described):
            raise Failure(f"Ninja does not know the headers of {unknown[0]}; build it again")
        return found

    def loaded(self, artefact):
        """The shared libraries that an artefact asks for, each with its name; paths."""
        dynamic = run("readelf", "--dynamic", "--wide", self.path(artefact))
        needed = re.findall(r"\(NEEDED\).*\[(.+)\]", dynamic)
        # The loader finds a library by its name, so that is how the file is called.
        paths = re.findall(r"^\s*(?:\S+ => )?(/\S+) \(0x", run("ldd", self.path(artefact)), re.MULTILINE)
        there = {os.path.basename(path): path for path in paths}
        if missing := [name for name in needed if name not in there]:
            raise Failure(f"{artefact} needs {missing[0]}, which is not there")
        return {there[name]: name for name in needed}

    def page_files(self):
        """The files of the page; names from its folder."""
        top = self.path(PAGE)
        return sorted(os.path.relpath(os.path.join(folder, name), top)
                      for folder, _, names in os.walk(top) for name in names)

    def bundled(self):
        """The npm packages in the page, as web/package-lock.json has them: name, version, licence."""
        try:
            with open(self.path(METAFILE), encoding="utf-8") as file:
                outputs = json.load(file)["outputs"]
            with open(os.path.join(self.source, "web", "package-lock.json"), encoding="utf-8") as file:
                locked = json.load(file)["packages"]
        except (OSError, ValueError, KeyError) as error:
            raise Failure(f"what is bundled in the page cannot be read: {error}") from None
        written = {os.path.basename(path) for path in outputs}
        if gone := sorted(written - {os.path.basename(name) for name in self.page_files()}):
            raise Failure(f"{METAFILE} tells of {gone[0]}, which the page does not have; build it again")
        folders = set()
        for output in outputs.values():
            for path in output["inputs"]:
                if folder := re.match(r"(?:.*/)?node_modules/(?:@[^/]+/)?[^/]+", path):
                    folders.add(folder[0])
        if unknown := sorted(folders - locked.keys()):
            raise Failure(f"{unknown[0]} is in the page and not in web/package-lock.json")
        return sorted((folder.rpartition("node_modules/")[2], locked[folder]["version"],
                       locked[folder].get("license", "")) for folder in folders)


def owners(paths):
    """The Debian package of each file, as dpkg-query takes it. Raises Failure for a file that has none."""
    def spellings(path):
        # /lib is a link to /usr/lib, and a package may have its files under either.
        for name in (path, os.path.realpath(path)):
            yield name
            yield name.removeprefix("/usr") if name.startswith("/usr/") else "/usr" + name

    asked = sorted({spelling for path in paths for spelling in spellings(path)})
    owner = {}
    for start in range(0, len(asked), 1000):
        # It ends with 1 as soon as one is not found.
        for line in run("dpkg-query", "--search", *asked[start:start + 1000], statuses=(0, 1)).splitlines():
            packages, _, path = line.partition(": ")
            if not packages.startswith(("diversion by ", "local diversion")):
                owner[path] = packages.split(", ")[0]
    found = {path: next((owner[name] for name in spellings(path) if name in owner), None) for path in paths}
    if strangers := sorted(path for path in found if not found[path]):
        raise Failure(f"{strangers[0]} is in an artefact and belongs to no package")
    return found


def identifier(*parts):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", "-".join(parts))


def package(spdx_id, name, version, **more):
    return {"SPDXID": spdx_id, "name": name, "versionInfo": version, "supplier": UNSAID,
            "downloadLocation": UNSAID, "filesAnalyzed": False, "licenseConcluded": UNSAID,
            "licenseDeclared": UNSAID, "copyrightText": UNSAID, **more}


def purl(kind, name, version, **qualifiers):
    """Package URL, as others' tools look packages up."""
    name = "/".join(urllib.parse.quote(part, safe="") for part in name.split("/"))
    locator = f"pkg:{kind}/{name}@{urllib.parse.quote(version, safe=':')}"
    if qualifiers:
        locator += "?" + urllib.parse.urlencode(qualifiers)
    return [{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl", "referenceLocator": locator}]


def debian_packages(names):
    """SPDX's packages for Debian's, by the names that dpkg-query takes."""
    distribution = platform.freedesktop_os_release()["ID"]
    columns = "${binary:Package} ${Package} ${Version} ${Architecture}\\n"
    rows = map(str.split, run("dpkg-query", "--show", "--showformat", columns, *sorted(names)).splitlines())
    return {query: package(identifier("deb", name, architecture), name, version,
                           externalRefs=purl(f"deb/{distribution}", name, version, arch=architecture))
            for query, name, version, architecture in rows}


def npm_package(name, version, licence):
    words = licence.replace("(", " ").replace(")", " ").split()
    more = {"externalRefs": purl("npm", name, version)}
    if words and LICENCES.issuperset(word for word in words if word not in ("AND", "OR")):
        more["licenseDeclared"] = licence
    return package(identifier("npm", name, version), name, version, **more)


def relationship(subject, kind, target, comment=None):
    made = {"spdxElementId": subject, "relationshipType": kind, "relatedSpdxElement": target}
    return made if comment is None else {**made, "comment": comment}


class Bill:
    """What is in the document: packages, files and how they belong together."""

    def __init__(self, build, version):
        self._build = build
        self._version = version or build.version
        self._packages = {}
        self._files = []
        self._relationships = []
        self._add_programs()
        self._add_page()

    def _add_own(self, name, **more):
        own = package(identifier(name), name, self._version, **more)
        self._packages[own["SPDXID"]] = own
        self._relationships.append(relationship(DOCUMENT, "DESCRIBES", own["SPDXID"]))
        return own["SPDXID"]

    def _add_programs(self):
        uses = [(artefact, kind, path, note) for artefact in ARTEFACTS
                for kind, files in (("STATIC_LINK", self._build.compiled_in(artefact)),
                                    ("DYNAMIC_LINK", self._build.loaded(artefact)))
                for path, note in files.items()]
        owner = owners({path for _, _, path, _ in uses})
        others = debian_packages(set(owner.values()))
        self._packages.update((other["SPDXID"], other) for other in others.values())
        notes = {}
        for artefact, kind, path, note in uses:
            notes.setdefault((artefact, kind, others[owner[path]]["SPDXID"]), set()).add(note)
        for artefact in ARTEFACTS:
            name = os.path.basename(artefact)
            own = self._add_own(name, packageFileName=artefact,
                                checksums=checksums(self._build.path(artefact), "SHA1", "SHA256"))
            self._relationships += [relationship(own, kind, other, ", ".join(sorted(said)))
                                    for (user, kind, other), said in notes.items() if user == artefact]

    def _add_page(self):
        own = self._add_own("configurator", packageFileName=PAGE, filesAnalyzed=True)
        for name in self._build.page_files():
            file = {"SPDXID": identifier("File", str(len(self._files) + 1)), "fileName": f"./{name}",
                    "checksums": checksums(self._build.path(os.path.join(PAGE, name)), "SHA1", "SHA256"),
                    "licenseConcluded": UNSAID, "copyrightText": UNSAID}
            self._files.append(file)
            self._relationships.append(relationship(own, "CONTAINS", file["SPDXID"]))
        sums = "".join(sorted(file["checksums"][0]["checksumValue"] for file in self._files))
        self._packages[own]["packageVerificationCode"] = {
            "packageVerificationCodeValue": hashlib.sha1(sums.encode()).hexdigest()}
        for found in self._build.bundled():
            other = npm_package(*found)
            self._packages[other["SPDXID"]] = other
            self._relationships.append(relationship(own, "CONTAINS", other["SPDXID"]))

    def document(self, created):
        """The document. Its namespace stands for all that it says, so no two documents share one."""
        made = {
            "spdxVersion": "SPDX-2.3",
            "dataLicense": "CC0-1.0",
            "SPDXID": DOCUMENT,
            "name": f"vestara-{self._version}",
            "creationInfo": {"created": created, "creators": [f"Tool: vestara-sbom-{self._build.version}"]},
            "packages": [self._packages[key] for key in sorted(self._packages)],
            "files": self._files,
            "relationships": sorted(self._relationships, key=lambda one: list(one.values())),
        }
        content = hashlib.sha256(json.dumps(made, sort_keys=True).encode()).hexdigest()
        return {**made, "documentNamespace": f"https://vestara.example/spdx/{content}"}


def creation_time(source):
    """SOURCE_DATE_EPOCH, else when the last commit was made, else, without Git, now."""
    seconds = os.environ.get("SOURCE_DATE_EPOCH")
    if seconds is None:
        try:
            seconds = run("git", "-C", source, "log", "-1", "--format=%ct")
        except Failure:
            seconds = datetime.datetime.now().timestamp()
    try:
        time = datetime.datetime.fromtimestamp(int(seconds), datetime.timezone.utc)
    except (ValueError, OverflowError, OSError):
        raise Failure(f"SOURCE_DATE_EPOCH is no time: {seconds}") from None
    return time.strftime("%Y-%m-%dT%H:%M:%SZ")


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("--build", required=True, help="the build folder, such as build/release")
    parser.add_argument("--output", required=True, help="the file to write")
    parser.add_argument("--version", help="version of the artefacts; otherwise the project's")
    args = parser.parse_args()
    try:
        build = Build(args.build)
        document = Bill(build, args.version).document(creation_time(build.source))
        with open(args.output, "w", encoding="utf-8") as file:
            json.dump(document, file, indent=2)
            file.write("\n")
    except (Failure, OSError) as error:
        print(f"sbom: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
