// The page's logic without a browser: what events do to the state, words, and the log.

import assert from "node:assert/strict";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

async function load(name) {
    const entry = fileURLToPath(new URL(`../src/${name}.ts`, import.meta.url));
    const { outputFiles } = await build({ entryPoints: [entry], bundle: true, format: "esm", write: false });
    return import(`data:text/javascript;base64,${Buffer.from(outputFiles[0].contents).toString("base64")}`);
}
const { EMPTY, reduce } = await load("state");
const { ago, commandWords, contraryWords, differences, heartbeatWords, historyWords, lastUser, listed, percent, waitWords } = await load("words");
const { filtered, logText } = await load("log");

test("events bring the state to what the host has, also when they come twice", () => {
    const events = [
        ["snapshot", { status: { restarts: 0, save: { error: "", pending: true } }, interfaces: [{ id: 1, health: "old" }, { id: 2 }], locks: [{ id: 7 }], users: [{ slot: 3 }] }],
        ["lock", { id: 5, name: "new" }], ["lock", { id: 7, gone: true }],
        ["user", { slot: 1, name: "Ann" }], ["user", { slot: 1, name: "Anna" }], ["user", { slot: 3, gone: true }],
        ["access", { slot: 3, name: "Bob" }], ["access", { slot: 1, name: "Ann" }], ["access", { slot: 3, gone: true }],
        ["health", { interface: 1, health: "now" }], ["health", { interface: 9, health: "of nobody" }],
        ["page", { interface: 1, page: "p1" }], ["page", { interface: 2, page: "p2" }],
        ["saved", { ok: false, error: "disk full" }], ["restarted", { restarts: 4 }], ["unheard-of", {}],
    ];
    for (const repeats of [1, 2]) {
        let state = EMPTY;
        for (const [type, data] of events) for (let i = 0; i < repeats; ++i) state = reduce(state, type, data);
        assert.deepEqual(state.locks, [{ id: 5, name: "new" }]);
        assert.deepEqual(state.users, [{ slot: 1, name: "Anna" }]);
        assert.deepEqual(state.access, [{ slot: 1, name: "Ann" }]);
        assert.equal(state.interfaces[0].health, "now");
        assert.deepEqual(state.status, { restarts: 4, save: { error: "disk full", pending: false } });
        state = reduce(state, "interfaces", { interfaces: [{ id: 2 }] });
        assert.deepEqual([...state.pages], [[2, "p2"]]);
    }
    assert.equal(EMPTY.loaded, false);
});

test("words for people", () => {
    const users = [{ id: 3, name: "Ann" }];
    assert.deepEqual([0, 1, 103, 104].map((last_user) => lastUser({ last_user }, users)),
        ["", "by hand or by nobody in particular", "by Ann", "by user 4, who is gone"]);
    assert.deepEqual([[], ["a"], ["a", "b"], ["a", "b", "c"]].map(listed), ["", "a", "a and b", "a, b and c"]);
    assert.deepEqual([percent(null), percent(0)], ["not heard yet", "0 %"]);
    const now = Date.parse("2026-01-10T00:00:00Z");
    assert.deepEqual([-5, 59, 60, 3600, 48 * 3600].map((s) => ago(new Date(now - s * 1000).toISOString(), now)),
        ["5 s ago", "59 s ago", "1 min ago", "1 h ago", "2 days ago"]);
    const at = (seconds) => new Date(now + seconds * 1000).toISOString();
    assert.deepEqual([{ last_seen: null }, { last_seen: at(-60), next_heartbeat: null }, { last_seen: at(-60), next_heartbeat: at(30) }, { last_seen: at(-60), next_heartbeat: at(-1) }]
        .map((lock) => heartbeatWords(lock, now)), ["not heard yet", "1 min ago", "1 min ago, next in 30 s", "1 min ago, the next is due"]);
    assert.match(commandWords({ last_command: { command: "unlock", time: at(-5), outcome: "refused", text: "No (HTTP 422)" } }, now).text,
        /^Unlock, 5 s ago: the cloud refused it: No \(HTTP 422\)/);
    assert.deepEqual([[false, "locked", "unlocked"], [true, "locked", "unlocked"], [false, "locked", "locked"], [false, "unknown", "locked"], [false, "locked", null]]
        .map(([working, state, cloud_state]) => contraryWords({ working, state, cloud_state }) !== ""), [true, false, false, false, false]);
    assert.deepEqual([[0, 0], [40, 12], [100, 0]].map(([progress, progress_time]) => waitWords({ progress, progress_time }).split(".")[0]),
        ["", ", 12 s", ", which is late"].map((left) => `Waits for the lock's next heartbeat${left}`));
    assert.equal(historyWords([{ battery: 80, wifi: null, gap_seconds: null }, { battery: 84, wifi: null, gap_seconds: 61 }]),
        "2 heartbeats: battery 84 %, lowest 80 %; longest gap between two 1 min.");
});

test("what differs of a user is told once for each cause", () => {
    const access = { person: { sync: "agrees", cause: "" }, locks: [{ lock: 1, sync: "lost", cause: "A" }, { lock: 2, sync: "agrees", cause: "" },
        { lock: 3, sync: "lost", cause: "B" }, { lock: 4, sync: "lost", cause: "A" }] };
    assert.deepEqual(differences(access, (id) => `L${id}`).map(({ about, verdict }) => [about, verdict.lock]), [[["L1", "L4"], 1], [["L3"], 3]]);
});

test("log entries are filtered, and written one a line", () => {
    const entries = [
        { time: "T1", thread: "t", producer: "a", report: false, text: "Hello\r\nworld" },
        { time: "T2", thread: "t", producer: "b", report: true, line: 7, text: "no" },
    ];
    const texts = (filter) => filtered(entries, { producer: "", kind: "", text: "", ...filter }).map(({ time }) => time);
    assert.deepEqual([{}, { producer: "b" }, { kind: "trace" }, { text: "WORLD" }, { kind: "report", text: "world" }].map(texts),
        [["T1", "T2"], ["T2"], ["T1"], ["T1"], []]);
    assert.equal(logText(entries), "T1 t a: Hello\\nworld\nT2 t b report 7: no\n");
});
