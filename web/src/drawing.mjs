// A layered drawing of boxes and arrows that can be zoomed and moved.
import { Graph, layout } from "@dagrejs/dagre";
import { select } from "d3-selection";
import { curveBasis, line } from "d3-shape";
import { zoom, zoomIdentity } from "d3-zoom";
import { element, svg } from "./dom.mjs";

const MARGIN = 16;
const THICKEST = 7;

// Places boxes { id, width, height } and arrows { from, to, label, share }. Each box gets x and y, its middle, each arrow
// points and the place of its label. Returns the size.
export function place(boxes, arrows, direction) {
    const graph = new Graph({ multigraph: true });
    graph.setGraph({ rankdir: direction, nodesep: 22, edgesep: 14, ranksep: direction === "TB" ? 26 : 44, marginx: MARGIN, marginy: MARGIN });
    for (const box of boxes) graph.setNode(String(box.id), { width: box.width, height: box.height });
    arrows.forEach((arrow, index) => graph.setEdge(String(arrow.from), String(arrow.to),
        { width: textWidth(arrow.label, 11), height: 16, labelpos: "c", weight: 1 + Math.round(8 * arrow.share) }, String(index)));
    layout(graph);
    for (const box of boxes) Object.assign(box, position(graph.node(String(box.id))));
    arrows.forEach((arrow, index) => {
        const edge = graph.edge(String(arrow.from), String(arrow.to), String(index));
        Object.assign(arrow, { points: edge.points, labelX: edge.x, labelY: edge.y });
        if (direction === "LR") joinSides(arrow, graph.node(String(arrow.from)), graph.node(String(arrow.to)));
    });
    const { width, height } = graph.graph();
    return { width, height };
}

// From left to right an arrow leaves a box in the middle of its right side, and comes to the middle of the left one.
function joinSides({ points }, from, to) {
    if (from.x + from.width / 2 >= to.x - to.width / 2) return;
    points[0] = { x: from.x + from.width / 2, y: from.y };
    points[points.length - 1] = { x: to.x - to.width / 2, y: to.y };
}

const position = ({ x, y }) => ({ x, y });

// About as wide as the text is in the page's font
export const textWidth = (text, size) => Math.ceil(text.length * size * 0.6) + 4;

// Width and colour of an arrow tell its share of the hottest one; so does the number at it.
export function drawArrow(arrow) {
    const width = 1 + (THICKEST - 1) * Math.sqrt(arrow.share);
    const tip = arrow.points.at(-1);
    const before = arrow.points.at(-2) ?? tip;
    const angle = Math.atan2(tip.y - before.y, tip.x - before.x);
    const length = 6 + width;
    const end = { x: tip.x - length * 0.8 * Math.cos(angle), y: tip.y - length * 0.8 * Math.sin(angle) };
    const path = line(({ x }) => x, ({ y }) => y).curve(curveBasis)([...arrow.points.slice(0, -1), end]);
    const plate = textWidth(arrow.label, 11);
    return svg("g", { class: `arrow heat-${heatLevel(arrow.share)}`, "data-from": arrow.from, "data-to": arrow.to },
        svg("path", { class: "shaft", d: path, "stroke-width": width.toFixed(2) }),
        svg("path", { class: "tip", d: triangle(tip, angle, length) }),
        svg("rect", { class: "plate", x: arrow.labelX - plate / 2, y: arrow.labelY - 7, width: plate, height: 14, rx: 3 }),
        svg("text", { class: "count", x: arrow.labelX, y: arrow.labelY + 4, "text-anchor": "middle" }, arrow.label),
        svg("title", {}, arrow.title));
}

function triangle(tip, angle, length) {
    const corner = (turn) => `${(tip.x - length * Math.cos(angle + turn)).toFixed(1)},${(tip.y - length * Math.sin(angle + turn)).toFixed(1)}`;
    return `M${tip.x.toFixed(1)},${tip.y.toFixed(1)}L${corner(0.42)}L${corner(-0.42)}Z`;
}

// Five steps of colour. Small shares stay apart from each other: the steps follow the square root.
export const heatLevel = (share) => Math.min(4, Math.floor(5 * Math.sqrt(Math.max(0, share))));

