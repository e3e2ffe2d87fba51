// What tests do with a page that shows a song.
import {after, test} from 'node:test';
import {until} from './clock.mjs';
import {closeBrowser, isReady, openWithTarn, show} from './driver.mjs';
import {makeSong} from './song.mjs';

export {until} from './clock.mjs';
export {desktop, isReady, openWithTarn, phone, show, startTarn} from './driver.mjs';

after(closeBrowser);

/** A test with a song of its own, at each of the sizes. */
export function practise(title, sizes, body, options = {}) {
  for (const size of sizes)
    test(`${title} (${size.name})`, async () => {
      const song = (options.makeSong ?? makeSong)();
      const opened = await openWithTarn(song);
      try {
        await show(opened.address, size, async (page, context) => {
          await isReady(page);
          await body(page, {song, opened, size, context});
        }, {...options, title});
      } finally {
        await opened.end();
      }
    });
}

/** Until the rows fill the window, after something made it wider or narrower. */
export async function isLaidOut(page) {
  await page.waitForFunction(() => {
    const style = getComputedStyle(document.getElementById('chart'));
    const width = document.getElementById('chart').clientWidth - parseFloat(style.paddingLeft) - parseFloat(style.paddingRight);
    const picture = document.querySelector('#sheet .row svg');
    return picture && Math.abs(picture.clientWidth - width) < 2;
  });
}

/** Where the playhead is, in the page's words. */
export const place = page => page.getAttribute('#seek', 'aria-valuetext');

/** Waits until the playhead is there, while the song goes on if it is played. */
export async function isAt(page, words) {
  await until(page, wanted => document.getElementById('seek').getAttribute('aria-valuetext') === wanted, words);
}

/** Waits until an element says that. */
export async function shows(page, what, text) {
  await page.waitForFunction(([selector, wanted]) => document.querySelector(selector)?.textContent === wanted, [what, text]);
}

/** Waits until the page has drawn what was changed. */
export const isDrawn = page =>
  page.evaluate(() => new Promise(resolve => requestAnimationFrame(() => requestAnimationFrame(resolve))));

/** Waits until the song is played, or no longer. */
export async function isPlaying(page, wanted = true) {
  await until(page, is => document.getElementById('play').classList.contains('playing') === is, wanted);
}

export async function openOptions(page) {
  if (await page.isHidden('#panel')) await page.click('#more');
}

export async function closeOptions(page) {
  await page.click('#close-panel');
  await isLaidOut(page);
}

/** Loops whole bars by the fields of the options. */
export async function loopBars(page, first, last) {
  await openOptions(page);
  await page.fill('#loop-first', String(first));
  await page.fill('#loop-last', String(last));
  await page.click('#loop-bars button');
}

/** The middle of a bar on the window: of the chord that begins with it. */
export async function pointOfBar(page, bar, share = 0.5) {
  return page.evaluate(([wanted, part]) => {
    for (const row of document.querySelectorAll('#sheet .row')) {
      const numbers = [...row.querySelectorAll('.number')];
      const at = numbers.findIndex(number => number.textContent === String(wanted));
      if (at < 0) continue;
      row.scrollIntoView({block: 'nearest'});
      const lines =
        [...row.querySelector('.bars').getAttribute('d').matchAll(/M([\d.]+)/g)].map(each => Number(each[1]));
      const box = row.getBoundingClientRect();
      const own = Number(numbers[at].getAttribute('x')) - 4;
      const next = lines.find(x => x > own + 1) ?? row.querySelector('svg').viewBox.baseVal.width;
      const wave = row.querySelector('.wave').getBoundingClientRect();
      return {x: box.left + own + (next - own) * part, y: wave.top + wave.height / 2};
    }
    throw new Error(`bar ${wanted} is not in sight`);
  }, [bar, share]);
}
