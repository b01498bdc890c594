// The bursts as the report shows them, with the best frame large and the pictures themselves for the
// comparison.
import { Comparer } from './comparer.js';
import { element } from './element.js';
import { comparedWithMedian, constantTerm, orderOf, termsOf } from './ranking.js';

const mostComparisons = 40;
const grouped = new Intl.NumberFormat('en');

let urls = [];

function urlOf(blob) {
  urls.push(URL.createObjectURL(blob));
  return urls.at(-1);
}

/** Replaces what is shown. Each burst: `{ frames, choice }`. */
export async function showBursts(place, bursts, calls) {
  urls.forEach((url) => URL.revokeObjectURL(url));
  urls = [];
  const sections = bursts.map((burst, i) => new BurstSection(burst, i, bursts.length));
  place.replaceChildren(...(bursts.length > 1 ? [contents(bursts)] : []),
    ...sections.map(({ section }) => section));
  for (const section of sections.slice(0, mostComparisons))
    await section.compare(calls);
}

const startOf = ({ frames: [{ taken }] }) => taken === null ? ''
  : new Date(taken * 1000).toISOString().replace('T', ' ').replace(/\.000Z$|Z$/, '');

function contents(bursts) {
  const row = (tag, cells) => element('tr', {}, ...cells.map((cell) => element(tag, {}, cell)));
  return element('nav', { className: 'scroll', 'aria-label': 'Bursts', tabIndex: 0 },
    element('table', {},
      element('thead', {}, row('th', ['Burst', 'Taken', 'Frames', 'Kept', 'Best'])),
      element('tbody', {}, ...bursts.map((burst, i) => row('td', [
        element('a', { href: `#burst-${i + 1}`, textContent: `Burst ${i + 1}` }), startOf(burst),
        `${burst.frames.length}`, `${burst.choice.kept.length}`, burst.frames[burst.choice.best].name,
      ])))));
}

class BurstSection {
  #frames;
  #choice;
  #id;
  #scores;
  #order;
  #comparison = element('div');

  constructor({ frames, choice, choice: { scores } }, number, bursts) {
    this.#frames = frames;
    this.#choice = choice;
    this.#scores = scores;
    this.#order = orderOf(scores);
    this.#id = `burst-${number + 1}`;
    const start = startOf({ frames });
    const title = bursts === 1 ? 'The burst' : `Burst ${number + 1}${start && `, ${start}`}`;
    this.section = element('section', {
      className: 'burst', id: this.#id, 'aria-labelledby': `${this.#id}-title`,
    },
    element('h2', { id: `${this.#id}-title`, textContent: title }), this.#verdict(), this.#large(),
    this.#comparison, element('h3', { textContent: 'Contact sheet' }), this.#sheet(), this.#terms());
  }

  #frameId(i) {
    return `${this.#id}-frame-${i}`;
  }

