// How numbers and names are shown.

const whole = new Intl.NumberFormat("en-US");
const short = new Intl.NumberFormat("en-US", { notation: "compact", maximumSignificantDigits: 3 });
const invisible = /[\p{Cc}\p{Cf}\p{Zl}\p{Zp}]/gu;

// Counts from 2^53 on come as strings of digits: a Number would round them.
const exact = (count) => (typeof count === "string" ? BigInt(count) : count);

export const formatCount = (count) => whole.format(exact(count));
export const formatShort = (count) => short.format(exact(count));

// A share of 1 in percent. What is there is never shown as nothing.
export function formatShare(share) {
    if (share > 0 && share < 0.0001) return "< 0.01 %";
    return `${(100 * share).toFixed(2)} %`;
}

// A difference of two shares, in points of percent, always with its sign
export function formatChange(change) {
    const text = Math.abs(100 * change).toFixed(2);
    const sign = text === "0.00" ? "±" : change < 0 ? "−" : "+";
    return `${sign}${text}`;
}

export function sumCounts(counts) {
    let sum = 0;
    let large = 0n;
    for (const count of counts) {
        const value = exact(count);
        if (typeof value === "bigint" || sum + value > Number.MAX_SAFE_INTEGER) large += BigInt(value);
        else sum += value;
    }
    if (large === 0n) return sum;
    return (large + BigInt(sum)).toString();
}

export const compareCounts = (a, b) => {
    const difference = Number(a) - Number(b);
    if (difference !== 0 || (typeof a === "number" && typeof b === "number")) return difference;
    const [left, right] = [BigInt(a), BigInt(b)];
    return left < right ? -1 : left > right ? 1 : 0;
};

// Characters that can't be seen, or turn the order of others around, are shown by their numbers; so are spaces alone.
export function visible(text, longest = Infinity) {
    const cut = text.length > longest ? `${text.slice(0, longest)}…` : text;
    return cut.replace(/^\s+$/.test(cut) ? /./gsu : invisible, (character) => `⟨${codePoint(character)}⟩`);
}

// As `visible`, for lines of a source, which hold tabs
export const visibleSource = (text) => text.replace(/[^\t]+/g, (part) => (part.trim() ? visible(part) : part));

const codePoint = (character) => `U+${character.codePointAt(0).toString(16).toUpperCase().padStart(4, "0")}`;

export const plural = (count, one, many = `${one}s`) => `${formatCount(count)} ${Number(count) === 1 ? one : many}`;

// The largest of any number of counts, as a Number
export function largest(counts, least = Number.MIN_VALUE) {
    let most = least;
    for (const count of counts) most = Math.max(most, Number(count));
    return most;
}
