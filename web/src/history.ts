// A lock's last days: a chart, and the same in words.

import { html, type PropertyValues, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import uPlot from "uplot";
import { ask, Refusal, type Heartbeat } from "./api.ts";
import { failed, View } from "./view.ts";
import { historyWords } from "./words.ts";

const RELOAD_MS = 60_000;
const HEIGHT = 220;
const HOUR_S = 3600;
const LEAST_S = 600; // that the time axis shows: of a lock that was just installed, no seconds
const MOST_DAYS = 30;
// Apart without colours, too.
const LINES = [["Battery", "percent", "--accent", "solid", []], ["WiFi", "percent", "--warn", "dashed", [8, 4]],
    ["Gap between heartbeats", "gap", "--text", "dotted", [2, 3]]] as const;

/** The heartbeats of one lock as a chart of battery, WiFi and the gaps between them. */
@customElement("lock-history")
export class LockHistory extends View {
    static override properties = { lock: { type: Number } };
    declare lock: number;
    @state() private days = 7;
    @state() private points: readonly Heartbeat[] | undefined;
    @state() private fault = "";
    private chart: uPlot | undefined;
    private timer: ReturnType<typeof setInterval> | undefined;
    private readonly dark = matchMedia("(prefers-color-scheme: dark)");
    private readonly draw = () => this.redraw();
    private readonly size = new ResizeObserver(() => {
        const width = this.querySelector(".chart")?.clientWidth;
        if (width && width !== this.chart?.width) this.chart?.setSize({ width, height: HEIGHT });
    });

    override connectedCallback(): void {
        super.connectedCallback();
        this.timer = setInterval(() => void this.load(), RELOAD_MS);
        this.dark.addEventListener("change", this.draw);
        this.size.observe(this);
        void this.load();
    }

    override disconnectedCallback(): void {
        super.disconnectedCallback();
        clearInterval(this.timer);
        this.dark.removeEventListener("change", this.draw);
        this.size.disconnect();
        this.chart?.destroy();
        this.chart = undefined;
    }

    private async load(): Promise<void> {
        try {
            this.points = (await ask<{ points: Heartbeat[] }>("GET", `/locks/${this.lock}/history?days=${this.days}`)).points;
            this.fault = "";
        } catch (error) {
            if (!(error instanceof Refusal)) throw error;
            this.fault = error.message;
        }
    }

    protected override render(): TemplateResult {
        if (this.fault) return failed(this.fault, () => void this.load());
        const id = `days-${this.lock}`;
        const { points } = this;
        return html`
            <div class="row"><label for=${id}>History of</label>
                <select id=${id} @change=${(event: Event) => { this.days = Number((event.target as HTMLSelectElement).value); void this.load(); }}>
                    ${[1, 7, MOST_DAYS].map((days) => html`<option value=${days} ?selected=${days === this.days}>${days === 1 ? "1 day" : `${days} days`}</option>`)}
                </select></div>
            ${points?.length === 0 ? html`<p class="empty">${this.days < MOST_DAYS ? "No heartbeat in this time." : "No history yet."}
                The chart begins with the first heartbeat that the cloud tells of; each is kept for ${MOST_DAYS} days.</p>`
                : html`<p class="hint">${points ? historyWords(points) : "Loading…"}</p>
                    <div class="chart" aria-hidden="true"></div>`}`;
    }

    protected override updated(changed: PropertyValues): void {
        if (changed.has("points")) this.redraw();
    }

    private redraw(): void {
        const place = this.querySelector<HTMLElement>(".chart");
        this.chart?.destroy();
        this.chart = undefined;
        if (!place || !this.points?.length) return;
        const style = getComputedStyle(this);
        const colour = (name: string) => style.getPropertyValue(name);
        const line = { stroke: colour("--line"), width: 1 };
        const axis = { stroke: colour("--soft"), grid: line, ticks: line };
        const now = Date.now() / 1000;
        const longest = Math.max(0, ...this.points.map(({ gap_seconds: gap }) => gap ?? 0));
        const [unit, per] = longest > 4 * HOUR_S ? ["h", HOUR_S] : longest > 240 ? ["min", 60] : ["s", 1];
        this.chart = new uPlot({
            width: place.clientWidth, height: HEIGHT, cursor: { show: false },
            legend: { live: false, markers: { dash: (_, index) => LINES[index - 1]?.[3] ?? "solid" } },
            scales: { x: { range: (_, first, last) => [Math.min(first, now - LEAST_S), Math.max(last, now)] },
                percent: { range: [0, 100] }, gap: { range: (_, __, most) => [0, Math.max(1, most * 1.1)] } },
            axes: [{ ...axis, space: 70, values: (_, ticks) => ticks.map(dateOrTime) },
                { ...axis, scale: "percent", size: 56, values: (_, ticks) => ticks.map((tick) => `${tick} %`) },
                { ...axis, scale: "gap", side: 1, size: 68, grid: { show: false }, values: (_, ticks) => ticks.map((tick) => `${tick} ${unit}`) }],
            series: [{}, ...LINES.map(([label, scale, name, , dash]) => ({ label, scale, stroke: colour(name), width: 1.5,
                dash: [...dash], points: { size: 4, fill: colour(name) }, spanGaps: true }))],
        }, [
            this.points.map(({ time }) => Date.parse(time) / 1000),
            this.points.map(({ battery }) => battery),
            this.points.map(({ wifi }) => wifi),
            this.points.map(({ gap_seconds: gap }) => (gap === null ? null : gap / per)),
        ], place);
    }
}

/** A tick of the time axis: the day where one begins, else the time of day. */
function dateOrTime(seconds: number): string {
    const tick = new Date(seconds * 1000);
    return tick.getHours() + tick.getMinutes() === 0 ? tick.toLocaleDateString([], { day: "numeric", month: "short" })
        : tick.toLocaleTimeString([], { hour: "2-digit", minute: "2-digit" });
}
