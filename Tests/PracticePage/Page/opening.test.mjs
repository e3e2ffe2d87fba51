import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {test} from 'node:test';
import {desktop, isReady, openWithTarn, phone, practise, show} from './browser.mjs';
import {makeRecording, makeSong, tarn} from './song.mjs';

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
  await page.waitForFunction(() => document.getElementById('title').textContent === 'Renamed');
  await page.waitForFunction(() => [...document.querySelectorAll('.section text')].some(each => each.textContent.startsWith('Bridge')));
});

test('On the network the page asks for the code that tarn prints', async () => {
  const opened = await openWithTarn(makeSong(), '--lan');
  try {
    const code = /code\D*(\d{4,})/i.exec(opened.said())?.[1];
    assert.ok(code, opened.said());
    await show(new URL('/', opened.address).href, phone, async page => {
      await page.fill('#code-text', '000000');
      await page.click('#code-form button');
      await page.waitForFunction(() => document.getElementById('code-trouble').textContent !== '');
      await page.fill('#code-text', code);
      await page.click('#code-form button');
      await isReady(page);
      assert.match(await page.textContent('#notices'), /listen/);
      await page.click('#more');
      assert.equal(await page.isVisible('#loop-keep'), false);
    }, {title: 'code', expectedErrors: /403|401/});
  } finally {
    await opened.end();
  }
});
