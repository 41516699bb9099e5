// What the page asks of the collector. Every question carries the token of the collector's start,
// which the printed address has behind its "#", where browsers send it to nobody.

const tokenKey = 'token';

// The token moves out of the address, so that the address can be shown, and is kept for reloads.
function takeToken() {
  const given = location.hash.slice(1);
  if (given) {
    localStorage.setItem(tokenKey, given);
    history.replaceState(history.state, '', location.pathname + location.search);
  }
  return given || localStorage.getItem(tokenKey) || '';
}

const token = takeToken();

export class Refused extends Error {}

async function ask(path, options = {}) {
  const response = await fetch(path, {...options, headers: {...options.headers, Authorization: `Bearer ${token}`}});
  if (response.ok) return response;
  const content = await response.json().catch(() => null);
  const message = content?.error ?? `the collector answered ${response.status}`;
  throw response.status === 401 ? new Refused(message) : new Error(message);
}

async function json(path, options) {
  const response = await ask(path, options);
  return response.status === 204 ? null : response.json();
}

const change = (method, body) => ({
  method,
  headers: {'Content-Type': 'application/json'},
  body: body === undefined ? undefined : JSON.stringify(body),
});

export const requests = (query) => json(`/api/requests?${query}`);
export const request = (id) => json(`/api/requests/${id}`);
export const facets = () => json('/api/facets');
export const checklist = (installation) => json(`/api/checklist?${new URLSearchParams({installation})}`);
export const connection = () => json('/api/connection');
export const clear = () => json('/api/requests', change('DELETE'));
export const setControls = (controls) => json('/api/controls', change('PUT', controls));
export const exported = async (query) => (await ask(`/api/export?${query}`)).blob();

// The address of this page for another browser, with the token.
export const sharedAddress = () => `${location.origin}${location.pathname}${location.search}#${token}`;

const retryPause = 2000;

function tell(handlers, text) {
  const fields = Object.fromEntries(text.split('\n').map((line) => {
    const colon = line.indexOf(': ');
    return [line.slice(0, colon), line.slice(colon + 2)];
  }));
  handlers[fields.event]?.(JSON.parse(fields.data));
}

async function listen(handlers, onState) {
  const response = await ask('/api/stream');
  onState('live');
  const reader = response.body.pipeThrough(new TextDecoderStream()).getReader();
  let text = '';
  for (;;) {
    const {value, done} = await reader.read();
    if (done) return;
    const events = (text + value).split('\n\n');
    text = events.pop();
    for (const event of events) tell(handlers, event);
  }
}

// Calls the handler of each event; `onState` learns whether the collector is 'live', 'away', or has
// 'refused' the page. Connects again by itself, unless refused.
export async function stream(handlers, onState) {
  try {
    await listen(handlers, onState);
  } catch (error) {
    if (error instanceof Refused) {
      onState('refused');
      return;
    }
  }
  onState('away');
  setTimeout(() => stream(handlers, onState), retryPause);
}
