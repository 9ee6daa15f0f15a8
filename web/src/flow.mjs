// The blocks and edges of one function as a picture, and as a table.
import { drawArrow, heatLevel, place, textWidth, zoomable } from "./drawing.mjs";
import { element, svg } from "./dom.mjs";
import { compareCounts, formatCount, formatShare, formatShort, largest, plural, sumCounts } from "./text.mjs";

const FIRST_BLOCKS = 80;
const MOST_BLOCKS = 320; // a layout of more takes seconds
const MOST_EDGES_LISTED = 200;
const ENTRY = 1;
const EXIT = 2;
const BOX_HEIGHT = 46;

export function flowSection(flow, chooseLine) {
    const body = element("div", { class: "flow-body" });
    const show = (count) => body.replaceChildren(...drawFlow(flow, count, show, chooseLine));
    show(Math.min(FIRST_BLOCKS, flow.b.length));
    return element("section", { class: "card flow", "aria-labelledby": "flow-title" },
        element("h2", { id: "flow-title" }, "Control flow"), body, edgeTable(flow));
}

function drawFlow(flow, count, show, chooseLine) {
    if (flow.b.length === 0) return [element("p", {}, "This function has no edges: only its entries and calls were counted.")];
    const kept = hottestBlocks(flow, count);
    const boxes = [...kept].map((index) => makeBox(flow, index));
    const arrows = makeArrows(flow, kept, boxes);
    const size = place(boxes, arrows, "TB");
    const detail = element("p", { class: "detail", role: "status" }, "Choose a block to see where it comes from and where it leads.");
    const entry = boxes.find(({ flags }) => flags & ENTRY) ?? boxes[0];
    const picture = zoomable(size, [arrows.map(drawArrow), boxes.map(drawBox)], { label: `Blocks and edges, ${plural(kept.size, "block")}`, focus: entry });
    const choose = (target) => {
        const box = target.closest?.(".box");
        if (!box) return false;
        const index = Number(box.dataset.block);
        for (const part of picture.querySelectorAll(".box, .arrow")) part.classList.toggle("chosen", part === box || part.dataset.from === String(index) || part.dataset.to === String(index));
        detail.textContent = describe(flow, index);
        if (flow.b[index]?.[0] >= 0) chooseLine(flow.b[index][0]);
        return true;
    };
    picture.addEventListener("click", ({ target }) => choose(target));
    picture.addEventListener("keydown", (event) => {
        if ((event.key === "Enter" || event.key === " ") && choose(event.target)) event.preventDefault();
    });
    return [legend(flow, kept, show), picture, detail];
}

// The blocks to draw, in the order of their addresses. The entry is always there.
function hottestBlocks({ b }, count) {
    const order = b.map((_, index) => index).sort((x, y) => (b[y][4] & ENTRY) - (b[x][4] & ENTRY) || compareCounts(b[y][3], b[x][3]) || x - y);
    return new Set(order.slice(0, count).sort((x, y) => x - y));
}

function makeBox({ b }, index) {
    const [line, column, discriminator, count, flags] = b[index];
    const [title, number] = [position(line, column, discriminator), formatCount(count)];
    const marks = [flags & ENTRY ? "entry" : "", flags & EXIT ? "exit" : ""].filter(Boolean);
    const width = Math.max(74, textWidth(title, 13) + marks.length * 40 + 24, textWidth(number, 13) + 24);
    return { id: index, width, height: BOX_HEIGHT, title, number, count, marks, flags };
}

// As everywhere: line:column.discriminator, without the zeros
function position(line, column, discriminator) {
    return line < 0 ? "?" : `${line}${column || discriminator ? `:${column}` : ""}${discriminator ? `.${discriminator}` : ""}`;
}

// Edges between the blocks that are drawn. What leads to other code gets a box for that.
function makeArrows({ e, b }, kept, boxes) {
    const most = largest(e.map(([, , count]) => count), 1);
    const hottest = largest(boxes.map(({ count }) => count), 1);
    for (const box of boxes) box.share = Number(box.count) / hottest;
    const elsewhere = { id: -1, width: 90, height: 30, title: "elsewhere", number: "", share: 0, marks: [], flags: 0 };
    const arrows = e.filter(([from, to]) => (kept.has(from) || from < 0) && (kept.has(to) || to < 0) && (from >= 0 || to >= 0));
    if (arrows.some(([from, to]) => from < 0 || to < 0)) boxes.push(elsewhere);
    const name = (index) => (index < 0 ? "elsewhere" : position(...b[index]));
    return arrows.map(([from, to, count]) => ({ from, to, share: Number(count) / most, label: Number(count) < 1e5 ? formatCount(count) : formatShort(count),
        title: `${name(from)} → ${name(to)}: ${formatCount(count)}` }));
}

