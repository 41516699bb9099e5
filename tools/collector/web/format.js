// How values are written for people.

const pad = (number, width = 2) => String(number).padStart(width, '0');

export function time(milliseconds) {
  const date = new Date(milliseconds);
  return `${pad(date.getHours())}:${pad(date.getMinutes())}:${pad(date.getSeconds())}.` +
      pad(date.getMilliseconds(), 3);
}

export const dateAndTime = (milliseconds) =>
  `${new Date(milliseconds).toLocaleDateString()} ${time(milliseconds)}`;

export const number = (value) => value.toLocaleString('en-US').replaceAll(',', '\u202f');

export const size = (bytes) => (bytes < 10000 ? `${bytes} B` : `${Math.round(bytes / 1000)} kB`);

// Launches, sessions and events so far.
export function counters({launch, session, event}) {
  const parts = Object.entries({L: launch, S: session, E: event});
  return parts.filter(([, count]) => count !== undefined).map(([letter, count]) => letter + count).join(' ');
}

export function delivery(cachedSeconds) {
  if (cachedSeconds === null) return 'fresh';
  return `replayed, ${cachedSeconds < 100 ? cachedSeconds.toFixed(1) : Math.round(cachedSeconds)} s`;
}

export const status = (code) => (code === 0 ? 'dropped' : String(code));

export const value = (json) =>
  typeof json === 'string' ? json : JSON.stringify(json, null, 2);
