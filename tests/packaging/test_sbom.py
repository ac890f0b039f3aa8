"""The bill of materials: what it must say, that it holds together, and when there is none."""

import argparse
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from sbom import npm_package, owners  # noqa: E402 (its folder is on the path only now)

DRIVER = "lib/libLVESTARA.so"
PAGE = "share/vestara/configurator"
METAFILE = "share/vestara/configurator-metafile.json"
OWN = {"libLVESTARA.so": DRIVER, "vestara-devhost": "bin/vestara-devhost",
       "vestara-cloudsim": "bin/vestara-cloudsim", "configurator": PAGE}
ARGS = None


def write_bill(build, output, *options, **environment):
    command = [sys.executable, os.path.join(ROOT, "scripts", "sbom.py"), "--build", build, "--output", output]
    return subprocess.run([*command, *options], env={**os.environ, **environment}, check=False,
                          capture_output=True, text=True)


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.file = os.path.join(folder.name, "bill.json")
        cls.text = cls.bill(SOURCE_DATE_EPOCH="1700000000", PYTHONHASHSEED="1")
        cls.document = json.loads(cls.text)
        cls.packages = {package["SPDXID"]: package for package in cls.document["packages"]}

    @classmethod
    def bill(cls, *options, **environment):
        """What is written, as text."""
        done = write_bill(ARGS.build, cls.file, *options, **environment)
        if (done.returncode, done.stderr) != (0, ""):
            raise AssertionError(f"status {done.returncode}: {done.stderr}")
        with open(cls.file, encoding="utf-8") as file:
            return file.read()

    def linked(self, artefact, kind):
        """Names of the packages that stand in a relationship to an artefact."""
        return {self.packages[one["relatedSpdxElement"]]["name"] for one in self.document["relationships"]
                if one["relationshipType"] == kind and one["relatedSpdxElement"] in self.packages
                and self.packages.get(one["spdxElementId"], {}).get("name") == artefact}

    def test_second_run_writes_the_same(self):
        self.assertEqual(self.bill(SOURCE_DATE_EPOCH="1700000000", PYTHONHASHSEED="2"), self.text)

    def test_version_and_time_are_those_given_and_change_the_namespace(self):
        spaces = {self.document["documentNamespace"]}
        for options, epoch, created in (((), "1700000001", "2023-11-14T22:13:21Z"),
                                        (("--version", "7.8.9"), "1700000000", "2023-11-14T22:13:20Z")):
            other = json.loads(self.bill(*options, SOURCE_DATE_EPOCH=epoch))
            self.assertEqual(other["creationInfo"]["created"], created)
            if options:
                own = {package["versionInfo"] for package in other["packages"] if package["name"] in OWN}
                self.assertEqual(own, {"7.8.9"})
            spaces.add(other["documentNamespace"])
        self.assertEqual(len(spaces), 3)

    def test_fields_that_the_format_requires(self):
        document = self.document
        self.assertEqual((document["spdxVersion"], document["dataLicense"], document["SPDXID"]),
                         ("SPDX-2.3", "CC0-1.0", "SPDXRef-DOCUMENT"))
        self.assertTrue(document["name"])
        self.assertRegex(document["documentNamespace"], r"^https://[\w.]+/[\w/.-]+$")
        self.assertEqual(document["creationInfo"]["created"], "2023-11-14T22:13:20Z")
        for creator in document["creationInfo"]["creators"]:
            self.assertRegex(creator, r"^(Tool|Organization|Person): \S")
        for package in document["packages"]:
            with self.subTest(package=package["SPDXID"]):
                for field in ("name", "versionInfo", "supplier", "downloadLocation", "licenseConcluded",
                              "licenseDeclared", "copyrightText"):
                    self.assertRegex(package[field], r"\S")
                self.assertEqual(package["filesAnalyzed"], "packageVerificationCode" in package)
                if package["name"] in OWN:
                    for field in ("licenseConcluded", "licenseDeclared", "copyrightText"):
                        self.assertEqual(package[field], "NOASSERTION")
                    continue
                (reference,) = package["externalRefs"]
                self.assertEqual((reference["referenceCategory"], reference["referenceType"]),
                                 ("PACKAGE-MANAGER", "purl"))
                self.assertRegex(reference["referenceLocator"],
                                 r"^pkg:(deb/[a-z]+/[\w.%-]+@[\w.%:~-]+\?arch=\w+"
                                 r"|npm/(%40[\w.-]+/)?[\w.-]+@[\w.-]+)$")

    def test_ids_are_unique_and_relationships_name_them(self):
        document = self.document
        ids = [one["SPDXID"] for one in (document, *document["packages"], *document["files"])]
        self.assertEqual(len(ids), len(set(ids)))
        for name in ids:
            self.assertRegex(name, r"^SPDXRef-[A-Za-z0-9.-]+$")
        for one in document["relationships"]:
            self.assertLessEqual({one["spdxElementId"], one["relatedSpdxElement"]}, set(ids))
            self.assertIn(one["relationshipType"], ("DESCRIBES", "DYNAMIC_LINK", "STATIC_LINK", "CONTAINS"))
        self.assertEqual({one["relatedSpdxElement"] for one in document["relationships"]}, set(ids[1:]))
        described = {self.packages[one["relatedSpdxElement"]]["name"] for one in document["relationships"]
                     if (one["spdxElementId"], one["relationshipType"]) == ("SPDXRef-DOCUMENT", "DESCRIBES")}
        self.assertEqual(described, set(OWN))

    def test_digests_are_those_of_the_files(self):
        digests = {os.path.join(PAGE, file["fileName"]): file["checksums"] for file in self.document["files"]}
        digests.update((package["packageFileName"], package["checksums"])
                       for package in self.document["packages"] if "checksums" in package)
        files = {os.path.normpath(name): {one["algorithm"]: one["checksumValue"] for one in checksums}
                 for name, checksums in digests.items()}
        there = {os.path.relpath(os.path.join(folder, name), ARGS.build)
                 for folder, _, names in os.walk(os.path.join(ARGS.build, PAGE)) for name in names}
        self.assertEqual(set(files), there | set(OWN.values()) - {PAGE})
        for name, checksums in files.items():
            with open(os.path.join(ARGS.build, name), "rb") as file:
                content = file.read()
            self.assertEqual(checksums, {"SHA1": hashlib.sha1(content).hexdigest(),
                                         "SHA256": hashlib.sha256(content).hexdigest()}, name)

    def test_programs_have_what_they_are_made_of(self):
        for program, loaded in (("vestara-devhost", {"libssl3", "libsqlite3-0"}),
                                ("vestara-cloudsim", {"libssl3"})):
            with self.subTest(program=program):
                self.assertLessEqual(loaded, self.linked(program, "DYNAMIC_LINK"))
                compiled_in = self.linked(program, "STATIC_LINK")
                self.assertIn("nlohmann-json3-dev", compiled_in)
                self.assertRegex(" ".join(compiled_in), r"\blibboost[\d.]+-dev\b")
        self.assertNotIn("libsqlite3-0", self.linked("vestara-cloudsim", "DYNAMIC_LINK"))
        page = self.linked("configurator", "CONTAINS")
        self.assertLessEqual({"lit", "@lit/reactive-element", "uplot", "eventsource"}, page)
        self.assertEqual(page & {"axe-core", "esbuild", "playwright-core", "typescript"}, set())

    def test_driver_has_nothing_but_the_languages_libraries(self):
        self.assertEqual(self.linked("libLVESTARA.so", "DYNAMIC_LINK"), {"libc6", "libgcc-s1", "libstdc++6"})
        for name in self.linked("libLVESTARA.so", "STATIC_LINK"):
            self.assertRegex(name, r"^(libc6-dev|libgcc-\d+-dev|libstdc\+\+-\d+-dev|linux-libc-dev)$")

    def test_what_only_tests_and_benchmarks_use_is_left_out(self):
        for package in self.document["packages"]:
            self.assertNotRegex(package["name"], r"gtest|gmock|googletest|benchmark|curl")


