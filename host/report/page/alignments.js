// Alignment runs, iteration by iteration: measured and true difference, and the step that followed.

const MOST_RUNS_DRAWN = 12;

function alignmentTitle(run, index) {
  const count = run.saidIterations ?? run.iterations.length;
  return "Run " + (index + 1) + (run.aligned ? ": aligned after " : ": not aligned after ") + countText(count, "iteration", "iterations");
}

function slavesOf(run) {
  return [...new Set(run.iterations.flatMap((iteration) => iteration.slaves.map((slave) => slave.name)))];
}

function slaveIn(iteration, name) { return iteration.slaves.find((slave) => slave.name === name); }

function iterationTicks(count) {
  const every = Math.ceil(count / 12);
  return [...Array(count).keys()].filter((at) => at % every === 0).map((at) => ({ v: at + 1, label: String(at + 1) }));
}

/** One line per slave over the iterations, as measured, on the large chart's logarithmic scale. */
function drawRun(run, holder) {
  const names = slavesOf(run);
  const rows = run.iterations.map((iteration, index) => [index + 1,
    ...names.map((name) => { const ns = slaveIn(iteration, name)?.measuredNs; return ns === undefined || ns === null ? null : logarithmic(ns); })]);
  const values = rows.flatMap((row) => row.slice(1)).filter((value) => value !== null);
  const [low, high] = [Math.min(-1.4, ...values) - 0.3, Math.max(1.4, ...values) + 0.3];
  new Dygraph(holder, rows, {
    labels: ["iteration", ...names], legend: "never", interactionModel: {}, highlightCircleSize: 0, drawPoints: true, pointSize: 3,
    connectSeparatedPoints: true, strokeWidth: 1.5, pixelRatio: Math.max(2, window.devicePixelRatio || 1),
    colors: names.map(colourOf), valueRange: [low, high], dateWindow: [0.7, run.iterations.length + 0.3],
    gridLineColor: styleOf("grid"), axisLineColor: styleOf("line"),
    underlayCallback: (context, area, chart) => {
      const top = chart.toDomYCoord(1), bottom = chart.toDomYCoord(-1);
      context.fillStyle = styleOf("band");
      context.fillRect(area.x, top, area.w, bottom - top);
    },
    axes: {
      x: { ticker: () => iterationTicks(run.iterations.length), drawGrid: false },
      y: { axisLabelWidth: 70, ticker: runTicks },
    },
  });
}

/** Zero and as many decades as fit. */
function runTicks(low, high, pixels) {
  const every = Math.ceil((18 * (high - low)) / pixels);
  return [...Array(24).keys()].map((at) => at - 12).map((at) => at * every).filter((at) => at >= low && at <= high)
    .map((at) => ({ v: at, label: at === 0 ? "0" : differenceText(unlogarithmic(at)) }));
}

function iterationLines(run) {
  return run.iterations.flatMap((iteration, index) => iteration.slaves.map((slave, position) => element("tr", {},
    numberCell(position === 0 ? String(index + 1) : ""),
    element("td", {}, element("span", { class: "swatch", style: "background:" + colourOf(slave.name) }), slave.name),
    numberCell(differenceText(slave.measuredNs), Math.abs(slave.measuredNs ?? 0) <= BAND_NS ? "level-good" : ""),
    numberCell(differenceText(slave.trueNs)),
    numberCell(slave.askedNs === null ? "none" : differenceText(slave.askedNs)),
    numberCell(differenceText(slave.movedNs)))));
}

function iterationTable(run) {
  const head = ["", "slave", "measured", "truth", "step", "moved by"].map((name, index) =>
    element("th", { class: index === 1 ? "" : "number" }, name));
  return element("div", { class: "scroll" }, element("table", {}, element("thead", {}, element("tr", {}, ...head)),
    element("tbody", {}, ...iterationLines(run))));
}

function showRun(run) {
  const margin = Math.max((run.end - run.begin) * 0.25, 20000);
  show(run.begin - margin, run.end + margin);
  document.getElementById("stack").focus();
  document.getElementById("stack").scrollIntoView({ block: "center" });
}

function runCard(run, index) {
  const took = run.iterations.length ? ", in " + durationText(run.end - run.begin) : "";
  const card = element("article", { class: "run" }, element("div", { class: "runHead" },
    element("strong", { class: run.aligned ? "" : "level-error" }, alignmentTitle(run, index)),
    element("button", { type: "button", class: "button", onclick: () => showRun(run) }, "Show")),
  element("div", { class: "muted" }, "at " + sinceText(run.begin, 1e6) + took));
  for (const error of run.errors) card.append(element("div", { class: "runErrors level-warning" }, error));
  if (!run.iterations.length) return { card, draw() {} };
  const chart = element("div", { class: "runChart" });
  card.append(chart);
  const table = iterationTable(run);
  card.append(run.iterations.length <= 4 ? table : element("details", {}, element("summary", {}, "All iterations"), table));
  return { card, draw: () => drawRun(run, chart) };
}

function fillAlignments() {
  const holder = document.getElementById("alignments");
  const runs = chronicle.alignments;
  if (!runs.length) {
    holder.replaceChildren(element("p", { class: "muted" }, "No alignment run was seen."));
    return;
  }
  const grid = element("div", { class: "runs" });
  const isSeen = runs.some((run) => run.iterations.length);
  holder.replaceChildren(...(isSeen ? [] : [element("p", { class: "muted" }, "Iterations are seen in a board's trace only; these are the log's lines.")]), grid);
  const add = (from, to) => {
    const cards = runs.slice(from, to).map((run, at) => runCard(run, from + at));
    grid.append(...cards.map(({ card }) => card));
    for (const { draw } of cards) draw();
  };
  add(0, MOST_RUNS_DRAWN);
  if (runs.length > MOST_RUNS_DRAWN) {
    const more = element("button", { type: "button", class: "button", onclick: () => { more.remove(); add(MOST_RUNS_DRAWN, runs.length); } },
      "Show the other " + (runs.length - MOST_RUNS_DRAWN));
    holder.append(more);
  }
}
