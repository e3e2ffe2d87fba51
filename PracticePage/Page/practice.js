/** @import {Api} from './api.js' */
/** @import {PracticeValues} from './types.js' */

/** @type {PracticeValues} */
const defaults = {
  speed: 1, loop: null, snap: 'bar', countIn: 0, countInEach: false, click: {on: false, rate: 1},
  volumes: {song: 1, click: 0.7}, trainer: {on: false, step: 5, rounds: 2, goal: 1}, semitones: 0, follow: false,
  tune: false, simple: false, spectrogram: false, instrument: 'guitar', zoom: 1, speak: false, position: 0,
  language: null,
};

export const slowest = 0.25;
export const fastest = 2;

/** How the song is practised; kept with it by the server. */
export class Practice extends EventTarget {
  #api;
  #timer = 0;
  #kept = '';
  #sending = Promise.resolve();

  /** @param {Api} api */
  constructor(api) {
    super();
    this.#api = api;
    /** @type {PracticeValues} */
    this.values = structuredClone(defaults);
  }

  /** Takes what the server kept. @param {Partial<PracticeValues>} values */
  load(values) {
    this.values = {
      ...structuredClone(defaults), ...values,
      click: {...defaults.click, ...values.click},
      volumes: {...defaults.volumes, ...values.volumes},
      trainer: {...defaults.trainer, ...values.trainer},
    };
    this.#kept = JSON.stringify(this.values);
  }

  /** @param {Partial<PracticeValues>} changes */
  set(changes) {
    const before = JSON.stringify(this.values);
    this.values = {...this.values, ...changes};
    this.values.speed = Math.round(Math.min(fastest, Math.max(slowest, this.values.speed)) * 100) / 100;
    if (JSON.stringify(this.values) === before) return;
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.keep(), 400);
    this.dispatchEvent(new Event('change'));
  }

  /**
   * Sends what has not been kept yet: one state at a time, so that the last one sent is the last one kept.
   * @param {boolean} [isClosing] then at once
   */
  keep(isClosing = false) {
    clearTimeout(this.#timer);
    if (isClosing) return this.#send(true);
    this.#sending = this.#sending.then(() => this.#send(false));
    return this.#sending;
  }

  /** @param {boolean} isClosing */
  async #send(isClosing) {
    const state = JSON.stringify(this.values);
    if (state === this.#kept) return;
    try {
      await this.#api.request('PUT', '/api/practice', this.values, {keepalive: isClosing});
      this.#kept = state;
    } catch (error) {
      this.dispatchEvent(new CustomEvent('unkept', {detail: error}));
    }
  }

  /**
   * Reads or sets a value by its path, for instance "volumes.song".
   * @param {string} path
   */
  read(path) {
    return path.split('.').reduce((/** @type {any} */ value, name) => value[name], this.values);
  }

  /** @param {string} path @param {unknown} value */
  write(path, value) {
    const [name, inner] = path.split('.');
    this.set(inner ? {[name]: {...this.read(name), [inner]: value}} : {[name]: value});
  }
}
