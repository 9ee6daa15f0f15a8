// The lines of a function: how often each ran, its heat, arcs for the edges taken between lines, and the source if it is there.
import { functionAddress } from "./address.mjs";
import { heatLevel } from "./drawing.mjs";
import { bar, element, svg } from "./dom.mjs";
import { compareCounts, formatCount, largest, plural, sumCounts, visible, visibleSource } from "./text.mjs";

const ROW = 24;
const AROUND = 4; // lines of source shown around those that ran
const MOST_ROWS = 3000;
const MOST_ARCS = 80;
const LANES = 9;
const LANE = 9;
const LONGEST = 200;
const LONGEST_LINE = 2000;

// { view, choose(line) }
export function linesSection(profile, id, flow, source) {
    const model = new Lines(flow, source);
    const frame = element("div", { class: "lines", tabindex: "0", role: "region", "aria-label": "Lines of the function" });
    const draw = () => frame.replaceChildren(...drawLines(profile, model, draw));
    draw();
    const file = profile.file(id);
    const title = source ? visible(source.path) : visible(file) || "no file";
    const view = element("section", { class: "card lines-card", "aria-labelledby": "lines-title" },
        element("h2", { id: "lines-title" }, source ? "Source" : "Lines"),
        element("p", { class: "legend" }, element("span", { class: "place" }, title), " ", explain(model, source)),
        model.rows().length ? frame : element("p", {}, "No line of this function is known."));
    return { view, choose: (line) => chooseLine(frame, line) };
}

function explain(model, source) {
    const { drawn, all } = model.arcCounts();
    const arcs = drawn < all ? `the ${formatCount(drawn)} hottest of ${plural(all, "edge")} between lines` : plural(all, "edge between lines", "edges between lines");
    return `How often each line ran; arcs: ${arcs}.${source ? "" : " For the source itself, give --source to edgescope."}`
        + (model.isCut() ? ` The ${formatCount(MOST_ROWS)} hottest lines are listed.` : "");
}

class Lines {
    constructor(flow, source) {
        this.source_ = source;
        this.counts = new Map(flow.l);
        this.calls = new Map();
        for (const call of flow.c) if (call[0] >= 0) this.calls.set(call[0], [...(this.calls.get(call[0]) ?? []), call]);
        this.names = flow.names;
        this.most = largest(flow.l.map(([, count]) => count), 1);
        this.arcs_ = arcsOf(flow);
        this.opened_ = new Set();
        const marked = [...new Set([...this.counts.keys(), ...this.calls.keys(), ...this.arcs_.flatMap(({ from, to }) => [from, to])])].sort((a, b) => a - b);
        this.cut_ = marked.length > MOST_ROWS;
        this.marked_ = this.cut_ ? marked.sort((a, b) => Number(this.counts.get(b) ?? 0) - Number(this.counts.get(a) ?? 0)).slice(0, MOST_ROWS).sort((a, b) => a - b) : marked;
    }

    isCut() { return this.cut_; }

    open(gap) { this.opened_.add(gap); }

    // { line } or, for lines that are left out, { gap, length }
    rows() {
        if (!this.source_) return this.marked_.map((line, index) => ({ line, apart: index > 0 && line > this.marked_[index - 1] + 1 }));
        const rows = [];
        let next = -1;
        for (const line of this.marked_.filter((candidate) => this.text(candidate) !== undefined)) {
            const from = Math.max(line - AROUND, this.source_.first);
            if (next >= 0 && from > next) this.addGap_(rows, next, from);
            for (let shown = Math.max(from, next); shown <= line + AROUND && this.text(shown) !== undefined; ++shown) {
                rows.push({ line: shown });
                next = shown + 1;
            }
        }
        return rows;
    }

    text(line) { return this.source_?.lines[line - this.source_.first]; }

    arcCounts() { return { drawn: Math.min(MOST_ARCS, this.arcs_.length), all: this.arcs_.length }; }

    arcs() { return this.arcs_.slice(0, MOST_ARCS); }

    addGap_(rows, from, end) {
        if (end - from > 2 && !(this.opened_.has(from) && end - from <= MOST_ROWS)) rows.push({ gap: from, length: end - from });
        else for (let line = from; line < end; ++line) rows.push({ line });
    }
}

// Edges between two lines, hottest first; those between blocks of one line have no arc.
function arcsOf({ b, e }) {
    const sums = new Map();
    for (const [from, to, count] of e) {
        const [start, end] = [b[from]?.[0] ?? -1, b[to]?.[0] ?? -1];
        if (start < 0 || end < 0 || start === end) continue;
        const key = `${start} ${end}`;
        const arc = sums.get(key) ?? { from: start, to: end, count: 0 };
        arc.count = sumCounts([arc.count, count]);
        sums.set(key, arc);
    }
    return [...sums.values()].sort((x, y) => compareCounts(y.count, x.count));
}

