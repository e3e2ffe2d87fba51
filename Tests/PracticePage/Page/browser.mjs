// Opens songs with tarn and shows them in the system's browser; keeps a picture of what fails.
import {spawn} from 'node:child_process';
import {mkdirSync} from 'node:fs';
import {createRequire} from 'node:module';
import {join} from 'node:path';
import {after, test} from 'node:test';
import {makeSong, tarn} from './song.mjs';

const require = createRequire(join(process.env.TARN_PAGE_TOOLS, 'package.json'));
const {chromium} = require('playwright-core');
const pictures = process.env.TARN_PAGE_PICTURES;

export const desktop = {name: 'desktop', viewport: {width: 1280, height: 800}};
export const phone = {name: 'phone', viewport: {width: 390, height: 844}, hasTouch: true, isMobile: true};

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--mute-audio',
    '--autoplay-policy=no-user-gesture-required'],
});
after(() => browser.close());

/** Starts `tarn open` and waits for its first line with an address. */
export async function openWithTarn(...words) {
  const process = spawn(tarn, ['open', '--no-browser', ...words], {stdio: ['ignore', 'pipe', 'pipe']});
  let said = '';
  const ended = new Promise(resolve => process.on('exit', resolve));
  const address = await new Promise((resolve, reject) => {
    const read = text => {
      said += text;
      const found = /https?:\/\/\S+/.exec(said);
      if (found && /\s/.test(said.slice(found.index + found[0].length))) resolve(found[0]);
    };
    process.stdout.on('data', read);
    process.stderr.on('data', read);
    ended.then(status => reject(new Error(`tarn open ended with ${status}: ${said}`)));
  });
  return {address, process, ended, said: () => said, end: () => (process.kill('SIGINT'), ended)};
}

/**
 * Runs the body for each size of window with a page that shows the address; what the page logs as an error fails it.
 */
export async function show(address, size, body, options = {}) {
  const {name, ...device} = size;
  const context = await browser.newContext({...device, locale: 'en-GB', ...options});
  const page = await context.newPage();
  page.setDefaultTimeout(15000);
  const errors = [];
  page.on('pageerror', error => errors.push(String(error)));
  page.on('console', message => message.type() === 'error' && errors.push(message.text()));
  try {
    if (options.before) await options.before(page, context);
    await page.goto(address);
    await body(page, context);
    const expected = options.expectedErrors ?? /^$/;
    const others = errors.filter(error => !expected.test(error) && !/status of 503/.test(error)); // not yet
    if (others.length) throw new Error(`The page said: ${others.join('\n')}`);
  } catch (error) {
    mkdirSync(pictures, {recursive: true});
    const file = `${(options.title ?? 'page').replace(/[^a-z0-9]+/gi, '-')}-${name}.png`;
    await page.screenshot({path: join(pictures, file)}).catch(() => {});
    throw error;
  } finally {
    await context.close();
  }
}

/** A test with a song of its own, at each of the sizes. */
export function practise(title, sizes, body, options = {}) {
  for (const size of sizes)
    test(`${title} (${size.name})`, async () => {
      const song = makeSong();
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

/** Until the chart is drawn. */
export async function isReady(page) {
  await page.waitForSelector('#sheet .row .wave[d]', {state: 'attached'});
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

/** Waits until the playhead is there. */
export async function isAt(page, words) {
  await page.waitForFunction(wanted => document.getElementById('seek').getAttribute('aria-valuetext') === wanted, words);
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
