// What differs between two requests.
import {element} from './dom.js';
import * as format from './format.js';

const valuesOf = (request) => new Map(request.fields.map(({name, value}) => [name, format.value(name, value)]));

// Fields of which the values differ, in the order of the newer request.
export function differences(before, now) {
  const old = valuesOf(before);
  const fresh = valuesOf(now);
  const names = [...new Set([...fresh.keys(), ...old.keys()])];
  return names.filter((name) => old.get(name) !== fresh.get(name))
    .map((name) => ({name, before: old.get(name), now: fresh.get(name)}));
}

const cell = (value) => (value === undefined ? element('td', {class: 'hint'}, 'not sent')
  : element('td', {class: 'value'}, value));

// Both side by side, as far as they differ.
export function table(before, now) {
  const rows = differences(before, now);
  const same = now.fields.length - rows.filter(({now: value}) => value !== undefined).length;
  return [element('table', {class: 'fields compared'},
    element('thead', {}, element('tr', {}, ...['Field', `Request ${before.id}, ${format.time(before.time)}`,
      `Request ${now.id}, ${format.time(now.time)}`].map((title) => element('th', {scope: 'col'}, title)))),
    element('tbody', {}, ...rows.map(({name, before: old, now: value}) => element('tr', {},
      element('th', {scope: 'row'}, element('code', {}, name)), cell(old), cell(value))))),
  element('p', {class: 'hint'}, `${same} fields are the same.`)];
}
