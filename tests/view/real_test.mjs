// Pages of real recordings: what they show is what the databases hold, and all of it can be reached.
import assert from "node:assert/strict";
import { readFileSync, rmSync, writeFileSync, mkdirSync } from "node:fs";
import { join } from "node:path";
import { after, before, test } from "node:test";
import { Browser } from "./browser.mjs";
import { formatted, makePage, merge, place, query, root, value } from "./databases.mjs";

const HOTTEST = "SELECT sf_func_name AS name, sf_exec_count AS entries FROM sf_functions ORDER BY sf_exec_count DESC LIMIT 10";
let browser, database, page, compared, old;

before(async () => {
    browser = await Browser.start();
    database = merge("fasttree.db", join(root, "examples/fasttree.csv"));
    page = makePage(database);
    old = merge("old.db", join(root, "examples/fasttree.csv"), join(root, "examples/gtest-run1.csv"));
    compared = makePage(merge("compared.db", join(root, "examples/gtest-run1.csv")), "--compare", old);
});
after(() => browser?.stop());

test("the overview shows the ten hottest functions and the sums of the database", async () => {
    const view = await browser.open(page);
    const rows = await view.rows(".hottest");
    const hottest = query(database, HOTTEST);
    assert.equal(rows.length, 10);
    assert.deepEqual(await view.texts(".hottest .stored"), hottest.map(({ name }) => name));
    assert.deepEqual(rows.map((row) => row[3]), hottest.map(({ entries }) => formatted(entries)));
    assert.equal(await view.figure("Runs"), "1");
    assert.equal(await view.figure("Functions"), formatted(value(database, "SELECT COUNT(*) FROM sf_functions")));
    assert.equal(await view.figure("Edges"), formatted(value(database, "SELECT COUNT(*) FROM sf_edges")));
    assert.equal(await view.figure("Edges taken"), formatted(value(database, "SELECT SUM(sf_exec_count) FROM sf_edges")));
    assert.equal(await view.figure("Call sites"), formatted(value(database, "SELECT COUNT(*) FROM sf_calls")));
    assert.equal(await view.figure("Calls"), formatted(value(database, "SELECT SUM(sf_exec_count) FROM sf_calls")));
    assert.equal(await view.figure("Entries"), formatted(value(database, "SELECT SUM(sf_exec_count) FROM sf_functions")));
    await view.close();
});

test("the overview shows where most edges were taken", async () => {
    const view = await browser.open(page);
    const busiest = query(database, `SELECT sf_func_name AS name, SUM(e.sf_exec_count) AS taken FROM sf_edges e
        JOIN sf_functions f ON f.sf_id = e.sf_from_func_id GROUP BY f.sf_id ORDER BY taken DESC LIMIT 10`);
    assert.deepEqual(await view.texts(".busiest .stored"), busiest.map(({ name }) => name));
    assert.deepEqual((await view.rows(".busiest")).map((row) => row[3]), busiest.map(({ taken }) => formatted(taken)));
    await view.close();
});

test("the curve of concentration counts the functions that hold a share", async () => {
    const view = await browser.open(page);
    const counts = query(database, "SELECT sf_exec_count AS n FROM sf_functions ORDER BY n DESC").map(({ n }) => n);
    const total = counts.reduce((sum, count) => sum + count, 0);
    const holders = (share) => {
        let sum = 0;
        return 1 + counts.findIndex((count) => (sum += count) >= share * total);
    };
    const rows = await view.rows(".concentration");
    assert.deepEqual(rows.map((row) => row[1]), [0.5, 0.9, 0.99].map((share) => formatted(holders(share))));
    assert.match(await view.page.$eval(".curve .line", (path) => path.getAttribute("d")), /^M[\d.,]+L/);
    await view.close();
});

