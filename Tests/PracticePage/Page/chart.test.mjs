import assert from 'node:assert/strict';
import {desktop, isAt, isLaidOut, isPlaying, openOptions, phone, pointOfBar, practise} from './browser.mjs';

const texts = (page, what) => page.$$eval(what, all => all.map(each => each.firstChild?.textContent ?? ''));

practise('Rows show what the song has', [desktop, phone], async page => {
  assert.deepEqual((await texts(page, '[data-row="0"] .chord')).slice(-4),
    ['Am', 'Fmaj7', 'C', 'G']);
  const numbers = (await texts(page, '.number')).map(Number);
  assert.deepEqual(numbers, numbers.map((_, i) => numbers[0] + i));
  assert.equal(numbers[0], 1);
  assert.equal((await texts(page, '.section text'))[0], 'Verse 1');
  assert.equal((await texts(page, '.region text'))[0], 'Riff');
  await page.waitForFunction(() => document.querySelector('[data-row="0"] .wave').getBBox().height > 30);
  await page.keyboard.press('1');
  await page.waitForSelector('.marker-name');
  assert.deepEqual(await texts(page, '.marker-name'), ['Solo']);
  await isAt(page, 'Bar 9, beat 1');
});

practise('Names from the song are text', [desktop], async page => {
  assert.equal(await page.textContent('#title'), 'Clicks <img src=x onerror=alert(1)>');
  assert.equal(await page.$('#title img'), null);
});

practise('The spectrogram comes at a switch', [desktop, phone], async page => {
  const before = await page.$eval('.row svg', row => row.clientHeight);
  await openOptions(page);
  await page.check('[data-practice=spectrogram]');
  await page.waitForSelector('.row canvas', {state: 'attached'});
  assert.ok(await page.$eval('.row svg', row => row.clientHeight) > before + 50);
  await page.waitForFunction(() => {
    const canvas = document.querySelector('.row canvas');
    const {data} = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
    return new Set(data).size > 10;
  });
});

practise('Rows suit the window', [desktop], async page => {
  const barsInRow = () => page.$eval('[data-row="1"]', row => row.querySelectorAll('.number').length);
  const wide = await barsInRow();
  await page.setViewportSize({width: 390, height: 844});
  await page.waitForFunction(count => document.querySelector('[data-row="1"]')?.querySelectorAll('.number').length < count, wide);
  for (const width of [320, 390, 768, 1024]) {
    await page.setViewportSize({width, height: 844});
    await isLaidOut(page);
    assert.equal(await page.evaluate(() => document.documentElement.scrollWidth), width);
    for (const id of ['play', 'loop-a', 'slower', 'faster', 'click', 'count-in', 'more', 'help']) {
      const box = await (await page.$(`#${id}`)).boundingBox();
      assert.ok(box.x >= 0 && box.x + box.width <= width, `${id} is in sight at ${width}`);
    }
  }
});

practise('Keys, wheel and two fingers zoom', [desktop, phone], async (page, {context, size}) => {
  const bars = () => page.$$eval('.row', rows => Math.max(...rows.map(row => row.querySelectorAll('.number').length)));
  const areBars = (least, most) =>
    page.waitForFunction(([low, high]) => {
      const counts = [...document.querySelectorAll('.row')].map(row => row.querySelectorAll('.number').length);
      return counts.length && Math.max(...counts) >= low && Math.max(...counts) <= high;
    }, [least, most]);
  const usual = await bars();
  for (let i = 0; i < 4; ++i) await page.keyboard.press('+');
  await areBars(1, usual / 2);
  for (let i = 0; i < 4; ++i) await page.keyboard.press('-');
  await areBars(usual, usual);
  const {x, y} = await pointOfBar(page, 2);
  if (size === desktop) {
    await page.mouse.move(x, y);
    await page.keyboard.down('Control');
    for (let i = 0; i < 4; ++i) await page.mouse.wheel(0, -100);
    await page.keyboard.up('Control');
  } else {
    const cdp = await context.newCDPSession(page);
    const fingers = spread => [{x: x - spread, y, id: 0}, {x: x + spread, y, id: 1}];
    await cdp.send('Input.dispatchTouchEvent', {type: 'touchStart', touchPoints: fingers(30)});
    for (const spread of [45, 60, 80, 100]) await cdp.send('Input.dispatchTouchEvent', {type: 'touchMove', touchPoints: fingers(spread)});
    await cdp.send('Input.dispatchTouchEvent', {type: 'touchEnd', touchPoints: []});
  }
  await areBars(1, usual - 1);
});

