// An installer's first hour in a real browser: the page of a host that talks to the simulator. Looks for barriers on every
// view, and leaves pictures of the views.
// Arguments: folder of the programs, driver library, folder to write pictures to, Chromium.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";
import { chromium } from "playwright-core";

const [bin, driver, pictures, browserPath] = process.argv.slice(2);
const source = new URL("../../", import.meta.url);
const axe = readFileSync(new URL("../node_modules/axe-core/axe.min.js", import.meta.url), "utf8");
const folder = mkdtempSync(join(tmpdir(), "configurator-"));
const programs = [];

/** Starts a program and gives the JSON line that it prints when it is ready. */
async function start(name, ...options) {
    const program = spawn(join(bin, name), [...options, "--print-ready", "--exit-with-parent"], { stdio: ["ignore", "pipe", "inherit"] });
    programs.push(program);
    for await (const line of createInterface({ input: program.stdout })) return { program, ...JSON.parse(line) };
    throw new Error(`${name} did not get ready`);
}

/** Ends a program and waits for it. */
function stop(program) {
    const ended = new Promise((resolve) => program.on("exit", resolve));
    program.kill("SIGTERM");
    return ended;
}

async function until(what, probe, seconds = 20) {
    for (const end = Date.now() + seconds * 1000; Date.now() < end; await new Promise((resolve) => setTimeout(resolve, 100)))
        if (await probe()) return;
    throw new Error(`not seen within ${seconds} s: ${what}`);
}

function startHost(simulator, port = 0, ...options) {
    const cloud = (host) => ["--connect-to", `${host}:443:127.0.0.1:${simulator.https_port}`];
    return start("vestara-devhost", "--driver", driver, "--state-dir", join(folder, "host"), "--ca-file", simulator.ca_file,
        ...cloud(simulator.oauth_host), ...cloud(simulator.api_host), "--authorize-base", `https://127.0.0.1:${simulator.https_port}`,
        "--simulator", `http://127.0.0.1:${simulator.admin_port}`, "--listen", `127.0.0.1:${port}`, ...options);
}

