/** @import {Api} from './api.js' */
/** @import {SessionAnswer} from './types.js' */
import {element} from './elements.js';

/** Asks for the code that the computer with the song shows. @param {Api} api @returns {Promise<SessionAnswer>} */
export function askCode(api) {
  const dialog = element('code', HTMLDialogElement);
  const text = element('code-text', HTMLInputElement);
  dialog.addEventListener('cancel', event => event.preventDefault());
  document.body.classList.remove('loading');
  dialog.showModal();
  return new Promise(resolve => {
    element('code-form').addEventListener('submit', async event => {
      event.preventDefault();
      try {
        const session = await api.enter(text.value.trim());
        dialog.close();
        resolve(session);
      } catch (error) {
        element('code-trouble').textContent = error instanceof Error ? error.message : String(error);
        text.select();
      }
    });
  });
}

/** Lists the songs that were opened last, and opens the one that is chosen. @param {Api} api @returns {Promise<void>} */
export async function listRecent(api) {
  /** @type {{songs: {title: string, artist: string, fileName: string, folder: string}[]}} */
  const {songs} = await api.get('/api/recent');
  const dialog = element('recent', HTMLDialogElement);
  dialog.addEventListener('cancel', event => event.preventDefault());
  element('recent-none').hidden = songs.length > 0;
  document.body.classList.remove('loading');
  dialog.showModal();
  return new Promise(resolve => {
    element('recent-list').replaceChildren(...songs.map((song, index) => {
      const button = document.createElement('button');
      const title = document.createElement('b');
      const place = document.createElement('span');
      title.textContent = song.title || song.fileName;
      place.textContent = [song.artist, song.folder].filter(Boolean).join(' · ');
      button.type = 'button';
      button.append(title, place);
      button.addEventListener('click', () =>
        api.post('/api/open', {index}).then(() => {
          dialog.close();
          resolve();
        }, error => (element('recent-trouble').textContent = error instanceof Error ? error.message : String(error))));
      const item = document.createElement('li');
      item.append(button);
      return item;
    }));
  });
}
