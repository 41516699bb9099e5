// The controls for trying an application against faults.
import * as api from './api.js';
import {byId, element} from './dom.js';
import {kinds} from './filters.js';
import {duration} from './format.js';

const typingPause = 400;
const texts = ['conversion', 'receipts'];
const normal = {status: null, delayMs: 0, drop: false};

// What is wrong with the text of an answer, or nothing.
function objection(text) {
  if (text.trim() === '') return null;
  try {
    const value = JSON.parse(text);
    return value !== null && typeof value === 'object' && !Array.isArray(value) ? null : 'This is JSON, but not an object.';
  } catch (error) {
    return `This is not JSON: ${error.message}`;
  }
}

function describe({faults, conversion, receipts}) {
  const active = Object.entries(faults).flatMap(([endpoint, fault]) => {
    const effects = [];
    if (fault.drop) effects.push('connection dropped');
    else if (fault.status !== null) effects.push(`answered with ${fault.status}`);
    if (fault.delayMs) effects.push(`${duration(fault.delayMs / 1000)} late`);
    return effects.length ? [`${endpoint}: ${effects.join(', ')}`] : [];
  });
  if (conversion !== null) active.push('other conversion data');
  if (receipts !== null) active.push('other receipts');
  return active.join(' · ');
}

export class Controls {
  #timer;

  constructor() {
    for (const kind of kinds) byId('faults').append(this.#faultRow(kind));
    byId('controls-open').addEventListener('click', () => byId('controls').showModal());
    byId('controls-close').addEventListener('click', () => byId('controls').close());
    byId('faults').addEventListener('input', () => this.#applySoon());
    for (const name of texts) {
      byId(name).addEventListener('input', () => {
        this.#showValidity(name);
        this.#applySoon();
      });
    }
    byId('controls-reset').addEventListener('click', () => this.#apply({}));
    byId('banner-reset').addEventListener('click', () => this.#apply({}));
  }

  // What is in force, whoever set it. What is being typed stays.
  show(controls) {
    for (const kind of kinds) {
      const fault = controls.faults[kind] ?? normal;
      const [status, delay, drop] = byId(`fault-${kind}`).querySelectorAll('input');
      if (document.activeElement !== status) status.value = fault.status ?? '';
      if (document.activeElement !== delay) delay.value = fault.delayMs || '';
      drop.checked = fault.drop;
    }
    for (const name of texts) {
      if (document.activeElement !== byId(name)) {
        byId(name).value = controls[name] === null ? '' : JSON.stringify(JSON.parse(controls[name]), null, 2);
      }
      this.#showValidity(name);
    }
    const active = describe(controls);
    byId('banner-text').textContent = `Simulated faults: ${active}`;
    byId('banner').hidden = active === '';
  }

  #faultRow(kind) {
    const input = (attributes) => element('td', {}, element('input', attributes));
    return element('tr', {id: `fault-${kind}`},
      element('th', {scope: 'row'}, kind),
      input({type: 'number', min: 200, max: 599, placeholder: '–', 'aria-label': `Status to answer ${kind} with`}),
      input({type: 'number', min: 0, max: 120000, step: 100, placeholder: '0', 'aria-label': `Milliseconds to wait before answering ${kind}`}),
      input({type: 'checkbox', 'aria-label': `Drop the connection of ${kind}`}));
  }

  #showValidity(name) {
    const text = byId(name).value;
    const wrong = objection(text);
    byId(`${name}-validity`).textContent = wrong ?? (text.trim() ? 'Valid; answered from now on.' : '');
    byId(`${name}-validity`).classList.toggle('bad', wrong !== null);
    byId(name).setAttribute('aria-invalid', wrong !== null);
  }

  #applySoon() {
    clearTimeout(this.#timer);
    this.#timer = setTimeout(() => this.#apply(this.#edited()), typingPause);
  }

  #edited() {
    const controls = {faults: {}};
    for (const kind of kinds) {
      const [status, delay, drop] = byId(`fault-${kind}`).querySelectorAll('input');
      controls.faults[kind] = {status: status.value === '' ? null : Number(status.value),
        delayMs: Number(delay.value), drop: drop.checked};
    }
    for (const name of texts) {
      const text = byId(name).value;
      controls[name] = text.trim() === '' || objection(text) ? null : text;
    }
    return controls;
  }

  async #apply(controls) {
    clearTimeout(this.#timer);
    try {
      this.show(await api.setControls(controls));
      byId('controls-error').textContent = '';
    } catch (error) {
      byId('controls-error').textContent = error.message;
    }
  }
}