  #link(i) {
    return element('a', { href: `#${this.#frameId(i)}`, textContent: this.#frames[i].name });
  }

  #verdict() {
    const { best, kept } = this.#choice;
    const parts = ['Best: ', this.#link(best), `, ${comparedWithMedian(this.#scores, best)}.`];
    if (this.#frames.length > 1)
      parts.push(` Kept ${kept.length} of ${this.#frames.length}: `,
        ...kept.flatMap((i, k) => k === 0 ? [this.#link(i)] : [', ', this.#link(i)]), '.');
    return element('p', { className: 'verdict' }, ...parts);
  }

  #large() {
    const { name, blob, blur } = this.#frames[this.#choice.best];
    return element('figure', { className: 'large' }, element('img', {
      src: urlOf(blob), alt: `${name}, the best frame`, width: blur.width, height: blur.height,
    }));
  }

  // The best frame beside the next one by score, where they differ most.
  async compare(calls) {
    const { best } = this.#choice;
    const other = this.#order.find((i) => i !== best);
    if (other === undefined)
      return;
    const [first, second] = [this.#frames[best], this.#frames[other]];
    const found = await calls.call('compare', { first: first.blob, second: second.blob })
      .catch(() => null);
    if (!found)
      return;
    const { here, there, scores } = found;
    const comparer = new Comparer([
      { url: urlOf(first.blob), rect: here, name: first.name },
      { url: urlOf(second.blob), rect: there, name: second.name },
    ], first.blur);
    this.#comparison.replaceChildren(
      element('h3', { textContent: 'Best and second' }),
      element('div', { className: 'pair live' },
        this.#side(comparer.views[0], best, 'Best', scores[0]),
        this.#side(comparer.views[1], other, 'Second', scores[1])),
      comparer.controls,
      element('p', { className: 'quiet', textContent: `${here.right - here.left} × ${
        here.bottom - here.top} pixels at 100 %, at (${here.left}, ${here.top
      }) of the best frame: where the sharpness of the two differs most.` }));
  }

  #side(view, i, badge, score) {
    const best = badge === 'Best';
    return element('figure', { className: best ? 'best' : '' }, view,
      element('figcaption', {}, element('span', { className: 'line' },
        element('a', { className: 'name', href: `#${this.#frameId(i)}`, textContent: this.#frames[i].name }),
        element('span', { className: `badge${best ? ' best' : ''}`, textContent: badge })),
      element('span', { className: 'quiet', textContent: `Blur score ${grouped.format(score)} here` })));
  }

  #sheet() {
    const list = element('ol', { className: 'sheet' }, ...this.#frames.map((_, i) => this.#card(i)));
    const { width, height } = this.#frames[0].blur;
    list.style.setProperty('--shape', `${width} / ${height}`);
    return list;
  }

  #card(i) {
    const { name, thumbnail } = this.#frames[i];
    const best = i === this.#choice.best, kept = this.#choice.kept.includes(i);
    const share = this.#share(i);
    const fill = element('span');
    fill.style.width = `${share}%`;
    const badge = best ? 'Best' : kept ? 'Kept' : '';
    const box = element('input', {
      type: 'checkbox', name: 'kept', value: `${this.#frames[i].number}`, checked: kept,
    });
    return element('li', { className: `frame${kept ? ' kept' : ''}${best ? ' best' : ''}`, id: this.#frameId(i) },
      element('figure', {},
        element('div', { className: 'picture' }, element('img', {
          src: urlOf(thumbnail), decoding: 'async', alt: `${name}${badge && `, ${best ? 'the best frame' : 'kept'}`}`,
        })),
        element('figcaption', {},
          element('span', { className: 'line' },
            element('a', { className: 'name', href: `#${this.#frameId(i)}`, textContent: name }),
            ...(badge ? [element('span', { className: `badge ${badge.toLowerCase()}`, textContent: badge })] : [])),
          element('span', { className: 'bar', 'aria-hidden': 'true' }, fill),
          element('span', { className: 'line quiet' },
            element('span', { textContent: grouped.format(this.#scores[i]) }),
            element('span', { textContent: `${share.toFixed(1)} %` })),
          element('label', {}, box, 'Keep'))));
  }

  #share(i) {
    const largest = this.#scores[this.#order[0]];
    return largest === 0 ? 0 : 100 * this.#scores[i] / largest;
  }

  #terms() {
    const cells = (tag, values) => values.map((value, k) =>
      element(tag, { className: k > 0 ? 'number' : '', textContent: value }));
    const rows = termsOf(this.#scores).map((terms, i) => element('tr', {}, ...cells('td', [
      this.#frames[i].name, ...[terms.score, terms.share, terms.sharpness, terms.objectSharpness,
        constantTerm, terms.total].map((value) => grouped.format(value))])));
    const table = element('table', {},
      element('thead', {}, element('tr', {}, ...cells('th', ['Frame', 'Blur score',
        'Normalised', '0.8 × frame', '1.2 × object', 'Constant', 'Sum']))),
      element('tbody', {}, ...rows));
    return element('details', {}, element('summary', { textContent: 'Terms of the score' }),
      element('div', { className: 'scroll', tabIndex: 0, role: 'region', 'aria-label': 'Terms of the score' },
        table));
  }
}
