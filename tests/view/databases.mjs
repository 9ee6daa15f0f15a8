// Databases for the tests, made by the program itself, and what they hold, by sqlite3.
import { execFileSync } from "node:child_process";
import { mkdirSync, readFileSync, writeFileSync } from "node:fs";
import { basename, join } from "node:path";

function required(name) {
    const value = process.env[name];
    if (!value) throw new Error(`${name} isn't set: start these tests by ./dev test view`);
    return value;
}

export const root = required("VIEW_ROOT");
export const edgefold = required("EDGEFOLD");
export const edgescope = required("EDGESCOPE");
export const place = join(required("VIEW_PLACE"), basename(process.argv[1], ".mjs")); // files of tests run side by side
mkdirSync(place, { recursive: true });

const run = (program, words, options = {}) => execFileSync(program, words, { cwd: place, maxBuffer: 1 << 30, stdio: ["pipe", "pipe", "inherit"], ...options });

// The path of a new database of these edge files
export function merge(name, ...files) {
    const database = join(place, name);
    execFileSync("rm", ["-f", database]);
    files.forEach((file, index) => execFileSync("cp", [file, join(place, `input-${index}.csv`)]));
    run(edgefold, ["-nologo", "-quiet", "-file", files.map((_, index) => `input-${index}.csv`).join(";"), "-out", name]);
    return database;
}

// The page of a database
export function makePage(database, ...options) {
    const page = database.replace(/\.db$/, ".html");
    run(edgescope, ["view", database, "-o", page, ...options]);
    return page;
}

// Rows of a query, as objects. Counts above 2^53 have to be cast to text in the query.
export function query(database, sql) {
    const text = run("sqlite3", ["-json", database, sql], { encoding: "utf8" });
    return text.trim() ? JSON.parse(text) : [];
}

export const value = (database, sql) => Object.values(query(database, sql)[0])[0];

export function change(database, sql) {
    run("sqlite3", [database], { input: sql });
}

// A program of so many functions, about `edges` edges, as one recording
export function makeLarge(name, edges, functions) {
    const file = join(place, `${name}.csv`);
    const rows = String(Math.round(edges * 1.22)); // the others are calls and returns
    writeFileSync(file, run("python3", [join(root, "bench/make_edges.py"), rows, "--functions", String(functions)]));
    return merge(`${name}.db`, file);
}

// One function of so many blocks, a chain with a jump back from each tenth block
export function makeLong(name, blocks) {
    const header = readFileSync(join(root, "examples/app.csv"), "utf8").split("\n")[0];
    const lines = [header];
    const address = (block) => `0x${(0x401000 + 16 * block).toString(16)}`;
    const edge = (from, to, count) => lines.push(`${address(from)},Cond,${from === 0 ? "yes" : "no"},long.c,${from + 1},long_one,${address(to)},long.c,${to + 1},long_one,${count}`);
    for (let block = 0; block + 1 < blocks; ++block) {
        edge(block, block + 1, 1000 + (block * 7919) % 5000);
        if (block % 10 === 9) edge(block, block - 9, 500);
    }
    const file = join(place, `${name}.csv`);
    writeFileSync(file, `${lines.join("\n")}\n`);
    return merge(`${name}.db`, file);
}

export const formatted = (count) => BigInt(count).toLocaleString("en-US");
