// A browser without a window whose pages tell everything that goes wrong on them.
import assert from "node:assert/strict";
import { mkdtempSync, readFileSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import puppeteer from "puppeteer-core";

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const OPTIONS = ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
    "--disable-component-update", "--disable-sync"];
const PATIENCE = 90000; // for machines that do much else

export class Browser {
    static async start() {
        const self = new Browser();
        self.place_ = mkdtempSync(join(tmpdir(), "view-browser-"));
        self.browser_ = await puppeteer.launch({ executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium", headless: true,
            userDataDir: self.place_, args: OPTIONS, protocolTimeout: PATIENCE, timeout: PATIENCE });
        return self;
    }

    async stop() {
        await this.browser_.close();
        rmSync(this.place_, { recursive: true, force: true });
    }

    version() { return this.browser_.version(); }

    // Opens a file at a fragment, in a width and a theme, and waits for its first view.
    async open(file, { fragment = "", width = 1280, height = 860, theme = "light" } = {}) {
        const page = await this.browser_.newPage();
        page.setDefaultTimeout(PATIENCE);
        const faults = watch(page, file);
        await page.setViewport({ width, height });
        await page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: theme }]);
        await page.goto(pathToFileURL(file).href + fragment, { timeout: PATIENCE });
        await page.waitForSelector("html[data-ready]");
        return new View(page, faults);
    }
}

// Collects errors, warnings, and each request but the one for the page itself.
function watch(page, file) {
    const faults = [];
    const own = pathToFileURL(file).href;
    page.on("console", (message) => faults.push(`console: ${message.type()}: ${message.text()}`));
    page.on("pageerror", (error) => faults.push(`error: ${error.stack ?? error}`));
    page.on("request", (request) => {
        const url = request.url().replace(/#.*/s, "");
        if (url !== own && url !== "data:,") faults.push(`request: ${url.slice(0, 200)}`);
    });
    page.on("dialog", (dialog) => {
        faults.push(`dialog: ${dialog.message()}`);
        dialog.dismiss();
    });
    return faults;
}

// One page that is open, with short words for what a reader does and sees
export class View {
    constructor(page, faults) {
        this.page = page;
        this.faults = faults;
    }

    async close() {
        await this.page.close();
        assert.deepEqual(this.faults, []);
    }

    fragment() { return this.page.evaluate(() => location.hash); }

    // The texts of all elements that match, as they are shown
    texts(selector) { return this.page.$$eval(selector, (nodes) => nodes.map((node) => (node.innerText ?? node.textContent).trim())); }

    async text(selector) {
        const [first] = await this.texts(selector);
        assert.notEqual(first, undefined, `nothing matches ${selector} in: ${(await this.page.$eval("body", (body) => body.innerText)).slice(0, 500)}`);
        return first;
    }

    // Rows of the table under `selector` as arrays of texts
    rows(selector) {
        return this.page.$$eval(`${selector} tbody tr`, (rows) => rows.map((row) => [...row.children].map((cell) => cell.innerText.trim())));
    }

    // The figure with this label
    async figure(label) {
        const all = await this.page.$$eval(".figure", (nodes) => nodes.map((node) => [node.querySelector("dt").innerText, [...node.querySelectorAll("dd")].at(-1).innerText]));
        return new Map(all).get(label);
    }

    async click(selector) {
        await this.page.waitForSelector(selector);
        await this.page.click(selector);
    }

    key(name) { return this.page.keyboard.press(name); }

    async type(text) {
        await this.page.keyboard.type(text);
        await this.settled();
    }

    // Goes to a fragment, as a reader does who types it.
    async go(fragment, waitFor) {
        await this.page.evaluate((to) => { location.hash = to; }, fragment);
        if (waitFor) await this.page.waitForSelector(waitFor);
        await this.settled();
    }

    waitFor(selector) { return this.page.waitForSelector(selector); }

    // What a change leads to has been drawn.
    settled() {
        return this.page.evaluate(() => new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve))));
    }

    waitUntil(condition, ...values) { return this.page.waitForFunction(condition, {}, ...values); }

    // What axe-core holds against the page, against WCAG 2.2 at level AA and its own best practices
    async violations() {
        await this.page.evaluate(AXE);
        return this.page.evaluate(async () => {
            const { violations } = await axe.run(document, { resultTypes: ["violations"] });
            return violations.map(({ id, nodes }) => `${id}: ${nodes.slice(0, 3).map(({ html, any }) => `${html.slice(0, 160)} ${any[0]?.message ?? ""}`).join(" | ")}`);
        });
    }

    // How far the page is wider than the window
    overflow() {
        return this.page.evaluate(() => document.documentElement.scrollWidth - document.documentElement.clientWidth);
    }
}
