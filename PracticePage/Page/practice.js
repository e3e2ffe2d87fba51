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
  #isKept = true;

  /** @param {Api} api */
  constructor(api) {
    super();
    this.#api = api;
    /** @type {PracticeValues} */
    this.values = structuredClone(defaults);
  }

  /** Takes what the server kept. @param {Partial<PracticeValues>} values */
  load(values) {
    if (!this.#isKept) return;
    const before = this.values;
    this.values = {
      ...structuredClone(defaults), ...values,
      click: {...defaults.click, ...values.click},
      volumes: {...defaults.volumes, ...values.volumes},
      trainer: {...defaults.trainer, ...values.trainer},
    };
    if (JSON.stringify(before) !== JSON.stringify(this.values)) this.dispatchEvent(new Event('change'));
  }

  /** @param {Partial<PracticeValues>} changes */
  set(changes) {
    const before = JSON.stringify(this.values);
    this.values = {...this.values, ...changes};
    this.values.speed = Math.round(Math.min(fastest, Math.max(slowest, this.values.speed)) * 100) / 100;
    if (JSON.stringify(this.values) === before) return;
    this.#isKept = false;
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.keep(), 400);
    this.dispatchEvent(new Event('change'));
  }

  /** Sends what has not been kept yet. @param {boolean} [isClosing] */
  async keep(isClosing = false) {
    clearTimeout(this.#timer);
    if (this.#isKept) return;
    this.#isKept = true;
    try {
      const response = await this.#api.request('PUT', '/api/practice', this.values, {keepalive: isClosing});
      this.dispatchEvent(new CustomEvent('kept', {detail: (await response.json()).revision}));
    } catch (error) {
      this.#isKept = false;
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
