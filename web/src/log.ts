// Which log entries are shown, and how they are written into a file.

import type { LogEntry } from "./api.ts";

/** What entries must have to be shown; empty: anything. */
export interface LogFilter {
    producer: string;
    kind: "" | "report" | "trace";
    /** Part of the text, in small or capital letters. */
    text: string;
}

/** The entries that fit. */
export function filtered(entries: readonly LogEntry[], filter: LogFilter): LogEntry[] {
    const text = filter.text.toLowerCase();
    return entries.filter((entry) =>
        (filter.producer === "" || entry.producer === filter.producer) &&
        (filter.kind === "" || entry.report === (filter.kind === "report")) &&
        entry.text.toLowerCase().includes(text));
}

/** One line for each entry; what a text has of line breaks is written as "\n". */
export function logText(entries: readonly LogEntry[]): string {
    return entries.map((entry) => `${entry.time} ${entry.thread} ${entry.producer}${entry.report ? ` report ${entry.line}` : ""}: ` +
        `${entry.text.replaceAll("\r", "").replaceAll("\n", "\\n")}\n`).join("");
}
