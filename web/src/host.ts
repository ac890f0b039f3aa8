// Host: the program, the driver's library and the configuration.

import { html, nothing, type TemplateResult } from "lit";
import { customElement } from "lit/decorators.js";
import { ask, type SaveState, type Status } from "./api.ts";
import { store } from "./store.ts";
import { attempt, confirmed, download, View } from "./view.ts";

@customElement("host-view")
export class HostView extends View {
    override connectedCallback(): void {
        super.connectedCallback();
        void this.load();
    }

    private load(): Promise<void> {
        return attempt(async () => {
            store.takeStatus(await ask<Status>("GET", "/status"));
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
                <div><dt>Running for</dt><dd>${Math.floor(status.uptime_seconds / 60)} min</dd></div>
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
                whoever helps.</p>`;
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
