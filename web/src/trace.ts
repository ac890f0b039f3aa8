// Trace: the host's log as it grows, and the switches of those who write into it.

import { html, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import { ask, type LogEntry, type TraceSwitches, type Traces } from "./api.ts";
import { filtered, logText, type LogFilter } from "./log.ts";
import { attempt, saveAs, View } from "./view.ts";

const PAUSE_MS = 1000;
const KEPT = 2000;

@customElement("trace-view")
export class TraceView extends View {
    @state() private entries: LogEntry[] = [];
    @state() private paused = false;
    @state() private filter: LogFilter = { producer: "", kind: "", text: "" };
    @state() private switches: TraceSwitches | undefined;
    private last = 0;
    private timer: ReturnType<typeof setInterval> | undefined;
    private asking = false;
    private anew = true; // what comes next is all there is

    override connectedCallback(): void {
        super.connectedCallback();
        this.timer = setInterval(() => void this.poll(), PAUSE_MS);
        void this.poll();
        void attempt(async () => {
            this.switches = await ask<TraceSwitches>("GET", "/trace-switches");
            return undefined;
        });
    }
    override disconnectedCallback(): void {
        super.disconnectedCallback();
        clearInterval(this.timer);
    }

    private async poll(): Promise<void> {
        if (this.paused || this.asking) return;
        this.asking = true;
        try {
            const reply = await ask<Traces>("GET", `/traces?since=${this.anew ? 0 : this.last}&limit=${KEPT}`);
            this.last = reply.last;
            if (this.anew) this.entries = reply.traces;
            else if (reply.traces.length > 0) this.entries = [...this.entries, ...reply.traces].slice(-KEPT);
            this.anew = false;
        } catch {
            this.anew = true; // another start of the host counts from one; that it is away is said above
        } finally {
            this.asking = false;
        }
    }

    protected override render(): TemplateResult {
        const shown = filtered(this.entries, this.filter);
        const producers = [...new Set(this.entries.map((entry) => entry.producer))].sort();
        const set = (part: Partial<LogFilter>) => { this.filter = { ...this.filter, ...part }; };
        const value = (event: Event) => (event.target as HTMLInputElement | HTMLSelectElement).value;
        return html`
            <h1>Trace</h1>
            <div class="row">
                <label for="producer">From</label>
                <select id="producer" @change=${(event: Event) => set({ producer: value(event) })}>
                    <option value="">everybody</option>${producers.map((name) => html`<option ?selected=${name === this.filter.producer}>${name}</option>`)}</select>
                <label for="kind">Kind</label>
                <select id="kind" @change=${(event: Event) => set({ kind: value(event) as LogFilter["kind"] })}>
                    <option value="">all</option><option value="report">reports</option><option value="trace">traces</option></select>
                <label for="text">Text</label><input id="text" type="search" @input=${(event: Event) => set({ text: value(event) })}>
                <button class="end" aria-pressed=${this.paused} @click=${() => { this.paused = !this.paused; }}>${this.paused ? "Go on" : "Pause"}</button>
                <button @click=${() => this.download(shown)}>Download</button>
            </div>
            <div class="scroll log" tabindex="0" role="region" aria-label="Log entries, newest first"><table>
                <thead><tr><th>Time</th><th>From</th><th>Text</th></tr></thead>
                <tbody>${shown.length === 0 ? html`<tr><td colspan="3" class="hint">${this.entries.length ? "Nothing fits the filters." : "Nothing was written yet. Switch a producer on below."}</td></tr>` : ""}
                ${shown.slice(-500).reverse().map((entry) => html`<tr class=${entry.report ? "report" : ""}>
                    <td class="nowrap">${entry.time.slice(11, 23)}</td><td class="nowrap">${entry.producer}${entry.report ? ` ${entry.line}` : ""}</td><td class="text">${entry.text}</td></tr>`)}</tbody>
            </table></div>
            <details><summary>Switches</summary><div class="fields">${this.switches ? Object.entries({ "*": this.switches.default, ...this.switches.switches }).map(([name, on]) => html`
                <label class="row"><input type="checkbox" .checked=${on} @change=${(event: Event) => this.set(name, (event.target as HTMLInputElement).checked)}>
                ${name === "*" ? "All, those to come included" : name}</label>`) : ""}</div></details>`;
    }

    private set(name: string, on: boolean): Promise<void> {
        return attempt(async () => {
            this.switches = await ask<TraceSwitches>("PUT", "/trace-switches", { [name]: on });
            return undefined;
        });
    }

    private download(entries: readonly LogEntry[]): void {
        saveAs("trace.txt", new Blob([logText(entries)], { type: "text/plain" }));
    }
}
