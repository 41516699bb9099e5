// The integration checklist: what an installation has shown so far, and what is wrong with it.
import * as api from './api.js';
import {byId, element} from './dom.js';

const signs = {good: '✓', bad: '!', open: '○'};
const words = {good: 'done', bad: 'wrong', open: 'not seen yet'};

const proof = (ids, onOpen) => ids.slice(0, 4).map((id) =>
  element('button', {type: 'button', class: 'small', onclick: () => onOpen(id)}, `request ${id}`));

function item({title, state, text, requests}, onOpen) {
  return element('li', {class: `verdict ${state}`},
    element('span', {class: 'sign', 'aria-hidden': 'true'}, signs[state]),
    element('div', {},
      element('h3', {}, title, element('span', {class: 'unseen'}, `: ${words[state]}`)),
      element('p', {}, text)),
    element('div', {class: 'proof'}, ...proof(requests, onOpen)));
}

// Shows the verdicts on an installation, and the first thing to mend above every view.
export async function show(filters, onOpen) {
  const {installation, verdicts} = await api.checklist(filters.installation);
  const count = (state) => verdicts.filter((verdict) => verdict.state === state).length;
  byId('checklist-of').textContent = installation
    ? `${filters.nameOf(installation)} (${installation}): ${count('good')} of ${verdicts.length} done, ${count('bad')} wrong.`
    : 'No installation has reported yet.';
  byId('verdicts').replaceChildren(...verdicts.map((verdict) => item(verdict, onOpen)));
  byId('checklist-count').textContent = count('bad') || '';
  byId('checklist-count').title = `${count('bad')} wrong`;
  const key = verdicts.find(({name, state}) => name === 'key' && state === 'bad');
  byId('key-banner').hidden = !key;
  byId('key-text').textContent = key ? `Wrong developer key. ${key.text}` : '';
  byId('key-open').onclick = () => onOpen(key.requests[0]);
}
