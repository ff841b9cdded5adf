// Sets the page up and updates it on changes of window size, theme and printing.

const parts = [];
let printing = null;

function restyleCharts(isOtherScale) {
  for (const part of parts) part.restyle(isOtherScale);
}

/** Redraws everything coloured. */
function recolour() {
  nameSteering();
  fillLegend();
  fillClocks();
  fillAlignments();
  restyleCharts(false);
}

function toggleTheme() {
  setTheme(theme === "dark" ? "light" : "dark");
  if (!isEmpty()) recolour();
}

function setScale(isLogarithmic) {
  view.isLogarithmic = isLogarithmic;
  document.getElementById("scaleLog").setAttribute("aria-pressed", String(isLogarithmic));
  document.getElementById("scaleLinear").setAttribute("aria-pressed", String(!isLogarithmic));
  restyleCharts(true);
}

function resizeCharts() {
  for (const { chart } of parts) chart.resize();
}

/** Paper is white and narrow: redraws the charts for it, and afterwards for the screen. */
function connectPrinter() {
  window.addEventListener("beforeprint", () => {
    printing = theme;
    setTheme("light");
    document.body.style.width = "690px";
    recolour();
    resizeCharts();
  });
  window.addEventListener("afterprint", () => {
    document.body.style.width = "";
    setTheme(printing);
    recolour();
    resizeCharts();
  });
}

function explainNothing() {
  const read = chronicle.sources.map((source) => source.name + " (" + countText(source.lines, "line", "lines") + ")").join(" and ");
  const notice = document.getElementById("notice");
  notice.textContent = "There is nothing to show. " + (read ? "Read: " + read + ", without a sample, a truth or a line about what happened. " : "") +
    "A session is kept with: halvexctl record FILE init \u2026";
  notice.hidden = false;
  document.getElementById("subtitle").textContent = "";
  for (const panel of document.querySelectorAll(".panel, .tiles")) panel.hidden = true;
}

function start() {
  setTheme(theme);
  document.getElementById("theme").addEventListener("click", toggleTheme);
  document.getElementById("report").hidden = false;
  fillNames();
  if (isEmpty()) { explainNothing(); return; }
  [view.begin, view.end] = fullSpan();
  fillTiles();
  fillLegend();
  nameSteering();
  parts.push(makeDifferenceChart(), makeSteeringChart(), makeLanesChart());
  view.charts = parts.map((part) => part.chart);
  view.listeners = [() => { for (const part of parts) part.follow(); }, unhover, followWithTimeline];
  fillAlignments();
  fillClocks();
  connectInteraction();
  connectTimeline();
  connectPrinter();
  document.getElementById("scaleLog").addEventListener("click", () => setScale(true));
  document.getElementById("scaleLinear").addEventListener("click", () => setScale(false));
}

start();
