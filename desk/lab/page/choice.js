// SPDX-License-Identifier: MIT
// The nodes that the next action is for.

import { nodes } from "./stream.js";

export const chosen = new Set();
const listeners = [];

export function onChoice(listener) {
  listeners.push(listener);
}

export function choose(name, wanted = !chosen.has(name)) {
  if (wanted) {
    chosen.add(name);
  } else {
    chosen.delete(name);
  }
  listeners.forEach((listener) => listener());
}

export function chooseOnly(names) {
  chosen.clear();
  names.forEach((name) => chosen.add(name));
  listeners.forEach((listener) => listener());
}

export function allNames() {
  return nodes().map((node) => node.name);
}

// In the order of the mesh.
export function chosenNames() {
  return allNames().filter((name) => chosen.has(name));
}
