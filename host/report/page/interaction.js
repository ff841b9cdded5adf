// Pointer, wheel and keyboard on the charts, with a common zoom.

let drag = null;

function stackX(event) { return event.clientX - document.getElementById("stack").getBoundingClientRect().left; }

function beginDrag(event) {
  if (event.button !== 0) return;
  drag = { from: stackX(event), isMove: event.shiftKey, begin: view.begin, end: view.end };
  document.getElementById("stack").setPointerCapture(event.pointerId);
}

function goOnDragging(event) {
  const x = stackX(event);
  if (drag.isMove) {
    const by = ((drag.from - x) / plotArea().width) * (drag.end - drag.begin);
    show(drag.begin + by, drag.end + by);
    return;
  }
  const { left, width } = plotArea();
  const inside = (value) => Math.min(Math.max(value, left), left + width);
  const selection = document.getElementById("selection");
  selection.hidden = Math.abs(x - drag.from) < 4;
  selection.style.left = Math.min(inside(x), inside(drag.from)) + "px";
  selection.style.width = Math.abs(inside(x) - inside(drag.from)) + "px";
}

function endDrag(event) {
  if (!drag) return;
  const { from, isMove } = drag;
  const to = stackX(event);
  drag = null;
  document.getElementById("selection").hidden = true;
  if (!isMove && Math.abs(to - from) >= 4) show(Math.min(timeAt(from), timeAt(to)), Math.max(timeAt(from), timeAt(to)));
}

const KEYS = {
  ArrowLeft: () => moveBy(-0.15),
  ArrowRight: () => moveBy(0.15),
  "+": () => zoomBy(0.5),
  "=": () => zoomBy(0.5),
  "-": () => zoomBy(2),
  0: showAll,
  Home: showAll,
  Escape: () => { unhover(); showAll(); },
};

function onStackKey(event) {
  const action = KEYS[event.key];
  if (!action || event.ctrlKey || event.metaKey || event.altKey) return;
  event.preventDefault();
  action();
}

function onPageKey(event) {
  const isTyping = event.target instanceof HTMLInputElement && event.target.type === "search";
  if (isTyping || event.ctrlKey || event.metaKey || event.altKey) return;
  if (event.key === "t" || event.key === "T") toggleTheme();
  if (event.key === "/") { event.preventDefault(); document.getElementById("search").focus(); }
}

function connectInteraction() {
  const stack = document.getElementById("stack");
  stack.addEventListener("pointerdown", beginDrag);
  stack.addEventListener("pointermove", (event) => { if (drag) goOnDragging(event); hover(event.clientX, event.clientY); });
  stack.addEventListener("pointerup", endDrag);
  stack.addEventListener("pointercancel", () => { drag = null; document.getElementById("selection").hidden = true; });
  stack.addEventListener("pointerleave", unhover);
  stack.addEventListener("dblclick", showAll);
  stack.addEventListener("keydown", onStackKey);
  stack.addEventListener("wheel", (event) => {
    if (!event.ctrlKey) return; // the page scrolls as usual
    event.preventDefault();
    zoomBy(event.deltaY > 0 ? 1.25 : 0.8, timeAt(stackX(event)));
  }, { passive: false });
  document.addEventListener("keydown", onPageKey);
  document.getElementById("zoomIn").addEventListener("click", () => zoomBy(0.5));
  document.getElementById("zoomOut").addEventListener("click", () => zoomBy(2));
  document.getElementById("zoomAll").addEventListener("click", showAll);
}
