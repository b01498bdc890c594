// Two pictures side by side that are moved and enlarged together, by pointers, wheel and keys.
import { element } from './element.js';

const keyStep = 40; // pixels of the screen
const keys = {
  ArrowLeft: (view) => view.move(keyStep, 0),
  ArrowRight: (view) => view.move(-keyStep, 0),
  ArrowUp: (view) => view.move(0, keyStep),
  ArrowDown: (view) => view.move(0, -keyStep),
  '+': (view) => view.zoom(1.25),
  '=': (view) => view.zoom(1.25),
  '-': (view) => view.zoom(0.8),
  0: (view) => view.showAll(),
  1: (view) => view.showDifference(),
};

export class Comparer {
  // The place is that of the first picture which the views show in their middle, and so many pixels of
  // the screen are one of the picture. Sides: `{ url, rect, name }`, each rect showing the same.
  #place;
  #scale = 1;
  #sides;
  #size;
  #pointers = new Map();

  constructor(sides, size) {
    this.#size = size;
    this.#sides = sides.map((side) => ({ ...side, ...this.#view(side) }));
    this.#place = this.#difference();
    this.views = this.#sides.map(({ view }) => view);
    this.controls = this.#buttons();
    new ResizeObserver(() => this.#draw()).observe(this.views[0]);
  }

  #view({ url, name }) {
    const image = element('img', { src: url, alt: '', draggable: false });
    const view = element('div', {
      className: 'view',
      tabIndex: 0,
      role: 'group',
      'aria-label': `${name}, enlarged: arrows move, plus and minus zoom, 1 shows the difference, 0 all`,
    }, image);
    view.addEventListener('keydown', (event) => {
      if (!Object.hasOwn(keys, event.key) || event.ctrlKey || event.metaKey || event.altKey)
        return;
      event.preventDefault();
      keys[event.key](this);
    });
    view.addEventListener('wheel', (event) => {
      event.preventDefault();
      this.zoom(Math.exp(-event.deltaY / 400));
    }, { passive: false });
    view.addEventListener('pointerdown', (event) => {
      view.setPointerCapture(event.pointerId);
      this.#pointers.set(event.pointerId, event);
    });
    view.addEventListener('pointermove', (event) => this.#drag(event));
    for (const end of ['pointerup', 'pointercancel'])
      view.addEventListener(end, (event) => this.#pointers.delete(event.pointerId));
    return { view, image };
  }

  // One pointer moves, two zoom by how their distance changes.
  #drag(event) {
    const before = this.#pointers.get(event.pointerId);
    if (!before)
      return;
    const [other] = [...this.#pointers.values()].filter((one) => one.pointerId !== event.pointerId);
    this.#pointers.set(event.pointerId, event);
    if (!other)
      return this.move(event.clientX - before.clientX, event.clientY - before.clientY);
    const distance = (one) => Math.hypot(one.clientX - other.clientX, one.clientY - other.clientY);
    this.zoom(distance(event) / Math.max(distance(before), 1));
  }

  #buttons() {
    const button = (text, label, act) =>
      element('button', { type: 'button', textContent: text, 'aria-label': label, onclick: act });
    return element('p', { className: 'buttons zoom' },
      button('−', 'Zoom out', () => this.zoom(0.8)), button('+', 'Zoom in', () => this.zoom(1.25)),
      button('100 %', '100 %, where they differ most', () => this.showDifference()),
      button('All', 'All of both pictures', () => this.showAll()));
  }

  #difference() {
    const { left, top, right, bottom } = this.#sides[0].rect;
    return { x: (left + right) / 2, y: (top + bottom) / 2 };
  }

  move(dx, dy) {
    const limit = (value, most) => Math.min(Math.max(value, 0), most);
    this.#place.x = limit(this.#place.x - dx / this.#scale, this.#size.width);
    this.#place.y = limit(this.#place.y - dy / this.#scale, this.#size.height);
    this.#draw();
  }

  zoom(factor) {
    this.#scale = Math.min(Math.max(this.#scale * factor, 0.02), 16);
    this.#draw();
  }

  showDifference() {
    this.#scale = 1;
    this.#place = this.#difference();
    this.#draw();
  }

  showAll() {
    const { clientWidth, clientHeight } = this.views[0];
    this.#scale = Math.min(clientWidth / this.#size.width, clientHeight / this.#size.height);
    this.#place = { x: this.#size.width / 2, y: this.#size.height / 2 };
    this.#draw();
  }

  #draw() {
    const scale = this.#scale;
    for (const { view, image, rect } of this.#sides) {
      const x = this.#place.x + rect.left - this.#sides[0].rect.left;
      const y = this.#place.y + rect.top - this.#sides[0].rect.top;
      view.classList.toggle('sharp', scale > 1.5);
      const left = Math.round(view.clientWidth / 2 - x * scale);
      const top = Math.round(view.clientHeight / 2 - y * scale);
      image.style.transform = `translate(${left}px, ${top}px) scale(${scale})`;
    }
  }
}
