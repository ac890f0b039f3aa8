// A lock's last days: a chart, and the same in words.

import { html, type PropertyValues, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import uPlot from "uplot";
import { ask, Refusal, type Heartbeat } from "./api.ts";
import { failed, View } from "./view.ts";
import { historyWords } from "./words.ts";

const RELOAD_MS = 60_000;
const HEIGHT = 220;

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
        return html`
            <div class="row"><label for=${id}>History of</label>
                <select id=${id} @change=${(event: Event) => { this.days = Number((event.target as HTMLSelectElement).value); void this.load(); }}>
                    ${[1, 7, 30].map((days) => html`<option value=${days} ?selected=${days === this.days}>${days === 1 ? "1 day" : `${days} days`}</option>`)}
                </select></div>
            <p class="hint">${this.points ? historyWords(this.points) : "Loading…"}</p>
            <div class="chart" aria-hidden="true"></div>`;
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
        const [text, soft, line] = ["--text", "--soft", "--line"].map((name) => style.getPropertyValue(name));
        const colours = ["--accent", "--warn", "--soft"].map((name) => style.getPropertyValue(name));
        const axis = { stroke: soft ?? "", grid: { stroke: line ?? "", width: 1 }, ticks: { stroke: line ?? "", width: 1 } };
        const series = (label: string, index: number, scale: string) => ({ label, scale, stroke: colours[index] ?? text ?? "", width: 1.5, spanGaps: true });
        this.chart = new uPlot({
            width: place.clientWidth, height: HEIGHT, cursor: { show: false }, legend: { live: false },
            scales: { percent: { range: [0, 100] }, minutes: { range: (_, __, most) => [0, Math.max(5, most)] } },
            axes: [{ ...axis, values: (_, ticks) => ticks.map((tick) => new Date(tick * 1000).toLocaleString([], this.days > 1
                ? { day: "numeric", month: "short" } : { hour: "2-digit", minute: "2-digit" })) }, { ...axis, scale: "percent", values: (_, ticks) => ticks.map((tick) => `${tick} %`) },
                { ...axis, scale: "minutes", side: 1, size: 60, grid: { show: false }, values: (_, ticks) => ticks.map((tick) => `${tick} min`) }],
            series: [{}, series("Battery", 0, "percent"), series("WiFi", 1, "percent"), { ...series("Gap between heartbeats", 2, "minutes"), dash: [4, 4] }],
        }, [
            this.points.map(({ time }) => Date.parse(time) / 1000),
            this.points.map(({ battery }) => battery),
            this.points.map(({ wifi }) => wifi),
            this.points.map(({ gap_seconds: gap }) => (gap === null ? null : gap / 60)),
        ], place);
    }
}
