// Users: the slots that have one, and who may use which lock.

import { html, nothing, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import { ask, Refusal, type Access, type Guide, type Lock, type StoredUser, type User, type Verdict } from "./api.ts";
import { store } from "./store.ts";
import { attempt, badge, Clock, confirmed, say, View } from "./view.ts";
import { differences, guideStep, lasted, listed, syncWords } from "./words.ts";

const SLOTS = 30;

@customElement("users-view")
export class UsersView extends View {
    @state() private pins: ReadonlyMap<number, string> = new Map();
    @state() private edited: { slot: number; user: User | undefined } | undefined;
    @state() private fault = "";

    constructor() {
        super();
        new Clock(this);
    }

    protected override render(): TemplateResult {
        const { users, locks, access, guide } = store.state;
        const running = guide && guideStep(guide) < 3 ? guide : undefined;
        const slots = [...Array(SLOTS).keys()];
        const used = (slot: number) => users.some((user) => user.slot === slot) || running?.slot === slot;
        const free = slots.find((slot) => !used(slot));
        const rows = slots.filter((slot) => used(slot) || access.some((row) => row.slot === slot));
        return html`
            <div class="row"><h1>Users</h1><span class="hint">${users.length} of ${SLOTS} slots</span>
                <button class="end" ?disabled=${free === undefined} @click=${() => this.edit(free ?? 0)}>Add a user</button></div>
            <div role="status">${running ? html`<div class="wait"><label for="guide">Giving access to ${running.name}: ${running.text}</label>
                <progress id="guide" max="3" .value=${guideStep(running) + 0.5}></progress></div>` : nothing}</div>
            ${rows.length === 0 ? html`<p class="empty">There is no user yet. A user has a PIN for the locks' keypads, and may use the locks
                that are ticked.</p>` : html`
            <div class="scroll" tabindex="0" role="region" aria-label="Users and their rights"><table class="users">
                <thead><tr><th>No.</th><th>Name</th><th>E-mail</th><th>PIN</th>${locks.map((lock) => html`<th>${lock.name}</th>`)}<th><span class="hidden">Change</span></th></tr></thead>
                <tbody>${rows.map((slot) => this.slotRows(slot, running))}</tbody>
            </table></div>`}
            ${this.edited ? this.form(this.edited.slot, this.edited.user) : nothing}`;
    }

    private slotRows(slot: number, running: Guide | undefined): TemplateResult {
        const { users, locks } = store.state;
        const user = users.find((other) => other.slot === slot);
        const access = store.state.access.find((row) => row.slot === slot);
        if (user) return html`${this.row(user, locks, access)}${this.explanation(slot, access, user, running)}`;
        return html`<tr>
            <td>${slot + 1}</td><th scope="row">${running?.slot === slot ? running.name : access?.name}</th>
            <td colspan=${locks.length + 3} class="hint">${running?.slot === slot ? "Comes back when the cloud has deleted the person."
                : "Was deleted here and is still in the cloud, with PIN and rights."}</td></tr>
            ${running?.slot === slot ? nothing : this.explanation(slot, access, undefined, running)}`;
    }

    private row(user: User, locks: readonly Lock[], access: Access | undefined): TemplateResult {
        const pin = this.pins.get(user.slot);
        return html`<tr>
            <td>${user.id}</td><th scope="row"><div class="row">${user.name}${access ? this.word(access.person) : nothing}</div></th><td data-label="E-mail">${user.email}</td>
            <td class="nowrap" data-label="PIN"><span class="pin">${pin ?? "••••"}</span>
                <button aria-pressed=${pin !== undefined} aria-label="${pin === undefined ? "Reveal" : "Hide"} the PIN of ${user.name}"
                    @click=${() => this.reveal(user)}>${pin === undefined ? "Reveal" : "Hide"}</button></td>
            ${locks.map((lock) => html`<td data-label=${lock.name}><div class="row"><input type="checkbox" aria-label="${user.name} may use ${lock.name}"
                .checked=${lock.enabled_users.includes(user.id)}
                @change=${(event: Event) => this.enable(user, lock, (event.target as HTMLInputElement).checked)}>
                ${this.word(access?.locks.find((cell) => cell.lock === lock.id))}</div></td>`)}
            <td class="nowrap"><button aria-label="Edit ${user.name}" @click=${() => this.edit(user.slot, user)}>Edit</button>
                <button aria-label="Delete ${user.name}" @click=${() => this.removeUser(user)}>Delete…</button></td></tr>`;
    }

    private word(verdict: Verdict | undefined): TemplateResult | typeof nothing {
        if (!verdict) return nothing;
        const { text, tone } = syncWords(verdict.sync);
        return verdict.sync === "agrees" ? html`<span class="hint">${text}</span>` : badge(text, tone);
    }

    // Why the cloud differs, since when, and what to do.
    private explanation(slot: number, access: Access | undefined, user: User | undefined, running: Guide | undefined): TemplateResult | typeof nothing {
        const { locks } = store.state;
        const found = access ? differences(access, (id) => locks.find((lock) => lock.id === id)?.name ?? `lock ${id}`) : [];
        if (found.length === 0) return nothing;
        return html`<tr class="why"><td colspan=${locks.length + 5}>
            ${found.map(({ about, verdict }) => html`<p><strong>${listed(about)}: ${syncWords(verdict.sync).text.toLowerCase()}</strong>
                <span class="hint">for ${lasted(verdict.since, Date.now())}.</span> ${verdict.cause} ${verdict.advice}</p>`)}
            ${user && found.some(({ verdict }) => verdict.give_access) ? html`<button ?disabled=${running !== undefined}
                @click=${() => this.giveAccess(slot, user)}>Give ${user.name} access…</button>` : nothing}</td></tr>`;
    }

    private async giveAccess(slot: number, user: User): Promise<void> {
        const locks = store.state.locks.filter((lock) => lock.enabled_users.includes(user.id));
        const aim = locks.length ? `access to ${listed(locks.map((lock) => lock.name))}` : "access to no lock";
        if (await confirmed(`Give ${user.name} ${aim}?`, ["The cloud's person is deleted and created anew, with the locks that are ticked. That takes "
            + "half a minute, in which the PIN opens no lock. What was changed in the cloud itself, and other locks, are lost."], "Give access"))
            await attempt(async () => {
                this.hidePin(slot);
                await ask("POST", `/users/${slot}/access`, { locks: locks.map((lock) => lock.id) });
                return undefined;
            });
    }

    private form(slot: number, user: User | undefined): TemplateResult {
        const field = (name: string, label: string, value: string, hint: string, type = "text") => html`
            <div class="field"><label for="user-${name}">${label}</label>
            <input id="user-${name}" name=${name} type=${type} .value=${value} autocomplete="off" aria-describedby="hint-${name}">
            <span class="hint" id="hint-${name}">${hint}</span></div>`;
        return html`<dialog aria-labelledby="user-title" @close=${() => { this.edited = undefined; }}>
            <form method="dialog" @submit=${(event: SubmitEvent) => this.submit(event, slot)}>
                <h2 id="user-title">${user ? `Edit ${user.name}` : "Add a user"}</h2>
                <div class="fields">
                    ${field("name", "Name", user?.name ?? "", "As the cloud shall show it; no other user has it")}
                    ${field("email", "E-mail", user?.email ?? "", "May be empty")}
                    ${field("pin", "PIN", "", user ? "4 to 16 digits; empty: stays as it is" : "4 to 16 digits")}
                </div>
                ${user || store.state.locks.length === 0 ? nothing : html`<fieldset><legend>May use</legend>
                    ${store.state.locks.map((lock) => html`<label class="row"><input type="checkbox" name="lock" value=${lock.id}>${lock.name}</label>`)}
                </fieldset>`}
                ${this.fault ? html`<p class="message bad" role="alert">${this.fault}</p>` : nothing}
                <div class="row end"><button value="no" formnovalidate>Cancel</button>
                    <button value="yes" class="primary">Store</button></div>
            </form></dialog>`;
    }

    private edit(slot: number, user?: User): void {
        this.fault = "";
        this.edited = { slot, user };
        void this.updateComplete.then(() => this.querySelector("dialog")?.showModal());
    }

    private async submit(event: SubmitEvent, slot: number): Promise<void> {
        if ((event.submitter as HTMLButtonElement).value !== "yes") return;
        event.preventDefault();
        const fields = new FormData(event.target as HTMLFormElement);
        const text = (name: string) => String(fields.get(name) ?? "");
        // The cloud gives a new person the locks that the slot has by then.
        const rights = (enabled: boolean) => Promise.all(fields.getAll("lock").map((lock) =>
            ask("PUT", `/locks/${String(lock)}/users/${slot + 1}`, { enabled })));
        try {
            const pin = text("pin");
            await rights(true);
            const stored = await ask<StoredUser>("PUT", `/users/${slot}`, { name: text("name"), email: text("email"), ...(pin ? { pin } : {}) });
            this.hidePin(slot);
            this.querySelector("dialog")?.close();
            say(`${stored.name} was stored; ${stored.locks_handled} locks took the change up.`, "good");
        } catch (error) {
            if (!(error instanceof Refusal)) throw error;
            this.fault = error.message;
            await rights(false).catch(() => {}); // nobody is at the slot
        }
    }

    private reveal(user: User): Promise<void> {
        return attempt(async () => {
            if (this.pins.has(user.slot)) this.hidePin(user.slot);
            else this.pins = new Map(this.pins).set(user.slot, (await ask<User>("GET", `/users/${user.slot}?secrets=1`)).pin ?? "");
            return undefined;
        });
    }

    private hidePin(slot: number): void {
        this.pins = new Map([...this.pins].filter(([other]) => other !== slot));
    }

    private enable(user: User, lock: Lock, enabled: boolean): Promise<void> {
        return attempt(async () => {
            try {
                await ask("PUT", `/locks/${lock.id}/users/${user.id}`, { enabled });
            } finally {
                this.requestUpdate(); // the box shows what is, also after a refusal
            }
            return `${user.name} ${enabled ? "may" : "may no longer"} use ${lock.name}. What that means for the cloud stands below the user.`;
        });
    }

    private async removeUser(user: User): Promise<void> {
        if (await confirmed(`Delete ${user.name}?`, ["The user's rights to all locks go too, here and in the cloud."], "Delete"))
            await attempt(async () => {
                await ask("DELETE", `/users/${user.slot}`);
                this.hidePin(user.slot);
                return `${user.name} was deleted.`;
            });
    }
}
