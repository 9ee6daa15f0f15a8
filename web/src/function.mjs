// The page of one function: its figures, its flow, its lines, its callers and callees.
import { functionAddress, listAddress } from "./address.mjs";
import { bar, element } from "./dom.mjs";
import { flowSection } from "./flow.mjs";
import { linesSection } from "./lines.mjs";
import { functionLink } from "./overview.mjs";
import { formatChange, formatCount, formatShare, largest, plural, sumCounts, visible } from "./text.mjs";

const LONGEST = 300;
const ROWS_AT_FIRST = 25;

export async function showFunction(profile, id) {
    const [flow, source, graph] = await Promise.all([profile.flow(id), profile.source(id), profile.callGraph()]);
    const lines = linesSection(profile, id, flow, source);
    return element("div", { class: "page function" },
        heading(profile, id, "function"),
        figures(profile, id),
        element("div", { class: "cards two" }, flowSection(flow, lines.choose), lines.view,
            neighbours(profile, "Callers", graph.callers(id), "No call of this function was seen."),
            neighbours(profile, "Callees", graph.callees(id), "No call in this function was seen.")));
}

// Name, file, and the way between the two views of a function
export function heading(profile, id, view) {
    const { names, demangled, line } = profile.functions;
    const file = profile.file(id);
    const tab = (name, title) => element("a", { href: functionAddress(profile, id, name), "aria-current": name === view ? "page" : undefined }, title);
    return element("header", { class: "heading" },
        element("p", { class: "sub" }, element("a", { href: listAddress() }, "Functions"), ` › number ${formatCount(id + 1)} of ${formatCount(profile.size)}`),
        element("h1", { class: "stored", tabindex: names[id].length > LONGEST ? "0" : "-1" }, visible(names[id]) || "(no name)"),
        demangled[id] ? element("p", { class: "demangled", tabindex: demangled[id].length > LONGEST ? "0" : undefined }, visible(demangled[id])) : null,
        element("p", { class: "place" }, file ? visible(line[id] >= 0 ? `${file}:${line[id]}` : file) : "no file"),
        element("nav", { class: "tabs", "aria-label": "Views of the function" }, tab("function", "Flow and lines"), tab("calls", "Call graph")));
}

function figures(profile, id) {
    const { functions } = profile;
    const old = functions.old_weight_share?.[id];
    const figure = (label, text) => element("div", { class: "figure" }, element("dt", {}, label), element("dd", {}, text));
    return element("dl", { class: "figures" },
        figure("Share", formatShare(profile.share(id))),
        functions.old_weight_share ? figure("Since the old profile", old === null ? "new" : `${formatChange(profile.share(id) - old / 100)} points`) : null,
        profile.measured === "weight" && figure("Weight", formatCount(functions.weight[id])), figure("Entries", formatCount(functions.entries[id])),
        figure("Edges", formatCount(functions.edges[id])), figure("Edges taken", formatCount(functions.edge_counts[id])),
        figure("Call sites", formatCount(functions.calls[id])));
}

function neighbours(profile, title, entries, none) {
    const most = largest(entries.map(({ count }) => count));
    const total = Number(sumCounts(entries.map(({ count }) => count)));
    const row = ({ id, name, count }) => element("tr", {},
        element("td", { class: "name" }, id < 0 ? element("span", { class: "stored outside" }, visible(name, LONGEST) || "(no name)") : functionLink(profile, id)),
        element("td", { class: "number" }, formatCount(count)),
        element("td", { class: "number" }, formatShare(total ? Number(count) / total : 0)),
        element("td", { class: "bar-cell" }, bar(Number(count) / most)));
    const key = title.toLowerCase();
    const body = element("tbody", {}, entries.slice(0, ROWS_AT_FIRST).map(row));
    const rest = entries.length - ROWS_AT_FIRST;
    const button = rest > 0 && element("button", { type: "button", onclick: () => {
        body.append(...entries.slice(ROWS_AT_FIRST).map(row));
        button.remove();
    } }, `Show ${formatCount(rest)} more`);
    return element("section", { class: `card ${key}`, "aria-labelledby": `${key}-title` },
        element("h2", { id: `${key}-title` }, title),
        entries.length === 0 ? element("p", {}, none) : [
            element("p", { class: "legend" }, `${plural(entries.length, "function")}, ${plural(sumCounts(entries.map(({ count }) => count)), "call")}`),
            element("table", {}, element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Function"),
                element("th", { scope: "col", class: "number" }, "Calls"), element("th", { scope: "col", class: "number", colspan: "2" }, "Share"))), body),
            button]);
}
