// The one state of the page, kept current by the host's event stream.

import { EventSource } from "eventsource";
import type { ReactiveController, ReactiveControllerHost } from "lit";
import type { Events, Status } from "./api.ts";
import { EMPTY, reduce, type State } from "./state.ts";
import { send } from "./token.ts";

const TYPES = ["snapshot", "lock", "user", "access", "guide", "interfaces", "health", "page", "activity", "saved", "restarted"] as const;
const RETRY_MS = 1000;

class Store {
    state: State = EMPTY;
    /** Whether the stream is open: what is shown is current. */
    live = false;
    /** Whether the host wants a token that the page does not have. */
    denied = false;
    private readonly views = new Set<() => void>();
    private readonly listeners = new EventTarget();

    /** Follows the events for as long as the page is open. */
    connect(): void {
        // The browser's own class of this name sends no header for the token.
        const stream = new EventSource("/api/v1/events", { fetch: (url, init) => send(url, init) });
        for (const type of TYPES) {
            stream.addEventListener(type, (event) => {
                this.live = true;
                this.denied = false;
                this.apply(type, JSON.parse(event.data as string) as Events[typeof type]);
            });
        }
        stream.onerror = ({ code }) => {
            this.live = false;
            this.denied = code === 401;
            this.tell();
            // It tries again by itself unless it was answered with an error.
            if (stream.readyState === EventSource.CLOSED) setTimeout(() => this.connect(), RETRY_MS);
        };
    }

    /** Takes over what an event, or a reply that tells the same, says. */
    apply<Type extends keyof Events>(type: Type, data: Events[Type]): void {
        this.state = reduce(this.state, type, data);
        this.tell();
        this.listeners.dispatchEvent(new Event(type));
    }

    /** Calls a function after each event of a type, until the function that is returned is called. */
    watchEvent(type: keyof Events, listener: () => void): () => void {
        this.listeners.addEventListener(type, listener);
        return () => this.listeners.removeEventListener(type, listener);
    }

    /** Takes over what was asked for apart from the events, which never tell it alone. */
    takeStatus(status: Status): void {
        this.state = { ...this.state, status };
        this.tell();
    }

    /** Calls a function after each change, until the function that is returned is called. */
    watch(view: () => void): () => void {
        this.views.add(view);
        return () => this.views.delete(view);
    }

    private tell(): void {
        for (const view of this.views) view();
    }
}

export const store = new Store();

/** Renders its element anew when the state changes. */
export class Watching implements ReactiveController {
    private end: (() => void) | undefined;

    constructor(private readonly host: ReactiveControllerHost) {
        host.addController(this);
    }
    hostConnected(): void {
        this.end = store.watch(() => this.host.requestUpdate());
    }
    hostDisconnected(): void {
        this.end?.();
    }
}
