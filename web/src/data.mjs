// The data of the page: gzip of JSON in base64, one element for each segment, decoded when first asked for.

import { compareCounts, sumCounts } from "./text.mjs";

export class Profile {
    constructor(document) {
        this.document_ = document;
        this.segments_ = new Map();
    }

    // Decodes the two segments that each view needs.
    async open() {
        [this.overview, this.functions] = await Promise.all([this.segment("overview"), this.segment("functions")]);
        this.size = this.functions.names.length;
        this.weights = Float64Array.from(this.functions.weight, Number);
        this.measured = this.measured_();
        this.totalWeight = Number(this.overview.total_weight);
    }

    // The column that the weights repeat, or "weight" where they are numbers of their own
    measured_() {
        const { weight } = this.functions;
        const repeats = (key) => weight.every((value, id) => value === this.functions[key][id]);
        return ["entries", "edge_counts"].find(repeats) ?? "weight";
    }

    // The content of a segment. Rejects if the page hasn't got it or it is damaged.
    segment(id) {
        if (!this.segments_.has(id)) this.segments_.set(id, this.decode_(id));
        return this.segments_.get(id);
    }

    // Blocks, edges, calls and lines of a function.
    async flow(id) {
        const size = this.overview.flow_size;
        const segment = await this.segment(`flow-${Math.floor(id / size)}`);
        const index = id - segment.first;
        segment.completed ??= [];
        return segment.completed[index] ??= completed(segment.functions[index]);
    }

    // The file that a function stands in, or null where the page holds no sources of it.
    source(id) {
        const index = this.functions.source?.[id] ?? -1;
        return index < 0 ? Promise.resolve(null) : this.segment(`source-${index}`);
    }

    // The call graph, indexed by its two ends.
    async callGraph() {
        this.graph_ ??= new CallGraph(await this.segment("calls"), this.size);
        return this.graph_;
    }

    file(id) {
        const index = this.functions.file[id];
        return index < 0 ? "" : this.functions.files[index];
    }

    // "file:line" with the last component of the file's name
    place(id) {
        const name = baseName(this.file(id));
        const line = this.functions.line[id];
        return name && line >= 0 ? `${name}:${line}` : name;
    }

    share(id) {
        return this.totalWeight > 0 ? this.weights[id] / this.totalWeight : 0;
    }

    // The function of this name, the hottest if there are several, or -1. A name may be cut to its beginning.
    find(name, file, isPrefix = false) {
        const { names } = this.functions;
        return names.findIndex((candidate, id) =>
            (isPrefix ? candidate.startsWith(name) : candidate === name) && (file === undefined || this.file(id) === file));
    }

    // A segment's element, as soon as all of it is there: the first view doesn't wait for the rest of a large page.
    async element_(id) {
        for (;;) {
            const isComplete = this.document_.readyState !== "loading";
            const element = this.document_.getElementById(id);
            if (element && (isComplete || element.nextElementSibling)) return element;
            if (isComplete) throw new Error(`the page has no data “${id}”`);
            await moreOf(this.document_);
        }
    }

    async decode_(id) {
        const element = await this.element_(id);
        const text = atob(element.textContent);
        element.remove(); // decoded once: the memory can go
        const bytes = new Uint8Array(text.length);
        for (let index = 0; index < text.length; ++index) bytes[index] = text.charCodeAt(index);
        const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream("gzip"));
        return JSON.parse(await new Response(stream).text());
    }
}

// Resolves when more of the page has come in.
function moreOf(page) {
    return new Promise((resolve) => {
        const observer = new MutationObserver(done);
        function done() {
            observer.disconnect();
            page.removeEventListener("readystatechange", done);
            resolve();
        }
        observer.observe(page.body, { childList: true });
        page.addEventListener("readystatechange", done);
    });
}

// Who calls whom, as rows of both ends.
class CallGraph {
    constructor({ caller, callee, names, count }, size) {
        this.rows_ = { caller, callee, count };
        this.names_ = names;
        this.outgoing_ = indexRows(caller, size);
        this.incoming_ = indexRows(callee, size);
    }

    // [{ id, name, count }], hottest first; an id below 0 is a name that is no function of the page
    callees(id) {
        return this.collect_(this.outgoing_, id, this.rows_.callee);
    }

    callers(id) {
        return this.collect_(this.incoming_, id, this.rows_.caller);
    }

    collect_({ starts, rows }, id, ends) {
        const found = [];
        for (let index = starts[id]; index < starts[id + 1]; ++index) {
            const end = ends[rows[index]];
            found.push({ id: end, name: end < 0 ? this.names_[-1 - end] : undefined, count: this.rows_.count[rows[index]] });
        }
        return found.sort((a, b) => Number(b.count) - Number(a.count));
    }
}

// Rows by key, as one array cut at `starts`. Keys below 0 are left out.
function indexRows(keys, size) {
    const starts = new Uint32Array(size + 2);
    for (const key of keys) if (key >= 0) ++starts[key + 2];
    for (let index = 2; index < starts.length; ++index) starts[index] += starts[index - 1];
    const rows = new Uint32Array(starts[size + 1]);
    keys.forEach((key, row) => {
        if (key >= 0) rows[starts[key + 1]++] = row;
    });
    return { starts, rows };
}

export function baseName(path) {
    return path.slice(Math.max(path.lastIndexOf("/"), path.lastIndexOf("\\")) + 1);
}

// A function with what is left out of the data, since it follows from the rest: how often a block ran, which is the
// larger of what its edges bring and take, and if no program told it, how often a line ran.
function completed({ b, e, c, names, l }) {
    const entering = b.map(() => 0);
    const leaving = b.map(() => 0);
    for (const [from, to, count] of e) {
        if (to >= 0) entering[to] = sumCounts([entering[to], count]);
        if (from >= 0) leaving[from] = sumCounts([leaving[from], count]);
    }
    const larger = (one, other) => (compareCounts(one, other) < 0 ? other : one);
    const blocks = b.map(([line, column, discriminator, flags], index) =>
        [line, column, discriminator, larger(entering[index], leaving[index]), flags]);
    return { b: blocks, e, c, names, l: l ?? linesOf(blocks, c, larger) };
}

// A line of several blocks and calls ran as often as the one that ran most.
function linesOf(blocks, calls, larger) {
    const lines = new Map();
    const note = (line, count) => { if (line >= 0) lines.set(line, larger(lines.get(line) ?? 0, count)); };
    for (const [line, , , count] of blocks) note(line, count);
    for (const [line, , count] of calls) note(line, count);
    return [...lines].sort(([one], [other]) => one - other);
}
