import assert from 'node:assert/strict';
import {desktop, isAt, isPlaying, openOptions, phone, practise, shows, until} from './browser.mjs';

const spoken = page => page.$eval('#spoken', line => line.textContent.trim());

practise('Every control has a name and is large enough to touch', [desktop, phone], async (page, {size}) => {
  await openOptions(page);
  const faults = await page.$$eval('button, input, select, [role=region], [role=list], [role=group], dialog, progress', (all, isTouched) =>
    all.flatMap(each => {
      const label = each.getAttribute('aria-label') ?? each.labels?.[0]?.textContent ??
        document.getElementById(each.getAttribute('aria-labelledby'))?.textContent ?? each.textContent;
      const box = each.getBoundingClientRect();
      const isSmall = isTouched && each.tagName === 'BUTTON' && box.width > 0 &&
        getComputedStyle(each).visibility === 'visible' && Math.min(box.width, box.height) < 36;
      return [label?.trim() ? '' : `${each.id || each.outerHTML.slice(0, 80)} has no name`,
        isSmall ? `${each.id} is ${box.width} by ${box.height}` : ''].filter(Boolean);
    }), size === phone);
  assert.deepEqual(faults, []);
});

practise('Bar and chord are spoken on a key, and always only where that is switched on', [desktop, phone], async page => {
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('s');
  assert.equal(await spoken(page), 'Bar 1, beat 1, chord Am, Verse 1');
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 2, beat 2');
  assert.equal(await spoken(page), 'Bar 1, beat 1, chord Am, Verse 1');
  await openOptions(page);
  await page.check('[data-practice=speak]');
  await until(page, () => /^Bar 4: G/.test(document.getElementById('spoken').textContent));
  const row = await page.getAttribute('[data-row="0"] svg', 'aria-label');
  assert.match(row, /Bars 1 to \d+: .*Am, Fmaj7, C, G/);
});

practise('A song is looped slowly with a click by the keyboard alone', [desktop], async page => {
  const goTo = async bar => {
    await page.keyboard.press('Home');
    for (let i = 0; i < bar; ++i) await page.keyboard.press('ArrowRight');
    await isAt(page, `Bar ${bar}, beat 1`);
  };
  await goTo(9);
  await page.keyboard.press('a');
  await goTo(17);
  await page.keyboard.press('b');
  await shows(page, '#loop-text', 'Bars 9–16');
  for (let i = 0; i < 6; ++i) await page.keyboard.press(',');
  await page.keyboard.press('c');
  await page.keyboard.press(' ');
  await isPlaying(page);
  assert.equal(await page.textContent('#speed'), '70 %');
  assert.equal(await page.getAttribute('#click', 'aria-pressed'), 'true');
  const reached = new Set();
  for (let i = 0; i < 24; ++i) {
    await page.keyboard.press('Tab');
    reached.add(await page.evaluate(() => document.activeElement.id));
  }
  for (const id of ['help', 'chart', 'seek', 'play', 'loop-a', 'click', 'count-in', 'more']) assert.ok(reached.has(id), id);
});

practise('German and English', [desktop, phone], async page => {
  await openOptions(page);
  await page.selectOption('#language', 'de');
  await page.waitForFunction(() => document.documentElement.lang === 'de');
  assert.equal(await page.textContent('#panel h2'), 'Optionen');
  assert.equal(await page.getAttribute('#play', 'aria-label'), 'Spielen');
  await page.keyboard.press('Escape');
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press('ArrowRight');
  await isAt(page, 'Takt 1, Schlag 1');
  const [english, german] = await page.evaluate(async () => Promise.all(['en', 'de'].map(async language =>
    (await fetch(`/page/words.${language}.json`)).json())));
  assert.deepEqual(Object.keys(english), Object.keys(german));
  const braces = text => (text.match(/\{\w+\}/g) ?? []).sort();
  for (const name of Object.keys(english)) assert.deepEqual(braces(english[name]), braces(german[name]), name);
  const named = await page.$$eval('[data-words], [data-label]', all =>
    all.map(each => each.getAttribute('data-words') ?? each.getAttribute('data-label')));
  for (const name of named) assert.ok(english[name], `"${name}" has words`);
  assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), await page.evaluate(() => innerWidth));
});

practise('The whole song is printed, without controls', [desktop], async page => {
  await page.evaluate(() => addEventListener('beforeprint', () => {
    const seen = id => getComputedStyle(document.getElementById(id)).display !== 'none';
    window.printed = {
      numbers: [...document.querySelectorAll('#paper .number')].map(each => Number(each.textContent)),
      waves: [...document.querySelectorAll('#paper .wave')].map(each => each.getAttribute('d').length),
      shown: ['now', 'dock', 'chart', 'title', 'paper'].filter(seen),
    };
  }));
  await page.emulateMedia({media: 'print'});
  assert.ok((await page.pdf({format: 'A4'})).length > 10000); // as the browser's own menu does it
  const {numbers, waves, shown} = await page.evaluate(() => window.printed);
  assert.deepEqual(numbers.slice(0, 40), Array.from({length: 40}, (_, i) => i + 1));
  assert.ok(waves.length > 5 && waves.every(length => length > 2000), `${waves}`);
  assert.deepEqual(shown.filter(id => id !== 'chart'), ['title', 'paper']);
  assert.equal(await page.isVisible('#chart'), false);
  await page.waitForSelector('#paper .row', {state: 'detached'});
});

practise('Reduced motion: nothing moves by itself', [phone], async page => {
  await openOptions(page);
  await page.keyboard.press('End');
  assert.equal(await page.evaluate(() => document.getAnimations().length), 0);
}, {reducedMotion: 'reduce'});