/** What is shown, in both colours and widths: no barrier, a picture of each. */
async function lookAt(page, name) {
    for (const colorScheme of ["light", "dark"]) {
        await page.emulateMedia({ colorScheme });
        for (const width of [1280, 360]) {
            await page.setViewportSize({ width, height: width === 360 ? 740 : 860 });
            await page.screenshot({ path: join(pictures, `${name}-${width}-${colorScheme}.png`) });
            const wide = await page.evaluate(() => document.documentElement.scrollWidth - innerWidth);
            assert.ok(wide <= 0, `${name} is ${wide} px wider than ${width} px`);
            // As a function of the tool: the page's own policy lets no foreign script in.
            const { violations } = await page.evaluate(`(() => { ${axe}; return axe.run(); })()`);
            assert.deepEqual(violations.map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.html)}`), [], `${name}, ${colorScheme}, ${width}`);
        }
    }
    await page.setViewportSize({ width: 1280, height: 860 });
}

async function lookAround(page) {
    for (const view of ["Accounts", "Locks", "Users", "Activity", "Trace", "Host", "Simulator"]) {
        await page.getByRole("link", { name: view, exact: true }).click();
        await page.getByRole("heading", { name: view, level: 1 }).waitFor();
        await lookAt(page, view.toLowerCase());
    }
    // The README's.
    await page.emulateMedia({ colorScheme: "light" });
    for (const [view, height] of [["Accounts", 620], ["Locks", 440], ["Users", 280]]) {
        await page.setViewportSize({ width: 820, height });
        await page.getByRole("link", { name: view, exact: true }).click();
        await page.getByRole("heading", { name: view, level: 1 }).waitFor();
        await page.screenshot({ path: join(pictures, `readme-${view.toLowerCase()}.png`) });
    }
    await page.setViewportSize({ width: 1280, height: 860 });
}

/** What an installer with a slow line and machine waits for; of a few times the best, since other programs run as well. */
async function measureFirstView(page) {
    const views = [];
    for (let i = 0; i < 5; ++i) {
        await page.reload();
        await page.getByRole("heading", { level: 1 }).waitFor();
        views.push(await page.evaluate(() => {
            const [answer] = performance.getEntriesByType("navigation");
            const loaded = [answer, ...performance.getEntriesByType("resource").filter(({ name }) => name.includes("/assets/"))];
            return { bytes: loaded.reduce((sum, { encodedBodySize: size }) => sum + size, 0), ms: performance.getEntriesByName("first-view")[0].startTime - answer.responseEnd };
        }));
    }
    const [bytes, ms] = [Math.max(...views.map((view) => view.bytes)), Math.min(...views.map((view) => view.ms))];
    console.log(`first view: ${bytes} bytes, ${Math.round(ms)} ms`);
    assert.ok(bytes > 0 && bytes < 150 * 1024, `the first view has ${bytes} bytes`);
    assert.ok(ms < 200, `the first view took ${ms} ms`);
}

/** Authorises the one account: in the tab that its button opens, on the cloud's page. */
async function signIn(page) {
    const opened = page.context().waitForEvent("page");
    await page.getByRole("button", { name: "Authorise" }).click();
    const tab = await opened;
    await tab.getByRole("button", { name: /allow/i }).click();
    await tab.getByRole("link", { name: "Back to the configurator" }).waitFor();
    await tab.close();
}

/** What is done at the simulator shows on the controller, and an account whose tokens were revoked recovers. */
async function playWithTheCloud(page, card) {
    const go = async (view) => {
        await page.getByRole("link", { name: view, exact: true }).click();
        await page.getByRole("heading", { name: view, level: 1 }).waitFor();
    };
    const press = (name) => page.getByRole("button", { name, exact: true }).click();
    await go("Simulator");
    await press("Battery low");
    await page.getByText("Battery low, Front Door: done.").waitFor();
    await press("Lock offline");
    await page.getByText("Lock offline, Front Door: done.").waitFor();
    await card("Boat House").getByLabel("Keypad PIN").fill("0000");
    await card("Boat House").getByRole("button", { name: "Enter" }).click();
    await page.getByText("The PIN is not one of a person with access to this lock.").waitFor();
    await go("Locks");
    await card("Front Door").getByText("9 %").waitFor();
    await card("Front Door").getByText("Offline").waitFor();

    await go("Simulator");
    await press("Tokens revoked");
    await go("Accounts");
    await page.getByText("Sign-in needed", { exact: true }).waitFor({ timeout: 60_000 });
    await signIn(page);
    await page.getByText("Well", { exact: true }).waitFor({ timeout: 60_000 });
    await go("Simulator");
    await press("All well again");
    await go("Locks");
    await card("Front Door").getByText("100 %").waitFor();
}

async function firstHour(browser) {
    const world = JSON.parse(readFileSync(new URL("cloudsim/fixtures/house.json", source), "utf8"));
    for (const lock of world.locks) lock.heartbeat_interval = 4;
    writeFileSync(join(folder, "world.json"), JSON.stringify(world));
    const simulator = await start("vestara-cloudsim", "--state-dir", join(folder, "cloud"), "--fixture", join(folder, "world.json"), "--https-port", "0", "--admin-port", "0");
    const cloud = async () => (await fetch(`http://127.0.0.1:${simulator.admin_port}/admin/world`)).json();
    let host = await startHost(simulator);

    const context = await browser.newContext({ ignoreHTTPSErrors: true, viewport: { width: 1280, height: 860 } });
    const page = await context.newPage();
    const faults = [];
    page.on("pageerror", (error) => faults.push(String(error)));
    page.on("console", (message) => { if (message.type() === "error" && !message.text().startsWith("Failed to load")) faults.push(message.text()); });
    const go = (view) => page.getByRole("link", { name: view, exact: true }).click();
    const card = (name) => page.getByRole("region", { name, exact: true });
    await page.goto(host.api);

    // Sign in on the cloud's page, in the tab that the button opens; then a house.
    await page.getByRole("button", { name: "Add an account" }).click();
    await signIn(page);
    const house = page.getByLabel("House", { exact: true });
    await house.getByRole("option", { name: "Lake House" }).waitFor({ state: "attached" });
    await house.selectOption("Lake House");
    await page.getByText("Well", { exact: true }).waitFor();
    await go("Locks");
    await card("Boat House").waitFor();

    // A user with a right: refused without a proper PIN, then agreed with the cloud.
    await go("Users");
    await page.getByRole("button", { name: "Add a user" }).click();
    await page.getByLabel("Name").fill("Ann Example");
    await page.getByLabel("PIN").fill("12");
    await page.getByRole("button", { name: "Store" }).click();
    await page.getByText("Pin must have 4 to 16 digits.").waitFor();
    await lookAt(page, "users-dialog");
    await page.getByLabel("PIN").fill("471108");
    await page.getByRole("dialog").getByRole("checkbox", { name: "Front Door" }).check();
    await page.getByRole("button", { name: "Store" }).click();
    await until("the cloud lets Ann in", async () => {
        const { access_persons: persons, accesses } = await cloud();
        const ann = persons.find(({ name }) => name === "Ann Example");
        return accesses.some((access) => access.access_person_id === ann?.id && access.accessible_id === "lock-lake-front");
    }, 40);
    assert.ok(await page.getByRole("checkbox", { name: "Ann Example may use Front Door" }).isChecked());
    await page.getByRole("button", { name: "Reveal the PIN of Ann Example" }).click();
    await page.getByText("471108").waitFor();
    await page.getByRole("button", { name: "Hide the PIN of Ann Example" }).click();

    // A tick alone reaches the cloud's rights in no way: the page says so, and its button gives both locks.
    await page.getByRole("checkbox", { name: "Ann Example may use Boat House" }).check();
    await page.getByText("Boat House: not sent").waitFor();
    await lookAt(page, "users-differs");
    await page.getByRole("button", { name: "Give Ann Example access" }).click();
    await page.getByRole("dialog").getByText("Front Door and Boat House").waitFor();
    await page.getByRole("dialog").getByRole("button", { name: "Give access" }).click();
    await page.getByRole("progressbar").waitFor();
    await page.getByText("Ann Example has the access").waitFor({ timeout: 60_000 });
    assert.equal(await page.locator(".why").count(), 0);

    await go("Locks");
    await card("Front Door").getByRole("button", { name: "Unlock" }).click();
    await card("Front Door").getByRole("progressbar").waitFor();
    await card("Front Door").getByText("by Ann Example").waitFor();
    await card("Front Door").getByText(/^Unlock, .* ago: done/).waitFor();
    await card("Front Door").getByRole("button", { name: "History" }).click();
    await card("Front Door").getByText(/heartbeats: battery 84 %/).waitFor();
    await card("Front Door").locator("canvas").waitFor();
    await lookAt(page, "lock-history");
    // The lock's own settings: the code only when asked for, and a change that stays.
    await card("Front Door").getByRole("button", { name: "Settings" }).click();
    await page.getByRole("button", { name: "Reveal" }).click();
    await page.getByRole("button", { name: "Hide" }).waitFor();
    await card("Front Door").getByLabel("Low battery warning").selectOption("50%");
    await page.getByRole("button", { name: "Store" }).click();
    await page.getByText("The settings of Front Door were stored.").waitFor();
    assert.equal(await card("Front Door").getByLabel("Low battery warning").inputValue(), "8");
    await go("Activity");
    await page.getByText("Front Door: the programming code was shown").waitFor();
    await page.getByText("Front Door is unlocked, by Ann Example").waitFor();
    await page.getByLabel("About").selectOption("command");
    await page.getByText("Front Door is unlocked, by Ann Example").waitFor({ state: "detached" });
    await page.getByText("Front Door: unlock was sent for Ann Example").waitFor();
    await lookAround(page);

    // The host goes and comes back under the open page.
    await go("Locks");
    await measureFirstView(page);
    await stop(host.program);
    await page.getByText("The host does not answer").waitFor();
    host = await startHost(simulator, new URL(host.api).port);
    await page.getByText("The host does not answer").waitFor({ state: "detached" });
    await card("Front Door").getByText("84 %").waitFor();
    await go("Activity"); // is kept
    await page.getByText("The host was started").first().waitFor();
    await page.getByText("Front Door is unlocked, by Ann Example").waitFor();

    // A backup, a change, and back.
    await go("Host");
    await page.getByRole("button", { name: "Download a backup…" }).click();
    const backup = page.waitForEvent("download");
    await page.getByRole("dialog").getByRole("button", { name: "Download" }).click();
    const file = await (await backup).path();
    await fetch(`${host.api}/api/v1/users/0`, { method: "DELETE" });
    const chooser = page.waitForEvent("filechooser");
    await page.getByRole("button", { name: "Restore a backup…" }).click();
    await (await chooser).setFiles(file);
    await page.getByRole("dialog").getByText("users and their rights (0)").waitFor();
    await page.getByRole("dialog").getByRole("button", { name: "Restore" }).click();
    await page.getByText("The backup was restored").waitFor();
    await go("Users");
    await page.getByRole("checkbox", { name: "Ann Example may use Front Door" }).waitFor();

    await playWithTheCloud(page, card);

    // A lock that is removed, and looked for again.
    await go("Locks");
    await card("Boat House").getByRole("button", { name: "Settings" }).click();
    await card("Boat House").getByRole("button", { name: "Remove…" }).click();
    await page.getByRole("dialog").getByText("The cloud is not told").waitFor();
    await page.getByRole("dialog").getByRole("button", { name: "Remove" }).click();
    await card("Boat House").waitFor({ state: "detached" });
    await go("Accounts");
    await page.getByRole("button", { name: "Look for locks" }).click();
    await go("Locks");
    await card("Boat House").waitFor();

    // Reset says what goes before it goes.
    await go("Accounts");
    await page.getByRole("button", { name: "Reset" }).click();
    await page.getByRole("dialog").getByText("Front Door and Boat House").waitFor();
    await lookAt(page, "accounts-dialog");
    await page.getByRole("dialog").getByRole("button", { name: "Cancel" }).click();
    assert.equal((await (await fetch(`${host.api}/api/v1/locks`)).json()).locks.length, 2);
    await page.getByRole("button", { name: "Reset" }).click();
    await page.getByRole("dialog").getByRole("button", { name: "Reset" }).click();
    await go("Locks");
    await page.getByText("There are no locks yet.").waitFor();
    await withToken(page, host, simulator);
    assert.deepEqual(faults, []);
}

/** The host comes back and wants its token: what the open page says then, and that the printed address opens it. */
async function withToken(page, host, simulator) {
    await stop(host.program);
    const { api, token } = await startHost(simulator, new URL(host.api).port, "--api-token");
    await page.getByText("This host wants its token").waitFor();
    await page.goto(`${api}/#token=${token}`);
    await page.getByText("There are no locks yet.").or(page.getByRole("heading", { name: "Accounts", level: 1 })).waitFor();
    assert.ok(!page.url().includes(token), page.url());
    await page.getByRole("link", { name: "Host", exact: true }).click();
    const saved = page.waitForEvent("download");
    await page.getByRole("button", { name: "Download diagnostics" }).click();
    assert.ok(!readFileSync(await (await saved).path(), "utf8").includes(token));
    await page.reload();
    await page.getByRole("heading", { name: "Host", level: 1 }).waitFor();
    await page.getByText("This host wants its token").waitFor({ state: "detached" });
}

mkdirSync(pictures, { recursive: true });
const root = process.getuid?.() === 0;
const browser = await chromium.launch({ executablePath: browserPath, args: root ? ["--no-sandbox"] : [] });
try {
    await firstHour(browser);
} catch (error) {
    for (const page of browser.contexts().flatMap((context) => context.pages()))
        await page.screenshot({ path: join(pictures, "failed.png") }).catch(() => {});
    throw error;
} finally {
    await browser.close();
    for (const program of programs) program.kill("SIGKILL");
    rmSync(folder, { recursive: true, force: true });
}
