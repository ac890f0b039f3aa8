"""Starts the simulator and the development host and talks to both, for the tour and the end-to-end tests."""

import html.parser
import json
import os
import signal
import ssl
import subprocess
import threading
import time
import urllib.error
import urllib.parse
import urllib.request


# Numbers by which the driver's account page knows its properties and actions.
STATUS, HOUSE = 2000, 2001
AUTHORISE, RESET = 20002, 20003


class StepFailed(Exception):
    """A step was not seen in time, or a program answered with an error; the text says which."""


class Refused(StepFailed):
    """A program answered a request with an error reply: it is alive, and did not do what was asked.

    The reply's HTTP status is in `status`.
    """

    def __init__(self, status, text):
        super().__init__(text)
        self.status = status


class Program:
    """A child process that prints one line of JSON on standard output when it is ready.

    The line's members are in `ready`. Standard error goes to `log_path`.
    """

    def __init__(self, name, command, log_path, timeout_s=20):
        self.name = name
        self.log_path = log_path
        self._log = open(log_path, "ab")
        try:
            self.process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self._log,
                start_new_session=True
            )
        except OSError as error:
            self._log.close()
            raise StepFailed(f"{name} could not be started: {error}") from error
        self.ready = self._read_ready(timeout_s)

    def _read_ready(self, timeout_s):
        lines = []
        reader = threading.Thread(target=lambda: lines.append(self.process.stdout.readline()), daemon=True)
        reader.start()
        reader.join(timeout_s)
        try:
            return json.loads(lines[0])
        except (IndexError, ValueError) as error:
            self.stop()
            raise StepFailed(
                f"{self.name} did not get ready; its last words:\n{self.last_words()}") from error

    def last_words(self, count=8):
        with open(self.log_path, encoding="utf-8", errors="replace") as log:
            return "".join(log.readlines()[-count:])

    def wait(self, timeout_s):
        """Waits for the program to end; its exit status, or None when it is still running."""
        try:
            return self.process.wait(timeout_s)
        except subprocess.TimeoutExpired:
            return None

    def stop(self, timeout_s=15):
        """Asks the program to end and waits for it; kills it when it does not. The exit status."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            if self.wait(timeout_s) is None:
                self.process.kill()
                self.process.wait()
        self.process.stdout.close()
        self._log.close()
        return self.process.returncode


class JsonApi:
    """A JSON API on loopback. Calls return the parsed reply; they raise Refused for an error reply and
    StepFailed for none. `check`, when given, is called with method, path, status and parsed reply of each; a
    `token` goes with each request."""

    def __init__(self, base, check=None, token=None):
        self.base = base
        self._headers = {"Authorization": f"Bearer {token}"} if token else {}
        self._check = check

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        headers = dict(self._headers)
        if data is not None or method != "GET":
            headers["Content-Type"] = "application/json"
        request = urllib.request.Request(self.base + path, data=data, method=method, headers=headers)
        try:
            with urllib.request.urlopen(request, timeout=30) as reply:
                status, text = reply.status, reply.read()
        except urllib.error.HTTPError as error:
            text = error.read().decode(errors="replace")
            if self._check:
                self._check(method, path, error.code, json.loads(text))
            raise Refused(error.code, f"{method} {path}: {error.code} {text}") from error
        except OSError as error:
            raise StepFailed(f"{method} {path}: {error}") from error
        parsed = json.loads(text) if text.strip() else None
        if self._check:
            self._check(method, path, status, parsed)
        return parsed

    def get(self, path):
        return self.call("GET", path)

    def put(self, path, body):
        return self.call("PUT", path, body)

    def post(self, path, body=None):
        return self.call("POST", path, {} if body is None else body)

    def delete(self, path):
        return self.call("DELETE", path)


class _ConsentForm(html.parser.HTMLParser):
    """Collects the forms of a page: action, hidden fields, named submit buttons."""

    def __init__(self):
        super().__init__()
        self.forms = []

    def handle_starttag(self, tag, attrs):
        attrs = dict(attrs)
        if tag == "form":
            self.forms.append({"action": attrs.get("action", ""), "fields": {}, "buttons": []})
        elif self.forms and tag == "input" and attrs.get("type") == "hidden":
            self.forms[-1]["fields"][attrs["name"]] = attrs.get("value", "")
        elif self.forms and (tag == "button" or (tag == "input" and attrs.get("type") == "submit")):
            self.forms[-1]["buttons"].append((attrs.get("name"), attrs.get("value", "")))


class Browser:
    """Follows the authorize page as a person's browser would: opens it, presses the first button, and follows
    the redirect back to the host. Trusts only the given CA."""

    def __init__(self, ca_file):
        context = ssl.create_default_context(cafile=ca_file)
        self._opener = urllib.request.build_opener(urllib.request.HTTPSHandler(context=context))

    def open(self, url, data=None):
        """The final address and the page's text."""
        try:
            with self._opener.open(url, data=data, timeout=30) as reply:
                return reply.geturl(), reply.read().decode("utf-8", "replace")
        except urllib.error.HTTPError as error:
            return error.geturl(), error.read().decode("utf-8", "replace")
        except OSError as error:
            raise StepFailed(f"the browser could not open {url.split('?')[0]}: {error}") from error

    def give_consent(self, url):
        """Presses the consent button of the authorize page; the final address and page."""
        address, page = self.open(url)
        parser = _ConsentForm()
        parser.feed(page)
        if not parser.forms:
            raise StepFailed(f"no consent form on the authorize page:\n{page[:500]}")
        form = parser.forms[0]
        fields = dict(form["fields"])
        for name, value in form["buttons"][:1]:
            if name:
                fields[name] = value
        target = urllib.parse.urljoin(address, form["action"] or address)
        return self.open(target, urllib.parse.urlencode(fields).encode())


