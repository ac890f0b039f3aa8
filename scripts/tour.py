"""The tour: the driver at work against the cloud simulator, each step seen in the host's own state.

Exit status: 0 when every step was seen, 1 when one was not, 2 for wrong options, 128 and the signal's number
when a signal ends the tour, as Ctrl-C (130) and the terminal's end (129) do.
"""

import argparse
import dataclasses
import errno
import fcntl
import os
import pwd
import re
import shutil
import signal
import socket
import sys
import tempfile
import time
import urllib.request

from vestara_client import Browser, Setup, StepFailed, TraceReader, wait_for

KEPT_RUNS = 5
AUTHORISE_ACTION = 20002
HOUSE_PROPERTY = "2001"
STATUS_PROPERTY = "2000"
SIGNATURE = "0x08000090"
# Long enough for one heartbeat of the demonstration's locks (20 s) and the status poll after it (15 s).
COMMAND_TIMEOUT_S = 75
# A user's number is its slot's, counted from one.
USER = {"slot": 3, "number": 4, "name": "Robin Keeper", "email": "robin@example.com", "pin": "0471",
        "new_pin": "04720", "new_email": "keeper@example.com"}


@dataclasses.dataclass
class Command:
    """By which command the tour was started: its name, the folder of the runs that have none given, whether
    its help is given here, and which options stand before the user's."""

    name: str
    runs: str
    has_help: bool = False
    version: str = ""
    given: tuple = ()


RUN = Command("run", os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), ".state"))


class WrongOption(Exception):
    """An option whose value cannot be used: what is wrong, and what to do."""


class Signalled(BaseException):
    """A signal that ends the tour; its number."""


class Screen:
    """Prints numbered steps and, below each, what was seen; a progress bar where the output is a terminal."""

    def __init__(self):
        self.step_number = 0
        self.start = time.monotonic()
        self._bar = False
        self._last_percent = None

    def step(self, title):
        self._end_bar()
        self.step_number += 1
        print(f"\n[{time.monotonic() - self.start:5.1f} s] {self.step_number}. {title}", flush=True)

    def seen(self, text):
        self._end_bar()
        print(f"    {text}", flush=True)

    def bar(self, percent, text):
        filled = max(0, min(100, percent)) * 20 // 100
        line = f"    [{'#' * filled}{'.' * (20 - filled)}] {percent:3d} %  {text}"
        if sys.stdout.isatty():
            # One column stays free: a line that fills the last one would wrap and scroll.
            print(f"\r\x1b[K{line[:shutil.get_terminal_size().columns - 1]}", end="", flush=True)
            self._bar = True
        elif self._last_percent is None or abs(percent - self._last_percent) >= 20:
            print(line, flush=True)
            self._last_percent = percent

    def _end_bar(self):
        if self._bar:
            print()
        self._bar = False
        self._last_percent = None


