// @ts-check
'use strict';

/**
 * Moves the cursor to where the audio is, and the audio to where a row is clicked.
 * @typedef {{first: number, end: number, left: number, right: number, top: number, bottom: number}} Place
 */
(() => {
  const audio = /** @type {HTMLAudioElement | null} */ (document.getElementById('audio'));
  if (!audio) return; // a song without a recording
  const song = /** @type {HTMLElement} */ (document.getElementById('song'));
  const trouble = /** @type {HTMLElement} */ (document.getElementById('trouble'));
  const sampleRate = Number(song.dataset.rate);
  const cursor = document.createElementNS('http://www.w3.org/2000/svg', 'line');
  cursor.id = 'cursor';

  /** @returns {SVGSVGElement[]} the rows for the width of this window */
  const shownRows = () => {
    const layouts = [...document.querySelectorAll('.layout')];
    const shown = layouts.find(layout => getComputedStyle(layout).display !== 'none');
    return shown ? [...shown.querySelectorAll(/** @type {'svg'} */ ('svg.row'))] : [];
  };
  let rows = shownRows();
  /** The second that the cursor shows. */
  let shownAt = 0;

  /**
   * The frames of a row, and where it has its waveform.
   * @param {Element} row
   * @returns {Place}
   */
  const placeOf = row => {
    const [first, end, left, right, top, bottom] = (row.getAttribute('data-place') ?? '').split(' ').map(Number);
    return {first, end, left, right, top, bottom};
  };

  /** @param {number} frame */
  const rowAt = frame => {
    let low = 0;
    let high = rows.length - 1;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (placeOf(rows[middle]).end > frame) high = middle;
      else low = middle + 1;
    }
    return rows[low];
  };

  /**
   * @param {number} seconds
   * @param {boolean} follows whether the window goes along
   */
  const show = (seconds, follows) => {
    shownAt = seconds;
    const frame = seconds * sampleRate;
    const row = rowAt(frame);
    if (!row) return;
    const place = placeOf(row);
    const share = Math.min(1, Math.max(0, (frame - place.first) / (place.end - place.first)));
    const x = String(place.left + share * (place.right - place.left));
    cursor.setAttribute('x1', x);
    cursor.setAttribute('x2', x);
    cursor.setAttribute('y1', String(place.top));
    cursor.setAttribute('y2', String(place.bottom));
    if (cursor.parentNode === row) return;
    row.append(cursor);
    const isCalm = matchMedia('(prefers-reduced-motion: reduce)').matches;
    if (follows) row.scrollIntoView({block: 'center', behavior: isCalm ? 'auto' : 'smooth'});
  };

  /** @param {number} frame */
  const seek = frame => {
    audio.currentTime = frame / sampleRate;
    show(frame / sampleRate, false);
  };

  const follow = () => {
    show(audio.currentTime, true);
    if (!audio.paused) requestAnimationFrame(follow);
  };
  audio.addEventListener('play', follow);
  audio.addEventListener('seeked', () => show(audio.currentTime, false));

  song.addEventListener('click', event => {
    if (!(event.target instanceof Element)) return;
    const button = event.target.closest('button[data-frame]');
    if (button) seek(Number(button.getAttribute('data-frame')));
    const row = /** @type {SVGSVGElement | null} */ (event.target.closest('svg.row'));
    const toScreen = row?.getScreenCTM();
    if (!row || !toScreen) return;
    const {first, end, left, right} = placeOf(row);
    const {x} = new DOMPoint(event.clientX, event.clientY).matrixTransform(toScreen.inverse());
    const share = Math.min(1, Math.max(0, (x - left) / (right - left)));
    seek(first + share * (end - first));
  });

  document.addEventListener('keydown', event => {
    if (event.code !== 'Space' || event.repeat || event.ctrlKey || event.altKey || event.metaKey || event.shiftKey)
      return;
    const controls = 'a, audio, button, input, select, summary, textarea, [contenteditable]';
    if (event.target instanceof Element && event.target.closest(controls)) return;
    event.preventDefault();
    if (audio.paused) audio.play().catch(() => {}); // the error event tells why
    else audio.pause();
  });

  addEventListener('resize', () => {
    rows = shownRows();
    show(shownAt, false);
  });

  /** What browsers call the sound of a file, by its ending. @type {Record<string, string>} */
  const types = {
    aac: 'audio/aac', aif: 'audio/aiff', aifc: 'audio/aiff', aiff: 'audio/aiff', ape: 'audio/x-ape',
    au: 'audio/basic', caf: 'audio/x-caf', flac: 'audio/flac', m4a: 'audio/mp4', mp3: 'audio/mpeg',
    mp4: 'audio/mp4', oga: 'audio/ogg', ogg: 'audio/ogg', opus: 'audio/ogg; codecs=opus', snd: 'audio/basic',
    w64: 'audio/x-w64', wav: 'audio/wav', webm: 'audio/webm', wma: 'audio/x-ms-wma', wv: 'audio/x-wavpack',
  };

  /** Whether the recording lies where the page looks for it; undefined where the browser does not say. */
  const exists = async () => {
    if (location.protocol.startsWith('http')) {
      try {
        const response = await fetch(audio.src, {method: 'HEAD'});
        if (response.status === 404 || response.status === 410) return false;
        if (response.ok) return true;
      } catch {
        return undefined;
      }
    }
    // Local files tell by the words of the error alone, which differ from browser to browser.
    const words = audio.error?.message ?? '';
    if (/^MEDIA_ELEMENT_ERROR: Format error|not.?found|\b404\b/i.test(words)) return false;
    return /decoder|demuxer|metadata/i.test(words) ? true : undefined;
  };

  /** @returns {Promise<string>} why the recording does not play */
  const reason = async () => {
    const path = decodeURIComponent(audio.getAttribute('src') ?? '');
    const ending = /\.([^./]+)$/.exec(path)?.[1] ?? '';
    const type = types[ending.toLowerCase()];
    const isUnplayable = type !== undefined && audio.canPlayType(type) === '';
    switch (audio.error?.code) {
      case MediaError.MEDIA_ERR_NETWORK:
        return `The connection broke off while the recording was loading: ${path}`;
      case MediaError.MEDIA_ERR_DECODE:
        return `The recording is damaged and does not play on: ${path}`;
      case MediaError.MEDIA_ERR_SRC_NOT_SUPPORTED:
        break;
      default:
        return `The recording was not loaded: ${path}`;
    }
    const isThere = await exists();
    if (isThere === false)
      return `The recording is not at ${path}, seen from this page. ` +
        'If either was moved or renamed, put it back, or draw the page again.';
    if (isUnplayable)
      return `This browser does not play ${ending.toUpperCase()} files: ${path}. ` +
        'Another browser may; a copy as FLAC, MP3 or WAV plays in all.';
    if (isThere)
      return `The recording is there, but this browser cannot decode it: ${path}. ` +
        'It is damaged, or of a kind that another browser may play.';
    return `The recording cannot be loaded: ${path}. It was moved or renamed, or this browser cannot decode it.`;
  };
  const explain = async () => {
    trouble.textContent = await reason();
    trouble.hidden = false;
  };
  audio.addEventListener('error', explain);
  if (audio.error) explain();

  show(0, false);
})();
