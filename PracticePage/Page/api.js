/** @import {SessionAnswer, StreamBlock, StreamSegment} from './types.js' */
import {words} from './words.js';

/** What the server refused, in its words. */
export class Refusal extends Error {
  /**
   * @param {number} status
   * @param {string} message
   */
  constructor(status, message) {
    super(message);
    this.status = status;
  }
}

const kept = 'tarn-session';

/** All that the page asks of the server. */
export class Api {
  #session = '';

  /**
   * Begins a session with the token of the page's address, which is removed from it, or goes on with that of
   * before a reload. Returns null where neither is there or accepted: then a code may be asked for.
   * @returns {Promise<SessionAnswer | null>}
   */
  async begin() {
    const token = new URLSearchParams(location.hash.slice(1)).get('t');
    if (token) {
      history.replaceState(null, '', location.pathname);
      return this.#open({token});
    }
    const before = sessionStorage.getItem(kept);
    if (!before) return null;
    /** @type {SessionAnswer} */
    const session = JSON.parse(before);
    this.#session = session.session;
    const response = await fetch('/api/song', {headers: {'X-Tarn-Session': this.#session}});
    if (response.status !== 403 && response.status !== 401) return session;
    sessionStorage.removeItem(kept);
    return null;
  }

  /** @param {string} code that the other screen shows */
  enter(code) {
    return this.#open({code});
  }

  /**
   * @param {object} proof
   * @returns {Promise<SessionAnswer>}
   */
  async #open(proof) {
    const session = await this.post('/api/session', proof);
    this.#session = session.session;
    sessionStorage.setItem(kept, JSON.stringify(session));
    return session;
  }

  /**
   * @param {string} method
   * @param {string} path
   * @param {object} [body]
   * @param {RequestInit} [options]
   */
  async request(method, path, body, options = {}) {
    /** @type {Record<string, string>} */
    const headers = {};
    if (this.#session) headers['X-Tarn-Session'] = this.#session;
    if (body) headers['Content-Type'] = 'application/json';
    const response = await fetch(path, {...options, method, headers, body: body ? JSON.stringify(body) : undefined});
    if (response.ok) return response;
    const text = await response.text();
    let message = text;
    try {
      message = JSON.parse(text).error ?? text;
    } catch {
      // Not the server's own words; shown as they are.
    }
    throw new Refusal(response.status, words(message) || `${response.status}`);
  }

  /**
   * The text of an answer, for which the whole page waits: where the browser lets it do nothing later, as before it
   * prints.
   * @param {string} path
   * @param {string} [type] to read the answer as
   */
  #textNow(path, type) {
    const request = new XMLHttpRequest();
    request.open('GET', path, false);
    request.setRequestHeader('X-Tarn-Session', this.#session);
    if (type) request.overrideMimeType(type);
    request.send();
    if (request.status !== 200) throw new Refusal(request.status, `${request.status}`);
    return request.responseText;
  }

  /** get(), for which the whole page waits. @param {string} path */
  getNow(path) {
    return JSON.parse(this.#textNow(path));
  }

  /** Bytes, for which the whole page waits. @param {string} path */
  bytesNow(path) {
    const text = this.#textNow(path, 'text/plain; charset=x-user-defined');
    return Uint8Array.from(text, each => each.charCodeAt(0) & 0xff);
  }

  /**
   * @param {string} path
   * @param {AbortSignal} [signal]
   */
  async get(path, signal) {
    return (await this.request('GET', path, undefined, {signal})).json();
  }

  /**
   * @param {string} path
   * @param {object} [body]
   */
  async post(path, body = {}) {
    const text = await (await this.request('POST', path, body)).text();
    return text ? JSON.parse(text) : {};
  }

  /** Bytes, and whether they are final: the analysis may add to them. @param {string} path */
  async bytes(path) {
    const response = await this.request('GET', path);
    const isComplete = response.headers.get('X-Tarn-Complete') !== '0';
    return {bytes: new Uint8Array(await response.arrayBuffer()), isComplete};
  }

  /**
   * A block of a stream as samples from -1 to 1.
   * @param {string} stream
   * @param {number} block
   * @param {number} channelCount
   * @returns {Promise<StreamBlock>}
   */
  async block(stream, block, channelCount) {
    const response = await this.request('GET', `/api/streams/${stream}/blocks/${block}`);
    const view = new DataView(await response.arrayBuffer());
    const length = Math.floor(view.byteLength / 2 / channelCount);
    const channels = Array.from({length: channelCount}, () => new Float32Array(length));
    for (let at = 0, i = 0; i < length; ++i)
      for (const channel of channels) {
        channel[i] = view.getInt16(at, true) / 32768;
        at += 2;
      }
    /** @type {StreamSegment[]} */
    const segments = JSON.parse(response.headers.get('X-Tarn-Segments') ?? '[]');
    return {channels, length, segments, isLast: response.headers.get('X-Tarn-Last') === '1'};
  }

  /**
   * Hands on each event until the server ends the connection, first "connected"; throws when it breaks off.
   * @param {(name: string, data: any) => void} hear
   */
  async events(hear) {
    const response = await this.request('GET', '/api/events');
    if (!response.body) return;
    hear('connected', {});
    const reader = response.body.pipeThrough(new TextDecoderStream()).getReader();
    let text = '';
    for (;;) {
      const {value, done} = await reader.read();
      if (done) return;
      text += value;
      const parts = text.split('\n\n');
      text = parts.pop() ?? '';
      for (const part of parts) {
        const name = /^event: ?(.*)$/m.exec(part)?.[1];
        const data = /^data: ?(.*)$/m.exec(part)?.[1];
        if (name) hear(name, data ? JSON.parse(data) : {});
      }
    }
  }

  /** Tells the server that this page closes. */
  bye() {
    if (this.#session) this.request('POST', '/api/bye', {}, {keepalive: true}).catch(() => {});
  }
}
