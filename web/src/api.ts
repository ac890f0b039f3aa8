// Requests to the host, with the types of its description.

import type { components } from "./api.gen.ts";
import { send } from "./token.ts";

type Schemas = components["schemas"];
export type Events = Required<Schemas["Events"]>;
export type Interface = Schemas["Interface"];
export type Health = Schemas["Health"];
export type Lock = Schemas["Lock"];
export type Heartbeat = Schemas["Heartbeat"];
export type User = Schemas["User"];
export type Access = Schemas["Access"];
export type Verdict = Schemas["Verdict"];
export type Guide = Schemas["Guide"];
export type Status = Schemas["Status"];
export type SaveState = Schemas["SaveState"];
export type PropertyPage = Schemas["PropertyPage"];
export type ExtendedPage = Schemas["ExtendedPage"];
export type ActionResult = Schemas["ActionResult"];
export type StatusPage = Schemas["StatusPage"];
export type Backup = Schemas["Backup"];
export type StatusFields = Schemas["StatusFields"];
export type StoredUser = Schemas["StoredUser"];
export type Activity = Schemas["Activity"];
export type Counters = Schemas["Counters"];
export type LogEntry = Schemas["LogEntry"];
export type Traces = Schemas["Traces"];
export type SimulatorWorld = Schemas["SimulatorWorld"];
export type SimulatorLock = Schemas["SimulatorLock"];
export type SimulatorFault = Schemas["SimulatorFault"];
export type SimulatorRequests = Schemas["SimulatorRequests"];
export type TraceSwitches = Schemas["TraceSwitches"];

/** A request that the host refused: its code for programs, and as the message what it says to people. */
export class Refusal extends Error {
    constructor(readonly code: string, message: string) {
        super(message);
    }
}

type Method = "GET" | "POST" | "PUT" | "DELETE";

/**
 * Sends a request to the host's API.
 * @param path behind /api/v1
 * @returns the reply's body
 * @throws {Refusal} also when nobody answers, with the code "away"
 */
export function ask<Reply>(method: Method, path: string, body?: object): Promise<Reply> {
    return answered(method, path, (response) => response.json() as Promise<Reply>, body);
}

/** Gets a file, as `ask` gets a reply. */
export function askFile(path: string): Promise<Blob> {
    return answered("GET", path, (response) => response.blob());
}

async function answered<Reply>(method: Method, path: string, read: (response: Response) => Promise<Reply>, body?: object): Promise<Reply> {
    let refused: Schemas["Error"];
    try {
        const writes = method === "POST" || method === "PUT";
        const response = await send(`/api/v1${path}`, {
            method,
            ...(writes ? { headers: { "Content-Type": "application/json" }, body: JSON.stringify(body ?? {}) } : {}),
        });
        if (response.ok) return await read(response);
        refused = await response.json() as Schemas["Error"];
    } catch {
        throw new Refusal("away", "The host does not answer. Is it still running?");
    }
    const { code, message } = refused.error;
    throw new Refusal(code, message.charAt(0).toUpperCase() + message.slice(1) + ".");
}
