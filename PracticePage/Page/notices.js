import {element} from './elements.js';

/**
 * Shows a line above the chart that stays until it is dropped; an empty text drops it.
 * @param {string} name of the line, which replaces another of that name
 * @param {string} text
 * @param {{label: string, does: () => void}} [action]
 */
export function notify(name, text, action) {
  const lines = element('notices');
  for (const line of lines.children)
    if (line instanceof HTMLElement && line.dataset.name === name) line.remove();
  if (!text) return;
  const line = document.createElement('p');
  line.dataset.name = name;
  line.setAttribute('role', name === 'trouble' ? 'alert' : 'status');
  line.append(text);
  if (action) {
    const button = document.createElement('button');
    button.type = 'button';
    button.textContent = action.label;
    button.addEventListener('click', action.does);
    line.append(' ', button);
  }
  lines.append(line);
}

let timer = 0;

/**
 * Shows for some seconds what was done, and offers to take it back.
 * @param {string} text
 * @param {(() => void) | null} undo
 */
export function toast(text, undo) {
  const box = element('toast');
  const button = element('toast-undo', HTMLButtonElement);
  element('toast-text').textContent = text;
  button.hidden = !undo;
  button.onclick = () => {
    box.hidden = true;
    undo?.();
  };
  box.hidden = false;
  clearTimeout(timer);
  timer = setTimeout(() => (box.hidden = true), 6000);
}
