// The fragment of the page's address holds the view: #/functions?q=text&sort=entries, #/function/12/name, #/calls/12/name

const LONGEST_NAME = 200;

// A link to a function. The number finds it in this page, the name in a page of another recording.
export function functionAddress(profile, id, view = "function") {
    const name = Array.from(profile.functions.names[id].slice(0, LONGEST_NAME + 1)).slice(0, LONGEST_NAME).join("");
    return `#/${view}/${id}/${encode(name)}`;
}

export function listAddress({ query = "", sort, descending } = {}) {
    const parts = [];
    if (query) parts.push(`q=${encode(query)}`);
    if (sort) parts.push(`sort=${encode(sort)}${descending ? "" : "&order=up"}`);
    return `#/functions${parts.length ? "?" : ""}${parts.join("&")}`;
}

// { view, id, query, sort, descending }; id is -1 if the page has no such function
export function readAddress(fragment, profile) {
    const [path, rest = ""] = fragment.replace(/^#\/?/, "").split("?", 2);
    const [view, number, ...name] = path.split("/");
    if (view === "function" || view === "calls") return { view, id: findFunction(profile, number, decode(name.join("/"))) };
    if (view === "functions") {
        const values = new Map(rest.split("&").map((part) => part.split("=", 2)));
        return { view, query: decode(values.get("q") ?? ""), sort: values.get("sort"), descending: values.get("order") !== "up" };
    }
    return { view: view === "about" ? "about" : "overview" };
}

function findFunction(profile, number, name) {
    const id = /^\d+$/.test(number ?? "") ? Number(number) : -1;
    if (id >= 0 && id < profile.size && (!name || profile.functions.names[id].startsWith(name))) return id;
    if (!name) return -1;
    const whole = profile.find(name);
    return whole >= 0 || name.length < LONGEST_NAME ? whole : profile.find(name, undefined, true);
}

function encode(text) {
    return encodeURIComponent(text.toWellFormed?.() ?? text.replace(/[\ud800-\udfff]/gu, "\ufffd"));
}

function decode(text) {
    try {
        return decodeURIComponent(text);
    } catch {
        return text; // typed by hand
    }
}
