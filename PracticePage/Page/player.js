/** @import {Api} from './api.js' */
/** @import {Practice} from './practice.js' */
/** @import {Song} from './song.js' */
/** @import {CountInBeat, StreamAnswer, StreamBlock} from './types.js' */
/** @import {Manner, Return} from './voice.js' */
import {Sound} from './sound.js';
import {Voice} from './voice.js';

/** Seconds that are laid out ahead. */
const ahead = 3;
/** How soon a change is heard, where the first block comes in time; and how long the fade to it lasts. */
const changeLead = 0.15;
const changeFade = 0.03;
/** How far ahead of its time sound is handed to the graph, and how much of it there must be to begin with. */
const margin = 0.035;
const cushion = 0.25;
/** The fade of a stop, and of a start in the midst of the song, which leaves a beat that begins there its attack. */
const stopFade = 0.008;
const startFade = 0.001;
/** The fade at the end of a round. */
const joinFade = 0.003;

/** @param {Manner} a @param {Manner} b */
const isSame = (a, b) => JSON.stringify(a) === JSON.stringify(b);

/** Plays the song as it is practised. Tells by `change` when it starts, stops or begins a round. */
export class Player extends EventTarget {
  #api;
  #practice;
  /** @type {Song} */
  #song;
  /** @type {Sound | null} */
  #sound = null;
  /** Those that are heard or will be, in order. @type {Voice[]} */
  #voices = [];
  #ticket = 0;
  #timer = 0;
  #isPumping = false;
  /** Where playing begins, or the playhead rests. */
  #rest = 0;
  /** @type {{node: AudioBufferSourceNode}[]} */
  #countIn = [];
  /** @type {Manner} as it was last asked for */
  #asked;
  #click = '';
  /** Rounds that were heard at this speed. */
  #roundsAtSpeed = 0;
  /** @type {'stopped' | 'starting' | 'playing'} */
  state = 'stopped';
  round = 1;

  /** @param {Api} api @param {Practice} practice @param {Song} song */
  constructor(api, practice, song) {
    super();
    this.#api = api;
    this.#practice = practice;
    this.#song = song;
    this.#rest = Math.min(practice.values.position, song.length);
    this.#asked = this.#manner();
    practice.addEventListener('change', () => this.#follow());
  }

  /** @param {Song} song */
  setSong(song) {
    this.#song = song;
    this.#relayClicks();
    this.#follow();
  }

  get isPlaying() {
    return this.state !== 'stopped';
  }

  /** Why nothing can be played; empty otherwise. */
  get reason() {
    return this.#song.answer.soundReason ?? '';
  }

  /** The graph; made when it is first needed, by a key or a tap. */
  sound() {
    if (!this.#sound) {
      this.#sound = new Sound(this.#song.answer.soundRate ?? this.#song.rate);
      this.#sound.setVolumes(this.#practice.values.volumes);
    }
    return this.#sound;
  }

  /** @returns {Manner} */
  #manner() {
    const {speed, semitones, follow, tune, loop} = this.#practice.values;
    const {transposition, standardPitch} = this.#song.answer;
    const tuning = tune && standardPitch ? 12 * Math.log2(440 / standardPitch) : 0;
    const shift = semitones + (follow ? transposition : 0) + tuning;
    return {speed, semitones: Math.round(Math.min(12, Math.max(-12, shift)) * 1000) / 1000, loop};
  }

