/** @import {Api} from './api.js' */
/** @import {Chart} from './chart.js' */
/** @import {Binding} from './keys.js' */
/** @import {Looper} from './looper.js' */
/** @import {Now} from './now.js' */
/** @import {Player} from './player.js' */
/** @import {Practice} from './practice.js' */
/** @import {Song} from './song.js' */
/** @import {Speech} from './speech.js' */
import {element} from './elements.js';
import {followDrawer, followSteps, tieControls} from './panel.js';
import {words} from './words.js';

/**
 * @typedef {{api: Api, practice: Practice, player: Player, looper: Looper, chart: Chart, speech: Speech, now: Now,
 *   edit: (sentence: string, told: string) => Promise<void>, undo: (which: 'undo' | 'redo') => Promise<void>, canEdit: boolean,
 *   song: () => Song}} Parts
 */

const presets = [50, 60, 70, 80, 90, 100];

/** @param {number} value */
const signed = value => (value > 0 ? `+${value}` : value < 0 ? `−${-value}` : '0');

/** The buttons and keys, and what they show. */
export class Controls {
  #parts;
  #toggleDrawer;

  /** @param {Parts} parts */
  constructor(parts) {
    this.#parts = parts;
    const {practice, player, looper, chart} = parts;
    const list = element('presets');
    for (const percent of presets) {
      const button = document.createElement('button');
      button.type = 'button';
      button.textContent = `${percent} %`;
      button.addEventListener('click', () => practice.set({speed: percent / 100}));
      list.append(button);
    }
    tieControls(practice);
    this.#toggleDrawer = followDrawer();
    followSteps((name, change) => this.#step(name, change));

    /** @param {string} id @param {() => void} does */
    const on = (id, does) => element(id).addEventListener('click', does);
    on('play', () => player.toggle());
    on('back', () => this.#jump('section', -1));
    on('forward', () => this.#jump('section', 1));
    on('loop-a', () => looper.setA());
    on('loop-b', () => looper.setB());
    on('loop-clear', () => looper.set(null));
    on('loop-section', () => looper.setSection());
    on('slower', () => this.#changeSpeed(-5));
    on('faster', () => this.#changeSpeed(5));
    on('count-in', () => this.#turnCountIn());
    on('zoom-in', () => chart.zoom(1.25, player.position));
    on('zoom-out', () => chart.zoom(0.8, player.position));
    on('help', () => element('keys', HTMLDialogElement).showModal());
    element('loop-bars').addEventListener('submit', event => {
      event.preventDefault();
      looper.setBars(element('loop-first', HTMLInputElement).valueAsNumber,
        element('loop-last', HTMLInputElement).valueAsNumber);
    });
    element('loop-keep').addEventListener('submit', async event => {
      event.preventDefault();
      const name = element('loop-name', HTMLInputElement);
      const sentence = looper.sentence(name.value);
      if (!sentence) return;
      await parts.edit(sentence, words('loop.kept', {name: name.value.trim()}));
      name.value = '';
    });
  }

  /** @param {'bar' | 'beat' | 'section'} unit @param {1 | -1} direction */
  #jump(unit, direction) {
    const {player, song} = this.#parts;
    const grace = player.isPlaying ? song().rate * 0.7 * this.#parts.practice.values.speed : 0;
    player.goTo(song().step(Math.round(player.position), unit, direction, unit === 'beat' ? grace / 3 : grace));
  }

  /** @param {number} change in hundredths */
  #changeSpeed(change) {
    const {practice, speech} = this.#parts;
    const percent = Math.round(practice.values.speed * 100);
    const next = change > 0 ? Math.floor((percent + 5) / 5) * 5 : Math.ceil((percent - 5) / 5) * 5;
    practice.set({speed: next / 100});
    speech.say(words('spoken.speed', {speed: Math.round(practice.values.speed * 100)}));
  }

  #turnCountIn() {
    const {practice} = this.#parts;
    const next = /** @type {0 | 1 | 2} */ ((practice.values.countIn + 1) % 3);
    practice.set({countIn: next});
  }

  /** @param {string} name @param {number} change */
  #step(name, change) {
    const {practice, edit, song} = this.#parts;
    const {capo, transposition} = song().answer;
    if (name === 'semitones') practice.set({semitones: Math.min(12, Math.max(-12, practice.values.semitones + change))});
    else if (name === 'capo') {
      const fret = Math.min(11, Math.max(0, capo + change));
      edit(`capo=${fret}`, words('capo.fact', {fret: fret || words('capo.none')}));
    } else {
      const next = Math.min(11, Math.max(-11, transposition + change));
      edit(`transpose=${next}`, words('transposed', {semitones: signed(next)}));
    }
  }

  #toggleLoop() {
    const {looper, speech} = this.#parts;
    if (looper.loop || looper.start !== null) looper.set(null);
    else looper.setSection();
    speech.say(looper.loop ? words('spoken.loop', {loop: looper.text()}) : words('spoken.noloop'));
  }

  /** @param {string} digit */
  #goToMark(digit) {
    const {player, song} = this.#parts;
    const mark = song().answer.markers[Number(digit) - 1];
    if (mark) player.goTo(mark.frame);
  }

