/** @import {Api} from './api.js' */
/** @import {Song} from './song.js' */
/** @import {Row} from './types.js' */
import {frameAt} from './rows.js';

const chunkSeconds = 60;
const pointsPerSecond = 200;

/** How long what is not complete yet is shown before it is fetched again, in milliseconds; what is not there yet is asked
 * for after a shorter while, and then ever more seldom. */
const pause = 400;
const [firstPause, lastPause] = [80, 5000];
/** The peak of a recording that is drawn as high as a row; those of louder ones are, too. */
const quietest = 24;

/** The waveform of the song, fetched minute by minute and kept, whatever the zoom. */
export class Waves {
  #api;
  #song;
  #arrived;
  /** @type {Map<number, Uint8Array | null>} null: on its way */
  #chunks = new Map();
  #loudest = quietest;

  /** @param {Api} api @param {Song} song @param {() => void} arrived */
  constructor(api, song, arrived) {
    this.#api = api;
    this.#song = song;
    this.#arrived = arrived;
  }

  /** @param {number} index */
  #path(index) {
    const {length, rate} = this.#song;
    const from = Math.round(index * chunkSeconds * rate);
    const to = Math.min(length, Math.round((index + 1) * chunkSeconds * rate));
    const points = Math.max(1, Math.round(((to - from) / rate) * pointsPerSecond));
    return `/api/waveform?from=${from}&to=${to}&points=${points}`;
  }

  /** @param {number} index @param {Uint8Array} bytes */
  #keep(index, bytes) {
    this.#chunks.set(index, bytes);
    for (const byte of bytes) this.#loudest = Math.max(this.#loudest, byte);
  }

  /** @param {number} index @param {number} [wait] before it is asked for again, where it is not there yet */
  async #load(index, wait = firstPause) {
    if (!this.#chunks.get(index)) this.#chunks.set(index, null);
    try {
      const {bytes, isComplete} = await this.#api.bytes(this.#path(index));
      this.#keep(index, bytes);
      if (!isComplete) setTimeout(() => this.#load(index, Math.min(lastPause, 2 * wait)), bytes.length ? pause : wait);
      if (bytes.length) this.#arrived();
    } catch {
      setTimeout(() => {
        this.#chunks.delete(index);
        this.#arrived();
      }, pause);
    }
  }

  /** Knows all of it that is there; the whole page waits for it. */
  knowAllNow() {
    const count = Math.ceil(this.#song.length / this.#song.rate / chunkSeconds);
    for (let i = 0; i < count; ++i) if (!this.#chunks.get(i)?.length) this.#keep(i, this.#api.bytesNow(this.#path(i)));
  }

  /** @param {number} point @returns {number} 0 to 1; 0 where it is not known yet */
  #peak(point) {
    const index = Math.floor(point / (chunkSeconds * pointsPerSecond));
    const chunk = this.#chunks.get(index);
    if (chunk === undefined) this.#load(index);
    return chunk ? (chunk[point - index * chunkSeconds * pointsPerSecond] ?? 0) / this.#loudest : 0;
  }

  /**
   * The outline of a row as the path of an SVG, `height` high around its middle.
   * @param {Row} row
   * @param {number} height
   */
  path(row, height) {
    const width = row.pieces[row.pieces.length - 1][1];
    const step = 2;
    const last = Math.ceil((this.#song.length / this.#song.rate) * pointsPerSecond) - 1;
    const pointAt = (/** @type {number} */ x) =>
      Math.max(0, Math.min(last, Math.floor((frameAt(row, x) / this.#song.rate) * pointsPerSecond)));
    let above = '';
    let below = '';
    for (let x = 0, point = pointAt(0); x < width; x += step) {
      const next = Math.max(point + 1, pointAt(x + step));
      let peak = 0;
      for (; point < next; ++point) peak = Math.max(peak, this.#peak(Math.min(point, last)));
      const half = Math.max(0.5, (peak * height) / 2);
      above += `L${x} ${(height / 2 - half).toFixed(1)}`;
      below = `L${x} ${(height / 2 + half).toFixed(1)}${below}`;
    }
    return `M0 ${height / 2}${above}${below}Z`;
  }
}

/** From silence to the loudest: four tones between the page and its ink. */
const tones = [[0, 0, 0, 0], [52, 92, 128, 110], [34, 140, 150, 220], [250, 210, 90, 255]];

/** @param {number} value 0 to 255 */
function tone(value) {
  const at = (value / 255) * (tones.length - 1);
  const i = Math.min(tones.length - 2, Math.floor(at));
  return tones[i].map((from, k) => from + (at - i) * (tones[i + 1][k] - from));
}
const palette = Array.from({length: 256}, (_, value) => tone(value));

/**
 * Paints the spectrogram of a row onto a canvas, low pitches at the bottom; again while it is shown and not complete.
 * @param {HTMLCanvasElement} canvas
 * @param {Api} api
 * @param {Row} row
 * @param {number} height
 */
export async function showSpectrogram(canvas, api, row, height) {
  for (let wait = firstPause; wait === firstPause || canvas.isConnected; wait = Math.min(lastPause, 2 * wait)) {
    if (await paint(canvas, api, row, height).catch(() => false)) return;
    await new Promise(resolve => setTimeout(resolve, canvas.dataset.painted ? pause : wait));
  }
}

/**
 * @param {HTMLCanvasElement} canvas
 * @param {Api} api
 * @param {Row} row
 * @param {number} height
 * @returns {Promise<boolean>} whether it is complete
 */
async function paint(canvas, api, row, height) {
  const width = Math.max(1, Math.round(row.pieces[row.pieces.length - 1][1]));
  canvas.width = width;
  canvas.height = height;
  const {bytes, isComplete} = await api.bytes(`/api/spectrogram?from=${row.frame}&to=${row.end}&width=${width}&height=${height}`);
  const context = canvas.getContext('2d');
  if (!context || bytes.length < width * height) return isComplete;
  const image = context.createImageData(width, height);
  for (let x = 0; x < width; ++x)
    for (let y = 0; y < height; ++y)
      image.data.set(palette[bytes[x * height + y]], 4 * ((height - 1 - y) * width + x));
  context.putImageData(image, 0, 0);
  canvas.dataset.painted = 'yes';
  return isComplete;
}
