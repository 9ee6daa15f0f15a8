// The table of all functions. Rows are drawn as they come into sight; the rest is empty height.
import { functionAddress, listAddress } from "./address.mjs";
import { bar, element } from "./dom.mjs";
import { compareCounts, formatChange, formatCount, formatShare, plural, visible } from "./text.mjs";

const LONGEST = 300;
const ROWS_BEYOND = 8; // drawn above and below what is in sight
const MOST_ROWS = 500000; // browsers can't draw elements of any height
const PRINTED_ROWS = 100;

export const COUNT_TITLES = { weight: "Weight", entries: "Entries", edges: "Edges", edge_counts: "Edges taken", calls: "Call sites" };

// Each column: its key in the address, its title, what it sorts by, what it shows. `less` sorts upwards at first.
function columnsOf(profile) {
    const { functions } = profile;
    const count = (key) => ({ key, title: COUNT_TITLES[key], number: true, compare: (a, b) => compareCounts(functions[key][a], functions[key][b]),
        show: (id) => formatCount(functions[key][id]) });
    const text = (key, title, of, show) => ({ key, title, upwards: true, compare: (a, b) => (of(a) < of(b) ? -1 : of(a) > of(b) ? 1 : 0), show });
    const columns = [
        { ...count("weight"), title: COUNT_TITLES[profile.measured], show: (id) => [formatCount(functions.weight[id]), bar(profile.weights[id] / (profile.weights[0] || 1))] },
        { key: "share", title: "Share", number: true, compare: (a, b) => compareCounts(functions.weight[a], functions.weight[b]),
            show: (id) => formatShare(profile.share(id)) },
        text("name", "Function", (id) => functions.names[id], (id) => nameCell(profile, id)),
        text("file", "File", (id) => profile.file(id), (id) => visible(profile.place(id), LONGEST)),
        ...["entries", "edges", "edge_counts", "calls"].filter((key) => key !== profile.measured).map(count),
    ];
    const widths = ["150px", "84px", "minmax(220px, 2.2fr)", "minmax(110px, 1fr)"];
    columns.forEach((column, index) => { column.width = widths[index] ?? "116px"; });
    if (functions.old_weight_share) columns.push(changeColumn(profile));
    return columns;
}

function changeColumn(profile) {
    const old = profile.functions.old_weight_share;
    const change = (id) => profile.share(id) - (old[id] ?? 0) / 100;
    return { key: "change", title: "Change", width: "90px", number: true, compare: (a, b) => change(a) - change(b),
        show: (id) => (old[id] === null ? "new" : formatChange(change(id))) };
}

function nameCell(profile, id) {
    const { names, demangled } = profile.functions;
    return [element("a", { class: "stored", tabindex: "-1", href: functionAddress(profile, id) }, visible(names[id], LONGEST) || "(no name)"),
        demangled[id] ? element("span", { class: "demangled" }, visible(demangled[id], LONGEST)) : null];
}

// The order of all functions by each column, and those of them that a text is in
class Selection {
    constructor(profile) {
        this.profile_ = profile;
        this.orders_ = new Map();
    }

    // Lower-case texts, made once: a search then compares and nothing else
    prepare() {
        const { names, demangled } = this.profile_.functions;
        this.texts_ ??= names.map((name, id) => `${name}\n${demangled[id]}\n${this.profile_.file(id)}`.toLowerCase());
    }

    matching(query, column, descending) {
        const wanted = query.toLowerCase();
        const words = wanted.split(/\s+/).filter(Boolean);
        // What is typed behind a text finds less, never more.
        const goesOn = this.last_?.key === column.key && wanted.startsWith(this.last_.wanted);
        let ids = goesOn ? this.last_.ids : this.order_(column);
        if (words.length > 0) {
            this.prepare();
            ids = ids.filter((id) => words.every((word) => this.texts_[id].includes(word)));
        }
        this.last_ = { key: column.key, wanted, ids };
        return descending ? ids : ids.slice().reverse();
    }

