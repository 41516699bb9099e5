// What the page asks of the collector.

async function json(path, options) {
  const response = await fetch(path, options);
  const content = response.status === 204 ? null : await response.json();
  if (!response.ok) throw new Error(content?.error ?? `the collector answered ${response.status}`);
  return content;
}

const change = (method, body) => ({
  method,
  headers: {'Content-Type': 'application/json'},
  body: body === undefined ? undefined : JSON.stringify(body),
});

export const requests = (query) => json(`/api/requests?${query}`);
export const request = (id) => json(`/api/requests/${id}`);
export const facets = () => json('/api/facets');
export const clear = () => json('/api/requests', change('DELETE'));
export const setControls = (controls) => json('/api/controls', change('PUT', controls));

// Calls the handler of each event; `onState` is told whether the collector is there. Connects again
// by itself.
export function stream(handlers, onState) {
  const source = new EventSource('/api/stream');
  source.addEventListener('open', () => onState(true));
  source.addEventListener('error', () => {
    onState(false);
    // The browser gives up on an answer that is no stream.
    if (source.readyState === EventSource.CLOSED) setTimeout(() => stream(handlers, onState), 2000);
  });
  for (const [name, handler] of Object.entries(handlers)) {
    source.addEventListener(name, (event) => handler(JSON.parse(event.data)));
  }
}
