/** @import {Row} from './types.js' */
/** @import {Song} from './song.js' */
import {words} from './words.js';

const svg = 'http://www.w3.org/2000/svg';

/**
 * @param {Element} parent
 * @param {string} name
 * @param {Record<string, string | number>} attributes
 * @param {string} [text]
 */
export function draw(parent, name, attributes, text) {
  const element = document.createElementNS(svg, name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, String(value));
  if (text !== undefined) element.textContent = text;
  parent.append(element);
  return element;
}

/**
 * Where things stand in a row, in CSS pixels from its top.
 * @typedef {{section: number, regions: number, laneCount: number, chord: number, chordSize: number, wave: number,
 *   waveHeight: number, spectrogram: number, spectrogramHeight: number, bottom: number, height: number}} Anatomy
 */
export const laneHeight = 18;

/**
 * @param {Song} song
 * @param {{isNarrow: boolean, hasSpectrogram: boolean}} look
 * @returns {Anatomy}
 */
export function anatomy(song, {isNarrow, hasSpectrogram}) {
  const laneCount = Math.min(3, lanesOf(song));
  const section = 0;
  const regions = song.sections.length ? 22 : 0;
  const chord = regions + laneCount * laneHeight;
  const chordSize = isNarrow ? 20 : 23;
  const wave = chord + (song.chords.length ? chordSize + 13 : song.answer.markers.length ? 16 : 4);
  const waveHeight = isNarrow ? 44 : 52;
  const spectrogram = wave + waveHeight + 4;
  const spectrogramHeight = hasSpectrogram ? 72 : 0;
  const bottom = hasSpectrogram ? spectrogram + spectrogramHeight : wave + waveHeight;
  return {section, regions, laneCount, chord, chordSize, wave, waveHeight, spectrogram, spectrogramHeight, bottom,
    height: bottom + 34};
}

/** How many regions sound at once, at most. @param {Song} song */
function lanesOf(song) {
  const regions = song.answer.regions;
  let most = 0;
  for (const {frame} of regions) {
    const count = regions.filter(other => other.frame <= frame && frame < other.end).length;
    most = Math.max(most, count);
  }
  return most;
}

const ruler = document.createElement('canvas').getContext('2d');

/** @param {string} text @param {number} size @param {number} weight */
function widthOf(text, size, weight) {
  if (!ruler) return text.length * size * 0.6;
  ruler.font = `${weight} ${size}px ${getComputedStyle(document.body).fontFamily}`;
  return ruler.measureText(text).width;
}

/**
 * A text that keeps within its room: smaller first, then cut, with the whole one as its tip.
 * @param {Element} parent
 * @param {{x: number, y: number, room: number, size: number, smallest: number, weight: number, name: string}} how
 * @param {string} text
 */
function fittingText(parent, {x, y, room, size, smallest, weight, name}, text) {
  if (room < 7 || !text) return null;
  const full = widthOf(text, size, weight);
  const fits = full <= room ? size : Math.max(smallest, Math.floor((size * room) / full));
  let shown = text;
  const ratio = fits / size;
  while (shown && widthOf(shown === text ? shown : `${shown}…`, size, weight) * ratio > room) shown = shown.slice(0, -1);
  const element = draw(parent, 'text', {x, y, class: name, 'font-size': fits},
    shown === text ? text : shown ? `${shown}…` : '…');
  if (shown !== text) draw(element, 'title', {}, text);
  return element;
}

/** @param {Element} row @param {Row} data @param {Anatomy} at */
function drawSections(row, data, at) {
  for (const item of data.sections) {
    const group = draw(row, 'g', {class: 'section', 'data-loop': `${item.frame} ${item.end}`});
    const band = draw(group, 'rect', {x: item.x, y: at.section, width: Math.max(1, item.width - 2), height: 18, rx: 4});
    band.style.fill = item.color;
    fittingText(group, {x: item.x + 8, y: at.section + 13, room: item.width - 14, size: 12, smallest: 10, weight: 600,
      name: `${item.dark ? 'on-dark' : ''}${item.repeated ? ' repeated' : ''}`}, item.text);
    draw(group, 'title', {}, words('tip.loop', {name: item.text}));
  }
  for (const item of data.regions) {
    if (item.lane >= at.laneCount) continue;
    const y = at.regions + (at.laneCount - 1 - item.lane) * laneHeight;
    const group = draw(row, 'g', {class: 'region', 'data-loop': `${item.frame} ${item.end}`});
    draw(group, 'rect', {x: item.x, y, width: Math.max(1, item.width), height: laneHeight - 2, class: 'room'});
    const right = item.x + Math.max(1, item.width - 3);
    draw(group, 'path', {class: 'bracket', d: `M${item.x + 1} ${y + laneHeight - 3}V${y + 1}H${right}V${y + laneHeight - 3}`});
    const text = fittingText(group, {x: item.x + 7, y: y + 14, room: item.width - 12, size: 12, smallest: 10,
      weight: 500, name: ''}, item.text);
    if (text) group.append(text);
    draw(group, 'title', {}, words('tip.loop', {name: item.text}));
  }
}

