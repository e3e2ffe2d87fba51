/** @import {ClickKind} from './clicks.js' */
import {makeClicks} from './clicks.js';

/**
 * The graph that all sound goes through, on one clock: the song and the click, each with its volume. The context
 * runs at the rate of the song's samples, so that blocks that follow each other join without resampling.
 */
export class Sound {
  /** @param {number} rate of the song's samples */
  constructor(rate) {
    const options = rate >= 8000 && rate <= 96000 ? {sampleRate: rate} : {};
    this.context = new AudioContext({...options, latencyHint: 'interactive'});
    this.song = this.context.createGain();
    this.click = this.context.createGain();
    this.master = this.context.createGain();
    this.master.gain.value = 0.8; // room for clicks on top of a loud song
    this.song.connect(this.master);
    this.click.connect(this.master);
    this.master.connect(this.context.destination);
    this.clicks = makeClicks(this.context);
  }

  /** The context's time, on a sample. @param {number} time */
  onSample(time) {
    return Math.ceil(time * this.context.sampleRate) / this.context.sampleRate;
  }

  get now() {
    return this.context.currentTime;
  }

  /** The time of what comes from the loudspeaker at this moment. */
  get heard() {
    return this.context.currentTime - (this.context.outputLatency || this.context.baseLatency || 0);
  }

  /** To be called from a key or a tap, which browsers ask for. */
  async wake() {
    if (this.context.state !== 'running') await this.context.resume();
  }

  /** @param {{song: number, click: number}} volumes from 0 to 1, as the ear hears them */
  setVolumes({song, click}) {
    this.song.gain.setTargetAtTime(song * song, this.now, 0.01);
    this.click.gain.setTargetAtTime(click * click, this.now, 0.01);
  }

  /** @param {ClickKind} kind @param {number} time */
  playClick(kind, time) {
    const node = this.context.createBufferSource();
    node.buffer = this.clicks[kind];
    node.connect(this.click);
    node.start(time);
    return node;
  }

  /** Plucks notes one soon after another. @param {number[]} pitches in semitones, middle C is 60 */
  playNotes(pitches) {
    const start = this.now + 0.02;
    pitches.forEach((pitch, i) => {
      const at = start + 0.03 * i;
      const loudness = this.context.createGain();
      loudness.gain.setValueAtTime(0, at);
      loudness.gain.linearRampToValueAtTime(0.5 / Math.sqrt(pitches.length), at + 0.005);
      loudness.gain.exponentialRampToValueAtTime(0.001, at + 1.8);
      loudness.connect(this.master);
      for (const [multiple, share] of [[1, 0.7], [2, 0.2], [3, 0.1]]) {
        const tone = this.context.createOscillator();
        tone.type = 'triangle';
        tone.frequency.value = 440 * 2 ** ((pitch - 69) / 12) * multiple;
        const part = this.context.createGain();
        part.gain.value = share;
        tone.connect(part).connect(loudness);
        tone.start(at);
        tone.stop(at + 1.9);
      }
    });
  }
}