function drawBox({ id, x, y, width, height, title, number, share, marks, flags }) {
    const [left, top] = [-width / 2, -height / 2];
    const mark = (text, index) => svg("text", { class: "mark", x: width / 2 - 8 - index * 38, y: -5, "text-anchor": "end" }, text);
    const label = `Block at ${[title, ...marks, number].join(" ")}`;
    return svg("g", { class: `box heat-${heatLevel(share)} ${flags & ENTRY ? "entry" : ""} ${flags & EXIT ? "exit" : ""}`, transform: `translate(${x} ${y})`,
        "data-block": id, tabindex: id < 0 ? undefined : "0", role: id < 0 ? undefined : "button" },
    svg("rect", { class: "face", x: left, y: top, width, height, rx: 6 }),
    flags & ENTRY ? svg("path", { class: "entry-mark", d: `M${-7},${top - 9}H7L0,${top - 1}Z` }) : null,
    flags & EXIT ? svg("line", { class: "exit-mark", x1: left + 8, x2: -left - 8, y1: -top + 4, y2: -top + 4 }) : null,
    number && svg("rect", { class: "level", x: left + 6, y: -top - 7, width: Math.max(1, (width - 12) * share), height: 3 }),
    svg("text", { class: "where", x: left + 10, y: number ? -5 : 4 }, title),
    " ", marks.slice().reverse().map((text, index) => [mark(text, index), " "]),
    number && svg("text", { class: "count", x: left + 10, y: 11 }, number),
    svg("title", {}, label));
}

function legend({ b, e }, kept, show) {
    const total = Number(sumCounts(e.map(([, , count]) => count)));
    const shown = Number(sumCounts(e.filter(([from, to]) => kept.has(from) && kept.has(to)).map(([, , count]) => count)));
    const next = Math.min(b.length, MOST_BLOCKS, 2 * kept.size);
    const all = kept.size === b.length;
    return element("p", { class: "legend" },
        all ? `${plural(b.length, "block")}, ${plural(e.length, "edge")}. `
            : `The ${formatCount(kept.size)} hottest of ${plural(b.length, "block")}, with ${formatShare(total ? shown / total : 0)} of what its edges were taken. `,
        "In each box its position in the source (line:column.discriminator) and how often it ran; width and colour of an arrow tell how often it was taken. ",
        next > kept.size && element("button", { type: "button", onclick: () => show(next) }, `Draw ${formatCount(next)} blocks`));
}

function describe({ b, e }, index) {
    const name = (block) => (block < 0 ? "elsewhere" : position(...b[block]));
    const list = (edges, end) => edges.sort((x, y) => compareCounts(y[2], x[2])).slice(0, 8).map((edge) => `${name(edge[end])} (${formatCount(edge[2])})`).join(", ") || "nothing";
    const [entering, leaving] = [e.filter(([, to]) => to === index), e.filter(([from]) => from === index)];
    return `Block ${name(index)} ran ${formatCount(b[index][3])} times. From: ${list(entering, 0)}. To: ${list(leaving, 1)}.`;
}

function edgeTable({ b, e }) {
    if (e.length === 0) return null;
    const total = Number(sumCounts(e.map(([, , count]) => count)));
    const hottest = e.slice().sort(byCount);
    const name = (index) => (index < 0 ? "elsewhere" : position(...b[index]));
    const row = ([from, to, count]) => element("tr", {}, element("td", {}, name(from)), element("td", {}, name(to)),
        element("td", { class: "number" }, formatCount(count)), element("td", { class: "number" }, formatShare(total ? Number(count) / total : 0)));
    const details = element("details", { class: "edges", ontoggle: () => {
        if (details.querySelector("table")) return;
        details.append(element("table", {},
            element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "From"), element("th", { scope: "col" }, "To"),
                element("th", { scope: "col", class: "number" }, "Taken"), element("th", { scope: "col", class: "number" }, "Share"))),
            element("tbody", {}, hottest.slice(0, MOST_EDGES_LISTED).map(row))));
    } }, element("summary", {}, e.length > MOST_EDGES_LISTED ? `The ${MOST_EDGES_LISTED} hottest of ${plural(e.length, "edge")} as a table` : `${plural(e.length, "edge")} as a table`));
    return details;
}

const byCount = (x, y) => compareCounts(y[2], x[2]);
