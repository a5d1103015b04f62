// The report page: maps of the banks, a treemap and a table of places, and a time line of several snapshots.
//
// The data has, for each snapshot, its banks; and for each bank the nodes in columns, by offset: size, place, age. A
// place is an index of data.places. FREE and DAMAGED stand for nodes without a place.
"use strict";
(() => {
const started = performance.now();
const FREE = -1;
const DAMAGED = -2;
const data = JSON.parse(document.getElementById("data").textContent);
const byId = (id) => document.getElementById(id);
const root = document.documentElement;
const numbers = new Intl.NumberFormat("en-US");
const format = (number) => numbers.format(number);
const percent = (part, whole) => (whole ? (100 * part / whole).toFixed(1) : "0.0") + " %";

// What the page shows. picked and filter choose places; null and "" mean all.
const state = {moment: data.snapshots.length - 1, picked: null, filter: "", sort: "bytes", descending: true, rows: 100,
               theme: "light", playing: null};
const views = [];        // a map on the screen each
const current = () => data.snapshots[state.moment];

// ---- Columns: the offset of each node is the sum of the sizes before it, unless the bank lists offsets

for (const snapshot of data.snapshots) {
  for (const bank of snapshot.banks) {
    for (const part of [bank.nodes, bank.fallbacks]) {
      part.count = part.sizes.length;
      if (!part.offsets) {
        part.offsets = new Float64Array(part.count);
        let sum = 0;
        for (let i = 0; i < part.count; ++i) {
          part.offsets[i] = sum;
          sum += part.sizes[i];
        }
        part.total = sum;
      }
    }
    bank.nodes.total = bank.size;
  }
}

// ---- Colours: a hue for each file, a shade for each line of it

const hueOf = (number) => 20 + number * 0.618034 % 1 * 320; // the golden ratio keeps hues apart; no red, which is the colour of damage
const fileOf = (place) => place.slice(0, place.lastIndexOf(":"));
const files = new Map();
const placeHues = data.places.map((place) => {
  const file = fileOf(place);
  if (!files.has(file)) files.set(file, {hue: hueOf(files.size), lines: 0});
  const entry = files.get(file);
  return {hue: entry.hue, shade: entry.lines++ % 5};
});
let palette = [];        // by place: [red, green, blue]
let fixed = {};          // colours of free nodes and of damaged bytes

function toRgb(hue, saturation, lightness) {
  const a = saturation * Math.min(lightness, 1 - lightness);
  const channel = (n) => {
    const k = (n + hue / 30) % 12;
    return Math.round(255 * (lightness - a * Math.max(-1, Math.min(k - 3, 9 - k, 1))));
  };
  return [channel(0), channel(8), channel(4)];
}

function cssColour(name) {
  const hex = getComputedStyle(root).getPropertyValue(name).trim();
  return [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16));
}

function makePalette() {
  const light = state.theme === "light";
  palette = placeHues.map(({hue, shade}) => toRgb(hue, light ? 0.55 : 0.5, (light ? 0.42 : 0.48) + shade * 0.055));
  fixed = {free: cssColour("--free"), alarm: cssColour("--alarm"), card: cssColour("--card"), text: cssColour("--text")};
}

const css = ([red, green, blue]) => `rgb(${red} ${green} ${blue})`;

function matches(place) {
  if (state.picked !== null) return place === state.picked;
  return state.filter === "" || matching.has(place);
}

let matching = new Set(); // places that the filter names
function updateMatching() {
  const words = state.filter.toLowerCase();
  matching = new Set();
  data.places.forEach((place, index) => {
    if (place.toLowerCase().includes(words)) matching.add(index);
  });
  for (const bank of current().banks) {
    if (bank.title.toLowerCase().includes(words)) {
      for (const part of [bank.nodes, bank.fallbacks]) part.places.forEach((place) => matching.add(place));
    }
  }
}

function colourOf(place) {
  if (place === FREE) return fixed.free;
  if (place === DAMAGED) return fixed.alarm;
  const colour = palette[place];
  return matches(place) ? colour : colour.map((channel, i) => Math.round(fixed.free[i] * 0.8 + channel * 0.2));
}

// ---- Canvases

function prepare(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = Math.max(1, Math.round(canvas.clientWidth * ratio));
  const height = Math.max(1, Math.round(canvas.clientHeight * ratio));
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
  }
  return {width, height, ratio, context: canvas.getContext("2d")};
}