# Nothing that a script started outlives it, even when it is killed, and what is where comes as one line of
# JSON.
END_AND_READY = ("--exit-with-parent", "--print-ready")


class Setup:
    """One simulator and one development host that talks to it, with their folders below `state_dir`.

    `fixture` may be None, for the simulator's own. `check`, when given, looks at the host's replies, as
    JsonApi says.
    """

    def __init__(self, bin_dir, driver, state_dir, fixture, sim_port=0, admin_port=0, host_port=0,
                 sim_options=(), check=None):
        self.check = check
        self.bin_dir = bin_dir
        self.driver = driver
        self.state_dir = state_dir
        self.host_port = host_port
        os.makedirs(state_dir, exist_ok=True)
        self.host = None
        self.api = None
        self.simulator = Program(
            "the simulator",
            [
                os.path.join(bin_dir, "vestara-cloudsim"),
                *("--state-dir", os.path.join(state_dir, "cloudsim")),
                *(("--fixture", fixture) if fixture else ()),
                *("--https-port", str(sim_port)),
                *("--admin-port", str(admin_port)),
                *END_AND_READY,
                *sim_options,
            ],
            os.path.join(state_dir, "cloudsim.log"),
        )
        self.admin = JsonApi(f"http://127.0.0.1:{self.simulator.ready['admin_port']}")
        self.ca_file = self.simulator.ready["ca_file"]

    def start_host(self, ca_file=None, connect_port=None, options=(), timeout_s=20):
        port = connect_port or self.simulator.ready["https_port"]
        self.host = Program(
            "the development host",
            [
                os.path.join(self.bin_dir, "vestara-devhost"),
                *("--driver", self.driver),
                *("--state-dir", os.path.join(self.state_dir, "host")),
                *("--ca-file", ca_file or self.ca_file),
                *("--connect-to", f"{self.simulator.ready['oauth_host']}:443:127.0.0.1:{port}"),
                *("--connect-to", f"{self.simulator.ready['api_host']}:443:127.0.0.1:{port}"),
                *("--authorize-base", f"https://127.0.0.1:{port}"),
                *("--simulator", self.admin.base),
                *END_AND_READY,
                *("--listen", f"127.0.0.1:{self.host_port}"),
                *("--log-file", os.path.join(self.state_dir, "host.log")),
                *options,
            ],
            os.path.join(self.state_dir, "host-stderr.log"),
            timeout_s,
        )
        ready = self.host.ready
        self.api = JsonApi(ready["api"] + "/api/v1", self.check, ready.get("token"))
        return ready

    def page(self, account):
        """Has the driver fill an account's page; the page, and its properties by their number."""
        page = self.api.get(f"/interfaces/{account}/page")
        return page, {item["id"]: item for item in page["properties"]}

    def choose_house(self, account, page, index):
        """Answers that page with the choice of a house; refused with 409 when its list has changed."""
        self.api.put(f"/interfaces/{account}/page", {"properties": {str(HOUSE): index}, "list": page["list"]})

    def authorise(self, account):
        """Authorises an account as a person in a browser does."""
        url = self.api.post(f"/interfaces/{account}/actions/{AUTHORISE}")["browser_url"]
        Browser(self.ca_file).give_consent(url)

    def stop_host(self, timeout_s=20):
        """Asks the host to shut down through its API and waits; its exit status."""
        self.api.post("/shutdown")
        status = self.host.wait(timeout_s)
        if status is None:
            raise StepFailed(f"the development host did not stop within {timeout_s} s")
        self.host.stop()
        return status

    def close(self):
        for program in (self.host, self.simulator):
            if program:
                program.stop()


class TraceReader:
    """Reads the host's trace lines and reports from the first one that is new to it."""

    def __init__(self, api):
        self._api = api
        self._last = 0
        self.new_texts()

    def new_texts(self):
        """The texts that came since the last call, oldest first."""
        texts = []
        while True:
            reply = self._api.get(f"/traces?since={self._last}&limit=500")
            self._last = reply["last"]
            if not reply["traces"]:
                return texts
            texts += [entry["text"] for entry in reply["traces"]]


def wait_for(what, probe, timeout_s, interval_s=0.3, on_wait=None):
    """Calls `probe` until it gives something true, and returns that; raises StepFailed after `timeout_s`."""
    end = time.monotonic() + timeout_s
    while True:
        seen = probe()
        if seen:
            return seen
        if time.monotonic() > end:
            raise StepFailed(f"not seen within {timeout_s} s: {what}")
        if on_wait:
            on_wait()
        time.sleep(interval_s)
