/** @import {Api} from './api.js' */
/** @import {Row, RowsAnswer} from './types.js' */
import {indexAt} from './song.js';

const pageSize = 24;

/** @typedef {{width: number, scale: number, simple: boolean}} Layout  CSS pixels, and those of a second. */

/**
 * Where a frame lies in a row, in CSS pixels; at an edge for frames beyond it.
 * @param {Row} row
 * @param {number} frame
 */
export function xOf(row, frame) {
  const {pieces} = row;
  const i = Math.min(pieces.length - 2, Math.max(0, indexAt(pieces, frame, piece => piece[0])));
  const [[start, left], [end, right]] = [pieces[i], pieces[i + 1]];
  const share = end > start ? (frame - start) / (end - start) : 0;
  return left + Math.min(1, Math.max(0, share)) * (right - left);
}

/**
 * The frame at a place of a row.
 * @param {Row} row
 * @param {number} x
 */
export function frameAt(row, x) {
  const {pieces} = row;
  const i = Math.min(pieces.length - 2, Math.max(0, indexAt(pieces, x, piece => piece[1])));
  const [[start, left], [end, right]] = [pieces[i], pieces[i + 1]];
  const share = right > left ? (x - left) / (right - left) : 0;
  return Math.round(start + Math.min(1, Math.max(0, share)) * (end - start));
}

/** @param {Layout} layout @param {number} from @param {number} count */
export function rowsPath({width, scale, simple}, from, count) {
  return `/api/rows?width=${width}&scale=${scale}&from=${from}&count=${count}&simple=${simple ? 1 : 0}`;
}

/** The rows of a layout, fetched as they are needed. Tells by `changed` when there are others or more. */
export class Rows {
  #api;
  #changed;
  #generation = 0;
  /** @type {(Row | undefined)[]} */
  #rows = [];
  /** @type {Set<number>} */
  #asked = new Set();
  /** @type {number[]} */
  starts = [];
  /** @type {Layout} */
  layout = {width: 0, scale: 1, simple: false};

  /** @param {Api} api @param {() => void} changed */
  constructor(api, changed) {
    this.#api = api;
    this.#changed = changed;
  }

  get count() {
    return this.starts.length;
  }

  /**
   * Lays the song out; the rows of before stay until there are new ones.
   * @param {Layout} layout
   * @param {number} frame that is wanted first
   */
  async lay(layout, frame) {
    const generation = ++this.#generation;
    const before = this.starts.length ? this.rowOf(frame) : 0;
    const from = Math.max(0, before - (before % pageSize));
    const answer = await this.#fetch(layout, from, true);
    if (generation !== this.#generation) return;
    this.layout = layout;
    this.starts = answer.starts ?? [];
    this.#rows = new Array(answer.rowCount);
    this.#asked = new Set();
    this.#take(answer);
    this.#asked.add(from / pageSize);
    this.#changed();
  }

  /** @param {Layout} layout @param {number} from @param {boolean} withStarts @returns {Promise<RowsAnswer>} */
  #fetch(layout, from, withStarts) {
    return this.#api.get(rowsPath(layout, from, pageSize) + (withStarts ? '&starts=1' : ''));
  }

  /** @param {RowsAnswer} answer */
  #take(answer) {
    for (const row of answer.rows) this.#rows[row.index] = row;
  }

  /** A row, or undefined where it is still on its way. @param {number} index @returns {Row | undefined} */
  row(index) {
    const row = this.#rows[index];
    if (!row && index >= 0 && index < this.count) this.#load(Math.floor(index / pageSize));
    return row;
  }

  /** @param {number} page */
  async #load(page) {
    if (this.#asked.has(page)) return;
    this.#asked.add(page);
    const generation = this.#generation;
    try {
      const answer = await this.#fetch(this.layout, page * pageSize, false);
      if (generation !== this.#generation) return;
      this.#take(answer);
      this.#changed();
    } catch {
      this.#asked.delete(page); // asked for again when it is needed again
    }
  }

  /** @param {number} frame */
  rowOf(frame) {
    return Math.max(0, indexAt(this.starts, frame, start => start));
  }
}
