// Simulator: what the simulated cloud holds beside what the controller shows of it, and everything that may happen to
// both: at the doors, in the cloud, and on the way.

import { html, nothing, type TemplateResult } from "lit";
import { customElement, state } from "lit/decorators.js";
import { ask, Refusal, type SimulatorFault, type SimulatorLock, type SimulatorRequests, type SimulatorWorld } from "./api.ts";
import { SITUATIONS, type Situation, type Step } from "./situations.ts";
import { store } from "./store.ts";
import { attempt, badge, confirmed, failed, say, View } from "./view.ts";
import { ago, healthWords, listed, lockWords, percent } from "./words.ts";

const POLL_MS = 2_000;

const KINDS: Readonly<Record<SimulatorFault["kind"], string>> = {
    status: "Answer with a status",
    close: "Close without a reply",
    delay: "Reply late",
    cut: "Cut the reply short",
    truncate: "Send half the body",
    bad_json: "Send no proper JSON",
    body: "Send another body",
};

interface Field {
    readonly name: string;
    readonly label: string;
    readonly hint: string;
    readonly value?: string;
    readonly options?: readonly (readonly [value: string, text: string])[];
}

/** A question with fields, and what is done with the answers. */
interface Question {
    readonly title: string;
    readonly fields: readonly Field[];
    readonly send: (answers: Readonly<Record<string, string>>) => Promise<unknown>;
}

@customElement("simulator-view")
export class SimulatorView extends View {
    @state() private world: SimulatorWorld | undefined;
    @state() private faults: readonly SimulatorFault[] = [];
    @state() private requests: SimulatorRequests["requests"] | undefined;
    @state() private away = "";
    @state() private chosen = "";
    @state() private kind: SimulatorFault["kind"] = "status";
    @state() private question: Question | undefined;
    @state() private refused = "";
    private timer: ReturnType<typeof setInterval> | undefined;
    private loading = false;

    override connectedCallback(): void {
        super.connectedCallback();
        this.timer = setInterval(() => { if (!document.hidden && !this.loading) void this.load(); }, POLL_MS);
        void this.load();
    }
    override disconnectedCallback(): void {
        super.disconnectedCallback();
        clearInterval(this.timer);
    }

    private async load(): Promise<void> {
        this.loading = true;
        try {
            const [world, { faults }] = await Promise.all([
                ask<SimulatorWorld>("GET", "/simulator/world"), ask<{ faults: SimulatorFault[] }>("GET", "/simulator/faults")]);
            if (this.requests) this.requests = (await ask<SimulatorRequests>("GET", "/simulator/requests")).requests;
            [this.world, this.faults, this.away] = [world, faults, ""];
        } catch (error) {
            if (!(error instanceof Refusal)) throw error;
            this.away = error.message;
        } finally {
            this.loading = false;
        }
    }

    /** Does something at the simulator and shows what came of it. */
    private act(done: string, steps: readonly Step[]): Promise<void> {
        return attempt(async () => {
            try {
                for (const [method, path, body] of steps) await ask(method, `/simulator${path}`, body);
            } finally {
                await this.load();
            }
            return done;
        });
    }

    protected override render(): TemplateResult {
        const { world } = this;
        if (!world) return html`<h1>Simulator</h1>${this.away ? failed(this.away, () => this.load())
            : html`<p class="hint" aria-busy="true">Loading…</p>`}`;
        return html`
            <h1>Simulator</h1>
            <p class="hint">The cloud behind this controller is simulated. What is done here happens at a door or in the cloud;
                the controller learns of it on the way it would learn of the real thing.</p>
            ${this.away ? html`<p class="message bad" role="alert">${this.away} What is shown is the last that was heard.</p>` : nothing}
            <dl class="facts">
                <div><dt>Cloud account</dt><dd>${world.account.name}</dd></div>
                <div><dt>Tokens</dt><dd>${world.tokens.access_count} for access, ${world.tokens.refresh_count} to refresh</dd></div>
                <div><dt>Faults that wait</dt><dd>${this.faults.length || "none"}</dd></div>
                ${store.state.interfaces.map(({ name, health }) => html`
                    <div><dt>${name} here</dt><dd>${badge(healthWords(health).text, healthWords(health).tone)}</dd></div>`)}
            </dl>
            ${this.situations(world)}
            <div class="row head"><h2>Locks</h2><button class="end" ?disabled=${!world.locations.length} @click=${() => this.addLock(world)}>Add a lock…</button></div>
            ${world.locks.length ? nothing : html`<p class="empty">The cloud has no locks. Add a house first, then a lock in it.</p>`}
            <div class="grid wide">${world.locks.map((lock) => this.lock(lock, world))}</div>
            ${this.houses(world)}
            ${this.persons(world)}
            ${this.faultList()}
            ${this.requestList()}
            ${this.question ? this.dialog(this.question) : nothing}`;
    }

