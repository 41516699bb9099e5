// Copying to the clipboard, and what is copied of a request.
import {byId, element} from './dom.js';
import * as format from './format.js';

const readingTime = 5000;
let timer;

export function say(text) {
  clearTimeout(timer);
  byId('announcement').textContent = text;
  timer = setTimeout(() => { byId('announcement').textContent = ''; }, readingTime);
}

export async function copy(text, what) {
  try {
    await navigator.clipboard.writeText(text);
    say(`Copied ${what}`);
  } catch {
    say('The browser does not allow copying');
  }
}

// A button that copies what the function gives.
export const button = (label, what, text, attributes = {}) =>
  element('button', {type: 'button', class: 'small', ...attributes, onclick: () => copy(text(), what)}, label);

// Everything between single quotes is plain text for a shell.
const quoted = (text) => `'${text.replaceAll("'", "'\\''")}'`;

const notSent = ['host', 'content-length', 'connection', 'transfer-encoding', 'user-agent', 'accept-encoding'];

// The same request once more, for a shell.
export function curl(request, {host, authority}) {
  const target = `https://${host}${request.path}${request.query ? `?${request.query}` : ''}`;
  const headers = request.headers.filter(([name]) => !notSent.includes(name.toLowerCase()));
  return [`curl -X ${quoted(request.method)} --cacert ${quoted(authority)} ${quoted(target)}`,
    ...headers.map(([name, value]) => `-H ${quoted(`${name}: ${value}`)}`),
    ...(request.body ? [`--data-raw ${quoted(request.body)}`] : [])].join(' \\\n  ');
}

// The content with event values decoded, as JSON.
export function json(request) {
  const content = Object.fromEntries(request.fields.map(({name, value}) => {
    const text = format.value(name, value);
    if (typeof value !== 'string' || text === value) return [name, value];
    try {
      return [name, JSON.parse(text)];
    } catch {
      return [name, text];
    }
  }));
  return JSON.stringify({kind: request.kind, ...content}, null, 2);
}
