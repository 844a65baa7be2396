// Compares the lenient JSON reader with JSON.parse, an independent strict one.
//
//   node json_node_comparison.mjs generate SEED COUNT > CASES
//   node json_node_comparison.mjs compare CASES RESULTS
//
// generate writes COUNT valid documents and as many near-misses, one case a line:
//   kind TAB hex of the text TAB hex of its twin        (both UTF-8; the twin is strict and may be missing)
// RESULTS holds a line for each case: "ok" or "errors" TAB hex of what was read, as compact JSON in UTF-16LE.
// compare checks each case by the rule of its kind, prints what was seen by kind, and exits with 1 on a breach.

import { readFileSync } from "node:fs";

// By kind: what each reader does, and why they differ.
//   reads    "twin": reads the value of the twin; "same": what JSON.parse reads; "other": something else;
//            "errors": with errors; "noise": see checkNoise
//   strict   whether JSON.parse takes the text
const KINDS = {
  "valid": { reads: "same", strict: true, rule: "" },
  "deep": { reads: "same", strict: true, rule: "" },
  "wide": { reads: "same", strict: true, rule: "" },

  "single quotes": { reads: "twin", strict: false, rule: "both quotes delimit strings and keys" },
  "bare keys": { reads: "twin", strict: false, rule: "a key may stand without quotes; blanks in it are dropped" },
  "line comments": { reads: "twin", strict: false, rule: "comments are white space" },
  "long comments": { reads: "twin", strict: false, rule: "comments are white space" },
  "parentheses": { reads: "twin", strict: false, rule: "parentheses are white space" },
  "single marks": { reads: "twin", strict: false, rule: "a single / or * is white space" },
  "second commas": { reads: "twin", strict: false, rule: "any number of commas may stand between values" },
  "trailing commas": { reads: "twin", strict: false, rule: "any number of commas may stand between values" },
  "missing commas": { reads: "twin", strict: false, rule: "no comma need stand between values" },
  "plus signs": { reads: "twin", strict: false, rule: "a number may have a plus sign" },
  "leading zeros": { reads: "twin", strict: false, rule: "a number may have leading zeros" },
  "bare points": { reads: "twin", strict: false, rule: "digits may be missing on one side of the point" },
  "control characters": { reads: "twin", strict: false, rule: "a string may hold control characters" },
  "unknown escapes": { reads: "twin", strict: false, rule: "an unknown escape is dropped" },
  "text behind": { reads: "twin", strict: false, rule: "what follows the value is not read" },
  "all of these": { reads: "twin", strict: false, rule: "the rules above together" },

  "scalar": { reads: "errors", strict: true, rule: "a document is an object or an array" },
  "duplicate key": { reads: "errors", strict: true, rule: "a key may be added once" },
  "quote in a key": { reads: "errors", strict: true, rule: "keys have no escapes: a key ends at its quote" },
  "number out of range": { reads: "errors", strict: true, rule: "numbers are 96-bit decimals" },
  "too deep": { reads: "errors", strict: true, rule: "the nesting is bounded" },
  "escape in a key": { reads: "other", strict: true, rule: "keys have no escapes: the backslash is a character" },
  "tiny number": { reads: "other", strict: true, rule: "numbers have at most 28 digits behind the point" },

  "cut": { reads: "errors", strict: false, rule: "both miss the end" },
  "misspelt word": { reads: "errors", strict: false, rule: "both refuse" },
  "misspelt number": { reads: "errors", strict: false, rule: "both refuse" },
  "missing colon": { reads: "errors", strict: false, rule: "both refuse" },
  "wrong bracket": { reads: "errors", strict: false, rule: "both refuse" },
  "noise": { reads: "noise", rule: "what JSON.parse takes is read, less the exceptions above" },
};

// Random numbers from a seed (mulberry32).
function makeRandom(seed) {
  let state = seed >>> 0;
  const next = () => {
    state = (state + 0x6d2b79f5) >>> 0;
    let t = Math.imul(state ^ (state >>> 15), 1 | state);
    t = (t + Math.imul(t ^ (t >>> 7), 61 | t)) ^ t;
    return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
  };
  const below = (n) => Math.floor(next() * n);
  return { below, chance: (p) => next() < p, pick: (list) => list[below(list.length)] };
}