    private situations(world: SimulatorWorld): TemplateResult {
        const lock = world.locks.find(({ id }) => id === this.chosen) ?? world.locks[0];
        const list = (situations: readonly Situation[]) => html`<ul class="situations">${situations.map((situation) => html`
            <li><button ?disabled=${situation.ofLock && !lock} @click=${() => this.play(situation, lock, world)}>${situation.name}</button>
                <span class="hint">${situation.see}</span></li>`)}</ul>`;
        return html`<div class="grid wide">
            <section class="card" aria-labelledby="situations-cloud">
                <h2 id="situations-cloud">Situations in the cloud</h2>${list(SITUATIONS.filter(({ ofLock }) => !ofLock))}</section>
            <section class="card" aria-labelledby="situations-lock">
                <div class="row"><h2 id="situations-lock">Situations at a lock</h2>
                    <select class="end" aria-label="Lock" ?disabled=${!lock} @change=${(event: Event) => { this.chosen = (event.target as HTMLSelectElement).value; }}>
                        ${world.locks.map(({ id, name }) => html`<option value=${id} ?selected=${id === lock?.id}>${name}</option>`)}</select></div>
                ${list(SITUATIONS.filter(({ ofLock }) => ofLock))}</section></div>`;
    }

    private play(situation: Situation, lock: SimulatorLock | undefined, world: SimulatorWorld): void {
        const where = situation.ofLock && lock ? `${situation.name}, ${lock.name}` : situation.name;
        // Those of the cloud look at no lock.
        void this.act(`${where}: done. ${situation.see}`, situation.steps(lock as SimulatorLock, world.locks));
    }

