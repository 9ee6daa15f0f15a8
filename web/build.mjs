// Writes the page without its data:  node build.mjs FOLDER  makes FOLDER/page.html
import { createHash } from "node:crypto";
import { mkdirSync, readFileSync, readdirSync, writeFileSync } from "node:fs";
import { dirname, join } from "node:path";
import { fileURLToPath } from "node:url";
import { build } from "esbuild";

const here = dirname(fileURLToPath(import.meta.url));

// Bundles one entry; returns its text and the packages of which anything is in it.
async function bundle(entry) {
    const result = await build({ entryPoints: [join(here, "src", entry)], absWorkingDir: here, bundle: true, minify: true, write: false,
        metafile: true, format: "iife", target: ["chrome103", "firefox113", "safari16.4"], charset: "utf8", legalComments: "none", logLevel: "warning" });
    const inputs = Object.values(result.metafile.outputs).flatMap((output) => Object.entries(output.inputs));
    const packages = inputs.filter(([, { bytesInOutput }]) => bytesInOutput > 0)
        .map(([path]) => /^(?:.*\/)?node_modules\/((?:@[^/]+\/)?[^/]+)\//.exec(path)?.[1]).filter(Boolean);
    return { text: result.outputFiles[0].text.trim(), packages };
}

// A bundle of a library may hold its dependencies without telling, so these are named as well.
function withDependencies(names, all = new Set()) {
    for (const name of names) {
        if (all.has(name)) continue;
        all.add(name);
        withDependencies(Object.keys(manifest(name).dependencies ?? {}), all);
    }
    return all;
}

const folder = (name) => join(here, "node_modules", name);
const manifest = (name) => JSON.parse(readFileSync(join(folder(name), "package.json"), "utf8"));

function licence(name) {
    const { version, license } = manifest(name);
    const file = readdirSync(folder(name)).find((candidate) => /^licen[cs]e/i.test(candidate));
    if (!file) throw new Error(`the package ${name} has no licence file`);
    return `${name} ${version} (${license})\n\n${readFileSync(join(folder(name), file), "utf8").trim()}\n`;
}

const escape = (text) => text.replaceAll("&", "&amp;").replaceAll("<", "&lt;").replaceAll(">", "&gt;");
const hash = (text) => createHash("sha256").update(text, "utf8").digest("base64");

// An element's text ends where its closing tag stands, and the browser hashes it with plain line ends.
function checkInline(text, tag) {
    if (text.toLowerCase().includes(`</${tag}`) || text.includes("<!--") || text.includes("\r")) throw new Error(`the ${tag} can't stand in the page`);
}

const [script, style] = [await bundle("main.mjs"), await bundle("style.css")];
checkInline(script.text, "script");
checkInline(style.text, "style");
const packages = [...withDependencies([...script.packages, ...style.packages])].sort();
const parts = { SCRIPT: script.text, STYLE: style.text, SCRIPT_HASH: hash(script.text), STYLE_HASH: hash(style.text),
    LICENCES: escape(packages.map(licence).join(`\n${"-".repeat(72)}\n\n`)) };
const template = readFileSync(join(here, "src", "page.html"), "utf8");
const page = template.replace(/@([A-Z_]+)@/g, (_, name) => parts[name]);
if (page.split("<!--data-->\n").length !== 2) throw new Error("the place of the data must stand in the page once");
const output = process.argv[2];
if (!output) throw new Error("name the folder for page.html");
mkdirSync(output, { recursive: true });
writeFileSync(join(output, "page.html"), page);
