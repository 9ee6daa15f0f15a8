// The first view: key figures, the hottest functions, the curve of concentration, findings, and what has moved.
import { functionAddress, listAddress } from "./address.mjs";
import { concentrationCard } from "./concentration.mjs";
import { baseName } from "./data.mjs";
import { bar, element } from "./dom.mjs";
import { COUNT_TITLES } from "./functions.mjs";
import { compareCounts, formatChange, formatCount, formatShare, formatShort, largest, plural, visible } from "./text.mjs";

const LONGEST = 300;
const MOVED_AT_FIRST = 20;
const HOTTEST = 10;

export function showOverview(profile) {
    const { overview } = profile;
    return element("div", { class: "page overview" },
        element("h1", {}, "Where the program spends its time"),
        element("p", { class: "sub" }, databases(overview)),
        keyFigures(overview),
        element("div", { class: `cards ${overview.compare ? "compared" : ""}` },
            element("div", { class: "column" }, hottestCard(profile), profile.measured === "entries" && busiestCard(profile)),
            element("div", { class: "column" }, concentrationCard(profile), findingsCard(profile), overview.compare && overlapCard(overview)),
            overview.compare && movedCard(profile)));
}

function databases({ databases: paths, old, measure }) {
    const names = (list) => list.map((path) => visible(path)).join(", ");
    return [names(paths), old && ` compared with ${names(old)}`, ` · weight: ${measure}`];
}

function keyFigures({ runs, totals }) {
    const figure = (label, count) => element("div", { class: "figure", title: formatCount(count) },
        element("dt", {}, label),
        element("dd", {}, Number(count) < 1e6 ? formatCount(count) : formatShort(count)),
        Number(count) >= 1e6 && element("dd", { class: "exact" }, formatCount(count)));
    return element("dl", { class: "figures" },
        figure("Runs", runs), figure("Functions", totals.functions), figure("Edges", totals.edges),
        figure("Edges taken", totals.edge_counts), figure("Call sites", totals.calls),
        figure("Calls", totals.call_counts), figure("Entries", totals.entries));
}

function hottestCard(profile) {
    const { overview, functions } = profile;
    const other = profile.measured === "entries" ? "edge_counts" : "entries";
    const columns = [[COUNT_TITLES[profile.measured], functions.weight], [COUNT_TITLES[other], functions[other]]];
    return rankingCard(profile, { name: "hottest", title: "Hottest functions", ids: overview.hottest,
        share: (id) => profile.share(id), columns });
}

// A function that is entered once may loop for the whole run: where the edges were taken is nearer to time.
function busiestCard(profile) {
    const { functions, overview } = profile;
    const all = Number(overview.totals.edge_counts);
    const ids = indexesOfLargest(functions.edge_counts, HOTTEST);
    if (ids.length === 0) return null;
    return rankingCard(profile, { name: "busiest", title: "Most edges taken", ids,
        share: (id) => Number(functions.edge_counts[id]) / all,
        columns: [["Edges taken", functions.edge_counts], ["Entries", functions.entries]] });
}

// The hottest functions by one measure: its share of all, and the counts of two columns
function rankingCard(profile, { name, title, ids, share, columns }) {
    const top = largest(ids.map(share));
    const row = (id) => element("tr", {},
        element("td", { class: "name" }, functionLink(profile, id), place(profile, id)),
        element("td", { class: "number" }, formatShare(share(id))),
        element("td", { class: "bar-cell" }, bar(share(id) / top)),
        columns.map(([, counts]) => element("td", { class: "number wide" }, formatCount(counts[id]))));
    return element("section", { class: `card ranking ${name}`, "aria-labelledby": `${name}-title` },
        element("h2", { id: `${name}-title` }, title),
        element("table", {},
            element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Function"),
                element("th", { scope: "col", class: "number", colspan: "2" }, "Share"),
                columns.map(([heading]) => element("th", { scope: "col", class: "number wide" }, heading)))),
            element("tbody", {}, ids.map(row))),
        element("p", { class: "more" }, element("a", { href: listAddress() }, `All ${plural(profile.size, "function")}`)));
}

// Where the largest counts above 0 stand, the largest first, of equal ones the first; in one pass
function indexesOfLargest(counts, number) {
    const found = [];
    counts.forEach((count, index) => {
        if (Number(count) === 0 || (found.length === number && compareCounts(count, counts[found.at(-1)]) <= 0)) return;
        const after = found.findIndex((other) => compareCounts(count, counts[other]) > 0);
        found.splice(after < 0 ? found.length : after, 0, index);
        found.length = Math.min(found.length, number);
    });
    return found;
}