    private lock(lock: SimulatorLock, world: SimulatorWorld): TemplateResult {
        const here = store.state.locks.find(({ device_id }) => device_id === lock.id);
        const { physical, reported } = lock;
        const now = Date.parse(world.time);
        const due = Math.max(0, Math.round((Date.parse(lock.next_heartbeat_at) - now) / 1000));
        const row = (what: string, door: string, cloud: string, shown: string) => html`<tr><th scope="row">${what}</th>
            <td>${door}</td><td class=${cloud === door ? "" : "differs"}>${cloud}</td>
            <td class=${shown.toLowerCase() === cloud ? "" : "differs"}>${here ? shown : "–"}</td></tr>`;
        const level = (what: "battery" | "wifi", label: string, value: number) => html`
            <form class="row" @submit=${(event: SubmitEvent) => this.sendField(event, (text) => [
                `${lock.name}: ${label} is ${text} % now. The cloud hears of it at the next heartbeat.`,
                [["POST", `/locks/${lock.id}/${what}`, { level: Number(text) }]]])}>
                <label for="${what}-${lock.id}">${label}, %</label>
                <input id="${what}-${lock.id}" name="value" class="short" type="number" min="0" max="100" required value=${value}>
                <button>Set</button></form>`;
        return html`
            <section class="card" aria-labelledby="sim-${lock.id}">
                <div class="row"><h3 id="sim-${lock.id}">${lock.name}</h3>
                    <span class="chip">${world.locations.find(({ id }) => id === lock.location_id)?.name}</span></div>
                <div class="scroll" tabindex="0" role="region" aria-label="${lock.name}, at the door, in the cloud and on the controller"><table>
                    <thead><tr><th><span class="hidden">What</span></th><th>Door</th><th>Cloud</th><th>Controller</th></tr></thead>
                    <tbody>
                        ${row("Bolt", physical.state, reported.state, here ? lockWords(here).text : "")}
                        ${row("Battery", `${physical.power_level} %`, `${reported.power_level} %`, percent(here?.battery ?? null))}
                        ${row("WiFi", `${physical.wifi_level} %`, `${reported.wifi_level} %`, percent(here?.signal ?? null))}
                        <tr><th scope="row">Link</th><td>${lock.online ? "online" : "offline"}</td>
                            <td class=${lock.alive === lock.online ? "" : "differs"}>${lock.alive ? "alive" : "not alive"}</td>
                            <td>${here ? here.error || "no error" : "–"}</td></tr>
                    </tbody></table></div>
                <p class="hint">${here ? nothing : "Not on the controller: it has no account for this house, or did not look for locks since. "}
                    ${lock.pending ? `"${lock.pending}" waits for the heartbeat. ` : nothing}Heard ${ago(lock.connected_at, now)}, next heartbeat in ${due} s of ${lock.heartbeat_interval} s${
                        lock.missed_heartbeats ? `, ${lock.missed_heartbeats} missed` : ""}.</p>
                <div class="stack"><div class="row">
                    ${(["locked", "unlocked"] as const).map((bolt) => html`<button ?disabled=${physical.state === bolt}
                        @click=${() => this.act(`${lock.name} was ${bolt} by hand.`, [["POST", `/locks/${lock.id}/turn`, { state: bolt }]])}>
                        ${bolt === "locked" ? "Lock" : "Unlock"} by hand</button>`)}
                    <button @click=${() => this.act(`${lock.name} had a heartbeat.`, [["POST", `/locks/${lock.id}/heartbeat`]])}>Heartbeat now</button>
                    <button @click=${() => this.act(`${lock.name} is ${lock.online ? "off the network; the cloud notices after three missed heartbeats" : "on the network again"}.`,
                        [["POST", `/locks/${lock.id}/online`, { online: !lock.online }]])}>${lock.online ? "Take offline" : "Bring online"}</button>
                    <button @click=${() => this.rename("locks", lock)}>Rename…</button>
                    <button @click=${() => this.removeItem("locks", lock, "The rights to it go too. The controller loses it with its next look for locks.")}>Remove…</button>
                </div>
                <div class="row">
                    ${level("battery", "Battery", physical.power_level)}
                    ${level("wifi", "WiFi", physical.wifi_level)}
                    <form class="row" @submit=${(event: SubmitEvent) => this.sendField(event, (pin) => [
                        `${lock.name} opened to the PIN.`, [["POST", `/locks/${lock.id}/pin`, { pin }]]])}>
                        <label for="pin-${lock.id}">Keypad PIN</label>
                        <input id="pin-${lock.id}" name="value" class="short" inputmode="numeric" autocomplete="off" pattern="[0-9]{4,16}" title="4 to 16 digits" required>
                        <button>Enter</button></form>
                </div></div>
            </section>`;
    }

    private sendField(event: SubmitEvent, what: (value: string) => [string, Step[]]): void {
        event.preventDefault();
        void this.act(...what(String(new FormData(event.target as HTMLFormElement).get("value"))));
    }

    private houses(world: SimulatorWorld): TemplateResult {
        return html`
            <div class="row head"><h2>Houses</h2><button class="end" @click=${() => this.addNamed("locations", "Add a house")}>Add a house…</button></div>
            ${this.table("Houses", ["House", "Locks"], world.locations.map((house) => html`<tr><th scope="row">${house.name}</th>
                <td data-head="Locks">${listed(world.locks.filter((lock) => lock.location_id === house.id).map(({ name }) => name)) || "none"}</td>
                ${this.changes("locations", house, "An account here that has it as its house hears of no locks any more.")}</tr>`))}`;
    }

    private persons(world: SimulatorWorld): TemplateResult {
        const rights = (person: string) => world.accesses.filter((access) => access.access_person_id === person)
            .map((access) => world.locks.find(({ id }) => id === access.accessible_id)?.name ?? access.accessible_id);
        return html`
            <div class="row head"><h2>Persons</h2><button class="end" @click=${() => this.addNamed("access_persons", "Add a person", [
                { name: "pin", label: "PIN", hint: "4 to 16 digits; no other person has it" },
                { name: "email", label: "E-mail", hint: "May be empty" }])}>Add a person…</button></div>
            ${this.table("Persons", ["Person", "E-mail", "May open", "User here"], world.access_persons.map((person) => html`
                <tr><th scope="row">${person.name}</th><td data-head="E-mail">${person.email ?? "none"}</td>
                <td data-head="May open">${listed(rights(person.id)) || "nothing"}</td>
                <td data-head="User here">${store.state.users.find(({ name }) => name === person.name)?.id ?? "no"}</td>
                ${this.changes("access_persons", person, "The rights go too.")}</tr>`))}`;
    }

