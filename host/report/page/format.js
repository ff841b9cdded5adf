// Formats values: times, differences, counts; always with units.

const NO_BREAK = "\u00a0";
const MINUS = "\u2212";
const UNITS = [["s", 1e9], ["ms", 1e6], ["\u00b5s", 1e3], ["ns", 1]];

function trimmed(number, digits) {
  const text = number.toFixed(digits);
  return text.includes(".") ? text.replace(/\.?0+$/, "") : text;
}

/** 1500 as "1.5 µs"; up to four digits, a sign only for negative values. */
function durationText(ns) {
  const size = Math.abs(ns);
  const [unit, factor] = UNITS.find(([, factor]) => size >= factor) ?? UNITS[3];
  const value = size / factor;
  const digits = factor === 1 ? (Number.isInteger(value) ? 0 : 1) : value >= 100 ? 1 : value >= 10 ? 2 : 3;
  return (ns < 0 ? MINUS : "") + trimmed(value, digits) + NO_BREAK + unit;
}

/** As a difference: with its sign, "±0 ns" for none. */
function differenceText(ns) {
  if (ns === null || ns === undefined || Number.isNaN(ns)) return "\u2013";
  return ns > 0 ? "+" + durationText(ns) : ns < 0 ? durationText(ns) : "0" + NO_BREAK + "ns";
}

function ppbText(ppb) {
  if (ppb === null || ppb === undefined || Number.isNaN(ppb)) return "\u2013";
  const size = Math.abs(ppb);
  const text = size >= 1e5 ? trimmed(size / 1000, 2) + NO_BREAK + "ppm" : trimmed(size, size < 100 ? 1 : 0) + NO_BREAK + "ppb";
  return (ppb < 0 ? MINUS : ppb > 0 ? "+" : "") + text;
}

/** Seconds since the start, with the decimals that `stepNs` needs, in groups of three. */
function sinceText(ns, stepNs) {
  const digits = Math.max(0, Math.min(9, Math.ceil(-Math.log10(stepNs / 1e9) - 1e-9)));
  if (digits === 0 && stepNs >= 10e9) return clockText(ns);
  const [whole, fraction = ""] = (Math.abs(ns) / 1e9).toFixed(digits).split(".");
  const grouped = fraction.match(/.{1,3}/g)?.join("\u2009") ?? "";
  return (ns < 0 ? MINUS : "") + whole + (grouped ? "." + grouped : "") + NO_BREAK + "s";
}

/** Hours, minutes and seconds since the start: "1:02:30". */
function clockText(ns) {
  const seconds = Math.round(ns / 1e9);
  const two = (value) => String(value).padStart(2, "0");
  const hours = Math.floor(seconds / 3600);
  const rest = two(Math.floor(seconds / 60) % 60) + ":" + two(seconds % 60);
  return hours > 0 ? hours + ":" + rest : rest.replace(/^0/, "");
}

/** A duration for people: "1 h 40 min", "100 s". */
function lengthText(ns) {
  const seconds = ns / 1e9;
  if (seconds < 120) return durationText(ns);
  const hours = Math.floor(seconds / 3600);
  const minutes = Math.floor(seconds / 60) % 60;
  const rest = Math.round(seconds % 60);
  return (hours ? hours + NO_BREAK + "h " : "") + minutes + NO_BREAK + "min" + (hours || !rest ? "" : " " + rest + NO_BREAK + "s");
}

/** Date and time at `ns` after the start; empty if the record does not say. */
function dateText(beginIso, ns, digits) {
  if (!beginIso) return "";
  const [day, time] = [beginIso.slice(0, 10), beginIso.slice(11, 19)];
  const roundedNs = Math.round(ns / 10 ** (9 - digits)) * 10 ** (9 - digits);
  const fractionNs = Math.round((Number(beginIso.slice(20, 29)) + (roundedNs % 1e9)) / 10 ** (9 - digits)) * 10 ** (9 - digits);
  const wholeMs = Date.parse(day + "T" + time + "Z") + (Math.floor(roundedNs / 1e9) + Math.floor(fractionNs / 1e9)) * 1000;
  const fraction = String(((fractionNs % 1e9) + 1e9) % 1e9).padStart(9, "0").slice(0, digits);
  return new Date(wholeMs).toISOString().slice(0, 19).replace("T", " ") + (digits ? "." + fraction : "") + " UTC";
}

function countText(count, one, many) {
  return count.toLocaleString("en").replaceAll(",", "\u202f") + NO_BREAK + (count === 1 ? one : many);
}

/** A new element; texts are inserted as text, never as markup. */
function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (value === false || value === null || value === undefined) continue;
    if (key === "class") made.className = value;
    else if (key.startsWith("on")) made.addEventListener(key.slice(2), value);
    else made.setAttribute(key, value);
  }
  made.append(...children.filter((child) => child !== null && child !== undefined));
  return made;
}