class Tour:
    def __init__(self, setup, screen):
        self.setup = setup
        self.screen = screen
        self.account = None

    @property
    def api(self):
        return self.setup.api

    def page(self):
        return self.api.get(f"/interfaces/{self.account}/page")

    def property_of(self, page, number):
        return next(p for p in page["properties"] if str(p["id"]) == number)

    def status_text(self):
        return self.property_of(self.page(), STATUS_PROPERTY)["value"]

    def locks(self):
        return self.api.get("/locks")["locks"]

    def lock(self, number):
        return self.api.get(f"/locks/{number}")

    def see_traces(self, wanted):
        """A probe for wait_for: true once every wanted text has come up in a new line of the host's log."""
        reader = TraceReader(self.api)
        missing = set(wanted)

        def probe():
            for text in reader.new_texts():
                missing.difference_update({want for want in missing if want in text})
            return not missing

        return probe

    def load_library(self):
        self.screen.step("The host loads the driver library")
        ready = self.setup.start_host(options=("--trace",))
        if ready.get("signature") != SIGNATURE:
            raise StepFailed(f"the library's signature is {ready.get('signature')}, not {SIGNATURE}")
        self.screen.seen(f"loaded {os.path.basename(self.setup.driver)}, signature {ready['signature']}")

    def add_account(self):
        self.screen.step("An account is added")
        self.account = self.api.post("/interfaces")["id"]
        status = self.status_text()
        if status != "[ Authorization Needed ]":
            raise StepFailed(f"the new account's page says {status}")
        self.screen.seen(f"interface {self.account}, its page says: {status}")

    def authorise(self):
        self.screen.step("The installer authorises it in a browser")
        action = self.api.post(f"/interfaces/{self.account}/actions/{AUTHORISE_ACTION}")
        self.screen.seen("the driver's authorize page: " + action["browser_url"].split("?")[0])
        address, _ = Browser(self.setup.ca_file).give_consent(action["browser_url"])
        self.screen.seen("consent given, and back at " + address.split("?")[0])
        wait_for("the account authorised", lambda: self.status_text() != "[ Authorization Needed ]", 40)
        self.screen.seen(f"tokens are there, the page says: {self.status_text()}")

    def choose_house(self):
        self.screen.step("The account's houses are offered, one is chosen")
        page = wait_for("the houses", self.page_with_houses, 40)
        choices = self.property_of(page, HOUSE_PROPERTY)["choices"]
        names = [choice["name"] for choice in choices]
        self.screen.seen("offered: " + ", ".join(names))
        self.api.put(f"/interfaces/{self.account}/page",
                     {"properties": {HOUSE_PROPERTY: choices[0]["index"]}, "list": page["list"]})
        self.screen.seen(f"chosen: {names[0]}")
        return names[0]

    def page_with_houses(self):
        page = self.page()
        return page if self.property_of(page, HOUSE_PROPERTY)["choices"] else None

    def discover(self, house):
        self.screen.step("The locks of the house are discovered and installed")
        location = next(place["id"] for place in self.cloud("locations") if place["name"] == house)
        there = sum(lock["location_id"] == location for lock in self.cloud("locks"))
        if there != 2:
            raise StepFailed("the tour wants a first house with two locks, "
                             f"and {house} of the fixture has {there}")
        wait_for("two installed locks", lambda: len(self.locks()) == 2, 40)
        name = wait_for("the interface named after its house", lambda: self.interface_named(house), 20)
        self.screen.seen(f"the interface is now called: {name}")
        for lock in self.locks():
            self.screen.seen(f"lock {lock['id']}: {lock['name']} (cloud id {lock['device_id']})")

    def interface_named(self, house):
        name = self.api.get(f"/interfaces/{self.account}")["name"]
        return name if name == f"Vestara Interface ({house})" else None

    def show_locks(self):
        self.screen.step("Their state comes from the cloud")
        wait_for("a state of every lock", self.all_states_known, 40)
        for lock in self.locks():
            self.screen.seen(f"{lock['name']:<14} {lock['state']:<9} battery {lock['battery']} %   "
                             f"WiFi {lock['signal']} %   {lock['error'] or 'no error'}")
        self.screen.seen("heartbeats are followed while a command waits for one, as in the next step")
        return self.locks()[0]["id"]

    def all_states_known(self):
        return all(lock["state"] in ("locked", "unlocked") and not lock["error"] for lock in self.locks())

    @staticmethod
    def wait_text(lock):
        if lock["progress"] >= 100:
            return "heartbeat passed, waiting for the report"
        if not lock["progress"]:
            return "waiting for the next heartbeat"
        return f"next heartbeat in {lock['progress_time']} s"

    def command(self, number, command, wanted_state, user=None):
        body = {"command": command}
        if user is not None:
            body["user"] = user
        traces = TraceReader(self.api)
        self.api.post(f"/locks/{number}/commands", body)
        self.screen.seen("sent; the lock carries it out at its next heartbeat")
        progress = {"seen": False}

        def arrived():
            lock = self.lock(number)
            if lock["working"]:
                progress["seen"] = progress["seen"] or lock["progress"] > 0
                self.screen.bar(lock["progress"], self.wait_text(lock))
            return lock if lock["state"] == wanted_state and not lock["working"] else None

        lock = wait_for(f"{command} carried out", arrived, COMMAND_TIMEOUT_S)
        if not progress["seen"]:
            raise StepFailed("the wait for the heartbeat showed no progress")
        heartbeat = [text for text in traces.new_texts() if "Heartbeat @" in text]
        if not heartbeat:
            raise StepFailed("the lock's heartbeat was not followed")
        self.screen.seen(f"heartbeat followed ({heartbeat[-1]})")
        return lock

    def unlock(self, number):
        self.screen.step("Unlock, on behalf of user 3")
        # The host unlocks for users that exist; enabled first, so that the cloud gives the new person access.
        self.api.put(f"/locks/{number}/users/3", {"enabled": True})
        self.api.put("/users/2", {"name": "Sam Visitor", "pin": "3141"})
        lock = self.command(number, "unlock", "unlocked", user=3)
        if lock["last_user"] != 103:
            raise StepFailed(f"the unlock was credited to {lock['last_user']}, not to user 3 (103)")
        self.screen.seen(f"{lock['name']} is {lock['state']}; the report is credited to user "
                         f"{lock['last_user'] - 100}")

    def lock_again(self, number):
        self.screen.step("Lock again")
        lock = self.command(number, "lock", "locked")
        self.screen.seen(f"{lock['name']} is {lock['state']}")

    def restart(self, house):
        self.screen.step("The host stops and starts again from its saved configuration")
        before = sorted((lock["id"], lock["device_id"], lock["name"]) for lock in self.locks())
        status = self.setup.stop_host()
        if status != 0:
            raise StepFailed(f"the host ended with status {status}:\n{self.setup.host.last_words()}")
        self.screen.seen("stopped cleanly")
        self.setup.start_host(options=("--trace",))
        polled = self.see_traces(["ProcessingResponse [4]"])
        after = sorted((lock["id"], lock["device_id"], lock["name"]) for lock in self.locks())
        if after != before:
            raise StepFailed(f"the locks came back as {after}, not {before}")
        if not self.interface_named(house):
            raise StepFailed("the house did not come back")
        if self.status_text() == "[ Authorization Needed ]":
            raise StepFailed("the tokens did not come back")
        wait_for("a poll with the saved token", polled, 40)
        self.screen.seen(f"tokens, house ({house}) and {len(after)} locks are back, and the cloud answers")

    def refresh_token(self):
        self.screen.step("The cloud withdraws the access token; the driver refreshes it")
        wanted = ["Token has been revoked - re-authentication needed", "Sending Token Refresh Command",
                  "Got new AccessToken"]
        refreshed = self.see_traces(wanted)
        self.setup.admin.post("/admin/tokens/revoke")
        wait_for("a token refresh", refreshed, 60)
        wait_for("the locks' state with the new token", self.all_states_known, 40)
        for line in wanted:
            self.screen.seen(line)
        self.screen.seen("a new token is there and the locks report again")

    def cloud(self, kind):
        """What the simulator's cloud holds of a kind ("access_persons" or "accesses")."""
        return self.setup.admin.get("/admin/world?secrets=1")[kind]

    def person_named(self, name):
        return next((p for p in self.cloud("access_persons") if p["name"] == name), None)

    def accesses_of(self, person):
        return [a["accessible_id"] for a in self.cloud("accesses") if a["access_person_id"] == person["id"]]

    def enter_pin(self, lock, pin):
        """Whether the lock itself opens to the PIN."""
        try:
            self.setup.admin.post(f"/admin/locks/{lock['device_id']}/pin", {"pin": pin})
            return True
        except StepFailed as refused:
            if "pin_refused" not in str(refused):
                raise
            return False

    def add_user(self, front):
        self.screen.step(f"A user is put into slot {USER['slot']} and enabled on {front['name']}")
        body = {key: USER[key] for key in ("name", "email", "pin")}
        # The driver passes a right on together with a change of the user, so the right comes first.
        self.api.put(f"/locks/{front['id']}/users/{USER['number']}", {"enabled": True})
        granted = self.see_traces([f"Processing [{USER['name']}:", "ProcessingResponse [13]"])
        self.api.put(f"/users/{USER['slot']}", body)
        person = wait_for("the person in the cloud", lambda: self.person_named(USER["name"]), 30)
        wait_for("the access in the cloud", lambda: self.accesses_of(person) == [front["device_id"]], 30)
        wait_for("the host's side of it", granted, 30)
        if USER["number"] not in self.lock(front["id"])["enabled_users"]:
            raise StepFailed("the host does not show the user as enabled")
        self.screen.seen(f"host: slot {USER['slot']} holds {USER['name']}, enabled on {front['name']}")
        self.screen.seen("host: the replies to creation and grant were processed")
        self.screen.seen(f"cloud: person {person['id']} with access to {front['device_id']} only")

    def open_by_pin(self, front, boat):
        self.screen.step("The PIN opens that lock and not the other")
        boat_state = self.lock(boat["id"])["state"]
        if self.enter_pin(boat, USER["pin"]):
            raise StepFailed(f"{boat['name']} opened to the PIN")
        if not self.enter_pin(front, USER["pin"]):
            raise StepFailed(f"{front['name']} did not open to the PIN")
        self.screen.seen(f"cloud: {front['name']} opened, {boat['name']} refused the PIN")
        wait_for("the opened lock in the host", lambda: self.lock(front["id"])["state"] == "unlocked", 30)
        if self.lock(boat["id"])["state"] != boat_state:
            raise StepFailed(f"the host shows a change of {boat['name']}")
        self.screen.seen(f"host: {front['name']} is unlocked, {boat['name']} is {boat_state} as before")

    def change_pin(self, front):
        self.screen.step("The PIN is changed")
        changed = self.see_traces(["User's PinCode changed from", "ProcessingResponse [9]"])
        self.api.put(f"/users/{USER['slot']}", {"pin": USER["new_pin"]})
        wait_for("the new PIN in the cloud",
                 lambda: self.person_named(USER["name"])["pin"] == USER["new_pin"], 30)
        wait_for("the host's side of it", changed, 30)
        if self.enter_pin(front, USER["pin"]) or not self.enter_pin(front, USER["new_pin"]):
            raise StepFailed("the lock does not follow the change of the PIN")
        self.screen.seen("host: the change was pushed and its reply processed")
        self.screen.seen(f"cloud: {front['name']} opens to the new PIN and refuses the old one")

    def disable_user(self, front):
        self.screen.step(f"The user gets a new e-mail address, and is disabled on {front['name']}")
        person = self.person_named(USER["name"])
        revoked = self.see_traces(["revoking cloud access", "Access Revoked from"])
        self.api.put(f"/locks/{front['id']}/users/{USER['number']}", {"enabled": False})
        self.api.put(f"/users/{USER['slot']}", {"email": USER["new_email"]})
        wait_for("the access gone from the cloud", lambda: not self.accesses_of(person), 30)
        wait_for("the host's side of it", revoked, 30)
        if self.enter_pin(front, USER["new_pin"]):
            raise StepFailed(f"{front['name']} still opens to the PIN")
        self.screen.seen("host: the access was looked up and revoked")
        self.screen.seen(f"cloud: the person has no access; {front['name']} refuses the PIN")

    def empty_slot(self):
        self.screen.step("The slot is emptied")
        deleted = self.see_traces([f"No user found at index [{USER['slot']}] - removing from cloud",
                                   "] Deleted"])
        self.api.delete(f"/users/{USER['slot']}")
        wait_for("the person gone from the cloud", lambda: not self.person_named(USER["name"]), 30)
        wait_for("the host's side of it", deleted, 30)
        if any(user["slot"] == USER["slot"] for user in self.api.get("/users")["users"]):
            raise StepFailed("the host still shows a user in the slot")
        self.screen.seen("host: the slot is empty and the deletion was handled")
        self.screen.seen("cloud: the person is gone")

    def fetch_page(self):
        """The configurator, and what it names; its address."""
        self.screen.step("The configurator's page is there")
        host = self.setup.host.ready["api"]

        def fetch(path):
            try:
                with urllib.request.urlopen(host + path, timeout=30) as reply:
                    return reply.read().decode()
            except OSError as error:
                raise StepFailed(f"GET {host}{path}: {error}") from error

        assets = re.findall(r'(?:src|href)="(/assets/[^"]+)"', fetch("/"))
        if not any(asset.endswith(".js") for asset in assets):
            raise StepFailed("the page names no script")
        size = sum(len(fetch(asset)) for asset in assets)
        self.screen.seen(f"{host}/ with {len(assets)} files, {size // 1024} KiB")

    def run(self):
        self.load_library()
        self.add_account()
        self.authorise()
        house = self.choose_house()
        self.discover(house)
        number = self.show_locks()
        self.unlock(number)
        self.lock_again(number)
        self.restart(house)
        self.refresh_token()
        front, boat = self.locks()
        self.add_user(front)
        self.open_by_pin(front, boat)
        self.change_pin(front)
        self.disable_user(front)
        self.empty_slot()


