// What the page knows of the host, and how each event changes it.

import type { Access, Events, Guide, Interface, Lock, PropertyPage, Status, User } from "./api.ts";

export interface State {
    /** False until the first snapshot. */
    readonly loaded: boolean;
    readonly status: Status | undefined;
    readonly interfaces: readonly Interface[];
    readonly locks: readonly Lock[];
    readonly users: readonly User[];
    /** What the cloud has of the users, by slot; also of one that is gone here and still there. */
    readonly access: readonly Access[];
    /** How giving access goes, or went last. */
    readonly guide: Guide | null;
    /** The open pages of accounts as the host built them last, by account. */
    readonly pages: ReadonlyMap<number, PropertyPage>;
}

export const EMPTY: State = {
    loaded: false, status: undefined, interfaces: [], locks: [], users: [], access: [], guide: null, pages: new Map(),
};

/** The list with an entry put in the place of the one with its key, in the order of keys, or without that one. */
function put<Entry>(list: readonly Entry[], key: (entry: Entry) => number, at: number, entry?: Entry): Entry[] {
    const rest = list.filter((other) => key(other) !== at);
    return entry === undefined ? rest : [...rest, entry].sort((a, b) => key(a) - key(b));
}

/** The state after an event. Events may come twice; one that is not known changes nothing. */
export function reduce<Type extends keyof Events>(state: State, type: Type, data: Events[Type]): State {
    const event = { type, data } as { [Name in keyof Events]: { type: Name; data: Events[Name] } }[keyof Events];
    switch (event.type) {
        case "snapshot":
            return { ...state, loaded: true, ...event.data };
        case "lock": {
            const lock = event.data;
            return { ...state, locks: put(state.locks, (l) => l.id, lock.id, "gone" in lock ? undefined : lock) };
        }
        case "user": {
            const user = event.data;
            return { ...state, users: put(state.users, (u) => u.slot, user.slot, "gone" in user ? undefined : user) };
        }
        case "access": {
            const access = event.data;
            return { ...state, access: put(state.access, (a) => a.slot, access.slot, "gone" in access ? undefined : access) };
        }
        case "guide":
            return { ...state, guide: event.data };
        case "interfaces": {
            const left = new Set(event.data.interfaces.map((account) => account.id));
            return {
                ...state, interfaces: event.data.interfaces,
                pages: new Map([...state.pages].filter(([id]) => left.has(id))),
            };
        }
        case "health": {
            const { interface: id, health } = event.data;
            return { ...state, interfaces: state.interfaces.map((a) => (a.id === id ? { ...a, health } : a)) };
        }
        case "page":
            return { ...state, pages: new Map(state.pages).set(event.data.interface, event.data.page) };
        case "restarted":
            return state.status ? { ...state, status: { ...state.status, restarts: event.data.restarts } } : state;
        case "saved":
            if (!state.status) return state;
            return {
                ...state,
                status: { ...state.status, save: { ...state.status.save, error: event.data.error, pending: false } },
            };
        default:
            return state;
    }
}
