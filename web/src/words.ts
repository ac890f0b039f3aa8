// What things are called on the page.

import type { Access, Counters, Guide, Health, Heartbeat, Lock, User, Verdict } from "./api.ts";

export type Tone = "good" | "warn" | "bad" | "plain";

/** The badge of an account. The reason stands beside it. */
export function healthWords(health: Health): { text: string; tone: Tone } {
    switch (health.state) {
        case "new": return { text: "Not asked yet", tone: "plain" };
        case "needs_authorisation": return { text: "Sign-in needed", tone: "bad" };
        case "unreachable": return { text: "Cloud not reachable", tone: "bad" };
        case "refused": return { text: "Token refused", tone: "warn" };
        case "discovering": return { text: "Signed in", tone: "warn" };
        case "well": return { text: "Well", tone: "good" };
        case "quiet": return { text: "Silent", tone: "warn" };
    }
}

/** Whether the cloud has what is wanted of a user. */
export function syncWords(sync: Verdict["sync"]): { text: string; tone: Tone } {
    switch (sync) {
        case "agrees": return { text: "Agrees", tone: "good" };
        case "waiting": return { text: "Waiting", tone: "plain" };
        case "refused": return { text: "Refused", tone: "bad" };
        case "lost": return { text: "Lost", tone: "bad" };
        case "not_sent": return { text: "Not sent", tone: "warn" };
        case "unknown": return { text: "Unknown", tone: "plain" };
    }
}

/** What differs of a user, each cause once: what it is about, and the first verdict of this cause. */
export function differences(access: Access, lockName: (id: number) => string): { about: string[]; verdict: Verdict }[] {
    const verdicts: [string, Verdict][] = [["Name, PIN and e-mail", access.person],
        ...access.locks.map((cell): [string, Verdict] => [lockName(cell.lock), cell])];
    const found = new Map<string, { about: string[]; verdict: Verdict }>();
    for (const [about, verdict] of verdicts) {
        if (verdict.sync === "agrees") continue;
        const key = `${verdict.sync} ${verdict.cause}`;
        const same = found.get(key);
        if (same) same.about.push(about);
        else found.set(key, { about: [about], verdict });
    }
    return [...found.values()];
}

/** How far giving access is: of three steps. */
export function guideStep(guide: Guide): number {
    return { deleting: 0, reading: 1, giving: 2, done: 3, failed: 3 }[guide.phase];
}

/** The state of a lock, and how much it matters. */
export function lockWords(lock: Lock): { text: string; tone: Tone } {
    switch (lock.state) {
        case "locked": return { text: "Locked", tone: "good" };
        case "unlocked": return { text: "Unlocked", tone: "warn" };
        case "in transit": return { text: "Moving", tone: "plain" };
        case "unknown": return { text: "Unknown", tone: "plain" };
    }
}

/** Who unlocked a lock last, empty when nobody did since the host's start. */
export function lastUser(lock: Lock, users: readonly User[]): string {
    if (lock.last_user === 0) return "";
    if (lock.last_user < 100) return "by hand or by nobody in particular";
    const id = lock.last_user - 100;
    return `by ${users.find((user) => user.id === id)?.name ?? `user ${id}, who is gone`}`;
}

/** A percentage that may not be known yet. */
export function percent(value: number | null): string {
    return value === null ? "not heard yet" : `${value} %`;
}

/** The traffic of an account since the host's start. */
export function traffic(counters: Counters): string {
    return `${counters.sends} requests, ${counters.receives} replies, ${Math.ceil((counters.bytes_sent + counters.bytes_received) / 1024)} KiB${counters.queue_empty === false ? "; more wait to be sent" : ""}`;
}

/** Why a lock is offline; empty when it is not. Without times: an alert that changes is read out again. */
export function offlineWords(lock: Lock): string {
    if (lock.online !== false) return "";
    return `Offline: the cloud ${lock.last_seen ? "hears nothing from it any more" : "has never heard from it"}. Check its WiFi and its battery.`;
}

