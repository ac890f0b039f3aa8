"""Soak: many hands on one host at once, and a cloud that misbehaves, for a given time.

Meant for programs built with the thread checker; any other build is soaked for crashes and hangs. Several
threads press everything that the host's API and the simulator's admin offer, while requests are refused,
tokens are withdrawn and replies are harmed; between rounds the host ends and starts again. It fails when a
program reports, crashes, ends with another status than 0 or does not answer in time. The seed fixes what each
hand does, not how they meet.
"""

import argparse
import collections
import contextlib
import ctypes
import json
import os
import pathlib
import random
import re
import shutil
import sys
import threading

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, os.path.join(ROOT, "scripts"))

from api_description import ApiDescription  # noqa: E402
from vestara_client import AUTHORISE, HOUSE, RESET, STATUS, Refused, Setup, StepFailed, wait_for  # noqa: E402

HOUSES, LOCKS_OF_A_HOUSE, USERS = 4, 5, 6
# A token is refreshed ten minutes before its end, so this one is every few seconds.
TOKEN_LIFETIME_S = 604
ROUND_S = 15
# What a program that reported something ends with; the reports themselves are counted at the end.
REPORTED = 66
# personality(2): the thread checker's map of the address space has no room for all places that Linux takes.
ADDR_NO_RANDOMIZE = 0x40000


def world(persons):
    """A fixture with enough persons that their list is worked on for as long as a request takes."""
    locks = [{"id": f"lock-{h}-{i}", "name": f"Door {h}.{i}", "location_id": f"house-{h}",
              "serial_number": f"S-{h}-{i}", "programming_code": f"{h}{i}4711", "heartbeat_interval": 2 + i,
              "state": "locked", "power_source": "battery", "power_level": 50, "wifi_level": 50}
             for h in range(HOUSES) for i in range(LOCKS_OF_A_HOUSE)]
    return {"account": {"name": "Owner", "email": "owner@house.example"}, "locks": locks,
            "locations": [{"id": f"house-{i}", "name": f"House {i}"} for i in range(HOUSES)],
            "access_persons": [{"id": f"person-{i}", "name": f"Person {i}", "email": f"p{i}@house.example",
                                "pin": f"9{i:07}"} for i in range(persons)],
            "accesses": [{"id": f"access-{i}", "access_person_id": f"person-{i % persons}",
                          "accessible_id": locks[i % len(locks)]["id"]} for i in range(2 * len(locks))]}


