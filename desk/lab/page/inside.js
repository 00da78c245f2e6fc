// SPDX-License-Identifier: MIT
// One node from inside: its log, its boot environment, what it was offered, what it keeps.

import { byId, make, mark, say } from "./dom.js";
import { state } from "./stream.js";

const VIEWS = ["log", "boot environment", "descriptor", "power cut", "requests", "configuration",
  "otactl"];
const AGAIN = 1000; // milliseconds between two looks
const MOST_LINES = 2000;

let node = "gateway";
let view = "log";
let end = -1; // of the log that is shown
let lines = [];

function fields(object) {
  return Object.entries(object).map(([name, value]) => `${name}=${value}`).join("\n");
}

function pretty(text) {
  try {
    return JSON.stringify(JSON.parse(text), null, 1);
  } catch {
    return text;
  }
}

function lossesOf(answer) {
  const watched = state.nodes[node].watched
    ? "" : "Nobody watches what is synced: watch-storage, or cut-power-at, lets somebody.\n";
  return `${watched}What the last power cut took:\n${answer.power_cut_in_words}`;
}

function textOf(answer) {
  switch (view) {
  case "boot environment":
    return fields(answer.boot_environment);
  case "descriptor":
    return answer.descriptor ? JSON.stringify(answer.descriptor, null, 1) : "nothing was offered";
  case "power cut":
    return lossesOf(answer);
  case "requests":
    return answer.requests ? pretty(answer.requests) : "it keeps none";
  default:
    return answer.configuration;
  }
}

function showLines() {
  const filter = byId("inside-filter").value.toLowerCase();
  const shown = filter ? lines.filter((line) => line.toLowerCase().includes(filter)) : lines;
  const holder = byId("inside-text");
  const follows = holder.scrollTop + holder.clientHeight >= holder.scrollHeight - 30;
  say(byId("inside-pre"), shown.join("\n"));
  showPrinted();
  if (follows) {
    holder.scrollTop = holder.scrollHeight;
  }
}

// Beside the descriptor as it was offered, what the guard made of it.
function showPrinted() {
  const isDescriptor = view === "descriptor";
  for (const id of ["inside-offered-title", "inside-printed-title", "inside-printed"]) {
    byId(id).hidden = !isDescriptor;
  }
  const printed = state.nodes[node] && state.nodes[node].printed;
  say(byId("inside-printed"), printed ? pretty(printed) : "nothing that was still to be seen");
}

async function ask(path) {
  const response = await fetch(`api/${path}`);
  const answer = await response.json();
  if (!response.ok) {
    throw new Error(answer.reason);
  }
  return answer;
}

async function refreshLog() {
  const answer = await ask(`log?node=${encodeURIComponent(node)}&offset=${end}`);
  if (answer.end < end) {
    lines = [];
  }
  end = answer.end;
  if (answer.text) {
    lines = lines.concat(answer.text.replace(/\n$/, "").split("\n")).slice(-MOST_LINES);
    showLines();
  }
}

function otactlLines() {
  const words = state.nodes[node].otactl;
  return ["status", "watch", "explain", "history -n 20", "banks"]
    .map((verb) => `${words} ${verb}`).join("\n");
}

async function refresh() {
  if (!state.live || !state.nodes[node] || !state.nodes[node].otactl || document.hidden) {
    return;
  }
  try {
    if (view === "log") {
      await refreshLog();
      return;
    }
    lines = (view === "otactl" ? otactlLines()
      : textOf(await ask(`inside?node=${encodeURIComponent(node)}`))).split("\n");
    showLines();
  } catch (error) {
    lines = [error.message];
    showLines();
  }
}

function choose(newNode, newView) {
  node = newNode;
  view = newView;
  end = -1;
  lines = [];
  byId("inside-node").value = node;
  for (const tab of byId("inside-views").children) {
    mark(tab, "aria-pressed", tab.textContent === view);
  }
  say(byId("inside-pre"), "");
  refresh();
}

export function lookInside(name) {
  choose(name, view);
  byId("inside").scrollIntoView({ block: "start" });
  byId("inside-node").focus({ preventScroll: true });
}

export function update(change) {
  const select = byId("inside-node");
  const names = Object.keys(state.nodes);
  if (change.all || select.children.length !== names.length) {
    select.replaceChildren(...names.map((name) => make("option", { value: name }, name)));
    select.value = node;
  }
}

export function begin() {
  byId("inside-tools").append(
    make("label", { for: "inside-node" }, "Node "),
    make("select", { id: "inside-node", onchange: (event) => choose(event.target.value, view) }),
    make("div", { id: "inside-views", class: "chips", role: "group", "aria-label": "What to read" },
      ...VIEWS.map((name) => make("button", { type: "button", class: "chip",
        "aria-pressed": name === view, onclick: () => choose(node, name) }, name))),
    make("label", { for: "inside-filter" }, "Only lines with "),
    make("input", { id: "inside-filter", type: "search", oninput: showLines,
      autocomplete: "off" }));
  byId("inside-text").append(make("div", { id: "inside-both" },
    make("div", {}, make("h3", { id: "inside-offered-title", hidden: true }, "As it was offered"),
      make("pre", { id: "inside-pre" })),
    make("div", {},
      make("h3", { id: "inside-printed-title", hidden: true }, "As the guard printed it"),
      make("pre", { id: "inside-printed", hidden: true }))));
  mark(byId("inside-text"), "tabindex", "0");
  mark(byId("inside-text"), "role", "region");
  mark(byId("inside-text"), "aria-label", "What the node holds");
  setInterval(refresh, AGAIN);
}
