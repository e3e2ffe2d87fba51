/** @import {Api} from './api.js' */
/** @import {Chart} from './chart.js' */
/** @import {Practice} from './practice.js' */
/** @import {Player} from './player.js' */
/** @import {Song} from './song.js' */
/** @import {Chord, ChordAnswer} from './types.js' */
import {diagram} from './diagrams.js';
import {element} from './elements.js';
import {words} from './words.js';

/** @param {HTMLElement} target @param {string} text */
const say = (target, text) => {
  if (target.textContent !== text) target.textContent = text;
};

/** What sounds now and next, in large letters, and where the song is. */
export class Now {
  #api;
  #practice;
  #player;
  #chart;
  /** @type {Map<string, Promise<ChordAnswer>>} */
  #answers = new Map();
  #diagram = '';
  #dots = -1;
  #parts = {
    chord: element('chord'), next: element('next-chord'), wait: element('next-wait'), hear: element('hear'),
    section: element('section'), bar: element('bar'), beats: element('beats'), time: element('time'),
    length: element('length'),
  };
  #seek = element('seek', HTMLInputElement);

  /** @param {Api} api @param {Practice} practice @param {Player} player @param {Chart} chart @param {Song} song */
  constructor(api, practice, player, chart, song) {
    this.#api = api;
    this.#practice = practice;
    this.#player = player;
    this.#chart = chart;
    this.song = song;
    this.#seek.addEventListener('input', () => player.goTo(Number(this.#seek.value)));
    this.#parts.hear.addEventListener('click', () => this.hear());
  }

  /** @param {Song} song */
  setSong(song) {
    this.song = song;
    this.#answers.clear();
    this.#diagram = '';
    this.#dots = -1;
  }

  /** @param {Chord} chord */
  nameOf(chord) {
    return this.#practice.values.simple ? chord.simpleName : chord.name;
  }

  /** @param {number} frame */
  show(frame) {
    const {song} = this;
    const parts = this.#parts;
    const chord = song.chordAt(frame);
    const next = song.chordAfter(frame);
    const name = chord ? this.nameOf(chord) : '';
    say(parts.chord, name || '–');
    parts.chord.classList.toggle('unsure', chord?.confidence != null && chord.confidence < 0.5);
    parts.chord.classList.toggle('long', name.length > 5);
    say(parts.next, next ? this.nameOf(next) : '–');
    const wait = next ? song.beatsBetween(frame, next.frame + song.rate * 0.03) : 0;
    say(parts.wait, wait ? words(wait === 1 ? 'now.beat' : 'now.beats', {count: wait}) : '');
    say(parts.section, song.sectionAt(frame)?.name ?? '');
    const bar = song.barAt(frame);
    const beat = song.beatNumberAt(frame);
    say(parts.bar, bar ? (bar.number > 0 ? words('now.bar', {bar: bar.number}) : words('now.pickup')) : '');
    this.#showBeats(bar ? bar.beats.length : 0, beat);
    say(parts.time, song.clock(frame));
    say(parts.length, song.clock(song.length));
    this.#chart.showSounding(chord?.id ?? -1);
    this.#showSeek(frame);
    this.#showDiagram(name);
  }

  /** @param {number} count @param {number} beat */
  #showBeats(count, beat) {
    const {beats} = this.#parts;
    if (count !== this.#dots) {
      this.#dots = count;
      beats.replaceChildren(...Array.from({length: count}, () => document.createElement('i')));
    }
    for (let i = 0; i < count; ++i) beats.children[i].classList.toggle('on', i + 1 === beat);
  }

  /** @param {number} frame */
  #showSeek(frame) {
    const {song} = this;
    const seek = this.#seek;
    if (seek.max !== String(song.length)) seek.max = String(song.length);
    const place = this.place(frame);
    if (seek.getAttribute('aria-valuetext') !== place) seek.setAttribute('aria-valuetext', place);
    if (Math.abs(Number(seek.value) - frame) < song.rate / 4 && this.#player.isPlaying) return;
    seek.value = String(Math.round(frame));
    seek.style.setProperty('--share', `${((frame / song.length) * 100).toFixed(2)}%`);
  }

  /** Where a frame is, in words. @param {number} frame */
  place(frame) {
    const bar = this.song.barAt(frame);
    return bar && bar.number > 0
      ? words('now.place', {bar: bar.number, beat: this.song.beatNumberAt(frame)}) : this.song.clock(frame);
  }

  /** @param {string} name @returns {Promise<ChordAnswer>} */
  #answer(name) {
    const {instrument} = this.#practice.values;
    const key = `${instrument} ${name}`;
    const known = this.#answers.get(key);
    if (known) return known;
    const answer = this.#api.get(`/api/chord?name=${encodeURIComponent(name)}&instrument=${instrument}`);
    this.#answers.set(key, answer);
    answer.catch(() => this.#answers.delete(key));
    return answer;
  }

  /** @param {string} name */
  async #showDiagram(name) {
    const {instrument} = this.#practice.values;
    const wanted = `${instrument} ${name}`;
    if (wanted === this.#diagram) return;
    this.#diagram = wanted;
    const {hear} = this.#parts;
    try {
      const picture = name ? diagram(await this.#answer(name), instrument) : null;
      if (wanted !== this.#diagram) return;
      hear.replaceChildren(...(picture ? [picture] : []));
      hear.classList.toggle('wide', instrument === 'piano');
    } catch {
      hear.replaceChildren();
    }
  }

  /** Plays the chord at the playhead. */
  async hear() {
    const chord = this.song.chordAt(this.#player.position);
    if (!chord) return;
    const sound = this.#player.sound();
    const [{notes}] = await Promise.all([this.#answer(this.nameOf(chord)), sound.wake()]);
    if (notes.length) sound.playNotes(notes);
  }
}