// Trees of nodes: {items}, {members: [key, node][]}, {string}, {number}, {word}.

const CHARACTERS = [..."abcXYZ019 _-.,:;[]{}()/*#'\"\\\b\f\n\r\t\u0000\u001f\u007f\u00e9\u4e2d\ufffd", "\u{1f600}",
  "\ud83d", "\ude00", "\u2028"];
const KEY_CHARACTERS = [..."abcXYZ019 _-.,:;[]{}()/*#'\u00e9\u4e2d", "\u{1f600}"];

function text(random, characters, most) {
  return Array.from({ length: random.below(most + 1) }, () => random.pick(characters)).join("");
}

function digits(random, most) {
  return text(random, [..."0123456789"], most - 1) + random.pick([..."123456789"]);
}

function number(random) {
  const whole = random.chance(0.2) ? "0" : digits(random, 12).replace(/^0+/, "");
  const fraction = random.chance(0.5) ? "." + text(random, [..."0123456789"], 8) + random.pick([..."05"]) : "";
  const exponent = random.chance(0.3) ? random.pick(["e", "E", "e+", "e-", "E-"]) + random.below(12) : "";
  return { number: random.pick(["", "", "-"]) + whole + fraction + exponent };
}

function scalar(random) {
  switch (random.below(4)) {
    case 0: return { string: text(random, CHARACTERS, 12) };
    case 1: return { word: random.pick(["true", "false", "null"]) };
    default: return number(random);
  }
}

function object(random, depth, key) {
  const count = random.below(6);
  if (random.chance(0.5)) return { items: Array.from({ length: count }, () => node(random, depth - 1, key)) };
  const members = new Map();
  for (let i = 0; i < count; ++i) members.set(key(i), node(random, depth - 1, key));
  return { members: [...members] };
}

function node(random, depth, key) {
  return depth > 0 && random.chance(0.6) ? object(random, depth, key) : scalar(random);
}

const anyKey = (random) => () => text(random, KEY_CHARACTERS, 8);
const plainKey = (random) => (i) => "k" + i + text(random, [..."abcXYZ019_"], 6);

// Writers of trees. A style overrides steps of the strict one.

const SHORT = { "\"": "\\\"", "\\": "\\\\", "\b": "\\b", "\f": "\\f", "\n": "\\n", "\r": "\\r", "\t": "\\t" };

function escaped(unit) {
  return "\\u" + unit.charCodeAt(0).toString(16).padStart(4, "0");
}

function isLoneSurrogate(character) {
  return character.length === 1 && character >= "\ud800" && character <= "\udfff";
}

function strictCharacter(random, character) {
  if (isLoneSurrogate(character)) return escaped(character);
  if (SHORT[character] && random.chance(0.7)) return SHORT[character];
  if (character < " " || SHORT[character] || random.chance(0.1)) return [...character.split("")].map(escaped).join("");
  return character === "/" && random.chance(0.3) ? "\\/" : character;
}

function strictStyle(random) {
  return {
    space: () => (random.chance(0.8) ? "" : text(random, [..." \t\r\n"], 3)),
    comma: () => ",",
    lastComma: () => "",
    string: (s) => "\"" + [...s].map((c) => strictCharacter(random, c)).join("") + "\"",
    key: (s) => "\"" + s + "\"",
    colon: (space) => space() + ":",
    number: (s) => s,
    word: (s) => s,
    behind: () => "",
  };
}

function write(tree, style) {
  if (tree.string !== undefined) return style.string(tree.string);
  if (tree.number !== undefined) return style.number(tree.number);
  if (tree.word !== undefined) return style.word(tree.word);
  const between = () => style.space() + style.comma() + style.space();
  const parts = tree.items
    ? tree.items.map((item) => write(item, style))
    : tree.members.map(([key, value]) => style.key(key) + style.colon(style.space) + style.space() + write(value, style));
  const body = parts.reduce((joined, part, i) => joined + (i > 0 ? between() : "") + part, "");
  const [open, close] = tree.items ? "[]" : "{}";
  return open + style.space() + body + style.lastComma() + style.space() + close;
}

