// The chart of clock differences: measured with bounds, and true; the band of 100 ns behind.

const BAND_NS = chronicle.bandNs;
const GAP = [NaN, NaN, NaN];

/** Linear within the band, one unit per decade beyond. */
function logarithmic(ns) {
  const size = Math.abs(ns) / BAND_NS;
  return size <= 1 ? ns / BAND_NS : Math.sign(ns) * (1 + Math.log10(size));
}

function unlogarithmic(y) {
  return Math.abs(y) <= 1 ? y * BAND_NS : Math.sign(y) * 10 ** (Math.abs(y) - 1) * BAND_NS;
}

function plotted(ns) { return view.isLogarithmic ? logarithmic(ns) : ns; }

function measuredCell(column, row) {
  const value = column.values[row];
  if (value === null) return GAP;
  const bound = column.bounds?.[row] ?? 0;
  return [plotted(value - bound), plotted(value), plotted(value + bound)];
}

function trueCell(column, row) {
  const value = column.values[row];
  return value === null ? GAP : [plotted(value), plotted(value), plotted(value)];
}

/** The columns of the chart, in order: per clock the measured, then the true difference. */
function differenceSeries() {
  return clocks.flatMap((clock) => [
    clock.measured && { label: clock.name, clock, column: clock.measured, isTruth: false },
    clock.truth && { label: clock.name + " (truth)", clock, column: clock.truth, isTruth: true },
  ]).filter(Boolean);
}

/** Rows of both tables in order of time; null: unknown there, the line continues. */
function differenceRows(series) {
  const rowsOf = (table, isTruth) => {
    const own = series.filter((one) => one.isTruth === isTruth);
    const cell = isTruth ? trueCell : measuredCell;
    return rowsToDraw(table.t, own.map((one) => one.column)).map(({ t, rows }) => [t, ...series.map((one) => {
      if (one.isTruth !== isTruth) return null;
      const row = rows[own.indexOf(one)];
      return row < 0 ? GAP : cell(one.column, row);
    })]);
  };
  const rows = [...rowsOf(chronicle.measured, false), ...rowsOf(chronicle.truth, true)].sort((one, other) => one[0] - other[0]);
  return rows.length ? rows : [[0, ...series.map(() => null)]];
}

/** Connected points: skips those of other rows, a gap ends a run. */
function runsOf(points) {
  const runs = [[]];
  for (const point of points) {
    if (Number.isFinite(point.y_top) && Number.isFinite(point.y_bottom)) runs.at(-1).push(point);
    else if (Number.isNaN(point.yval)) runs.push([]);
  }
  return runs.filter((run) => run.some((point) => point.y_top !== point.y_bottom));
}

/** The bounds of one clock as one polygon: cheaper than one per pair of points. */
function drawBounds({ drawingContext: context, plotArea: area, points, color }) {
  const y = (share) => area.y + area.h * share;
  context.save();
  context.globalAlpha = Math.min(0.14, 0.4 / Math.max(clocks.length, 1));
  context.fillStyle = color;
  for (const run of runsOf(points)) {
    context.beginPath();
    for (const point of run) context.lineTo(point.canvasx, y(point.y_top));
    for (const point of run.reverse()) context.lineTo(point.canvasx, y(point.y_bottom));
    context.closePath();
    context.fill();
  }
  context.restore();
}

/** Lowest and highest visible value, including the whole band and a margin. */
function differenceRange(series) {
  let low = -BAND_NS * 1.3, high = BAND_NS * 1.3;
  for (const { clock, column, isTruth } of series) {
    if (!clock.isShown || (isTruth ? !layers.truth : !layers.measured)) continue;
    const { t } = isTruth ? chronicle.truth : chronicle.measured;
    const end = Math.min(lastAtOrBefore(t, view.end) + 1, t.length - 1);
    for (let row = Math.max(lastAtOrBefore(t, view.begin), 0); row <= end; ++row) {
      const value = column.values[row];
      if (value === null || t[row] < view.begin || t[row] > view.end) continue;
      low = Math.min(low, value);
      high = Math.max(high, value);
    }
  }
  const air = (plotted(high) - plotted(low)) * 0.04;
  return [plotted(low) - air, plotted(high) + air];
}

