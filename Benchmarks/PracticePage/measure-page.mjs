// Measures the practice page; started by scripts/measure-page.
import {execFileSync} from 'node:child_process';
import {mkdtempSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {performance} from 'node:perf_hooks';
import {closeBrowser, desktop, isReady, openWithTarn, show} from '../../Tests/PracticePage/Page/driver.mjs';
import {makeSong, rate, recording, tarn} from '../../Tests/PracticePage/Page/song.mjs';
import {recorded} from '../../Tests/PracticePage/Page/tap.mjs';

const folder = mkdtempSync(join(tmpdir(), 'measure-'));
const middle = values => values.sort((a, b) => a - b)[Math.floor(values.length / 2)];

/** Runs the body on a page with the song, and closes tarn again. */
async function on(song, body, options) {
  const opened = await openWithTarn(song);
  try {
    return await show(opened.address, desktop, async page => {
      page.setDefaultTimeout(120000);
      return body(page);
    }, {isLive: true, ...options});
  } finally {
    await opened.end();
  }
}

async function knownSong() {
  const times = [];
  for (let i = 0; i < 5; ++i)
    await on(makeSong(), async page => {
      await isReady(page);
      times.push(await page.evaluate(() => window.drawnAt));
    }, {before: page => page.addInitScript(() => {
      new MutationObserver((_, observer) => {
        if (!document.querySelector('#sheet .row .chord')) return;
        observer.disconnect();
        requestAnimationFrame(() => requestAnimationFrame(() => (window.drawnAt = performance.now())));
      }).observe(document, {childList: true, subtree: true});
    })});
  console.log(`Chart of a known song, after the page began to load: ${middle(times).toFixed(0)} ms (median of 5)`);
}

async function newSong() {
  const wave = join(folder, 'new.wav');
  writeFileSync(wave, recording(4 * 60 * rate));
  const start = performance.now();
  await on(wave, async page => {
    await page.waitForFunction(() => document.querySelector('#sheet .row .wave')?.getBBox().height > 2);
    const first = performance.now() - start;
    await page.waitForFunction(() => document.getElementById('analysis').hidden && document.querySelectorAll('.number').length > 4);
    const all = performance.now() - start;
    console.log(`New song of 4 minutes, after tarn was started: waveform ${first.toFixed(0)} ms, complete ${all.toFixed(0)} ms`);
  });
}

async function longSong() {
  const wave = join(folder, 'hour.wav');
  const bytes = recording(3600 * 8000);
  bytes.writeUInt32LE(8000, 24);
  bytes.writeUInt32LE(32000, 28);
  writeFileSync(wave, bytes);
  const song = join(folder, 'hour.tarn');
  execFileSync(tarn, ['analyze', wave, '-o', song], {stdio: 'pipe'});
  execFileSync(tarn, ['edit', song, 'metre=4/4', 'tempo=120 from @8000'], {stdio: 'pipe'});
  await on(song, async page => {
    await isReady(page);
    await page.keyboard.press('ArrowDown');
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press(' ');
    await page.waitForFunction(() => document.getElementById('play').classList.contains('playing'));
    await page.waitForTimeout(1000);
    const frames = await page.evaluate(() => new Promise(resolve => {
      const places = [];
      const head = document.getElementById('playhead');
      const look = time => {
        places.push([time, head.style.transform]);
        if (places.length > 600) resolve(places);
        else requestAnimationFrame(look);
      };
      requestAnimationFrame(look);
    }));
    const steps = frames.slice(1).map(([time], i) => time - frames[i][0]);
    const still = frames.slice(1).filter(([, place], i) => place === frames[i][1]).length;
    const late = steps.filter(step => step > 25).length;
    console.log(`Song of an hour, ${await page.$$eval('.row', rows => rows.length)} rows drawn of ` +
      `${await page.getAttribute('.row', 'aria-setsize')}: ${(1000 / middle(steps)).toFixed(1)} frames a second, ` +
      `${late} of ${steps.length} late, playhead still in ${still}`);
  });
}

async function changeOfSpeed() {
  const times = [];
  await on(makeSong(), async page => {
    await isReady(page);
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press(' ');
    await page.waitForFunction(() => document.getElementById('bar').textContent === 'Bar 2');
    for (const change of [1, -1, 1, -1, 1]) {
      await page.waitForTimeout(1500);
      const asked = await page.evaluate(step => {
        window.recordedBlocks.length = 0;
        const now = window.recordedContext.currentTime;
        for (let i = 0; i < 12; ++i) document.querySelector(`[data-step="semitones ${step}"]`).click();
        return now;
      }, change);
      await page.waitForTimeout(1200);
      times.push(await page.evaluate(([since, isUp]) => {
        // An octave up the drone crosses zero twice as often.
        let last = 0;
        let crossed = 0;
        let run = 0;
        for (const [frame, channels] of window.recordedBlocks)
          for (let i = 0; i < 128; ++i) {
            const value = (channels[1]?.[i] ?? 0) - (channels[0]?.[i] ?? 0);
            if (last < 0 && value >= 0) {
              const time = frame + i;
              const length = time - crossed;
              run = Math.abs(length - (isUp ? 100 : 200)) < 12 ? run + 1 : 0;
              if (run === 6) return (time - 6 * length) / 44100 - since;
              crossed = time;
            }
            last = value;
          }
        return NaN;
      }, [asked, change > 0]));
    }
  }, recorded);
  console.log(`A change of the stream is heard after ${times.map(time => (time * 1000).toFixed(0)).join(', ')} ms`);
}

try {
  await knownSong();
  await newSong();
  await longSong();
  await changeOfSpeed();
} finally {
  await closeBrowser();
}
