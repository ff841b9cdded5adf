// The visible interval shared by all charts, and the axis below them.

const AXIS_WIDTH = 84;
const SHORTEST_NS = 1000;
const STEPS_NS = [1, 2, 5].flatMap((digit) => [...Array(11).keys()].map((power) => digit * 10 ** power))
  .filter((step) => step < 30e9)
  .concat([30e9, 60e9, 120e9, 300e9, 600e9, 900e9, 1800e9, 3600e9, 7200e9, 10800e9, 21600e9, 43200e9, 86400e9, 604800e9])
  .sort((one, other) => one - other);

const view = {
  begin: 0,
  end: lengthNs,
  isLogarithmic: true,
  listeners: [],
  charts: [],
  length() { return this.end - this.begin; },
  isAll() { return this.begin <= fullSpan()[0] && this.end >= fullSpan()[1]; },
};

/** Everything, with a margin so that nothing touches the edge. */
function fullSpan() {
  const margin = lengthNs * 0.012;
  return [-margin, lengthNs + margin];
}

function show(begin, end) {
  const [first, last] = fullSpan();
  const length = Math.min(Math.max(end - begin, SHORTEST_NS), last - first);
  const middle = (begin + end) / 2;
  view.begin = Math.min(Math.max(middle - length / 2, first), last - length);
  view.end = view.begin + length;
  for (const listener of view.listeners) listener();
}

function showAll() { show(...fullSpan()); }

function zoomBy(factor, aroundNs = (view.begin + view.end) / 2) {
  show(aroundNs - (aroundNs - view.begin) * factor, aroundNs + (view.end - aroundNs) * factor);
}

function moveBy(share) {
  const by = view.length() * share;
  show(view.begin + by, view.end + by);
}

function timeTicks(begin, end, pixels) {
  const wanted = Math.max(pixels / 120, 2);
  const step = STEPS_NS.find((candidate) => (end - begin) / candidate <= wanted) ?? STEPS_NS.at(-1);
  const ticks = [];
  for (let at = Math.ceil(begin / step) * step; at <= end; at += step) {
    ticks.push({ v: at, label: at === 0 ? "0" : sinceText(at, step) });
  }
  return ticks;
}

/** Common to the three charts on the time axis. */
function chartOptions(hasTimeAxis, more) {
  return {
    interactionModel: {},
    legend: "never",
    showLabelsOnHighlight: false,
    highlightCircleSize: 0,
    pixelRatio: Math.max(2, window.devicePixelRatio || 1),
    rightGap: 10,
    dateWindow: [view.begin, view.end],
    gridLineColor: styleOf("grid"),
    axisLineColor: styleOf("line"),
    ...more,
    axes: {
      x: { drawAxis: hasTimeAxis, drawGrid: true, axisLabelWidth: 110, ticker: (begin, end, pixels) => timeTicks(begin, end, pixels) },
      y: { axisLabelWidth: AXIS_WIDTH, ...more.axes?.y },
    },
  };
}

/** The horizontal extent of the plot area, in pixels of the stack. */
function plotArea() {
  const area = view.charts[0].getArea();
  return { left: area.x, width: area.w };
}

function timeAt(stackX) {
  const { left, width } = plotArea();
  return view.begin + (Math.min(Math.max(stackX - left, 0), width) / width) * view.length();
}