// The last node that begins at or before a byte.
function nodeAt(part, byte) {
  let low = 0;
  let high = part.count - 1;
  while (low < high) {
    const middle = (low + high + 1) >> 1;
    if (part.offsets[middle] <= byte) low = middle;
    else high = middle - 1;
  }
  return low;
}

// ---- A map: the bytes of a bank in rows, from left to right. first and span are the bytes on the screen.

class MapView {
  constructor(canvas, bank, part, isFallback) {
    Object.assign(this, {canvas, bank, part, isFallback, selected: -1, rows: isFallback ? 1 : 5});
    this.first = 0;
    this.span = Math.max(1, part.total);
    canvas.tabIndex = 0;
    canvas.setAttribute("role", "img");
    canvas.setAttribute("aria-label", `Map of ${isFallback ? "the fallback blocks of " : ""}bank ${bank.title}`);
    canvas.addEventListener("pointermove", (event) => this.onMove(event));
    canvas.addEventListener("pointerleave", () => hideTip());
    canvas.addEventListener("pointerdown", (event) => this.onDown(event));
    canvas.addEventListener("pointerup", () => (this.drag = null));
    canvas.addEventListener("click", (event) => this.onClick(event));
    canvas.addEventListener("wheel", (event) => this.onWheel(event), {passive: false});
    canvas.addEventListener("keydown", (event) => this.onKey(event));
    canvas.addEventListener("blur", () => { this.selected = -1; hideTip(); this.draw(); });
  }

  get cssRow() { return this.canvas.clientHeight / this.rows; }

  byteAt(event) {
    const box = this.canvas.getBoundingClientRect();
    const row = Math.min(this.rows - 1, Math.max(0, Math.floor((event.clientY - box.top) / box.height * this.rows)));
    const x = Math.min(1 - 1e-9, Math.max(0, (event.clientX - box.left) / box.width));
    return this.first + (row + x) / this.rows * this.span;
  }

  // Returns the node on the screen under a byte; -1 for a byte after the last node.
  at(byte) {
    const node = this.part.count ? nodeAt(this.part, byte) : -1;
    return node >= 0 && byte >= this.part.offsets[node] && byte < this.part.offsets[node] + this.part.sizes[node] ? node : -1;
  }

  draw() {
    const {width, height, ratio, context} = prepare(this.canvas);
    const rowHeight = Math.floor(height / this.rows);
    const gap = Math.round(2 * ratio);
    const image = context.createImageData(width, height);
    const pixels = new Uint32Array(image.data.buffer);
    const perPixel = this.span / (width * this.rows);
    const card = pack(fixed.card);
    pixels.fill(card);
    let node = this.part.count ? nodeAt(this.part, this.first) : 0;
    for (let row = 0; row < this.rows; ++row) {
      const begin = row * rowHeight * width;
      for (let x = 0; x < width; ++x) {
        const low = this.first + (row * width + x) * perPixel;
        [pixels[begin + x], node] = this.pixel(low, low + perPixel, node);
      }
      for (let y = 1; y < rowHeight - gap; ++y) pixels.copyWithin(begin + y * width, begin, begin + width);
    }
    context.putImageData(image, 0, 0);
    this.outline(context, width, rowHeight, gap, ratio);
  }

  // Returns the colour of the bytes from low to high and the node at high. Of several nodes the one with the most bytes
  // gives the colour, but a damaged or picked one always does.
  pixel(low, high, node) {
    const {offsets, sizes, places, count} = this.part;
    let best = null;     // a place
    let most = 0;
    let isEdge = false;  // a block begins here, and is wide enough for a line before it
    while (node < count && offsets[node] < high) {
      const end = offsets[node] + sizes[node];
      const bytes = Math.min(high, end) - Math.max(low, offsets[node]);
      const place = places[node];
      const weight = place === DAMAGED ? Infinity : place !== FREE && state.picked === place ? 1e18 : bytes;
      if (bytes > 0 && weight > most) {
        most = weight;
        best = place;
        isEdge = place >= 0 && offsets[node] > low && sizes[node] > 5 * (high - low);
      }
      if (end > high) break;
      node += 1;
    }
    if (best === null) return [this.isFallback || low >= this.part.total ? pack(fixed.card) : this.restColour(low), node];
    const colour = colourOf(best);
    return [pack(isEdge ? colour.map((channel, i) => (channel + fixed.card[i]) >> 1) : colour), node];
  }

