/** @import {Chart} from './chart.js' */
/** @import {Player} from './player.js' */

/** How long rows that were scrolled away by hand stay in sight while the song plays, in milliseconds. */
const patience = 4000;
/** How long a scroll may take, in milliseconds. */
const arrival = 800;

/** Draws the playhead on the chart and keeps it in view. */
export class Playhead {
  #chart;
  #player;
  #line;
  #index = -1;
  #scrolledAt = -Infinity;
  /** Whether the rows in sight were chosen by hand, since the playhead was moved last. */
  #isByHand = false;
  #scroll = {target: -1, at: 0};
  #smooth = {at: 0, frame: 0};
  #isDrawing = false;
  /** @type {() => void} */
  #begin;

  /**
   * @param {Chart} chart
   * @param {Player} player
   * @param {HTMLElement} line
   * @param {(frame: number) => void} show what else follows the song
   */
  constructor(chart, player, line, show) {
    this.#chart = chart;
    this.#player = player;
    this.#line = line;
    const touched = () => {
      this.#scrolledAt = performance.now();
      this.#isByHand = true;
    };
    chart.window.addEventListener('wheel', touched, {passive: true});
    chart.window.addEventListener('touchmove', touched, {passive: true});
    const draw = (/** @type {number} */ time) => {
      const frame = this.#frame(time);
      this.draw(frame);
      show(frame);
      if (player.isPlaying) requestAnimationFrame(draw);
      else this.#isDrawing = false;
    };
    this.#begin = () => {
      if (this.#isDrawing) return;
      this.#isDrawing = true;
      requestAnimationFrame(draw);
    };
    const begin = () => this.#begin();
    player.addEventListener('change', begin);
    player.addEventListener('moved', () => {
      this.#scrolledAt = -Infinity;
      this.#isByHand = false;
      this.#index = -1;
      begin();
    });
    chart.sheet.addEventListener('laid', () => this.#seek());
    chart.sheet.addEventListener('drawn', () => {
      this.#place(this.#frame(performance.now()));
    });
  }

  /** Brings the playhead into view, unless other rows were chosen by hand. */
  #seek() {
    if (this.#isByHand) return;
    this.#index = -1;
    this.#begin();
  }

  /** Draws once more, although nothing moves. */
  refresh() {
    this.#begin();
  }

  /**
   * The frame that is heard. The audio clock goes by small leaps, which the eye would see: the frame follows the
   * window's clock and is drawn towards the audio clock.
   * @param {number} time
   */
  #frame(time) {
    const heard = this.#player.position;
    const before = this.#smooth;
    const passed = time - before.at;
    const pace = this.#player.framesPerMillisecond;
    if (pace > 0 && passed > 0 && passed < 100) {
      const expected = before.frame + passed * pace;
      const error = heard - expected;
      if (Math.abs(error) < 60 * pace) {
        this.#smooth = {at: time, frame: expected + 0.08 * error};
        return this.#smooth.frame;
      }
    }
    this.#smooth = {at: time, frame: heard};
    return heard;
  }

  /** @param {number} frame */
  #place(frame) {
    const position = this.#chart.positionOf(frame);
    this.#line.hidden = !position;
    if (!position) return null;
    const {top, bottom} = this.#chart.headRange;
    this.#line.style.transform = `translate(${position.x.toFixed(2)}px, ${position.y + top}px)`;
    if (this.#line.clientHeight !== bottom - top) this.#line.style.height = `${bottom - top}px`;
    return position;
  }

  /** @param {number} frame */
  draw(frame) {
    const position = this.#place(frame);
    const index = position?.index ?? this.#chart.rows.rowOf(frame);
    const isOther = index !== this.#index;
    if (!isOther && performance.now() - this.#scrolledAt < patience) return;
    if (!isOther && !this.#player.isPlaying) return;
    this.#index = index;
    this.#follow(index);
  }

  /** Scrolls where the row is not in sight, or nothing of what follows it is. @param {number} index */
  #follow(index) {
    const {window: pane, rowHeight} = this.#chart;
    const top = index * rowHeight;
    const room = pane.clientHeight;
    const isSeen = top >= pane.scrollTop - 1 && top + rowHeight * Math.min(2, room / rowHeight) <= pane.scrollTop + room + 1;
    const isEnd = pane.scrollTop + room >= pane.scrollHeight - 2 && top >= pane.scrollTop - 1;
    if (isSeen || isEnd) return;
    const target = top;
    const isCalm = matchMedia('(prefers-reduced-motion: reduce)').matches;
    const isNear = Math.abs(target - pane.scrollTop) < room * 1.5;
    if (target === this.#scroll.target && performance.now() - this.#scroll.at < arrival) return; // on its way
    this.#scroll = {target, at: performance.now()};
    // Rows that come meanwhile may put it elsewhere.
    setTimeout(() => this.#seek(), arrival + 50);
    pane.scrollTo({top: target, behavior: isCalm || !isNear ? 'auto' : 'smooth'});
  }
}
