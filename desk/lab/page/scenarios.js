// SPDX-License-Identifier: MIT
// Scenarios: chosen and played, each step as it comes; and what is done by hand, recorded.

import { perform } from "./actions.js";
import { byId, make, mark, say } from "./dom.js";

const AGAIN = 400; // milliseconds, while one is played or recorded
const ICONS = { "to come": "·", running: "▸", done: "✓", failed: "✗" };
let shown = { playing: null, recording: null };
let asks = false; // an answer is awaited
let timer = null;
let recorded = ""; // the last one that ended

const isPlaying = () => Boolean(shown.playing) &&
  ["to come", "playing"].includes(shown.playing.verdict);

async function ask() {
  if (asks) {
    return;
  }
  asks = true;
  try {
    shown = await (await fetch("api/scenario")).json();
    show();
  } catch {
    // The summary at the top says that the lab does not answer.
  } finally {
    asks = false;
  }
  clearTimeout(timer);
  if (isPlaying() || shown.recording !== null) {
    timer = setTimeout(ask, AGAIN);
  }
}

function line(step) {
  const found = step.found && step.state !== "done" ? step.found : "";
  return make("li", { "data-state": step.state, "aria-current": step.state === "running" && "step" },
    make("span", { class: "icon", "aria-hidden": "true" }, ICONS[step.state]),
    make("span", { class: "number" }, String(step.line)),
    make("code", {}, step.text),
    make("span", { class: "state" }, found ? `${step.state}: ${found}` : step.state));
}

function verdict(playing) {
  const reason = playing.reason ? `: ${playing.reason}` : "";
  const seconds = playing.seconds ? ` (${playing.seconds} s)` : "";
  return `${playing.name}: ${playing.verdict}${seconds}${reason}`;
}

function show() {
  const playing = shown.playing;
  const records = shown.recording !== null;
  const busy = isPlaying();
  say(byId("scenario-verdict"), playing ? verdict(playing) : "");
  mark(byId("scenario-verdict"), "data-verdict", playing ? playing.verdict : null);
  const steps = byId("scenario-steps");
  const lines = playing && !records ? playing.steps : [];
  // Only what differs is written: whoever reads it is not disturbed.
  while (steps.children.length > lines.length) {
    steps.lastChild.remove();
  }
  lines.forEach((step, number) => {
    const now = steps.children[number];
    const next = line(step);
    if (!now) {
      steps.append(next);
    } else if (!now.isEqualNode(next)) {
      now.replaceWith(next);
    }
  });
  byId("scenario-play").disabled = busy || records;
  byId("scenario-open").disabled = busy || records;
  byId("scenario-stop").disabled = !busy;
  byId("scenario-record").disabled = busy;
  mark(byId("scenario-record"), "aria-pressed", records);
  say(byId("scenario-record"), records ? "End the recording" : "Record");
  say(byId("scenario-text"), records ? shown.recording : recorded);
  byId("scenario-text").hidden = !records && !recorded;
  byId("scenario-save").hidden = records || !recorded;
}

async function play(name, text) {
  recorded = "";
  await perform("play", text ? { scenario: name, text } : { scenario: name });
  await ask();
}

async function open(event) {
  const [file] = event.target.files;
  if (file) {
    const name = file.name.replace(/\.scenario$/, "").replace(/[^A-Za-z0-9.-]/g, "-");
    await play(name, await file.text());
    event.target.value = ""; // the same file once more is news again
  }
}

async function record() {
  const state = shown.recording === null ? "begin" : "end";
  byId("scenario-record").disabled = true;
  const answer = await perform("record", { state });
  recorded = answer.text || (state === "end" ? recorded : "");
  await ask();
}

function save() {
  const url = URL.createObjectURL(new Blob([recorded], { type: "text/plain" }));
  make("a", { href: url, download: "recorded.scenario" }).click();
  setTimeout(() => URL.revokeObjectURL(url), 1000);
}

function explain() {
  const chosen = byId("scenario-choice").selectedOptions[0];
  say(byId("scenario-title"), chosen ? chosen.dataset.title : "");
}

function button(id, text, onclick, more) {
  return make("button", { type: "button", id, onclick, ...more }, text);
}

async function fill() {
  const { scenarios } = await (await fetch("api/scenarios")).json();
  byId("scenario-choice").replaceChildren(...scenarios.map((one) => make("option", {
    value: one.name,
    "data-title": one.extenders ? `${one.title} (${one.extenders} extenders)` : one.title,
  }, one.name)));
  explain();
}

export async function begin() {
  byId("scenarios").append(
    make("div", { class: "tools" },
      make("label", { for: "scenario-choice" }, "Scenario"),
      make("select", { id: "scenario-choice", onchange: explain }),
      button("scenario-play", "Play", () => play(byId("scenario-choice").value), { class: "go" }),
      button("scenario-stop", "Stop", async () => { await perform("stop-playing"); await ask(); },
        { disabled: true }),
      button("scenario-open", "Play a file", () => byId("scenario-file").click()),
      make("input", { id: "scenario-file", type: "file", accept: ".scenario,text/plain",
        hidden: true, onchange: open }),
      button("scenario-record", "Record", record, { "aria-pressed": "false" }),
      button("scenario-save", "Save the recording", save, { hidden: true })),
    make("p", { id: "scenario-title", class: "quiet" }),
    make("p", { class: "quiet" }, "Every node begins anew: what it held is gone."),
    make("p", { id: "scenario-verdict", role: "status", "aria-live": "polite" }),
    make("ol", { id: "scenario-steps", "aria-label": "Steps" }),
    make("pre", { id: "scenario-text", hidden: true, tabindex: "0", role: "region",
      "aria-label": "The recording" }));
  try {
    await fill();
  } catch (error) {
    say(byId("scenario-title"), `the lab does not answer: ${error.message}`);
  }
}

// The lab marks every step: that is when there is news.
export function update(change) {
  if (change.all || change.marks.some((one) => one.kind === "scenario")) {
    ask();
  }
}
