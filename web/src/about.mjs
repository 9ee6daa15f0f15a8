// What the page is, its keys, and the licences of the libraries in it.
import { element } from "./dom.mjs";
import { visible } from "./text.mjs";

const KEYS = [["/", "search the functions"], ["↑ ↓ Page Up Page Down Home End", "move in the table"], ["Enter", "open the function"],
    ["Escape", "clear the search; one step up"], ["+ − 0 and arrows", "zoom and move a drawing that has the focus; Ctrl and the wheel, or two fingers, zoom too"]];

export function showAbout({ overview }) {
    const licences = document.getElementById("licences");
    return element("div", { class: "page about" },
        element("h1", {}, "About this page"),
        element("p", {}, `Written by ${visible(overview.generator)} from ${overview.databases.map((path) => visible(path)).join(", ")}. It holds all its data, and loads nothing.`),
        element("p", {}, `The weight of a function: ${visible(overview.measure)}.`),
        overview.has_program ? element("p", {}, "Counts of lines come from the instructions of the program.") : null,
        element("section", { class: "card" }, element("h2", {}, "Keys"),
            element("dl", { class: "keys" }, KEYS.map(([key, text]) => [element("dt", {}, element("kbd", {}, key)), element("dd", {}, text)]))),
        element("section", { class: "card" }, element("h2", {}, "Libraries in this page, and their licences"),
            element("pre", { class: "licences", tabindex: "0" }, licences.textContent)));
}
