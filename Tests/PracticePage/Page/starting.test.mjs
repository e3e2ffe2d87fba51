// How tarn is started: with a browser, without a song, for the network, where it may not write.
import assert from 'node:assert/strict';
import {chmodSync, existsSync, mkdtempSync, readFileSync, renameSync, statSync, symlinkSync, writeFileSync} from 'node:fs';
import {networkInterfaces, tmpdir} from 'node:os';
import {join, dirname} from 'node:path';
import {test} from 'node:test';
import {desktop, isAt, isPlaying, isReady, openWithTarn, phone, show, shows, startTarn} from './browser.mjs';
import {makeRecording, makeSong} from './song.mjs';

/** A folder with a program that stands for the one that opens the desktop's browser. */
function desktopWith(script) {
  const folder = mkdtempSync(join(tmpdir(), 'practice-desktop-'));
  writeFileSync(join(folder, 'xdg-open'), `#!/bin/sh\n${script}\n`);
  chmodSync(join(folder, 'xdg-open'), 0o755);
  return {folder, environment: {PATH: `${folder}:${process.env.PATH}`, DISPLAY: ':7', XDG_RUNTIME_DIR: folder}};
}

test('The browser gets a private file, which is gone when the page is there', async () => {
  // This browser stays in the foreground, as some do.
  const {folder, environment} = desktopWith('echo "$1" > "$XDG_RUNTIME_DIR/given"; exec sleep 30');
  const opened = await startTarn([makeSong()], {environment, wanted: /Ctrl-C.*/});
  try {
    assert.doesNotMatch(opened.said(), /http/);
    const file = readFileSync(join(folder, 'given'), 'utf8').trim();
    assert.equal(statSync(file).mode & 0o777, 0o600);
    await show(`file://${file}`, desktop, async page => {
      await isReady(page);
      assert.equal(await page.evaluate(() => location.hash), '');
    }, {title: 'browser'});
    assert.equal(existsSync(file), false);
  } finally {
    await opened.end();
  }
});

test('Without a browser the address is printed', async () => {
  const {environment} = desktopWith('exit 3');
  const opened = await startTarn([makeSong()], {environment});
  try {
    await show(opened.address, desktop, isReady, {title: 'no-browser'});
  } finally {
    await opened.end();
  }
});

test('Recent songs are listed, and the one that is chosen is opened', async () => {
  const broken = makeSong();
  for (const song of [broken, makeSong()]) await (await openWithTarn(song)).end();
  const opened = await openWithTarn();
  try {
    await show(opened.address, phone, async page => {
      await page.waitForSelector('#recent-list button');
      writeFileSync(broken, 'no document');
      await page.click('#recent-list li:nth-child(2) button');
      await page.waitForFunction(() => document.getElementById('recent-trouble').textContent !== '');
      assert.equal(await page.$('#sheet .row'), null);
      await page.click('#recent-list li:first-child button');
      await isReady(page);
      await page.waitForSelector('#recent', {state: 'hidden'});
    }, {title: 'recent', expectedErrors: /404|409/}); // no song is open, and then one cannot be
  } finally {
    await opened.end();
  }
});

test('A recording outside of the folder is named before it is heard', async () => {
  const song = makeSong();
  const elsewhere = makeRecording();
  renameSync(join(dirname(song), 'song.wav'), elsewhere);
  symlinkSync(elsewhere, join(dirname(song), 'song.wav'));
  const opened = await openWithTarn(song);
  try {
    await show(opened.address, phone, async page => {
      await page.waitForSelector('#notices [data-name=ask]');
      assert.ok((await page.textContent('#notices')).includes(elsewhere));
      assert.equal(await page.isDisabled('#play'), true);
      await page.click('#notices [data-name=ask] button');
      await isReady(page);
      assert.equal(await page.textContent('#notices'), '');
      await page.waitForFunction(() => document.querySelector('.wave').getBBox().height > 30);
    }, {title: 'elsewhere'});
  } finally {
    await opened.end();
  }
});

test('Where the folder cannot be written, the page says where the document goes', async () => {
  const recording = makeRecording();
  const home = mkdtempSync(join(tmpdir(), 'practice-home-'));
  chmodSync(home, 0o777);
  chmodSync(dirname(recording), 0o555);
  chmodSync(dirname(dirname(recording)), 0o755);
  const environment = {XDG_DATA_HOME: home, XDG_CACHE_HOME: home};
  const opened = await startTarn(['--no-browser', recording], {environment, user: 65534});
  try {
    await show(opened.address, phone, async page => {
      await page.waitForSelector('#notices [data-name=folder]');
      assert.ok((await page.textContent('#notices')).includes(join(home, 'tarn/songs')));
    }, {title: 'folder'});
    assert.match(opened.said(), /cannot be written/);
  } finally {
    await opened.end();
  }
});

test('On the network the page asks for the code that tarn prints, and plays', async () => {
  const opened = await openWithTarn(makeSong(), '--lan');
  try {
    const code = /code\D*(\d{4,})/i.exec(opened.said())?.[1] ?? '';
    const own = Object.values(networkInterfaces()).flat().find(each => each?.family === 'IPv4' && !each.internal);
    const address = new URL('/', opened.address);
    if (own) {
      address.hostname = own.address;
      assert.ok(opened.said().includes(address.href), opened.said());
    } else assert.match(opened.said(), /No network/);
    await show(address.href, phone, async page => {
      assert.equal(await page.evaluate(() => isSecureContext), !own);
      await page.fill('#code-text', '000000');
      await page.click('#code-form button');
      await page.waitForFunction(() => document.getElementById('code-trouble').textContent !== '');
      await page.fill('#code-text', code);
      await page.click('#code-form button');
      await isReady(page);
      assert.match(await page.textContent('#notices'), /listen/);
      await page.click('#more');
      assert.equal(await page.isVisible('#loop-keep'), false);
      await page.click('#close-panel');
      await page.click('#play');
      await isPlaying(page);
      await isAt(page, 'Bar 1, beat 3');
    }, {title: 'code', expectedErrors: /403|401|Cross-Origin-Opener-Policy/});
  } finally {
    await opened.end();
  }
});
