// SPDX-License-Identifier: MIT
// One lane a node: stages as bars, everything else as marks whose shape says what they are.

import { byId, draw, make, mark, say } from "./dom.js";
import { state, nodes } from "./stream.js";
import { clock, span } from "./texts.js";

const LANE = 30;
const TOP = 24;
const NAMES = 84;
const SHAPES = {
  word: "M0,-6 A6,6 0 1 1 0,6 A6,6 0 1 1 0,-6Z", // a status word
  end: "M0,-7 L7,0 L0,7 L-7,0Z", // a ticket ended
  fault: "M0,-7 L7,6 L-7,6Z", // somebody broke or mended something
  failure: "M-6,-6 L6,6 M6,-6 L-6,6", // something went wrong
  boot: "M0,-9 L0,9", // it booted
  event: "M-5,-5 H5 V5 H-5Z", // somebody asked for something
};
const SPANS = [30, 60, 120, 300, 900, 3600, 14400];
const LIVE_EVERY = 250; // milliseconds
const MOST_LINES = 8; // of a moment
const MOST_LOGS = 200; // moments whose log is kept
const SETTLED = 3; // seconds after which no more is written of a moment

let seconds = 60; // that are shown
let end = null; // of what is shown; null: now, and it moves on
let width = 0;
let dirty = true;
let lists = new Map(); // of each lane: {stages, marks}
let taken = 0; // the number of the last mark in the lists
let cursor = null; // the mark that the keyboard stands on
let told = null; // the mark that the box tells of
const logs = new Map(); // of moments
const shownKinds = new Set(Object.keys(SHAPES));

function lane(name) {
  if (!lists.has(name)) {
    lists.set(name, { stages: [], marks: [] });
  }
  return lists.get(name);
}

function sort(mark_) {
  if (mark_.kind === "stage") {
    lane(mark_.node).stages.push(mark_);
  } else {
    lane(mark_.node).marks.push(mark_);
  }
  taken = mark_.number;
}

// In ascending order of the time: the first that is not before.
function firstAt(list, at) {
  let low = 0;
  let high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (list[middle].at < at) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return low;
}

const lastMoment = () => (end === null ? Date.now() / 1000 : end);

function laneNames() {
  return [...nodes().map((node) => node.name), "file-server", "broker"];
}

function scale() {
  const to = lastMoment();
  const from = to - seconds;
  return { from, to, x: (at) => NAMES + ((at - from) / seconds) * (width - NAMES - 10) };
}

function ticks(view, height) {
  const wanted = Math.max(2, Math.floor((width - NAMES) / 110));
  const steps = [5, 10, 15, 30, 60, 120, 300, 600, 1800, 3600];
  const step = steps.find((one) => seconds / one <= wanted) || 3600;
  const group = draw("g", { class: "ticks" });
  for (let at = Math.ceil(view.from / step) * step; at <= view.to; at += step) {
    const x = view.x(at);
    const text = draw("text", { x, y: 14 });
    text.textContent = clock(at);
    group.append(draw("line", { x1: x, x2: x, y1: TOP - 4, y2: height }), text);
  }
  return group;
}

function bars(list, view, y) {
  const group = draw("g", {});
  let first = firstAt(list, view.from);
  first = Math.max(0, first - 1);
  for (let number = first; number < list.length && list[number].at < view.to; number += 1) {
    const from = Math.max(view.from, list[number].at);
    const next = list[number + 1];
    const to = Math.min(view.to, next ? next.at : Date.now() / 1000);
    const x = view.x(from);
    const wide = Math.max(1, view.x(to) - x);
    const bar = draw("rect", { class: "bar", "data-stage": list[number].text, x, y: y + 7,
      width: wide, height: LANE - 14, rx: 3 });
    bar.dataset.number = list[number].number;
    group.append(bar);
    if (wide > 12 + list[number].text.length * 7) {
      const text = draw("text", { class: "bar-text", x: x + 6, y: y + 19 });
      text.textContent = list[number].text;
      group.append(text);
    }
  }
  return group;
}

