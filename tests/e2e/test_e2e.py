"""End-to-end cases beside the tour: the shipped library in the host, against the simulator over TLS."""

import argparse
import base64
import contextlib
import glob
import json
import os
import pty
import re
import resource
import select
import shutil
import signal
import socket
import subprocess
import sys
import threading
import unittest
import urllib.request
import zlib

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from api_description import ApiDescription  # noqa: E402 (its folder is on the path only now)
from vestara_client import (  # noqa: E402 (its folder is on the path only now)
    AUTHORISE, END_AND_READY, HOUSE, JsonApi, Program, Refused, Setup, TraceReader, wait_for)

ARGS = None


class EndToEnd(unittest.TestCase):
    """Each case has a simulator and a host of its own, in an empty folder."""

    def setUp(self):
        shutil.rmtree(ARGS.state_dir, ignore_errors=True)
        self.setup = Setup(ARGS.bin, ARGS.driver, ARGS.state_dir,
                           os.path.join(ROOT, "cloudsim", "fixtures", "house.json"),
                           check=ApiDescription().check)
        self.addCleanup(self.setup.close)

    @property
    def api(self):
        return self.setup.api

    def choose(self, account, name):
        def chosen():
            page, properties = self.setup.page(account)
            index = next((c["index"] for c in properties[HOUSE]["choices"] if c["name"] == name), None)
            if index is None:
                return False
            try:
                self.setup.choose_house(account, page, index)
            except Refused as refused:
                self.assertIn("list_changed", str(refused))  # a sibling's list of houses came in between
                return False
            return True

        wait_for(f"the house {name}", chosen, 60)

    def may_be_authorised(self, account):
        return AUTHORISE in [action["id"] for action in self.setup.page(account)[0]["actions"]]

    def names_of_locks(self):
        return sorted(lock["name"] for lock in self.api.get("/locks")["locks"])

    def start_with_house(self, *options):
        """A host with one authorised account and the two locks of the lake house installed."""
        self.setup.start_host(options=("--trace", *options))
        account = self.api.post("/interfaces")["id"]
        self.setup.authorise(account)
        self.choose(account, "Lake House")
        wait_for("the locks of the lake house",
                 lambda: self.names_of_locks() == ["Boat House", "Front Door"], 60)
        return account

    def wait_for_lines(self, reader, *wanted):
        """Waits until each wanted text has come up in the host's log; all lines up to then."""
        lines = []

        def seen():
            lines.extend(reader.new_texts())
            return all(any(want in line for line in lines) for want in wanted)

        wait_for(f"in the log: {wanted}", seen, 60)
        return lines


class TransportFaults(EndToEnd):
    def test_unknown_ca(self):
        # Another simulator's authority: its certificates are right in all but their signer.
        command = [os.path.join(ARGS.bin, "vestara-cloudsim"),
                   "--state-dir", os.path.join(ARGS.state_dir, "other"), *END_AND_READY]
        stranger = Program("another simulator", command, os.devnull)
        self.addCleanup(stranger.stop)
        self.setup.start_host(ca_file=stranger.ready["ca_file"], options=("--trace",))
        reader = TraceReader(self.api)
        account = self.api.post("/interfaces")["id"]
        self.setup.authorise(account)
        self.wait_for_lines(reader, "Unable to create SSL connection",
                            "Page returned NULL - failed to process request")
        self.assertEqual(self.setup.admin.get("/admin/requests")["requests"][-1]["path"].split("?")[0],
                         "/oauth/authorize", "nothing but the browser's consent may have reached the cloud")