  /** @returns {Binding[]} */
  bindings() {
    const {practice, player, looper, chart, speech, now, undo, canEdit, song} = this.#parts;
    return [
      {keys: [' '], words: 'key.play', does: () => player.toggle()},
      {keys: ['ArrowLeft', 'ArrowRight'], words: 'key.bar', does: key => this.#jump('bar', key === 'ArrowLeft' ? -1 : 1)},
      {keys: ['Shift+ArrowLeft', 'Shift+ArrowRight'], words: 'key.beat',
        does: key => this.#jump('beat', key === 'Shift+ArrowLeft' ? -1 : 1)},
      {keys: ['ArrowUp', 'ArrowDown'], words: 'key.section', does: key => this.#jump('section', key === 'ArrowUp' ? -1 : 1)},
      {keys: ['Home'], words: 'key.gohome', does: () => player.goTo(0)},
      {keys: ['End'], words: 'key.goend', does: () => player.goTo(song().length)},
      {keys: ['1', '2', '3', '4', '5', '6', '7', '8', '9'], words: 'key.mark', does: key => this.#goToMark(key)},
      {keys: ['a'], words: 'key.a', does: () => looper.setA()},
      {keys: ['b'], words: 'key.b', does: () => looper.setB()},
      {keys: ['l'], words: 'key.loop', does: () => this.#toggleLoop()},
      {keys: [','], words: 'key.slower', does: () => this.#changeSpeed(-5)},
      {keys: ['.'], words: 'key.faster', does: () => this.#changeSpeed(5)},
      {keys: ['c'], words: 'key.click', does: () => practice.write('click.on', !practice.values.click.on)},
      {keys: ['i'], words: 'key.countin', does: () => this.#turnCountIn()},
      {keys: ['p'], words: 'key.hear', does: () => void now.hear()},
      {keys: ['s'], words: 'key.speak', does: () => speech.sayPlace(player.position)},
      {keys: ['+', '='], words: 'key.zoomin', does: () => chart.zoom(1.25, player.position)},
      {keys: ['-'], words: 'key.zoomout', does: () => chart.zoom(0.8, player.position)},
      ...(canEdit ? [
        {keys: ['u'], words: 'undo', does: () => void undo('undo')},
        {keys: ['r'], words: 'key.redo', does: () => void undo('redo')},
      ] : []),
      {keys: ['o'], words: 'key.options', does: () => this.#toggleDrawer(element('panel').hidden)},
      {keys: ['?'], words: 'key.help', does: () => element('keys', HTMLDialogElement).showModal()},
    ];
  }

  show() {
    const {practice, player, looper, canEdit, song} = this.#parts;
    const {answer} = song();
    const {values} = practice;
    this.#showHeading();
    const isPlaying = player.isPlaying;
    const play = element('play', HTMLButtonElement);
    play.setAttribute('aria-label', words(isPlaying ? 'pause' : 'play'));
    play.title = `${words(isPlaying ? 'pause' : 'play')} (${words('key.space')})`;
    play.disabled = player.reason !== '' || answer.soundAsk !== null;
    play.classList.toggle('playing', isPlaying);
    element('play-icon').setAttribute('href', isPlaying ? '#icon-pause' : '#icon-play');
    const text = looper.text();
    element('loop-text').textContent = text || words('loop.none');
    element('loop-text').classList.toggle('none', !text);
    element('loop-round').textContent = values.loop && isPlaying ? words('loop.round', {round: player.round}) : '';
    element('loop-clear').hidden = !text;
    element('loop-a').setAttribute('aria-pressed', String(text !== ''));
    element('loop-b').setAttribute('aria-pressed', String(values.loop !== null));
    this.#showLoopFields();
    element('count-in-bars').textContent = values.countIn ? String(values.countIn) : '–';
    element('count-in').setAttribute('aria-pressed', String(values.countIn > 0));
    element('count-in').setAttribute('aria-label',
      `${words('countin')}: ${words(['countin.none', 'countin.one', 'countin.two'][values.countIn])}`);
    element('transposition').textContent = signed(answer.transposition);
    element('capo').textContent = answer.capo ? String(answer.capo) : words('capo.none');
    element('semitones').textContent = signed(values.semitones);
    element('tune').hidden = !answer.standardPitch || Math.abs(answer.standardPitch - 440) < 0.25;
    element('tune-text').textContent = words('pitch.tune',
      {pitch: (answer.standardPitch ?? 440).toLocaleString(document.documentElement.lang, {maximumFractionDigits: 1})});
    element('language', HTMLSelectElement).value = document.documentElement.lang;
    document.body.classList.toggle('read-only', !canEdit);
  }

  #showHeading() {
    const {answer} = this.#parts.song();
    const title = answer.title || answer.fileName;
    element('title').textContent = title;
    element('artist').textContent = answer.artist;
    document.title = answer.artist ? `${title} – ${answer.artist}` : title;
    const facts = [answer.key, answer.tempo ? `♩ = ${Math.round(answer.tempo)}` : '', answer.timeSignature,
      answer.capo ? words('capo.fact', {fret: answer.capo}) : '',
      answer.transposition ? words('transposed', {semitones: signed(answer.transposition)}) : ''];
    element('facts').textContent = facts.filter(Boolean).join('  ·  ');
  }

  #showLoopFields() {
    const {looper, song} = this.#parts;
    const numbers = song().bars.map(bar => bar.number).filter(number => number > 0);
    const bars = looper.bars();
    ['loop-first', 'loop-last'].forEach((id, i) => {
      const field = element(id, HTMLInputElement);
      field.min = String(numbers[0] ?? 1);
      field.max = String(numbers[numbers.length - 1] ?? 1);
      if (document.activeElement !== field && bars) field.value = String(bars[i]);
    });
    element('loop-keep').classList.toggle('off', !looper.loop);
    for (const control of element('loop-keep').querySelectorAll('input, button'))
      /** @type {HTMLInputElement | HTMLButtonElement} */ (control).disabled = !looper.loop;
  }
}