  // A linear bank has no list of blocks: its bytes up to the cursor are in use.
  restColour(byte) {
    return pack(this.bank.type === "linear" && byte < this.bank.cursor ? fixed.text.map((c, i) => (c + fixed.free[i] * 2) / 3 | 0) : fixed.free);
  }

  outline(context, width, rowHeight, gap, ratio) {
    if (this.selected < 0) return;
    const scale = width * this.rows / this.span;
    let low = (this.part.offsets[this.selected] - this.first) * scale;
    const high = low + Math.max(3 * ratio, this.part.sizes[this.selected] * scale);
    context.strokeStyle = css(fixed.text);
    context.lineWidth = 2 * ratio;
    while (low < high && low < width * this.rows) {
      const row = Math.max(0, Math.floor(low / width));
      const end = Math.min(high, (row + 1) * width);
      context.strokeRect(Math.max(low, 0) - row * width, row * rowHeight + ratio, end - low, rowHeight - gap - 2 * ratio);
      low = end;
    }
  }

  zoom(factor, byte) {
    const share = (byte - this.first) / this.span;
    this.span = Math.min(Math.max(1, this.part.total), Math.max(64, this.span * factor));
    this.move(byte - share * this.span);
  }

  move(first) {
    this.first = Math.max(0, Math.min(first, this.part.total - this.span));
    this.draw();
  }

  select(node) {
    if (!this.part.count) return;
    this.selected = Math.max(0, Math.min(node, this.part.count - 1));
    const offset = this.part.offsets[this.selected];
    if (offset < this.first || offset >= this.first + this.span) this.first = Math.max(0, Math.min(offset - this.span / 2, this.part.total - this.span));
    this.draw();
    const box = this.canvas.getBoundingClientRect();
    const at = (offset - this.first) / this.span * this.rows;
    showTip(describe(this, this.selected), box.left + (at % 1) * box.width, box.top + Math.ceil(at + 1e-9) * this.cssRow);
  }

  onMove(event) {
    if (this.drag) {
      const bytes = (event.clientX - this.drag.x) / this.canvas.clientWidth * this.span / this.rows +
                    (event.clientY - this.drag.y) / this.cssRow * this.span / this.rows;
      this.drag.moved = this.drag.moved || Math.abs(event.clientX - this.drag.x) > 4;
      if (this.drag.moved) this.move(this.drag.first - bytes);
      return;
    }
    const byte = this.byteAt(event);
    const node = this.at(byte);
    if (node >= 0) showTip(describe(this, node), event.clientX, event.clientY);
    else if (this.bank.type === "linear" && !this.isFallback) showTip(describeLinear(this.bank, byte), event.clientX, event.clientY);
    else hideTip();
  }

  onDown(event) {
    if (event.pointerType !== "touch") this.drag = {x: event.clientX, y: event.clientY, first: this.first, moved: false};
    this.lastDrag = this.drag;
  }

  onClick(event) {
    if (this.lastDrag && this.lastDrag.moved) return;
    const node = this.at(this.byteAt(event));
    pick(node >= 0 ? this.part.places[node] : null);
  }

  onWheel(event) {
    event.preventDefault();
    this.zoom(event.deltaY < 0 ? 0.8 : 1.25, this.byteAt(event));
  }

