// SPDX-License-Identifier: MIT
// Elements without a line of HTML: what a node says is only ever text.

const SVG = "http://www.w3.org/2000/svg";

function fill(element, properties, children) {
  for (const [name, value] of Object.entries(properties || {})) {
    if (name.startsWith("on")) {
      element.addEventListener(name.slice(2), value);
    } else if (value === true) {
      element.setAttribute(name, "");
    } else if (value !== false && value !== null && value !== undefined) {
      element.setAttribute(name, value);
    }
  }
  element.append(...children.filter((child) => child !== null && child !== undefined));
  return element;
}

export function make(name, properties, ...children) {
  return fill(document.createElement(name), properties, children);
}

export function draw(name, properties, ...children) {
  return fill(document.createElementNS(SVG, name), properties, children);
}

// Only what differs touches the page: whoever reads it with a screen reader is not disturbed.
export function say(element, text) {
  if (element.textContent !== text) {
    element.textContent = text;
  }
}

export function mark(element, name, value) {
  if (value === false || value === null || value === undefined) {
    if (element.hasAttribute(name)) {
      element.removeAttribute(name);
    }
  } else if (element.getAttribute(name) !== String(value)) {
    element.setAttribute(name, value);
  }
}

export const byId = (id) => document.getElementById(id);
