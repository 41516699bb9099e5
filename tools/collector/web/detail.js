// One request in full: what is wrong with it, its fields and what they mean, and how it came.
import * as address from './address.js';
import * as api from './api.js';
import * as compare from './compare.js';
import * as copy from './copy.js';
import {byId, element, marked} from './dom.js';
import * as format from './format.js';

const problemItem = ({severity, field, text}) => element('li', {class: severity},
  element('span', {class: `mark ${severity}`}, severity), ' ', field ? element('code', {}, field) : '', ' ', text);

function problemList(problems) {
  if (problems.length === 0) return element('p', {class: 'fine'}, 'Nothing is wrong with it.');
  return element('ul', {class: 'problem-list'}, ...problems.map(problemItem));
}

function fieldRow(field, problems, search) {
  const own = problems.filter((problem) => problem.field === field.name);
  const worst = own.some((problem) => problem.severity === 'error') ? 'error' : own.length ? 'warning' : false;
  const text = format.value(field.name, field.value);
  const explanation = format.explanation(field.name, field.value);
  return element('tr', {class: worst},
    element('th', {scope: 'row'}, element('code', {}, field.name)),
    element('td', {class: 'value'}, element('span', {class: 'text'}, ...marked(text, search)),
      explanation ? element('span', {class: 'plain'}, explanation) : '',
      copy.button('Copy', field.name, () => text, {class: 'small quiet', 'aria-label': `Copy ${field.name}`})),
    element('td', {class: 'meaning'}, field.meaning ?? 'not a known field',
      ...own.map((problem) => element('span', {class: `note ${problem.severity}`}, problem.text))));
}

function fieldTable(request, search) {
  if (request.fields.length === 0) {
    return element('p', {class: 'hint'}, request.decodedError ?? 'It has no content.');
  }
  return element('table', {class: 'fields'},
    element('thead', {}, element('tr', {}, ...['Field', 'Value', 'Meaning'].map((title) =>
      element('th', {scope: 'col'}, title)))),
    element('tbody', {}, ...request.fields.map((field) => fieldRow(field, request.problems, search))));
}

function rawText(request) {
  const target = request.path + (request.query ? `?${request.query}` : '');
  const headers = request.headers.map(([name, value]) => `${name}: ${value}`);
  return [`${request.method} ${target}`, ...headers, '', request.body].join('\n');
}

const section = (title, ...content) => element('section', {}, element('h3', {}, title), ...content);

function facts(request) {
  return [format.dateAndTime(request.time), request.status === 0 ? '' : `delivered ${format.delivery(request)}`,
    request.status === 0 ? 'connection dropped' : `answered ${request.status}`, format.size(request.size)].filter(Boolean).join(' · ');
}

export class Detail {
  #shown = null;
  #waiting = null;  // A request that the next one opened is compared with.
  #filters;
  #connection;
  #onClose;

  // `connection` tells where the collector is found.
  constructor(filters, connection, onClose) {
    this.#filters = filters;
    this.#connection = connection;
    this.#onClose = onClose;
  }

  get isOpen() { return this.#shown !== null; }

  async open(id, other = this.#waiting) {
    this.#shown = id;
    this.#waiting = null;
    const isComparing = other !== null && other !== id;
    address.set({request: String(id), compare: isComparing ? String(other) : ''});
    let content;
    try {
      const [request, compared] = await Promise.all([api.request(id), isComparing ? api.request(other) : null]);
      content = await this.#content(request, compared);
    } catch (error) {
      content = [this.#header(`Request ${id}`), element('p', {class: 'hint'}, error.message)];
    }
    if (this.#shown !== id) return;  // Another one was opened meanwhile.
    byId('detail').replaceChildren(...content);
    byId('detail').scrollTop = 0;
    byId('detail').hidden = false;
    byId('main').classList.add('with-detail');
  }

  close() {
    this.#shown = this.#waiting = null;
    address.set({request: '', compare: ''});
    byId('detail').hidden = true;
    byId('main').classList.remove('with-detail');
    this.#onClose();
  }

  #header(title) {
    return element('header', {}, element('h2', {}, title),
      element('button', {type: 'button', onclick: () => this.close()}, 'Close'));
  }

  #compareButtons(request, compared) {
    const act = (label, onclick) => element('button', {type: 'button', class: 'small', onclick}, label);
    if (compared) return [act('Stop comparing', () => this.open(request.id, null))];
    return [
      request.previous === null ? '' : act('What changed', () => this.open(request.id, request.previous)),
      act('Compare with …', () => {
        this.#waiting = request.id;
        copy.say('Choose the other request in the list');
      })];
  }

  async #actions(request, compared) {
    const connection = await this.#connection;
    return element('div', {class: 'tools'},
      copy.button('Copy JSON', 'the content as JSON', () => copy.json(request)),
      copy.button('Copy curl', 'a curl command', () => copy.curl(request, connection)),
      copy.button('Copy address', 'the address, with the token', () => api.sharedAddress()),
      ...this.#compareButtons(request, compared));
  }

  async #content(request, compared) {
    const name = this.#filters.nameOf(request.installation);
    const [before, now] = compared && compared.id > request.id ? [request, compared] : [compared, request];
    return [
      this.#header(request.event ?? request.kind),
      element('p', {class: 'hint'}, element('span', {class: `kind ${request.kind}`}, request.kind), ` ${facts(request)}`),
      request.installation ? element('p', {class: 'hint'}, name === request.installation ? 'Installation ' : `${name}, `,
        element('code', {}, request.installation)) : '',
      await this.#actions(request, compared),
      compared ? section('Differences', ...compare.table(before, now)) : '',
      section('Problems', problemList(request.problems)),
      section('Content', fieldTable(request, this.#filters.search)),
      section('Request', element('pre', {tabindex: '0', 'aria-label': 'The request as it came'}, rawText(request))),
      section('Answer', element('pre', {tabindex: '0', 'aria-label': 'The answer'}, `${format.status(request.status)}\n${request.answer}`)),
    ].filter((part) => part !== '');
  }
}
