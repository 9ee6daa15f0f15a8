// Names that try to leave the text that they are.
export const hostileNames = [
    "</script><script>document.title='run'</script>",
    "<img src=x onerror=\"document.title='run'\">",
    "<!--<script>",
    "\"'><svg onload=document.title='run'>",
    "javascript:document.title='run'",
    "a\nb\tc\u0001\u001b[31m\u007f",
    "left\u202eright\u2066\u200bhidden",
    "&lt;b&gt;&amp;",
    "%00%2f../../etc/passwd?q=1#frag",
    "${7*7}{{7*7}}`x`",
    "constructor",
    "__proto__",
    "ünïcödé 名前 🔥",
    "]]>\\\\\\'",
    " ",
];

export const longName = "L".repeat(1 << 20);

// As the page shows them: what can't be seen is shown by its number
export const shown = (name) => name.replace(name.trim() === "" ? / /g : /[\p{Cc}\p{Cf}\p{Zl}\p{Zp}]/gu,
    (character) => `⟨U+${character.codePointAt(0).toString(16).toUpperCase().padStart(4, "0")}⟩`);
