// Pages of large programs: all is there, and nothing hangs.
import assert from "node:assert/strict";
import { after, before, test } from "node:test";
import { Browser } from "./browser.mjs";
import { formatted, makeLarge, makeLong, makePage, query, value } from "./databases.mjs";

let browser, database, page;

before(async () => {
    browser = await Browser.start();
    database = makeLarge("large", 620000, 50000);
    page = makePage(database);
});
after(() => browser?.stop());

test("the overview of 50,000 functions and 600,000 edges shows their sums", async () => {
    const view = await browser.open(page);
    const functions = value(database, "SELECT COUNT(*) FROM sf_functions");
    const edges = value(database, "SELECT COUNT(*) FROM sf_edges");
    assert.ok(functions > 45000 && edges >= 600000, `${functions} functions, ${edges} edges`);
    assert.equal(await view.figure("Functions"), formatted(functions));
    assert.equal(await view.figure("Edges"), formatted(edges));
    assert.deepEqual(await view.texts(".hottest .stored"),
        query(database, "SELECT sf_func_name AS name FROM sf_functions ORDER BY sf_exec_count DESC LIMIT 10").map(({ name }) => name));
    assert.deepEqual(await view.violations(), []);
    await view.close();
});

test("a large table is searched, sorted and scrolled to its end", async () => {
    const view = await browser.open(page, { fragment: "#/functions" });
    const count = value(database, "SELECT COUNT(*) FROM sf_functions");
    await view.key("/");
    await view.type("commit");
    const found = value(database, `SELECT COUNT(*) FROM sf_functions f JOIN sf_filenames n ON n.sf_id = f.sf_file_id
        WHERE instr(lower(sf_func_name), 'commit') OR instr(lower(sf_filename), 'commit')`);
    assert.equal(await view.text(".found"), `${formatted(found)} of ${formatted(count)} functions`);
    await view.key("Escape");
    await view.click(".head .edges button");
    await view.settled();
    assert.equal(await view.text("#row-0 .edges"), formatted(value(database, "SELECT MAX(n) FROM (SELECT COUNT(*) AS n FROM sf_edges GROUP BY sf_from_func_id)")));
    await view.page.focus("[role=grid]");
    await view.key("End");
    await view.waitFor(`#row-${count - 1}`);
    assert.ok((await view.page.$$eval(".rows .row", (rows) => rows.length)) < 100);
    await view.key("Enter");
    await view.waitFor(".page.function");
    await view.close();
});

test("functions of each part of the data show their own edges", async () => {
    const view = await browser.open(page);
    const names = query(database, "SELECT sf_func_name AS name, sf_id AS id FROM sf_functions ORDER BY sf_exec_count DESC").filter((_, index) => index % 9973 === 1);
    for (const { name, id } of names) {
        await view.go(`#/function/x/${name}`, ".page.function");
        await view.waitUntil((text) => document.querySelector("h1").textContent === text, name);
        assert.equal(await view.figure("Edges"), formatted(value(database, `SELECT COUNT(*) FROM sf_edges WHERE sf_from_func_id = ${id}`)), name);
        assert.equal(await view.figure("Edges taken"), formatted(value(database, `SELECT ifnull(SUM(sf_exec_count), 0) FROM sf_edges WHERE sf_from_func_id = ${id}`)), name);
    }
    await view.close();
});

test("of a function of thousands of blocks the hottest are drawn", async () => {
    const long = makeLong("long", 4000);
    const view = await browser.open(makePage(long), { fragment: "#/function/x/long_one" });
    assert.equal(await view.figure("Edges"), formatted(value(long, "SELECT COUNT(*) FROM sf_edges")));
    assert.match(await view.text(".flow .legend"), /^The 80 hottest of 4,000 blocks, with \d+\.\d\d % of what its edges were taken\./);
    assert.equal((await view.texts(".drawing .box")).length, 80);
    await view.click(".flow .legend button");
    await view.waitUntil(() => document.querySelectorAll(".drawing .box").length === 160);
    assert.deepEqual(await view.violations(), []);
    await view.close();
});
