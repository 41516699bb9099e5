// The filter form: what of the requests the list shows.
import * as address from './address.js';
import * as api from './api.js';
import {byId, element} from './dom.js';

export const kinds = ['launch', 'event', 'statistics', 'conversion', 'validation', 'registration'];

const typingPause = 200;
const texts = ['installation', 'event', 'search'];

export class Filters {
  #names = new Map();  // Of installations.
  #version = 0;        // Of the names.

  constructor(onChange) {
    const chosen = address.getAll('kind');
    for (const kind of [...kinds, 'undecodable']) {
      byId('kinds').append(element('label', {class: 'chip'},
        element('input', {type: 'checkbox', name: 'kind', value: kind, checked: chosen.includes(kind)}), kind));
    }
    this.#offerInstallations([], address.get('installation'));
    for (const name of texts) byId(name).value = address.get(name);
    byId('problems').checked = address.get('problems') === '1';
    const form = byId('filters');
    form.addEventListener('submit', (event) => event.preventDefault());
    let timer;
    form.addEventListener('input', () => {
      clearTimeout(timer);
      timer = setTimeout(() => {
        this.#keep();
        onChange();
      }, typingPause);
    });
  }

  get installation() { return byId('installation').value; }
  get search() { return byId('search').value; }

  // What rows of the list depend on besides their requests.
  get appearance() { return `${this.#version} ${this.search}`; }

  query() {
    const query = new URLSearchParams();
    for (const kind of this.#kinds()) query.append('kind', kind);
    for (const name of texts) {
      if (byId(name).value) query.set(name, byId(name).value);
    }
    if (byId('problems').checked) query.set('problems', '1');
    return query;
  }

  // "Cinema on Living Room", or the identifier of an installation that told neither.
  nameOf(installation) { return this.#names.get(installation) ?? installation ?? ''; }

  // Offers the installations and events that there are.
  async refresh() {
    const {installations, events} = await api.facets();
    for (const {id, application, device} of installations) {
      const name = [application, device].filter(Boolean).join(' on ');
      if (!name || this.#names.get(id) === name) continue;
      this.#names.set(id, name);
      ++this.#version;
    }
    this.#offerInstallations(installations.map(({id}) => id), this.installation);
    byId('events').replaceChildren(...events.map((name) => element('option', {value: name})));
  }

  #kinds() { return [...document.querySelectorAll('input[name=kind]:checked')].map((box) => box.value); }

  #keep() {
    address.set({kind: this.#kinds(), problems: byId('problems').checked,
      ...Object.fromEntries(texts.map((name) => [name, byId(name).value]))});
  }

  // Of two of the same name, the identifier tells them apart.
  #offerInstallations(ids, chosen) {
    const offered = chosen && !ids.includes(chosen) ? [chosen, ...ids] : ids;
    const names = offered.map((id) => this.nameOf(id));
    const label = (id, index) => (names.filter((name) => name === names[index]).length > 1 && names[index] !== id
      ? `${names[index]} (${id})` : names[index]);
    byId('installation').replaceChildren(element('option', {value: ''}, 'all'),
      ...offered.map((id, index) => element('option', {value: id, selected: id === chosen}, label(id, index))));
  }
}
