// SPDX-License-Identifier: MIT
// The page of the lab: brings its parts together, and says what the keys do.

import * as actions from "./actions.js";
import * as cards from "./cards.js";
import { allNames, choose, chooseOnly, chosenNames, onChoice } from "./choice.js";
import { byId, make, mark, say } from "./dom.js";
import * as inside from "./inside.js";
import * as mesh from "./mesh.js";
import * as scenarios from "./scenarios.js";
import { listen, nodes, open, state } from "./stream.js";
import * as timeline from "./timeline.js";

const KEYS = {
  o: ["offer an image: to the version field", () => actions.focusOn("offer", "version")],
  u: ["pull the plug of the chosen nodes", () => actions.perform("unplug")],
  p: ["put the plug in", () => actions.perform("plug")],
  r: ["reboot in order", () => actions.perform("reboot")],
  c: ["cancel whatever runs or waits", () => actions.perform("cancel")],
  t: ["the mobile app's trigger", () => actions.perform("trigger")],
  a: ["choose all nodes, or none", () =>
    chooseOnly(chosenNames().length === allNames().length ? [] : allNames())],
  g: ["choose the gateway, or not", () => choose(allNames()[0])],
  "1 ... 9": ["choose that extender, or not", null],
  l: ["look inside the first chosen node", () =>
    inside.lookInside(chosenNames()[0] || allNames()[0])],
  n: ["let time pass until the next timer rings", () => actions.perform("advance")],
  "+": ["timeline: shorter", () => timeline.zoom(-1)],
  "-": ["timeline: longer", () => timeline.zoom(1)],
  "[": ["timeline: earlier", () => timeline.shift(-0.5)],
  "]": ["timeline: later", () => timeline.shift(0.5)],
  "?": ["these keys", showKeys],
};

function showKeys() {
  const dialog = byId("key-list");
  dialog.replaceChildren(
    make("h2", { id: "key-title" }, "Keys"),
    make("dl", {}, ...Object.entries(KEYS).flatMap(([key, [text]]) =>
      [make("dt", {}, make("kbd", {}, key)), make("dd", {}, text)])),
    make("form", { method: "dialog" }, make("button", { type: "submit" }, "Close")));
  dialog.showModal();
}

function typed(event) {
  const field = event.target.closest("input:not([type=checkbox]), select, textarea, dialog");
  if (event.key === "Escape" && field && !field.matches("dialog")) {
    field.blur();
  }
  if (field || event.ctrlKey || event.altKey || event.metaKey) {
    return;
  }
  const number = Number(event.key);
  if (number >= 1 && allNames()[number]) {
    choose(allNames()[number]);
  } else if (KEYS[event.key] && KEYS[event.key][1]) {
    event.preventDefault();
    KEYS[event.key][1]();
  }
}

function summary() {
  if (!state.live) {
    return "the lab does not answer; trying again";
  }
  const all = nodes();
  const on = all.filter((node) => node.power === "on").length;
  const busy = all.filter((node) => !["idle", "off"].includes(node.stage)).length;
  return `${all.length} nodes, ${on} on, ${busy} busy`;
}

// As the system wishes, until somebody chooses.
const wishesDark = matchMedia("(prefers-color-scheme: dark)");

function setTheme(dark) {
  document.documentElement.dataset.theme = dark ? "dark" : "light";
}

function toggleTheme() {
  setTheme(document.documentElement.dataset.theme !== "dark");
}

function update(change) {
  for (const part of [mesh, cards, timeline, inside, scenarios]) {
    part.update(change);
  }
  if (change.all) {
    actions.showChoice();
  }
  actions.suggestVersion();
  say(byId("summary"), summary());
  mark(document.body, "data-live", state.live ? "yes" : null);
}

setTheme(wishesDark.matches);
wishesDark.addEventListener("change", () => setTheme(wishesDark.matches));
mesh.begin();
cards.begin();
timeline.begin();
inside.begin();
onChoice(() => {
  mesh.showChoice();
  cards.showChoice();
  actions.showChoice();
});
listen(update);
byId("keys").addEventListener("click", showKeys);
byId("theme").addEventListener("click", toggleTheme);
document.addEventListener("keydown", typed);
await Promise.all([actions.begin(), scenarios.begin()]);
open();
