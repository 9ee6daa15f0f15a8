// Names and counts out of the ordinary are shown as they are, and nothing of them runs.
import assert from "node:assert/strict";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { Browser } from "./browser.mjs";
import { change, makePage, merge, place, root } from "./databases.mjs";
import { hostileNames, longName, shown } from "./hostile.mjs";

let browser, page;
const blob = (text) => `CAST(X'${Buffer.from(text).toString("hex")}' AS TEXT)`;

// One function for each name, in a file of this name, with an edge and a call to the next
function addFunction(name, id) {
    const next = hostileNames[(id - 9) % hostileNames.length];
    return `INSERT INTO sf_filenames VALUES (${id}, ${blob(`/src/${name.slice(0, 100)}`)});
        INSERT INTO sf_functions VALUES (${id}, ${blob(name)}, ${id}, ${100000 - id}, 3);
        INSERT INTO sf_edges VALUES (${id}, 16, 1, 1, 1, 0, ${id}, 32, 2, 2, 1, 0, ${1000 + id}, 3);
        INSERT INTO sf_calls VALUES (${id}, 2, 2, ${blob(next)}, ${50 + id});`;
}

before(async () => {
    browser = await Browser.start();
    const database = merge("hostile.db", join(root, "examples/app.csv"));
    change(database, [...hostileNames, longName].map((name, index) => addFunction(name, index + 10)).join("\n")
        + `INSERT INTO sf_functions VALUES (90, CAST(X'6261640aff' AS TEXT), NULL, 90000, 0);
           INSERT INTO sf_functions VALUES (91, 'huge', 1, 2305843009213693953, 0);
           INSERT INTO sf_edges VALUES (91, 16, 1, 1, 1, 0, 91, 32, 2, 2, 1, 0, 9007199254740993, 3);
           INSERT INTO sf_edges VALUES (91, 32, 2, 2, 1, 0, 91, 16, -1, -1, 0, 0, 9007199254740995, 0);`);
    const sources = join(place, "sources");
    mkdirSync(sources, { recursive: true });
    writeFileSync(join(sources, "app.c"), `</script><script>document.title='run'</script>\n${"x".repeat(1 << 20)}\n\u202e\u0007\n\n\n\n\n\n\n<!--\n\n]]>\n\n<script>\n`);
    page = makePage(database, "--source", sources);
});
after(() => browser?.stop());

test("hostile names are shown as text, in each view", async () => {
    const view = await browser.open(page, { fragment: "#/functions" });
    const names = new Set();
    const all = await view.page.$eval("[role=grid]", (grid) => Number(grid.getAttribute("aria-rowcount")));
    for (let row = 0; row < all - 1; row += 10) {
        await view.page.$eval("[role=grid]", (grid, top) => { grid.scrollTop = top; }, row * 44);
        await view.waitFor(`#row-${row}`);
        for (const name of await view.page.$$eval(".rows .stored", (nodes) => nodes.map((node) => node.textContent))) names.add(name);
    }
    for (const name of hostileNames) assert.ok(names.has(shown(name)), JSON.stringify(name));
    assert.ok(names.has("bad⟨U+000A⟩\ufffd"), [...names].join("\n"));
    assert.ok([...names].some((name) => /^L+…$/.test(name)));
    assert.equal(await view.page.title(), "functions – hostile.db – edgescope");
    await view.close();
});

test("each hostile function has a page, a call graph and an address", async () => {
    const view = await browser.open(page, { fragment: "#/functions" });
    for (const name of hostileNames) {
        await view.go(`#/functions?q=${encodeURIComponent("/src/")}`, ".page.functions");
        await view.go(`#/function/x/${encodeURIComponent(name)}`, ".page.function");
        await view.waitUntil((text) => document.querySelector("h1").textContent === text, shown(name));
        await view.click(".callees a.stored");
        await view.waitUntil((text) => document.querySelector("h1").textContent !== text, shown(name));
        await view.click(".tabs a:last-child");
        await view.waitFor(".page.calls .box.middle");
    }
    assert.doesNotMatch(await view.page.title(), /^run$/);
    assert.equal(await view.page.$$eval("main img, main script, main svg svg", (nodes) => nodes.length), 0);
    await view.close();
});

test("a name of a million letters can be opened", async () => {
    const view = await browser.open(page, { fragment: `#/function/x/${"L".repeat(200)}` });
    assert.equal(await view.page.$eval("h1", (node) => node.textContent.length), longName.length);
    assert.ok(await view.overflow() <= 0);
    assert.deepEqual(await view.violations(), []);
    await view.go((await view.fragment()).replace("function", "calls"), ".page.calls");
    await view.close();
});

test("counts beyond 2^53 keep all their digits", async () => {
    const view = await browser.open(page, { fragment: "#/function/x/huge" });
    assert.equal(await view.figure("Entries"), "2,305,843,009,213,693,953");
    assert.equal(await view.figure("Edges taken"), "18,014,398,509,481,988");
    await view.click("details.edges summary");
    await view.waitFor("details.edges table");
    assert.deepEqual((await view.rows("details.edges")).map((row) => row[2]), ["9,007,199,254,740,995", "9,007,199,254,740,993"]);
    await view.go("#/functions", ".page.functions");
    assert.equal(await view.text("#row-0 .stored"), "huge");
    await view.close();
});

test("hostile sources are shown as text", async () => {
    const view = await browser.open(page, { fragment: "#/function/x/work" });
    const codes = await view.page.$$eval(".line code", (nodes) => nodes.map((node) => node.textContent));
    assert.ok(codes.includes("<!--"), codes.map((code) => code.slice(0, 80)).join("\n"));
    assert.ok(codes.includes("<script>"));
    assert.deepEqual(await view.violations(), []);
    await view.close();
});

test("the overview of hostile names has no fault of accessibility", async () => {
    for (const width of [360, 1280]) {
        const view = await browser.open(page, { width });
        assert.deepEqual(await view.violations(), []);
        assert.ok(await view.overflow() <= 0);
        await view.close();
    }
});

test("a page whose data was cut off says so", async () => {
    const text = readFileSync(page, "utf8");
    const cut = join(place, "cut.html");
    writeFileSync(cut, text.replace(/<script type="application\/gzip" id="functions">[^<]*<\/script>/, ""));
    const view = await browser.open(cut);
    assert.equal(await view.text("h1"), "This page can't be shown");
    await view.close();
    writeFileSync(cut, text.replace(/<script type="application\/gzip" id="flow-0">[^<]*<\/script>/, ""));
    const other = await browser.open(cut, { fragment: "#/function/0/" });
    assert.equal(await other.text("h1"), "This view can't be shown");
    await other.close();
});
