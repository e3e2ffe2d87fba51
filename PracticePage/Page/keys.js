import {element} from './elements.js';
import {words} from './words.js';

/**
 * A key, or several that do the same, what they do, and the name of the words for it.
 * @typedef {{keys: string[], words: string, does: (key: string) => void}} Binding
 *   Keys are those of KeyboardEvent.key, with "Shift+" before those where it matters.
 */

/** The keys that a control uses itself, by what it is. @type {[string, RegExp][]} */
const own = [
  ['input:not([type]), input[type=text], input[type=number], input[type=search], textarea, [contenteditable]', /./],
  ['select', /^(Arrow|Home|End|Page|Enter$| $|.$)/],
  ['input[type=range]', /^(Shift\+)?(Arrow|Home$|End$|Page)/],
  ['input[type=radio]', /^(Shift\+)?(Arrow| $)/],
  ['input[type=checkbox], summary', /^( |Enter)$/],
  ['button, a[href]', /^( |Enter)$/],
];

/** @param {EventTarget | null} target @param {string} key */
function isOwn(target, key) {
  if (!(target instanceof Element)) return false;
  return own.some(([what, keys]) => target.matches(what) && keys.test(key));
}

/** @param {KeyboardEvent} event */
function nameOf(event) {
  const isNamed = event.key.length > 1;
  return event.shiftKey && isNamed ? `Shift+${event.key}` : event.key.length === 1 ? event.key.toLowerCase() : event.key;
}

/** @param {Binding[]} bindings */
export function followKeys(bindings) {
  document.addEventListener('keydown', event => {
    if (event.ctrlKey || event.altKey || event.metaKey || event.defaultPrevented || event.isComposing) return;
    if (document.querySelector('dialog[open]')) return;
    const key = nameOf(event);
    if (isOwn(event.target, key)) return;
    const binding = bindings.find(each => each.keys.includes(key));
    if (!binding) return;
    event.preventDefault();
    const isHeld = event.repeat && [' ', '?'].includes(key);
    if (!isHeld) binding.does(key);
  });
}

/** Names of keys that are not what they print. @type {Record<string, string>} */
const shown = {' ': 'key.space', ArrowLeft: '←', ArrowRight: '→', ArrowUp: '↑', ArrowDown: '↓', Home: 'key.home',
  End: 'key.end', Escape: 'key.escape'};

/** @param {string} key */
function keyText(key) {
  const name = key.replace('Shift+', '');
  const text = shown[name] ? words(shown[name]) : name.toUpperCase();
  return key.startsWith('Shift+') ? `${words('key.shift')} ${text}` : text;
}

/** Fills the page of the keys. @param {Binding[]} bindings */
export function listKeys(bindings) {
  const list = element('key-list');
  list.replaceChildren(...bindings.flatMap(({keys, words: name}) => {
    const term = document.createElement('dt');
    const shownKeys = keys.length > 4 ? [`${keyText(keys[0])}–${keyText(keys[keys.length - 1])}`] : keys.map(keyText);
    shownKeys.forEach((text, i) => {
      if (i) term.append(' ');
      const key = document.createElement('kbd');
      key.textContent = text;
      term.append(key);
    });
    const meaning = document.createElement('dd');
    meaning.textContent = words(name);
    return [term, meaning];
  }));
}