function shapes(list, view, y) {
  const group = draw("g", {});
  for (let number = firstAt(list, view.from); number < list.length; number += 1) {
    const one = list[number];
    if (one.at > view.to) {
      break;
    }
    if (shownKinds.has(one.kind)) {
      const shape = draw("path", { class: `mark ${one.kind}`, d: SHAPES[one.kind],
        transform: `translate(${view.x(one.at).toFixed(1)},${y + LANE / 2})` });
      shape.dataset.number = one.number;
      group.append(shape);
    }
  }
  return group;
}

function picture() {
  const names = laneNames();
  const height = TOP + LANE * names.length + 6;
  const view = scale();
  const svg = draw("svg", { width, height, viewBox: `0 0 ${width} ${height}`, role: "img",
    "aria-label": `The last ${span(seconds)} of each node; the list below says the same` });
  svg.append(ticks(view, height));
  names.forEach((name, number) => {
    const y = TOP + LANE * number;
    const text = draw("text", { class: "lane-name", x: 4, y: y + 19 });
    text.textContent = name;
    const held = lane(name);
    svg.append(draw("line", { class: "lane", x1: 0, x2: width, y1: y + LANE, y2: y + LANE }), text,
      bars(held.stages, view, y), shapes(held.marks, view, y));
    if (cursor && cursor.node === name && cursor.at >= view.from && cursor.at <= view.to) {
      svg.append(draw("circle", { class: "cursor", cx: view.x(cursor.at), cy: y + LANE / 2, r: 12 }));
    }
  });
  return svg;
}

function redraw() {
  if (width > 0 && (dirty || end === null) && !document.hidden) {
    dirty = false;
    byId("timeline-picture").replaceChildren(picture());
    showList();
  }
}

// Everything in a lane, in its order.
function allOf(name) {
  const held = lane(name);
  return [...held.stages, ...held.marks].sort((one, other) => one.number - other.number);
}

// What the node said within a second of it; the line itself first.
function momentOf(found) {
  const near = lane(found.node).marks.filter((one) =>
    one !== found && Math.abs(one.at - found.at) < 1);
  return [found, ...near.slice(0, MOST_LINES)].map((one) =>
    `${one.kind}: ${one.text}${one.detail ? ` (${one.detail})` : ""}`);
}

// What the node's log says around it.
async function logOf(found) {
  const key = `${found.node} ${found.log}`;
  if (!(found.log >= 0) || !state.nodes[found.node]) {
    return "";
  }
  if (logs.has(key)) {
    return logs.get(key);
  }
  const name = encodeURIComponent(found.node);
  const response = await fetch(`api/log?node=${name}&around=${found.log}`);
  const text = response.ok ? (await response.json()).text.trimEnd() : "";
  if (found.at < Date.now() / 1000 - SETTLED) {
    logs.set(key, text);
    if (logs.size > MOST_LOGS) {
      logs.delete(logs.keys().next().value);
    }
  }
  return text;
}

function hideMoment() {
  told = null;
  byId("timeline-tip").hidden = true;
}

// The place is of the pointer, or of the mark itself.
async function tellMoment(found, left, top) {
  const tip = byId("timeline-tip");
  tip.style.left = `${Math.max(0, Math.min(left, byId("timeline").clientWidth - tip.offsetWidth))}px`;
  tip.style.top = `${top}px`;
  if (told === found) {
    return;
  }
  told = found;
  tip.hidden = false;
  say(byId("timeline-moment"), `${clock(found.at)} ${found.node || "lab"}\n${momentOf(found).join("\n")}`);
  say(byId("timeline-log"), "");
  const text = await logOf(found).catch(() => "");
  if (told === found) {
    say(byId("timeline-log"), text);
  }
}

// Of a mark, itself; else the last one before the pointer in its lane.
function pointedAt(event) {
  const box = byId("timeline-picture").getBoundingClientRect();
  const name = laneNames()[Math.floor((event.clientY - box.top - TOP) / LANE)];
  if (!name) {
    return null;
  }
  const number = Number(event.target.dataset && event.target.dataset.number);
  const view = scale();
  const at = view.from + ((event.clientX - box.left - NAMES) / (width - NAMES - 10)) * seconds;
  const isMark = event.target.matches(".mark");
  const before = (one) => (isMark ? one.number === number : one.at <= at);
  return at < view.from ? null : allOf(name).findLast(before) || null;
}