class Accounts(EndToEnd):
    def test_second_account_shares_and_removal(self):
        first = self.start_with_house()
        reader = TraceReader(self.api)
        second = self.api.post("/interfaces")["id"]
        self.wait_for_lines(reader, "Tokens requested from another interface")
        self.assertFalse(self.may_be_authorised(second), "only the master is authorised")

        self.choose(second, "Town Flat")
        everything = ["Boat House", "Flat Door", "Front Door"]
        wait_for("the lock of the second house", lambda: self.names_of_locks() == everything, 60)

        self.assert_diagnostics_hold_no_secret()
        self.api.delete(f"/interfaces/{first}")
        self.assertEqual(self.names_of_locks(), ["Flat Door"])
        left = self.api.get(f"/interfaces/{second}")
        self.assertEqual((left["house"], left["houses"]), ("Town Flat", ["Lake House", "Town Flat"]))
        wait_for("the second account as the new master", lambda: self.may_be_authorised(second), 20)

    def assert_diagnostics_hold_no_secret(self):
        for pin in ("73519046", "90467351"):  # a change is traced
            self.api.put("/users/0", {"name": "Ann", "pin": pin})
        wait_for("Ann in the cloud", lambda: any(
            person["name"] == "Ann" for person in self.setup.admin.get("/admin/world")["access_persons"]), 30)
        world = self.setup.admin.get("/admin/world?secrets=1")
        secrets = [token["token"] for token in world["tokens"]["access"]] + world["tokens"]["refresh"]
        secrets += [lock["programming_code"] for lock in world["locks"]]
        secrets += [person["pin"] for person in world["access_persons"]] + ["73519046", "90467351"]
        found = self.api.get("/diagnostics")
        self.assertGreater(len(found["log"]), 100)
        text = json.dumps(found)
        for secret in secrets:
            raw = secret.encode()
            forms = {secret, raw.hex(), raw.hex().upper(), "".join(f"%{byte:02X}" for byte in raw)}
            for shift in range(3):  # base64, wherever in a text the secret stands; its ends depend on others
                forms.add(base64.b64encode(b"\0" * shift + raw).decode()[shift and 4:-4])
            for form in forms:
                if len(form) >= min(len(secret), 8):  # a shorter rest stands in any text
                    self.assertNotIn(form, text)
        # A PIN that is a year is not given away by a gap in each time, which the description would refuse.
        self.api.put("/users/1", {"name": "Year", "pin": found["time"][:4]})
        self.api.get("/diagnostics")


class Access(EndToEnd):
    def row(self):
        """What is said of the user at slot 2: the person's word, and one for each lock by its name."""
        found = self.api.get("/users/2/access")
        names = {lock["id"]: lock["name"] for lock in self.api.get("/locks")["locks"]}
        return found["person"]["sync"], {names[cell["lock"]]: cell["sync"] for cell in found["locks"]}

    def store(self, **fields):
        return self.api.put("/users/2", {"name": "Ann", "email": "", "pin": "73519046", **fields})

    def wait_for_row(self, *wanted):
        wait_for(f"the row {wanted}", lambda: self.row() == wanted, 60)

    def wait_for_guide(self, *phases):
        wait_for(f"the step to be {phases}", lambda: self.api.get("/access")["guide"]["phase"] in phases, 90)
        return self.api.get("/access")["guide"]

    def test_each_difference_has_its_cause_and_the_guided_step_mends_it(self):
        agrees = ("agrees", {"Front Door": "agrees", "Boat House": "agrees"})
        self.start_with_house()
        locks = {lock["name"]: lock["id"] for lock in self.api.get("/locks")["locks"]}
        self.store()
        self.wait_for_row(*agrees)
        for lock in locks.values():
            self.api.put(f"/locks/{lock}/users/3", {"enabled": True})
        self.assertEqual(self.row(), ("agrees", {"Front Door": "not_sent", "Boat House": "not_sent"}))
        self.api.post("/users/2/access", {"locks": list(locks.values())})
        with self.assertRaisesRegex(Refused, "busy"):
            self.store(pin="90467351")
        self.assertEqual(self.wait_for_guide("done", "failed")["phase"], "done")
        self.assertEqual(self.row(), agrees)
        world = self.setup.admin.get("/admin/world?secrets=1")
        person, = [person for person in world["access_persons"] if person["name"] == "Ann"]
        rights = [access for access in world["accesses"] if access["access_person_id"] == person["id"]]
        self.assertEqual((person["pin"], len(rights)), ("73519046", 2))

        # The driver does not try again what the cloud refused, or what got lost.
        for fault, word in (({"kind": "status", "status": 422}, "refused"), ({"kind": "close"}, "lost")):
            self.setup.admin.post("/admin/faults", [
                {**fault, "match": {"path": "/access_persons/", "method": "PUT"}, "count": 1}])
            self.store(pin="90467351" if word == "refused" else "46190357")
            wait_for(word, lambda word=word: self.row()[0] == word, 60)

        # A deletion that the cloud refuses ends the step, and the user is back with what it had.
        self.setup.admin.post("/admin/faults", [
            {"kind": "status", "status": 503, "match": {"path": "/access_persons/", "method": "DELETE"},
             "count": 1}])
        self.api.post("/users/2/access", {"locks": [locks["Front Door"]]})
        self.assertEqual(self.wait_for_guide("done", "failed")["phase"], "failed")
        self.assertEqual(self.api.get("/users/2?secrets=1")["pin"], "46190357")
        # The driver has forgotten the person's id by then, and what it leaves in the cloud is shown.
        self.api.delete("/users/2")
        left, = self.api.get("/access")["access"]
        self.assertEqual((left["wanted"], left["person"]["sync"], left["locks"]), (False, "not_sent", []))