    // From the largest down
    order_({ key, compare }) {
        if (!this.orders_.has(key)) {
            const ids = Uint32Array.from({ length: this.profile_.size }, (_, id) => id);
            this.orders_.set(key, ids.sort((a, b) => compare(b, a) || a - b));
        }
        return this.orders_.get(key);
    }
}

export class FunctionsTable {
    // `navigate(address)` goes to another view.
    constructor(profile, navigate) {
        this.profile_ = profile;
        this.navigate_ = navigate;
        this.columns_ = columnsOf(profile);
        this.selection_ = new Selection(profile);
        this.state_ = { query: "", sort: "weight", descending: true };
        this.active_ = 0;
        this.drawn_ = new Map();
        this.build_();
        globalThis.requestIdleCallback?.(() => this.selection_.prepare());
    }

    // Shows what an address asks for.
    show({ query, sort, descending }) {
        this.state_ = { query, sort: this.columns_.some(({ key }) => key === sort) ? sort : "weight", descending: sort ? descending : true };
        if (this.search_.value !== query) this.search_.value = query;
        this.update_();
        return this.view;
    }

    // Where the table is as it stands
    address() {
        const { query, sort, descending } = this.state_;
        return listAddress(sort === "weight" && descending ? { query } : this.state_);
    }

    focusSearch() {
        this.search_.focus();
        this.search_.select();
    }

    build_() {
        this.search_ = element("input", { type: "search", id: "search", placeholder: "Name or file", autocomplete: "off", spellcheck: "false",
            oninput: () => this.change_({ query: this.search_.value }), onkeydown: (event) => this.searchKey_(event) });
        this.found_ = element("p", { class: "found", role: "status" });
        this.sorter_ = element("select", { id: "sorter", onchange: () => this.sortBy_(this.sorter_.value) },
            this.columns_.map(({ key, title }) => element("option", { value: key }, title)));
        this.headers_ = this.columns_.map((column) => this.header_(column));
        this.body_ = element("div", { class: "rows", role: "rowgroup" });
        this.grid_ = element("div", { class: "grid", style: { "--columns": this.columns_.map(({ width }) => width).join(" ") }, role: "grid", tabindex: "0", "aria-label": "Functions",
            "aria-colcount": this.columns_.length, onscroll: () => this.draw_(), onkeydown: (event) => this.gridKey_(event),
            onfocus: () => this.mark_() },
        element("div", { class: "row head", role: "row", "aria-rowindex": "1" }, this.headers_), this.body_);
        this.view = element("div", { class: "page functions" },
            element("div", { class: "toolbar" }, element("h1", {}, "Functions"),
                element("label", { for: "search" }, "Search ", element("kbd", {}, "/")), this.search_,
                element("span", { class: "sorter" }, element("label", { for: "sorter" }, "Sort by"), this.sorter_), this.found_),
            this.grid_);
        new ResizeObserver(() => this.draw_()).observe(this.grid_);
        globalThis.addEventListener("beforeprint", () => this.draw_(PRINTED_ROWS));
        globalThis.addEventListener("afterprint", () => this.draw_());
    }

    header_({ key, title, number }) {
        return element("div", { class: `cell ${key} ${number ? "number" : ""}`, role: "columnheader" },
            element("button", { type: "button", onclick: () => this.sortBy_(key) }, title, element("span", { class: "arrow", "aria-hidden": "true" })));
    }

    sortBy_(key) {
        const column = this.columns_.find((candidate) => candidate.key === key);
        const descending = this.state_.sort === key ? !this.state_.descending : !column.upwards;
        this.change_({ sort: key, descending });
    }

    change_(change) {
        this.state_ = { ...this.state_, ...change };
        history.replaceState(null, "", this.address());
        this.update_();
    }

