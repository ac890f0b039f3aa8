// Activity: what happened, newest first, as it comes and as far back as somebody reads.

import { html, nothing, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import { ask, type Activity } from "./api.ts";
import { store } from "./store.ts";
import { attempt, download, View } from "./view.ts";

const PAGE = 100;
const KINDS: readonly [Activity["kind"], string][] = [
    ["lock", "locks"], ["command", "commands"], ["error", "errors"], ["account", "accounts"], ["user", "users"], ["host", "the host"],
];

@customElement("activity-view")
export class ActivityView extends View {
    @state() private entries: readonly Activity[] = [];
    @state() private more = false;
    @state() private filter = { kind: "", lock: "", user: "" };
    private end: (() => void) | undefined;

    override connectedCallback(): void {
        super.connectedCallback();
        this.end = store.watchEvent("activity", () => void this.load());
        void this.load();
    }
    override disconnectedCallback(): void {
        super.disconnectedCallback();
        this.end?.();
    }

    /** The address of what is shown, as a list or, with ".csv", as a table. */
    private address(suffix: string, further: Record<string, string> = {}): string {
        const set = Object.entries({ ...this.filter, ...further }).filter(([, value]) => value !== "");
        return `/activity${suffix}?${new URLSearchParams(set).toString()}`;
    }

    private load(before?: Activity): Promise<void> {
        return attempt(async () => {
            const count = before ? PAGE : Math.max(PAGE, this.entries.length);
            const limit = String(Math.min(count, 1000));
            const { activity } = await ask<{ activity: Activity[] }>("GET",
                this.address("", before ? { limit, before: String(before.id) } : { limit }));
            this.entries = before ? [...this.entries, ...activity] : activity;
            this.more = activity.length === Number(limit);
            return undefined;
        });
    }

    protected override render(): TemplateResult {
        const { locks, users } = store.state;
        const chooser = (name: keyof typeof this.filter, label: string, entries: readonly (readonly [string | number, string])[]) => html`
            <label for="of-${name}">${label}</label>
            <select id="of-${name}" @change=${(event: Event) => {
                this.filter = { ...this.filter, [name]: (event.target as HTMLSelectElement).value };
                this.entries = [];
                void this.load();
            }}><option value="">all</option>${entries.map(([value, text]) => html`<option value=${value}>${text}</option>`)}</select>`;
        const last = this.entries.at(-1);
        return html`
            <h1>Activity</h1>
            <div class="row">
                ${chooser("kind", "About", KINDS)}
                ${chooser("lock", "Lock", locks.map((lock) => [lock.id, lock.name]))}
                ${chooser("user", "User", users.map((user) => [user.id, user.name]))}
                <button class="end" @click=${() => download(this.address(".csv"), "activity.csv")}>Download as a table</button>
            </div>
            ${this.entries.length === 0 ? html`<p class="empty">Nothing of that kind happened yet.</p>` : html`
            <div class="scroll" tabindex="0" role="region" aria-label="What happened, newest first"><table>
                <thead><tr><th>When</th><th>What</th></tr></thead>
                <tbody>${this.entries.map((entry) => html`<tr class=${entry.kind === "error" ? "report" : ""}>
                    <td class="nowrap">${new Date(entry.time).toLocaleString()}</td><td class="text">${entry.text}</td></tr>`)}</tbody>
            </table></div>`}
            ${this.more && last ? html`<button @click=${() => this.load(last)}>Earlier</button>` : nothing}`;
    }
}