  /** The frame that is heard now, or from which playing begins. */
  get position() {
    const voice = this.#heardVoice();
    const frame = (this.#sound && voice?.frameAt(this.#sound.heard)) ?? this.#rest;
    return Math.min(this.#song.length, Math.max(0, frame));
  }

  /** How fast the song goes on at this moment: 0 while it rests or is counted in. */
  get framesPerMillisecond() {
    const voice = this.#heardVoice();
    return this.#sound && voice ? voice.paceAt(this.#sound.heard) / 1000 : 0;
  }

  #heardVoice() {
    if (!this.isPlaying || !this.#sound) return undefined;
    const time = this.#sound.heard;
    return this.#voices.findLast(voice => voice.from <= time) ?? this.#voices[0];
  }

  #tell() {
    this.dispatchEvent(new Event('change'));
  }

  toggle() {
    if (this.isPlaying) this.stop();
    else this.play();
  }

  async play() {
    if (this.isPlaying || this.reason) return;
    const sound = this.sound();
    this.state = 'starting';
    this.round = 1;
    this.#roundsAtSpeed = 0;
    this.#asked = this.#manner();
    this.#tell();
    if (this.#rest >= this.#song.length - 1) this.#rest = this.#asked.loop?.[0] ?? 0;
    const ticket = ++this.#ticket;
    try {
      await sound.wake();
      const from = this.#rest;
      const beats = await this.#countInBeats(from);
      const opened = await this.#open(from, this.#asked, ticket);
      if (!opened) return;
      const first = sound.onSample(sound.now + 0.06);
      const start = sound.onSample(first + this.#layCountIn(beats, first));
      opened.voice.begin(start, startFade);
      this.#take(opened, 0);
      this.state = 'playing';
      this.#timer = setInterval(() => this.#tick(), 50);
      this.#tell();
      if (from !== this.#rest) this.#replace(this.#rest);
      else if (!isSame(opened.voice.manner, this.#asked)) this.#replace(null);
    } catch (error) {
      if (ticket === this.#ticket) this.#fail(error);
    }
  }

  stop() {
    if (!this.isPlaying) return;
    const rest = this.position;
    ++this.#ticket;
    clearInterval(this.#timer);
    if (this.#sound) this.#silence(this.#sound.now, stopFade);
    this.#voices = [];
    this.#rest = Math.round(rest);
    this.state = 'stopped';
    this.#practice.set({position: this.#rest});
    this.#tell();
  }

  /** @param {unknown} error */
  #fail(error) {
    this.stop();
    this.dispatchEvent(new CustomEvent('trouble', {detail: error}));
  }

  /** @param {number} frame */
  goTo(frame) {
    this.#rest = Math.round(Math.min(this.#song.length, Math.max(0, frame)));
    if (this.state === 'playing') this.#replace(this.#rest);
    else this.#practice.set({position: this.#rest});
    this.dispatchEvent(new Event('moved'));
  }

  /** Goes on in another manner, where that was asked for. */
  #follow() {
    const {volumes, click} = this.#practice.values;
    this.#sound?.setVolumes(volumes);
    if (JSON.stringify(click) !== this.#click) {
      this.#click = JSON.stringify(click);
      this.#relayClicks();
    }
    const manner = this.#manner();
    if (isSame(manner, this.#asked)) return;
    const isOtherLoop = JSON.stringify(manner.loop) !== JSON.stringify(this.#asked.loop);
    this.#asked = manner;
    this.#roundsAtSpeed = 0;
    if (isOtherLoop) this.round = 1;
    if (this.state === 'playing' && this.sound().now < this.#voices[0].from) this.#again();
    else if (this.state === 'playing') this.#replace(null);
    this.#tell();
  }

  /** Counts in once more. */
  #again() {
    this.stop();
    this.play();
  }

  #relayClicks() {
    if (!this.#sound) return;
    const since = this.#sound.now + 0.01;
    for (const voice of this.#voices) {
      voice.dropClicks(since);
      voice.layClicks(this.#song, this.#practice.values.click, since);
    }
  }

  /**
   * Goes on elsewhere, or where the song is in another manner.
   * @param {number | null} frame
   */
  async #replace(frame) {
    const sound = this.sound();
    const ticket = ++this.#ticket;
    const when = sound.onSample(sound.now + changeLead);
    try {
      const place = frame ?? this.#inLoop(this.#frameAt(when));
      const opened = await this.#open(place, this.#asked, ticket, frame === null ? when : Infinity);
      if (!opened) return;
      const now = sound.onSample(sound.now + margin);
      const start = frame === null ? Math.max(when, now) : now;
      this.#silence(start, frame === null ? changeFade : stopFade);
      this.#voices = this.#voices.filter(voice => voice.from < start);
      opened.voice.begin(start, frame === null ? changeFade : startFade);
      this.#take(opened, frame === null ? start - when : 0);
    } catch (error) {
      if (ticket === this.#ticket) this.#fail(error);
    }
  }

  /**
   * Where the song goes on from a frame that is due soon: the loop's end may be passed until then, by a loop that ends
   * just after the playhead.
   * @param {number} frame
   */
  #inLoop(frame) {
    const {loop} = this.#asked;
    if (!loop || frame < loop[1] || this.position >= loop[1]) return frame;
    return loop[0] + ((frame - loop[1]) % (loop[1] - loop[0]));
  }

  /** The frame that will sound at a time. @param {number} time */
  #frameAt(time) {
    const voice = this.#voices.findLast(each => each.from <= time) ?? this.#voices[0];
    return Math.round(voice?.frameAt(time) ?? this.#rest);
  }

  /**
   * Opens a stream and fetches its first blocks; null where something else was asked for meanwhile.
   * @param {number} from
   * @param {Manner} manner
   * @param {number} ticket
   * @param {number} [when] it begins, whenever its blocks come; what has passed by then is not heard
   */
  async #open(from, manner, ticket, when = Infinity) {
    const loop = manner.loop && from < manner.loop[1] ? manner.loop : null;
    /** @type {StreamAnswer} */
    const stream = await this.#api.post('/api/streams',
      {from: Math.min(from, this.#song.length - 1), loop, to: null, speed: manner.speed, semitones: manner.semitones});
    const sound = this.sound();
    const voice = new Voice(sound, stream, manner);
    /** @type {StreamBlock[]} */
    const blocks = [];
    for (let length = 0; ticket === this.#ticket;) {
      const block = await this.#api.block(stream.stream, blocks.length, stream.channels);
      blocks.push(block);
      length += block.length / stream.sampleRate;
      if (ticket === this.#ticket && (block.isLast || length - Math.max(0, sound.now + margin - when) >= cushion))
        return {voice, blocks};
    }
    this.#close(voice);
    return null;
  }

  /** Ends its stream, after the block that is on its way. @param {Voice} voice */
  #close(voice) {
    const end = () => this.#api.request('DELETE', `/api/streams/${voice.stream.stream}`).catch(() => {});
    voice.fetching.then(end, end);
  }

  /** Ends all that is laid out. @param {number} time @param {number} fade */
  #silence(time, fade) {
    for (const voice of this.#voices) {
      if (voice.until === Infinity) this.#close(voice);
      voice.cut(time, fade);
    }
    for (const {node} of this.#countIn) node.stop(time);
    this.#countIn = [];
  }

  /**
   * @param {{voice: Voice, blocks: StreamBlock[]}} opened
   * @param {number} skip seconds that have passed
   */
  #take({voice, blocks}, skip) {
    this.#voices.push(voice);
    for (const block of blocks) {
      if (!voice.isDone) this.#add(voice, block, skip);
      skip = Math.max(0, skip - block.length / voice.stream.sampleRate);
    }
    this.#pump();
  }

  /**
   * @param {Voice} voice
   * @param {StreamBlock} block
   * @param {number} skip
   */
  #add(voice, block, skip) {
    const ends = voice.add(block, skip);
    const turn = ends.find(each => this.#isTurn(voice, each));
    if (turn) this.#turn(voice, turn);
    voice.layClicks(this.#song, this.#practice.values.click, this.sound().now);
  }

  /** Keeps some seconds laid out. */
  async #pump() {
    if (this.#isPumping || !this.#sound) return;
    this.#isPumping = true;
    for (;;) {
      const voice = this.#voices.at(-1);
      if (!voice || voice.isDone || voice.end > this.#sound.now + ahead) break;
      try {
        const fetching = this.#api.block(voice.stream.stream, voice.nextBlock, voice.stream.channels);
        voice.fetching = fetching;
        const block = await fetching;
        if (!voice.isDone) this.#add(voice, block, 0);
      } catch (error) {
        if (voice.isDone) continue; // it is not missed
        this.#fail(error);
        break;
      }
    }
    this.#isPumping = false;
  }

  /** Whether another voice goes on after this round: for the trainer or a count-in. @param {Voice} voice @param {Return} end */
  #isTurn(voice, end) {
    const {trainer, countIn, countInEach} = this.#practice.values;
    if (countInEach && countIn > 0) return true;
    const rounds = this.#roundsAtSpeed + voice.returns.indexOf(end) + 1;
    return trainer.on && rounds >= trainer.rounds && voice.manner.speed < trainer.goal;
  }

  /** Ends a voice with its round, and lays out the next one. @param {Voice} voice @param {Return} end */
  async #turn(voice, end) {
    const ticket = this.#ticket;
    const {trainer, countIn, countInEach} = this.#practice.values;
    const rounds = this.#roundsAtSpeed + voice.returns.indexOf(end) + 1;
    const isFaster = trainer.on && rounds >= trainer.rounds && voice.manner.speed < trainer.goal;
    const speed = isFaster ? Math.min(trainer.goal, Math.round(voice.manner.speed * 100 + trainer.step) / 100)
      : voice.manner.speed;
    const manner = {...voice.manner, speed};
    const from = manner.loop?.[0] ?? 0;
    end.manner = manner;
    voice.cut(end.time - joinFade, joinFade, end.time); // before the next round's first attack
    voice.rest = from;
    this.#close(voice);
    try {
      const beats = countInEach && countIn > 0 ? await this.#countInBeats(from) : [];
      const opened = await this.#open(from, manner, ticket);
      if (!opened) return;
      const first = Math.max(end.time, this.sound().now + 0.02);
      const start = this.sound().onSample(first + this.#layCountIn(beats, first, speed));
      opened.voice.begin(start, startFade);
      this.#take(opened, 0);
    } catch (error) {
      if (ticket === this.#ticket) this.#fail(error);
    }
  }

  /** @param {number} frame @returns {Promise<CountInBeat[]>} */
  async #countInBeats(frame) {
    const {countIn} = this.#practice.values;
    if (!countIn) return [];
    return (await this.#api.get(`/api/countin?at=${Math.round(frame)}&bars=${countIn}`)).beats;
  }

  /**
   * Lays out the count-in. Returns how many seconds it lasts.
   * @param {CountInBeat[]} beats
   * @param {number} first when it begins
   * @param {number} [speed]
   */
  #layCountIn(beats, first, speed = this.#asked.speed) {
    if (!beats.length) return 0;
    const length = beats[0].before / speed;
    for (const {before, downbeat} of beats)
      this.#countIn.push({node: this.sound().playClick(downbeat ? 'accent' : 'beat', first + length - before / speed)});
    return length;
  }

  /** Follows what was heard. */
  #tick() {
    const sound = this.sound();
    const {heard, now} = sound;
    for (const voice of this.#voices) {
      while (voice.returns.length && voice.returns[0].time <= heard) this.#finishRound(voice.returns.shift());
    }
    while (this.#voices.length > 1 && this.#voices[0].until < heard - 0.5) this.#voices.shift();
    const last = this.#voices.at(-1);
    if (last?.isComplete && last.until === Infinity && heard >= last.end) this.stop();
    else if (last && now - last.end < 10) this.#pump();
  }

  /** @param {Return | undefined} end */
  #finishRound(end) {
    ++this.round;
    ++this.#roundsAtSpeed;
    if (end?.manner && end.manner.speed !== this.#asked.speed) {
      this.#asked = end.manner;
      this.#roundsAtSpeed = 0;
      this.#practice.set({speed: end.manner.speed});
    }
    this.#tell();
  }
}
