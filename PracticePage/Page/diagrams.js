/** @import {ChordAnswer, Fingering, Instrument} from './types.js' */
import {draw} from './drawing.js';
import {words} from './words.js';

const svg = 'http://www.w3.org/2000/svg';

/** @param {number} width @param {number} height @param {string} label */
function picture(width, height, label) {
  const element = document.createElementNS(svg, 'svg');
  element.setAttribute('viewBox', `0 0 ${width} ${height}`);
  element.setAttribute('role', 'img');
  element.setAttribute('aria-label', label);
  return element;
}

/** Where to put the fingers on the strings. @param {string} name @param {Fingering} fingering */
function fretboard(name, {baseFret, frets}) {
  const gap = 14;
  const [left, top] = [20, 18];
  const width = gap * (frets.length - 1);
  const pressed = frets.filter(fret => fret > 0);
  const first = pressed.length && Math.max(...pressed) <= 4 ? 1 : Math.max(1, Math.min(baseFret, ...pressed));
  const rows = Math.max(4, Math.max(0, ...pressed) - first + 1);
  const spoken = frets.map(fret => (fret < 0 ? '×' : fret)).join(' ');
  const board = picture(left + width + 12, top + gap * rows + 6, words('diagram.frets', {name, frets: spoken}));
  for (let i = 0; i <= rows; ++i)
    draw(board, 'path', {class: i === 0 && first === 1 ? 'nut' : 'line', d: `M${left} ${top + i * gap}h${width}`});
  frets.forEach((fret, i) => {
    const x = left + i * gap;
    draw(board, 'path', {class: 'line', d: `M${x} ${top}v${rows * gap}`});
    if (fret > 0) draw(board, 'circle', {class: 'finger', cx: x, cy: top + (fret - first + 0.5) * gap, r: 4.8});
    else draw(board, 'text', {class: 'open', x, y: top - 6}, fret < 0 ? '×' : '○');
  });
  if (first > 1) draw(board, 'text', {class: 'fret', x: left - 9, y: top + gap * 0.5 + 4}, String(first));
  return board;
}

const whiteKeys = [0, 2, 4, 5, 7, 9, 11];

/** The keys of a voicing. @param {string} name @param {number[]} notes */
function keyboard(name, notes) {
  const lowest = Math.floor(Math.min(...notes) / 12) * 12;
  const octaves = Math.max(2, Math.floor((Math.max(...notes) - lowest) / 12) + 1);
  const [width, height] = [10, 44];
  const board = picture(octaves * 7 * width + 4, height + 4, words('diagram.keys', {name}));
  const isDown = (/** @type {number} */ pitch) => (notes.includes(pitch) ? ' down' : '');
  for (let i = 0; i < octaves * 7; ++i) {
    const pitch = lowest + 12 * Math.floor(i / 7) + whiteKeys[i % 7];
    draw(board, 'rect', {class: `white${isDown(pitch)}`, x: 2 + i * width, y: 2, width, height, rx: 1.5});
  }
  for (let i = 0; i < octaves * 7; ++i) {
    if (i % 7 === 2 || i % 7 === 6) continue;
    const pitch = lowest + 12 * Math.floor(i / 7) + whiteKeys[i % 7] + 1;
    draw(board, 'rect', {class: `black${isDown(pitch)}`, x: 2 + (i + 1) * width - 3, y: 2, width: 6, height: 28, rx: 1});
  }
  return board;
}

/**
 * How a chord is played; null where the instrument has no way.
 * @param {ChordAnswer} chord
 * @param {Instrument} instrument
 */
export function diagram(chord, instrument) {
  if (instrument === 'piano') return chord.notes.length ? keyboard(chord.name, chord.notes) : null;
  return chord.fingerings.length ? fretboard(chord.name, chord.fingerings[0]) : null;
}