class Parts(unittest.TestCase):
    def test_package_is_found_under_either_spelling_of_a_path(self):
        for folder in ("/lib", "/usr/lib"):
            path = f"{folder}/{sysconfig.get_config_var('MULTIARCH')}/libc.so.6"
            self.assertEqual(owners({path})[path].partition(":")[0], "libc6")

    def test_licence_is_handed_on_only_when_all_of_it_is_known(self):
        for licence, declared in (("MIT", "MIT"), ("(MIT OR Apache-2.0)", "(MIT OR Apache-2.0)"),
                                  ("MIT OR Own", "NOASSERTION"), ("SEE LICENSE IN LICENSE", "NOASSERTION"),
                                  ("", "NOASSERTION")):
            self.assertEqual(npm_package("name", "1.0.0", licence)["licenseDeclared"], declared, licence)


class NoBill(unittest.TestCase):
    """What is wrong is so in a copy of the build tree, beside what stands for the sources."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

    def copy(self):
        """The copy's folder. What no test changes is linked."""
        build = self.path("tree", os.path.relpath(ARGS.build, ROOT))
        os.makedirs(build)
        for name in set(os.listdir(ROOT)) - {"build"}:
            os.symlink(os.path.join(ROOT, name), self.path("tree", name))
        for name in os.listdir(ARGS.build):
            if name in ("lib", "share"):
                shutil.copytree(os.path.join(ARGS.build, name), os.path.join(build, name))
            else:
                os.symlink(os.path.join(ARGS.build, name), os.path.join(build, name))
        return build

    def assert_refused(self, build, reason, **environment):
        done = write_bill(build, self.path("bill.json"), **environment)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (2, "", f"sbom: {reason}\n"))
        self.assertFalse(os.path.exists(self.path("bill.json")))

    def test_nothing_is_built(self):
        self.assert_refused(self.path("none"), f"there is no build folder {self.path('none')}")
        for name in ("CMakeCache.txt", DRIVER, METAFILE):
            build = self.copy()
            os.remove(os.path.join(build, name))
            self.assert_refused(build, f"{os.path.join(build, name)} is not there; build it first")
            shutil.rmtree(self.path("tree"))

    def test_artefact_is_not_what_its_objects_make(self):
        build = self.copy()
        self.assertEqual(write_bill(build, self.path("whole.json")).stderr, "")
        with open(os.path.join(build, DRIVER), "ab") as file:
            file.write(b"\0")
        self.assert_refused(build, f"{DRIVER} is not what its objects make; build it again")

    def test_page_is_not_the_one_that_was_bundled(self):
        build = self.copy()
        assets = os.path.join(build, PAGE, "assets")
        (main,) = [name for name in os.listdir(assets) if re.fullmatch(r"main-\w+\.js", name)]
        os.remove(os.path.join(assets, main))
        self.assert_refused(build, f"{METAFILE} tells of {main}, which the page does not have; "
                                   "build it again")

    def test_file_belongs_to_no_package(self):
        done = write_bill(ARGS.build, self.path("bill.json"), DPKG_ADMINDIR=self.folder)
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertRegex(done.stderr, r"\Asbom: /\S+ is in an artefact and belongs to no package\n\Z")

    def test_time_is_none(self):
        self.assert_refused(ARGS.build, "SOURCE_DATE_EPOCH is no time: soon", SOURCE_DATE_EPOCH="soon")


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True, type=os.path.abspath, help="the release build's folder")
    ARGS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