// A doc that has everything a loose style can act on.
function sample(random, key) {
  const some = [{ string: "a'b\nc" }, number(random), { number: "7.0" }, { number: "0.5" }, { word: "null" }];
  return { members: [["first", object(random, 3, key)], ["second", { items: some }], ["third", node(random, 2, key)]] };
}

const comment = {
  line: (random) => "//" + text(random, [..."abc ]}\",:'*"], 6).replaceAll("*", "") + random.pick(["\n", "\r", "\r\n"]),
  long: (random) => "/*" + text(random, [..."abc ]}\",:'/\n"], 6) + "*/",
};

const LOOSE = {
  "single quotes": (random, strict) => ({
    string: (s) => "'" + [...s].map((c) => (c === "'" ? "\\'" : c === "\"" ? c : strictCharacter(random, c))).join("") + "'",
    key: (s) => "'" + s + "'",
  }),
  // A comment behind the key would belong to it.
  "bare keys": (random) => ({
    key: (s) => [...s].join(random.pick(["", "", " ", "\t", "\r\n"])),
    colon: () => random.pick([":", " :"]),
  }),
  "line comments": (random) => ({ space: () => comment.line(random) }),
  "long comments": (random) => ({ space: () => comment.long(random) }),
  "parentheses": (random) => ({ space: () => random.pick(["(", ")", "( )", " (("]) }),
  "single marks": (random) => ({ space: () => random.pick(["/\n", "*\r", " / \n"]) }),
  "second commas": (random) => ({ comma: () => random.pick([",,", ", ,", ",,,"]) }),
  "trailing commas": (random) => ({ lastComma: () => random.pick([",", ",,", " , "]) }),
  "missing commas": (random) => ({ comma: () => random.pick([" ", "\n", "\t"]) }),
  "plus signs": () => ({ number: (s) => (s.startsWith("-") ? s : "+" + s) }),
  "leading zeros": () => ({ number: (s) => s.replace(/^(-?)/, "$100") }),
  "bare points": () => ({ number: (s) => s.replace(/^(-?)0\.(?=\d)/, "$1.").replace(/^(-?\d+)(?![\d.])/, "$1.") }),
  "control characters": (random, strict) => ({
    string: (s) => "\"" + [...s].map((c) => (c < " " ? c : strictCharacter(random, c))).join("") + "\"",
  }),
  "unknown escapes": (random, strict) => ({
    string: (s) => "\"" + [...s].map((c) => strictCharacter(random, c) + random.pick(["\\q", "\\ ", "\\U", "\\0"])).join("") + "\"",
  }),
  "text behind": (random) => ({ behind: () => random.pick(["]", " x", "{}", ";", "\u0000", "[1"]) }),
};

function looseCase(random, kind) {
  const strict = strictStyle(random);
  const styles = kind === "all of these"
    ? Object.keys(LOOSE).filter((name) => name !== "line comments" && name !== "single marks" && random.chance(0.6))
    : [kind];
  const tree = sample(random, plainKey(random));
  const loose = Object.assign({}, strict, ...styles.map((name) => LOOSE[name](random, strict)));
  if (styles.length !== 1) loose.space = () => random.pick([" ", "(", comment.line(random), comment.long(random)]);
  return { kind, text: write(tree, loose) + loose.behind(), twin: write(tree, strict) };
}

// Documents with one place that is not as it should be.

const nested = (levels) => "[".repeat(levels) + "]".repeat(levels);

function around(random, inner) {
  const strict = strictStyle(random);
  const before = write(node(random, 2, plainKey(random)), strict);
  return random.chance(0.5) ? `[${before},${inner},1]` : `{"k":${before},"l":${inner},"m":1}`;
}

