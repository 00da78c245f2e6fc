// SPDX-License-Identifier: MIT
// A card a node: everything of it at a glance.

import { byId, make, mark, say } from "./dom.js";
import { choose, chosen } from "./choice.js";
import { lookInside } from "./inside.js";
import { nodes, state } from "./stream.js";
import { FAULTS, size, span } from "./texts.js";

const cards = new Map();

function bankBox() {
  const version = make("b", {});
  const tags = make("span", { class: "tags" });
  const letter = make("span", { class: "letter" });
  return { box: make("div", { class: "bank" }, letter, version, tags), letter, version, tags };
}

function build(node) {
  const card = {
    check: make("input", { type: "checkbox", id: `choose-${node.name}`,
      onchange: (event) => choose(node.name, event.target.checked) }),
    stage: make("span", { class: "stage" }),
    bar: make("progress", { max: "100", value: "0", "aria-label": `download of ${node.name}` }),
    rate: make("span", { class: "rate" }),
    banks: { a: bankBox(), b: bankBox() },
    word: make("p", { class: "word" }),
    sentence: make("p", { class: "quiet sentence" }),
    notes: make("ul", { class: "notes" }),
    faults: make("p", { class: "faults" }),
    clock: make("p", { class: "quiet clock" }),
    foot: make("span", { class: "quiet" }),
  };
  card.root = make("article", { class: "card", "aria-labelledby": `name-${node.name}` },
    make("header", {}, card.check,
      make("label", { for: `choose-${node.name}`, id: `name-${node.name}` }, node.name),
      card.stage),
    make("div", { class: "download" }, card.bar, card.rate),
    make("div", { class: "banks" }, card.banks.a.box, card.banks.b.box),
    card.word, card.sentence, card.notes, card.faults, card.clock,
    make("footer", {}, card.foot,
      make("button", { type: "button", "aria-label": `Look inside ${node.name}`,
        onclick: () => lookInside(node.name) }, "Inside")));
  cards.set(node.name, card);
  return card.root;
}

function showBank(shown, bank, trial) {
  say(shown.letter, (bank.bank || "?").toUpperCase());
  say(shown.version, bank.version || (bank.whole ? "?" : "empty"));
  const tags = [];
  if (bank.running) {
    tags.push("running");
  }
  if (bank.next) {
    tags.push("boots next");
  }
  if (trial && trial.trial) {
    tags.push(`on trial, ${trial.attempts} left`);
  }
  if (trial && trial.failed_trials) {
    tags.push(`failed: ${trial.last_failure}`);
  }
  if (!bank.whole && bank.version) {
    tags.push("not whole");
  }
  say(shown.tags, tags.join(" · "));
  mark(shown.box, "data-running", bank.running ? "yes" : null);
  mark(shown.box, "data-failed", trial && trial.failed_trials ? "yes" : null);
}

function notesOf(node) {
  const notes = node.timers.map(
    (timer) => `${timer.name} rings in ` +
      span((timer.rings - Date.now() / 1000) * node.clock.speed));
  if (node.offered_version && node.ticket) {
    notes.push(`ticket ${node.ticket}: ${node.offered_version}`);
  }
  if (node.wait_reason) {
    notes.push(`waits: ${node.wait_reason}`);
  }
  if (node.last_end && node.last_end.ticket) {
    const end = node.last_end;
    notes.push(`last end: ${end.result} (${end.code})${end.reason ? `, ${end.reason}` : ""}`);
  }
  return notes;
}

function showNotes(card, node) {
  const notes = notesOf(node);
  while (card.notes.children.length > notes.length) {
    card.notes.lastChild.remove();
  }
  notes.forEach((text, number) => {
    if (!card.notes.children[number]) {
      card.notes.append(make("li", {}));
    }
    say(card.notes.children[number], text);
  });
}

function faultsOf(node) {
  const faults = node.faults.map((name) => FAULTS[name] || name);
  faults.push(...node.frozen.map((what) => `${what} stands still`));
  if (node.link === "cut") {
    faults.push("cable cut");
  }
  return faults.join(" · ");
}

function show(node) {
  const card = cards.get(node.name);
  const busy = node.stage === "downloading";
  mark(card.root, "data-stage", node.stage);
  mark(card.root, "data-chosen", chosen.has(node.name) ? "yes" : null);
  card.check.checked = chosen.has(node.name);
  say(card.stage, node.stage);
  card.bar.value = busy ? node.percentage : 0;
  const rate = node.rate ? `, ${size(node.rate)}/s` : "";
  const left = node.seconds_left !== null && node.seconds_left !== undefined
    ? `, ${span(node.seconds_left)} left` : "";
  say(card.rate, busy ? `${node.percentage} %${rate}${left}` : "");
  ["a", "b"].forEach((letter, number) => {
    const bank = node.banks[number] || { bank: letter };
    showBank(card.banks[letter], bank, node.bank_trials[number]);
  });
  say(card.word, node.status_word || "no status word yet");
  say(card.sentence, node.status_sentence || "");
  showNotes(card, node);
  showClock(card, node);
  say(card.faults, faultsOf(node));
  const mode = node.work_mode ? `${node.work_mode}, ${node.work_role}` : "";
  const root = node.root_connected ? "at the root" : "not at the root";
  const onboarding = node.onboarding ? " · onboarding" : "";
  say(card.foot, node.power === "on"
    ? `${size(node.memory * 1024)} · boot ${node.boots} · ${mode}${onboarding} · ${root}`
    : `boot ${node.boots}`);
}

export function update(change) {
  const holder = byId("cards");
  if (change.all) {
    cards.clear();
    holder.replaceChildren(...nodes().map(build));
  }
  for (const name of change.nodes) {
    if (!cards.has(name)) {
      holder.append(build(state.nodes[name]));
    }
    show(state.nodes[name]);
  }
}

export function showChoice() {
  nodes().forEach(show);
}

// Where it stands elsewhere than the lab's own, or runs faster.
function showClock(card, node) {
  const { ahead, since, speed } = node.clock;
  const now = Date.now() / 1000;
  const moved = Math.abs(ahead) > 1 || speed !== 1;
  const at = new Date((now + ahead + (now - since) * (speed - 1)) * 1000);
  const text = at.toISOString().slice(0, 19).replace("T", " ");
  say(card.clock, moved ? `its clock: ${text} UTC${speed === 1 ? "" : `, ${speed} times as fast`}` : "");
}

// Timers count down by themselves, and clocks go on.
export function begin() {
  setInterval(() => {
    for (const node of nodes()) {
      if (cards.has(node.name)) {
        showNotes(cards.get(node.name), node);
        showClock(cards.get(node.name), node);
      }
    }
  }, 1000);
}
