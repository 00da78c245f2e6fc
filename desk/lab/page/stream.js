// SPDX-License-Identifier: MIT
// What the lab tells: a snapshot, then steps. The page keeps all of it in one state.

export const state = { nodes: {}, servers: {}, marks: [], live: false };

const MOST_MARKS = 20000;
const AGAIN = 1500; // milliseconds

const listeners = [];
let pending = null;

// Called at most once a frame with what changed: {nodes: Set, servers: Set, marks: [], all: bool}.
export function listen(listener) {
  listeners.push(listener);
}

function fresh() {
  return { nodes: new Set(), servers: new Set(), marks: [], all: false };
}

function tell() {
  const change = pending;
  pending = null;
  for (const listener of listeners) {
    listener(change);
  }
}

function later() {
  if (pending === null) {
    pending = fresh();
    // A page that nobody looks at is given no frames.
    if (document.hidden) {
      setTimeout(tell, 250);
    } else {
      requestAnimationFrame(tell);
    }
  }
  return pending;
}

function take(message) {
  const change = later();
  if (message.kind === "snapshot") {
    Object.assign(state, { nodes: {}, servers: {}, marks: [] });
    change.all = true;
  }
  for (const group of ["nodes", "servers"]) {
    for (const [name, fields] of Object.entries(message[group])) {
      state[group][name] = Object.assign(state[group][name] || {}, fields);
      change[group].add(name);
    }
  }
  for (const mark of message.marks) {
    state.marks.push(mark);
    change.marks.push(mark);
  }
  if (state.marks.length > MOST_MARKS) {
    state.marks.splice(0, state.marks.length - MOST_MARKS);
  }
}

function setLive(live) {
  if (state.live !== live) {
    state.live = live;
    later();
  }
}

export function open() {
  const source = new EventSource("api/events");
  // What is shown may be of an earlier run until the first of it is there.
  source.onmessage = (event) => {
    take(JSON.parse(event.data));
    setLive(true);
  };
  source.onerror = () => {
    setLive(false);
    // It tries again by itself, unless the lab was not there at all.
    if (source.readyState === EventSource.CLOSED) {
      setTimeout(open, AGAIN);
    }
  };
}

// The nodes in the order of the mesh.
export function nodes() {
  return Object.values(state.nodes);
}
