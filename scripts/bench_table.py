"""Prints what the benchmarks measured as one table: what, measured, limit, verdict.

Argument: the folder with the results of scripts/bench.
"""

import json
import math
import os
import re
import subprocess
import sys

KIB = 1024
LOCKS = (1, 10, 100, 1000)
ENTRIES = (10, 100, 1000)
WORST = {
    "PersonsNew": "persons, new",
    "PersonsKnown": "persons, known",
    "PersonsSenseless": "persons without values",
    "LocationsNew": "houses, new",
    "LocationsKnown": "houses, known",
    "LocksNew": "locks, to be installed",
    "LocksKnown": "locks, installed, renamed",
    "LocksBare": "locks, installed, without a state",
    "LocksUnknown": "locks, not installed",
    "LocksOfNobody": "locks of an unknown house",
    "LocksSenseless": "locks without values",
    "AccessesRevoked": "accesses, all to be taken away",
}


class Results:
    """The benchmarks' figures by name, like "StatusReply/10"."""

    def __init__(self, folder):
        self.runs = {}
        for program in ("vestara_bench", "vestara_library_bench", "vestara_network_bench"):
            with open(os.path.join(folder, program + ".json"), encoding="utf-8") as file:
                for run in json.load(file)["benchmarks"]:
                    if run["run_type"] == "iteration":
                        name = re.match(r"\w+(/(?!manual_time)\w+\b(?!:))*", run["name"]).group()
                        self.runs.setdefault(name, []).append(run)

    def _figure(self, name, field, choose):
        """NaN, which keeps no limit, when the benchmark is missing or gave up."""
        runs = self.runs.get(name, [])
        if not runs or any(run.get("error_occurred") for run in runs):
            return math.nan
        return choose(run[field] for run in runs)

    def ns(self, name, clock="cpu_time"):
        """The smallest of the repetitions: whatever else the machine does only adds to a time."""
        return self._figure(name, clock, min)

    def count(self, name, field):
        """The largest of the repetitions: a count has no such excuse."""
        return self._figure(name, field, max)


def initialisers(library):
    """Bytes of the library's table of static initialisers; the C runtime's own entry takes 8."""
    sections = subprocess.run(["readelf", "-SW", library], check=True, capture_output=True, text=True).stdout
    match = re.search(r"\.init_array\s+\w+\s+\w+\s+\w+\s+(\w+)", sections)
    return int(match.group(1), 16) if match else 0


def rows(results, library):
    """(what, figure, limit, form of both, remark)"""
    yield "idle call, nothing due: time", results.ns("IdleCall"), 200, "{:.0f} ns", ""
    yield "idle call, nothing due: allocations", results.count("IdleCall", "allocations"), 0, "{:.0f}", ""
    yield ("worker passes, nothing due: allocations", results.count("WorkerPass", "allocations"), 0, "{:.0f}",
           "a million passes, 32,000 of them with a turn")
    for n in LOCKS:
        total, bare = results.ns(f"StatusReply/{n}"), results.ns(f"BareParse/Locks/{n}")
        yield (f"status reply of {n:,} {'lock' if n == 1 else 'locks'} over its bare parse", total / bare, 2,
               "{:.2f}", f"{total / 1e3:,.1f} us over {bare / 1e3:,.1f} us")
    for kind, name in ("Persons", "person list"), ("Accesses", "access list"):
        for n in ENTRIES:
            total, bare = results.ns(f"{kind}Reply/{n}"), results.ns(f"BareParse/{kind}/{n}")
            yield (f"{name} of {n:,} over its bare parse", total / bare, 2, "{:.2f}",
                   f"{total / 1e3:,.1f} us over {bare / 1e3:,.1f} us")
    for name, what in WORST.items():
        real, cpu = results.ns(f"TakeWorst/{name}", "real_time"), results.ns(f"TakeWorst/{name}")
        yield f"reply of 10,000 {what}", real / 1e6, 1000, "{:.0f} ms", f"{cpu / 1e6:,.0f} ms of CPU"
    requests = ("CurlRequest/Full", "HostRequest/Full", "HostRequest/Resumed")
    curl, full, resumed = (results.ns(name) for name in requests)
    yield ("request over TLS, resumed, over libcurl's", resumed / curl, 0.5, "{:.2f}",
           f"{resumed / 1e3:,.0f} us of CPU over {curl / 1e3:,.0f} us; "
           f"{full / 1e3:,.0f} us with a full handshake")
    growth = math.log(results.ns("StatusReply/1000") / results.ns("StatusReply/10")) / math.log(100)
    yield "growth from 10 to 1,000 locks: exponent", growth, 1.1, "{:.2f}", ""
    yield "request assembled: status poll", results.ns("RequestAssembly/0") / 1e3, 5, "{:.2f} us", ""
    yield "request assembled: unlock", results.ns("RequestAssembly/1") / 1e3, 5, "{:.2f} us", ""
    yield "library, stripped", os.path.getsize(library) / KIB, 256, "{:.0f} KB", ""
    yield "library, loaded", results.ns("LibraryLoad", "real_time") / 1e6, 1, "{:.3f} ms", ""
    yield "library, table of initialisers", initialisers(library), 8, "{:.0f} bytes", "8: the C runtime's own"
    yield ("memory a lock, host's part included", results.count("LockMemory", "bytes") / KIB, 4, "{:.2f} KB",
           "mean of 1,000 locks")
    yield ("memory a person", results.count("PersonMemory", "bytes") / KIB, 1, "{:.2f} KB",
           "mean of 1,000 persons")
    yield ("memory grown over a million polls", results.count("PollGrowth", "bytes"), 0, "{:.0f} bytes",
           "one lock")


def main():
    folder = sys.argv[1]
    line = "{:<46} {:>12} {:>12}  {:<7} {}"
    print(line.format("what", "measured", "limit", "verdict", "").rstrip())
    for what, figure, limit, form, remark in rows(Results(folder), os.path.join(folder, "libLVESTARA.so")):
        verdict = "met" if figure <= limit else "MISSED"
        print(line.format(what, form.format(figure), form.format(limit), verdict, remark).rstrip())


main()
