// Locks: a card each, with its commands and the page that its driver offers.

import { html, nothing, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import { ask, Refusal, type Lock, type StatusFields, type StatusPage } from "./api.ts";
import { store } from "./store.ts";
import { attempt, badge, Clock, confirmed, failed, say, View } from "./view.ts";
import { ago, commandWords, contraryWords, heartbeatWords, lastUser, lockWords, offlineWords, percent, waitWords } from "./words.ts";

@customElement("locks-view")
export class LocksView extends View {
    @state() private user = 0;
    @state() private opened = 0;
    @state() private charted = 0;

    constructor() {
        super();
        new Clock(this);
    }

    protected override render(): TemplateResult {
        const { locks, users } = store.state;
        const acting = users.find((user) => user.id === this.user) ?? users[0];
        return html`
            <h1>Locks</h1>
            ${locks.length === 0 ? html`<p class="empty">There are no locks yet. They come when an account is signed in and has its
                house: see <a href="#/accounts">Accounts</a>.</p>` : html`
                <div class="row"><label for="acting">Unlock as</label>
                <select id="acting" ?disabled=${users.length === 0}
                    @change=${(event: Event) => { this.user = Number((event.target as HTMLSelectElement).value); }}>
                    ${users.length === 0 ? html`<option>Nobody: add a user first</option>` : nothing}
                    ${users.map((user) => html`<option value=${user.id} ?selected=${user === acting}>${user.name}</option>`)}
                </select></div>`}
            <div class="grid">${locks.map((lock) => this.card(lock, acting?.id))}</div>`;
    }

    private card(lock: Lock, acting: number | undefined): TemplateResult {
        const { text, tone } = lockWords(lock);
        const { users, interfaces } = store.state;
        const who = lock.state === "unlocked" ? lastUser(lock, users) : "";
        const open = this.opened === lock.id;
        const charted = this.charted === lock.id;
        const now = Date.now();
        const offline = offlineWords(lock);
        const last = commandWords(lock, now);
        const contrary = contraryWords(lock);
        const { threshold, low } = lock.low_battery;
        return html`
            <section class="card" aria-labelledby="lock-${lock.id}">
                <div class="row"><h2 id="lock-${lock.id}">${lock.name}</h2><span class="end">${badge(text, tone)}</span></div>
                ${lock.error && !(offline && lock.error === "Offline") ? html`<p class="message bad" role="alert">${lock.error}
                    <span class="hint">Told until the lock's state changes or the next command.</span></p>` : nothing}
                ${offline ? html`<p class="message bad" role="alert">${offline}</p>` : nothing}
                ${contrary ? html`<p class="message warn">${contrary}</p>` : nothing}
                <div class="wait">${lock.working ? html`
                    <label for="wait-${lock.id}">${waitWords(lock)}</label>
                    <progress id="wait-${lock.id}" max="100" value=${lock.progress ?? 0}></progress>` : html`<p class="hint">${who}</p>`}
                    ${last ? html`<p class=${last.tone === "bad" ? "message bad" : "hint"}>${last.text}</p>` : nothing}</div>
                <dl class="facts even">
                    <div><dt>Battery</dt><dd>${percent(lock.battery)}${threshold === null ? nothing : low ? html` ${badge(`Below ${threshold} %`, "warn")}`
                        : html` <span class="hint">warns below ${threshold} %</span>`}</dd></div>
                    <div><dt>WiFi</dt><dd>${percent(lock.signal)}</dd></div>
                    <div><dt>Heartbeat</dt><dd>${heartbeatWords(lock, now)}</dd></div>
                    <div><dt>Shown as of</dt><dd>${lock.read_at ? ago(lock.read_at, now) : "not asked yet"}</dd></div>
                    <div><dt>Account</dt><dd>${interfaces.find((account) => account.id === lock.bridge)?.name ?? "none"}</dd></div>
                </dl>
                <div class="row">
                    <button ?disabled=${lock.state === "locked"} @click=${() => this.command(lock, "lock")}>Lock</button>
                    <button ?disabled=${acting === undefined || lock.state === "unlocked"} @click=${() => this.command(lock, "unlock", acting)}>Unlock</button>
                    <span class="end"><button aria-expanded=${charted} @click=${() => this.chart(charted ? 0 : lock.id)}>History</button>
                    <button aria-expanded=${open} @click=${() => { this.opened = open ? 0 : lock.id; }}>Settings</button></span>
                </div>
                ${charted ? html`<lock-history .lock=${lock.id}></lock-history>` : nothing}
                ${open ? html`<lock-settings .lock=${lock}></lock-settings>` : nothing}
            </section>`;
    }

    // The chart is loaded when it is looked at first.
    private async chart(id: number): Promise<void> {
        try {
            await import("./history.ts");
            this.charted = id;
        } catch {
            say("The chart could not be loaded. Load the page again.", "bad");
        }
    }

    private command(lock: Lock, command: "lock" | "unlock", user?: number): Promise<void> {
        return attempt(async () => {
            store.apply("lock", await ask<Lock>("POST", `/locks/${lock.id}/commands`, { command, ...(user ? { user } : {}) }));
            return `${lock.name}: ${command} is sent. The lock does it at its next heartbeat.`;
        });
    }
}

/** The page of one lock. */
@customElement("lock-settings")
export class LockSettings extends View {
    static override properties = { lock: { attribute: false } };
    declare lock: Lock;
    /** As they are stored, or null when there are none; changes are kept beside until they are stored, too. */
    @state() private fields: StatusFields | null | undefined;
    private changes: { user_codes_enabled?: boolean; low_battery_warning?: { selected: number } } = {};
    @state() private revealed = false;
    @state() private fault = "";

    override connectedCallback(): void {
        super.connectedCallback();
        void this.load(false);
    }

    private async load(secrets: boolean): Promise<void> {
        try {
            this.fields = (await ask<StatusPage>("GET", `/locks/${this.lock.id}/status-page${secrets ? "?secrets=1" : ""}`)).fields;
            this.fault = "";
            this.revealed = secrets;
        } catch (error) {
            if (!(error instanceof Refusal)) throw error;
            this.fault = error.message;
        }
    }

    protected override render(): TemplateResult {
        if (this.fault) return failed(this.fault, () => this.load(false));
        const { fields } = this;
        if (fields === undefined) return html`<p class="hint" aria-busy="true">The driver builds the page…</p>`;
        if (fields === null) return html`<p class="hint">This lock has no settings.</p>
            <div class="row end"><button type="button" @click=${() => this.removeLock()}>Remove…</button></div>`;
        const { user_codes_enabled: codes, low_battery_warning: warning } = fields;
        return html`
            <form @submit=${(event: Event) => { event.preventDefault(); void this.store(); }}>
                <div class="fields">
                    ${this.text("Serial number", fields.serial_number)}
                    ${this.text("Programming code", fields.programming_code, true)}
                    ${codes === null ? nothing : this.chooser("User codes", ["Yes", "No"], codes ? 0 : 1,
                        (index) => { this.changes.user_codes_enabled = index === 0; })}
                    ${warning === null ? nothing : this.chooser("Low battery warning", warning.entries, warning.selected,
                        (selected) => { this.changes.low_battery_warning = { selected }; })}
                </div>
                <div class="row end"><button type="button" @click=${() => this.removeLock()}>Remove…</button><button class="primary">Store</button></div>
            </form>
            <p class="hint">The name is the cloud's, which overwrites any other with each poll: rename the lock there.</p>`;
    }

    private async removeLock(): Promise<void> {
        const { id, name } = this.lock;
        if (await confirmed(`Remove ${name}?`, [
            "It goes from this controller, with the rights of users to it here, and the system restarts in place.",
            "The cloud is not told: persons keep their access to the lock there. Only deleting a user takes it away, at all locks.",
            "To bring it back, press Look for locks in its account's settings. It then is a new lock, and users have to be given access again.",
        ], "Remove"))
            await attempt(async () => {
                await ask("DELETE", `/locks/${id}`);
                return `${name} was removed. Look for locks in its account's settings to bring it back.`;
            });
    }

    private text(label: string, text: string | null, secret = false): TemplateResult | typeof nothing {
        return text === null ? nothing : html`<div class="field"><span class="label">${label}</span>
            <span class="row"><output>${text || "not heard yet"}</output>
            ${secret && text ? html`<button type="button" aria-pressed=${this.revealed}
                @click=${() => this.load(!this.revealed)}>${this.revealed ? "Hide" : "Reveal"}</button>` : nothing}</span></div>`;
    }

    private chooser(label: string, entries: readonly string[], selected: number, chosen: (index: number) => void): TemplateResult {
        const id = `${label}-${this.lock.id}`;
        return html`<div class="field"><label for=${id}>${label}</label>
            <select id=${id} @change=${(event: Event) => chosen(Number((event.target as HTMLSelectElement).value))}>
            ${entries[selected] === undefined ? html`<option selected disabled>Another value</option>` : nothing}
            ${entries.map((entry, index) => html`<option value=${index} ?selected=${index === selected}>${entry}</option>`)}
            </select></div>`;
    }

    private store(): Promise<void> {
        return attempt(async () => {
            await ask("PUT", `/locks/${this.lock.id}/status-page`, { fields: this.changes });
            this.changes = {};
            await this.load(false);
            return `The settings of ${this.lock.name} were stored.`;
        });
    }
}
