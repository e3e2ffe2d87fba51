// Opens songs with tarn and shows them in the system's browser; keeps a picture of what fails.
import {spawn} from 'node:child_process';
import {mkdirSync, mkdtempSync} from 'node:fs';
import {createRequire} from 'node:module';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {holdSound} from './clock.mjs';
import {tarn} from './song.mjs';

const require = createRequire(join(process.env.TARN_PAGE_TOOLS, 'package.json'));
const {chromium} = require('playwright-core');
const pictures = process.env.TARN_PAGE_PICTURES;

export const desktop = {name: 'desktop', viewport: {width: 1280, height: 800}};
export const phone = {name: 'phone', viewport: {width: 390, height: 844}, hasTouch: true, isMobile: true};

/** What tarn remembers of songs stays apart from the user's own. */
const dataFolder = mkdtempSync(join(tmpdir(), 'practice-data-'));

const browser = await chromium.launch({
  executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium',
  args: ['--no-sandbox', '--disable-gpu', '--disable-dev-shm-usage', '--mute-audio',
    '--autoplay-policy=no-user-gesture-required'],
});

export const closeBrowser = () => browser.close();

/** Starts `tarn open` and waits for its first line with an address. */
export const openWithTarn = (...words) => startTarn(['--no-browser', ...words]);

/**
 * Starts `tarn open` in an environment, and waits for the pattern in what it says; the address is what it matches. With
 * `user`, not as the one who may write anywhere.
 */
export async function startTarn(words, {environment = {}, user = undefined, wanted = /https?:\/\/\S+/} = {}) {
  const owner = user && globalThis.process.getuid() === 0 ? {uid: user, gid: user} : {};
  const process = spawn(tarn, ['open', ...words], {stdio: ['ignore', 'pipe', 'pipe'],
    env: {...globalThis.process.env, XDG_DATA_HOME: dataFolder, ...environment}, ...owner});
  let said = '';
  const ended = new Promise(resolve => process.on('exit', resolve));
  const address = await new Promise((resolve, reject) => {
    const read = text => {
      said += text;
      const found = wanted.exec(said);
      if (found && /\s/.test(said.slice(found.index + found[0].length))) resolve(found[0]);
    };
    process.stdout.on('data', read);
    process.stderr.on('data', read);
    ended.then(status => reject(new Error(`tarn open ended with ${status}: ${said}`)));
  });
  return {address, process, ended, said: () => said, end: () => (process.kill('SIGINT'), ended)};
}

/**
 * Runs the body with a page that shows the address; what the page logs as an error fails it. The sound goes on while the
 * test waits for it (clock.mjs); with `isLive`, as time does.
 */
export async function show(address, size, body, options = {}) {
  const {name, ...device} = size;
  const context = await browser.newContext({...device, locale: 'en-GB', ...options});
  const page = await context.newPage();
  page.setDefaultTimeout(60000); // a busy machine is not a fault
  const errors = [];
  page.on('pageerror', error => errors.push(String(error)));
  page.on('console', message => message.type() === 'error' && errors.push(message.text()));
  try {
    if (!options.isLive) await page.addInitScript(holdSound);
    if (options.before) await options.before(page, context);
    await page.goto(address);
    await body(page, context);
    const expected = options.expectedErrors ?? /^$/;
    const others = errors.filter(error => !expected.test(error));
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

/** Until the chart is drawn and the song can be heard. */
export async function isReady(page) {
  await page.waitForSelector('#sheet .row .wave[d]', {state: 'attached'});
  await page.waitForSelector('#play:enabled', {state: 'attached'});
}