class Locks(EndToEnd):
    def test_what_became_of_a_command_and_the_heartbeats_are_learned_from_the_traffic(self):
        self.start_with_house()
        lock, = [lock["id"] for lock in self.api.get("/locks")["locks"] if lock["name"] == "Front Door"]

        def wait_for_outcome(outcome):
            wait_for(outcome,
                     lambda: self.api.get(f"/locks/{lock}")["last_command"]["outcome"] == outcome, 60)
            return self.api.get(f"/locks/{lock}")

        before = self.api.get(f"/locks/{lock}")
        self.assertIsNone(before["last_command"])
        self.api.put("/users/2", {"name": "Ann", "email": "", "pin": "73519046"})
        self.api.post(f"/locks/{lock}/commands", {"command": "unlock", "user": 3})
        after = wait_for_outcome("done")
        self.assertEqual((after["online"], after["cloud_state"], after["heartbeat_interval"]),
                         (True, "unlocked", 20))
        self.assertGreater(after["last_seen"], before["last_seen"])
        times = [point["time"] for point in self.api.get(f"/locks/{lock}/history?days=1")["points"]]
        self.assertIn(before["last_seen"], times)
        self.assertEqual(times, sorted(set(times)))

        self.setup.admin.post("/admin/faults", [
            {"kind": "status", "status": 422, "match": {"path": "/devices/", "method": "PUT"}, "count": 1}])
        self.api.post(f"/locks/{lock}/commands", {"command": "lock"})
        self.assertIn("HTTP 422", wait_for_outcome("refused")["last_command"]["text"])


class Simulator(EndToEnd):
    def test_relay_takes_only_what_is_meant_and_says_when_nobody_answers(self):
        self.setup.start_host()
        self.assertTrue(self.api.get("/status")["simulator"])
        house = self.api.post("/simulator/locations", {"name": "Cabin"})["id"]
        self.api.put(f"/simulator/locations/{house}", {"name": "Hut"})
        lock = self.api.post("/simulator/locks", {"name": "Gate", "location_id": house})["id"]
        low = self.api.post(f"/simulator/locks/{lock}/battery", {"level": 7})
        self.assertEqual(low["physical"]["power_level"], 7)
        fault = {"kind": "status", "match": {"path": "/devices"}, "seconds": 60, "count": 0}
        self.assertEqual(self.api.post("/simulator/faults", [fault])["faults"][0]["seconds"], 60)
        self.assertIn("Hut", str(self.setup.admin.get("/admin/world")))
        self.api.get("/simulator/requests")
        self.api.get("/simulator/world?secrets=1")  # held against a description without secrets
        for method, path, body, status in (("POST", "/save", {}, 404), ("PATCH", "/faults", {}, 405),
                                           ("DELETE", f"/locations/{house}", None, 409),
                                           ("POST", f"/locks/{lock}/battery", {"level": 101}, 422)):
            with self.assertRaises(Refused) as refused:
                self.api.call(method, "/simulator" + path, body)
            self.assertEqual(refused.exception.status, status, path)
        self.setup.simulator.process.send_signal(signal.SIGSTOP)
        late = threading.Thread(target=lambda: self.assertRaises(Refused, self.api.get, "/simulator/world"))
        late.start()
        self.api.get("/status")
        self.assertTrue(late.is_alive(), "others are served while the simulator is waited for")
        late.join()
        self.setup.simulator.process.send_signal(signal.SIGCONT)
        self.setup.simulator.stop()
        with self.assertRaises(Refused) as refused:
            self.api.get("/simulator/world")
        self.assertIn("start it again", str(refused.exception))


