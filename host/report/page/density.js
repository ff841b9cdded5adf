// Limits rows to the screen's resolution: keeps the extremes of each pixel.

const MOST_PLACES = 600;

/** Rows of a table within the view and one beyond on either side. */
function rowsInView(t) {
  return [Math.max(lastAtOrBefore(t, view.begin), 0), Math.min(lastAtOrBefore(t, view.end) + 2, t.length)];
}

function extremesOf(values, from, to) {
  let low = -1, high = -1;
  for (let row = from; row < to; ++row) {
    const value = values[row];
    if (value === null) continue;
    if (low < 0 || value < values[low]) low = row;
    if (high < 0 || value > values[high]) high = row;
  }
  return low < high ? [low, high] : [high, low];
}

/**
 * The rows to draw: for each an instant, and for each column the row whose value stands there (-1: none). Few rows stay as they
 * are; of many, each place of the screen gets two, the lowest and the highest value of each column in the order of time.
 */
function rowsToDraw(t, columns) {
  const [from, to] = rowsInView(t);
  if (to - from <= 2 * MOST_PLACES) {
    return [...Array(Math.max(to - from, 0)).keys()].map((at) => ({ t: t[from + at], rows: columns.map(() => from + at) }));
  }
  const drawn = [];
  for (let place = 0; place < MOST_PLACES; ++place) {
    const first = from + Math.floor(((to - from) * place) / MOST_PLACES);
    const end = from + Math.floor(((to - from) * (place + 1)) / MOST_PLACES);
    const found = columns.map((column) => extremesOf(column.values, first, end));
    drawn.push({ t: t[first], rows: found.map(([row]) => row) }, { t: t[end - 1], rows: found.map(([, row]) => row) });
  }
  return drawn;
}
