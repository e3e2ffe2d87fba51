/** @import {Sound} from './sound.js' */
/** @import {Song} from './song.js' */
/** @import {Loop, PracticeValues, StreamAnswer, StreamBlock} from './types.js' */
import {clicksBetween} from './clicks.js';

/** @typedef {{speed: number, semitones: number, loop: Loop | null}} Manner  How a stream sounds. */
/** @typedef {{time: number, end: number, frame: number, step: number, hasClicks: boolean}} Stretch
 *   From time to end the song goes on from frame by so many frames a second. */
/** @typedef {{time: number, manner: Manner | null}} Return
 *   The end of a loop's round; with a manner, another voice goes on from here. */

/** How far a beat may lie before the edge at which a stretch begins and still belong to it, in seconds. */
const edge = 0.005;

/** A stream as it is played: its blocks and the clicks that belong to them, laid out on the graph's clock. */
export class Voice {
  #sound;
  /** @type {{node: AudioBufferSourceNode, end: number}[]} */
  #nodes = [];
  /** @type {{node: AudioBufferSourceNode, time: number}[]} */
  #clicks = [];
  #gain;
  /** @type {Stretch[]} */
  #stretches = [];
  /** @type {Return[]} those that were not yet heard */
  returns = [];
  nextBlock = 0;
  /** The block that was asked for last. @type {Promise<unknown>} */
  fetching = Promise.resolve();
  /** From when to when it is heard. */
  from = Infinity;
  until = Infinity;
  #fade = 0;
  /** Up to where blocks are laid out. */
  end = 0;
  isComplete = false;
  /** Where the song rests after it; where it ends if there is none. @type {number | null} */
  rest = null;

  /** @param {Sound} sound @param {StreamAnswer} stream @param {Manner} manner */
  constructor(sound, stream, manner) {
    this.#sound = sound;
    this.stream = stream;
    this.manner = manner;
    this.#gain = sound.context.createGain();
    this.#gain.connect(sound.song);
  }

  /** Whether it waits for no more blocks. */
  get isDone() {
    return this.isComplete || this.until < Infinity;
  }

  /**
   * When it begins to be heard.
   * @param {number} time
   * @param {number} fade seconds
   */
  begin(time, fade) {
    this.from = time;
    this.end = time;
    this.#fade = fade;
    this.#gain.gain.setValueAtTime(0, time);
    this.#gain.gain.linearRampToValueAtTime(1, time + fade);
  }

  /**
   * Lays the next block out, after the one before; later where it came too late. Returns the rounds that end in it.
   * @param {StreamBlock} block
   * @param {number} skip seconds of it that are left out, as time went on
   * @returns {Return[]}
   */
  add(block, skip = 0) {
    ++this.nextBlock;
    const {sampleRate} = this.stream;
    const length = block.length / sampleRate;
    this.isComplete = block.isLast;
    if (length <= skip) return [];
    if (this.end < this.#sound.now) this.end = this.#sound.onSample(this.#sound.now + 0.02);
    const start = this.end - skip;
    const buffer = this.#sound.context.createBuffer(block.channels.length, block.length, sampleRate);
    block.channels.forEach((channel, i) => buffer.copyToChannel(channel, i));
    const node = this.#sound.context.createBufferSource();
    node.buffer = buffer;
    node.connect(this.#gain);
    node.start(this.end, skip);
    this.end = this.#sound.onSample(start + length - 0.5 / sampleRate);
    this.#nodes.push({node, end: this.end});
    this.#forget();
    return this.#place(block, start);
  }

  /** @param {StreamBlock} block @param {number} start @returns {Return[]} */
  #place({segments, length}, start) {
    const {sampleRate} = this.stream;
    /** @type {Return[]} */
    const returns = [];
    segments.forEach(([sample, frame, framesPerSample], i) => {
      const time = start + sample / sampleRate;
      const end = start + (segments[i + 1]?.[0] ?? length) / sampleRate;
      const step = framesPerSample * sampleRate;
      const before = this.#stretches.at(-1);
      if (before && frame < before.frame + (before.end - before.time) * before.step - 0.05 * step)
        returns.push({time, manner: null});
      if (end > this.from) this.#stretches.push({time, end, frame, step, hasClicks: false});
    });
    this.returns.push(...returns);
    return returns;
  }

  /** Lets go of what was heard. */
  #forget() {
    const past = this.#sound.now - 2;
    while (this.#nodes.length && this.#nodes[0].end < past) this.#nodes.shift();
    while (this.#clicks.length && this.#clicks[0].time < past) this.#clicks.shift();
    while (this.#stretches.length > 1 && this.#stretches[0].end < past) this.#stretches.shift();
  }

  /**
   * Lays out the clicks of what is laid out, but not those before a time. A beat within some milliseconds before the
   * place where a loop returns belongs to the round that begins there.
   * @param {Song} song
   * @param {PracticeValues['click']} click
   * @param {number} since
   */
  layClicks(song, click, since) {
    if (!click.on) return;
    for (const stretch of this.#stretches) {
      if (stretch.hasClicks) continue;
      stretch.hasClicks = true;
      const {time, end, frame, step} = stretch;
      const reach = edge * step;
      const last = frame + (end - time) * step;
      for (const {frame: at, kind} of clicksBetween(song, frame - reach, last - reach, click.rate)) {
        const when = time + (at - frame) / step;
        if (when < since || when < this.from - edge || when >= this.until - edge) continue;
        this.#clicks.push({node: this.#sound.playClick(kind, Math.max(when, this.from)), time: when});
      }
    }
    this.#clicks.sort((a, b) => a.time - b.time);
  }

  /** Takes back the clicks from a time on. @param {number} time */
  dropClicks(time) {
    for (const stretch of this.#stretches) stretch.hasClicks &&= stretch.end <= time;
    this.#clicks = this.#clicks.filter(click => {
      if (click.time < time) return true;
      click.node.stop();
      return false;
    });
  }

  /**
   * Ends at a time, fading out from there on; its clicks end at once.
   * @param {number} time
   * @param {number} fade seconds
   * @param {number} [lastReturn] the last end of a round that is still counted
   */
  cut(time, fade, lastReturn = time) {
    if (time >= this.until) return;
    this.until = time;
    this.dropClicks(time - edge);
    this.returns = this.returns.filter(each => each.time <= lastReturn);
    const {gain} = this.#gain;
    gain.cancelScheduledValues(time);
    if (time <= this.from) gain.setValueAtTime(0, time);
    else gain.linearRampToValueAtTime(Math.min(1, (time - this.from) / this.#fade), time); // it may be fading in still
    gain.linearRampToValueAtTime(0, time + fade);
    for (const {node} of this.#nodes) node.stop(time + fade);
  }

  /** @param {number} time */
  #stretchAt(time) {
    return this.#stretches.findLast(stretch => stretch.time <= time) ?? this.#stretches[0];
  }

  /** The song's frame that sounds at a time. @param {number} time @returns {number | null} */
  frameAt(time) {
    if (this.rest !== null && time >= Math.min(this.until, this.end)) return this.rest;
    const stretch = this.#stretchAt(time);
    if (!stretch) return null;
    return stretch.frame + Math.max(0, Math.min(time, stretch.end, this.until) - stretch.time) * stretch.step;
  }

  /** Frames a second at a time; 0 where it does not sound. @param {number} time */
  paceAt(time) {
    return time < this.from || time >= Math.min(this.until, this.end) ? 0 : (this.#stretchAt(time)?.step ?? 0);
  }
}
