import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {closeOptions, desktop, isAt, isReady, loopBars, openOptions, openWithTarn, phone, place, pointOfBar, practise, show, shows,
  until} from './browser.mjs';
import {tarn} from './song.mjs';

const isLoop = (page, text) => shows(page, '#loop-text', text);

/** Drags as a mouse or a finger does. */
async function drag(page, context, size, from, to) {
  if (size === desktop) {
    await page.mouse.move(from.x, from.y);
    await page.mouse.down();
    await page.mouse.move((from.x + to.x) / 2, (from.y + to.y) / 2, {steps: 4});
    await page.mouse.move(to.x, to.y, {steps: 4});
    await page.mouse.up();
    return;
  }
  const cdp = await context.newCDPSession(page);
  const touch = (type, points) => cdp.send('Input.dispatchTouchEvent', {type, touchPoints: points});
  await touch('touchStart', [from]);
  for (let i = 1; i <= 8; ++i)
    await touch('touchMove', [{x: from.x + ((to.x - from.x) * i) / 8, y: from.y + ((to.y - from.y) * i) / 8}]);
  await touch('touchEnd', []);
}

practise('Dragging over bars loops them', [desktop, phone], async (page, {context, size}) => {
  await drag(page, context, size, await pointOfBar(page, 2, 0.4), await pointOfBar(page, 4, 0.6));
  await isLoop(page, 'Bars 2–4');
  await isAt(page, 'Bar 2, beat 1');
  assert.ok(await page.$eval('.row.looped .loop', band => band.width.baseVal.value > 50));
  await page.keyboard.press('l');
  await page.waitForSelector('.row.looped', {state: 'detached'});
});

practise('The edges of a loop can be dragged', [desktop, phone], async (page, {context, size}) => {
  await loopBars(page, 2, 3);
  await closeOptions(page);
  const handle = await (await page.$('.handle[data-side=to][visibility=visible] circle')).boundingBox();
  const to = await pointOfBar(page, 4, 0.95);
  await drag(page, context, size, {x: handle.x + 6, y: handle.y + 20}, {x: to.x, y: handle.y + 20});
  await isLoop(page, 'Bars 2–4');
});

practise('A click on a section or region loops it', [desktop, phone], async page => {
  await page.click('.section >> nth=0', {position: {x: 60, y: 9}});
  await isLoop(page, 'Bars 1–16');
  await page.click('.region >> nth=0', {position: {x: 40, y: 8}});
  await isLoop(page, 'Bars 5–8');
});

practise('A and B are set while playing, on bars, beats or nowhere', [desktop], async page => {
  for (let i = 0; i < 3; ++i) await page.keyboard.press('ArrowRight');
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 3, beat 2');
  await page.keyboard.press('a');
  await isAt(page, 'Bar 4, beat 1');
  await page.keyboard.press('b');
  await isLoop(page, 'Bar 3');
  await until(page, () => document.getElementById('loop-round').textContent === 'Round 2');
  await page.keyboard.press(' ');
  await page.keyboard.press('l');

  await openOptions(page);
  await page.selectOption('[data-practice=snap]', 'beat');
  await loopFrom(page, 'Bar 6, beat 2', 'Bar 7, beat 3');
  await isLoop(page, '0:11–0:14');
  const [from, to] = await page.$$eval('.looped .loop', bands => [bands[0].x.baseVal.value, bands[0].width.baseVal.value]);
  assert.ok(from > 0 && to > 0);
});

practise('A loop that ends just after the playhead returns', [desktop], async page => {
  for (let i = 0; i < 3; ++i) await page.keyboard.press('ArrowRight');
  await isAt(page, 'Bar 3, beat 1');
  await page.keyboard.press('a');
  const {x} = await pointOfBar(page, 3, 0.94);
  await page.keyboard.press(' ');
  await until(page, place => document.getElementById('playhead').getBoundingClientRect().left >= place, x);
  await page.keyboard.press('b');
  await isLoop(page, 'Bar 3');
  await isAt(page, 'Bar 3, beat 2');
});

async function loopFrom(page, first, last) {
  await page.keyboard.press('Home');
  await page.evaluate(() => document.activeElement.blur());
  const goTo = async words => {
    const [bar, beat] = words.match(/\d+/g).map(Number);
    await page.keyboard.press('Home');
    for (let i = 0; i < bar; ++i) await page.keyboard.press('ArrowRight');
    for (let i = 1; i < beat; ++i) await page.keyboard.press('Shift+ArrowRight');
    await isAt(page, words);
  };
  await goTo(first);
  await page.keyboard.press('a');
  await goTo(last);
  await page.keyboard.press('b');
}

practise('Without snapping a loop is what was dragged', [desktop], async (page, {context, size}) => {
  await openOptions(page);
  await page.selectOption('[data-practice=snap]', 'none');
  await closeOptions(page);
  await drag(page, context, size, await pointOfBar(page, 2, 0.25), await pointOfBar(page, 2, 0.75));
  await isLoop(page, '0:03–0:04');
});

practise('A loop is kept as a region and can be taken back', [desktop, phone], async (page, {song}) => {
  await loopBars(page, 9, 12);
  await page.fill('#loop-name', 'Hard "bit"');
  await page.click('#loop-keep button');
  await page.waitForSelector('#toast:not([hidden])');
  const shown = () => execFileSync(tarn, ['show', song], {encoding: 'utf8'});
  assert.match(shown(), /Hard .bit.\s+bar 9 beat 1 .* to bar 13 beat 1/);
  await page.click('#toast-undo');
  await page.waitForFunction(() => ![...document.querySelectorAll('.region text')].some(each => each.textContent.startsWith('Hard')));
  assert.doesNotMatch(shown(), /Hard/);
});

practise('Loop, speed, volumes and place come back with the song', [desktop], async (page, {song, opened, size}) => {
  await loopBars(page, 9, 16);
  await page.keyboard.press('ArrowRight');
  await page.click('#presets button:has-text("70 %")');
  await page.check('[data-practice="click.on"]');
  await page.fill('[data-practice="volumes.click"]', '40');
  const isKept = page.waitForResponse(answer => answer.request().method() === 'PUT' &&
    answer.request().postDataJSON().countIn === 2);
  await page.selectOption('[data-practice=countIn]', '2');
  await isKept;
  await opened.end();
  const again = await openWithTarn(song);
  try {
    await show(again.address, size, async other => {
      await isReady(other);
      await isLoop(other, 'Bars 9–16');
      await shows(other, '#speed', '70 %');
      assert.equal(await other.getAttribute('#click', 'aria-pressed'), 'true');
      assert.equal(await other.inputValue('[data-practice="volumes.click"]'), '40');
      assert.equal(await other.inputValue('[data-practice=countIn]'), '2');
      assert.match(await place(other), /^Bar (9|10), beat 1$/);
    });
  } finally {
    await again.end();
  }
}, {expectedErrors: /Failed to load resource|ERR_CONNECTION|ERR_INCOMPLETE/});
