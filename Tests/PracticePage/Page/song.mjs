// A song whose every beat is known, made anew for each test that practises it.
import {execFileSync} from 'node:child_process';
import {cpSync, mkdirSync, mkdtempSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';

export const tarn = process.env.TARN;
export const rate = 44100;
export const beat = 22050;
export const firstBeat = 44100;
export const barCount = 40;

/** The frame at which a bar begins, or one of its beats from 1. */
export const frameOf = (bar, beatOfBar = 1) => firstBeat + beat * (4 * (bar - 1) + beatOfBar - 1);

/**
 * Clicks on a drone of so many hertz. Stereo: the left channel is silent, so that it holds the page's own clicks alone
 * when the song is played.
 */
export function recording(frames, drone = 220) {
  const bytes = Buffer.alloc(44 + frames * 4);
  bytes.write('RIFF', 0);
  bytes.writeUInt32LE(36 + frames * 4, 4);
  bytes.write('WAVEfmt ', 8);
  bytes.writeUInt32LE(16, 16);
  bytes.writeUInt16LE(1, 20);
  bytes.writeUInt16LE(2, 22);
  bytes.writeUInt32LE(rate, 24);
  bytes.writeUInt32LE(rate * 4, 28);
  bytes.writeUInt16LE(4, 32);
  bytes.writeUInt16LE(16, 34);
  bytes.write('data', 36);
  bytes.writeUInt32LE(frames * 4, 40);
  for (let i = 0; i < frames; ++i) {
    let value = 0.1 * Math.sin((2 * Math.PI * drone * i) / rate);
    const since = (i - firstBeat) % beat;
    if (i >= firstBeat && since < 400) value += 0.7 * Math.cos((2 * Math.PI * 1000 * since) / rate) * (1 - since / 400);
    bytes.writeInt16LE(Math.round(value * 32767), 46 + i * 4);
  }
  return bytes;
}

const folder = mkdtempSync(join(tmpdir(), 'practice-'));
let made = '';

/** The recording alone; several times as long, or with another drone, where that is asked for. */
export function makeRecording(name = 'take.wav', times = 1, drone = 220) {
  const at = mkdtempSync(join(folder, 'take-'));
  writeFileSync(join(at, name), recording(firstBeat + times * barCount * 4 * beat + beat, drone));
  return join(at, name);
}

/** A song of which no more is known than is found, tuned to an A4 of so many hertz. */
export function makeTunedSong(standardPitch) {
  const wave = makeRecording('tuned.wav', 1, standardPitch / 2);
  execFileSync(tarn, ['analyze', wave], {stdio: 'pipe'});
  return join(wave, '..', 'tuned.tarn');
}

/** A copy of its own of the song: forty bars of four beats, a second in. */
export function makeSong() {
  if (!made) {
    const wave = makeRecording('song.wav');
    made = join(wave, '..');
    const song = join(made, 'song.tarn');
    const run = (...words) => execFileSync(tarn, words, {stdio: 'pipe'});
    run('analyze', wave, '-o', song);
    const chords = ['A:min', 'F:maj7', 'C:maj', 'G:maj'];
    const lab = Array.from({length: barCount}, (_, i) => `${1 + 2 * i}\t${3 + 2 * i}\t${chords[i % 4]}\n`);
    writeFileSync(join(made, 'chords.lab'), lab.join(''));
    run('edit', song, 'metre=4/4', 'tempo=120 from @44100', 'add-section "Verse 1" at 1:1 color verse',
      'add-section Chorus at 17:1 color chorus', 'add-region region "Riff" 5:1 to 9:1', 'add-marker Solo at 9:1',
      'title="Clicks <img src=x onerror=alert(1)>"', 'artist=Nobody');
    run('import', song, join(made, 'chords.lab'));
  }
  const copy = mkdtempSync(join(folder, 'song-'));
  mkdirSync(copy, {recursive: true});
  cpSync(made, copy, {recursive: true});
  return join(copy, 'song.tarn');
}