function drawLines(profile, model, redraw) {
    const rows = model.rows();
    const places = new Map(rows.map(({ line }, index) => [line, index]));
    const arcs = placeArcs(model.arcs(), places);
    const lanes = largest(arcs.map(({ lane }) => lane + 1), 2);
    const list = element("ol", { class: "line-list", style: { "--gutter": `${lanes * LANE + 14}px` } },
        rows.map((row) => (row.gap ? drawGap(row, () => { model.open(row.gap); redraw(); }) : drawLine(profile, model, row))));
    const gutter = svg("svg", { class: "arcs", width: lanes * LANE + 14, height: rows.length * ROW, role: "img",
        "aria-label": "Arcs of the edges taken between lines; the table of edges has their numbers" }, arcs.map((arc) => drawArc(arc, lanes)));
    return [element("div", { class: "line-frame" }, gutter, list)];
}

function drawGap({ length }, open) {
    return element("li", { class: "gap" }, element("button", { type: "button", onclick: open }, `⋯ ${plural(length, "line")} without counts`));
}

function drawLine(profile, model, { line, apart }) {
    const count = model.counts.get(line);
    const share = count === undefined ? 0 : Number(count) / model.most;
    const text = model.text(line);
    return element("li", { class: `line ${count === undefined ? "" : `heat-${heatLevel(share)}`} ${apart ? "apart" : ""}`, "data-line": line },
        element("span", { class: "line-number" }, String(line)),
        element("span", { class: "line-count" }, count === undefined ? "" : formatCount(count)),
        count === undefined ? element("span", { class: "bar" }) : bar(share, "heat"),
        text === undefined ? null : element("code", {}, visibleSource(text.length > LONGEST_LINE ? `${text.slice(0, LONGEST_LINE)}…` : text)),
        (model.calls.get(line) ?? []).map((call) => drawCall(profile, model.names, call)));
}

function drawCall(profile, names, [, callee, count]) {
    const name = visible(callee < 0 ? names[-1 - callee] : profile.functions.names[callee], LONGEST) || "(no name)";
    return element("span", { class: "call" }, "→ ", callee < 0 ? name : element("a", { href: functionAddress(profile, callee) }, name), ` ${formatCount(count)} ×`);
}

// Each arc gets the lane next to the text that is free between its two lines; short arcs choose first.
function placeArcs(arcs, places) {
    const busy = [];
    const inSight = arcs.filter(({ from, to }) => places.has(from) && places.has(to)).map((arc) => {
        const ends = [places.get(arc.from), places.get(arc.to)];
        return { ...arc, start: ends[0], end: ends[1], low: Math.min(...ends), high: Math.max(...ends) };
    });
    for (const arc of inSight.sort((a, b) => a.high - a.low - (b.high - b.low))) {
        let lane = busy.findIndex((taken) => taken.every(({ low, high }) => arc.low >= high || arc.high <= low));
        if (lane < 0) lane = Math.min(busy.length, LANES - 1);
        (busy[lane] ??= []).push(arc);
        arc.lane = lane;
    }
    const most = largest(inSight.map(({ count }) => count), 1);
    return inSight.map((arc) => ({ ...arc, share: Number(arc.count) / most })).sort((a, b) => a.share - b.share);
}

function drawArc({ from, to, start, end, lane, count, share }, lanes) {
    const right = lanes * LANE + 10;
    const x = right - 8 - lane * LANE;
    const [y1, y2] = [start * ROW + ROW / 2 + 3, end * ROW + ROW / 2 - 3];
    const bend = Math.min(8, Math.abs(y2 - y1) / 2) * Math.sign(y2 - y1);
    return svg("g", { class: `arrow heat-${heatLevel(share)}`, "data-from": from, "data-to": to },
        svg("path", { class: "shaft", "stroke-width": (1 + 3 * Math.sqrt(share)).toFixed(2),
            d: `M${right},${y1}H${x + 6}Q${x},${y1} ${x},${y1 + bend}V${y2 - bend}Q${x},${y2} ${x + 6},${y2}H${right - 3}` }),
        svg("path", { class: "tip", d: `M${right + 3},${y2}l-7,-4v8Z` }),
        svg("title", {}, `line ${from} → line ${to}: ${formatCount(count)}`));
}

function chooseLine(frame, line) {
    for (const part of frame.querySelectorAll(".chosen")) part.classList.remove("chosen");
    const row = frame.querySelector(`[data-line="${line}"]`);
    if (!row) return;
    row.classList.add("chosen");
    for (const arc of frame.querySelectorAll(`.arrow[data-from="${line}"], .arrow[data-to="${line}"]`)) arc.classList.add("chosen");
    frame.scrollTop += row.getBoundingClientRect().top - frame.getBoundingClientRect().top - frame.clientHeight / 3;
}
