// The list of requests: one page of them at a time, the newest of which follows what arrives.
import * as api from './api.js';
import {byId, element, marked} from './dom.js';
import * as format from './format.js';

const pageSize = 200;

function problemMark({errors, warnings}) {
  if (errors) return element('span', {class: 'mark error'}, `${errors} error${errors > 1 ? 's' : ''}`);
  if (warnings) return element('span', {class: 'mark warning'}, `${warnings} warning${warnings > 1 ? 's' : ''}`);
  return '';
}

function rowOf(request, filters) {
  const cell = (name, content, more = {}) => element('td', {class: name, ...more}, ...[content].flat());
  const hit = (text) => marked(text, filters.search);
  const value = format.gist(request.value);
  const isAnswered = request.status >= 200 && request.status < 300;
  return element('tr', {'data-id': request.id, 'data-kind': request.kind, tabindex: '-1'},
    cell('time', [element('span', {class: 'day'}, format.shortDay(request.time)), ' ', format.time(request.time)],
      {title: format.dateAndTime(request.time)}),
    cell('kind', element('span', {class: `kind ${request.kind}`}, request.kind)),
    cell('event', hit(request.event ?? ''), {title: request.event}),
    cell('content', hit(value), {title: value}),
    cell('installation', filters.nameOf(request.installation), {title: request.installation}),
    cell('counters', format.counters(request.counters)),
    cell(request.cachedSeconds === null ? 'delivery' : 'delivery replayed', format.delivery(request)),
    cell(`number status-code${isAnswered ? '' : ' bad'}`, format.status(request.status)),
    cell('problems', problemMark(request)));
}

export class List {
  #filters;
  #onOpen;
  #starts = [];  // Where the pages before this one begin; none on the page of the newest.
  #page = {requests: [], more: false};
  #selected = null;
  #loading = null;
  #again = false;
  #drawnFor = null;  // The appearance that the rows have; none before the first.

  constructor(filters, onOpen) {
    this.#filters = filters;
    this.#onOpen = onOpen;
    byId('rows').addEventListener('click', (event) => this.#open(event.target.closest('tr')));
    byId('rows').addEventListener('keydown', (event) => this.#key(event));
    byId('newest').addEventListener('click', () => this.reset());
    byId('newer').addEventListener('click', () => { this.#starts.pop(); this.load(); });
    byId('older').addEventListener('click', () => {
      this.#starts.push(this.#page.requests.at(-1).id);
      this.load();
    });
  }

  get isLive() { return this.#starts.length === 0; }

  // Shows the newest requests of the filter.
  reset() {
    this.#starts = [];
    return this.load();
  }

  // One request at a time is on its way; what comes meanwhile asks once more.
  load() {
    if (this.#loading) {
      this.#again = true;
      return this.#loading;
    }
    this.#loading = this.#load().finally(() => {
      this.#loading = null;
      if (this.#again) {
        this.#again = false;
        this.load();
      }
    });
    return this.#loading;
  }

  // Moves to the next row in that direction; opens it when a request is open.
  step(direction) {
    const rows = [...byId('rows').children];
    const current = rows.findIndex((row) => row.tabIndex === 0);
    const isInside = byId('rows').contains(document.activeElement) || this.#selected !== null;
    const next = rows[isInside ? current + direction : current];
    if (!next) return;
    if (this.#selected !== null) this.#open(next);
    else this.#moveTo(next);
  }

  // Marks the row of a request that was opened from elsewhere.
  select(id) {
    this.#selected = id;
    this.#mark();
  }

  unselect() {
    const row = byId('rows').querySelector('[aria-current=true]') ?? byId('rows').firstElementChild;
    row?.focus();
    this.#selected = null;
    for (const other of byId('rows').children) other.removeAttribute('aria-current');
  }

  // Shows the same requests, as installations are called by now.
  redraw() {
    if (this.#drawnFor !== null && this.#drawnFor !== this.#filters.appearance) this.#show();
  }

  async #load() {
    const query = this.#filters.query();
    query.set('limit', pageSize);
    if (!this.isLive) query.set('before', this.#starts.at(-1));
    this.#page = await api.requests(query);
    this.#show();
  }

  // Rows that stay keep their elements, or at least the focus.
  #show() {
    const appearance = this.#filters.appearance;
    const kept = new Map(this.#drawnFor === appearance
      ? [...byId('rows').children].map((row) => [Number(row.dataset.id), row]) : []);
    this.#drawnFor = appearance;
    const focused = document.activeElement?.closest('#rows tr')?.dataset.id;
    byId('rows').replaceChildren(...this.#page.requests.map((request) =>
      kept.get(request.id) ?? rowOf(request, this.#filters)));
    this.#mark();
    if (focused) byId('rows').querySelector(`[data-id="${focused}"]`)?.focus();
    const isFiltered = this.#filters.query().size > 0 || !this.isLive;
    byId('empty').hidden = this.#page.requests.length > 0 || !isFiltered;
    byId('welcome').hidden = this.#page.requests.length > 0 || isFiltered;
    byId('table').hidden = this.#page.requests.length === 0;
    byId('newest').disabled = byId('newer').disabled = this.isLive;
    byId('older').disabled = !this.#page.more;
    byId('page').textContent = this.isLive ? 'newest first, live' : `page ${this.#starts.length + 1}`;
  }

  // Exactly one row is in the tab order.
  #mark() {
    const rows = [...byId('rows').children];
    const current = rows.find((row) => Number(row.dataset.id) === this.#selected);
    for (const row of rows) {
      row.tabIndex = row === (current ?? rows[0]) ? 0 : -1;
      if (row === current) row.setAttribute('aria-current', 'true');
      else row.removeAttribute('aria-current');
    }
  }

  #open(row) {
    if (!row) return;
    this.#selected = Number(row.dataset.id);
    this.#mark();
    row.focus();
    this.#onOpen(this.#selected);
  }

  #key(event) {
    const row = event.target.closest('tr');
    const steps = {ArrowDown: row.nextElementSibling, ArrowUp: row.previousElementSibling,
      Home: row.parentElement.firstElementChild, End: row.parentElement.lastElementChild};
    if (event.key === 'Enter' || event.key === ' ') {
      event.preventDefault();
      this.#open(row);
    } else if (event.key in steps) {
      event.preventDefault();
      const next = steps[event.key];
      if (!next) return;
      if (this.#selected !== null) this.#open(next);
      else this.#moveTo(next);
    }
  }

  #moveTo(row) {
    for (const other of byId('rows').children) other.tabIndex = other === row ? 0 : -1;
    row.focus();
  }
}
