import assert from 'node:assert/strict';
import {desktop, openOptions, phone, practise} from './browser.mjs';

const chord = page => page.textContent('#chord');

practise('The chord that sounds is large, the next one beside it', [desktop, phone], async page => {
  await page.keyboard.press('ArrowRight');
  await page.waitForFunction(() => document.getElementById('chord').textContent === 'Am');
  assert.equal(await page.textContent('#next-chord'), 'Fmaj7');
  assert.equal(await page.textContent('#next-wait'), 'in 4 beats');
  assert.equal(await page.textContent('#section'), 'Verse 1');
  await page.keyboard.press('Shift+ArrowRight');
  await page.waitForFunction(() => document.getElementById('next-wait').textContent === 'in 3 beats');
  const size = await page.$eval('#chord', each => parseFloat(getComputedStyle(each).fontSize));
  assert.ok(size >= 40, `${size} px`);
  assert.equal(await page.$eval('.sounding', each => each.textContent), 'Am');
  await page.keyboard.press('ArrowRight');
  await page.waitForFunction(() => document.getElementById('chord').textContent === 'Fmaj7');
});

practise('Diagrams for four instruments', [desktop, phone], async page => {
  await page.keyboard.press('ArrowRight');
  await page.waitForSelector('#hear svg .finger');
  const strings = () => page.$eval('#hear svg', board => board.getAttribute('aria-label').split(': ')[1].split(' ').length);
  assert.equal(await strings(), 6);
  await openOptions(page);
  for (const [instrument, count] of [['ukulele', 4], ['bass', 4]]) {
    const before = await page.getAttribute('#hear svg', 'aria-label');
    await page.selectOption('[data-practice=instrument]', instrument);
    await page.waitForFunction(label => document.querySelector('#hear svg')?.getAttribute('aria-label') !== label, before);
    assert.equal(await strings(), count);
  }
  await page.selectOption('[data-practice=instrument]', 'piano');
  await page.waitForSelector('#hear .down');
  assert.ok(await page.$$eval('#hear .down', keys => keys.length) >= 3);
});

practise('Triads at a switch', [desktop], async page => {
  await openOptions(page);
  await page.check('[data-practice=simple]');
  await page.waitForFunction(() => [...document.querySelectorAll('.row .chord')].filter(each => each.textContent === 'F').length > 1);
  assert.equal(await page.$$eval('.row .chord', all => all.filter(each => each.textContent === 'Fmaj7').length), 0);
});

practise('The chart is transposed, and for a capo', [desktop, phone], async page => {
  await page.keyboard.press('ArrowRight');
  await openOptions(page);
  const shows = name => page.waitForFunction(wanted => document.getElementById('chord').textContent === wanted, name);
  await page.click('[data-step="transposition 1"]');
  await shows('B♭m');
  await page.waitForFunction(() => document.getElementById('transposition').textContent === '+1');
  await page.click('[data-step="transposition 1"]');
  await shows('Bm');
  await page.click('[data-step="capo 1"]');
  await shows('B♭m');
  await page.click('[data-step="capo 1"]');
  await shows('Am');
  await page.waitForFunction(() => document.querySelector('[data-row="0"]').textContent.includes('Fmaj7'));
  assert.equal(await chord(page), 'Am');
});
