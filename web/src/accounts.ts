// Accounts: their health, their pages as the driver builds them, and their buttons.

import { html, nothing, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import { ask, Refusal, type ActionResult, type Counters, type ExtendedPage, type Interface, type PropertyPage } from "./api.ts";
import { store } from "./store.ts";
import { attempt, badge, confirmed, failed, say, View } from "./view.ts";
import { ago, healthWords, listed, traffic } from "./words.ts";

/** The host closes a page that was not asked for this long, and then builds it for nobody. */
const PAGE_LIFE_MS = 110_000;
/** How often "5 s ago" is counted on. */
const CLOCK_MS = 5_000;
/** The button that leads to the cloud's page; the driver's other buttons do their work at once. */
const AUTHORISE = 20002;

@customElement("accounts-view")
export class AccountsView extends View {
    @state() private opened: number | undefined;
    @state() private counters: Readonly<Record<string, Counters>> = {};
    private clock: ReturnType<typeof setInterval> | undefined;

    override connectedCallback(): void {
        super.connectedCallback();
        this.clock = setInterval(() => void this.count(), CLOCK_MS);
        void this.count();
    }
    override disconnectedCallback(): void {
        super.disconnectedCallback();
        clearInterval(this.clock);
    }

    protected override render(): TemplateResult {
        const { interfaces } = store.state;
        const opened = this.opened ?? (interfaces.length === 1 ? interfaces[0]?.id : undefined);
        return html`
            <div class="row">
                <h1>Accounts</h1>
                <button class="end" @click=${() => this.add()}>Add an account</button>
            </div>
            <p class="hint">An account links this controller to one house of a cloud account. The first one signs in; the
            others use its sign-in. Names of houses are the cloud's: change them there.</p>
            ${interfaces.length === 0 ? html`<p class="empty">There is no account yet. Add one, then authorise it.</p>` : nothing}
            <div class="stack">${interfaces.map((account) => this.card(account, account.id === opened))}</div>`;
    }

    /** Counts on what no event tells: times and traffic. That the host is away is said elsewhere. */
    private async count(): Promise<void> {
        this.counters = await ask<{ counters: Record<string, Counters> }>("GET", "/counters")
            .then((reply) => reply.counters, () => this.counters);
        this.requestUpdate();
    }

    private card(account: Interface, open: boolean): TemplateResult {
        const { text, tone } = healthWords(account.health);
        const locks = store.state.locks.filter((lock) => account.locks.includes(lock.id));
        const { last_good: good, last_error: error, failures } = account.health;
        return html`
            <section class="card" aria-labelledby="account-${account.id}">
                <div class="row">
                    <h2 id="account-${account.id}">${account.name}</h2>
                    ${badge(text, tone)}
                    ${account.master ? html`<span class="chip">signs in for all</span>` : nothing}
                    <button class="end" aria-expanded=${open} @click=${() => { this.opened = open ? -1 : account.id; }}>
                        ${open ? "Close" : "Settings"}</button>
                    <button @click=${() => this.removeAccount(account)}>Remove…</button>
                </div>
                <dl class="facts">
                    <div><dt>Why</dt><dd>${account.health.reason}</dd></div>
                    <div><dt>Since</dt><dd>${ago(account.health.since, Date.now())}</dd></div>
                    <div><dt>Last good request</dt><dd>${good ? ago(good, Date.now()) : "none yet"}</dd></div>
                    ${failures > 0 && error ? html`<div><dt>Failed in a row</dt><dd>${failures}, last: ${error.text}</dd></div>` : nothing}
                    ${account.house === null ? html`<div><dt>House</dt><dd>none chosen${account.houses?.length ? `; the cloud has ${listed(account.houses)}` : ""}</dd></div>` : nothing}
                    <div><dt>Traffic</dt><dd>${traffic(this.counters[account.id] ?? account.counters)}</dd></div>
                    <div><dt>Locks</dt><dd>${listed(locks.map((lock) => lock.name)) || "none"}</dd></div>
                </dl>
                ${open ? html`<account-settings .account=${account}></account-settings>` : nothing}
            </section>`;
    }

    private add(): Promise<void> {
        return attempt(async () => {
            const account = await ask<Interface>("POST", "/interfaces");
            this.opened = account.id;
            return "The account was added. Authorise it, or choose its house.";
        });
    }

    private async removeAccount(account: Interface): Promise<void> {
        const names = store.state.locks.filter((lock) => account.locks.includes(lock.id)).map((lock) => lock.name);
        const consequences = names.length
            ? [`Its locks go from this controller, with the rights of users to them: ${listed(names)}.`]
            : ["It has no locks."];
        if (await confirmed(`Remove ${account.name}?`, consequences, "Remove"))
            await attempt(async () => {
                await ask("DELETE", `/interfaces/${account.id}`);
                return `${account.name} was removed.`;
            });
    }
}

/** The pages of the account that is looked at. Only these are built, because building may ask the cloud. */
@customElement("account-settings")
export class AccountSettings extends View {
    static override properties = { account: { attribute: false } };
    declare account: Interface;
    @state() private extended: ExtendedPage | undefined;
    @state() private signInUrl = "";
    @state() private fault = "";
    private timer: ReturnType<typeof setInterval> | undefined;
    private shownHealth = "";

    override connectedCallback(): void {
        super.connectedCallback();
        this.timer = setInterval(() => void this.load(), PAGE_LIFE_MS);
    }
    override disconnectedCallback(): void {
        super.disconnectedCallback();
        clearInterval(this.timer);
    }
    protected override willUpdate(): void {
        // What the page offers follows from how the account and the cloud get on.
        const health = `${this.account.id} ${this.account.health.state} ${this.account.health.authorised}`;
        if (!store.live) this.shownHealth = "";
        else if (health !== this.shownHealth) {
            this.shownHealth = health;
            void this.load();
        }
    }

    private get path(): string {
        return `/interfaces/${this.account.id}`;
    }

    private async load(): Promise<void> {
        try {
            this.show(await ask<PropertyPage>("GET", `${this.path}/page`));
            this.fault = "";
        } catch (error) {
            if (!(error instanceof Refusal)) throw error;
            this.fault = error.message;
        }
    }

    private show(page: PropertyPage): void {
        store.apply("page", { interface: this.account.id, page });
    }

    protected override render(): TemplateResult {
        const page = store.state.pages.get(this.account.id);
        if (!page && this.fault) return failed(this.fault, () => this.load());
        if (!page) return html`<p class="hint" aria-busy="true">The driver builds the page…</p>`;
        return html`
            <div class="fields">${page.properties.map((property) => property.choices
                ? this.chooser(property.label, property.choices.map(({ index, name }) => [index, name]), property.selected ?? -1,
                    (index, name) => this.choose(property.id, index, name, page))
                : html`<div class="field"><span class="label">${property.label}</span><output>${property.value}</output></div>`)}
            </div>
            <div class="row">
                ${page.actions.map((action) => html`<button @click=${() => this.press(action.id, action.text)}>${action.text}</button>`)}
                <button @click=${() => this.discover()}>Look for locks</button>
            </div>
            ${this.signInUrl ? html`<p class="hint">The cloud's page was opened in a new tab.
                <a href=${this.signInUrl} target="_blank" rel="noreferrer">Open it again</a>. This page notices by itself when
                the account is signed in.</p>` : nothing}
            <details @toggle=${(event: Event) => this.toggleExtended((event.target as HTMLDetailsElement).open)}>
                <summary>Extended page</summary>
                ${this.extended ? this.extendedPage(this.extended) : nothing}
            </details>`;
    }

    private chooser(label: string, choices: [number, string][], selected: number,
                    chosen: (index: number, name: string) => void): TemplateResult {
        const id = `field-${this.account.id}-${label}`;
        return html`<div class="field">
            <label for=${id}>${label}</label>
            <select id=${id} ?disabled=${choices.length === 0} @change=${(event: Event) => {
                const select = event.target as HTMLSelectElement;
                const index = Number(select.value);
                select.value = String(selected); // until it is stored
                chosen(index, choices.find((choice) => choice[0] === index)?.[1] ?? "");
            }}>
                ${selected < 0 ? html`<option value="-1" selected disabled>${choices.length ? "Choose…" : "Nothing to choose yet"}</option>` : nothing}
                ${choices.map(([index, name]) => html`<option value=${index} ?selected=${index === selected}>${name}</option>`)}
            </select></div>`;
    }

    private names(): string[] {
        return store.state.locks.filter((lock) => this.account.locks.includes(lock.id)).map((lock) => lock.name);
    }

    private async mayLeave(what: string): Promise<boolean> {
        const names = this.names();
        return names.length === 0 || confirmed(what,
            [`The locks of the present house go from this controller, with the rights of users to them: ${listed(names)}.`], "Go on");
    }

    private async choose(property: number, index: number, name: string, page: PropertyPage): Promise<void> {
        if (!(await this.mayLeave(`Choose ${name}?`))) return;
        await attempt(async () => {
            try {
                this.show(await ask<PropertyPage>("PUT", `${this.path}/page`, { properties: { [property]: index }, list: page.list }));
            } catch (error) {
                await this.load(); // what is shown may not be what is any more
                throw error;
            }
            return `${name} was chosen.`;
        });
    }

    private async press(action: number, text: string): Promise<void> {
        // What has an address does its work on another page; what has none does it at once.
        await attempt(async () => {
            const locks = this.names();
            if (action !== AUTHORISE && !(await confirmed(`${text} ${this.account.name}?`, [
                "The account forgets its sign-in, its house and what it still had to send.",
                ...locks.length ? [`Its locks go from this controller, with the rights of users to them: ${listed(locks)}.`] : [],
            ], text))) return undefined;
            const result = await ask<ActionResult>("POST", `${this.path}/actions/${action}`);
            if ("browser_url" in result) {
                this.signInUrl = result.browser_url;
                const tab = window.open(result.browser_url, "_blank");
                if (tab) tab.opener = null;
                else say("The browser kept the new tab shut: use the link below the buttons.", "warn");
                return undefined;
            }
            await this.load();
            return result.result ? `${text}: done.` : `${text}: the driver had nothing to do.`;
        });
    }

    private discover(): Promise<void> {
        return attempt(async () => {
            await ask("POST", `${this.path}/discover`);
            return "The cloud is asked for its locks.";
        });
    }

    private toggleExtended(open: boolean): Promise<void> {
        this.extended = undefined;
        return open ? this.loadExtended() : Promise.resolve();
    }

    private loadExtended(): Promise<void> {
        return attempt(async () => {
            this.extended = await ask<ExtendedPage>("GET", `${this.path}/extended-page`);
            return undefined;
        });
    }

    private extendedPage(page: ExtendedPage): TemplateResult {
        return this.chooser(`${page.label} `, page.choices.map((name, index) => [index, name]), page.selected, (index, name) => void (async () => {
            if (!(await this.mayLeave(`Choose ${name}?`))) return;
            await attempt(async () => {
                try {
                    await ask("PUT", `${this.path}/extended-page`, { selected: index, list: page.list });
                } finally {
                    await this.loadExtended(); // one page takes one answer
                }
                return `${name} was chosen.`;
            });
        })());
    }
}