def short_path(path):
    """The path as seen from the present folder where that is shorter."""
    return min(path, os.path.relpath(path), key=len)


def stay_up(setup, screen):
    screen.step("Everything stays up")
    host = setup.host.ready["api"]
    screen.seen(f"configurator       {host}/")
    screen.seen("    open it          lock and unlock, give somebody a PIN, see how the account is")
    screen.seen("    view Simulator   break something, and see what the controller makes of it")
    screen.seen(f"cloud simulator    https://127.0.0.1:{setup.simulator.ready['https_port']}")
    screen.seen(f"    its admin      {setup.admin.base}/admin/world")
    screen.seen(f"    its CA         {short_path(setup.ca_file)}")
    screen.seen(f"state, logs        {short_path(setup.state_dir)}")
    screen.seen(f"try                curl {host}/api/v1/locks")
    screen.seen("Ctrl-C, or closing the terminal, stops both.")
    while True:
        for program in (setup.simulator, setup.host):
            if program.wait(0.5) is not None:
                raise StepFailed(f"{program.name} ended by itself:\n{program.last_words()}")


def port_number(text):
    number = int(text) if text.isdecimal() else -1
    if not 0 <= number <= 65535:
        raise argparse.ArgumentTypeError(f"{text} is no port: a number from 1 to 65535, or 0 for a free one")
    return number


