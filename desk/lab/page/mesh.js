// SPDX-License-Identifier: MIT
// The mesh as a drawing: servers above, the gateway in the middle, its extenders below.

import { byId, draw, make, mark, say } from "./dom.js";
import { chosen, choose } from "./choice.js";
import { nodes, state } from "./stream.js";
import { size } from "./texts.js";

const RADIUS = 21;
const ROW = 104;
const MANY = 12; // nodes, of which nothing moves by itself
const AROUND = 2 * Math.PI * (RADIUS + 5);

const parts = new Map();
let width = 0;

function place(list) {
  const columns = Math.max(3, Math.min(10, Math.floor(width / 92), Math.ceil(list.length / 1)));
  const rows = Math.ceil((list.length - 1) / columns);
  const spots = new Map();
  spots.set("file-server", { x: width * 0.25, y: 40 });
  spots.set("broker", { x: width * 0.75, y: 40 });
  list.forEach((node, number) => {
    if (number === 0) {
      spots.set(node.name, { x: width / 2, y: 132 });
      return;
    }
    const row = Math.floor((number - 1) / columns);
    const inRow = row === rows - 1 ? list.length - 1 - row * columns : columns;
    const step = width / inRow;
    spots.set(node.name, { x: step * (((number - 1) % columns) + 0.5), y: 132 + ROW * (row + 1) });
  });
  return { spots, height: 132 + ROW * rows + 62 };
}

function curve(from, to) {
  const middle = (from.y + to.y) / 2;
  return `M${from.x},${from.y} C${from.x},${middle} ${to.x},${middle} ${to.x},${to.y}`;
}

function serverShape(name, spot, text) {
  const label = draw("text", { class: "server-name", y: 5 });
  label.textContent = text;
  const note = draw("text", { class: "server-note", y: 40 });
  const group = draw("g", { class: "server", transform: `translate(${spot.x},${spot.y})` },
    draw("rect", { x: -62, y: -22, width: 124, height: 44, rx: 9 }), label, note);
  parts.set(name, { group, note });
  return group;
}

function nodeShape(node, spot) {
  const name = draw("text", { class: "node-name", y: RADIUS + 24 });
  name.textContent = node.name;
  const version = draw("text", { class: "node-note", y: RADIUS + 39 });
  const letter = draw("text", { class: "node-letter", y: 5 });
  letter.textContent = node.gateway ? "G" : node.name.replace("ext-", "");
  const ring = draw("circle", {
    class: "ring", r: RADIUS + 5, "stroke-dasharray": AROUND, "stroke-dashoffset": AROUND,
    transform: "rotate(-90)",
  });
  const group = draw("g", {
    class: "node", transform: `translate(${spot.x},${spot.y})`, tabindex: "0", role: "checkbox",
    onclick: () => choose(node.name),
    onkeydown: (event) => {
      if (event.key === " " || event.key === "Enter") {
        event.preventDefault();
        choose(node.name);
      }
    },
  },
  draw("circle", { class: "halo", r: RADIUS + 11 }), draw("circle", { class: "body", r: RADIUS }),
  ring, letter, name, version);
  parts.set(node.name, { group, ring, version });
  return group;
}

function build() {
  const list = nodes();
  const { spots, height } = place(list);
  parts.clear();
  const svg = draw("svg", {
    viewBox: `0 0 ${width} ${height}`, width, height, role: "group",
    "aria-label": "The mesh: choose nodes here", "data-many": list.length > MANY,
  });
  const hub = list.length ? spots.get(list[0].name) : spots.get("broker");
  for (const name of ["file-server", "broker"]) {
    const cable = draw("path", { class: "cable", d: curve(spots.get(name), hub) });
    svg.append(cable);
    parts.set(`cable ${name}`, cable);
  }
  for (const node of list.slice(1)) {
    const cable = draw("path", { class: "cable", d: curve(hub, spots.get(node.name)) });
    parts.set(`cable ${node.name}`, cable);
    svg.append(cable);
  }
  svg.append(serverShape("file-server", spots.get("file-server"), "file server"));
  svg.append(serverShape("broker", spots.get("broker"), "broker"));
  for (const node of list) {
    svg.append(nodeShape(node, spots.get(node.name)));
  }
  byId("drawing").replaceChildren(svg);
  list.forEach(show);
  showServers();
}

function show(node) {
  const part = parts.get(node.name);
  if (!part) {
    return;
  }
  const busy = node.stage === "downloading";
  const label = `${node.name}, ${node.stage}${busy ? ` ${node.percentage} %` : ""}, ` +
    `runs ${node.running_version || "nothing"}`;
  mark(part.group, "aria-label", label);
  mark(part.group, "aria-checked", chosen.has(node.name));
  mark(part.group, "data-stage", node.stage);
  mark(part.group, "data-broken", node.faults.length || node.frozen.length ? "yes" : null);
  mark(part.ring, "stroke-dashoffset", busy ? AROUND * (1 - node.percentage / 100) : AROUND);
  say(part.version, node.power === "on" ? node.running_version || node.stage : node.stage);
  const cable = parts.get(`cable ${node.name}`);
  if (cable) {
    mark(cable, "data-cut", node.link === "cut" ? "yes" : null);
    mark(cable, "data-busy", busy && node.link !== "cut" ? "yes" : null);
    mark(cable, "data-off", node.power === "off" ? "yes" : null);
  }
}

function showServers() {
  const files = state.servers["file-server"];
  const broker = state.servers.broker;
  if (!files || !broker || !parts.has("broker")) {
    return;
  }
  const rate = files.rate ? `${size(files.rate)}/s each` : "no limit";
  say(parts.get("file-server").note, files.state === "good" ? rate : files.state);
  mark(parts.get("file-server").group, "data-broken", files.state === "good" ? null : "yes");
  say(parts.get("broker").note,
    broker.state === "running" ? `${broker.connections} connected` : broker.state);
  mark(parts.get("broker").group, "data-broken", broker.state === "running" ? null : "yes");
  mark(parts.get("cable file-server"), "data-busy", files.connections ? "yes" : null);
  mark(parts.get("cable broker"), "data-off", broker.state === "running" ? null : "yes");
}

export function update(change) {
  const count = nodes().length;
  if (change.all || count !== [...parts.values()].filter((part) => part.ring).length) {
    build();
    return;
  }
  for (const name of change.nodes) {
    show(state.nodes[name]);
  }
  if (change.servers.size) {
    showServers();
  }
}

export function showChoice() {
  nodes().forEach(show);
}

export function begin() {
  const holder = byId("drawing");
  holder.append(make("p", { class: "quiet" }, "waiting for the lab ..."));
  new ResizeObserver(() => {
    const now = Math.floor(holder.clientWidth);
    if (now > 0 && now !== width) {
      width = now;
      if (nodes().length) {
        build();
      }
    }
  }).observe(holder);
}
