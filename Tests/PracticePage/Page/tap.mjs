// Records what the page's graph plays, sample by sample, and measures it.
import {until} from './clock.mjs';
import {rate} from './song.mjs';

/** Hands all that goes to the loudspeaker to a recorder as well; to be run before the page's own scripts. */
const record = () => {
  const blocks = (window.recordedBlocks = []);
  const Real = window.AudioContext;
  const recorder = `registerProcessor('recorder', class extends AudioWorkletProcessor {
    process([input]) {
      this.port.postMessage([currentFrame, input.map(channel => channel.slice())]);
      return true;
    }
  })`;
  window.AudioContext = class extends Real {
    constructor(options) {
      super(options);
      window.recordedContext = this;
      const address = URL.createObjectURL(new Blob([recorder], {type: 'text/javascript'}));
      this.recorder = this.audioWorklet.addModule(address).then(() => {
        const node = new AudioWorkletNode(this, 'recorder',
          {numberOfOutputs: 0, channelCount: 2, channelCountMode: 'explicit'});
        node.port.onmessage = event => blocks.push(event.data);
        return node;
      });
    }
    async resume() {
      await this.recorder;
      return super.resume();
    }
  };
  const connect = AudioNode.prototype.connect;
  AudioNode.prototype.connect = function (to, ...rest) {
    if (to === this.context.destination) this.context.recorder.then(node => connect.call(this, node));
    return connect.call(this, to, ...rest);
  };
};

/** Options of practise() for a page that is recorded. */
export const recorded = {bypassCSP: true, before: page => page.addInitScript(record)};

/** Lets the sound go on for so many seconds. */
export async function listen(page, seconds) {
  const end = await page.evaluate(length => window.recordedContext.currentTime + length, seconds);
  await until(page, time => window.recordedContext.currentTime >= time, end);
}

/** What has been played so far: the left channel holds the clicks, their difference the song. */
export async function recording(page) {
  await page.waitForFunction(() => {
    const last = window.recordedBlocks.at(-1)?.[0] ?? 0;
    return last + 256 > window.recordedContext.currentTime * window.recordedContext.sampleRate;
  });
  const text = await page.evaluate(() => {
    const first = window.recordedBlocks[0][0];
    const last = window.recordedBlocks.at(-1)[0] + 128;
    const samples = new Float32Array(2 * (last - first));
    for (const [frame, channels] of window.recordedBlocks)
      channels.forEach((channel, side) => channel.forEach((value, i) => (samples[2 * (frame - first + i) + side] = value)));
    const bytes = new Uint8Array(samples.buffer);
    let binary = '';
    for (let i = 0; i < bytes.length; i += 32768) binary += String.fromCharCode(...bytes.subarray(i, i + 32768));
    return btoa(binary);
  });
  const bytes = Buffer.from(text, 'base64');
  const both = new Float32Array(bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length));
  const clicks = both.filter((_, i) => i % 2 === 0);
  return {clicks, song: clicks.map((left, i) => both[2 * i + 1] - left)};
}

/** The samples at which something loud begins. */
export function onsets(samples, threshold, apart = 2000) {
  const found = [];
  let quietSince = -apart;
  samples.forEach((value, i) => {
    if (Math.abs(value) < threshold) return;
    if (i - quietSince >= apart) found.push(i);
    quietSince = i;
  });
  return found;
}

export const distances = places => places.slice(1).map((place, i) => place - places[i]);

/** The longest time without a sound between the first and the last one, in milliseconds. */
export function longestGap(samples) {
  let longest = 0;
  let last = samples.findIndex(value => Math.abs(value) > 0.02);
  samples.forEach((value, i) => {
    if (Math.abs(value) <= 0.02) return;
    if (i > last) longest = Math.max(longest, i - last);
    last = Math.max(last, i);
  });
  return (1000 * longest) / rate;
}

/** How often a second the sound of a stretch swings, by its crossings of zero. */
export function pitch(samples) {
  const up = [];
  for (let i = 1; i < samples.length; ++i) if (samples[i - 1] < 0 && samples[i] >= 0) up.push(i - samples[i] / (samples[i] - samples[i - 1]));
  return ((up.length - 1) * rate) / (up[up.length - 1] - up[0]);
}

export const isWithin = (value, expected, tolerance) => Math.abs(value - expected) <= tolerance;
