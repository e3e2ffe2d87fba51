/** @import {Chart} from './chart.js' */
/** @import {Player} from './player.js' */
/** @import {Practice} from './practice.js' */
/** @import {Song} from './song.js' */
/** @import {Loop} from './types.js' */
import {words} from './words.js';

/** The shortest loop, in seconds. */
const shortest = 0.2;

/** Sets, moves, names and drops the loop. */
export class Looper {
  /** @type {number | null} the start that waits for its end */
  start = null;

  /**
   * @param {Practice} practice
   * @param {Player} player
   * @param {Chart} chart
   * @param {Song} song
   */
  constructor(practice, player, chart, song) {
    this.practice = practice;
    this.player = player;
    this.chart = chart;
    this.song = song;
  }

  get loop() {
    return this.practice.values.loop;
  }

  show() {
    this.chart.showLoop(this.loop ?? (this.start === null ? null : [this.start, this.start + this.song.rate * 0.1]));
  }

  /** @param {Loop | null} loop */
  set(loop) {
    this.start = null;
    let isOutside = false;
    if (loop) {
      const from = Math.max(0, Math.round(loop[0]));
      const to = Math.min(this.song.length, Math.round(loop[1]));
      if (to - from < shortest * this.song.rate) return this.show();
      loop = [from, to];
      const {position} = this.player;
      isOutside = position < from || position >= to;
    }
    this.practice.set({loop});
    if (loop && isOutside) this.player.goTo(loop[0]);
    this.show();
  }

  /** What is dragged over. @param {number} a @param {number} b @param {boolean} isDone */
  stretch(a, b, isDone) {
    const loop = this.song.stretch(a, b, this.practice.values.snap);
    if (isDone) this.set(loop);
    else this.chart.showLoop(loop);
  }

  /** @param {number} frame */
  #snapped(frame) {
    const {snap} = this.practice.values;
    return snap === 'none' ? Math.round(frame) : this.song.nearest(frame, snap);
  }

  /** @param {'from' | 'to'} side @param {number} frame @param {boolean} isDone */
  moveEdge(side, frame, isDone) {
    if (!this.loop) return;
    const place = this.#snapped(frame);
    /** @type {Loop} */
    const loop = side === 'from' ? [Math.min(place, this.loop[1]), this.loop[1]] : [this.loop[0], Math.max(place, this.loop[0])];
    if (isDone) this.set(loop);
    else this.chart.showLoop(loop);
  }

  /** Begins a loop at the playhead. */
  setA() {
    const place = this.#snapped(this.player.position);
    if (this.loop && place < this.loop[1]) this.set([place, this.loop[1]]);
    else {
      this.practice.set({loop: null});
      this.start = place;
    }
    this.show();
  }

  /** Ends it there; one that was not begun begins with the section. */
  setB() {
    const {position} = this.player;
    const place = this.#snapped(position);
    const start = this.start ?? this.loop?.[0] ?? this.song.sectionAt(position)?.frame ?? 0;
    if (place === start) return;
    const {snap} = this.practice.values;
    this.set([Math.min(start, place), Math.max(start, place)]);
    if (snap !== 'none' && !this.loop) this.set(this.song.stretch(start, position, snap));
  }

  /** @param {number} first bar's number @param {number} last */
  setBars(first, last) {
    const from = this.song.bars.find(bar => bar.number === Math.min(first, last));
    const to = this.song.bars.find(bar => bar.number === Math.max(first, last));
    if (from && to) this.set([from.frame, to.end]);
  }

  /** The section at the playhead. */
  setSection() {
    const section = this.song.sectionAt(this.player.position);
    if (section) this.set([section.frame, section.end]);
  }

  /** The numbers of the first and last bar that the loop touches. @returns {[number, number] | null} */
  bars() {
    if (!this.loop) return null;
    const from = this.song.barAt(this.loop[0] + 1);
    const to = this.song.barAt(this.loop[1] - 1);
    return from && to ? [from.number, to.number] : null;
  }

  /** The loop in words: its bars, or its times where it is not of whole bars. */
  text() {
    if (!this.loop) return this.start === null ? '' : words('loop.begun');
    const bars = this.bars();
    const lines = this.song.barLines;
    if (bars && lines.includes(this.loop[0]) && lines.includes(this.loop[1]))
      return bars[0] === bars[1] ? words('loop.bar', {bar: bars[0]}) : words('loop.bars', {first: bars[0], last: bars[1]});
    return `${this.song.clock(this.loop[0])}–${this.song.clock(this.loop[1])}`;
  }

  /** The edit that keeps the loop in the song as a region of that name; empty without a loop. @param {string} name */
  sentence(name) {
    if (!this.loop) return '';
    const plain = name.trim().replace(/["\\]/g, '’').replace(/\s+/g, ' ');
    return `add-region region "${plain}" @${this.loop[0]} to @${this.loop[1]}`;
  }
}
