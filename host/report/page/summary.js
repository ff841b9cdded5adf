// The summary of the session: tiles, legend and the table of clocks.

/** The statistics of one column: samples, the last one, the largest, and how many were within the band. */
function statisticsOf(column) {
  const found = { count: 0, last: null, lastBound: null, largest: null, within: 0 };
  column?.values.forEach((value, row) => {
    if (value === null) return;
    ++found.count;
    found.last = value;
    found.lastBound = column.bounds?.[row] ?? null;
    if (found.largest === null || Math.abs(value) > Math.abs(found.largest)) found.largest = value;
    if (Math.abs(value) <= BAND_NS + (found.lastBound ?? 0)) ++found.within;
  });
  return found;
}

function tile(name, value, more, level) {
  return element("div", { class: "tile", "data-level": level }, element("div", { class: "name" }, name),
    element("div", { class: "value" }, value), element("div", { class: "more" }, more || NO_BREAK));
}

function endTile(kind, table) {
  const all = clocks.map((clock) => ({ name: clock.name, is: statisticsOf(clock[kind]) })).filter(({ is }) => is.count > 0);
  if (!all.length) return null;
  const isAway = ({ is }) => Math.abs(is.last) > BAND_NS + (is.lastBound ?? 0);
  const away = all.filter(isAway);
  const worst = all.reduce((one, other) => (Math.abs(other.is.last) > Math.abs(one.is.last) ? other : one));
  const within = kind === "truth" ? "all " + all.length + " within " + durationText(BAND_NS) : "as far as the bounds tell";
  return tile(kind === "truth" ? "At the end, by the truth" : "At the end, as measured",
    away.length ? away.length + " of " + all.length + " away" : "none away",
    away.length ? away.map(({ name }) => name).join(", ") : within + ", furthest " + worst.name + " " + differenceText(worst.is.last),
    away.length ? "error" : "good");
}

function alignmentTile() {
  const runs = chronicle.alignments;
  if (!runs.length) return tile("Alignment runs", "none", "none was seen");
  const failed = runs.filter((run) => !run.aligned).length;
  const said = runs.map((run) => run.saidIterations ?? run.iterations.length);
  return tile("Alignment runs", String(runs.length), (failed ? failed + " failed, " : "all succeeded, ") +
    "at most " + countText(extremes(said).at(-1), "iteration", "iterations"), failed ? "error" : "good");
}

function troubleTile() {
  const errors = chronicle.marks.filter((mark) => mark.level === "error").length;
  const warnings = chronicle.marks.filter((mark) => mark.level === "warning").length;
  return tile("Errors", String(errors), errors || warnings ? countText(warnings, "warning", "warnings") + ", see the timeline" : "and no warnings",
    errors ? "error" : warnings ? "warning" : "good");
}

function steeringTile() {
  const column = columnOf(chronicle.state, "steeringPpb") ?? columnOf(chronicle.trueState, "steeringPpb");
  const values = column?.values.filter((value) => value !== null) ?? [];
  if (!values.length) return null;
  const [low, high] = extremes(values);
  return tile("Steering at the end", ppbText(values.at(-1)), low === high ? "unchanged" : "from " + ppbText(low) + " to " + ppbText(high));
}

function fillTiles() {
  const tiles = [
    tile("Length", lengthText(chronicle.lengthNs), countText(chronicle.measured.rows, "sample", "samples") +
      (hasTruth ? ", " + countText(chronicle.truth.rows, "truth", "truths") : "")),
    endTile("measured"), endTile("truth"), alignmentTile(), steeringTile(), troubleTile()];
  const holder = document.getElementById("tiles"), shown = tiles.filter(Boolean);
  holder.style.setProperty("--count", shown.length);
  holder.style.setProperty("--half", shown.length > 3 ? Math.ceil(shown.length / 2) : shown.length);  // leaves no tile alone
  holder.replaceChildren(...shown);
}

function lineSample(colour, isDashed) {
  const holder = element("span", {});
  holder.innerHTML = '<svg width="18" height="8" aria-hidden="true"><line x1="0" y1="4" x2="18" y2="4" stroke-width="2.4"/></svg>';
  const line = holder.querySelector("line");
  line.setAttribute("stroke", colour);
  if (isDashed) line.setAttribute("stroke-dasharray", "5 3");
  return holder.firstChild;
}

