// Situations that an installer wants to see once before they happen, each one press of a button at the simulator.

import type { SimulatorFault, SimulatorLock } from "./api.ts";

/** A request to the simulator: its path below /simulator, and its body. */
export type Step = readonly ["POST" | "DELETE", string, (object | undefined)?];

export interface Situation {
    readonly name: string;
    /** What one will see on the controller. */
    readonly see: string;
    /** @param lock the one that was chosen, for situations of one lock */
    readonly steps: (lock: SimulatorLock, all: readonly SimulatorLock[]) => readonly Step[];
    readonly ofLock?: true;
}

const LOW_PERCENT = 9;
const SLOW_MS = 5_000;

const at = (lock: SimulatorLock, what: string, body: object = {}): Step => ["POST", `/locks/${lock.id}/${what}`, body];
const aMinute = (fault: SimulatorFault): readonly Step[] => [["POST", "/faults", [{ ...fault, count: 0, seconds: 60 }]]];

export const SITUATIONS: readonly Situation[] = [
    {
        name: "Battery low", ofLock: true,
        see: `The card shows ${LOW_PERCENT} % within 15 s, and "Battery Low" if the driver did not check the battery in the last five minutes.`,
        steps: (lock) => [at(lock, "battery", { level: LOW_PERCENT }), at(lock, "heartbeat")],
    },
    {
        name: "Lock offline", ofLock: true,
        see: "The card says \"Offline\" within 15 s. A command is taken and waits for a heartbeat that does not come.",
        steps: (lock) => [at(lock, "online", { online: false, alive: false })],
    },
    {
        name: "Lock online again", ofLock: true,
        see: "The card follows the lock again within 15 s. \"Offline\" stays until the state changes or the next command.",
        steps: (lock) => [at(lock, "online", { online: true, alive: true }), at(lock, "heartbeat")],
    },
    {
        name: "Door opened by hand", ofLock: true,
        see: "The card turns to unlocked within 15 s. After a lock command from here it stays locked: the driver takes the report for a stale one.",
        steps: (lock) => [at(lock, "turn", { state: "unlocked" })],
    },
    {
        name: "Door locked by hand", ofLock: true,
        see: "The card turns to locked within 15 s. After an unlock command from here it stays unlocked, for the same reason.",
        steps: (lock) => [at(lock, "turn", { state: "locked" })],
    },
    {
        name: "Access token expired",
        see: "The next request is refused; the driver gets a new token by itself, and the account is well again within half a minute.",
        steps: () => [["POST", "/tokens/revoke", {}]],
    },
    {
        name: "Tokens revoked",
        see: "Within half a minute the account says \"Sign-in needed\". Press Authorise there: nothing else helps.",
        steps: () => [["POST", "/tokens/revoke", { refresh: true }]],
    },
    {
        name: "Cloud answers 503 for a minute",
        see: "The account says \"Cloud not reachable\" and why. Locks keep the state that was heard last; all comes back by itself.",
        steps: () => aMinute({ kind: "status", status: 503 }),
    },
    {
        name: "Cloud unreachable for a minute",
        see: "Each connection ends without a reply. The account says \"Cloud not reachable\"; all comes back by itself.",
        steps: () => aMinute({ kind: "close" }),
    },
    {
        name: "Cloud slow for a minute",
        see: `Each reply takes ${SLOW_MS / 1000} s. Nothing is wrong on the cards; commands and changes take longer to arrive.`,
        steps: () => aMinute({ kind: "delay", delay_ms: SLOW_MS }),
    },
    {
        name: "Cloud sends no proper JSON for a minute",
        see: "The lists of locks and persons come as nonsense. The cards stay as they are, and nothing is removed.",
        steps: () => aMinute({ kind: "bad_json", match: { method: "GET" } }),
    },
    {
        name: "All well again",
        see: "No faults, and all locks online with full batteries. Cards follow within 15 s. Revoked tokens stay revoked.",
        steps: (_, all) => [["DELETE", "/faults"], ...all.flatMap((lock) =>
            [at(lock, "battery", { level: 100 }), at(lock, "online", { online: true, alive: true }), at(lock, "heartbeat")])],
    },
];
