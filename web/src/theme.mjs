// Light or dark: as the system says, unless the reader chooses.
import { element } from "./dom.mjs";

const KEY = "edgescope.theme";
const THEMES = [["auto", "Auto"], ["light", "Light"], ["dark", "Dark"]];

export function themeSwitch() {
    const chooser = element("select", { id: "theme", "aria-label": "Colours", onchange: () => choose(chooser.value) },
        THEMES.map(([value, title]) => element("option", { value }, title)));
    chooser.value = stored();
    apply(chooser.value);
    return chooser;
}

function choose(theme) {
    apply(theme);
    try {
        localStorage.setItem(KEY, theme);
    } catch {
        // A browser may forbid it to pages from disk. The choice then lasts as long as the page.
    }
}

function apply(theme) {
    if (theme === "auto") delete document.documentElement.dataset.theme;
    else document.documentElement.dataset.theme = theme;
}

function stored() {
    try {
        const theme = localStorage.getItem(KEY);
        return THEMES.some(([value]) => value === theme) ? theme : "auto";
    } catch {
        return "auto";
    }
}
