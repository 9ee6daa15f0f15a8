// The neighbourhood of a function in the call graph. Each function in it leads to its own.
import { functionAddress } from "./address.mjs";
import { drawArrow, heatLevel, place, textWidth, zoomable } from "./drawing.mjs";
import { element, svg } from "./dom.mjs";
import { heading } from "./function.mjs";
import { formatCount, formatShare, formatShort, largest, plural, visible } from "./text.mjs";

const AT_EACH = [12, 4]; // callers and callees of the function itself, and of those around it
const LONGEST = 34;
const BOX_HEIGHT = 42;

export async function showCalls(profile, id) {
    const graph = await profile.callGraph();
    const body = element("div", { class: "calls-body" });
    const draw = (depth) => body.replaceChildren(...drawNeighbourhood(profile, graph, id, depth, draw));
    draw(1);
    return element("div", { class: "page calls" }, heading(profile, id, "calls"),
        element("section", { class: "card", "aria-labelledby": "calls-title" }, element("h2", { id: "calls-title" }, "Callers on the left, callees on the right"), body));
}

function drawNeighbourhood(profile, graph, id, depth, draw) {
    const hood = new Neighbourhood(graph);
    hood.grow(id, depth);
    const boxes = [...hood.nodes.values()].map((node) => makeBox(profile, node, id));
    const most = largest(hood.arrows.map(({ count }) => count));
    const names = new Map(boxes.map((box) => [box.id, box.title]));
    const arrows = hood.arrows.map(({ from, to, count }) => ({ from, to, share: Number(count) / most, label: Number(count) < 1e5 ? formatCount(count) : formatShort(count),
        title: `${names.get(from)} → ${names.get(to)}: ${formatCount(count)}` }));
    const size = place(boxes, arrows, "LR");
    const middle = boxes.find((box) => box.id === String(id));
    const picture = zoomable(size, [arrows.map(drawArrow), boxes.map((box) => drawBox(profile, box, id))], { label: `Callers and callees, ${plural(boxes.length, "function")}`, focus: middle, smallest: 0.65 });
    const nothing = boxes.length === 1 && arrows.length === 0;
    return [element("p", { class: "legend" },
        nothing ? "No call from or to this function was seen. " : `${plural(boxes.length, "function")}, ${plural(arrows.length, "call edge")}. `,
        hood.left > 0 ? `Only the hottest are drawn: ${plural(hood.left, "other function")} left out; the function's page lists all. ` : "",
        nothing ? null : element("button", { type: "button", onclick: () => draw(depth === 1 ? 2 : 1) }, depth === 1 ? "Two steps away" : "One step away")), picture];
}

class Neighbourhood {
    constructor(graph) {
        this.graph_ = graph;
        this.nodes = new Map();
        this.arrows = [];
        this.left = 0;
        this.seen_ = new Set();
    }

    grow(id, depth) {
        this.add_(id);
        for (let step = 0, border = [id]; step < depth; ++step) {
            const next = [];
            for (const node of border) {
                next.push(...this.take_(this.graph_.callers(node), AT_EACH[step], (other) => [other, node]));
                next.push(...this.take_(this.graph_.callees(node), AT_EACH[step], (other) => [node, other]));
            }
            border = next;
        }
    }

    // Adds the hottest of the entries, and returns which functions are new.
    take_(entries, limit, ends) {
        this.left += Math.max(0, entries.length - limit);
        const added = [];
        for (const { id, name, count } of entries.slice(0, limit)) {
            if (!this.nodes.has(String(id)) && id >= 0) added.push(id);
            this.add_(id, name);
            const [from, to] = ends(id);
            const key = `${from} ${to}`;
            if (this.seen_.has(key)) continue;
            this.seen_.add(key);
            this.arrows.push({ from: String(from), to: String(to), count });
        }
        return added;
    }

    add_(id, name) {
        if (!this.nodes.has(String(id))) this.nodes.set(String(id), { id, name });
    }
}

function makeBox(profile, { id, name }, middle) {
    const { names, demangled } = profile.functions;
    const whole = id < 0 ? name : demangled[id] || names[id];
    const title = visible(whole, LONGEST) || "(no name)";
    const number = id < 0 ? "not in the database" : formatShare(profile.share(id));
    return { id: String(id), key: id, width: Math.max(textWidth(title, 13), textWidth(number, 12)) + 24, height: BOX_HEIGHT, title, number,
        stored: visible(id < 0 ? name : names[id], 300), share: id < 0 ? 0 : profile.share(id), chosen: id === middle };
}

function drawBox(profile, { key, x, y, width, height, title, number, stored, share, chosen }) {
    const [left, top] = [-width / 2, -height / 2];
    const parts = [svg("rect", { class: "face", x: left, y: top, width, height, rx: 6 }),
        svg("text", { class: "where", x: left + 10, y: -3 }, title),
        svg("text", { class: "count", x: left + 10, y: 13 }, number),
        svg("title", {}, stored)];
    const box = svg("g", { class: `box heat-${heatLevel(share)} ${chosen ? "middle" : ""} ${key < 0 ? "outside" : ""}`, transform: `translate(${x} ${y})` });
    box.append(...(key < 0 || chosen ? parts : [svg("a", { href: functionAddress(profile, key, "calls") }, parts)]));
    return box;
}
