// The curve of concentration: which share of all counts the N hottest functions hold.
import { scaleLinear, scaleLog } from "d3-scale";
import { line } from "d3-shape";
import { element, svg } from "./dom.mjs";
import { formatCount, formatShare } from "./text.mjs";

const SHARES = [0.5, 0.9, 0.99];
const WIDTH = 460;
const HEIGHT = 220;
const EDGE = { left: 54, right: 14, top: 14, bottom: 34 };
const MOST_POINTS = 400;

export function concentrationCard(profile) {
    const sums = runningSums(profile.weights);
    const holders = SHARES.map((share) => ({ share, count: firstReaching(sums, share) }));
    const row = ({ share, count }) => element("tr", {},
        element("th", { scope: "row" }, `${100 * share} %`),
        element("td", { class: "number" }, formatCount(count)),
        element("td", { class: "number" }, formatShare(count / Math.max(1, profile.size))));
    return element("section", { class: "card concentration", "aria-labelledby": "concentration-title" },
        element("h2", { id: "concentration-title" }, "Concentration"),
        sums.length ? drawCurve(sums, holders) : null,
        element("table", {},
            element("thead", {}, element("tr", {}, element("th", { scope: "col" }, "Share of all counts"),
                element("th", { scope: "col", class: "number" }, "held by so many functions"),
                element("th", { scope: "col", class: "number" }, "of all functions"))),
            element("tbody", {}, holders.map(row))));
}

// Shares of the hottest one, two, three … functions; none if nothing was counted
function runningSums(weights) {
    const sums = Float64Array.from(weights).sort().reverse();
    for (let index = 1; index < sums.length; ++index) sums[index] += sums[index - 1];
    const total = sums.at(-1);
    return total > 0 ? sums.map((sum) => sum / total) : new Float64Array();
}

// How many functions hold the share
function firstReaching(sums, share) {
    const index = sums.findIndex((sum) => sum >= share);
    return index + 1;
}

function drawCurve(sums, holders) {
    const x = scaleLog([1, Math.max(2, sums.length)], [EDGE.left, WIDTH - EDGE.right]);
    const y = scaleLinear([0, 1], [HEIGHT - EDGE.bottom, EDGE.top]);
    const path = line(([count]) => x(count), ([, share]) => y(share))(points(sums));
    const label = holders.map(({ share, count }) => `${count} hold ${100 * share} %`).join(", ");
    return svg("svg", { class: "curve", viewBox: `0 0 ${WIDTH} ${HEIGHT}`, role: "img", "aria-label": `Curve of concentration: ${label}` },
        [0, 0.25, 0.5, 0.75, 1].map((share) => [
            svg("line", { class: "guide", x1: EDGE.left, x2: WIDTH - EDGE.right, y1: y(share), y2: y(share) }),
            svg("text", { x: EDGE.left - 6, y: y(share) + 4, "text-anchor": "end" }, `${100 * share} %`)]),
        powersOfTen(sums.length).map((count) => [
            svg("line", { class: "guide", x1: x(count), x2: x(count), y1: EDGE.top, y2: HEIGHT - EDGE.bottom }),
            svg("text", { x: x(count), y: HEIGHT - EDGE.bottom + 16, "text-anchor": "middle" }, formatCount(count))]),
        svg("text", { x: (WIDTH + EDGE.left) / 2, y: HEIGHT - 3, "text-anchor": "middle" }, "functions, hottest first"),
        svg("path", { class: "line", d: path }),
        holders.map(({ share, count }) => [
            svg("circle", { class: "mark", cx: x(count), cy: y(sums[count - 1]), r: 4.5 },
                svg("title", {}, `${formatCount(count)} functions hold ${100 * share} %`))]));
}

function powersOfTen(limit) {
    const powers = [];
    for (let power = 1; power <= Math.max(2, limit); power *= 10) powers.push(power);
    return powers;
}

// As many points as the eye can tell apart, evenly along the logarithmic axis
function points(sums) {
    const counts = new Set([1, sums.length]);
    for (let index = 0; index <= MOST_POINTS; ++index) counts.add(Math.round(sums.length ** (index / MOST_POINTS)));
    return [...counts].sort((a, b) => a - b).map((count) => [count, sums[count - 1]]);
}