// The stored name as a link, the demangled one below it
export function functionLink(profile, id, view) {
    const { names, demangled } = profile.functions;
    return [element("a", { class: "stored", href: functionAddress(profile, id, view) }, visible(names[id], LONGEST) || "(no name)"),
        demangled[id] ? element("span", { class: "demangled" }, visible(demangled[id], LONGEST)) : null];
}

function place(profile, id) {
    return element("span", { class: "place" }, visible(profile.place(id), LONGEST) || "no file");
}

function findingsCard(profile) {
    const { findings } = profile.overview;
    const worst = (entry) => {
        const id = profile.find(entry.function, entry.file);
        const name = visible(entry.function, LONGEST) || "(no name)";
        return element("li", {}, element("span", { class: "number" }, formatCount(entry.number)), " ",
            id < 0 ? name : element("a", { class: "stored", href: functionAddress(profile, id) }, name));
    };
    const item = (finding) => element("li", { class: `finding ${finding.severity}` },
        element("p", {}, element("span", { class: "badge" }, finding.severity), " ", visible(finding.text)),
        finding.advice && element("p", { class: "advice" }, visible(finding.advice)),
        finding.worst.length > 0 && opening(`Most of it in ${plural(finding.worst.length, "function")}`, () => element("ol", {}, finding.worst.map(worst))));
    return element("section", { class: "card findings", "aria-labelledby": "findings-title" },
        element("h2", { id: "findings-title" }, "Findings of the check"),
        findings.length ? element("ul", {}, findings.map(item)) : element("p", {}, "The check found nothing."));
}

// Details whose content is made when they are opened
function opening(summary, make) {
    const details = element("details", { ontoggle: () => { if (details.childElementCount === 1) details.append(make()); } },
        element("summary", {}, summary));
    return details;
}

function overlapCard({ compare }) {
    const row = (label, percent) => element("tr", {},
        element("th", { scope: "row" }, label), element("td", { class: "number" }, `${percent.toFixed(2)} %`),
        element("td", { class: "bar-cell" }, bar(percent / 100, "neutral")));
    return element("section", { class: "card overlap", "aria-labelledby": "overlap-title" },
        element("h2", { id: "overlap-title" }, "Overlap with the old profile"),
        element("table", {}, element("tbody", {},
            row("Functions", compare.functions), row("Edges", compare.edges), row("Calls", compare.calls))),
        element("p", {}, `${plural(compare.new_functions, "function")} only in the new one, `
            + `${formatCount(compare.gone_functions)} only in the old one.`));
}

function movedCard(profile) {
    const { moved } = profile.overview.compare;
    const ids = findAll(profile, moved);
    const most = largest(moved.map(([, , , before, after]) => Math.abs(after - before)));
    const row = ([name, demangled, file, before, after], index) => element("tr", {},
        element("td", { class: "name" },
            ids[index] < 0 ? element("span", { class: "stored" }, visible(name, LONGEST) || "(no name)")
                : functionLink(profile, ids[index])[0],
            demangled && element("span", { class: "demangled" }, visible(demangled, LONGEST)),
            element("span", { class: "place" }, visible(baseName(file ?? ""), LONGEST) || "no file")),
        element("td", { class: "number wide" }, `${before.toFixed(2)} %`),
        element("td", { class: "number wide" }, `${after.toFixed(2)} %`),
        element("td", { class: "number" }, formatChange((after - before) / 100)),
        element("td", { class: "bar-cell" }, bar(Math.abs(after - before) / most, after > before ? "more" : "less")));
    const body = element("tbody", {}, moved.slice(0, MOVED_AT_FIRST).map(row));
    const rest = moved.length - MOVED_AT_FIRST;
    const button = rest > 0 && element("button", { type: "button", onclick: () => {
        body.append(...moved.slice(MOVED_AT_FIRST).map((entry, index) => row(entry, index + MOVED_AT_FIRST)));
        button.remove();
    } }, `Show ${formatCount(rest)} more`);
    return element("section", { class: "card moved", "aria-labelledby": "moved-title" },
        element("h2", { id: "moved-title" }, "What has moved"),
        element("p", {}, "The share of each function in its profile, and the difference in points of percent."),
        element("table", {},
            element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Function"),
                element("th", { scope: "col", class: "number wide" }, "Old"),
                element("th", { scope: "col", class: "number wide" }, "New"),
                element("th", { scope: "col", class: "number", colspan: "2" }, "Change"))),
            body),
        button);
}

// The ids of functions by name and file, in one pass over the page's functions
function findAll(profile, entries) {
    const ids = entries.map(() => -1);
    const wanted = new Map();
    entries.forEach(([name], index) => wanted.set(name, [...(wanted.get(name) ?? []), index]));
    profile.functions.names.forEach((name, id) => {
        for (const index of wanted.get(name) ?? []) if ((entries[index][2] ?? "") === profile.file(id)) ids[index] = id;
    });
    return ids;
}
