// Host: the program, the driver's library and the configuration.

import { html, nothing, type TemplateResult } from "lit";
import { customElement } from "lit/decorators.js";
import { ask, type Backup, type SaveState, type Status } from "./api.ts";
import { store } from "./store.ts";
import { attempt, Clock, confirmed, download, say, View } from "./view.ts";
import { lasted } from "./words.ts";

@customElement("host-view")
export class HostView extends View {
    private started = ""; // when; what the events tell of the status leaves its time as it was
    private unwatch: (() => void) | undefined;

    constructor() {
        super();
        new Clock(this);
    }
    override connectedCallback(): void {
        super.connectedCallback();
        this.unwatch = store.watchEvent("snapshot", () => void this.load());
        void this.load();
    }
    override disconnectedCallback(): void {
        super.disconnectedCallback();
        this.unwatch?.();
    }

    private load(): Promise<void> {
        return attempt(async () => {
            const status = await ask<Status>("GET", "/status");
            this.started = new Date(Date.now() - status.uptime_seconds * 1000).toISOString();
            store.takeStatus(status);
            return undefined;
        });
    }

    protected override render(): TemplateResult {
        const { status } = store.state;
        if (!status) return html`<h1>Host</h1>`;
        const { save } = status;
        return html`
            <h1>Host</h1>
            <dl class="facts wide">
                <div><dt>Library</dt><dd>${status.library}</dd></div>
                <div><dt>Signature</dt><dd>${status.signature}</dd></div>
                <div><dt>Offers</dt><dd>${status.definitions.map((definition) => `${definition.name} (${definition.type})`).join(", ")}</dd></div>
                <div><dt>Running for</dt><dd>${this.started ? lasted(this.started, Date.now()) : nothing}</dd></div>
                <div><dt>Restarts in place</dt><dd>${status.restarts}</dd></div>
                <div><dt>Saves</dt><dd>${save.saves}${save.pending ? ", one is due" : ""}</dd></div>
            </dl>
            ${save.error ? html`<p class="message bad" role="alert">The configuration was not saved: ${save.error}</p>` : nothing}
            ${save.damaged ? html`<p class="message warn">The configuration was damaged when it was loaded; what was sound of it came in.</p>` : nothing}
            ${save.kept_aside.length ? html`<p class="hint">Damaged configurations that are kept: ${save.kept_aside.join(", ")}</p>` : nothing}
            <div class="row">
                <button @click=${() => this.save()}>Save now</button>
                <button @click=${() => this.restart()}>Restart the system…</button>
                <button @click=${() => download("/diagnostics", "diagnostics.json")}>Download diagnostics</button>
            </div>
            <p class="hint">Diagnostics are all that these views show and the end of the log, without tokens, codes and PINs: to send to
                whoever helps.</p>
            <div class="row">
                <button @click=${() => this.backup()}>Download a backup…</button>
                <button @click=${() => this.chooseBackup()}>Restore a backup…</button>
            </div>
            <p class="hint">A backup is the whole configuration: accounts with their sign-ins, locks, and users with their PINs.</p>`;
    }

    private async backup(): Promise<void> {
        if (await confirmed("Download a backup?", ["The file holds tokens, PINs and programming codes in plain text. Who has it can open the locks: keep it like a key."], "Download"))
            await download("/backup?secrets=1", "backup.json");
    }

    private chooseBackup(): void {
        const input = document.createElement("input");
        input.type = "file";
        input.accept = ".json,application/json";
        input.addEventListener("change", () => {
            const file = input.files?.[0];
            if (file) void this.restore(file);
        });
        input.click();
    }

    private async restore(file: File): Promise<void> {
        const backup = await file.text().then((text) => JSON.parse(text) as Backup | null, () => null).catch(() => null);
        if (typeof backup?.configuration !== "string") return say(`${file.name} is no backup. Choose a file that this page has downloaded as one.`, "bad");
        const { interfaces, locks, users } = store.state;
        if (await confirmed("Restore this backup?", [
            `It was taken ${backup.time ? new Date(backup.time).toLocaleString() : "at an unknown time"}. What it holds takes the place of everything here: accounts (${interfaces.length} now), locks (${locks.length}), users and their rights (${users.length}), and trace switches.`,
            "The system stops for a moment and starts with the backup. What is replaced is kept in a file beside the configuration.",
            "The cloud may have renewed a sign-in since; then its account has to be authorised again.",
        ], "Restore"))
            await attempt(async () => {
                await ask("POST", "/restore", backup);
                return "The backup was restored, and the system runs with it.";
            });
    }

    private save(): Promise<void> {
        return attempt(async () => {
            await ask<SaveState>("POST", "/save");
            await this.load();
            return "The configuration was saved.";
        });
    }

    private async restart(): Promise<void> {
        if (await confirmed("Restart the system?", ["Workers are stopped and everything is initialised again. Nothing is lost."], "Restart"))
            await attempt(async () => {
                await ask("POST", "/restart");
                await this.load();
                return "The system was restarted.";
            });
    }
}