function hover(event) {
  const found = pointedAt(event);
  if (!found) {
    hideMoment();
    return;
  }
  const box = byId("timeline").getBoundingClientRect();
  tellMoment(found, event.clientX - box.left + 12, event.clientY - box.top + 14);
}

// By keyboard: from mark to mark, and from lane to lane.
function stepped(key) {
  const names = laneNames();
  const name = cursor ? cursor.node : names[0];
  const at = cursor ? cursor.at : lastMoment();
  if (key === "ArrowLeft" || key === "ArrowRight") {
    const list = allOf(name);
    const here = cursor ? list.findIndex((one) => one.number === cursor.number) : list.length;
    return list[here + (key === "ArrowLeft" ? -1 : 1)] || cursor;
  }
  const next = names[names.indexOf(name) + (key === "ArrowUp" ? -1 : 1)];
  const list = next ? allOf(next) : [];
  return list.findLast((one) => one.at <= at) || list[0] || cursor;
}

function move(event) {
  if (event.key === "Escape") {
    hideMoment();
  }
  if (!event.key.startsWith("Arrow")) {
    return;
  }
  event.preventDefault();
  cursor = stepped(event.key);
  if (!cursor) {
    return;
  }
  const { from, to } = scale();
  if (cursor.at < from || cursor.at > to) {
    end = Math.min(Date.now() / 1000, cursor.at + seconds / 2);
    mark(byId("timeline-live"), "aria-pressed", false);
  }
  dirty = true;
  redraw();
  const box = byId("timeline-picture");
  const row = laneNames().indexOf(cursor.node);
  tellMoment(cursor, box.offsetLeft + scale().x(cursor.at) + 12,
    box.offsetTop + TOP + LANE * (row + 1));
}

// The same as lines, for who reads and does not look.
let listed = -1;
let listText = "";

function showList() {
  const filter = byId("timeline-filter").value.toLowerCase();
  const open = byId("timeline-details").open;
  if (!open || (listed === taken && listText === filter)) {
    return;
  }
  listed = taken;
  listText = filter;
  const lines = [];
  for (let number = state.marks.length - 1; number >= 0 && lines.length < 200; number -= 1) {
    const one = state.marks[number];
    const text = `${one.node} ${one.kind} ${one.text} ${one.detail}`;
    if (text.toLowerCase().includes(filter)) {
      lines.push(make("li", { class: one.kind }, make("time", {}, clock(one.at)),
        make("b", {}, one.node || "lab"), make("span", { class: "kind" }, one.kind),
        make("span", {}, one.detail ? `${one.text}: ${one.detail}` : one.text)));
    }
  }
  byId("timeline-list").replaceChildren(...lines);
}

export function zoom(step) {
  const at = SPANS.indexOf(seconds);
  seconds = SPANS[Math.max(0, Math.min(SPANS.length - 1, at + step))];
  say(byId("timeline-span"), span(seconds));
  dirty = true;
  redraw();
}

export function shift(part) {
  end = Math.min(Date.now() / 1000, lastMoment() + part * seconds);
  if (part > 0 && end >= Date.now() / 1000 - 1) {
    end = null;
  }
  mark(byId("timeline-live"), "aria-pressed", end === null);
  dirty = true;
  redraw();
}

export function live() {
  end = null;
  mark(byId("timeline-live"), "aria-pressed", true);
  dirty = true;
  redraw();
}

