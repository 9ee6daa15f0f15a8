// Prints, as JSON, how long a page takes to its first view and to answer a letter:  view_times.mjs PAGE REPEAT
import { resolve } from "node:path";
import { Browser } from "./browser.mjs";

const [page, repeat] = [resolve(process.argv[2]), Number(process.argv[3])];
const TYPED = "commit1";
const times = { "first table": [], search: [] };

// Types letter by letter as a reader does, and waits each time until the rows are drawn.
function typingTimes(text) {
    return (async () => {
        const input = document.getElementById("search");
        const found = [];
        for (let length = 1; length <= text.length; ++length) {
            const start = performance.now();
            input.value = text.slice(0, length);
            input.dispatchEvent(new Event("input"));
            await new Promise((resolve_) => requestAnimationFrame(() => setTimeout(resolve_)));
            found.push((performance.now() - start) / 1000);
            await new Promise((resolve_) => setTimeout(resolve_, 100));
        }
        return found;
    })();
}

const browser = await Browser.start();
for (let round = 0; round < repeat; ++round) {
    const view = await browser.open(page);
    times["first table"].push(await view.page.evaluate(() => performance.getEntriesByName("first view")[0].startTime / 1000));
    await view.go("#/functions", ".page.functions");
    await new Promise((done) => setTimeout(done, 500)); // a reader needs as long to begin
    times.search.push(...await view.page.evaluate(typingTimes, TYPED));
    await view.close();
}
await browser.stop();
console.log(JSON.stringify(times));
