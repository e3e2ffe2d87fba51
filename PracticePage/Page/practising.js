/** @import {Api} from './api.js' */
/** @import {SessionAnswer, SongAnswer} from './types.js' */
import {Chart} from './chart.js';
import {Controls} from './controls.js';
import {element} from './elements.js';
import {followKeys, listKeys} from './keys.js';
import {Looper} from './looper.js';
import {notify, toast} from './notices.js';
import {Now} from './now.js';
import {layOnPaper} from './paper.js';
import {Player} from './player.js';
import {Playhead} from './playhead.js';
import {followPointer} from './pointer.js';
import {Practice} from './practice.js';
import {Song} from './song.js';
import {Speech} from './speech.js';
import {fillWords, languageFor, loadWords, words} from './words.js';

/** What passes by itself is told where it lasts, in milliseconds. */
const beingChecked = 'The recording is being checked.';
const patience = 1500;

/**
 * Opens the song on the page and keeps the page up with it.
 * @param {Api} api
 * @param {SongAnswer} answer
 * @param {SessionAnswer} session
 */
export function openSong(api, answer, session) {
  let song = new Song(answer);
  const practice = new Practice(api);
  practice.load(answer.practice);
  const chart = new Chart(element('chart'), element('sheet'), api, practice, song);
  const player = new Player(api, practice, song);
  const looper = new Looper(practice, player, chart, song);
  const now = new Now(api, practice, player, chart, song);
  const speech = new Speech(now, practice);
  const playhead = new Playhead(chart, player, element('playhead'), frame => {
    now.show(frame);
    speech.follow(frame);
  });

  /** @param {string} sentence @param {string} told what it does, to the user */
  const edit = async (sentence, told) => {
    try {
      await api.post('/api/edit', {edit: sentence, seen: song.answer.revision});
      await reload();
      toast(told, () => undo('undo'));
    } catch (error) {
      trouble(error);
    }
  };
  /** @param {'undo' | 'redo'} which */
  const undo = async which => {
    try {
      await api.post(`/api/${which}`);
      await reload();
    } catch (error) {
      trouble(error);
    }
  };
  /** @param {unknown} error */
  const trouble = error => toast(error instanceof Error ? error.message : String(error), null);

  const controls = new Controls({api, practice, player, looper, chart, speech, now, edit, undo,
    canEdit: session.canEdit && answer.canEdit, song: () => song});
  const bindings = controls.bindings();
  followKeys(bindings);
  listKeys(bindings);

  followPointer(chart, {
    goTo: frame => player.goTo(frame),
    stretch: (from, to, isDone) => looper.stretch(from, to, isDone),
    moveEdge: (side, frame, isDone) => looper.moveEdge(side, frame, isDone),
    loop: (from, to) => looper.set([from, to]),
    cancel: () => looper.show(),
  });

  /** @param {SongAnswer} next */
  const take = next => {
    song = new Song(next);
    looper.song = song;
    now.setSong(song);
    player.setSong(song);
    chart.setSong(song);
    show();
  };
  let isReloading = false;
  let isWanted = false;
  const reload = async () => {
    isWanted = true;
    if (isReloading) return;
    isReloading = true;
    try {
      while (isWanted) {
        isWanted = false;
        const next = await api.get('/api/song');
        if (isSame(next, song.answer)) song.answer.revision = next.revision;
        else take(next);
      }
    } finally {
      isReloading = false;
    }
  };

  const refresh = () => void reload().catch(() => {}); // hear() tells where the server is gone

  let checkTimer = 0;
  const showSoundReason = () => {
    clearTimeout(checkTimer);
    const {soundReason, soundAsk} = song.answer;
    if (soundReason !== beingChecked) return notify('sound', soundAsk ? '' : words(soundReason ?? ''));
    checkTimer = setTimeout(() => notify('sound', words(beingChecked)), patience);
  };

  const show = () => {
    controls.show();
    showAnalysis(song.answer);
    showSoundReason();
    notify('folder', song.answer.documentFolder ? words('document.folder', {folder: song.answer.documentFolder}) : '');
    const ask = song.answer.soundAsk;
    notify('ask', ask ? words('sound.ask', {path: ask}) : '', {label: words('sound.allow'),
      does: () => api.post('/api/sound', {allow: true}).then(() => reload(), trouble)});
    const failure = song.answer.state === 'failed' ? song.answer.failure : null;
    notify('failure', failure ? words('analysis.failed', {reason: words(failure)}) : '', session.canEdit
      ? {label: words('analysis.again'), does: () => api.post('/api/analyze').then(reload, trouble)} : undefined);
    const isEmpty = !song.bars.length && !song.chords.length && song.answer.state !== 'analyzing';
    element('empty').hidden = !isEmpty;
    element('empty').textContent = words('chart.empty');
    looper.show();
    playhead.refresh();
  };

  practice.addEventListener('change', () => {
    chart.lay();
    looper.show();
    controls.show();
    playhead.refresh();
  });
  practice.addEventListener('unkept', event => {
    const {detail} = /** @type {CustomEvent} */ (event);
    toast(words('unkept', {reason: detail instanceof Error ? detail.message : String(detail)}), null);
  });
  player.addEventListener('change', () => controls.show());
  player.addEventListener('moved', () => {
    if (!player.isPlaying) playhead.refresh();
  });
  player.addEventListener('trouble', event => trouble(/** @type {CustomEvent} */ (event).detail));
  element('stop-analysis').addEventListener('click', () => api.post('/api/stop').catch(trouble));
  element('print').addEventListener('click', () => print());
  addEventListener('beforeprint', () => layOnPaper(chart, api, song, practice.values.simple));
  element('language', HTMLSelectElement).addEventListener('change', async event => {
    const {value} = /** @type {HTMLSelectElement} */ (event.target);
    practice.set({language: languageFor(value)});
    await loadWords(languageFor(value));
    fillWords(document);
    listKeys(bindings);
    show();
  });
  addEventListener('pagehide', () => {
    practice.keep(true);
    api.bye();
  });

  show();
  hear(api, {
    connected: refresh, // what happened before it was not heard
    // How the song is practised is this page's own.
    song: data => {
      if (data.kinds.some((/** @type {string} */ kind) => kind !== 'practice')) refresh();
    },
    partial: refresh,
    progress: data => showAnalysis({...song.answer, stage: data.stage, progress: data.fraction}),
    failed: refresh,
  });
}

/** @param {SongAnswer} answer */
function showAnalysis(answer) {
  element('analysis').hidden = answer.state !== 'analyzing';
  element('progress', HTMLProgressElement).value = answer.progress ?? 0;
  element('stage').textContent = words(answer.stage ?? '');
}

/** Whether they tell the same but for how the song is practised. @param {SongAnswer} a @param {SongAnswer} b */
function isSame(a, b) {
  const told = (/** @type {SongAnswer} */ answer) => JSON.stringify({...answer, revision: 0, practice: null});
  return told(a) === told(b);
}

/**
 * Hears what the server tells, again after a short while where the connection broke off.
 * @param {Api} api
 * @param {Record<string, (data: any) => void>} does
 */
async function hear(api, does) {
  let isOver = false;
  for (let failures = 0; failures < 4 && !isOver; ++failures) {
    try {
      await api.events((name, data) => {
        failures = 0;
        if (name === 'goodbye') isOver = true;
        does[name]?.(data);
      });
    } catch {
      // Tried again below.
    }
    if (!isOver) await new Promise(resolve => setTimeout(resolve, 500));
  }
  notify('trouble', words('gone'));
}
