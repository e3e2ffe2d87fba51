/** @import {Chart, Place} from './chart.js' */

/** Movement that is still a click or tap, in CSS pixels. */
const slack = 6;

/**
 * What a hand does on the chart.
 * @typedef {object} Wishes
 * @property {(frame: number) => void} goTo
 * @property {(from: number, to: number, isDone: boolean) => void} stretch  dragged over bars
 * @property {(side: 'from' | 'to', frame: number, isDone: boolean) => void} moveEdge  of the loop
 * @property {(from: number, to: number) => void} loop  a section or region
 * @property {() => void} cancel
 */

/**
 * Clicks, drags, pinches and the wheel on the chart. A finger that moves down or up scrolls.
 * @param {Chart} chart
 * @param {Wishes} wishes
 */
export function followPointer(chart, wishes) {
  const {sheet, window: pane} = chart;
  /** @type {Map<number, PointerEvent>} */
  const fingers = new Map();
  /** @type {{place: Place, x: number, y: number, target: Element, edge: 'from' | 'to' | null, isDrag: boolean} | null} */
  let press = null;
  let pinch = 0;

  const spread = () => {
    const [a, b] = [...fingers.values()];
    return Math.max(20, Math.hypot(a.clientX - b.clientX, a.clientY - b.clientY));
  };
  const middle = () => {
    const [a, b] = [...fingers.values()];
    return chart.placeAt((a.clientX + b.clientX) / 2, (a.clientY + b.clientY) / 2)?.frame;
  };

  sheet.addEventListener('pointerdown', event => {
    if (event.button !== 0 || !(event.target instanceof Element)) return;
    fingers.set(event.pointerId, event);
    if (fingers.size === 2) {
      if (press?.isDrag) wishes.cancel();
      press = null;
      pinch = spread();
      return;
    }
    const place = chart.placeAt(event.clientX, event.clientY);
    if (!place) return;
    const side = event.target.closest('.handle')?.getAttribute('data-side');
    press = {place, x: event.clientX, y: event.clientY, target: event.target,
      edge: side === 'from' || side === 'to' ? side : null, isDrag: false};
    if (event.pointerType === 'mouse') sheet.setPointerCapture(event.pointerId);
  });

  sheet.addEventListener('pointermove', event => {
    if (!fingers.has(event.pointerId)) return;
    fingers.set(event.pointerId, event);
    if (fingers.size === 2) {
      const now = spread();
      if (Math.abs(Math.log(now / pinch)) < 0.12) return;
      chart.zoom(now / pinch, middle());
      pinch = now;
      return;
    }
    if (!press) return;
    if (!press.isDrag && Math.hypot(event.clientX - press.x, event.clientY - press.y) < slack) return;
    press.isDrag = true;
    drag(event, false);
    const box = pane.getBoundingClientRect();
    if (event.clientY > box.bottom - 24) pane.scrollBy(0, 14);
    else if (event.clientY < box.top + 24) pane.scrollBy(0, -14);
  });

  /** @param {PointerEvent} event @param {boolean} isDone */
  const drag = (event, isDone) => {
    const place = chart.placeAt(event.clientX, event.clientY);
    if (!place || !press) return;
    if (press.edge) wishes.moveEdge(press.edge, place.frame, isDone);
    else wishes.stretch(press.place.frame, place.frame, isDone);
  };

  /** @param {PointerEvent} event */
  const lift = event => {
    if (!fingers.delete(event.pointerId) || !press) return;
    if (event.type === 'pointercancel') wishes.cancel();
    else if (press.isDrag) drag(event, true);
    else if (!press.edge) {
      const [from, to] = (press.target.closest('[data-loop]')?.getAttribute('data-loop') ?? '').split(' ').map(Number);
      if (to > from) wishes.loop(from, to);
      else wishes.goTo(press.place.frame);
    }
    press = null;
  };
  sheet.addEventListener('pointerup', lift);
  sheet.addEventListener('pointercancel', lift);

  let turned = 0;
  pane.addEventListener('wheel', event => {
    if (!event.ctrlKey && !event.metaKey) return;
    event.preventDefault();
    turned += event.deltaY * (event.deltaMode === WheelEvent.DOM_DELTA_LINE ? 16 : 1);
    if (Math.abs(turned) < 20) return;
    chart.zoom(Math.exp(-Math.max(-120, Math.min(120, turned)) * 0.0025),
      chart.placeAt(event.clientX, event.clientY)?.frame);
    turned = 0;
  }, {passive: false});
}