const BREACHES = {
  "scalar": (random) => write(scalar(random), strictStyle(random)),
  "duplicate key": (random) => around(random, `{"a${random.below(9)}":1,"b":[],"b":${random.below(9)}}`),
  "quote in a key": (random) => around(random, `{"a\\"${text(random, [..."xyz"], 3)}":1}`),
  "number out of range": (random) => around(random, random.pick(["", "-"]) + random.pick(["1e29", "8e28", "1" + "0".repeat(29), "79228162514264337593543950336", "1.5E+300"])),
  "too deep": (random) => nested(20001 + random.below(50)),
  "escape in a key": (random) => around(random, `{"a${random.pick(["\\n", "\\u0041", "\\\\", "\\/"])}b":1}`),
  "tiny number": (random) => around(random, random.pick(["1e-29", "5E-40", "0." + "0".repeat(30) + "7"])),
  "misspelt word": (random) => around(random, random.pick(["True", "nul", "flase", "tru", "NULL", "NaN", "Infinity", "undefined", "x"])),
  "misspelt number": (random) => around(random, random.pick(["1-2", "--1", "1e", "1e+", "-", "1.2.3", "e5", "1e5.5", ".", "+-1"])),
  "missing colon": (random) => around(random, `{"a"${random.pick(["1", " ", ",", "=1", "{}"])}}`),
  "wrong bracket": (random) => around(random, random.pick(["[1}", "{\"a\":1]", "[", "{", "[[1]"])),
};

function validCase(random) {
  const strict = strictStyle(random);
  return { kind: "valid", text: strict.space() + write(object(random, 2 + random.below(5), anyKey(random)), strict) + strict.space() };
}

function deepCase(random) {
  const strict = strictStyle(random);
  const opens = [];
  const closes = [];
  for (let depth = 1 + random.below(3000); depth > 0; --depth) {
    const array = random.chance(0.5);
    const value = write(scalar(random), strict);
    opens.push(array ? `[${value},` : `{"k":${value},"d":`);
    closes.push(array ? "]" : "}");
  }
  return { kind: "deep", text: opens.join("") + write(scalar(random), strict) + closes.reverse().join("") };
}

function wideCase(random) {
  const strict = strictStyle(random);
  const count = 1000 + random.below(3000);
  const tree = random.chance(0.5)
    ? { items: Array.from({ length: count }, () => scalar(random)) }
    : { members: Array.from({ length: count }, (_, i) => ["k" + i, scalar(random)]) };
  return { kind: "wide", text: write(tree, strict) };
}

function cutCase(random) {
  const whole = write({ items: [sample(random, anyKey(random))] }, strictStyle(random));
  return { kind: "cut", text: Array.from(whole).slice(0, 1 + random.below(Array.from(whole).length - 1)).join("") };
}

function noiseCase(random) {
  const units = Array.from(write(sample(random, plainKey(random)), strictStyle(random)));
  for (let changes = 1 + random.below(2); changes > 0; --changes) {
    const at = random.below(units.length);
    const character = random.pick([..."{}[]\",:'\\/*()+-.0123456789eEtfnu \n\tx\u0001\u00e9"]);
    units.splice(at, random.below(2), ...(random.chance(0.3) ? [] : [character]));
  }
  return { kind: "noise", text: units.join("") };
}

function nearMiss(random) {
  const kinds = Object.keys(KINDS).slice(3);
  const kind = random.chance(0.3) ? "noise" : random.pick(kinds);
  if (kind === "too deep" && random.chance(0.9)) return nearMiss(random);
  if (kind === "noise") return noiseCase(random);
  if (kind === "cut") return cutCase(random);
  return BREACHES[kind] ? { kind, text: BREACHES[kind](random) } : looseCase(random, kind);
}

function generate(seed, count) {
  const random = makeRandom(seed);
  const hex = (s) => Buffer.from(s ?? "", "utf8").toString("hex");
  const lines = [];
  for (let i = 0; i < count; ++i) {
    const valid = i % 200 === 0 ? deepCase(random) : i % 200 === 1 ? wideCase(random) : validCase(random);
    for (const one of [valid, nearMiss(random)]) lines.push(`${one.kind}\t${hex(one.text)}\t${hex(one.twin)}\n`);
  }
  process.stdout.write(lines.join(""));
}

// Comparing.

function strictly(source) {
  try {
    return { value: JSON.parse(source) };
  } catch {
    return undefined;
  }
}

// Deep equality with the order of keys, without recursion.
function same(first, second) {
  const pending = [[first, second]];
  while (pending.length > 0) {
    const [a, b] = pending.pop();
    if (a === b) continue;
    if (typeof a !== "object" || typeof b !== "object" || a === null || b === null) return false;
    if (Array.isArray(a) !== Array.isArray(b)) return false;
    const keys = Object.keys(a);
    const others = Object.keys(b);
    if (keys.length !== others.length || keys.some((key, i) => key !== others[i])) return false;
    for (const key of keys) pending.push([a[key], b[key]]);
  }
  return true;
}

