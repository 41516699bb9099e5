// The filter form: what of the requests the list shows.
import * as api from './api.js';
import {byId, element} from './dom.js';

export const kinds = ['launch', 'event', 'statistics', 'conversion', 'validation', 'registration'];

const typingPause = 200;

export class Filters {
  constructor(onChange) {
    for (const kind of [...kinds, 'undecodable']) {
      byId('kinds').append(element('label', {class: 'chip'},
        element('input', {type: 'checkbox', name: 'kind', value: kind}), kind));
    }
    const form = byId('filters');
    form.addEventListener('submit', (event) => event.preventDefault());
    let timer;
    form.addEventListener('input', () => {
      clearTimeout(timer);
      timer = setTimeout(onChange, typingPause);
    });
  }

  query() {
    const query = new URLSearchParams();
    for (const box of document.querySelectorAll('input[name=kind]:checked')) {
      query.append('kind', box.value);
    }
    for (const name of ['installation', 'event', 'search']) {
      if (byId(name).value) query.set(name, byId(name).value);
    }
    if (byId('problems').checked) query.set('problems', '1');
    return query;
  }

  // Offers the installations and events that there are.
  async refresh() {
    const {installations, events} = await api.facets();
    const chosen = byId('installation').value;
    const offered = chosen && !installations.includes(chosen) ? [chosen, ...installations] : installations;
    byId('installation').replaceChildren(element('option', {value: ''}, 'all'),
      ...offered.map((name) => element('option', {value: name, selected: name === chosen}, name)));
    byId('events').replaceChildren(...events.map((name) => element('option', {value: name})));
  }
}
