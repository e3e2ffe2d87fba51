/** @import {Bar, Chord, Section, SongAnswer} from './types.js' */

/**
 * The index of the last item at or before a frame; -1 before the first. Items ascend.
 * @template T
 * @param {readonly T[]} items
 * @param {number} frame
 * @param {(item: T) => number} frameOf
 */
export function indexAt(items, frame, frameOf) {
  let low = 0;
  let high = items.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (frameOf(items[middle]) <= frame) low = middle + 1;
    else high = middle;
  }
  return low - 1;
}

/** @param {{frame: number}} item */
const start = item => item.frame;
/** @param {number} frame */
const itself = frame => frame;

/** A song as the server last told it, and what is where in it. */
export class Song {
  /** @param {SongAnswer} answer */
  constructor(answer) {
    this.answer = answer;
    this.bars = answer.bars;
    this.chords = answer.chords;
    this.sections = answer.sections;
    this.length = answer.length;
    this.rate = answer.sampleRate;
    /** Counted beats of all bars, ascending. */
    this.beats = answer.bars.flatMap(bar => bar.beats);
    /** Where bars begin, and the last one ends. */
    this.barLines = answer.bars.map(start);
    const last = answer.bars.at(-1);
    if (last) this.barLines.push(last.end);
  }

  /** @param {number} frame @returns {Bar | undefined} */
  barAt(frame) {
    const bar = this.bars[indexAt(this.bars, frame, start)];
    return bar && frame < bar.end ? bar : undefined;
  }

  /** The number of the beat in its bar, from 1; 0 outside of bars. @param {number} frame */
  beatNumberAt(frame) {
    const bar = this.barAt(frame);
    return bar ? indexAt(bar.beats, frame, itself) + 1 : 0;
  }

  /** How many beats come after a frame, up to and including another. @param {number} frame @param {number} last */
  beatsBetween(frame, last) {
    return indexAt(this.beats, last, itself) - indexAt(this.beats, frame, itself);
  }

  /** @param {number} frame @returns {Chord | undefined} */
  chordAt(frame) {
    const chord = this.chords[indexAt(this.chords, frame, start)];
    return chord && frame < chord.end ? chord : undefined;
  }

  /** The first chord of another name after a frame. @param {number} frame @returns {Chord | undefined} */
  chordAfter(frame) {
    const sounding = this.chordAt(frame)?.name;
    for (let i = indexAt(this.chords, frame, start) + 1; i < this.chords.length; ++i)
      if (this.chords[i].name !== sounding) return this.chords[i];
    return undefined;
  }

  /** @param {number} frame @returns {Section | undefined} */
  sectionAt(frame) {
    const section = this.sections[indexAt(this.sections, frame, start)];
    return section && frame < section.end ? section : undefined;
  }

  /** Bar lines or beats, whatever the song has of them, with its start and end. @param {'bar' | 'beat'} unit */
  places(unit) {
    const places = unit === 'bar' ? this.barLines : [...this.beats, ...this.barLines.slice(-1)];
    return [0, ...places.filter(place => place > 0 && place < this.length), this.length];
  }

  /**
   * Where a step by so many bars, beats or sections leads. A step back from within one leads to its start,
   * unless that was passed just now.
   * @param {number} frame
   * @param {'bar' | 'beat' | 'section'} unit
   * @param {1 | -1} direction
   * @param {number} [grace] frames that count as just now
   */
  step(frame, unit, direction, grace = 0) {
    const places = unit === 'section' ? [0, ...this.sections.map(start), this.length] : this.places(unit);
    if (direction > 0) return places[Math.min(places.length - 1, indexAt(places, frame, itself) + 1)];
    return places[Math.max(0, indexAt(places, frame - grace - 1, itself))];
  }

  /** The bar line or beat that is nearest. @param {number} frame @param {'bar' | 'beat'} unit */
  nearest(frame, unit) {
    const places = this.places(unit);
    const before = Math.max(0, indexAt(places, frame, itself));
    const after = Math.min(places.length - 1, before + 1);
    return frame - places[before] <= places[after] - frame ? places[before] : places[after];
  }

  /**
   * The stretch of whole bars or beats from one frame to another, whichever comes first.
   * @param {number} a
   * @param {number} b
   * @param {'bar' | 'beat' | 'none'} unit
   * @returns {[number, number]}
   */
  stretch(a, b, unit) {
    const from = Math.max(0, Math.min(a, b));
    const to = Math.min(this.length, Math.max(a, b));
    if (unit === 'none') return [from, to];
    const places = this.places(unit);
    const first = Math.min(places.length - 2, Math.max(0, indexAt(places, from, itself)));
    const last = Math.min(places.length - 2, Math.max(0, indexAt(places, Math.max(from, to - 1), itself)));
    return [places[first], places[last + 1]];
  }

  /** @param {number} frame */
  clock(frame) {
    const seconds = Math.max(0, Math.floor(frame / this.rate));
    const text = (/** @type {number} */ value) => String(value).padStart(2, '0');
    const hours = Math.floor(seconds / 3600);
    const minutes = Math.floor(seconds / 60) % 60;
    return hours ? `${hours}:${text(minutes)}:${text(seconds % 60)}` : `${minutes}:${text(seconds % 60)}`;
  }
}