class Soak:
    def __init__(self, setup, seed):
        self.setup = setup
        self.seed = seed
        self.counts = collections.Counter()
        self.failures = []
        self.stop = threading.Event()
        # What each hand does, and the longest pause after it in seconds.
        self.hands = {self.pages: 0.1, self.locks: 0.1, self.users: 0.3, self.accounts: 1, self.faults: 0,
                      self.tokens: 8, self.reader: 0.1}

    def round(self, number, seconds):
        """Starts the host, lets all hands work on it for the time, and ends it."""
        self.setup.start_host(options=("--trace",), timeout_s=60)
        self.bring_up()
        self.stop.clear()
        hands = [threading.Thread(target=self.work, args=(
            hand, random.Random(f"{self.seed}/{number}/{hand.__name__}"))) for hand in self.hands]
        for hand in hands:
            hand.start()
        self.stop.wait(seconds)
        self.stop.set()
        for hand in hands:
            hand.join(60)
        if any(hand.is_alive() for hand in hands):
            raise StepFailed("a request is never answered")
        self.setup.admin.delete("/admin/faults")
        if self.failures:
            raise StepFailed("; ".join(self.failures))
        status = self.setup.stop_host(timeout_s=60)
        if status not in (0, REPORTED):
            raise StepFailed(f"the host ended with status {status}:\n{self.setup.host.last_words()}")

    def work(self, hand, rng):
        while not self.stop.is_set():
            try:
                hand(rng)
                self.counts[hand.__name__] += 1
                self.stop.wait(rng.random() * self.hands[hand])
            except Exception as problem:
                # Another hand was faster: what was to be pressed is gone or does not fit any more.
                if isinstance(problem, IndexError) or getattr(problem, "status", 500) < 500:
                    self.counts["refused"] += 1
                    self.stop.wait(0.1)
                    continue
                self.failures.append(f"{hand.__name__}: {problem!r}")
                self.stop.set()

    def accounts_of_host(self):
        return [account["id"] for account in self.setup.api.get("/interfaces")["interfaces"]]

    def bring_up(self):
        """Two accounts, tokens and installed locks before the hands begin, whatever was left behind."""
        while len(self.accounts_of_host()) < 2:
            self.setup.api.post("/interfaces")

        def up():
            for account in self.accounts_of_host():
                if not self.authorise(account):
                    continue
                page, properties = self.setup.page(account)
                if properties[HOUSE]["selected"] >= 0:
                    self.setup.api.post(f"/interfaces/{account}/discover")
                elif choices := properties[HOUSE]["choices"]:
                    with contextlib.suppress(Refused):  # the driver may have another list of houses by now
                        self.setup.choose_house(account, page, choices[0]["index"])
            return self.setup.api.get("/locks")["locks"]

        wait_for("an account with locks", up, 120, 4)

    def authorise(self, account):
        """Consents when the account's page asks for it; whether it has tokens."""
        page, properties = self.setup.page(account)
        if properties[STATUS]["value"] != "[ Authorization Needed ]":
            return True
        if any(action["id"] == AUTHORISE for action in page["actions"]):
            self.setup.authorise(account)
        return False

    def pages(self, rng):
        account = rng.choice(self.accounts_of_host())
        page, properties = self.setup.page(account)
        house, base = properties[HOUSE], f"/interfaces/{account}"
        # A house that is chosen stays for a while, so that its locks are there to work with.
        wants = house["selected"] < 0 or rng.random() < 0.03
        kind = rng.random()
        if kind < 0.4:
            self.setup.api.post(f"{base}/page/refresh")
        elif kind < 0.7 and wants:
            self.setup.choose_house(account, page, rng.choice(house["choices"])["index"])
        else:
            page = self.setup.api.get(f"{base}/extended-page")
            if wants:
                choice = rng.choice(range(len(page["choices"])))
                self.setup.api.put(f"{base}/extended-page", {"selected": choice, "list": page["list"]})

    def locks(self, rng):
        lock = rng.choice(self.setup.api.get("/locks")["locks"])["id"]
        base = f"/locks/{lock}"
        kind = rng.random()
        if kind < 0.5:
            unlock = {"command": "unlock", "user": rng.randint(1, USERS)}
            self.setup.api.post(f"{base}/commands", unlock if rng.random() < 0.5 else {"command": "lock"})
        elif kind < 0.8:
            self.setup.api.get(f"{base}/status-page")
            items = [{"string": ""}] * 3 + [{"int": rng.randrange(2)}, {"int": rng.randrange(5)}]
            self.setup.api.put(f"{base}/status-page", {"items": items})
        else:
            lock = f"lock-{rng.randrange(HOUSES)}-{rng.randrange(LOCKS_OF_A_HOUSE)}"
            self.setup.admin.post(f"/admin/locks/{lock}/turn", {"state": rng.choice(["locked", "unlocked"])})

    def users(self, rng):
        slot = rng.randrange(USERS)
        kind = rng.random()
        if kind < 0.25:
            self.setup.api.delete(f"/users/{slot}")
        elif kind < 0.5:
            lock = rng.choice(self.setup.api.get("/locks")["locks"])["id"]
            self.setup.api.put(f"/locks/{lock}/users/{slot + 1}", {"enabled": rng.random() < 0.6})
        else:
            # Some take over a person that the cloud has already.
            known = rng.random() < 0.5
            self.setup.api.put(f"/users/{slot}", {
                "name": f"Person {rng.randrange(4)}{slot}" if known else f"User {slot}.{rng.randrange(9)}",
                "email": f"u{slot}@house.example", "pin": f"{slot + 1}{rng.randrange(10 ** 6):06}"})

    def accounts(self, rng):
        accounts = self.accounts_of_host()
        account = rng.choice(accounts)
        kind = rng.random()
        if kind < 0.3:
            for _ in range(rng.choice([1, 1, 8])):
                self.setup.api.post(f"/interfaces/{account}/discover")
        elif kind < 0.85:
            self.authorise(account)
        elif kind < 0.87:
            self.setup.api.post(f"/interfaces/{account}/actions/{RESET}")
        elif kind < 0.91:
            self.setup.api.post("/restart")
        elif kind < 0.94 or len(accounts) > 3:
            self.setup.api.delete(f"/interfaces/{account}")
        else:
            self.setup.api.post("/interfaces")

    def faults(self, rng):
        storm = [{"kind": "status", "status": 401}] * 5 + [
            {"kind": "status", "status": 400}, {"kind": "close"}, {"kind": "bad_json"}, {"kind": "truncate"},
            {"kind": "delay", "delay_ms": rng.randrange(1500)}, {"kind": "body", "body": '{"data":[]}'}]
        paths = ["/devices", "/access_persons", "/locations", "/oauth/token"]
        for fault in rng.choices(storm, k=rng.randint(1, 4)):
            harm = {**fault, "match": {"path": rng.choice(paths)}, "count": 1}
            self.setup.admin.post("/admin/faults", [harm])
        self.stop.wait(rng.random() * 3)
        self.setup.admin.delete("/admin/faults")

    def tokens(self, rng):
        self.setup.admin.post("/admin/tokens/revoke", {"refresh": rng.random() < 0.1})

    def reader(self, rng):
        for path in ("/status", "/locks", "/users", "/counters", "/interfaces", "/traces?limit=5",
                     "/trace-switches"):
            self.setup.api.get(path)
        if rng.random() < 0.05:
            self.setup.api.put("/trace-switches", {"*": rng.random() < 0.7})
        if rng.random() < 0.05:
            self.setup.api.post("/save")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("--bin", "--driver", "--state-dir"):
        parser.add_argument(name, required=True)
    parser.add_argument("--duration", type=int, default=600, help="seconds of work without starts and stops")
    parser.add_argument("--persons", type=int, default=300, help="access persons of the cloud")
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 32))
    args = parser.parse_args()
    print(f"seed {args.seed}", flush=True)

    folder = pathlib.Path(args.state_dir).absolute()
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    fixture = folder / "world.json"
    fixture.write_text(json.dumps(world(args.persons)), encoding="utf-8")
    # Where it is not allowed, nothing is lost on most machines.
    ctypes.CDLL(None).personality(ADDR_NO_RANDOMIZE)
    options = {"log_path": f"{folder}/checker", "halt_on_error": 0, "exitcode": REPORTED, "history_size": 7}
    os.environ["TSAN_OPTIONS"] = " ".join(f"{name}={value}" for name, value in options.items())

    failure = None
    try:
        setup = Setup(args.bin, args.driver, args.state_dir, fixture,
                      sim_options=("--token-lifetime", str(TOKEN_LIFETIME_S), "--log-level", "warn"),
                      check=ApiDescription().check)
        with contextlib.closing(setup):
            soak = Soak(setup, args.seed)
            for number, left in enumerate(range(args.duration, 0, -ROUND_S)):
                soak.round(number, min(left, ROUND_S))
                print(f"round {number}: {dict(soak.counts)}", flush=True)
            if idle := [hand.__name__ for hand in soak.hands if not soak.counts[hand.__name__]]:
                raise StepFailed(f"nothing came of {idle}")
        if setup.simulator.process.returncode not in (0, REPORTED):
            raise StepFailed(f"the simulator ended with status {setup.simulator.process.returncode}")
    except StepFailed as problem:
        failure = str(problem)
    found = "".join(path.read_text(encoding="utf-8", errors="replace") for path in folder.glob("checker.*"))
    for summary, count in collections.Counter(re.findall("^SUMMARY: .*", found, re.M)).most_common():
        print(f"{count:4} x {summary}")
    if found:
        failure = f"the checker's words are in {folder}/checker.*; {failure or 'else all went well'}"
    print(f"failed: {failure}" if failure else "no report")
    return 1 if failure else 0


if __name__ == "__main__":
    sys.exit(main())
