// A line in time: when reports were delivered, dropped and replayed, and what was offline when.
import * as api from './api.js';
import {byId, element} from './dom.js';
import * as format from './format.js';

const width = 1000;
const lane = 34;
const most = 500;
const lanes = ['launch', 'event', 'statistics', 'conversion', 'validation', 'registration', 'undecodable'];

function shape(name, attributes, ...children) {
  const made = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [attribute, value] of Object.entries(attributes)) made.setAttribute(attribute, value);
  made.append(...children);
  return made;
}

const stateOf = ({status, cachedSeconds}) =>
  (status === 0 ? 'dropped' : cachedSeconds === null ? 'delivered' : 'replayed');

const beginOf = ({time, cachedSeconds, status}) => (status === 0 ? time : time - Math.max(0, cachedSeconds ?? 0) * 1000);

function mark(request, xOf, y) {
  const state = stateOf(request);
  const x = xOf(request.time);
  const title = shape('title', {}, `${request.event ?? request.kind}, ${state}, ${format.dateAndTime(request.time)}`);
  const parts = [title, shape('circle', {cx: x, cy: y, r: 5})];
  if (state === 'replayed') {
    parts.push(shape('line', {x1: xOf(beginOf(request)), x2: x, y1: y, y2: y}));
  }
  return shape('g', {class: `mark-${state}`}, ...parts);
}

function drawing(requests) {
  const from = Math.min(...requests.map(beginOf));
  const until = Math.max(...requests.map(({time}) => time), from + 1000);
  const xOf = (time) => 12 + (width - 24) * (time - from) / (until - from);
  const shown = lanes.filter((kind) => requests.some((request) => request.kind === kind));
  const parts = shown.flatMap((kind, index) => {
    const y = lane * index + 26;
    return [shape('line', {class: 'lane', x1: 0, x2: width, y1: y, y2: y}),
      shape('text', {x: 2, y: y - 9}, kind),
      ...requests.filter((request) => request.kind === kind).map((request) => mark(request, xOf, y))];
  });
  const height = lane * shown.length + 14;
  return element('figure', {},
    shape('svg', {viewBox: `0 0 ${width} ${height}`, role: 'img', 'aria-labelledby': 'timeline-caption'}, ...parts),
    element('figcaption', {id: 'timeline-caption'},
      element('span', {}, format.dateAndTime(from)), element('span', {}, format.dateAndTime(until))));
}

// Times in which reports waited, those that overlap together.
function offlineSpans(requests) {
  const spans = [];
  const waited = requests.filter((request) => stateOf(request) === 'replayed').sort((a, b) => beginOf(a) - beginOf(b));
  for (const request of waited) {
    const last = spans.at(-1);
    if (last && beginOf(request) <= last.until) {
      last.until = Math.max(last.until, request.time);
      last.names.push(request.event ?? request.kind);
    } else {
      spans.push({from: beginOf(request), until: request.time, names: [request.event ?? request.kind]});
    }
  }
  return spans;
}

const sentence = ({from, until, names}) => element('li', {},
  `From ${format.dateAndTime(from)} for ${format.duration((until - from) / 1000)}: ` +
  `${names.length} ${names.length === 1 ? 'report' : 'reports'} waited (${names.slice(0, 6).join(', ')}${names.length > 6 ? ', …' : ''}) and came back.`);

export async function show(filters) {
  const query = new URLSearchParams({limit: most});
  if (filters.installation) query.set('installation', filters.installation);
  const {requests} = await api.requests(query);
  const count = (state) => requests.filter((request) => stateOf(request) === state).length;
  byId('timeline-summary').textContent = requests.length === 0 ? 'Nothing has arrived yet.'
    : `The last ${requests.length} requests of ${filters.installation ? filters.nameOf(filters.installation) : 'all installations'}: ` +
      `${count('delivered')} delivered at once, ${count('replayed')} replayed, ${count('dropped')} dropped.`;
  byId('timeline-drawing').replaceChildren(...(requests.length ? [drawing(requests)] : []));
  const spans = offlineSpans(requests);
  byId('timeline-spans').replaceChildren(...(spans.length ? spans.map(sentence)
    : [element('li', {}, 'No report waited offline.')]));
}
