// Elements of the page.

export const byId = (id) => document.getElementById(id);

export function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name in element) element[name] = value;
    else element.setAttribute(name, value);
  }
  element.append(...children);
  return element;
}

// Writes only what differs: pages that do not change are not laid out again.
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

// Numbers that a viewer is typing into are left alone.
export function setValue(input, value) {
  if (document.activeElement !== input && input.value !== String(value)) input.value = value;
}
