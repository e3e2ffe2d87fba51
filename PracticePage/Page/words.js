/** @type {Record<string, string>} */
let table = {};

/** @param {string | null | undefined} wanted @returns {'en' | 'de'} */
export function languageFor(wanted) {
  return (wanted ?? navigator.language).toLowerCase().startsWith('de') ? 'de' : 'en';
}

/** @param {'en' | 'de'} language */
export async function loadWords(language) {
  const response = await fetch(`/page/words.${language}.json`);
  table = await response.json();
  document.documentElement.lang = language;
}

/**
 * The text of a name, with the values for what stands in braces.
 * @param {string} name
 * @param {Record<string, string | number>} [values]
 */
export function words(name, values = {}) {
  const text = table[name] ?? name;
  return text.replace(/\{(\w+)\}/g, (whole, key) => String(values[key] ?? whole));
}

/**
 * Fills in the texts and labels that the markup names: data-words, data-label.
 * @param {ParentNode} root
 */
export function fillWords(root) {
  for (const element of root.querySelectorAll('[data-words]'))
    element.textContent = words(element.getAttribute('data-words') ?? '');
  for (const element of root.querySelectorAll('[data-label]')) {
    const text = words(element.getAttribute('data-label') ?? '');
    const key = element.getAttribute('data-key');
    element.setAttribute('aria-label', text);
    element.setAttribute('title', key ? `${text} (${key})` : text);
  }
}
