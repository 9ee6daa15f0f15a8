// Elements are made by these two functions alone. Texts become text nodes: nothing of a name is ever read as HTML.

const SVG = "http://www.w3.org/2000/svg";

// element("a", { href, class, onclick, style: { width } }, child...): children are nodes, texts, null or arrays of these
export function element(name, properties = {}, ...children) {
    return fill(document.createElement(name), properties, children);
}

export function svg(name, properties = {}, ...children) {
    return fill(document.createElementNS(SVG, name), properties, children);
}

function fill(node, properties, children) {
    for (const [key, value] of Object.entries(properties)) {
        if (value === undefined || value === null || value === false) continue;
        if (key.startsWith("on")) node.addEventListener(key.slice(2), value);
        else if (key === "style") for (const [name, text] of Object.entries(value)) node.style.setProperty(name, text);
        else node.setAttribute(key, value === true ? "" : value);
    }
    node.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false));
    return node;
}

// A bar whose length tells a share of 1. The number stands beside it, so readers aloud needn't see it.
export function bar(share, kind = "") {
    const width = `${Math.min(100, Math.max(0, 100 * share)).toFixed(2)}%`;
    return element("span", { class: `bar ${kind}`, "aria-hidden": "true" }, element("span", { class: "bar-fill", style: { width } }));
}

// Lets what has been changed come to the screen.
export const nextFrame = () => new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve)));
