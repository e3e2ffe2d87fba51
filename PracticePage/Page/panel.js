/** @import {Practice} from './practice.js' */
import {element} from './elements.js';

/**
 * Ties controls to the practice values that their data-practice names; ranges and numbers with data-percent show
 * hundredths.
 * @param {Practice} practice
 */
export function tieControls(practice) {
  /** @type {NodeListOf<HTMLInputElement | HTMLSelectElement | HTMLButtonElement>} */
  const controls = document.querySelectorAll('[data-practice]');
  for (const control of controls) {
    const path = control.dataset.practice ?? '';
    const unit = 'percent' in control.dataset ? 100 : 1;
    if (control instanceof HTMLButtonElement)
      control.addEventListener('click', () => practice.write(path, !practice.read(path)));
    else
      control.addEventListener(control.type === 'range' ? 'input' : 'change', () => {
        if (control instanceof HTMLInputElement && control.type === 'checkbox') practice.write(path, control.checked);
        else if (control instanceof HTMLSelectElement && typeof practice.read(path) !== 'number')
          practice.write(path, control.value);
        else if (control.checkValidity() && control.value !== '') practice.write(path, Number(control.value) / unit);
        show();
      });
  }

  const show = () => {
    for (const control of controls) {
      const path = control.dataset.practice ?? '';
      const unit = 'percent' in control.dataset ? 100 : 1;
      const value = practice.read(path);
      if (control instanceof HTMLButtonElement) control.setAttribute('aria-pressed', String(Boolean(value)));
      else if (control instanceof HTMLInputElement && control.type === 'checkbox') control.checked = value;
      else if (document.activeElement !== control || control.type !== 'number')
        control.value = typeof value === 'number' ? String(Math.round(value * unit * 100) / 100) : value;
    }
    for (const output of document.querySelectorAll('[data-shows]')) {
      const value = practice.read(output.getAttribute('data-shows') ?? '');
      output.textContent = typeof value === 'number' ? `${Math.round(value * 100)} %` : String(value);
    }
  };
  practice.addEventListener('change', show);
  show();
}

/** The drawer of controls: beside the chart where there is room, over it otherwise. */
export function followDrawer() {
  const drawer = element('panel');
  const button = element('more', HTMLButtonElement);
  const close = element('close-panel', HTMLButtonElement);
  const toggle = (/** @type {boolean} */ isOpen) => {
    drawer.hidden = !isOpen;
    document.body.classList.toggle('with-panel', isOpen);
    button.setAttribute('aria-expanded', String(isOpen));
    if (isOpen) close.focus({preventScroll: true});
    else if (drawer.contains(document.activeElement) || document.activeElement === document.body) button.focus();
  };
  button.addEventListener('click', () => toggle(drawer.hidden));
  close.addEventListener('click', () => toggle(false));
  drawer.addEventListener('keydown', event => {
    if (event.key !== 'Escape') return;
    event.stopPropagation();
    toggle(false);
  });
  return toggle;
}

/**
 * Buttons that step a number, for capo and transposition: data-step="NAME +1".
 * @param {(name: string, change: number) => void} step
 */
export function followSteps(step) {
  for (const button of document.querySelectorAll('[data-step]')) {
    const [name, change] = (button.getAttribute('data-step') ?? '').split(' ');
    button.addEventListener('click', () => step(name, Number(change)));
  }
}
