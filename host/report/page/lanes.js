// The lanes below the charts: alignment runs, verbs, calls, steps, events and log lines.

const ALL_LANES = [
  { id: "alignment", name: "Alignment" },
  { id: "verbs", name: "Verbs" },
  { id: "calls", name: "Calls" },
  { id: "steps", name: "Steps" },
  { id: "events", name: "Events" },
  { id: "log", name: "Log" },
];
const MARK_RADIUS = 4;

function alignmentMarks() {
  return chronicle.alignments.map((run, index) => ({
    t: run.begin, duration: run.end - run.begin, lane: "alignment", level: run.aligned ? "good" : "error",
    text: alignmentTitle(run, index), detail: run.errors.length ? countText(run.errors.length, "error", "errors") + " on the way" : "",
  }));
}

/** All marks, in order of time. */
const marks = [...chronicle.marks, ...alignmentMarks()].sort((one, other) => one.t - other.t);

/** The lanes that are not empty. */
const LANES = ALL_LANES.filter((lane) => marks.some((mark) => mark.lane === lane.id));

function laneCentre(chart, index) { return chart.toDomYCoord(LANES.length - 1 - index); }

function drawBar(context, mark, left, right, y, colour) {
  const half = 6;
  context.globalAlpha = mark.level === "info" ? 0.35 : 0.6;
  context.fillStyle = colour;
  context.fillRect(left, y - half, Math.max(right - left, 1), 2 * half);
  context.globalAlpha = 1;
  context.fillRect(left, y - half, 1.5, 2 * half);
  if (mark.lane === "verbs" && right - left > 46) {
    context.save();
    context.beginPath();
    context.rect(left, y - half - 2, right - left - 3, 2 * half + 4);
    context.clip();
    context.fillStyle = styleOf("ink");
    context.textBaseline = "middle";
    context.fillText(mark.text, Math.max(left, 0) + 6, y + 0.5);
    context.restore();
  }
}

/** Errors and warnings differ in shape as well as in colour. */
function drawPoint(context, mark, x, y, colour) {
  context.fillStyle = colour;
  context.beginPath();
  if (mark.level === "error") {
    context.moveTo(x, y - 6); context.lineTo(x + 6, y + 5); context.lineTo(x - 6, y + 5);
  } else if (mark.level === "warning") {
    context.moveTo(x, y - 5.5); context.lineTo(x + 5.5, y); context.lineTo(x, y + 5.5); context.lineTo(x - 5.5, y);
  } else {
    context.arc(x, y, MARK_RADIUS, 0, 2 * Math.PI);
  }
  context.closePath();
  context.globalAlpha = 0.8;
  context.fill();
  context.globalAlpha = 1;
  context.strokeStyle = styleOf("surface");
  context.stroke();
}

function drawLane(context, area, chart, lane, index) {
  const y = laneCentre(chart, index);
  context.strokeStyle = styleOf("grid");
  context.beginPath();
  context.moveTo(area.x, Math.round(y) + 0.5);
  context.lineTo(area.x + area.w, Math.round(y) + 0.5);
  context.stroke();
  const placed = new Set();
  for (const mark of marks) {
    if (mark.lane !== lane.id || mark.t + mark.duration < view.begin || mark.t > view.end) continue;
    const left = chart.toDomXCoord(mark.t), right = chart.toDomXCoord(mark.t + mark.duration);
    const colour = levelColour(mark.level);
    if (right - left > 3 && (lane.id === "verbs" || lane.id === "alignment" || lane.id === "calls")) {
      drawBar(context, mark, Math.max(left, area.x), Math.min(right, area.x + area.w), y, colour);
      continue;
    }
    const place = Math.round(left * 2) + mark.level; // hidden marks are not drawn
    if (!placed.has(place)) {
      placed.add(place);
      drawPoint(context, mark, left, y, colour);
    }
  }
}

function drawLanes(context, area, chart) {
  context.save();
  context.beginPath();
  context.rect(area.x, area.y, area.w, area.h);
  context.clip();
  context.font = "12px " + getComputedStyle(document.body).fontFamily;
  LANES.forEach((lane, index) => drawLane(context, area, chart, lane, index));
  context.restore();
}

function lanesOptions() {
  return chartOptions(true, {
    labels: ["t", "lanes"],
    colors: ["transparent"],
    valueRange: [-0.6, Math.max(LANES.length, 1) - 0.4],
    underlayCallback: drawLanes,
    axes: { y: { drawGrid: false, ticker: () => LANES.map((lane, index) => ({ v: LANES.length - 1 - index, label: lane.name })) } },
  });
}

function makeLanesChart() {
  document.getElementById("lanes").style.height = 36 + 27 * Math.max(LANES.length, 1) + "px";
  const chart = new Dygraph(document.getElementById("lanes"), [[0, null], [lengthNs, null]], lanesOptions());
  return {
    chart,
    follow() { chart.updateOptions({ dateWindow: [view.begin, view.end] }); },
    restyle() { chart.updateOptions(lanesOptions()); },
  };
}

/** The marks within a few pixels of an instant; only the lane's own if the pointer is on one. */
function marksNear(ns, laneId) {
  const reach = (view.length() / plotArea().width) * 7;
  return marks.filter((mark) => (!laneId || mark.lane === laneId) && mark.t - reach <= ns && mark.t + mark.duration + reach >= ns);
}
