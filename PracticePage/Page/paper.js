/** @import {Api} from './api.js' */
/** @import {Chart} from './chart.js' */
/** @import {Song} from './song.js' */
import {anatomy} from './drawing.js';
import {element} from './elements.js';
import {Rows} from './rows.js';

/** The width of a printed row, in CSS pixels; it fits portrait paper with its margins. */
const width = 680;
const secondsPerRow = 10;

/**
 * Lays the whole song out for paper and prints it.
 * @param {Chart} chart
 * @param {Api} api
 * @param {Song} song
 * @param {boolean} simple
 */
export async function printSong(chart, api, song, simple) {
  const rows = new Rows(api, () => {});
  await rows.lay({width, scale: width / secondsPerRow, simple}, 0);
  const all = await rows.all();
  await chart.knowWaves();
  const at = anatomy(song, {isNarrow: true, hasSpectrogram: false});
  element('paper').replaceChildren(...all.map(row => chart.picture(row, width, at)));
  window.print();
}

addEventListener('afterprint', () => element('paper').replaceChildren());