  onKey(event) {
    const middle = this.selected >= 0 ? this.part.offsets[this.selected] : this.first + this.span / 2;
    const step = this.span / this.rows;
    const actions = {
      "+": () => this.zoom(0.5, middle), "=": () => this.zoom(0.5, middle), "-": () => this.zoom(2, middle),
      "0": () => { this.span = Math.max(1, this.part.total); this.move(0); },
      "Home": () => this.select(0), "End": () => this.select(this.part.count - 1),
      "Enter": () => this.selected >= 0 && pick(this.part.places[this.selected]), "Escape": () => pick(null),
      "ArrowLeft": () => (event.shiftKey ? this.move(this.first - step / 4) : this.select(this.selected < 0 ? this.at(this.first) : this.selected - 1)),
      "ArrowRight": () => (event.shiftKey ? this.move(this.first + step / 4) : this.select(this.selected < 0 ? Math.max(0, this.at(this.first)) : this.selected + 1)),
      "ArrowUp": () => this.move(this.first - step), "ArrowDown": () => this.move(this.first + step),
    };
    const action = actions[event.key];
    if (!action || event.ctrlKey || event.metaKey || event.altKey) return;
    if (!event.shiftKey && (event.key === "ArrowUp" || event.key === "ArrowDown")) return; // they scroll the page
    event.preventDefault();
    action();
  }
}

const pack = ([red, green, blue]) => 0xff000000 | blue << 16 | green << 8 | red;

function describe(view, node) {
  const {part, bank, isFallback} = view;
  const place = part.places[node];
  const what = place === FREE ? "free" : place === DAMAGED ? "damaged: no usable header" : data.places[place];
  const lines = [what, `${format(part.sizes[node])} bytes` + (isFallback ? `, fallback block ${node + 1}` : ` at offset ${format(part.offsets[node])}`)];
  const age = part.ages ? part.ages[node] : -1;
  if (place >= 0 && age >= 0) lines.push(`age: block ${format(age + 1)} of ${format(bank.aged[isFallback ? 1 : 0])}, 1 is the oldest`);
  if (part.born && part.born[node] >= 0) lines.push(`since ${(part.born[node] / 1000).toFixed(1)} s after the start`);
  return lines.join("\n");
}

function describeLinear(bank, byte) {
  return byte < bank.cursor ? `in use: ${format(bank.cursor)} bytes of a linear bank` : `free: ${format(bank.size - bank.cursor)} bytes`;
}

function showTip(text, x, y) {
  const tip = byId("tip");
  tip.textContent = text;
  tip.hidden = false;
  const box = tip.getBoundingClientRect();
  tip.style.left = Math.max(4, Math.min(x + 14, innerWidth - box.width - 4)) + "px";
  tip.style.top = Math.max(4, y + 18 + box.height > innerHeight ? y - box.height - 10 : y + 18) + "px";
}

function hideTip() { byId("tip").hidden = true; }

// ---- Banks

function element(name, className, text) {
  const made = document.createElement(name);
  if (className) made.className = className;
  if (text !== undefined) made.textContent = text;
  return made;
}

function fact(parent, name, value, isAlarm) {
  parent.append(" " + name + " ", element("b", isAlarm ? "alarm" : "", value));
}

function meter(used, size) {
  const bar = element("span", "meter" + (used > size ? " full" : ""));
  const fill = element("i");
  fill.style.width = Math.min(100, size ? 100 * used / size : 0) + "%";
  bar.append(fill);
  return bar;
}

function showFacts(box, bank) {
  const facts = element("p", "facts");
  facts.append(bank.index === -1 ? "" : bank.type + " ", bank.index === -1 ? "" : meter(bank.inUse, bank.size));
  fact(facts, "in use", bank.index === -1 ? `${format(bank.inUse)} bytes` : `${format(bank.inUse)} of ${format(bank.size)} bytes`);
  fact(facts, "peak", format(bank.peak), bank.size > 0 && bank.peak > bank.size);
  if (bank.freeNodes) {
    fact(facts, "free nodes", format(bank.freeNodes));
    fact(facts, "largest", format(bank.largestFree));
    fact(facts, "fragmentation", percent(bank.freeBytes - bank.largestFree, bank.freeBytes));
  }
  if (bank.fallbacks.count) fact(facts, "fallback blocks", format(bank.fallbacks.count), true);
  box.append(element("h3", "", bank.title), facts);
}