def options(command):
    """The command line. The script `run` gives its help itself, since it can before there is a Python."""
    usage = None if command.has_help else "./run [options]; ./run --help lists them"
    parser = argparse.ArgumentParser(
        prog=command.name, usage=usage, add_help=command.has_help, allow_abbrev=False,
        description="Shows the driver at work against the cloud simulator (about a minute), and keeps both "
        "programs up until Ctrl-C or until the terminal is closed.")
    if command.version:
        parser.add_argument("--version", action="version", version=f"{command.name} {command.version}")
    parser.add_argument("--tour", action="store_true",
                        help="end after the tour; exit status 0 when every step was seen")
    parser.add_argument("--state-dir", metavar="DIR",
                        help="folder for certificates, configuration and logs (default: a new one in "
                        f"{command.runs}, which keeps the last five)")
    for name, program in (("--host-port", "development host"), ("--sim-port", "simulator (HTTPS)"),
                          ("--admin-port", "simulator's admin routes")):
        parser.add_argument(name, metavar="PORT", type=port_number, default=0,
                            help=f"port of the {program} (default: a free one)")
    parser.add_argument("--fixture", metavar="FILE",
                        help="world that the simulator starts from; the tour wants two locks in its first "
                        "house (default: the simulator's own)")
    # For tests: some builds have no page, and not every machine has what replies are checked with.
    for name in ("--check-options", "--without-page", "--check-replies"):
        parser.add_argument(name, action="store_true", help=argparse.SUPPRESS)
    parser.add_argument("--bin", required=True, help=argparse.SUPPRESS)
    parser.add_argument("--driver", required=True, help=argparse.SUPPRESS)
    return parser.parse_args([*command.given, *sys.argv[1:]])


