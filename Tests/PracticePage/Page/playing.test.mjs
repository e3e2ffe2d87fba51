import assert from 'node:assert/strict';
import {desktop, isAt, isDrawn, isPlaying, openOptions, phone, place, practise, shows, until} from './browser.mjs';

practise('Keys go by beats, bars, sections and marks', [desktop, phone], async page => {
  const steps = [
    ['ArrowRight', 'Bar 1, beat 1'], ['ArrowRight', 'Bar 2, beat 1'], ['Shift+ArrowRight', 'Bar 2, beat 2'],
    ['Shift+ArrowRight', 'Bar 2, beat 3'], ['ArrowLeft', 'Bar 2, beat 1'], ['ArrowLeft', 'Bar 1, beat 1'],
    ['ArrowDown', 'Bar 17, beat 1'], ['ArrowUp', 'Bar 1, beat 1'], ['1', 'Bar 9, beat 1'],
    ['Shift+ArrowLeft', 'Bar 8, beat 4'], ['Home', '0:00'], ['End', 'Bar 41, beat 1'],
  ];
  for (const [key, words] of steps) {
    await page.keyboard.press(key);
    if (key === 'End') await shows(page, '#time', await page.textContent('#length'));
    else await isAt(page, words);
  }
});

practise('Space plays and stops; the playhead and the beat go on', [desktop, phone], async page => {
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 1, beat 3');
  await isPlaying(page);
  assert.equal(await page.textContent('#bar'), 'Bar 1');
  await isAt(page, 'Bar 2, beat 1');
  await page.keyboard.press('ArrowDown');
  await until(page, () => document.getElementById('bar').textContent === 'Bar 17');
  await page.keyboard.press(' ');
  await isPlaying(page, false);
  await isDrawn(page);
  const rests = await place(page);
  await page.waitForTimeout(400);
  assert.equal(await place(page), rests);
}, {isLive: true});

practise('The song stops at its end and begins again from its start', [desktop], async page => {
  await page.keyboard.press('End');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press(' ');
  await isPlaying(page);
  await isPlaying(page, false);
  await shows(page, '#time', await page.textContent('#length'));
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 1, beat 1');
});

practise('Keys keep off text fields and controls that use them', [desktop], async page => {
  await page.keyboard.press('ArrowRight');
  await openOptions(page);
  await page.keyboard.press('a');
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('b');
  await isAt(page, 'Bar 1, beat 1');
  await page.fill('#loop-name', '');
  await page.focus('#loop-name');
  await page.keyboard.type('a b 1?');
  assert.equal(await page.inputValue('#loop-name'), 'a b 1?');
  assert.equal(await page.$eval('#keys', dialog => dialog.open), false);
  await isPlaying(page, false);
  await page.focus('#panel [data-practice=speed]');
  await page.keyboard.press('ArrowLeft');
  await shows(page, '#speed', '99 %');
  await isDrawn(page);
  assert.equal(await place(page), 'Bar 1, beat 1');
  await page.focus('#click');
  await page.keyboard.press(' ');
  await page.waitForSelector('#click[aria-pressed=true]');
  await isPlaying(page, false);
  await page.keyboard.press('ArrowRight'); // which a button does not use
  await isAt(page, 'Bar 2, beat 1');
});

practise('The page of keys lists every key and closes', [desktop, phone], async page => {
  await page.keyboard.press('?');
  const keys = await page.$$eval('#key-list kbd', all => all.map(each => each.textContent));
  for (const key of ['Space', '←', '→', 'Shift ←', '↑', '↓', 'Home', 'End', '1–9', 'A', 'B', 'L', 'C', '?'])
    assert.ok(keys.includes(key), `${key} is listed`);
  await page.keyboard.press(' ');
  await isPlaying(page, false);
  await page.keyboard.press('Escape');
  await page.waitForSelector('#keys', {state: 'hidden'});
});

practise('Speed keeps within 25 and 200 %', [desktop, phone], async page => {
  for (let i = 0; i < 17; ++i) await page.keyboard.press(',');
  assert.equal(await page.textContent('#speed'), '25 %');
  for (let i = 0; i < 37; ++i) await page.click('#faster');
  assert.equal(await page.textContent('#speed'), '200 %');
  await openOptions(page);
  await page.click('#presets button:has-text("70 %")');
  assert.equal(await page.textContent('#speed'), '70 %');
});