/** @param {Element} row @param {Row} data @param {Anatomy} at @param {number} width */
function drawGrid(row, data, at, width) {
  const top = at.chord + 4;
  const lines = [...data.beats].map(x => `M${x} ${at.wave}V${at.bottom}`).join('');
  if (lines) draw(row, 'path', {class: 'beats', d: lines});
  const bars = data.bars.map(bar => `M${bar.x} ${top}V${at.bottom}`).join('');
  if (bars) draw(row, 'path', {class: 'bars', d: bars});
  for (let i = 0; i < data.bars.length; ++i) {
    const {number, x} = data.bars[i];
    const room = (data.bars[i + 1]?.x ?? width) - x;
    if (number > 0 && (room > 24 || number % 4 === 1))
      draw(row, 'text', {class: 'number', x: x + 4, y: at.bottom + 13}, String(number));
  }
}

/** @param {Element} row @param {Row} data @param {Anatomy} at */
function drawChords(row, data, at) {
  for (const chord of data.chords) {
    const unsure = chord.confidence !== null && chord.confidence < 0.5;
    const name = `chord${chord.repeated ? ' repeated' : ''}${unsure ? ' unsure' : ''}`;
    const text = fittingText(row, {x: chord.x + 6, y: at.chord + at.chordSize + 2, room: chord.width - 8,
      size: chord.repeated ? at.chordSize * 0.8 : at.chordSize, smallest: 11, weight: 700, name}, chord.text);
    if (!text) continue;
    text.setAttribute('data-chord', String(chord.id));
    if (unsure) draw(text, 'title', {}, words('tip.unsure', {name: chord.text}));
  }
}

/** @param {Element} row @param {Row} data @param {Anatomy} at @param {number} width */
function drawMarkers(row, data, at, width) {
  for (let i = 0; i < data.markers.length; ++i) {
    const {x, text} = data.markers[i];
    const room = (data.markers[i + 1]?.x ?? width) - x - 12;
    draw(row, 'path', {class: 'marker', d: `M${x} ${at.chord + 4}V${at.bottom + 18}`});
    draw(row, 'path', {class: 'flag', d: `M${x} ${at.bottom + 18}l8 5-8 5z`});
    fittingText(row, {x: x + 11, y: at.bottom + 27, room, size: 11.5, smallest: 10, weight: 600, name: 'marker-name'}, text);
  }
}

/** What a screen reader says of a row. @param {Row} data */
function spoken(data) {
  const numbers = data.bars.map(bar => bar.number).filter(number => number > 0);
  const chords = data.chords.map(chord => chord.text).join(', ');
  const section = data.sections.find(item => !item.repeated)?.text;
  const bars = numbers.length ? words('spoken.bars', {first: numbers[0], last: numbers[numbers.length - 1]}) : '';
  return [section, bars, chords].filter(Boolean).join(': ');
}

/**
 * A row as a picture. The stretch that is looped and the waveform are filled in by whoever shows it.
 * @param {Row} data
 * @param {Anatomy} at
 * @param {number} width
 */
export function drawRow(data, at, width) {
  const row = /** @type {SVGSVGElement} */ (document.createElementNS(svg, 'svg'));
  row.setAttribute('viewBox', `0 0 ${width} ${at.height}`);
  row.setAttribute('width', String(width));
  row.setAttribute('height', String(at.height));
  row.setAttribute('role', 'img');
  row.setAttribute('aria-label', spoken(data));
  draw(row, 'rect', {class: 'loop', x: 0, y: at.chord, width: 0, height: at.bottom - at.chord, rx: 3});
  draw(row, 'path', {class: 'wave', transform: `translate(0 ${at.wave})`});
  drawGrid(row, data, at, width);
  drawSections(row, data, at);
  drawChords(row, data, at);
  drawMarkers(row, data, at, width);
  for (const side of ['from', 'to']) {
    const handle = draw(row, 'g', {class: 'handle', 'data-side': side, visibility: 'hidden'});
    draw(handle, 'rect', {class: 'reach', x: -14, y: at.chord, width: 28, height: at.bottom - at.chord});
    draw(handle, 'path', {d: `M0 ${at.chord}V${at.bottom}`});
    draw(handle, 'circle', {cx: 0, cy: at.chord + 6, r: 6});
  }
  return row;
}
