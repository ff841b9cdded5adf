// The tooltip: the values of all clocks at the pointer, and the events there.

const MOST_MARKS = 8;

function valueAt(table, column, ns) {
  const row = nearest(table.t, ns);
  if (!column || row < 0) return null;
  return { ns: column.values[row], bound: column.bounds?.[row] ?? null, at: table.t[row] };
}

function clockRow(clock, ns) {
  const measured = valueAt(chronicle.measured, clock.measured, ns);
  const truth = valueAt(chronicle.truth, clock.truth, ns);
  const bound = measured?.bound ? " \u00b1" + NO_BREAK + durationText(measured.bound) : "";
  return element("tr", {},
    element("td", {}, element("span", { class: "swatch", style: "background:" + colourOf(clock.name) }), clock.name),
    hasMeasured ? element("td", {}, measured ? differenceText(measured.ns) + bound : "\u2013") : null,
    hasTruth ? element("td", {}, truth ? differenceText(truth.ns) : "\u2013") : null);
}

function clockTable(ns) {
  const table = element("table", {}, element("tr", {}, element("th", {}, "from " + referenceAt(ns)),
    hasMeasured ? element("th", {}, "measured") : null, hasTruth ? element("th", {}, "truth") : null));
  for (const clock of clocks.filter((one) => one.isShown)) table.append(clockRow(clock, ns));
  return table;
}

function markLine(mark) {
  const text = mark.text + (mark.detail ? " \u2014 " + mark.detail : "");
  return element("div", { class: "mark" }, element("span", { class: "lane" }, LANES.find((lane) => lane.id === mark.lane).name),
    element("span", { class: "level-" + mark.level }, text.length > 240 ? text.slice(0, 239) + "\u2026" : text));
}

function fillTip(tip, ns, laneId) {
  const stepNs = view.length() / plotArea().width;
  tip.replaceChildren(element("div", { class: "when" },
    sinceText(ns, Math.max(stepNs, 1)), chronicle.beginIso ? "  \u00b7  " + dateText(chronicle.beginIso, ns, stepNs < 1e6 ? 6 : 3) : ""));
  if (!laneId && clocks.length) tip.append(clockTable(ns));
  if (!laneId) for (const { label, text } of frequenciesAt(ns)) {
    tip.append(element("div", { class: "mark" }, element("span", { class: "muted" }, label), text));
  }
  const near = marksNear(ns, laneId);
  if (near.length) tip.append(element("hr"));
  for (const mark of near.slice(0, MOST_MARKS)) tip.append(markLine(mark));
  if (near.length > MOST_MARKS) tip.append(element("div", { class: "muted" }, "and " + (near.length - MOST_MARKS) + " more here"));
}

/** Beside the pointer, and within the window. */
function placeTip(tip, clientX, clientY) {
  const { width, height } = tip.getBoundingClientRect();
  const left = clientX + 18 + width > innerWidth ? clientX - 18 - width : clientX + 18;
  tip.style.left = Math.max(left, 6) + "px";
  tip.style.top = Math.max(Math.min(clientY + 14, innerHeight - height - 8), 6) + "px";
}

/** The lane under a point of the page, or null. */
function laneUnder(clientY) {
  const chart = view.charts[2];
  const box = document.getElementById("lanes").getBoundingClientRect();
  const y = clientY - box.top;
  if (y < 0 || y > box.height) return null;
  return LANES[LANES.length - 1 - Math.round(chart.toDataYCoord(y))]?.id ?? null;
}

function hover(clientX, clientY) {
  const stack = document.getElementById("stack").getBoundingClientRect();
  const x = clientX - stack.left;
  const { left, width } = plotArea();
  if (x < left || x > left + width) { unhover(); return; }
  const ns = timeAt(x);
  const cursor = document.getElementById("cursor");
  cursor.hidden = false;
  cursor.style.left = x + "px";
  const tip = document.getElementById("tip");
  tip.hidden = false;
  fillTip(tip, ns, laneUnder(clientY));
  placeTip(tip, clientX, clientY);
}

function unhover() {
  document.getElementById("cursor").hidden = true;
  document.getElementById("tip").hidden = true;
}
