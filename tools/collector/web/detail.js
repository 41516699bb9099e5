// One request in full: what is wrong with it, its fields and what they mean, and how it came.
import * as api from './api.js';
import {byId, element} from './dom.js';
import * as format from './format.js';

const problemItem = ({severity, field, text}) => element('li', {class: severity},
  element('span', {class: `mark ${severity}`}, severity), ' ', field ? element('code', {}, field) : '', ' ', text);

function problemList(problems) {
  if (problems.length === 0) return element('p', {class: 'fine'}, 'Nothing is wrong with it.');
  return element('ul', {class: 'problem-list'}, ...problems.map(problemItem));
}

function fieldRow(field, problems) {
  const own = problems.filter((problem) => problem.field === field.name);
  const worst = own.some((problem) => problem.severity === 'error') ? 'error' : own.length ? 'warning' : false;
  return element('tr', {class: worst},
    element('th', {scope: 'row'}, element('code', {}, field.name)),
    element('td', {class: 'value'}, format.value(field.value)),
    element('td', {class: 'meaning'}, field.meaning ?? 'not a known field',
      ...own.map((problem) => element('span', {class: `note ${problem.severity}`}, problem.text))));
}

function fieldTable(request) {
  if (request.fields.length === 0) {
    return element('p', {class: 'hint'}, request.decodedError ?? 'It has no content.');
  }
  return element('table', {class: 'fields'},
    element('thead', {}, element('tr', {}, ...['Field', 'Value', 'Meaning'].map((title) =>
      element('th', {scope: 'col'}, title)))),
    element('tbody', {}, ...request.fields.map((field) => fieldRow(field, request.problems))));
}

function rawText(request) {
  const target = request.path + (request.query ? `?${request.query}` : '');
  const headers = request.headers.map(([name, value]) => `${name}: ${value}`);
  return [`${request.method} ${target}`, ...headers, '', request.body].join('\n');
}

const section = (title, ...content) => element('section', {}, element('h3', {}, title), ...content);

function facts(request) {
  return [format.dateAndTime(request.time), format.delivery(request.cachedSeconds),
    `answered ${format.status(request.status)}`, format.size(request.size)].join(' · ');
}

export class Detail {
  #shown = null;
  #onClose;

  constructor(onClose) {
    this.#onClose = onClose;
    document.addEventListener('keydown', (event) => {
      if (event.key === 'Escape' && this.#shown !== null && !document.querySelector('dialog[open]')) {
        this.close();
      }
    });
  }

  async open(id) {
    this.#shown = id;
    let content;
    try {
      content = this.#content(await api.request(id));
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
    this.#shown = null;
    byId('detail').hidden = true;
    byId('main').classList.remove('with-detail');
    this.#onClose();
  }

  #header(title) {
    return element('header', {}, element('h2', {}, title),
      element('button', {type: 'button', onclick: () => this.close()}, 'Close'));
  }

  #content(request) {
    return [
      this.#header(request.event ?? request.kind),
      element('p', {class: 'hint'}, element('span', {class: `kind ${request.kind}`}, request.kind), ` ${facts(request)}`),
      request.installation ? element('p', {class: 'hint'}, 'Installation ', element('code', {}, request.installation)) : '',
      section('Problems', problemList(request.problems)),
      section('Content', fieldTable(request)),
      section('Request', element('pre', {tabindex: '0'}, rawText(request))),
      section('Answer', element('pre', {tabindex: '0'}, `${format.status(request.status)}\n${request.answer}`)),
    ];
  }
}