    update_() {
        const { query, sort, descending } = this.state_;
        const column = this.columns_.find(({ key }) => key === sort);
        this.ids_ = this.selection_.matching(query, column, descending);
        this.rowCount_ = Math.min(this.ids_.length, MOST_ROWS);
        this.active_ = 0;
        this.grid_.scrollTop = 0;
        this.grid_.setAttribute("aria-rowcount", this.rowCount_ + 1);
        this.sorter_.value = sort;
        this.view.dataset.sort = sort;
        this.columns_.forEach(({ key }, index) => this.headers_[index].setAttribute("aria-sort", key !== sort ? "none" : descending ? "descending" : "ascending"));
        const hidden = this.ids_.length > MOST_ROWS ? `; the first ${formatCount(MOST_ROWS)} are listed` : "";
        this.found_.textContent = (query ? `${formatCount(this.ids_.length)} of ${plural(this.profile_.size, "function")}` : plural(this.profile_.size, "function")) + hidden;
        for (const row of this.drawn_.values()) row.remove();
        this.drawn_.clear();
        this.draw_();
    }

    // Draws the rows in sight, or the first ones for the printer.
    draw_(printed = 0) {
        const height = this.rowHeight_();
        const inSight = Math.ceil(this.grid_.clientHeight / height);
        const first = printed ? 0 : Math.max(0, Math.floor(this.grid_.scrollTop / height) - ROWS_BEYOND);
        const end = Math.min(this.rowCount_, printed || first + inSight + 2 * ROWS_BEYOND);
        this.body_.style.height = `${height * (printed ? end : this.rowCount_)}px`;
        for (const [index, row] of this.drawn_) {
            if (index < first || index >= end) {
                row.remove();
                this.drawn_.delete(index);
            }
        }
        for (let index = first; index < end; ++index) if (!this.drawn_.has(index)) this.drawRow_(index, height);
    }

    drawRow_(index, height) {
        const id = this.ids_[index];
        const row = element("div", { class: "row", role: "row", id: `row-${index}`, "aria-rowindex": index + 2, "aria-selected": String(index === this.active_),
            onclick: (event) => this.clickRow_(event, index) },
        this.columns_.map((column) => element("div", { class: `cell ${column.key} ${column.number ? "number" : ""}`, role: "gridcell" }, column.show(id))));
        row.style.top = `${index * height}px`;
        this.drawn_.set(index, row);
        this.body_.append(row);
    }

    rowHeight_() {
        return parseFloat(getComputedStyle(this.grid_).getPropertyValue("--row-height")) || 40;
    }

    clickRow_(event, index) {
        if (event.target.closest("a") || !getSelection().isCollapsed) return;
        this.activate_(index);
    }

    activate_(index) {
        this.drawn_.get(this.active_)?.setAttribute("aria-selected", "false");
        this.active_ = Math.max(0, Math.min(this.rowCount_ - 1, index));
        this.scrollTo_(this.active_);
        this.draw_();
        this.mark_();
    }

    mark_() {
        this.drawn_.get(this.active_)?.setAttribute("aria-selected", "true");
        if (this.rowCount_ > 0) this.grid_.setAttribute("aria-activedescendant", `row-${this.active_}`);
        else this.grid_.removeAttribute("aria-activedescendant");
    }

    scrollTo_(index) {
        const height = this.rowHeight_();
        const head = this.headers_[0].parentElement.offsetHeight;
        const { scrollTop, clientHeight } = this.grid_;
        if (index * height < scrollTop) this.grid_.scrollTop = index * height;
        else if ((index + 1) * height > scrollTop + clientHeight - head) this.grid_.scrollTop = (index + 1) * height - clientHeight + head;
    }

    gridKey_(event) {
        if (event.target !== this.grid_ || event.altKey || event.ctrlKey || event.metaKey) return;
        const page = Math.max(1, Math.floor(this.grid_.clientHeight / this.rowHeight_()) - 2);
        const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -this.rowCount_, End: this.rowCount_ };
        if (event.key in steps) this.activate_(this.active_ + steps[event.key]);
        else if (event.key === "Enter") this.openActive_();
        else return;
        event.preventDefault();
    }

    searchKey_(event) {
        if (event.key === "ArrowDown") this.grid_.focus();
        else if (event.key === "Enter") this.openActive_();
        else if (event.key === "Escape" && this.search_.value) {
            this.search_.value = "";
            this.change_({ query: "" });
            event.stopPropagation();
        } else return;
        event.preventDefault();
    }

    openActive_() {
        if (this.rowCount_ > 0) this.navigate_(functionAddress(this.profile_, this.ids_[this.active_]));
    }
}
