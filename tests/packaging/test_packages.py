"""The packages as a user gets them: made, looked over, installed into an empty root, and run from there."""

import argparse
import glob
import json
import os
import re
import shutil
import subprocess
import sys
import unittest

ARGS = None
PACKAGES = ("libvestara-driver", "vestara-devhost", "vestara-cloudsim", "vestara-doc")


def run(*command, **options):
    """The output of a command, both streams; fails with it when the command does."""
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False,
                          **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def files_below(folder):
    return {os.path.relpath(os.path.join(where, name), folder)
            for where, _, names in os.walk(folder) for name in names}


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        shutil.rmtree(ARGS.work, ignore_errors=True)
        os.makedirs(ARGS.work)
        cls.root = os.path.join(ARGS.work, "root")
        run("cpack", "-B", os.path.join(ARGS.work, "packages"), cwd=ARGS.build)
        cls.files = sorted(glob.glob(os.path.join(ARGS.work, "packages", "*.deb")))
        cls.install()

    @classmethod
    def install(cls):
        """With the machine's own list of packages, so that the dependencies must be right."""
        admin = os.path.join(cls.root, "var", "lib", "dpkg")
        os.makedirs(os.path.join(admin, "updates"))
        os.mkdir(os.path.join(admin, "info"))
        shutil.copy("/var/lib/dpkg/status", admin)
        run("dpkg", "--force-not-root", f"--root={cls.root}", "--log=/dev/null", "--install", *cls.files)
        shutil.rmtree(os.path.join(cls.root, "var"))

    def test_are_named_and_dated_by_their_version(self):
        self.assertEqual([os.path.basename(file).split("_")[:2] for file in self.files],
                         sorted([name, ARGS.version] for name in PACKAGES))
        for program in ("vestara-devhost", "vestara-cloudsim", "vestara-demo"):
            said = run(os.path.join(self.root, "usr/bin", program), "--version")
            self.assertEqual(said.strip(), f"{program} {ARGS.version}")

    def test_have_their_bill_of_materials_beside_them(self):
        bill = os.path.join(ARGS.work, "packages", f"vestara_{ARGS.version}.spdx.json")
        with open(bill, encoding="utf-8") as file:
            document = json.load(file)
        installed = {os.path.basename(file) for file in files_below(self.root)}
        described = {package["name"] for package in document["packages"] if package["downloadLocation"] and
                     "packageFileName" in package}
        self.assertEqual(described - installed, {"configurator"})

    def test_pass_the_package_checker(self):
        self.assertEqual(run("lintian", "--allow-root", "--fail-on", "error,warning", *self.files), "")

    def test_hold_what_the_components_install(self):
        prefix = os.path.join(ARGS.work, "prefix")
        for component in ("driver", "tools", "doc"):
            run("cmake", "--install", ARGS.build, "--prefix", os.path.join(prefix, "usr"),
                "--component", component)
        of_packages = re.compile(r"usr/(share/(lintian|doc/[^/]*/(copyright|changelog\.gz))|lib/systemd)")
        self.assertEqual({file for file in files_below(self.root) if not of_packages.match(file)},
                         {file for file in files_below(prefix) if not of_packages.match(file)})

    def test_know_no_folder_of_the_build(self):
        for file in files_below(self.root):
            with open(os.path.join(self.root, file), "rb") as content:
                self.assertNotIn(ARGS.source.encode() + b"/", content.read(), file)

    def test_manual_pages_have_every_option(self):
        for program in ("vestara-devhost", "vestara-cloudsim", "vestara-demo"):
            manual = os.path.join(self.root, f"usr/share/man/man1/{program}.1.gz")
            self.assertEqual(run("mandoc", "-T", "lint", "-W", "warning", manual), "")
            text = run("mandoc", "-T", "ascii", "-O", "width=200", manual)
            text = re.sub(".\b", "", text)
            listed = set(re.findall(r"--[a-z-]+", " ".join(re.findall(r"^     (-.*)", text, re.MULTILINE))))
            offered = set(re.findall(r"--[a-z-]+", " ".join(
                re.findall(r"^ +(-.*?)(?:  |$)", run(os.path.join(self.root, "usr/bin", program), "--help"),
                           re.MULTILINE))))
            self.assertEqual(listed, offered, program)
            for heading in ("ENVIRONMENT", "FILES", "EXIT STATUS"):
                self.assertIn(heading, text)

    def test_service_is_right_hardened_and_not_enabled(self):
        unit = os.path.join(self.root, "usr/lib/systemd/system/vestara-devhost.service")
        self.assertFalse(files_below(os.path.join(self.root, "etc")))
        # What it starts is looked for in the root, and the machine's units beside it.
        here = os.path.join(ARGS.work, os.path.basename(unit))
        with open(unit, encoding="utf-8") as file, open(here, "w", encoding="utf-8") as copy:
            copy.write(file.read().replace("ExecStart=/usr/", f"ExecStart={self.root}/usr/"))
        self.assertEqual(run("systemd-analyze", "verify", "--man=no", here), "")
        security = run("systemd-analyze", "security", "--offline=true", "--threshold=20", "--no-pager", unit)
        self.assertIn("Overall exposure level", security)

    def test_tour_runs_from_the_root(self):
        state = os.path.join(ARGS.work, "state")
        said = run(os.path.join(self.root, "usr/bin/vestara-demo"), "--tour", cwd="/",
                   env={"PATH": "/usr/bin:/bin", "XDG_STATE_HOME": state})
        self.assertIn("Every step was seen", said)
        self.assertEqual(len(os.listdir(os.path.join(state, "vestara-demo"))), 1)


if __name__ == "__main__":
    PARSER = argparse.ArgumentParser()
    for option in ("--source", "--build", "--version", "--work"):
        PARSER.add_argument(option, required=True)
    ARGS, REST = PARSER.parse_known_args()
    unittest.main(argv=[sys.argv[0], *REST])
