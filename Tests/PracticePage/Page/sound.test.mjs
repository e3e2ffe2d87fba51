import assert from 'node:assert/strict';
import {desktop, isAt, loopBars, openOptions, practise, until} from './browser.mjs';
import {beat, makeTunedSong, rate} from './song.mjs';
import {distances, isWithin, listen, longestGap, onsets, pitch, recorded, recording} from './tap.mjs';

/** Five milliseconds. */
const near = 0.005 * rate;
const clickLevel = 0.12;
const songLevel = 0.35;

const waitForRound = (page, round) =>
  until(page, wanted => document.getElementById('loop-round').textContent === `Round ${wanted}`, round, {timeout: 60000});

async function stop(page) {
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press(' ');
  await listen(page, 0.2);
}

/** Each of the song's own clicks but the first and last has one of the page's beside it. */
function followsBeats(clicks, song) {
  const own = onsets(song, songLevel, 6000);
  const page = onsets(clicks, clickLevel, 1000);
  assert.ok(own.length >= 4, `${own.length} beats of the song`);
  for (const place of own.slice(1, -1)) {
    const nearest = page.reduce((best, each) => (Math.abs(each - place) < Math.abs(best - place) ? each : best), -rate);
    assert.ok(isWithin(nearest, place, near), `a click ${((1000 * (nearest - place)) / rate).toFixed(1)} ms from the beat`);
  }
  return {own, page};
}

practise('The click follows every beat, the downbeat accented', [desktop], async page => {
  await page.keyboard.press('c');
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 3, beat 2');
  await stop(page);
  const {clicks, song} = await recording(page);
  const {page: found} = followsBeats(clicks, song);
  for (const distance of distances(found)) assert.ok(isWithin(distance, beat, near), `${distance} samples apart`);
  const pitches = found.slice(0, 8).map(at => pitch(clicks.slice(at, at + 400)));
  pitches.forEach((each, i) => assert.ok(isWithin(each, i % 4 === 0 ? 1760 : 1175, 60), `click ${i}: ${each.toFixed(0)} Hz`));
  assert.ok(longestGap(song) < 20);
}, recorded);

practise('Halved and doubled clicks', [desktop], async page => {
  await openOptions(page);
  await page.check('[data-practice="click.on"]');
  await page.fill('[data-practice="volumes.click"]', '100');
  for (const rateOfClicks of ['0.5', '2']) {
    await page.selectOption('[data-practice="click.rate"]', rateOfClicks);
    await page.evaluate(() => {
      document.activeElement.blur();
      window.recordedBlocks.length = 0;
    });
    await page.keyboard.press('Home');
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press(' ');
    await isAt(page, 'Bar 2, beat 4');
    await stop(page);
    const {clicks} = await recording(page);
    const found = onsets(clicks, clickLevel, 1000);
    assert.ok(found.length > 2);
    for (const distance of distances(found)) assert.ok(isWithin(distance, beat / Number(rateOfClicks), near), `${distance}`);
  }
}, recorded);

practise('A loop has no gap and keeps its tempo; its rounds are counted', [desktop], async page => {
  await loopBars(page, 9, 9);
  await page.check('[data-practice="click.on"]');
  await page.click('#play');
  await waitForRound(page, 4);
  await stop(page);
  const {clicks, song} = await recording(page);
  const {own} = followsBeats(clicks, song);
  assert.ok(own.length >= 12);
  for (const distance of distances(own)) assert.ok(isWithin(distance, beat, near), `${distance} samples apart`);
  assert.ok(longestGap(song) < 20, `${longestGap(song)} ms`);
}, recorded);

practise('Half speed keeps the pitch, and the click its beats', [desktop], async page => {
  await openOptions(page);
  await page.click('#presets button:has-text("50 %")');
  await page.check('[data-practice="click.on"]');
  await page.keyboard.press('ArrowRight');
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 3, beat 2');
  await stop(page);
  const {clicks, song} = await recording(page);
  const {own} = followsBeats(clicks, song);
  for (const distance of distances(own).slice(1)) assert.ok(isWithin(distance, 2 * beat, 2 * near), `${distance} samples apart`);
  const between = own[2] + beat;
  assert.ok(isWithin(pitch(song.slice(between, between + beat / 2)), 220, 2.2));
}, recorded);

practise('A change of speed while playing leaves no gap', [desktop], async page => {
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('c');
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 2, beat 1');
  for (let i = 0; i < 4; ++i) await page.keyboard.press(',');
  await isAt(page, 'Bar 4, beat 2');
  await stop(page);
  const {clicks, song} = await recording(page);
  const found = distances(onsets(song, songLevel));
  assert.ok(isWithin(found[1], beat, near));
  assert.ok(isWithin(found.at(-2), beat / 0.8, 2 * near), `${found.at(-2)} samples apart`);
  assert.ok(longestGap(song) < 20, `${longestGap(song)} ms`);
  followsBeats(clicks.slice(-6 * beat), song.slice(-6 * beat));
}, recorded);

