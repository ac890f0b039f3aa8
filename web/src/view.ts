// What all views share: elements without a shadow tree, messages, and questions.

import { html, LitElement, type ReactiveController, type ReactiveControllerHost, type TemplateResult } from "lit";
import { askFile, Refusal } from "./api.ts";
import { Watching } from "./store.ts";
import type { Tone } from "./words.ts";

/** A view of the state, in the page's own tree so that its styles and labels reach everywhere. */
export abstract class View extends LitElement {
    constructor() {
        super();
        new Watching(this);
    }
    protected override createRenderRoot(): this {
        this.replaceChildren();
        return this;
    }
}

const CLOCK_MS = 5000;

/** Renders its element anew every few seconds, for what it says of times. */
export class Clock implements ReactiveController {
    private timer: ReturnType<typeof setInterval> | undefined;

    constructor(private readonly host: ReactiveControllerHost) {
        host.addController(this);
    }
    hostConnected(): void {
        this.timer = setInterval(() => this.host.requestUpdate(), CLOCK_MS);
    }
    hostDisconnected(): void {
        clearInterval(this.timer);
    }
}

/** A short word with a colour of its meaning. */
export function badge(text: string, tone: Tone): TemplateResult {
    return html`<span class="badge ${tone}">${text}</span>`;
}

/** What stands in the place of something that could not be loaded. */
export function failed(why: string, again: () => void): TemplateResult {
    return html`<p class="message bad" role="alert">${why}</p><button @click=${again}>Try again</button>`;
}

/** Says what came of something, on screen and to screen readers. An error stays until the next message. */
export function say(text: string, tone: Tone = "plain"): void {
    const region = document.getElementById("messages");
    if (!region) return;
    const message = document.createElement("p");
    message.className = `message ${tone}`;
    message.textContent = text;
    region.replaceChildren(message);
    if (tone !== "bad") setTimeout(() => message.remove(), 8000);
}

/** Does something that a person asked for, and says so, or why not. */
export async function attempt(work: () => Promise<string | undefined>): Promise<void> {
    try {
        const done = await work();
        if (done) say(done, "good");
    } catch (error) {
        if (!(error instanceof Refusal)) throw error;
        say(error.message, "bad");
    }
}

/** Hands a file to the person who asked for it. */
export function saveAs(name: string, contents: Blob): void {
    const link = document.createElement("a");
    link.href = URL.createObjectURL(contents);
    link.download = name;
    link.click();
    URL.revokeObjectURL(link.href);
}

/** Gets a file from the host and hands it over; a plain link would not bear the token. */
export function download(path: string, name: string): Promise<void> {
    return attempt(async () => {
        saveAs(name, await askFile(path));
        return undefined;
    });
}

/**
 * Asks before something that cannot be undone. The focus comes back to where it was.
 * @returns whether it was confirmed
 */
export function confirmed(question: string, consequences: readonly string[], yes: string): Promise<boolean> {
    const dialog = document.createElement("dialog");
    const title = document.createElement("h2");
    title.id = "question";
    title.textContent = question;
    dialog.setAttribute("aria-labelledby", title.id);
    const texts = consequences.map((text) => {
        const line = document.createElement("p");
        line.textContent = text;
        return line;
    });
    const form = document.createElement("form");
    form.method = "dialog";
    form.className = "row end";
    form.append(...[["no", "Cancel"], ["yes", yes]].map(([value, text]) => {
        const button = document.createElement("button");
        button.value = value ?? "";
        button.textContent = text ?? "";
        button.className = value === "yes" ? "danger" : "";
        return button;
    }));
    dialog.append(title, ...texts, form);
    document.body.append(dialog);
    return new Promise((resolve) => {
        dialog.addEventListener("close", () => {
            dialog.remove();
            resolve(dialog.returnValue === "yes");
        });
        dialog.showModal();
    });
}