// Bars: how many free bytes lie in nodes of each size class.
function showFree(box, bank) {
  if (bank.freeNodes < 2) return;
  const classes = [];
  bank.nodes.places.forEach((place, node) => {
    if (place !== FREE) return;
    const group = Math.floor(Math.log2(bank.nodes.sizes[node]));
    classes[group] = classes[group] || {nodes: 0, bytes: 0};
    classes[group].nodes += 1;
    classes[group].bytes += bank.nodes.sizes[node];
  });
  const first = classes.findIndex((entry) => entry);
  const most = Math.max(...classes.filter((entry) => entry).map((entry) => entry.bytes));
  const bars = element("div", "free");
  for (let group = first; group < classes.length; ++group) {
    const {nodes, bytes} = classes[group] || {nodes: 0, bytes: 0};
    const bar = element("i");
    bar.style.height = Math.max(bytes ? 3 : 0, 44 * bytes / most) + "px";
    bar.title = `${format(2 ** group)} to ${format(2 ** (group + 1) - 1)} bytes: ${format(nodes)} free nodes, ${format(bytes)} bytes`;
    bars.append(bar);
  }
  bars.setAttribute("role", "img");
  bars.setAttribute("aria-label", `Free bytes of bank ${bank.title} by size of the free node`);
  box.append(bars, element("div", "row-name", `free bytes by size of the free node: ${format(2 ** first)} to ${format(2 ** classes.length - 1)} bytes`));
}

function addMap(box, bank, part, isFallback) {
  const canvas = element("canvas", "map" + (isFallback || !part.count && bank.type !== "linear" ? " small" : ""));
  if (isFallback) box.append(element("div", "row-name", "fallback blocks, oldest first"));
  box.append(canvas);
  views.push(new MapView(canvas, bank, part, isFallback));
}

function showBanks() {
  const zooms = new Map(views.map((view) => [view.bank.index + ":" + view.isFallback, view]));
  views.length = 0;
  const box = byId("banks");
  const made = document.createDocumentFragment();
  for (const bank of current().banks) {
    if (bank.index === -1 && !bank.fallbacks.count) continue;
    const one = element("div", "bank");
    one.dataset.bank = bank.title;
    showFacts(one, bank);
    if (bank.region) addMap(one, bank, bank.nodes, false);
    if (bank.fallbacks.count) addMap(one, bank, bank.fallbacks, true);
    showFree(one, bank);
    made.append(one);
  }
  box.replaceChildren(made);
  for (const view of views) { // the zoom stays while snapshots play
    const before = zooms.get(view.bank.index + ":" + view.isFallback);
    if (before && before.span < before.part.total) {
      view.span = Math.min(before.span, Math.max(1, view.part.total));
      view.first = Math.min(before.first, Math.max(0, view.part.total - view.span));
    }
    view.draw();
  }
}

// ---- Places

function sumPlaces(snapshot) {
  if (snapshot.sums) return snapshot.sums;
  const sums = new Map();
  for (const bank of snapshot.banks) {
    for (const part of [bank.nodes, bank.fallbacks]) {
      for (let node = 0; node < part.count; ++node) {
        const place = part.places[node];
        if (place < 0) continue;
        let sum = sums.get(place);
        if (!sum) sums.set(place, sum = {place, name: data.places[place], blocks: 0, bytes: 0, largest: 0, fallback: 0, banks: new Set()});
        sum.blocks += 1;
        sum.bytes += part.sizes[node];
        sum.largest = Math.max(sum.largest, part.sizes[node]);
        sum.fallback += part === bank.fallbacks ? 1 : 0;
        sum.banks.add(bank.title);
      }
    }
  }
  snapshot.sums = [...sums.values()];
  for (const sum of snapshot.sums) sum.bank = [...sum.banks].join(", ");
  return snapshot.sums;
}

// The places of this moment with the change since the first snapshot.
function rowsNow() {
  const rows = sumPlaces(current());
  if (data.snapshots.length < 2) return rows;
  const first = new Map(sumPlaces(data.snapshots[0]).map((sum) => [sum.place, sum.bytes]));
  for (const row of rows) row.change = row.bytes - (first.get(row.place) || 0);
  return rows;
}

const columns = [["name", "place"], ["bank", "bank"], ["blocks", "blocks"], ["bytes", "bytes"], ["largest", "largest"], ["fallback", "fallback"]];
if (data.snapshots.length > 1) columns.push(["change", "change"]);

