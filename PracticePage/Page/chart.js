/** @import {Api} from './api.js' */
/** @import {Practice} from './practice.js' */
/** @import {Song} from './song.js' */
/** @import {Loop, Row} from './types.js' */
/** @import {Anatomy} from './drawing.js' */
import {anatomy, drawRow} from './drawing.js';
import {Rows, frameAt, xOf} from './rows.js';
import {Waves, showSpectrogram} from './waves.js';

/** @typedef {{row: Row, x: number, frame: number}} Place */

const narrow = 620;
const [smallest, largest] = [0.125, 16];

/** The song on rows, of which only those in sight are drawn. */
export class Chart {
  #api;
  #practice;
  /** @type {Song} */
  #song;
  /** @type {Waves} */
  #waves;
  #rows;
  /** @type {Anatomy} */
  #anatomy;
  /** @type {Map<number, HTMLElement>} */
  #shown = new Map();
  #look = '';
  /** @type {Loop | null} */
  #loop = null;
  /** @type {{frame: number, y: number} | null} a frame that keeps its height in the window while rows change */
  #anchor = null;
  #drawAsked = false;
  #sounding = -1;

  /**
   * @param {HTMLElement} window that scrolls
   * @param {HTMLElement} sheet that holds the rows
   * @param {Api} api
   * @param {Practice} practice
   * @param {Song} song
   */
  constructor(window, sheet, api, practice, song) {
    this.window = window;
    this.sheet = sheet;
    this.#api = api;
    this.#practice = practice;
    this.#song = song;
    this.#waves = new Waves(api, song, () => this.#drawWaves());
    this.#anatomy = anatomy(song, {isNarrow: false, hasSpectrogram: false});
    this.#rows = new Rows(api, () => this.#takeRows());
    window.addEventListener('scroll', () => this.#ask(), {passive: true});
    new ResizeObserver(() => this.lay()).observe(window);
  }

  get rows() {
    return this.#rows;
  }

  get rowHeight() {
    return this.#anatomy.height;
  }

  /** Where the playhead stands in a row: from the top of the chords to the waveform's end. */
  get headRange() {
    return {top: this.#anatomy.chord, bottom: this.#anatomy.bottom};
  }

  /** @param {Song} song */
  setSong(song) {
    const isOther = song.length !== this.#song.length || song.rate !== this.#song.rate ||
      song.answer.soundAsk !== this.#song.answer.soundAsk;
    this.#song = song;
    if (isOther) this.#waves = new Waves(this.#api, song, () => this.#drawWaves());
    this.lay(true);
  }

  /** How much music a row holds at the usual zoom, in seconds. @param {number} width */
  #usualSeconds(width) {
    return width < narrow ? 8 : width < 1000 ? 10 : 16;
  }

  /**
   * Lays the rows out for the window's width and the zoom.
   * @param {boolean} [isForced] although neither has changed
   * @param {number} [frame] that keeps its height in the window
   */
  lay(isForced = false, frame = this.frameInSight()) {
    const style = getComputedStyle(this.window);
    const width = Math.floor(this.window.clientWidth - parseFloat(style.paddingLeft) - parseFloat(style.paddingRight));
    if (width < 50) return;
    const {zoom, simple, spectrogram} = this.#practice.values;
    const scale = Math.round((width / this.#usualSeconds(width)) * zoom * 100) / 100;
    const look = JSON.stringify([width, scale, simple, spectrogram]);
    if (look === this.#look && !isForced) return;
    this.#look = look;
    this.#anchor ??= {frame, y: this.#yInWindow(frame)};
    this.#rows.lay({width, scale, simple}, frame).catch(() => {
      this.#look = '';
      setTimeout(() => this.lay(), 1000);
    });
  }

  /** @param {number} factor @param {number} [frame] that keeps its height in the window */
  zoom(factor, frame) {
    const zoom = Math.min(largest, Math.max(smallest, this.#practice.values.zoom * factor));
    this.#practice.set({zoom: Math.round(zoom * 1000) / 1000});
    this.lay(false, frame);
  }

  /** The frame that stands in the middle of the window. */
  frameInSight() {
    if (!this.#rows.count) return this.#practice.values.position;
    const middle = this.window.scrollTop + this.window.clientHeight / 2;
    const index = Math.min(this.#rows.count - 1, Math.max(0, Math.floor(middle / this.rowHeight)));
    return this.#rows.starts[index];
  }

  /** @param {number} frame */
  #yInWindow(frame) {
    return this.#rows.rowOf(frame) * this.rowHeight - this.window.scrollTop;
  }

  #takeRows() {
    const {width} = this.#rows.layout;
    this.#anatomy = anatomy(this.#song, {isNarrow: width < narrow, hasSpectrogram: this.#practice.values.spectrogram});
    for (const element of this.#shown.values()) element.remove();
    this.#shown.clear();
    this.sheet.style.height = `${this.#rows.count * this.rowHeight}px`;
    if (this.#anchor) {
      this.window.scrollTop = this.#rows.rowOf(this.#anchor.frame) * this.rowHeight - this.#anchor.y;
      this.#anchor = null;
    }
    this.draw();
    this.sheet.dispatchEvent(new Event('laid'));
  }

  #ask() {
    if (this.#drawAsked) return;
    this.#drawAsked = true;
    requestAnimationFrame(() => this.draw());
  }

  /** Draws the rows in sight, and those just outside. */
  draw() {
    this.#drawAsked = false;
    const first = Math.max(0, Math.floor(this.window.scrollTop / this.rowHeight) - 1);
    const last = Math.min(this.#rows.count - 1,
      Math.floor((this.window.scrollTop + this.window.clientHeight) / this.rowHeight) + 1);
    for (const [index, element] of this.#shown)
      if (index < first || index > last) {
        element.remove();
        this.#shown.delete(index);
      }
    for (let index = first; index <= last; ++index) {
      const row = this.#rows.row(index);
      if (row && !this.#shown.has(index)) this.#show(row);
    }
    this.sheet.dispatchEvent(new Event('drawn'));
  }

  /** @param {Row} row */
  #show(row) {
    const element = this.picture(row, this.#rows.layout.width, this.#anatomy);
    element.style.transform = `translateY(${row.index * this.rowHeight}px)`;
    element.setAttribute('aria-posinset', String(row.index + 1));
    element.setAttribute('aria-setsize', String(this.#rows.count));
    this.#shown.set(row.index, element);
    let next = null;
    for (const other of this.sheet.querySelectorAll('.row'))
      if (Number(other.getAttribute('data-row')) > row.index) {
        next = other;
        break;
      }
    this.sheet.insertBefore(element, next);
    this.#drawLoop(row.index, element);
    this.#markSounding(element);
  }

  /** @param {Row} row @param {number} width @param {Anatomy} at */
  picture(row, width, at) {
    const element = document.createElement('div');
    element.className = 'row';
    element.setAttribute('role', 'listitem');
    element.dataset.row = String(row.index);
    const picture = drawRow(row, at, width);
    element.append(picture);
    picture.querySelector('.wave')?.setAttribute('d', this.#waves.path(row, at.waveHeight));
    if (at.spectrogramHeight) {
      const canvas = document.createElement('canvas');
      canvas.style.top = `${at.spectrogram}px`;
      canvas.setAttribute('aria-hidden', 'true');
      element.append(canvas);
      showSpectrogram(canvas, this.#api, row, at.spectrogramHeight);
    }
    return element;
  }

  /** Knows the waveform of the whole song; the whole page waits for it. */
  knowWavesNow() {
    this.#waves.knowAllNow();
  }

  #drawWaves() {
    for (const [index, element] of this.#shown) {
      const row = this.#rows.row(index);
      if (row) element.querySelector('.wave')?.setAttribute('d', this.#waves.path(row, this.#anatomy.waveHeight));
    }
  }

  /** @param {Loop | null} loop */
  showLoop(loop) {
    this.#loop = loop;
    for (const [index, element] of this.#shown) this.#drawLoop(index, element);
  }

  /** @param {number} index @param {HTMLElement} element */
  #drawLoop(index, element) {
    const row = this.#rows.row(index);
    if (!row) return;
    const [from, to] = this.#loop ?? [0, 0];
    const isHere = from < row.end && to > row.frame && to > from;
    const left = isHere ? xOf(row, from) : 0;
    const right = isHere ? xOf(row, to) : 0;
    const band = element.querySelector('.loop');
    band?.setAttribute('x', String(left));
    band?.setAttribute('width', String(right - left));
    element.classList.toggle('looped', isHere);
    for (const handle of element.querySelectorAll('.handle')) {
      const isFrom = handle.getAttribute('data-side') === 'from';
      const isShown = isHere && (isFrom ? from >= row.frame : to <= row.end);
      handle.setAttribute('visibility', isShown ? 'visible' : 'hidden');
      handle.setAttribute('transform', `translate(${isFrom ? left : right} 0)`);
    }
  }

  /** @param {number} id of the chord that sounds; -1 for none */
  showSounding(id) {
    if (id === this.#sounding) return;
    this.#sounding = id;
    for (const element of this.#shown.values()) this.#markSounding(element);
  }

  /** @param {HTMLElement} element */
  #markSounding(element) {
    element.querySelector('.sounding')?.classList.remove('sounding');
    element.querySelector(`[data-chord="${this.#sounding}"]`)?.classList.add('sounding');
  }

  /** Where a point of the window lies. @param {number} clientX @param {number} clientY @returns {Place | null} */
  placeAt(clientX, clientY) {
    const box = this.sheet.getBoundingClientRect();
    const index = Math.min(this.#rows.count - 1, Math.max(0, Math.floor((clientY - box.top) / this.rowHeight)));
    const row = this.#rows.row(index);
    if (!row) return null;
    const x = clientX - box.left;
    return {row, x, frame: frameAt(row, x)};
  }

  /** Where a frame is drawn on the sheet; null while its row is on its way. @param {number} frame */
  positionOf(frame) {
    const index = this.#rows.rowOf(frame);
    const row = this.#rows.row(index);
    return row ? {index, x: xOf(row, frame), y: index * this.rowHeight} : null;
  }
}