practise('Count-in: two bars before the start, and one before each round', [desktop], async page => {
  await loopBars(page, 5, 5);
  await page.selectOption('[data-practice=countIn]', '2');
  await page.click('#play');
  await waitForRound(page, 2);
  await stop(page);
  const once = await recording(page);
  const start = onsets(once.song, songLevel)[0];
  const counted = onsets(once.clicks, clickLevel, 1000);
  assert.equal(counted.length, 8);
  counted.forEach((at, i) => assert.ok(isWithin(start - at, (8 - i) * beat, near), `${start - at} before the start`));

  await page.selectOption('[data-practice=countIn]', '1');
  await page.check('[data-practice=countInEach]');
  await page.click('#presets button:has-text("80 %")');
  await page.evaluate(() => (window.recordedBlocks.length = 0));
  await page.click('#play');
  await waitForRound(page, 2);
  await isAt(page, 'Bar 5, beat 2');
  await stop(page);
  const each = await recording(page);
  const beats = onsets(each.song, songLevel, 3000);
  const clicks = onsets(each.clicks, clickLevel, 1000);
  assert.ok(clicks.length >= 8, `${clicks.length} clicks`);
  const pause = distances(beats).findIndex(distance => distance > 4 * beat);
  assert.ok(pause >= 0, 'the song waits for the count-in');
  assert.ok(isWithin(distances(beats)[pause], (5 * beat) / 0.8, 3 * near), `${distances(beats)[pause]} samples`);
  for (const at of clicks.slice(4, 7)) assert.ok(at > beats[pause] && at < beats[pause + 1]);
}, recorded);

practise('The trainer adds per cent up to its goal', [desktop], async page => {
  await loopBars(page, 9, 9);
  await page.click('#presets button:has-text("80 %")');
  await page.fill('[data-practice="trainer.step"]', '20');
  await page.fill('[data-practice="trainer.rounds"]', '1');
  await page.fill('[data-practice="trainer.goal"]', '110');
  await page.check('[data-practice="trainer.on"]');
  await page.click('#play');
  await waitForRound(page, 5);
  await stop(page);
  assert.equal(await page.textContent('#speed'), '110 %');
  const {song} = await recording(page);
  const found = onsets(song, songLevel, 3000);
  [0.8, 1, 1.1, 1.1].forEach((speed, round) => {
    const length = found[4 * (round + 1)] - found[4 * round];
    assert.ok(isWithin(length, (4 * beat) / speed, 4 * near), `round ${round + 1}: ${length} samples`);
  });
  assert.ok(longestGap(song) < 20, `${longestGap(song)} ms`);
}, recorded);

practise('A song in another tuning is tuned to 440 Hz', [desktop], async page => {
  await openOptions(page);
  await page.check('[data-practice=tune]');
  await page.evaluate(() => document.activeElement.blur());
  await page.keyboard.press(' ');
  await listen(page, 1);
  const {song} = await recording(page);
  const tone = pitch(song.slice(song.length - rate / 2));
  assert.ok(isWithin(tone, 220, 0.4), `${tone.toFixed(2)} Hz`);
}, {...recorded, makeSong: () => makeTunedSong(446)});

practise('The sound is shifted, silenced and a chord is heard', [desktop], async page => {
  await openOptions(page);
  for (let i = 0; i < 2; ++i) await page.click('[data-step="semitones 1"]');
  await page.evaluate(() => document.activeElement.blur());
  for (let i = 0; i < 3; ++i) await page.keyboard.press('ArrowRight');
  await page.keyboard.press(' ');
  await isAt(page, 'Bar 4, beat 1');
  const {song} = await recording(page);
  const at = onsets(song, songLevel)[1] + beat / 2;
  assert.ok(isWithin(pitch(song.slice(at, at + beat / 3)), 220 * 2 ** (2 / 12), 2.5));
  await page.fill('[data-practice="volumes.song"]', '0');
  await listen(page, 0.5);
  const silenced = (await recording(page)).song;
  assert.ok(silenced.slice(-2000).every(value => Math.abs(value) < 0.001));
  await stop(page);
  await page.evaluate(() => (window.recordedBlocks.length = 0));
  await page.click('#hear');
  await listen(page, 0.6);
  assert.ok((await recording(page)).clicks.some(value => Math.abs(value) > 0.05));
}, recorded);