function shownRows() {
  const words = state.filter.toLowerCase();
  const rows = rowsNow().filter((row) => !words || row.name.toLowerCase().includes(words) || row.bank.toLowerCase().includes(words));
  const sign = state.descending ? -1 : 1;
  return rows.sort((left, right) => {
    const [a, b] = [left[state.sort], right[state.sort]];
    return sign * (a < b ? -1 : a > b ? 1 : 0) || (left.name < right.name ? -1 : 1);
  });
}

function showHead() {
  const head = byId("places").tHead.rows[0];
  head.replaceChildren(...columns.map(([key, title]) => {
    const cell = element("th");
    const button = element("button", "", title + (state.sort === key ? (state.descending ? " \u25bc" : " \u25b2") : ""));
    button.type = "button";
    button.addEventListener("click", () => {
      state.descending = state.sort === key ? !state.descending : key !== "name" && key !== "bank";
      state.sort = key;
      showTable();
      byId("places").tHead.rows[0].cells[columns.findIndex(([k]) => k === key)].firstChild.focus();
    });
    cell.scope = "col";
    cell.setAttribute("aria-sort", state.sort !== key ? "none" : state.descending ? "descending" : "ascending");
    cell.append(button);
    return cell;
  }));
}

function tableRow(row) {
  const line = element("tr", state.picked === row.place ? "picked" : "");
  columns.forEach(([key, title]) => {
    const cell = element("td");
    cell.dataset.title = title;
    if (key === "name") {
      const swatch = element("span", "swatch");
      swatch.style.background = css(palette[row.place]);
      const button = element("button", "", row.name);
      button.type = "button";
      button.setAttribute("aria-pressed", String(state.picked === row.place));
      cell.append(swatch, button);
    } else {
      const value = row[key];
      cell.textContent = typeof value === "number" ? (key === "change" && value > 0 ? "+" : "") + format(value) : value;
    }
    line.append(cell);
  });
  line.addEventListener("click", () => pick(state.picked === row.place ? null : row.place));
  return line;
}

function showTable() {
  const rows = shownRows();
  showHead();
  byId("places").tBodies[0].replaceChildren(...rows.slice(0, state.rows).map(tableRow));
  const bytes = rows.reduce((sum, row) => sum + row.bytes, 0);
  byId("count").textContent = `${format(rows.length)} places, ${format(bytes)} bytes`;
  byId("more").hidden = rows.length <= state.rows;
}

// ---- Treemap: squares as near as rows of areas allow (squarified)

let areas = [];
let treeSelected = -1;

// Lays rows of values into the rectangle, always along its shorter side, while that makes the areas squarer.
function layOut(values, x, y, width, height) {
  const made = [];
  let at = 0;
  let rest = values.reduce((sum, value) => sum + value, 0);
  while (at < values.length && width > 0 && height > 0) {
    const side = Math.min(width, height);
    const scale = width * height / rest;
    let sum = 0;
    let worst = Infinity;
    let end = at;
    while (end < values.length) {
      const next = (sum + values[end]) * scale;
      const longest = next / side;
      const ratio = Math.max(longest * longest / (values[end] * scale), values[at] * scale / (longest * longest));
      if (ratio > worst) break;
      worst = ratio;
      sum += values[end++];
    }
    const thick = sum * scale / side;
    let along = 0;
    for (; at < end; ++at) {
      const length = values[at] * scale / thick;
      made.push(width >= height ? [x, y + along, thick, length] : [x + along, y, length, thick]);
      along += length;
    }
    if (width >= height) [x, width] = [x + thick, width - thick];
    else [y, height] = [y + thick, height - thick];
    rest -= sum;
  }
  return made;
}

function drawTree() {
  const canvas = byId("tree");
  const {width, height, ratio, context} = prepare(canvas);
  const rows = [...sumPlaces(current())].sort((a, b) => b.bytes - a.bytes || (a.name < b.name ? -1 : 1)).slice(0, 1000);
  context.fillStyle = css(fixed.card);
  context.fillRect(0, 0, width, height);
  areas = layOut(rows.map((row) => row.bytes), 0, 0, width, height).map((box, i) => ({box, row: rows[i]}));
  context.textBaseline = "top";
  context.font = `${12 * ratio}px system-ui, "DejaVu Sans", sans-serif`;
  areas.forEach(({box: [x, y, w, h], row}, i) => {
    context.fillStyle = css(colourOf(row.place));
    context.fillRect(x, y, Math.max(w - ratio, 0.5), Math.max(h - ratio, 0.5));
    if (w > 60 * ratio && h > 18 * ratio) label(context, row, x, y, w, h, ratio);
    if (i === treeSelected) {
      context.strokeStyle = css(fixed.text);
      context.lineWidth = 3 * ratio;
      context.strokeRect(x + 2 * ratio, y + 2 * ratio, w - 4 * ratio, h - 4 * ratio);
    }
  });
}

