// A clock for the page's sound that goes only while a test waits for something that is heard.

/**
 * To be run before the page's own scripts. The sound is computed a tenth of a second with each frame that is drawn, and
 * stands still while sound is fetched: what is heard and when does not depend on how fast the machine is.
 */
export const holdSound = () => {
  const step = 0.1;
  const longest = 300;
  const clock = (window.soundClock = {isRunning: false});
  let fetching = 0;
  const get = window.fetch;
  window.fetch = async (address, options) => {
    if (!/^\/api\/(streams|countin)/.test(address)) return get(address, options);
    ++fetching;
    try {
      const response = await get(address, options);
      const body = await response.arrayBuffer();
      return new Response(body, {status: response.status, headers: response.headers});
    } finally {
      --fetching;
    }
  };
  const drawn = () => new Promise(resolve => requestAnimationFrame(resolve));
  window.AudioContext = class extends OfflineAudioContext {
    #begun;
    constructor({sampleRate = 44100} = {}) {
      super({numberOfChannels: 1, length: longest * sampleRate, sampleRate});
    }
    resume() {
      this.#begun ??= new Promise(resolve => {
        this.suspend(step).then(() => {
          resolve();
          this.#go();
        });
        this.startRendering();
      });
      return this.#begun;
    }
    async #go() {
      // A fetch that was just answered may lead to another one.
      for (let idle = 0; ; idle = fetching || !clock.isRunning ? 0 : idle + 1) {
        await drawn();
        if (idle < 2 || !clock.isRunning) continue;
        const reached = this.suspend(this.currentTime + step);
        super.resume();
        await reached;
      }
    }
  };
};

/** Waits until the predicate holds in the page, while the sound goes on. */
export async function until(page, predicate, argument, options) {
  const look = new Function('argument', `
    const holds = Boolean((${predicate})(argument));
    if (window.soundClock) window.soundClock.isRunning = !holds;
    return holds;`);
  await page.waitForFunction(look, argument, options);
}
