// Geometry of one keyboard layer as the model gives it: rows of keys, each key with a size in
// key units ({x, y}); a null key is a gap one unit wide. A key is addressed by its row (y) and
// its position in that row (x), gaps counted, which is what the lighting and key methods take.
//
// Keys go left to right in their row. A key taller than one unit reaches into the rows below;
// keys of those rows skip the space it covers, so a tall key never overlaps its neighbours.

function dimension(value) {
  const number = Number(value);
  return Number.isFinite(number) && number > 0 ? number : null;
}

// The smallest key dimension of the layer: one row's height and a gap's width.
export function baseUnit(rows) {
  let unit = Infinity;
  for (const row of rows ?? []) {
    if (!Array.isArray(row)) continue;
    for (const key of row) {
      if (!key) continue;
      for (const value of [dimension(key.size?.x), dimension(key.size?.y)]) {
        if (value !== null && value < unit) unit = value;
      }
    }
  }
  return unit === Infinity ? 1 : unit;
}

// Returns {unit, width, height, cells}: cells in row order, each
// {x, y, left, top, width, height, key} in the model's units; gaps have key null.
export function layoutLayer(rows) {
  const unit = baseUnit(rows);
  const covered = []; // covered[row] = [[from, to), ...] taken by taller keys of earlier rows
  const cells = [];
  let width = 0;
  let height = 0;
  const rowList = Array.isArray(rows) ? rows : [];

  rowList.forEach((row, y) => {
    const top = y * unit;
    height = Math.max(height, top + unit);
    let cursor = 0;
    const skipCovered = () => {
      let moved = true;
      while (moved) {
        moved = false;
        for (const [from, to] of covered[y] ?? []) {
          if (cursor >= from && cursor < to) {
            cursor = to;
            moved = true;
          }
        }
      }
    };
    (Array.isArray(row) ? row : []).forEach((key, x) => {
      skipCovered();
      const keyWidth = key ? (dimension(key.size?.x) ?? unit) : unit;
      const keyHeight = key ? (dimension(key.size?.y) ?? unit) : unit;
      cells.push({ x, y, left: cursor, top, width: keyWidth, height: keyHeight, key: key ?? null });
      if (key) {
        const rowsSpanned = Math.ceil(keyHeight / unit - 1e-9);
        for (let below = 1; below < rowsSpanned; below += 1) {
          (covered[y + below] ??= []).push([cursor, cursor + keyWidth]);
        }
        height = Math.max(height, top + keyHeight);
      }
      cursor += keyWidth;
      width = Math.max(width, cursor);
    });
  });
  return { unit, width, height, cells };
}

// Pixels per model unit so that the layer fits into availableWidth, with one key unit never
// drawn larger than maxUnitPixels.
export function fitScale(layout, availableWidth, maxUnitPixels = 64) {
  const largest = maxUnitPixels / layout.unit;
  if (!(layout.width > 0) || !(availableWidth > 0)) return largest;
  return Math.min(largest, availableWidth / layout.width);
}

// The key at row y, position x of a layer, or null.
export function keyAt(layer, x, y) {
  const row = layer?.keys?.[y];
  if (!Array.isArray(row)) return null;
  return row[x] ?? null;
}