function label(context, row, x, y, w, h, ratio) {
  const [red, green, blue] = colourOf(row.place);
  context.save();
  context.beginPath();
  context.rect(x, y, w - 4 * ratio, h);
  context.clip();
  context.fillStyle = red * 0.299 + green * 0.587 + blue * 0.114 > 140 ? "#111" : "#fff";
  context.fillText(row.name.slice(row.name.lastIndexOf("/") + 1), x + 4 * ratio, y + 3 * ratio);
  if (h > 34 * ratio) context.fillText(format(row.bytes), x + 4 * ratio, y + 18 * ratio);
  context.restore();
}

const describeArea = ({row}) => `${row.name}\n${format(row.blocks)} blocks, ${format(row.bytes)} bytes\nbank ${row.bank}`;

function areaAt(event) {
  const box = byId("tree").getBoundingClientRect();
  const ratio = byId("tree").width / box.width;
  const [x, y] = [(event.clientX - box.left) * ratio, (event.clientY - box.top) * ratio];
  return areas.findIndex(({box: [left, top, w, h]}) => x >= left && x < left + w && y >= top && y < top + h);
}

function setUpTree() {
  const canvas = byId("tree");
  canvas.addEventListener("pointermove", (event) => {
    const found = areaAt(event);
    if (found >= 0) showTip(describeArea(areas[found]), event.clientX, event.clientY);
    else hideTip();
  });
  canvas.addEventListener("pointerleave", hideTip);
  canvas.addEventListener("click", (event) => {
    const found = areaAt(event);
    if (found >= 0) pick(state.picked === areas[found].row.place ? null : areas[found].row.place);
  });
  canvas.addEventListener("keydown", (event) => {
    const steps = {ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1};
    if (event.key in steps) {
      event.preventDefault();
      treeSelected = Math.max(0, Math.min(areas.length - 1, treeSelected + steps[event.key]));
      drawTree();
      const box = canvas.getBoundingClientRect();
      const [x, y] = areas[treeSelected].box;
      showTip(describeArea(areas[treeSelected]), box.left + x * box.width / canvas.width, box.top + y * box.height / canvas.height);
    } else if (event.key === "Enter" && treeSelected >= 0) {
      pick(areas[treeSelected].row.place);
    } else if (event.key === "Escape") {
      pick(null);
    }
  });
  canvas.addEventListener("blur", () => { treeSelected = -1; hideTip(); drawTree(); });
}

// ---- Time line

function drawChart() {
  const canvas = byId("chart");
  const {width, height, ratio, context} = prepare(canvas);
  const last = data.snapshots.length - 1;
  const titles = [...new Set(data.snapshots.flatMap((snapshot) => snapshot.banks.map((bank) => bank.title)))];
  const values = titles.map((title) => data.snapshots.map((snapshot) => (snapshot.banks.find((bank) => bank.title === title) || {inUse: 0}).inUse));
  const most = Math.max(1, ...values.flat());
  const bottom = height - 4 * ratio;
  const xOf = (moment) => 4 * ratio + (width - 8 * ratio) * (last ? moment / last : 0);
  const yOf = (value) => bottom - (bottom - 20 * ratio) * value / most;
  context.fillStyle = css(fixed.card);
  context.fillRect(0, 0, width, height);
  context.fillStyle = css(fixed.text);
  context.font = `${11 * ratio}px system-ui, "DejaVu Sans", sans-serif`;
  context.fillText(format(most) + " bytes", 4 * ratio, 12 * ratio);
  context.fillRect(xOf(state.moment) - ratio / 2, 0, ratio, height);
  context.lineWidth = 2 * ratio;
  titles.forEach((title, i) => {
    context.strokeStyle = css(bankColour(i));
    context.beginPath();
    values[i].forEach((value, moment) => context.lineTo(xOf(moment), yOf(value)));
    context.stroke();
  });
  byId("legend").replaceChildren(...titles.map((title, i) => {
    const entry = element("li");
    const swatch = element("span", "swatch");
    swatch.style.background = css(bankColour(i));
    entry.append(swatch, `${title} ${format(values[i][state.moment])}`);
    return entry;
  }));
}