def check_port(option, port):
    with socket.socket() as probe:
        probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            probe.bind(("127.0.0.1", port))
            probe.listen()
        except OSError as error:
            taken = error.errno == errno.EADDRINUSE
            why = "another program has this port" if taken else error.strerror
            raise WrongOption(f"{option} {port}: {why}",
                              f"give another port, or leave {option} out to take a free one.") from error


def owner_of(path):
    number = os.stat(path).st_uid
    try:
        return pwd.getpwuid(number).pw_name
    except KeyError:
        return f"user {number}"


def check_folder(folder, text, advice):
    """Makes the folder when it is missing; WrongOption with the text and the reason when no files can be put
    there."""
    try:
        os.makedirs(folder, exist_ok=True)
        tempfile.TemporaryFile(dir=folder).close()
    except OSError as error:
        reason = "a file of that name is in the way" if isinstance(error, FileExistsError) else error.strerror
        raise WrongOption(f"{text}: {reason}", advice) from error


def check_options(command, args):
    """Raises WrongOption for a value that the programs could not use, so that the complaint names the option
    given."""
    ports = {}
    for option, port in (("--host-port", args.host_port), ("--sim-port", args.sim_port),
                         ("--admin-port", args.admin_port)):
        if port in ports:
            raise WrongOption(f"{option} {port}: {ports[port]} has the same", "give each a port of its own.")
        if port:
            ports[port] = option
    for port, option in ports.items():
        check_port(option, port)
    if args.fixture:
        try:
            open(args.fixture, "rb").close()
        except OSError as error:
            raise WrongOption(f"--fixture {args.fixture}: {error.strerror}",
                              "give a JSON file, or leave --fixture out.") from error
    if args.state_dir:
        check_folder(args.state_dir, f"--state-dir {args.state_dir}",
                     "give a folder that you may write to, or leave --state-dir out.")
    else:
        mine = command.runs
        while not os.path.exists(mine):
            mine = os.path.dirname(mine)
        if os.stat(mine).st_uid == os.geteuid():
            check_folder(command.runs, command.runs, "free or mend that folder, or give --state-dir.")
        else:
            check_folder(command.runs, f"{mine} belongs to {owner_of(mine)}",
                         f"run this as {owner_of(mine)}, or give --state-dir, or use a copy of your own.")


