/** @import {Api} from './api.js' */
/** @import {Chart} from './chart.js' */
/** @import {Song} from './song.js' */
/** @import {Row, RowsAnswer} from './types.js' */
import {anatomy} from './drawing.js';
import {element} from './elements.js';
import {rowsPath} from './rows.js';

/** The width of a printed row, in CSS pixels; it fits portrait paper with its margins. */
const width = 680;
const secondsPerRow = 10;
const pageSize = 500;

/**
 * Lays the whole song out for paper; done before it returns, for the browser prints then.
 * @param {Chart} chart
 * @param {Api} api
 * @param {Song} song
 * @param {boolean} simple
 */
export function layOnPaper(chart, api, song, simple) {
  /** @type {Row[]} */
  const rows = [];
  /** @type {RowsAnswer} */
  let answer;
  do {
    answer = api.getNow(rowsPath({width, scale: width / secondsPerRow, simple}, rows.length, pageSize));
    rows.push(...answer.rows);
  } while (answer.rows.length && rows.length < answer.rowCount);
  chart.knowWavesNow();
  const at = anatomy(song, {isNarrow: true, hasSpectrogram: false});
  element('paper').replaceChildren(...rows.map(row => chart.picture(row, width, at)));
}

addEventListener('afterprint', () => element('paper').replaceChildren());