const bankColour = (number) => toRgb(hueOf(number), 0.6, state.theme === "light" ? 0.4 : 0.65);

function goTo(moment) {
  state.moment = Math.max(0, Math.min(moment, data.snapshots.length - 1));
  byId("moment").value = state.moment;
  updateMatching();
  showAll();
}

function play() {
  if (state.playing) {
    clearInterval(state.playing);
    state.playing = null;
  } else {
    if (state.moment === data.snapshots.length - 1) goTo(0);
    state.playing = setInterval(() => {
      if (state.moment < data.snapshots.length - 1) goTo(state.moment + 1);
      else play();
    }, 500);
  }
  byId("play").textContent = state.playing ? "Pause" : "Play";
}

function setUpTime() {
  if (data.snapshots.length < 2) return;
  byId("time").hidden = false;
  byId("moment").max = data.snapshots.length - 1;
  byId("moment").value = state.moment;
  byId("moment").addEventListener("input", (event) => goTo(Number(event.target.value)));
  byId("before").addEventListener("click", () => goTo(state.moment - 1));
  byId("after").addEventListener("click", () => goTo(state.moment + 1));
  byId("play").addEventListener("click", play);
  byId("chart").addEventListener("click", (event) => {
    const box = event.target.getBoundingClientRect();
    goTo(Math.round((event.clientX - box.left) / box.width * (data.snapshots.length - 1)));
  });
}

// ---- The whole page

function showAlarms() {
  const snapshot = current();
  const alarms = [...snapshot.torn, ...snapshot.damage];
  byId("alarms").hidden = alarms.length === 0;
  byId("alarm-list").replaceChildren(...alarms.map((alarm) => element("li", "", alarm)));
}

function showTitle() {
  const snapshot = current();
  byId("title").textContent = snapshot.game || "Memory";
  document.title = (snapshot.game ? snapshot.game + ": " : "") + "memory";
  const bytes = snapshot.banks.reduce((sum, bank) => sum + bank.inUse, 0);
  const blocks = sumPlaces(snapshot).reduce((sum, row) => sum + row.blocks, 0);
  byId("subtitle").textContent = [snapshot.time, `${format(blocks)} blocks`, `${format(bytes)} bytes in use`].filter((text) => text).join(" \u00b7 ");
  byId("moment-name").textContent = `${state.moment + 1} of ${data.snapshots.length} ${snapshot.time || snapshot.file}`;
}

function showAll() {
  showTitle();
  showAlarms();
  if (data.snapshots.length > 1) drawChart();
  showBanks();
  drawTree();
  showTable();
}

function redraw() {
  for (const view of views) view.draw();
  drawTree();
  showTable();
}

function pick(place) {
  state.picked = place === null || place < 0 ? null : place;
  redraw();
}

function setTheme(theme) {
  state.theme = theme;
  root.dataset.theme = theme;
  makePalette();
}

byId("theme").addEventListener("click", () => { setTheme(state.theme === "light" ? "dark" : "light"); showAll(); });
byId("filter").addEventListener("input", (event) => { state.filter = event.target.value; state.rows = 100; updateMatching(); redraw(); });
byId("all").addEventListener("click", () => { byId("filter").value = state.filter = ""; pick(null); });
byId("more").addEventListener("click", () => { state.rows += 500; showTable(); });
let resizing = 0;
addEventListener("resize", () => { cancelAnimationFrame(resizing); resizing = requestAnimationFrame(() => { for (const view of views) view.draw(); drawTree(); if (data.snapshots.length > 1) drawChart(); }); });

setTheme(matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light");
updateMatching();
setUpTree();
setUpTime();
showAll();
window.coreMemory = {state, views, goTo, pick, areas: () => areas}; // for the console, and for tests
root.dataset.ready = Math.round(performance.now() - started);
})();