// The exceptions that a strict document may fall under, found by its tokens.
function exceptionsIn(source) {
  const tokens = source.match(/"(?:[^"\\]|\\.)*"\s*:?|-?\d+(?:\.\d+)?(?:[eE][+-]?\d+)?|[{}]/g) ?? [];
  const found = new Set();
  const open = [];
  for (const token of tokens) {
    if (token === "{") open.push(new Set());
    if (token === "}") open.pop();
    if (token.endsWith(":")) {
      const key = token.slice(0, token.lastIndexOf("\""));
      if (key.includes("\\")) found.add("escape in a key");
      if (open.at(-1).has(key)) found.add("duplicate key");
      open.at(-1).add(key);
    } else if (/^[-\d]/.test(token)) {
      const [, whole, fraction = "", exponent = "0"] = /^-?(\d+)(?:\.(\d+))?(?:[eE](.*))?$/.exec(token);
      const scale = fraction.length - Number(exponent);
      if (scale > 28 || whole.length + fraction.length + Math.max(0, -scale) > 28) found.add("number out of range");
    }
  }
  if (!/^\s*[[{]/.test(source)) found.add("scalar");
  return found;
}

function checkNoise(source, expected, result) {
  if (expected === undefined || exceptionsIn(source).size > 0) return true;
  return result.ok && same(result.value, expected.value);
}

function check(one, expected, result) {
  const kind = KINDS[one.kind];
  if (kind.strict !== undefined && kind.strict !== (expected !== undefined)) return false;
  switch (kind.reads) {
    case "same": return result.ok && same(result.value, expected.value);
    case "twin": return result.ok && same(result.value, strictly(one.twin).value);
    case "other": return result.ok && !same(result.value, expected.value);
    case "errors": return !result.ok;
    default: return checkNoise(one.text, expected, result);
  }
}

function readCase(line) {
  const [kind, source, twin] = line.split("\t");
  return { kind, text: Buffer.from(source, "hex").toString("utf8"), twin: Buffer.from(twin, "hex").toString("utf8") };
}

function readResult(line) {
  const [state, value] = line.split("\t");
  const source = Buffer.from(value, "hex").toString("utf16le");
  const parsed = source === "" ? { value: undefined } : strictly(source);
  return { ok: state === "ok", wellFormed: parsed !== undefined, value: parsed?.value };
}

function compare(casesFile, resultsFile) {
  const lines = (file) => readFileSync(file, "latin1").split("\n").slice(0, -1);
  const results = lines(resultsFile).map(readResult);
  const cases = lines(casesFile).map(readCase);
  const seen = new Map(Object.keys(KINDS).map((kind) => [kind, { cases: 0, strict: 0, ours: 0, breaches: 0 }]));
  cases.forEach((one, i) => {
    const expected = strictly(one.text);
    const result = results[i] ?? { ok: false, wellFormed: false };
    const row = seen.get(one.kind);
    ++row.cases;
    row.strict += expected !== undefined ? 1 : 0;
    row.ours += result.ok ? 1 : 0;
    if (result.wellFormed && check(one, expected, result)) return;
    if (++row.breaches <= 3) console.log(`breach (${one.kind}): ${JSON.stringify(one.text.slice(0, 300))}`);
  });
  report(seen);
  const breaches = [...seen.values()].reduce((sum, row) => sum + row.breaches, 0);
  return breaches === 0 && results.length === cases.length && cases.length > 0;
}

function report(seen) {
  console.log("kind                   cases  JSON.parse takes  read without errors  breaches  rule");
  for (const [kind, row] of seen) {
    const numbers = [[row.cases, 7], [row.strict, 18], [row.ours, 21], [row.breaches, 10]];
    console.log(kind.padEnd(21) + numbers.map(([n, width]) => String(n).padStart(width)).join("") + "  " + KINDS[kind].rule);
  }
}

const [command, first, second] = process.argv.slice(2);
if (command === "generate") generate(Number(first), Number(second));
else if (command === "compare") process.exitCode = compare(first, second) ? 0 : 1;
else process.exitCode = 2;
