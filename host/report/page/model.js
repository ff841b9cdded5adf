// The chronicle in the form that the charts need: clocks with measured and true values.

const chronicle = JSON.parse(document.getElementById("chronicle").textContent);

/** Index of the last element of a sorted list that is not above `value`; -1: all are above. */
function lastAtOrBefore(list, value) {
  let low = 0, high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (list[middle] <= value) low = middle + 1; else high = middle;
  }
  return low - 1;
}

/** Index of the element nearest to `value`; -1: the list is empty. */
function nearest(list, value) {
  const before = lastAtOrBefore(list, value);
  if (before < 0) return list.length ? 0 : -1;
  return before + 1 < list.length && list[before + 1] - value < value - list[before] ? before + 1 : before;
}

/** Master first, then interfaces by name, the system clock last. */
function rankOf(name) {
  return name === "master" ? "0" : name === "CLOCK_REALTIME" ? "2" : "1" + name;
}

function columnOf(table, name) {
  return table.columns.find((column) => column.name === name) ?? null;
}

function gatherClocks() {
  const names = new Set([...chronicle.measured.columns, ...chronicle.truth.columns].map((column) => column.name));
  return [...names].sort((one, other) => rankOf(one).localeCompare(rankOf(other), "en", { numeric: true })).map((name) => ({
    name,
    measured: columnOf(chronicle.measured, name),
    truth: columnOf(chronicle.truth, name),
    isShown: true,
  }));
}

const clocks = gatherClocks();
const lengthNs = Math.max(chronicle.lengthNs, 1);
const hasTruth = chronicle.truth.t.length > 0;
const hasMeasured = chronicle.measured.t.length > 0;

function referenceAt(ns) {
  const index = lastAtOrBefore(chronicle.references.map((reference) => reference.t), ns);
  return chronicle.references[Math.max(index, 0)]?.name ?? "master";
}

function referencesText() {
  const names = [...new Set(chronicle.references.map((reference) => reference.name).filter(Boolean))];
  return names.length ? names.join(", then ") : "master";
}

/** Which charts have data. */
function isEmpty() {
  return !hasMeasured && !hasTruth && chronicle.marks.length === 0;
}
