// The chart of frequencies: the oscillator's correction, and the kernel's rate of the system clock.

const STEERING_SERIES = [
  { table: "state", column: "steeringPpb", label: "oscillator\u2019s correction", colour: "accent", isStep: true },
  { table: "trueState", column: "steeringPpb", label: "the same, true", colour: "accent", isStep: false, isTruth: true },
  { table: "state", column: "kernelFrequencyPpb", label: "system clock\u2019s frequency", colour: "warning", isStep: true },
];

function steeringSeries() {
  return STEERING_SERIES.map((one) => ({ ...one, t: chronicle[one.table].t, data: columnOf(chronicle[one.table], one.column) }))
    .filter((one) => one.data && one.data.values.some((value) => value !== null));
}

function steeringRows(series) {
  const rows = series.flatMap((one, index) => one.t.map((at, row) => {
    const cells = series.map(() => null);
    cells[index] = one.data.values[row] ?? NaN;
    return [at, ...cells];
  }));
  return rows.length ? rows.sort((one, other) => one[0] - other[0]) : [[0, null]];
}

/** Lowest and highest visible value, with a margin; of everything with zero. */
function steeringRange(series) {
  const values = series.flatMap((one) => {
    const first = Math.max(lastAtOrBefore(one.t, view.begin), 0);
    return one.data.values.slice(first, lastAtOrBefore(one.t, view.end) + 1).filter((value) => value !== null);
  });
  if (view.isAll() || !values.length) values.push(0);
  const [low, high] = extremes(values);
  const air = Math.max((high - low) * 0.12, 1);
  return [low - air, high + air];
}

/** Minimum and maximum, without spreading a long list into arguments. */
function extremes(values) {
  return values.length ? [values.reduce((a, b) => Math.min(a, b)), values.reduce((a, b) => Math.max(a, b))] : [0];
}

function ppbTicks(low, high, pixels) {
  const step = Math.max(niceStep((high - low) / Math.max(pixels / 26, 2)), 1);
  const ticks = [];
  for (let at = Math.ceil(low / step) * step; at <= high; at += step) ticks.push({ v: at, label: at === 0 ? "0" : ppbText(at) });
  return ticks;
}

function steeringOptions(series) {
  return chartOptions(true, {
    labels: ["t", ...(series.length ? series.map((one) => one.label) : ["nothing"])],
    connectSeparatedPoints: true,
    strokeWidth: 1.6,
    colors: series.length ? series.map((one) => styleOf(one.colour)) : ["transparent"],
    series: Object.fromEntries(series.map((one) => [one.label, { stepPlot: one.isStep, strokePattern: one.isTruth ? [5, 3] : null }])),
    valueRange: steeringRange(series),
    axes: { y: { ticker: ppbTicks } },
  });
}

function makeSteeringChart() {
  const series = steeringSeries();
  const chart = new Dygraph(document.getElementById("steering"), steeringRows(series), steeringOptions(series));
  return {
    chart,
    follow() { chart.updateOptions({ dateWindow: [view.begin, view.end], valueRange: steeringRange(series) }); },
    restyle() { chart.updateOptions(steeringOptions(series)); },
  };
}

/** The legend of the chart. */
function nameSteering() {
  const names = steeringSeries().map((one) => element("span", { class: "lineName" }, lineSample(styleOf(one.colour), one.isTruth), one.label));
  document.getElementById("steeringName").replaceChildren(names.length ? "Frequencies" : "No frequency was recorded", ...names);
}

/** The frequencies at an instant, as text. */
function frequenciesAt(ns) {
  return steeringSeries().map((one) => {
    const row = lastAtOrBefore(one.t, ns);
    return row < 0 ? null : { label: one.label, text: ppbText(one.data.values[row]) };
  }).filter((one) => one && one.text !== "\u2013");
}