class Events(EndToEnd):
    def follow(self, last_id=""):
        """The events from now on, or behind one, as they come: id, type and data of each."""
        request = urllib.request.Request(self.api.base + "/events", headers={"Last-Event-ID": last_id})
        stream = urllib.request.urlopen(request, timeout=60)
        events = []

        def read():
            fields = {}
            for line in stream:
                name, _, value = line.decode().strip().partition(": ")
                fields[name] = value
                if not name and "event" in fields:
                    events.append((fields["id"], fields["event"], json.loads(fields["data"])))
                    fields = {}

        threading.Thread(target=read, daemon=True).start()
        return events

    def test_every_type_is_as_described_and_missed_ones_are_sent_again(self):
        description = ApiDescription()
        account = self.start_with_house()
        events = self.follow()
        self.api.post("/restart")
        self.setup.admin.post("/admin/faults", [
            {"kind": "status", "status": 503, "match": {"path": "/devices"}, "count": 1}])
        self.setup.page(account)
        self.api.post(f"/interfaces/{account}/discover")
        self.api.put("/users/2", {"name": "Ann", "email": "", "pin": "4711"})
        self.api.put(f"/locks/{self.api.get('/locks')['locks'][0]['id']}/users/3", {"enabled": True})
        self.api.post("/users/2/access", {"locks": []})
        wait_for("the end of that",
                 lambda: self.api.get("/access")["guide"]["phase"] in ("done", "failed"), 60)
        wait_for("an event of every type",
                 lambda: {kind for _, kind, _ in events} == description.event_types, 60)

        def is_gone(*kinds):
            return {kind for _, kind, data in events if "gone" in data} == set(kinds)

        self.api.delete("/users/2")
        wait_for("the user to be gone, here and in the cloud", lambda: is_gone("user", "access"), 40)
        self.api.delete(f"/interfaces/{account}")
        wait_for("the locks to be gone", lambda: is_gone("lock", "user", "access"), 20)
        for _, kind, data in events:
            description.check_event(kind, data)
        missed = self.follow(events[0][0])
        wait_for("the events behind the first", lambda: len(missed) >= len(events) - 1, 20)
        self.assertEqual(missed[:len(events) - 1], events[1:])