/** A switch; keeps its place and the focus when used. */
function chip(sample, name, isOn, toggle) {
  const made = element("button", { type: "button", class: "chip", "aria-pressed": String(isOn) }, sample, name);
  made.addEventListener("click", () => made.setAttribute("aria-pressed", String(toggle())));
  return made;
}

function fillLegend() {
  const flip = (object, key) => () => { object[key] = !object[key]; restyleCharts(false); return object[key]; };
  const chips = clocks.map((clock) => chip(lineSample(colourOf(clock.name), !clock.measured), clock.name, clock.isShown,
    flip(clock, "isShown")));
  if (hasTruth && hasMeasured) {
    chips.push(element("span", { class: "legendGap" }));
    for (const [key, name, isDashed] of [["measured", "measured", false], ["truth", "truth", true]]) {
      chips.push(chip(lineSample(styleOf("ink"), isDashed), name, layers[key], flip(layers, key)));
    }
  }
  document.getElementById("legend").replaceChildren(...chips);
}

const numberCell = (text, name) => element("td", { class: "number" + (name ? " " + name : "") }, text);

function shareText({ count, within }) {
  if (!count) return "\u2013";
  const percent = (100 * within) / count;
  return (within === count ? "100" : trimmed(Math.min(percent, 99.9), 1)) + NO_BREAK + "%";
}

function clockLine(clock) {
  const cells = [element("td", {}, element("span", { class: "swatch", style: "background:" + colourOf(clock.name) }), clock.name)];
  for (const [kind, isThere] of [["measured", hasMeasured], ["truth", hasTruth]]) {
    if (!isThere) continue;
    const is = statisticsOf(clock[kind]);
    const isAway = is.last !== null && Math.abs(is.last) > BAND_NS + (is.lastBound ?? 0);
    const bound = is.lastBound ? " \u00b1" + NO_BREAK + durationText(is.lastBound) : "";
    cells.push(numberCell(differenceText(is.last) + bound, isAway ? "level-error" : ""), numberCell(differenceText(is.largest)),
      numberCell(shareText(is)));
  }
  return element("tr", {}, ...cells);
}

function fillClocks() {
  const kinds = [hasMeasured && "measured", hasTruth && "true"].filter(Boolean);
  const head = [element("th", {}, "clock"), ...kinds.flatMap((kind) => [kind + " at the end", "largest " + kind,
    "within " + durationText(BAND_NS) + (kind === "measured" ? " and the bound" : "")])
    .map((name) => element("th", { class: "number" }, name))];
  const lines = clocks.map(clockLine);
  for (const line of lines) [...line.cells].forEach((cell, column) => { cell.dataset.name = head[column].textContent; });
  document.getElementById("clocks").replaceChildren(element("thead", {}, element("tr", {}, ...head)), element("tbody", {}, ...lines));
}

/** The sources and remarks on them. */
function fillNames() {
  document.title = chronicle.title;
  document.getElementById("title").textContent = chronicle.title;
  const from = chronicle.beginIso ? dateText(chronicle.beginIso, 0, 3) : "";
  document.getElementById("subtitle").textContent = [from, lengthText(chronicle.lengthNs), countText(clocks.length, "clock", "clocks")]
    .filter(Boolean).join("  \u00b7  ");
  document.getElementById("differenceName").textContent = "Difference from " + referencesText() +
    "; the band is \u00b1" + NO_BREAK + durationText(BAND_NS) + (hasMeasured ? ", shadows are bounds of the measurement" : "");
  document.getElementById("axisName").textContent = "Time since " + (from || "the beginning");
  const thinned = [chronicle.measured, chronicle.truth].some((table) => table.rows > table.t.length);
  document.getElementById("sources").textContent = "Made from " + chronicle.sources.map((source) => source.kind + " " + source.name +
    " (" + countText(source.lines, "line", "lines") + (source.unreadLines ? ", " + source.unreadLines + " unreadable" : "") +
    (source.remark ? ", " + source.remark : "") + ")").join(" and ") + "." +
    (thinned ? " Long series are thinned; every extreme of them is kept." : "") +
    (chronicle.marksLeftOut ? " " + countText(chronicle.marksLeftOut, "mark is", "marks are") + " left out." : "");
}
