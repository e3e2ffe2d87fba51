/** @import {Song} from './song.js' */
import {indexAt} from './song.js';

/** @typedef {'accent' | 'beat' | 'half'} ClickKind */

/** Pitch in Hz and loudness of each kind. @type {Record<ClickKind, [number, number]>} */
const sounds = {accent: [1760, 1], beat: [1175, 0.75], half: [880, 0.4]};
const seconds = 0.03;

/**
 * Short tones that are loudest within their first millisecond.
 * @param {BaseAudioContext} context
 * @returns {Record<ClickKind, AudioBuffer>}
 */
export function makeClicks(context) {
  const length = Math.round(seconds * context.sampleRate);
  const make = (/** @type {ClickKind} */ kind) => {
    const [pitch, loudness] = sounds[kind];
    const buffer = context.createBuffer(1, length, context.sampleRate);
    const samples = buffer.getChannelData(0);
    for (let i = 0; i < length; ++i) {
      const time = i / context.sampleRate;
      samples[i] = loudness * Math.cos(2 * Math.PI * pitch * time) * Math.exp(-time * 150) * (1 - i / length);
    }
    return buffer;
  };
  return {accent: make('accent'), beat: make('beat'), half: make('half')};
}

/**
 * The clicks from one frame up to, not including, another. Halved, every second beat of a bar clicks, of a bar
 * with an odd number of them only the first.
 * @param {Song} song
 * @param {number} from
 * @param {number} to
 * @param {0.5 | 1 | 2} rate
 * @returns {{frame: number, kind: ClickKind}[]}
 */
export function clicksBetween(song, from, to, rate) {
  /** @type {{frame: number, kind: ClickKind}[]} */
  const clicks = [];
  const first = Math.max(0, indexAt(song.bars, from, bar => bar.frame));
  for (let i = first; i < song.bars.length && song.bars[i].frame < to; ++i) {
    const {number, beats, end} = song.bars[i];
    const isPickup = number <= 0;
    for (let k = 0; k < beats.length; ++k) {
      const place = isPickup ? beats.length - k : k;
      const isLeftOut = rate === 0.5 && (beats.length % 2 && !isPickup ? place > 0 : place % 2 === 1);
      if (!isLeftOut) clicks.push({frame: beats[k], kind: k === 0 && !isPickup ? 'accent' : 'beat'});
      if (rate === 2) clicks.push({frame: (beats[k] + (beats[k + 1] ?? end)) / 2, kind: 'half'});
    }
  }
  return clicks.filter(click => click.frame >= from && click.frame < to);
}
