/**
 * The element of the page with that name.
 * @template {HTMLElement} [T=HTMLElement]
 * @param {string} id
 * @param {new () => T} [type]
 * @returns {T}
 */
export function element(id, type) {
  const found = document.getElementById(id);
  if (!found || (type && !(found instanceof type))) throw new Error(`The page has no ${id}`);
  return /** @type {T} */ (found);
}