def claim(folder):
    """Locks the folder until this program ends or closes the descriptor; None when another run has it."""
    descriptor = os.open(folder, os.O_RDONLY)
    try:
        fcntl.flock(descriptor, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        os.close(descriptor)
        return None
    return descriptor


def state_folder(command, args):
    """The folder of this run, claimed. Of the runs that had none given the oldest go, unless one is up."""
    if args.state_dir:
        folder = os.path.abspath(args.state_dir)
        if claim(folder) is None:
            raise WrongOption(f"--state-dir {args.state_dir}: another run has it",
                              "end that one, or give another folder.")
        return folder
    folder = os.path.join(command.runs, time.strftime("%Y%m%d-%H%M%S-") + str(os.getpid()))
    os.mkdir(folder)
    claim(folder)
    names = sorted(name for name in os.listdir(command.runs) if re.fullmatch(r"\d{8}-\d{6}-\d+", name))
    for old in (os.path.join(command.runs, name) for name in names[:-KEPT_RUNS]):
        descriptor = claim(old)
        if descriptor is not None:
            shutil.rmtree(old, ignore_errors=True)
            os.close(descriptor)
    return folder


def end_on(signals):
    """Turns signals into Signalled, once: what ends the programs must not be interrupted by the next one."""

    def signalled(number, _):
        for each in signals:
            signal.signal(each, signal.SIG_IGN)
        if number == signal.SIGHUP:
            # The terminal is gone, and writing to it would fail.
            null = os.open(os.devnull, os.O_WRONLY)
            os.dup2(null, sys.stdout.fileno())
            os.dup2(null, sys.stderr.fileno())
        raise Signalled(number)

    for number in signals:
        # Ignored already means nohup: whoever says that wants the programs to outlive the terminal.
        if signal.getsignal(number) != signal.SIG_IGN:
            signal.signal(number, signalled)


def main(command=RUN):
    args = options(command)
    screen = Screen()
    setup = None
    is_up = False
    try:
        check_options(command, args)
        if args.check_options:
            return 0
        state_dir = state_folder(command, args)
        end_on((signal.SIGINT, signal.SIGTERM, signal.SIGHUP))
        check = None
        if args.check_replies:
            from api_description import ApiDescription
            check = ApiDescription().check
        setup = Setup(args.bin, os.path.abspath(args.driver), state_dir, args.fixture, args.sim_port,
                      args.admin_port, args.host_port, check=check)
        tour = Tour(setup, screen)
        tour.run()
        if not args.without_page:
            tour.fetch_page()
        screen.step("Every step was seen")
        if not args.tour:
            is_up = True
            stay_up(setup, screen)
        return 0
    except WrongOption as wrong:
        print("{}: {}\nWhat to do: {}".format(command.name, *wrong.args), file=sys.stderr)
        return 2
    except StepFailed as failure:
        print(f"\nFailed: {failure}\nLogs: {short_path(state_dir)}", file=sys.stderr)
        return 1
    except Signalled as ended:
        print("\nstopping ...")
        return 0 if is_up else 128 + ended.args[0]
    finally:
        if setup:
            setup.close()


if __name__ == "__main__":
    sys.exit(main())
