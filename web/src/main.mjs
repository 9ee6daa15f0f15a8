// Opens the profile, and shows the view that the page's address asks for.
import { functionAddress, listAddress, readAddress } from "./address.mjs";
import { showAbout } from "./about.mjs";
import { showCalls } from "./calls.mjs";
import { baseName, Profile } from "./data.mjs";
import { element, nextFrame } from "./dom.mjs";
import { printDrawingsWhole } from "./drawing.mjs";
import { FunctionsTable } from "./functions.mjs";
import { showFunction } from "./function.mjs";
import { showOverview } from "./overview.mjs";
import { visible } from "./text.mjs";
import { themeSwitch } from "./theme.mjs";

class App {
    constructor(profile) {
        this.profile_ = profile;
        this.main_ = element("main", { id: "main" });
        this.links_ = [["overview", "#/", "Overview"], ["functions", listAddress(), "Functions"]]
            .map(([view, href, title]) => ({ view, node: element("a", { href }, title) }));
    }

    start() {
        const about = element("a", { href: "#/about" }, "About");
        this.links_.push({ view: "about", node: about });
        document.body.prepend(element("header", { class: "bar-top" },
            element("a", { class: "brand", href: "#/" }, "edgescope"),
            element("nav", { "aria-label": "Views" }, this.links_.map(({ node }) => node)), themeSwitch()), this.main_);
        globalThis.addEventListener("hashchange", () => this.show_());
        document.addEventListener("keydown", (event) => this.key_(event));
        printDrawingsWhole();
        return this.show_(true);
    }

    async show_(isFirst = false) {
        const address = readAddress(location.hash, this.profile_);
        this.address_ = address;
        const view = await this.view_(address).catch((error) => problem("This view can't be shown", error.message));
        if (this.address_ !== address) return; // the reader has gone on meanwhile
        this.main_.replaceChildren(view);
        if (address.view === "functions") this.table_.show(address);
        this.mark_(address.view);
        document.title = this.title_(address);
        if (!isFirst) this.settle_(address.view);
    }

    async view_({ view, id }) {
        if ((view === "function" || view === "calls") && id < 0) return problem("No such function", "The link names a function that this page doesn't have.");
        if (view === "function") return showFunction(this.profile_, id);
        if (view === "calls") return showCalls(this.profile_, id);
        if (view === "about") return showAbout(this.profile_);
        if (view === "overview") return showOverview(this.profile_);
        this.table_ ??= new FunctionsTable(this.profile_, (address) => { location.hash = address; });
        return this.table_.view;
    }

    // After a step to another view: from its top, with the keyboard in it
    settle_(view) {
        scrollTo(0, 0);
        const target = view === "functions" ? this.table_.view.querySelector("[role=grid]") : this.main_.querySelector("h1");
        if (target && !target.hasAttribute("tabindex")) target.setAttribute("tabindex", "-1");
        target?.focus({ preventScroll: true });
    }

    mark_(view) {
        for (const link of this.links_) {
            const isCurrent = link.view === view || (link.view === "functions" && (view === "function" || view === "calls"));
            if (isCurrent) link.node.setAttribute("aria-current", link.view === view ? "page" : "true");
            else link.node.removeAttribute("aria-current");
        }
    }

    title_({ view, id }) {
        const database = visible(baseName(this.profile_.overview.databases[0] ?? ""));
        const name = view === "function" || view === "calls" ? visible(this.profile_.functions.names[id] ?? "", 80) : view;
        return `${name} – ${database} – edgescope`;
    }

    key_(event) {
        if (event.altKey || event.ctrlKey || event.metaKey) return;
        const isTyping = /^(input|select|textarea)$/i.test(event.target.tagName);
        if (event.key === "/" && !isTyping) {
            event.preventDefault();
            this.search_();
        } else if (event.key === "Escape") this.back_(isTyping);
    }

    async search_() {
        if (this.address_.view !== "functions") {
            history.pushState(null, "", listAddress());
            await this.show_();
        }
        this.table_.focusSearch();
    }

    // One step up: from a call graph to its function, from there to the list
    back_(isTyping) {
        const { view, id } = this.address_;
        if (isTyping) document.activeElement.blur();
        else if (view === "calls" && id >= 0) location.hash = functionAddress(this.profile_, id);
        else if (view === "function" || view === "calls") location.hash = this.listBefore_();
        else if (view !== "overview") location.hash = "#/";
    }

    // The list as it was searched and sorted before
    listBefore_() {
        return this.table_ ? this.table_.address() : listAddress();
    }
}

function problem(title, text) {
    return element("div", { class: "page problem" }, element("h1", {}, title), element("p", { role: "alert" }, visible(text)));
}

async function run() {
    const profile = new Profile(document);
    try {
        if (typeof DecompressionStream === "undefined") throw new Error("it needs a browser of 2023 or later");
        await profile.open();
        await new App(profile).start();
    } catch (error) {
        document.body.append(element("main", {}, problem("This page can't be shown", error.message)));
    }
    document.getElementById("loading")?.remove();
    await nextFrame();
    performance.mark("first view");
    document.documentElement.dataset.ready = "true";
}

run();
