// The page: its views, the way between them, and whether what they show is current.

import { html, nothing, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import "./accounts.ts";
import "./activity.ts";
import "./host.ts";
import "./locks.ts";
import { store } from "./store.ts";
import "./trace.ts";
import "./users.ts";
import { say, View } from "./view.ts";

interface Entry {
    name: string;
    view: () => TemplateResult;
}
const VIEWS: Record<string, Entry> = {
    "#/locks": { name: "Locks", view: () => html`<locks-view></locks-view>` },
    "#/users": { name: "Users", view: () => html`<users-view></users-view>` },
    "#/accounts": { name: "Accounts", view: () => html`<accounts-view></accounts-view>` },
    "#/activity": { name: "Activity", view: () => html`<activity-view></activity-view>` },
    "#/trace": { name: "Trace", view: () => html`<trace-view></trace-view>` },
    "#/host": { name: "Host", view: () => html`<host-view></host-view>` },
};
const SIMULATOR: Record<string, Entry> = {
    // Loaded when it is looked at first: a controller at work has no simulator.
    "#/simulator": {
        name: "Simulator", view: () => {
            import("./simulator.ts").catch(() => say("The view could not be loaded. Load the page again.", "bad"));
            return html`<simulator-view></simulator-view>`;
        },
    },
};

function views(): Record<string, Entry> {
    return store.state.status?.simulator ? { ...VIEWS, ...SIMULATOR } : VIEWS;
}

@customElement("configurator-app")
export class ConfiguratorApp extends View {
    @state() private address = location.hash;

    override connectedCallback(): void {
        super.connectedCallback();
        window.addEventListener("hashchange", () => { this.address = location.hash; });
        store.watchEvent("guide", () => {
            const { guide } = store.state;
            if (guide?.phase === "done") say(guide.text, "good");
            else if (guide?.phase === "failed") say(`Access was not given to ${guide.name}. ${guide.text}`, "bad");
        });
        store.connect();
    }

    protected override willUpdate(): void {
        const { loaded, locks } = store.state;
        if (!loaded || this.address in views()) return;
        // Who has no locks yet has an account to set up. Decided once, so that nobody is moved away later.
        this.address = locks.length ? "#/locks" : "#/accounts";
        history.replaceState(null, "", this.address);
    }

    protected override updated(): void {
        // For who measures how long the first view takes.
        if (store.state.loaded && performance.getEntriesByName("first-view").length === 0) performance.mark("first-view");
    }

    protected override render(): TemplateResult {
        const { loaded } = store.state;
        const entries = views();
        const address = this.address in entries ? this.address : "#/locks";
        document.title = `${entries[address]?.name ?? ""} – Configurator`;
        return html`
            <header><nav aria-label="Views"><ul>${Object.entries(entries).map(([link, { name }]) => html`
                <li><a href=${link} aria-current=${link === address ? "page" : nothing}>${name}</a></li>`)}</ul></nav></header>
            <div role="status" class="stale">${store.denied ? html`<p class="message warn">This host wants its token, and this page does not have
                the one of the host's present start. Open the address that the host printed when it started; it ends in <code>#token=…</code>.</p>`
                : loaded && !store.live ? html`<p class="message warn">The host does not answer; trying again.
                What is shown is the last that was heard.</p>` : nothing}</div>
            <main>${loaded ? entries[address]?.view() : store.denied ? nothing : html`<p class="hint" aria-busy="true">${store.live ? "Loading…" : "Waiting for the host…"}</p>`}</main>
            <div id="messages" aria-live="polite"></div>`;
    }
}