    private table(label: string, heads: readonly string[], rows: readonly TemplateResult[]): TemplateResult {
        if (rows.length === 0) return html`<p class="hint">There are none.</p>`;
        return html`<div class="scroll" tabindex="0" role="region" aria-label=${label}><table class="stacking">
            <thead><tr>${heads.map((head) => html`<th>${head}</th>`)}<th><span class="hidden">Change</span></th></tr></thead>
            <tbody>${rows}</tbody></table></div>`;
    }

    private changes(kind: string, item: { id: string; name: string }, consequence: string): TemplateResult {
        return html`<td class="nowrap"><button aria-label="Rename ${item.name}" @click=${() => this.rename(kind, item)}>Rename…</button>
            <button aria-label="Remove ${item.name}" @click=${() => this.removeItem(kind, item, consequence)}>Remove…</button></td>`;
    }

    private faultList(): TemplateResult {
        const { kind } = this;
        const number = (name: string, label: string, most: number, value: number) => html`
            <div class="field"><label for="fault-${name}">${label}</label>
            <input id="fault-${name}" name=${name} type="number" min="0" max=${most} required value=${value}></div>`;
        return html`
            <div class="row head"><h2>Faults</h2><button class="end" ?disabled=${!this.faults.length}
                @click=${() => this.act("All faults are gone.", [["DELETE", "/faults"]])}>Clear all</button></div>
            ${this.faults.length ? html`<ul>${this.faults.map((fault) => html`<li>${KINDS[fault.kind]}${
                fault.kind === "status" || fault.kind === "body" ? ` (${fault.status})` : ""}${
                fault.delay_ms ? `, after ${fault.delay_ms} ms` : ""}: ${fault.match?.method ?? "any"} ${fault.match?.path || "request"}, ${
                fault.count ? `${fault.count} times` : "every time"}${fault.seconds ? `, ${fault.seconds} s left` : ""}</li>`)}</ul>`
                : html`<p class="hint">None waits. Each request to the cloud takes the first one that fits it.</p>`}
            <details><summary>Inject a fault</summary>
            <form @submit=${(event: SubmitEvent) => this.inject(event)}><div class="fields columns">
                <div class="field"><label for="fault-kind">What happens</label>
                    <select id="fault-kind" name="kind" @change=${(event: Event) => { this.kind = (event.target as HTMLSelectElement).value as typeof kind; }}>
                        ${Object.entries(KINDS).map(([value, text]) => html`<option value=${value} ?selected=${value === kind}>${text}</option>`)}</select></div>
                ${kind === "status" || kind === "body" ? html`<div class="field"><label for="fault-status">Status</label>
                    <input id="fault-status" name="status" type="number" min="200" max="599" required .value=${kind === "body" ? "200" : "503"}></div>` : nothing}
                ${kind === "body" ? html`<div class="field"><label for="fault-body">Body</label><input id="fault-body" name="body"></div>` : nothing}
                <div class="field"><label for="fault-method">Method</label><select id="fault-method" name="method">
                    <option value="">Any</option>${["GET", "POST", "PUT", "DELETE"].map((method) => html`<option>${method}</option>`)}</select></div>
                <div class="field"><label for="fault-path">Path starts with</label><input id="fault-path" name="path" placeholder="/devices"></div>
                ${number("delay_ms", "Wait before the reply, ms", 600_000, kind === "delay" ? 5000 : 0)}
                ${number("count", "Requests, 0 for all", 1_000_000, 1)}
                ${number("seconds", "Seconds, 0 for no end", 86_400, 0)}
            </div><button class="primary">Inject</button></form></details>`;
    }

    private inject(event: SubmitEvent): void {
        event.preventDefault();
        const fields = new FormData(event.target as HTMLFormElement);
        const text = (name: string) => String(fields.get(name) ?? "");
        const fault: SimulatorFault = {
            kind: this.kind, match: { method: text("method") || null, path: text("path") },
            delay_ms: Number(text("delay_ms")), count: Number(text("count")), seconds: Number(text("seconds")),
            ...(fields.has("status") ? { status: Number(text("status")) } : {}),
            ...(fields.has("body") ? { body: text("body") } : {}),
        };
        void this.act("The fault waits for its requests.", [["POST", "/faults", [fault]]]);
    }

