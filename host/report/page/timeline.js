// All events as a searchable table.

const LINES_AT_ONCE = 200;
const timelineState = { text: "", lanes: new Set(LANES.map((lane) => lane.id)), limit: LINES_AT_ONCE };

function isListed(mark) {
  if (!timelineState.lanes.has(mark.lane)) return false;
  if (document.getElementById("onlyShown").checked && (mark.t + mark.duration < view.begin || mark.t > view.end)) return false;
  return !timelineState.text || (mark.text + " " + mark.detail).toLowerCase().includes(timelineState.text);
}

function timelineStep() {
  const length = view.length();
  return length > 100e9 ? 1e6 : length > 1e9 ? 1e3 : 1;
}

function timelineLine(mark) {
  const reach = Math.max(mark.duration * 0.6, view.length() * 0.1, 50000);
  const middle = mark.t + mark.duration / 2;
  const go = () => { show(middle - reach, middle + reach); document.getElementById("stack").scrollIntoView({ block: "center" }); };
  return element("tr", { tabindex: "0", onclick: go, onkeydown: (event) => { if (event.key === "Enter") go(); } },
    element("td", {}, sinceText(mark.t, timelineStep())),
    element("td", {}, LANES.find((lane) => lane.id === mark.lane).name),
    element("td", {}, mark.level === "info" ? "" : element("span", { class: "badge badge-" + mark.level }, mark.level)),
    element("td", {}, mark.text, mark.detail ? element("span", { class: "detail" }, "  " + mark.detail) : null,
      mark.duration >= 1e6 ? element("span", { class: "detail" }, "  " + durationText(mark.duration)) : null));
}

function fillTimeline() {
  const listed = marks.filter(isListed);
  const head = element("thead", {}, element("tr", {}, ...["time", "kind", "", "what"].map((name, index) =>
    element("th", { class: index === 0 ? "number" : "" }, name))));
  document.getElementById("timeline").replaceChildren(head, element("tbody", {}, ...listed.slice(0, timelineState.limit).map(timelineLine)));
  const shown = Math.min(listed.length, timelineState.limit);
  document.getElementById("timelineCount").textContent = listed.length === 0 ? "Nothing to list here."
    : shown < listed.length ? shown + " of " + countText(listed.length, "line", "lines") : countText(listed.length, "line", "lines");
  document.getElementById("showMore").hidden = shown === listed.length;
}

function fillLaneFilters() {
  const chips = LANES.map((lane) => chip(null, lane.name, true, () => {
    const isListedNow = !timelineState.lanes.delete(lane.id);
    if (isListedNow) timelineState.lanes.add(lane.id);
    fillTimeline();
    return isListedNow;
  }));
  document.getElementById("laneFilters").replaceChildren(...chips);
}

let timelineIsDue = false;

/** The table follows the charts, but not at every pixel of a drag. */
function followWithTimeline() {
  if (timelineIsDue || !document.getElementById("onlyShown").checked) return;
  timelineIsDue = true;
  setTimeout(() => { timelineIsDue = false; fillTimeline(); }, 120);
}

function connectTimeline() {
  document.getElementById("search").addEventListener("input", (event) => {
    timelineState.text = event.target.value.trim().toLowerCase();
    timelineState.limit = LINES_AT_ONCE;
    fillTimeline();
  });
  document.getElementById("onlyShown").addEventListener("change", fillTimeline);
  document.getElementById("showMore").addEventListener("click", () => { timelineState.limit += 1000; fillTimeline(); });
  fillLaneFilters();
  fillTimeline();
}