test("findings of the check stand on the overview", async () => {
    const view = await browser.open(page);
    const findings = await view.texts(".finding");
    assert.equal(findings.some((text) => /the flow doesn't balance by 0\.01 %/.test(text)), true, findings.join("\n"));
    await view.close();
});

test("a search as one types lists the functions that hold the text", async () => {
    const view = await browser.open(page, { fragment: "#/functions" });
    const matching = (text) => value(database, `SELECT COUNT(*) FROM sf_functions f LEFT JOIN sf_filenames n ON n.sf_id = f.sf_file_id
        WHERE instr(lower(sf_func_name), '${text}') OR instr(lower(ifnull(sf_filename, '')), '${text}')`);
    const all = value(database, "SELECT COUNT(*) FROM sf_functions");
    await view.key("/");
    for (const [typed, whole] of [["Pro", "pro"], ["file", "profile"]]) {
        await view.type(typed);
        assert.equal(await view.text(".found"), `${formatted(matching(whole))} of ${formatted(all)} functions`);
    }
    assert.equal((await view.texts(".rows .row .stored")).every((name) => /profile/i.test(name)), true);
    assert.match(await view.fragment(), /^#\/functions\?q=Profile/);
    await view.key("Escape");
    await view.settled();
    assert.equal(await view.text(".found"), `${formatted(all)} functions`);
    await view.type("nothing has this name");
    assert.equal(await view.text(".found"), `0 of ${formatted(all)} functions`);
    await view.close();
});

test("each column sorts, down and up", async () => {
    const view = await browser.open(page, { fragment: "#/functions" });
    const columns = { entries: ["weight", "sf_exec_count"], edges: ["edges", "(SELECT COUNT(*) FROM sf_edges WHERE sf_from_func_id = sf_id)"],
        taken: ["edge_counts", "(SELECT ifnull(SUM(e.sf_exec_count), 0) FROM sf_edges e WHERE sf_from_func_id = sf_id)"],
        calls: ["calls", "(SELECT COUNT(*) FROM sf_calls WHERE sf_from_func_id = sf_id)"] };
    for (const [key, sql] of Object.values(columns)) {
        const [most, least] = ["MAX", "MIN"].map((which) => formatted(value(database, `SELECT ${which}(${sql}) FROM sf_functions`)));
        if (key !== "weight") await view.click(`.head .${key} button`); // the table begins with the heaviest
        await view.settled();
        assert.equal(await view.text(`#row-0 .${key}`), most, key);
        assert.equal(await view.page.$eval(`.head .${key}`, (node) => node.ariaSort), "descending");
        await view.click(`.head .${key} button`);
        await view.settled();
        assert.equal(await view.text(`#row-0 .${key}`), least, key);
        assert.equal(await view.page.$eval(`.head .${key}`, (node) => node.ariaSort), "ascending");
    }
    const [first, last] = ["ASC", "DESC"].map((order) => value(database, `SELECT sf_func_name FROM sf_functions ORDER BY sf_func_name ${order} LIMIT 1`));
    await view.click(".head .name button");
    await view.settled();
    assert.equal(await view.text("#row-0 .stored"), first);
    await view.click(".head .name button");
    await view.settled();
    assert.equal(await view.text("#row-0 .stored"), last);
    await view.click(".head .share button");
    await view.settled();
    assert.equal(await view.text("#row-0 .stored"), query(database, HOTTEST)[0].name);
    await view.click(".head .file button");
    await view.settled();
    assert.match(await view.fragment(), /sort=file&order=up/);
    await view.close();
});

test("the keyboard moves in the table, opens a function and comes back", async () => {
    const view = await browser.open(page, { fragment: "#/functions" });
    const hottest = query(database, HOTTEST);
    await view.key("/");
    await view.key("ArrowDown"); // into the table
    for (const key of ["ArrowDown", "ArrowDown", "ArrowUp", "ArrowDown"]) await view.key(key);
    assert.equal(await view.page.$eval("[role=grid]", (grid) => grid.getAttribute("aria-activedescendant")), "row-2");
    await view.key("Enter");
    await view.waitFor(".page.function");
    assert.equal(await view.text("h1"), hottest[2].name);
    await view.key("Escape");
    await view.waitFor(".page.functions");
    await view.key("End");
    await view.settled();
    const count = value(database, "SELECT COUNT(*) FROM sf_functions");
    assert.equal(await view.page.$eval("[role=grid]", (grid) => grid.getAttribute("aria-activedescendant")), `row-${count - 1}`);
    assert.equal((await view.texts(`#row-${count - 1} .stored`)).length, 1);
    await view.key("PageUp");
    await view.key("Home");
    await view.settled();
    assert.equal(await view.text("#row-0 .stored"), hottest[0].name);
    await view.key("Escape");
    await view.waitFor(".page.overview");
    await view.key("/");
    await view.waitFor(".page.functions");
    await view.settled();
    assert.equal(await view.page.evaluate(() => document.activeElement.id), "search");
    await view.close();
});

test("rows are drawn as they come into sight", async () => {
    const view = await browser.open(page, { fragment: "#/functions", height: 500 });
    const count = value(database, "SELECT COUNT(*) FROM sf_functions");
    assert.ok((await view.texts(".rows .row")).length < count / 2);
    await view.page.$eval("[role=grid]", (grid) => { grid.scrollTop = grid.scrollHeight; });
    await view.waitFor(`#row-${count - 1}`);
    await view.close();
});

test("a function shows its figures, its edges, its callers and callees", async () => {
    const view = await browser.open(page);
    await view.page.evaluate(() => [...document.querySelectorAll(".hottest a")].find((link) => link.innerText === "AddToFreq").click());
    await view.waitFor(".page.function");
    const id = value(database, "SELECT sf_id FROM sf_functions WHERE sf_func_name = 'AddToFreq'");
    const edges = query(database, `SELECT * FROM sf_edges WHERE sf_from_func_id = ${id} ORDER BY sf_exec_count DESC`);
    assert.equal(await view.text("h1"), "AddToFreq");
    assert.equal(await view.figure("Entries"), formatted(value(database, `SELECT sf_exec_count FROM sf_functions WHERE sf_id = ${id}`)));
    assert.equal(await view.figure("Edges"), formatted(edges.length));
    assert.equal(await view.figure("Edges taken"), formatted(edges.reduce((sum, edge) => sum + edge.sf_exec_count, 0)));
    const blocks = new Set(edges.flatMap((edge) => [edge.sf_from_address, edge.sf_to_bb_end_address]));
    assert.equal((await view.texts(".drawing .box")).length, blocks.size);
    assert.equal((await view.texts(".drawing .arrow")).length, edges.length);
    await view.click("details.edges summary");
    await view.waitFor("details.edges table");
    const rows = await view.rows("details.edges");
    assert.deepEqual(rows.map((row) => row[2]), edges.map((edge) => formatted(edge.sf_exec_count)));
    const line = (number, column, discriminator) => `${number}${column || discriminator ? `:${column}` : ""}${discriminator ? `.${discriminator}` : ""}`;
    assert.equal(rows[0][0], line(edges[0].sf_from_abs_line, edges[0].sf_from_column, edges[0].sf_from_discr));
    assert.equal(rows[0][1], line(edges[0].sf_to_abs_line, edges[0].sf_to_column, edges[0].sf_to_discr));
    const callers = query(database, `SELECT f.sf_func_name AS name, SUM(c.sf_exec_count) AS n FROM sf_calls c JOIN sf_functions f ON f.sf_id = c.sf_from_func_id
        WHERE c.sf_to_func_name = 'AddToFreq' GROUP BY f.sf_id ORDER BY n DESC`);
    assert.ok(callers.length > 0);
    assert.deepEqual((await view.rows(".callers")).map((row) => [row[0].split("\n")[0], row[1]]), callers.map(({ name, n }) => [name, formatted(n)]));
    await view.click(".callers .stored");
    await view.waitUntil((name) => document.querySelector("h1").innerText === name, callers[0].name);
    const callees = query(database, `SELECT c.sf_to_func_name AS name, SUM(c.sf_exec_count) AS n FROM sf_calls c JOIN sf_functions f ON f.sf_id = c.sf_from_func_id
        WHERE f.sf_func_name = '${callers[0].name}' GROUP BY 1 ORDER BY n DESC`);
    const shown = new Map((await view.rows(".callees")).map((row) => [row[0].split("\n")[0], row[1]]));
    for (const { name, n } of callees.slice(0, 20)) assert.equal(shown.get(name), formatted(n), name);
    await view.close();
});

test("entry and exits of a function are marked by words", async () => {
    const view = await browser.open(page, { fragment: "#/function/0/AddToFreq" });
    const id = value(database, "SELECT sf_id FROM sf_functions WHERE sf_func_name = 'AddToFreq'");
    const marked = (column, bit) => value(database, `SELECT COUNT(DISTINCT ${column}) FROM sf_edges WHERE sf_from_func_id = ${id} AND sf_flags & ${bit}`);
    const marks = await view.texts(".box .mark");
    const texts = await view.page.$$eval(".box .mark", (nodes) => nodes.map((node) => node.textContent));
    assert.equal(marks.length > 0, true);
    assert.equal(texts.filter((text) => text === "entry").length, marked("sf_from_address", 1));
    assert.equal(texts.filter((text) => text === "exit").length, marked("sf_to_bb_end_address", 2));
    await view.close();
});

test("a block that is chosen tells its edges, and marks its line", async () => {
    const view = await browser.open(page, { fragment: "#/function/0/AddToFreq" });
    await view.page.$eval(".box.entry", (box) => box.focus());
    await view.key("Enter");
    assert.match(await view.text(".detail"), /^Block 4329:3 ran 20,4\d\d times\. From: .* To: .*\.$/);
    assert.equal(await view.page.$eval(".line.chosen", (node) => node.dataset.line), "4329");
    await view.close();
});

test("a drawing can be zoomed by buttons and keys", async () => {
    const view = await browser.open(page, { fragment: "#/function/0/AddToFreq" });
    const scale = () => view.page.$eval(".drawing > g", (scene) => Number(/scale\(([^)]+)\)/.exec(scene.getAttribute("transform"))[1]));
    await view.waitFor(".drawing > g[transform]");
    const before = await scale();
    await view.click(".zoom-buttons button:first-child");
    assert.ok(await scale() > before * 1.2);
    await view.page.focus(".drawing-frame");
    await view.key("-");
    await view.key("-");
    assert.ok(await scale() < before);
    const left = () => view.page.$eval(".drawing > g", (scene) => scene.getAttribute("transform"));
    const still = await left();
    await view.key("ArrowLeft");
    assert.notEqual(await left(), still);
    await view.close();
});

test("the call graph leads from function to function", async () => {
    const view = await browser.open(page, { fragment: "#/function/0/AddToFreq" });
    await view.click(".tabs a:last-child");
    await view.waitFor(".page.calls .box.middle");
    const callers = value(database, "SELECT COUNT(DISTINCT sf_from_func_id) FROM sf_calls WHERE sf_to_func_name = 'AddToFreq'");
    const callees = value(database, "SELECT COUNT(DISTINCT sf_to_func_name) FROM sf_calls WHERE sf_from_func_id = (SELECT sf_id FROM sf_functions WHERE sf_func_name = 'AddToFreq')");
    assert.equal((await view.texts(".drawing .arrow")).length, callers + callees);
    const target = await view.page.$eval(".drawing a", (link) => link.querySelector("title").textContent);
    await view.page.$eval(".drawing a", (link) => link.dispatchEvent(new MouseEvent("click", { bubbles: true, cancelable: true, view: window })));
    await view.waitUntil((name) => document.querySelector("h1").innerText === name, target);
    assert.match(await view.fragment(), /^#\/calls\/\d+\//);
    const near = (await view.texts(".drawing .box")).length;
    await view.click(".calls-body .legend button");
    await view.settled();
    assert.ok((await view.texts(".drawing .box")).length > near);
    await view.key("Escape");
    await view.waitFor(".page.function");
    await view.close();
});

test("an address leads to its view, also one of another recording", async () => {
    for (const fragment of ["#/function/0/AddToFreq", "#/function/99999/AddToFreq", "#/calls/1/AddToFreq"]) {
        const view = await browser.open(page, { fragment });
        assert.equal(await view.text("h1"), "AddToFreq", fragment);
        await view.close();
    }
    const view = await browser.open(page, { fragment: "#/functions?q=freq&sort=edges&order=up" });
    const count = value(database, "SELECT COUNT(*) FROM sf_functions WHERE instr(lower(sf_func_name), 'freq')");
    assert.equal((await view.text(".found")).split(" ")[0], formatted(count));
    assert.equal(await view.page.$eval("#search", (input) => input.value), "freq");
    for (const wrong of ["#/function/77777/no_such_function", "#/calls/x/%E0%A4%A", "#/function/-1/"]) {
        await view.go(wrong, ".problem");
        assert.equal(await view.text("h1"), "No such function");
    }
    await view.go("#/nothing/of/the/kind", ".page.overview");
    await view.close();
});

test("a comparison shows the overlap and what has moved", async () => {
    const view = await browser.open(compared);
    assert.match(await view.text(".overlap"), /Functions\s+\d+\.\d\d %/);
    const gone = "SELECT COUNT(*) FROM sf_functions";
    const difference = value(old, gone) - value(compared.replace(/html$/, "db"), gone);
    assert.match(await view.text(".overlap p"), new RegExp(`^0 functions only in the new one, ${difference} only in the old one\\.`));
    const shares = (path) => new Map(query(path, "SELECT sf_func_name AS name, 100.0 * sf_exec_count / (SELECT SUM(sf_exec_count) FROM sf_functions) AS share FROM sf_functions")
        .map(({ name, share }) => [name, share]));
    const [before, after] = [shares(old), shares(compared.replace(/html$/, "db"))];
    const changes = [...after].map(([name, share]) => Math.abs(share - before.get(name)));
    const [first] = await view.rows(".moved");
    const name = first[0].split("\n")[0];
    assert.deepEqual(first.slice(1, 3), [before, after].map((side) => `${side.get(name).toFixed(2)} %`));
    assert.equal(first[3], `+${Math.max(...changes).toFixed(2)}`);
    await view.go("#/functions?sort=change", ".page.functions");
    assert.match(await view.text("#row-0 .change"), /^[+±]\d+\.\d\d$/);
    await view.close();
});

test("a page with sources shows them with counts", async () => {
    const sources = join(place, "sources");
    rmSync(sources, { recursive: true, force: true });
    mkdirSync(sources);
    const lines = Array.from({ length: 40 }, (_, index) => `\tline ${index + 1}; // </script><b>&amp;"`);
    writeFileSync(join(sources, "app.c"), `${lines.join("\n")}\n`);
    const small = merge("small.db", join(root, "examples/app.csv"));
    const view = await browser.open(makePage(small, "--source", sources), { fragment: "#/function/0/work" });
    assert.equal(await view.text(".lines-card h2"), "Source");
    assert.equal(await view.page.$eval("[data-line='12'] code", (code) => code.textContent), lines[11]);
    assert.match(await view.text("[data-line='12'] .line-count"), /^[\d,]+$/);
    const arcs = await view.page.$$eval(".arcs .arrow", (nodes) => nodes.map((node) => [node.dataset.from, node.dataset.to, node.querySelector("title").textContent]));
    assert.deepEqual(arcs.sort(), [["10", "12", "line 10 → line 12: 98"], ["12", "14", "line 12 → line 14: 97"]]);
    assert.equal(await view.text("h1"), "work");
    await view.close();
});

test("nothing of the page names an address elsewhere", () => {
    for (const file of [page, compared]) {
        const text = readFileSync(file, "utf8").replace(/<script type="application\/gzip"[^<]*<\/script>/g, "");
        assert.doesNotMatch(text, /(?:src|href|action|srcset|data|poster)\s*=\s*["']?\s*(?:[a-z+.-]+:)?\/\//i);
        assert.doesNotMatch(text, /url\(|@import|\bfetch\(|XMLHttpRequest|WebSocket|sendBeacon|EventSource/);
        assert.match(text, /Content-Security-Policy" content="default-src 'none'; script-src 'sha256-[^']+'; style-src 'sha256-[^']+';/);
    }
});

test("the licences of the libraries stand in the page", async () => {
    const view = await browser.open(page, { fragment: "#/about" });
    const text = await view.text(".licences");
    for (const name of ["@dagrejs/dagre", "@dagrejs/graphlib", "d3-selection", "d3-zoom", "d3-scale", "d3-shape"]) assert.ok(text.includes(name), name);
    assert.match(text, /Permission to use, copy, modify/);
    await view.close();
});

test("each view has no fault of accessibility, in both themes and at three widths", async () => {
    const views = ["", "#/functions", "#/functions?q=freq", "#/function/0/AddToFreq", "#/calls/0/AddToFreq", "#/about"];
    for (const theme of ["light", "dark"]) {
        for (const [width, height] of [[360, 740], [1280, 860], [2560, 1400]]) {
            const view = await browser.open(compared.replace("compared", "fasttree"), { width, height, theme });
            for (const fragment of views) {
                await view.go(fragment || "#/", "main h1");
                assert.deepEqual(await view.violations(), [], `${fragment} ${theme} ${width}`);
                assert.ok(await view.overflow() <= 0, `${fragment} is wider than ${width}`);
            }
            await view.close();
        }
    }
    const view = await browser.open(compared);
    assert.deepEqual(await view.violations(), []);
    await view.close();
});

test("the theme follows the system until the reader chooses", async () => {
    const ground = (view) => view.page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor);
    const [light, dark] = [await browser.open(page, { theme: "light" }), await browser.open(page, { theme: "dark" })];
    const [bright, dim] = [await ground(light), await ground(dark)];
    assert.notEqual(bright, dim);
    await light.page.select("#theme", "dark");
    assert.equal(await ground(light), dim);
    await light.page.select("#theme", "auto");
    assert.equal(await ground(light), bright);
    await light.close();
    await dark.close();
});

test("printing shows rows that are out of sight, and whole drawings", async () => {
    const view = await browser.open(page, { fragment: "#/functions", height: 400 });
    const rows = () => view.page.$$eval(".rows .row", (nodes) => nodes.length);
    const before = await rows();
    await view.page.evaluate(() => dispatchEvent(new Event("beforeprint")));
    assert.equal(await rows(), 100);
    await view.page.evaluate(() => dispatchEvent(new Event("afterprint")));
    assert.equal(await rows(), before);
    await view.go("#/function/0/AddToFreq", ".drawing");
    assert.ok((await view.page.pdf()).length > 10000);
    await view.close();
});

test("texts of names, sources and drawings can be selected", async () => {
    const view = await browser.open(page, { fragment: "#/function/0/AddToFreq" });
    for (const selector of ["h1", ".box .where", ".line-count"]) {
        const selected = await view.page.$eval(selector, (node) => {
            getSelection().selectAllChildren(node);
            return [getSelection().toString().trim(), node.textContent.trim(), getComputedStyle(node).userSelect];
        });
        assert.deepEqual(selected, [selected[1], selected[1], selected[2] === "text" ? "text" : "auto"], selector);
    }
    await view.close();
});
