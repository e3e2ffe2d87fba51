/** @import {Now} from './now.js' */
/** @import {Practice} from './practice.js' */
import {element} from './elements.js';
import {words} from './words.js';

/** Tells screen readers where the song is: on a key, and at every bar where that is switched on. */
export class Speech {
  #now;
  #practice;
  #bar = NaN;

  /** @param {Now} now @param {Practice} practice */
  constructor(now, practice) {
    this.#now = now;
    this.#practice = practice;
  }

  /** @param {string} text */
  say(text) {
    const line = element('spoken');
    // The same text twice is spoken twice.
    line.textContent = line.textContent === text ? `${text}\u00a0` : text;
  }

  /** @param {number} frame */
  sayPlace(frame) {
    const {song} = this.#now;
    const chord = song.chordAt(frame);
    this.say([this.#now.place(frame), chord ? words('spoken.chord', {chord: this.#now.nameOf(chord)}) : '',
      song.sectionAt(frame)?.name ?? ''].filter(Boolean).join(', '));
  }

  /** @param {number} frame */
  follow(frame) {
    if (!this.#practice.values.speak) return;
    const {song} = this.#now;
    const bar = song.barAt(frame);
    if (!bar || bar.number === this.#bar) return;
    this.#bar = bar.number;
    const chords = song.chords.filter(chord => chord.frame < bar.end && chord.end > bar.frame)
      .map(chord => this.#now.nameOf(chord));
    this.say(words('spoken.bar', {bar: bar.number, chords: chords.join(', ')}));
  }
}