function save(name, type, text) {
  const url = URL.createObjectURL(new Blob([text], { type }));
  const link = make("a", { href: url, download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(url), 1000);
}

// With the rules that it is drawn by, as they are just now: the file needs nothing else.
function saveSvg() {
  const svg = picture();
  svg.setAttribute("xmlns", "http://www.w3.org/2000/svg");
  const copies = [...svg.querySelectorAll("*")];
  const drawn = [...byId("timeline-picture").querySelectorAll("*")].slice(1);
  copies.forEach((copy, number) => {
    const style = drawn[number] && getComputedStyle(drawn[number]);
    for (const property of ["fill", "stroke", "stroke-width", "font-size", "font-family"]) {
      if (style) {
        copy.setAttribute(property, style.getPropertyValue(property));
      }
    }
  });
  const back = getComputedStyle(byId("timeline").parentElement).backgroundColor;
  svg.prepend(draw("rect", { width: "100%", height: "100%", fill: back }));
  save("timeline.svg", "image/svg+xml", new XMLSerializer().serializeToString(svg));
}

async function saveJson() {
  const answer = await (await fetch("api/timeline")).json();
  save("timeline.json", "application/json", JSON.stringify(answer, null, 1));
}

function button(text, onclick, more) {
  return make("button", { type: "button", onclick, ...more }, text);
}

function buildLegend() {
  return Object.keys(SHAPES).map((kind) => {
    const icon = draw("svg", { width: 18, height: 18, viewBox: "-9 -9 18 18", "aria-hidden": "true" },
      draw("path", { class: `mark ${kind}`, d: SHAPES[kind] }));
    return make("button", { type: "button", class: "chip", "aria-pressed": "true",
      onclick: (event) => {
        const wanted = !shownKinds.has(kind);
        (wanted ? shownKinds.add(kind) : shownKinds.delete(kind));
        event.currentTarget.setAttribute("aria-pressed", wanted);
        dirty = true;
        redraw();
      } }, icon, kind);
  });
}

export function begin() {
  byId("timeline-tools").append(
    button("←", () => shift(-0.5), { "aria-label": "Earlier" }),
    button("Live", live, { id: "timeline-live", "aria-pressed": "true" }),
    button("→", () => shift(0.5), { "aria-label": "Later" }),
    button("−", () => zoom(1), { "aria-label": "Show a longer time" }),
    make("span", { id: "timeline-span", class: "quiet" }, span(seconds)),
    button("+", () => zoom(-1), { "aria-label": "Show a shorter time" }),
    button("SVG", saveSvg, { "aria-label": "Save the timeline as SVG" }),
    button("JSON", saveJson, { "aria-label": "Save the timeline as JSON" }));
  const picture_ = make("div", { id: "timeline-picture", tabindex: "0", role: "group",
    "aria-label": "Timeline: the arrow keys go from mark to mark and from node to node",
    onmousemove: hover, onmouseleave: hideMoment, onkeydown: move,
    onblur: () => {
      cursor = null;
      dirty = true;
      hideMoment();
    } });
  picture_.addEventListener("wheel", (event) => {
    if (event.ctrlKey || event.shiftKey) {
      event.preventDefault();
      zoom(event.deltaY + event.deltaX > 0 ? 1 : -1);
    }
  }, { passive: false });
  byId("timeline").append(
    make("div", { class: "chips", role: "group", "aria-label": "Marks that are shown" },
      ...buildLegend()),
    picture_,
    make("div", { id: "timeline-tip", hidden: true, "aria-live": "polite" },
      make("p", { id: "timeline-moment" }), make("pre", { id: "timeline-log" })),
    make("details", { id: "timeline-details", ontoggle: () => { listed = -1; showList(); } },
      make("summary", {}, "As a list"),
      make("label", { for: "timeline-filter" }, "Only lines with "),
      make("input", { id: "timeline-filter", type: "search", oninput: showList,
        autocomplete: "off" }),
      make("ol", { id: "timeline-list" })));
  new ResizeObserver(() => {
    width = Math.floor(byId("timeline-picture").clientWidth);
    dirty = true;
    redraw();
  }).observe(byId("timeline-picture"));
  setInterval(redraw, LIVE_EVERY);
}

export function update(change) {
  if (change.all) {
    lists = new Map();
    state.marks.forEach(sort);
  } else {
    change.marks.forEach(sort);
  }
  dirty = dirty || change.all || change.marks.length > 0;
}
