// How values are written for people.

const pad = (number, width = 2) => String(number).padStart(width, '0');

export function time(milliseconds) {
  const date = new Date(milliseconds);
  return `${pad(date.getHours())}:${pad(date.getMinutes())}:${pad(date.getSeconds())}.` +
      pad(date.getMilliseconds(), 3);
}

export const day = (milliseconds) => new Date(milliseconds).toLocaleDateString('en-GB',
  {weekday: 'short', day: 'numeric', month: 'short', year: 'numeric'});

export const shortDay = (milliseconds) => new Date(milliseconds).toLocaleDateString('en-GB',
  {day: 'numeric', month: 'short'});

export const dateAndTime = (milliseconds) => `${day(milliseconds)}, ${time(milliseconds)}`;

export const number = (value) => value.toLocaleString('en-US').replaceAll(',', '\u202f');

export const size = (bytes) => (bytes < 10000 ? `${bytes} B` : `${Math.round(bytes / 1000)} kB`);

const units = [['day', 86400], ['hour', 3600], ['minute', 60], ['second', 1]];

// "2 minutes 5 seconds": the two largest units.
export function duration(seconds) {
  if (seconds < 0) return `${duration(-seconds)} before`;
  if (seconds < 10) return `${Number(seconds.toFixed(1))} ${seconds === 1 ? 'second' : 'seconds'}`;
  let rest = Math.round(seconds);
  const parts = [];
  for (const [unit, length] of units) {
    const count = Math.floor(rest / length);
    rest %= length;
    if (count) parts.push(`${number(count)} ${unit}${count > 1 ? 's' : ''}`);
  }
  return parts.slice(0, 2).join(' ');
}

// Launches, sessions and events so far.
export function counters({launch, session, event}) {
  const parts = Object.entries({L: launch, S: session, E: event});
  return parts.filter(([, count]) => count !== undefined).map(([letter, count]) => letter + count).join(' ');
}

export function delivery({cachedSeconds, status: code}) {
  if (code === 0) return 'not delivered';
  return cachedSeconds === null ? 'at once' : `replayed, after ${duration(cachedSeconds)}`;
}

export const status = (code) => (code === 0 ? 'dropped' : String(code));

export function unescaped(text) {
  try {
    return decodeURIComponent(text);
  } catch {
    return text;
  }
}

function parsed(text) {
  try {
    return JSON.parse(text);
  } catch {
    return undefined;
  }
}

// "film Räuber, minutes 93" of an event's values; any other text as it stands.
export function gist(text) {
  const values = parsed(text);
  if (values === null || typeof values !== 'object') return text === 'null' ? '' : text;
  return Object.entries(values).map(([name, value]) =>
    `${name} ${typeof value === 'string' ? value : JSON.stringify(value)}`).join(', ');
}

const durations = new Set(['timepassedsincelastlaunch', 'timeincache', 'time_in_app', 'gcd_conversion_data_timing']);
const pattern = /^(\d{4})-(\d\d)-(\d\d)_(\d\d)(\d\d)([+-]\d\d)(\d\d)$/;

// What a value says in plain words, or nothing when it speaks for itself.
export function explanation(name, value) {
  if (name === 'timestamp' && Number(value)) return dateAndTime(Number(value) * 1000);
  if (name === 'uid' || name === 'device_id') return '';
  if (durations.has(name) && value !== '' && Number.isFinite(Number(value))) {
    return Number(value) === -1 && name === 'timepassedsincelastlaunch' ? 'the first report' : duration(Number(value));
  }
  const date = typeof value === 'string' && pattern.exec(value);
  if (!date) return '';
  const [, year, month, date_, hour, minute, zone, rest] = date;
  return `${day(Date.UTC(year, month - 1, date_, 12))}, ${hour}:${minute} (UTC${zone}:${rest})`;
}

// A value as it is to be read: escapes undone, JSON on lines of its own.
export function value(name, json) {
  if (typeof json !== 'string') return JSON.stringify(json, null, 2);
  const text = name === 'eventvalue' ? unescaped(json) : json;
  const inner = text.startsWith('{') || text.startsWith('[') ? parsed(text) : undefined;
  return inner === undefined ? text : JSON.stringify(inner, null, 2);
}
