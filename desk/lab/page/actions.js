// SPDX-License-Identifier: MIT
// The forms of what can be done, made of the lab's own table of operations.

import { byId, make, say } from "./dom.js";
import { nodes } from "./stream.js";
import { allNames, choose, chooseOnly, chosen, chosenNames } from "./choice.js";

const MOST_ANSWERS = 40;
let operations = [];
let version = 2; // the first number of the next one
let suggested = "4QZ2.0.0"; // what the page itself wrote there

async function send(name, body) {
  try {
    const response = await fetch(`api/${name}`, {
      method: "POST", headers: { "Content-Type": "application/json" }, body: JSON.stringify(body),
    });
    const answer = await response.json();
    return response.ok ? answer : { failed: answer.reason || `answer ${response.status}` };
  } catch (error) {
    return { failed: `the lab does not answer: ${error.message}` };
  }
}

function lines(name, answer) {
  if (answer.failed) {
    return [{ bad: true, text: `${name}: ${answer.failed}` }];
  }
  if (!answer.nodes) {
    return [{ bad: false, text: `${name}: done` }];
  }
  return Object.entries(answer.nodes).map(([node, one]) => ({
    bad: one.code !== 0,
    text: `${name} ${node}: ` + (one.code !== 0 ? `${one.reason} (${one.code})`
      : one.ticket ? `ticket ${one.ticket}` : "done"),
  }));
}

export async function perform(name, parameters = {}) {
  const operation = operations.find((one) => one.name === name);
  const body = { ...parameters };
  if (operation && operation.takes_nodes) {
    body.nodes = chosenNames().length ? chosenNames() : ["all"];
  }
  const answer = await send(name, body);
  const shown = byId("answers");
  for (const line of lines(name, answer)) {
    shown.prepend(make("p", { class: line.bad ? "bad" : "good" }, line.text));
  }
  while (shown.children.length > MOST_ANSWERS) {
    shown.lastChild.remove();
  }
  return answer;
}

// A suggestion that differs from the last one, so that a second offer is news to the nodes.
function suggestion(parameter) {
  const schema = parameter.schema;
  if (parameter.name === "version") {
    const known = nodes().flatMap((node) => [node.running_version, node.offered_version,
      ...node.banks.map((bank) => bank.version)]);
    version = Math.max(version, ...known.map((one) => Number(/^4QZ(\d+)/.exec(one || "")?.[1] || 0) + 1));
    return `4QZ${version}.0.0`;
  }
  return schema.default !== undefined ? String(schema.default) : "";
}

function input(operation, parameter) {
  const schema = parameter.schema;
  const id = `${operation.name}-${parameter.name}`;
  if (schema.enum) {
    const select = make("select", { id, name: parameter.name });
    for (const value of schema.enum) {
      select.append(make("option", { value, selected: value === schema.default }, String(value)));
    }
    return select;
  }
  if (schema.type === "boolean") {
    return make("input", { id, name: parameter.name, type: "checkbox" });
  }
  return make("input", {
    id, name: parameter.name, type: schema.type === "integer" ? "number" : "text",
    min: schema.minimum, max: schema.maximum, pattern: schema.pattern,
    required: parameter.required, value: suggestion(parameter), title: schema.description,
    autocomplete: "off", spellcheck: "false",
  });
}

function valueOf(field, schema) {
  if (schema.type === "boolean") {
    return field.checked;
  }
  return schema.type === "integer" ? Number(field.value) : field.value;
}

function form(operation) {
  const fields = operation.parameters.map((parameter) => {
    const field = input(operation, parameter);
    return { parameter, field };
  });
  const submit = async (event) => {
    event.preventDefault();
    const body = {};
    for (const { parameter, field } of fields) {
      if (field.value !== "" || parameter.schema.type === "boolean") {
        body[parameter.name] = valueOf(field, parameter.schema);
      }
    }
    const answer = await perform(operation.name, body);
    if (operation.name === "offer" && !answer.failed) {
      suggested = fields[0].field.value;
      suggestVersion();
    }
  };
  return make("form", { class: "form", onsubmit: submit, "aria-label": operation.summary },
    make("p", { class: "what" }, operation.summary),
    ...fields.map(({ parameter, field }) =>
      make("div", { class: "field" },
        make("label", { for: field.id, title: parameter.schema.description }, parameter.name),
        field)),
    make("button", { type: "submit", class: "go" }, operation.name));
}

function groupNames() {
  return [...new Set(operations.map((one) => one.group))];
}

function show(group, focus) {
  for (const tab of byId("groups").children) {
    const current = tab.dataset.group === group;
    tab.setAttribute("aria-selected", current);
    tab.tabIndex = current ? 0 : -1;
    if (current && focus) {
      tab.focus();
    }
  }
  for (const panel of byId("forms").children) {
    panel.hidden = panel.dataset.group !== group;
  }
}

function move(event) {
  const names = groupNames();
  const step = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
  if (step) {
    event.preventDefault();
    const now = names.indexOf(event.target.dataset.group);
    show(names[(now + step + names.length) % names.length], true);
  }
}

function build() {
  const names = groupNames();
  byId("groups").replaceChildren(...names.map((name, number) => make("button", {
    type: "button", role: "tab", id: `group-${number}`, "data-group": name,
    "aria-controls": `forms-${number}`, onclick: () => show(name), onkeydown: move,
  }, name)));
  byId("forms").replaceChildren(...names.map((name, number) => make("div", {
    role: "tabpanel", id: `forms-${number}`, "data-group": name,
    "aria-labelledby": `group-${number}`,
  }, ...operations.filter((one) => one.group === name).map(form))));
  show(names[0]);
}

export function showChoice() {
  const names = allNames();
  const some = chosenNames();
  const holder = byId("chosen");
  const focused = document.activeElement && document.activeElement.id;
  const chips = names.map((name) => make("button", {
    type: "button", id: `chip-${name}`, class: "chip", "aria-pressed": chosen.has(name),
    onclick: () => choose(name),
  }, name));
  holder.replaceChildren(
    make("p", { id: "chosen-text" },
      some.length ? `for ${some.length} of ${names.length} nodes` : "for all nodes"),
    make("div", { class: "chips", role: "group", "aria-label": "Nodes to act on" },
      make("button", { type: "button", id: "chip-none", class: "chip",
        "aria-pressed": some.length === 0, onclick: () => chooseOnly([]) }, "all"), ...chips));
  const again = focused && byId(focused);
  if (again && holder.contains(again)) {
    again.focus();
  }
}

export async function begin() {
  try {
    operations = await (await fetch("api/operations")).json();
    build();
  } catch (error) {
    say(byId("forms"), `the lab does not answer: ${error.message}`);
  }
}

// Once the nodes are known: a version that none of them has.
export function suggestVersion() {
  const offer = operations.find((one) => one.name === "offer");
  const field = byId("offer-version");
  if (offer && field && document.activeElement !== field && field.value === suggested) {
    suggested = suggestion(offer.parameters[0]);
    field.value = suggested;
  }
}

export function focusOn(name, field) {
  const operation = operations.find((one) => one.name === name);
  if (operation) {
    show(operation.group);
    byId(`${name}-${field}`).focus();
  }
}
