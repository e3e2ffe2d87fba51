import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {test} from 'node:test';
import {desktop, isReady, openWithTarn, phone, practise, show, shows} from './browser.mjs';
import {makeRecording, tarn} from './song.mjs';

practise('What happens while the page begins to listen is not lost', [desktop], async (page, {song}) => {
  // The title is changed after the song was fetched, and before the page hears of changes.
  let isHeld = true;
  await page.route('**/api/events', async route => {
    if (isHeld) {
      isHeld = false;
      execFileSync(tarn, ['edit', song, 'title=Renamed']);
      await new Promise(resolve => setTimeout(resolve, 1000)); // for tarn to see it and tell those who listen
    }
    await route.continue();
  });
  await page.reload();
  await shows(page, '#title', 'Renamed');
});

practise('The token leaves the address, serves once, and a reload goes on', [desktop], async (page, {opened, size}) => {
  assert.equal(await page.evaluate(() => location.hash), '');
  await page.reload();
  await isReady(page);
  await show(opened.address, size, async other => {
    await other.waitForSelector('#code[open]');
    assert.equal(await other.$('#sheet .row'), null);
  }, {expectedErrors: /403|401/});
});

test('A new recording is analysed before the eyes', async () => {
  const opened = await openWithTarn(makeRecording());
  try {
    await show(opened.address, desktop, async page => {
      await page.waitForFunction(() => document.querySelector('.wave')?.getBBox().height > 5);
      await page.waitForSelector('#analysis', {state: 'hidden'});
      await page.waitForFunction(() => /♩ = \d+/.test(document.getElementById('facts').textContent));
      await page.waitForFunction(() => document.querySelectorAll('.number').length > 4);
    }, {title: 'analysing'});
  } finally {
    await opened.end();
  }
});

test('An analysis is stopped, and begun again', async () => {
  const opened = await openWithTarn(makeRecording('long.wav', 20));
  try {
    await show(opened.address, phone, async page => {
      await page.click('#stop-analysis');
      await page.waitForSelector('#notices [data-name=failure]');
      assert.equal(await page.isVisible('#analysis'), false);
      await page.click('#notices [data-name=failure] button');
      await page.waitForSelector('#analysis');
      await page.waitForSelector('#notices [data-name=failure]', {state: 'detached'});
    }, {title: 'stopped'});
  } finally {
    await opened.end();
  }
});

practise('When tarn ends, the page says so', [phone], async (page, {opened}) => {
  await opened.end();
  await page.waitForSelector('#notices [data-name=trouble]');
  assert.match(await page.textContent('#notices'), /tarn has ended/);
}, {expectedErrors: /Failed to load resource|ERR_/});

practise('What another program changes is shown at once', [desktop], async (page, {song}) => {
  execFileSync(tarn, ['edit', song, 'title=Renamed', 'add-section Bridge at 9:1']);
  await shows(page, '#title', 'Renamed');
  await page.waitForFunction(() => [...document.querySelectorAll('.section text')].some(each => each.textContent.startsWith('Bridge')));
});

practise('Every module is fetched as soon as the page is', [desktop], async page => {
  const [fetched, told] = await page.evaluate(() => [
    performance.getEntriesByType('resource').map(each => new URL(each.name).pathname).filter(path => path.endsWith('.js')),
    [...document.querySelectorAll('link[rel=modulepreload], script')].map(each => each.getAttribute('href') ?? each.getAttribute('src')),
  ]);
  assert.deepEqual([...new Set(fetched)].sort(), told.sort());
});