/** That the driver shows a lock otherwise than the cloud, which it does against its last command; empty when it does not. */
export function contraryWords(lock: Lock): string {
    const both = ["locked", "unlocked"];
    if (lock.working || lock.cloud_state === lock.state || !both.includes(lock.state) || !both.includes(lock.cloud_state ?? "")) return "";
    return `The cloud says that it is ${lock.cloud_state}. The driver keeps to its last command until there is another: see to the door.`;
}

/** What a command under way waits for, and what comes of it if that does not come. */
export function waitWords(lock: Lock): string {
    const late = lock.progress === 100;
    const left = lock.progress_time ? `, ${lock.progress_time} s` : "";
    return `Waits for the lock's next heartbeat${late ? ", which is late" : left}. If none comes, the state is unknown four minutes after it was due.`;
}

/** When a lock woke last, and when it will next. */
export function heartbeatWords(lock: Lock, now: number): string {
    if (!lock.last_seen) return "not heard yet";
    const last = ago(lock.last_seen, now);
    if (!lock.next_heartbeat) return last;
    const seconds = Math.round((Date.parse(lock.next_heartbeat) - now) / 1000);
    return seconds > 0 ? `${last}, next in ${lasted(lock.next_heartbeat, now)}` : `${last}, the next is due`;
}

/** What became of the last command, empty when there was none. */
export function commandWords(lock: Lock, now: number): { text: string; tone: Tone } | undefined {
    const last = lock.last_command;
    if (!last) return undefined;
    const name = last.command === "lock" ? "Lock" : "Unlock";
    const when = ago(last.time, now);
    switch (last.outcome) {
        case "sent": return { text: `${name}, ${when}: waits to be sent to the cloud.`, tone: "plain" };
        case "accepted": return { text: `${name}, ${when}: taken by the cloud.`, tone: "plain" };
        case "done": return { text: `${name}, ${when}: done.`, tone: "plain" };
        case "refused": return { text: `${name}, ${when}: the cloud refused it: ${last.text}. It is not tried again.`, tone: "bad" };
        case "lost": return { text: `${name}, ${when}: no reply came (${last.text}). It may have been done; it is not tried again.`, tone: "bad" };
        case "unanswered": return { text: `${name}, ${when}: the lock did not answer. See whether it and the account are online, then try again.`, tone: "bad" };
    }
}

/** The heartbeats of some days in words, empty when there was none. */
export function historyWords(points: readonly Heartbeat[]): string {
    const last = points.at(-1);
    if (!last) return "";
    const lowest = (name: string, values: (number | null)[]) => {
        const known = values.filter((value) => value !== null);
        return known.length ? `${name} ${known.at(-1)} %, lowest ${Math.min(...known)} %; ` : "";
    };
    const gap = Math.max(0, ...points.map(({ gap_seconds: seconds }) => seconds ?? 0));
    return `${points.length === 1 ? "1 heartbeat" : `${points.length} heartbeats`}: ${lowest("battery", points.map(({ battery }) => battery))}`
        + `${lowest("WiFi", points.map(({ wifi }) => wifi))}longest gap between two ${gap ? duration(gap) : "not known"}.`;
}

/** How long ago something was. */
export function ago(time: string, now: number): string {
    return `${lasted(time, now)} ago`;
}

/** How long something has been so, in the coarsest unit that says enough. */
export function lasted(time: string, now: number): string {
    const seconds = Math.round(Math.abs(now - Date.parse(time)) / 1000);
    return duration(seconds);
}

function duration(seconds: number): string {
    if (seconds < 60) return `${seconds} s`;
    if (seconds < 3600) return `${Math.floor(seconds / 60)} min`;
    if (seconds < 48 * 3600) return `${Math.floor(seconds / 3600)} h`;
    return `${Math.floor(seconds / 86400)} days`;
}

/** "a", "a and b", "a, b and c". */
export function listed(names: readonly string[]): string {
    const last = names.at(-1) ?? "";
    return names.length < 2 ? last : `${names.slice(0, -1).join(", ")} and ${last}`;
}