    private requestList(): TemplateResult {
        return html`<details @toggle=${(event: Event) => {
            this.requests = (event.target as HTMLDetailsElement).open ? [] : undefined;
            void this.load();
        }}><summary>Last requests to the cloud</summary>
            ${this.requests?.length ? html`<div class="scroll log" tabindex="0" role="region" aria-label="Requests"><table>
                <thead><tr><th>Time</th><th>Request</th><th>Reply</th></tr></thead>
                <tbody>${[...this.requests].reverse().map((request) => html`<tr class=${request.errorcode ? "report" : ""}>
                    <td class="nowrap">${new Date(request.time).toLocaleTimeString()}</td>
                    <td class="text">${request.method} ${request.path}</td><td>${request.status} ${request.errorcode}</td></tr>`)}</tbody>
            </table></div>` : html`<p class="hint">There was none yet.</p>`}</details>`;
    }

    private dialog(question: Question): TemplateResult {
        return html`<dialog aria-labelledby="sim-title" @close=${() => { this.question = undefined; }}>
            <form method="dialog" @submit=${(event: SubmitEvent) => this.answer(event, question)}>
                <h2 id="sim-title">${question.title}</h2>
                <div class="fields">${question.fields.map(({ name, label, hint, value, options }) => html`
                    <div class="field"><label for="sim-${name}">${label}</label>
                    ${options ? html`<select id="sim-${name}" name=${name} aria-describedby="sim-${name}-hint">${options.map(([choice, text]) => html`<option value=${choice}>${text}</option>`)}</select>`
                        : html`<input id="sim-${name}" name=${name} .value=${value ?? ""} autocomplete="off" aria-describedby="sim-${name}-hint">`}
                    <span class="hint" id="sim-${name}-hint">${hint}</span></div>`)}</div>
                ${this.refused ? html`<p class="message bad" role="alert">${this.refused}</p>` : nothing}
                <div class="row end"><button value="no" formnovalidate>Cancel</button><button value="yes" class="primary">Store</button></div>
            </form></dialog>`;
    }

    private show(question: Question): void {
        this.refused = "";
        this.question = question;
        void this.updateComplete.then(() => this.querySelector("dialog")?.showModal());
    }

    private async answer(event: SubmitEvent, question: Question): Promise<void> {
        if ((event.submitter as HTMLButtonElement).value !== "yes") return;
        event.preventDefault();
        const answers = Object.fromEntries([...new FormData(event.target as HTMLFormElement)].map(([name, value]) => [name, String(value)]));
        try {
            await question.send(answers);
            this.querySelector("dialog")?.close();
            say(`${answers["name"] ?? ""} is in the cloud. The controller hears of it when it asks for the list next.`, "good");
            await this.load();
        } catch (error) {
            if (!(error instanceof Refusal)) throw error;
            this.refused = error.message;
        }
    }

    private addNamed(kind: string, title: string, more: readonly Field[] = []): void {
        this.show({
            title, fields: [{ name: "name", label: "Name", hint: "1 to 200 letters" }, ...more],
            send: (answers) => ask("POST", `/simulator/${kind}`, Object.fromEntries(Object.entries(answers).filter(([, value]) => value !== ""))),
        });
    }

    private addLock(world: SimulatorWorld): void {
        this.addNamed("locks", "Add a lock", [{
            name: "location_id", label: "House", hint: "An account of this house finds it with \"Look for locks\"",
            options: world.locations.map(({ id, name }) => [id, name] as const),
        }]);
    }

    private rename(kind: string, item: { id: string; name: string }): void {
        this.show({
            title: `Rename ${item.name}`, fields: [{ name: "name", label: "Name", hint: "1 to 200 letters", value: item.name }],
            send: (answers) => ask("PUT", `/simulator/${kind}/${item.id}`, answers),
        });
    }

    private async removeItem(kind: string, item: { id: string; name: string }, consequence: string): Promise<void> {
        if (await confirmed(`Remove ${item.name} from the cloud?`, [consequence], "Remove"))
            await this.act(`${item.name} is gone from the cloud.`, [["DELETE", `/${kind}/${item.id}`]]);
    }
}
