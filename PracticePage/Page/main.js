/** @import {SongAnswer, SessionAnswer} from './types.js' */
import {Api, Refusal} from './api.js';
import {notify} from './notices.js';
import {openSong} from './practising.js';
import {askCode, listRecent} from './start.js';
import {fillWords, languageFor, loadWords, words} from './words.js';

/** @param {Api} api @param {Promise<void>} ready when there are words @returns {Promise<SessionAnswer>} */
async function begin(api, ready) {
  try {
    const session = await api.begin();
    if (session) return session;
  } catch (error) {
    if (!(error instanceof Refusal)) throw error; // a used-up token: a code may be asked for
  }
  await ready;
  return askCode(api);
}

/**
 * The song; where none is open, the one that is chosen.
 * @param {Api} api
 * @param {Promise<void>} ready when there are words
 * @returns {Promise<SongAnswer>}
 */
async function song(api, ready) {
  try {
    return await api.get('/api/song');
  } catch (error) {
    if (!(error instanceof Refusal) || error.status !== 404) throw error;
  }
  await ready;
  await listRecent(api);
  return api.get('/api/song');
}

async function start() {
  const api = new Api();
  const ready = loadWords(languageFor(null)).then(() => fillWords(document));
  const session = await begin(api, ready);
  const answer = await song(api, ready);
  await ready;
  const wanted = languageFor(answer.practice.language ?? session.language);
  if (document.documentElement.lang !== wanted) await loadWords(wanted);
  fillWords(document);
  if (session.lan) notify('lan', words('lan'));
  openSong(api, answer, session);
  document.body.classList.remove('loading');
}

start().catch(error => {
  document.body.classList.remove('loading');
  notify('trouble', error instanceof Error ? error.message : String(error));
});