practise('A click or tap goes there', [desktop, phone], async (page, {size}) => {
  const {x, y} = await pointOfBar(page, 3, 0.6);
  if (size === phone) await page.touchscreen.tap(x, y);
  else await page.mouse.click(x, y);
  await isAt(page, 'Bar 3, beat 3');
});

practise('Only rows in sight are drawn, and the playhead is always in view', [desktop, phone], async page => {
  for (let i = 0; i < 9; ++i) await page.keyboard.press('+');
  await page.waitForFunction(() => Number(document.querySelector('.row').getAttribute('aria-setsize')) >= 20);
  for (const key of ['End', 'Home', '1', 'ArrowDown']) {
    await page.keyboard.press(key);
    await page.waitForFunction(() => {
      const head = document.getElementById('playhead').getBoundingClientRect();
      const pane = document.getElementById('chart').getBoundingClientRect();
      return head.height > 20 && head.top >= pane.top - 1 && head.bottom <= pane.bottom + 1;
    });
    const shown = await page.$$eval('.row', rows => rows.length);
    const fit = await page.evaluate(() => document.getElementById('chart').clientHeight / document.querySelector('.row svg').clientHeight);
    assert.ok(shown <= fit + 4, `${shown} rows are drawn where ${fit.toFixed(1)} fit`);
  }
  await page.keyboard.press(' ');
  await isPlaying(page);
  await isAt(page, 'Bar 19, beat 1');
  await page.waitForFunction(() => {
    const head = document.getElementById('playhead').getBoundingClientRect();
    const pane = document.getElementById('chart').getBoundingClientRect();
    return head.top >= pane.top - 1 && head.bottom <= pane.bottom + 1;
  });
});

practise('Low confidence is lighter', [desktop], async page => {
  const lightness = () => page.$$eval('[data-row="0"] .chord', all => all.map(each => getComputedStyle(each).fill));
  const before = await lightness();
  assert.equal(new Set(before.slice(-3)).size, 1);
  await page.evaluate(() => {
    const fetched = window.fetch;
    window.fetch = async (path, options) => {
      const answer = await fetched(path, options);
      if (!String(path).startsWith('/api/rows')) return answer;
      const rows = await answer.json();
      for (const row of rows.rows) row.chords.forEach((chord, i) => (chord.confidence = i % 2 ? 0.2 : 0.9));
      return new Response(JSON.stringify(rows));
    };
  });
  await page.keyboard.press('+');
  await page.waitForSelector('.chord.unsure');
  const [sure, unsure] = await page.$$eval('[data-row="1"] .chord', all => all.map(each => getComputedStyle(each).fill));
  assert.notEqual(sure, unsure);
});

practise('Dark and light are legible', [desktop], async page => {
  const contrast = () => page.evaluate(() => {
    const channel = value => (value <= 0.03928 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4);
    const luminance = color => {
      const [r, g, b] = color.match(/[\d.]+/g).map(value => channel(value / 255));
      return 0.2126 * r + 0.7152 * g + 0.0722 * b;
    };
    const ratio = (a, b) => (Math.max(luminance(a), luminance(b)) + 0.05) / (Math.min(luminance(a), luminance(b)) + 0.05);
    const paper = getComputedStyle(document.body).backgroundColor;
    const raised = getComputedStyle(document.getElementById('now')).backgroundColor;
    const fill = what => getComputedStyle(document.querySelector(what)).fill;
    const color = what => getComputedStyle(document.querySelector(what)).color;
    return {chord: ratio(fill('.chord'), paper), number: ratio(fill('.number'), paper), now: ratio(color('#chord'), raised),
      next: ratio(color('#next-chord'), raised), facts: ratio(color('#facts'), paper), bar: ratio(color('#section'), raised), paper};
  });
  const papers = [];
  for (const colorScheme of ['light', 'dark']) {
    await page.emulateMedia({colorScheme});
    const {paper, ...ratios} = await contrast();
    papers.push(paper);
    for (const [what, ratio] of Object.entries(ratios)) assert.ok(ratio >= 4.5, `${what} in ${colorScheme}: ${ratio.toFixed(2)}`);
  }
  assert.notEqual(papers[0], papers[1]);
});