class Ending(unittest.TestCase):
    """How a host alone ends: its exit status, its last words, its last save."""

    def start(self, *options, driver=None, state_dir="host", shell=(), limit=None):
        """A host, and its ready line. `limit` is a limit of the system and its value."""
        os.makedirs(ARGS.state_dir, exist_ok=True)
        shutil.rmtree(os.path.join(ARGS.state_dir, "host"), ignore_errors=True)
        process = subprocess.Popen(
            [*shell, os.path.join(ARGS.bin, "vestara-devhost"), "--driver", driver or ARGS.driver,
             "--state-dir", state_dir, "--print-ready", *options],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=ARGS.state_dir,
            start_new_session=True,
            preexec_fn=lambda: limit and resource.setrlimit(limit[0], (limit[1], limit[1])))

        def end():
            with process, contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)

        self.addCleanup(end)
        return process, process.stdout.readline()

    def test_wrong_use(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            rows = [
                (b"--nonsense", ("--nonsense",), {}),
                (b"0 to 65535", ("--listen", "127.0.0.1:65536"), {}),
                (b"another program has this port", ("--listen", f"127.0.0.1:{taken.getsockname()[1]}"), {}),
                (b"--ca-file nowhere.pem: No such file", ("--ca-file", "nowhere.pem"), {}),
                (b"--connect-to", ("--connect-to", "a:b"), {}),
                (b"--simulator http://example.com:80", ("--simulator", "http://example.com:80"), {}),
                (b"x cannot be used: Not a directory", (), {"state_dir": ARGS.driver + "/x"}),
                (b"DllMain", (), {"driver": glob.glob("/lib/*/libm.so.6")[0]}),
            ]
            processes = [(words, self.start(*options, **parts)[0]) for words, options, parts in rows]
        for words, process in processes:
            error = process.communicate(timeout=30)[1]
            self.assertEqual((process.returncode, words in error), (1, True), f"{words}: {error}")

    def test_last_save(self):
        saved = os.path.join(ARGS.state_dir, "host", "configuration")
        with self.subTest("the parent is gone"):
            parent, ready = self.start("--exit-with-parent", shell=("sh", "-c", '"$@" & wait', "sh"))
            parent.kill()
            parent.communicate(timeout=30)  # ends with the last one that holds its output
            self.assertTrue(ready.startswith(b"{") and os.path.exists(saved))
        with self.subTest("no file may grow"):
            process, _ = self.start(limit=(resource.RLIMIT_FSIZE, 0))
            process.terminate()
            error = process.communicate(timeout=30)[1]
            self.assertEqual((process.returncode, b"was not saved" in error), (1, True), error)

    def test_no_core_file(self):
        most = resource.getrlimit(resource.RLIMIT_CORE)[1]
        if most == 0:
            self.skipTest("this machine writes no core files")
        process, _ = self.start(limit=(resource.RLIMIT_CORE, most))
        process.send_signal(signal.SIGSEGV)
        self.assertFalse(os.WCOREDUMP(os.waitpid(process.pid, 0)[1]))


class Token(EndToEnd):
    def test_nobody_without_the_token_is_served_and_it_goes_with_the_host(self):
        self.start_with_house("--api-token")
        token = self.setup.host.ready["token"]
        file = os.path.join(ARGS.state_dir, "host", "api-token")
        with open(file, encoding="ascii") as kept:
            self.assertEqual((kept.read(), os.stat(file).st_mode & 0o777), (token + "\n", 0o600))
        self.assertGreaterEqual(len(token), 32)
        self.api.put("/users/0", {"name": token, "pin": "471108"})  # the driver traces names
        for wrong in (None, token[::-1]):
            stranger = JsonApi(self.api.base, ApiDescription().check, wrong)
            for path in ("/users?secrets=1", "/events"):
                with self.assertRaisesRegex(Refused, "401 .*" + file) as refused:
                    stranger.get(path)
                self.assertIn("Bearer", refused.exception.__cause__.headers["WWW-Authenticate"])
        self.assertEqual(self.setup.stop_host(), 0)
        self.assertFalse(os.path.exists(file))
        with open(os.path.join(ARGS.state_dir, "host.log"), encoding="utf-8") as log:
            text = log.read()
        self.assertIn("Updating AccessPerson: [***]", text)
        self.assertNotIn(token, text)


class Removal(EndToEnd):
    def test_a_lock_goes_from_here_only_and_comes_back_by_discovery_as_a_new_one(self):
        account = self.start_with_house()
        locks = self.api.get("/locks")["locks"]
        gone, = [lock["id"] for lock in locks if lock["name"] == "Front Door"]
        for lock in locks:
            self.api.put(f"/locks/{lock['id']}/users/1", {"enabled": True})
        self.api.put("/users/0", {"name": "Ann", "pin": "73519046"})

        def accesses():
            return {access["accessible_id"] for access in self.setup.admin.get("/admin/world")["accesses"]}

        wait_for("Ann's access", lambda: "lock-lake-front" in accesses(), 40)
        reader = TraceReader(self.api)
        self.api.delete(f"/locks/{gone}")
        with self.assertRaisesRegex(Refused, "404"):
            self.api.delete(f"/locks/{gone}")
        self.assertEqual(self.api.get("/status")["restarts"], 1)
        self.wait_for_lines(reader, "DoorLock not found in system - try re-discovering")
        self.assertEqual(self.names_of_locks(), ["Boat House"])
        self.assertIn("lock-lake-front", accesses())

        self.api.post(f"/interfaces/{account}/discover")
        wait_for("the lock again", lambda: self.names_of_locks() == ["Boat House", "Front Door"], 40)
        back, = [lock for lock in self.api.get("/locks")["locks"] if lock["name"] == "Front Door"]
        self.assertEqual((back["id"] > gone, back["enabled_users"]), (True, []))
        self.setup.stop_host()


class Restore(EndToEnd):
    def state(self):
        return (self.names_of_locks(), self.api.get("/users?secrets=1"),
                [account["id"] for account in self.api.get("/interfaces")["interfaces"]])

    def test_a_backup_comes_back_and_a_bad_one_changes_nothing(self):
        account = self.start_with_house()
        self.api.put("/users/3", {"name": "Ann", "pin": "73519046"})
        saved = self.state()
        with self.assertRaisesRegex(Refused, "secrets=1"):
            self.api.get("/backup")
        backup = self.api.get("/backup?secrets=1")
        self.api.delete(f"/interfaces/{account}")
        self.api.put("/users/3", {"name": "Bob", "pin": "90467351"})
        other = self.state()
        self.assertNotEqual(other, saved)

        lines = backup["configuration"].splitlines(keepends=True)
        lock = next(line for line in lines if line.startswith("component "))
        payload = "".join(re.findall("%..|.", lock.split(" ")[3])[:10])  # type, id and no more
        checked = f"component{payload}".encode()
        cut = f"component {len(payload)} {zlib.crc32(checked):08x} {payload}\n"
        for bad, why in [("".join(lines[:-1]), "records are missing"),
                         (backup["configuration"].replace(lock, cut), "driver cannot use"),
                         ("", "no whole backup")]:
            with self.assertRaisesRegex(Refused, f"400 .*{why}"):
                self.api.post("/restore", {"configuration": bad})
            self.assertEqual(self.state(), other)

        kept = self.api.post("/restore", backup)["kept_aside"]
        self.assertEqual(self.state(), saved)
        with open(kept, encoding="ascii") as file:
            self.assertEqual(("end " in file.read(), os.stat(kept).st_mode & 0o777), (True, 0o600))
        wait_for("the account at work with the tokens of the backup", lambda: any(
            found["health"]["state"] == "well" for found in self.api.get("/interfaces")["interfaces"]), 30)
        texts = json.dumps(self.api.get("/activity"))
        self.assertIn("was replaced by a backup", texts)
        self.assertNotIn("73519046", texts)
        self.setup.stop_host()


class RunCommand(unittest.TestCase):
    def test_options_are_answered_before_anything_else(self):
        port = str(self.enterContext(socket.create_server(("127.0.0.1", 0))).getsockname()[1])
        rows = [
            (["--help"], 0, "--fixture FILE"),
            (["--nonsense"], 2, "run: --nonsense is not an option"),
            (["--tour", "--sim-port"], 2, "run: --sim-port wants a value"),
            (["--admin-port=65536"], 2, "65536 is no port"),
            (["--sim-port", port, "--admin-port", port], 2,
             f"run: --admin-port {port}: --sim-port has the same"),
            (["--host-port", port], 2, f"run: --host-port {port}: another program has this port"),
            (["--state-dir", __file__], 2, f"run: --state-dir {__file__}: a file of that name is in the way"),
        ]
        for options, status, text in rows:
            with self.subTest(options=options):
                done = subprocess.run([os.path.join(ROOT, "run"), *options], capture_output=True, text=True,
                                      timeout=30, check=False)
                self.assertEqual(done.returncode, status)
                self.assertIn(text, done.stdout + done.stderr)
                self.assertNotIn("build:", done.stdout)

    def test_programs_end_with_the_terminal_and_with_a_killed_tour(self):
        for how in ("terminal closed", "killed"):
            with self.subTest(how=how):
                tour, terminal = pty.fork()
                if tour == 0:
                    os.execv(sys.executable, [
                        sys.executable, os.path.join(ROOT, "scripts", "tour.py"),
                        "--driver", ARGS.driver, "--bin", ARGS.bin, "--state-dir", ARGS.state_dir])
                shown = b""
                while b"2. An account is added" not in shown:
                    shown += os.read(terminal, 4096)
                with open(f"/proc/{tour}/task/{tour}/children", encoding="ascii") as children:
                    programs = [os.pidfd_open(int(pid)) for pid in children.read().split()]
                self.assertEqual(len(programs), 2)
                if how == "killed":
                    os.kill(tour, signal.SIGKILL)
                os.close(terminal)
                os.waitpid(tour, 0)
                for program in programs:
                    self.assertTrue(select.select([program], [], [], 20)[0], "it ends too")
                    os.close(program)

    def test_simulator_ends_in_order(self):
        program = os.path.join(ARGS.bin, "vestara-cloudsim")
        for number in (signal.SIGHUP, signal.SIGTERM):
            simulator = Program("the simulator", [program, "--state-dir", ARGS.state_dir, "--print-ready"],
                                os.devnull)
            self.addCleanup(simulator.stop)
            simulator.process.send_signal(number)
            self.assertEqual(simulator.wait(20), 0, number)
        wrong = subprocess.run([program, "--nonsense"], capture_output=True, check=False)
        self.assertEqual((wrong.returncode, b"--nonsense" in wrong.stderr), (1, True))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    for name in ("--bin", "--driver", "--state-dir"):
        parser.add_argument(name, required=True)
    ARGS, rest = parser.parse_known_args()
    unittest.main(argv=[sys.argv[0], *rest])