function logarithmicTicks(low, high) {
  const ticks = [{ v: 0, label: "0" }];
  const decades = Math.ceil(Math.max(Math.abs(low), Math.abs(high)));
  const every = decades > 7 ? 2 : 1;
  for (let decade = 1; decade <= decades; ++decade) {
    const isLabelled = decade === 1 || (decade - 1) % every === 0;
    for (const sign of [1, -1]) {
      const y = sign * decade;
      if (y >= low && y <= high) ticks.push({ v: y, label: isLabelled ? differenceText(unlogarithmic(y)) : "" });
    }
  }
  return ticks;
}

function linearTicks(low, high, pixels) {
  const step = niceStep((high - low) / Math.max(pixels / 40, 2));
  const ticks = [];
  for (let at = Math.ceil(low / step) * step; at <= high; at += step) ticks.push({ v: at, label: differenceText(Math.round(at)) });
  return ticks;
}

function niceStep(least) {
  const power = 10 ** Math.floor(Math.log10(least));
  return [1, 2, 5, 10].map((digit) => digit * power).find((step) => step >= least) ?? 10 * power;
}

function drawBand(context, area, chart) {
  const top = chart.toDomYCoord(plotted(BAND_NS)), bottom = chart.toDomYCoord(plotted(-BAND_NS));
  context.save();
  context.fillStyle = styleOf("band");
  context.fillRect(area.x, top, area.w, bottom - top);
  context.strokeStyle = styleOf("bandEdge");
  context.setLineDash([2, 3]);
  for (const y of [top, bottom]) {
    context.beginPath();
    context.moveTo(area.x, Math.round(y) + 0.5);
    context.lineTo(area.x + area.w, Math.round(y) + 0.5);
    context.stroke();
  }
  context.restore();
}

const PIXELS_PER_POINT = 12;

/** Shows individual values where they can be distinguished: between them nothing is known. */
function pointsAreShown(isTruth) {
  const { t } = isTruth ? chronicle.truth : chronicle.measured;
  const shown = lastAtOrBefore(t, view.end) - lastAtOrBefore(t, view.begin);
  return shown * PIXELS_PER_POINT <= document.getElementById("difference").clientWidth;
}

function seriesOptions(series) {
  return Object.fromEntries(series.map((one) => [one.label, { drawPoints: pointsAreShown(one.isTruth), pointSize: 2.2,
    strokePattern: one.isTruth ? [5, 3] : null, strokeWidth: one.isTruth ? 1.2 : 1.6 }]));
}

const layers = { measured: true, truth: true };

function differenceOptions(series) {
  return chartOptions(false, {
    labels: ["t", ...series.map((one) => one.label)],
    customBars: true,
    connectSeparatedPoints: true,
    plotter: [drawBounds, Dygraph.Plotters.linePlotter],
    colors: series.map((one) => colourOf(one.clock.name)),
    visibility: series.map((one) => one.clock.isShown && (one.isTruth ? layers.truth : layers.measured)),
    series: seriesOptions(series),
    valueRange: differenceRange(series),
    underlayCallback: drawBand,
    axes: { y: { ticker: (low, high, pixels) => (view.isLogarithmic ? logarithmicTicks(low, high) : linearTicks(low, high, pixels)) } },
  });
}

function makeDifferenceChart() {
  const series = differenceSeries();
  const labels = series.length ? series : [{ label: "nothing", clock: { name: "", isShown: true }, column: { values: [] }, isTruth: false }];
  const chart = new Dygraph(document.getElementById("difference"), differenceRows(labels), differenceOptions(labels));
  return {
    chart,
    follow() { 
      chart.updateOptions({ file: differenceRows(labels), dateWindow: [view.begin, view.end], valueRange: differenceRange(series), series: seriesOptions(labels) });
    },
    restyle(isOtherScale) {
      const options = differenceOptions(labels);
      if (isOtherScale) options.file = differenceRows(labels);
      chart.updateOptions(options);
    },
  };
}