// A frame with the drawing and its buttons. At first all of it is shown, if its scale isn't below `smallest` then. Dragging moves it, a wheel with Ctrl and two fingers zoom it; a plain wheel
// and one finger scroll the page, and a drag on a text selects it.
export function zoomable({ width, height }, content, { label, focus, smallest = 0.85 }) {
    const scene = svg("g", {}, content);
    const picture = svg("svg", { class: "drawing", role: "group", "aria-label": label }, scene);
    const control = zoom().scaleExtent([0.05, 4]).filter(movesDrawing)
        .on("zoom", ({ transform }) => scene.setAttribute("transform", transform));
    const surface = select(picture).call(control).on("dblclick.zoom", null);
    const show = (transform) => surface.call(control.transform, transform);
    const fit = (smallest) => show(fitting(picture, { width, height }, smallest, focus));
    const scaleBy = (factor) => surface.call(control.scaleBy, factor);
    const button = (text, name, action) => element("button", { type: "button", title: name, "aria-label": name, onclick: action }, text);
    const frame = element("div", { class: "drawing-frame", tabindex: "0", role: "region", "aria-label": label, style: { "--natural": `${Math.ceil(height)}px` },
        onkeydown: (event) => moveByKey(event, frame, { surface, control, scaleBy, fit }) },
    element("div", { class: "zoom-buttons" }, button("+", "Zoom in", () => scaleBy(1.3)), button("−", "Zoom out", () => scaleBy(1 / 1.3)),
        button("Fit", "Fit: show all of it", () => fit(0))), picture);
    const start = new ResizeObserver(() => {
        if (picture.clientWidth === 0) return;
        start.disconnect();
        fit(smallest);
    });
    start.observe(picture);
    picture.setAttribute("data-size", `${Math.ceil(width)} ${Math.ceil(height)}`);
    return frame;
}

function movesDrawing(event) {
    if (event.type === "wheel") return event.ctrlKey || event.metaKey;
    if (event.type.startsWith("touch")) return event.touches.length > 1;
    return !event.button && !event.target.closest("text, a");
}

// All of it in the middle; or, if it would get too small, the part around `focus`, else its top
function fitting(picture, { width, height }, smallest, focus) {
    const [frameWidth, frameHeight] = [picture.clientWidth, picture.clientHeight];
    const scale = Math.max(smallest, Math.min(1, frameWidth / width, frameHeight / height));
    const along = (frame, size, middle) => (size * scale <= frame ? (frame - size * scale) / 2 : Math.min(0, Math.max(frame - size * scale, frame / 2 - middle * scale)));
    return zoomIdentity.translate(along(frameWidth, width, focus?.x ?? width / 2), along(frameHeight, height, focus?.y ?? 0)).scale(scale);
}

function moveByKey(event, frame, { surface, control, scaleBy, fit }) {
    if (event.target !== frame || event.ctrlKey || event.altKey || event.metaKey) return;
    const moves = { ArrowLeft: [40, 0], ArrowRight: [-40, 0], ArrowUp: [0, 40], ArrowDown: [0, -40] };
    if (event.key in moves) surface.call(control.translateBy, ...moves[event.key]);
    else if (event.key === "+" || event.key === "=") scaleBy(1.3);
    else if (event.key === "-") scaleBy(1 / 1.3);
    else if (event.key === "0") fit(0);
    else return;
    event.preventDefault();
}

// On paper whole drawings are shown, whatever part of them is on the screen. Called once for the page.
export function printDrawingsWhole() {
    const transforms = new Map();
    globalThis.addEventListener("beforeprint", () => {
        for (const picture of document.querySelectorAll(".drawing")) {
            const scene = picture.firstElementChild;
            transforms.set(scene, scene.getAttribute("transform"));
            picture.setAttribute("viewBox", `0 0 ${picture.dataset.size}`);
            scene.removeAttribute("transform");
        }
    });
    globalThis.addEventListener("afterprint", () => {
        for (const [scene, transform] of transforms) {
            scene.parentElement.removeAttribute("viewBox");
            if (transform !== null) scene.setAttribute("transform", transform);
        }
        transforms.clear();
    });
}
