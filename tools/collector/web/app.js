// Puts the page together.
import * as api from './api.js';
import {Controls} from './controls.js';
import {Detail} from './detail.js';
import {byId, element} from './dom.js';
import {Filters} from './filters.js';
import * as format from './format.js';
import {List} from './list.js';

const facetPause = 2000;

const filters = new Filters(() => list.reset());
const list = new List(filters, (id) => detail.open(id));
const detail = new Detail(() => list.unselect());
const controls = new Controls();

let isPaused = false;
let isAway = false;
let stored = 0;
let storedWhenPaused = 0;
let facetTimer = null;

function showStatus() {
  const missed = Math.max(0, stored - storedWhenPaused);
  byId('status-text').textContent = isAway ? 'the collector is away'
    : isPaused ? `paused, ${format.number(missed)} more since` : `live, ${format.number(stored)} requests`;
  byId('status').className = `status ${isAway ? 'away' : isPaused ? 'paused' : 'live'}`;
}

function refreshFacetsSoon() {
  facetTimer ??= setTimeout(() => {
    facetTimer = null;
    filters.refresh().catch(() => {});  // The stream tells when the collector is away.
  }, facetPause);
}

function refresh() {
  if (!isPaused && list.isLive) list.load().catch(() => {});
  refreshFacetsSoon();
}

byId('pause').addEventListener('click', () => {
  isPaused = !isPaused;
  storedWhenPaused = stored;
  byId('pause').setAttribute('aria-pressed', isPaused);
  byId('pause').textContent = isPaused ? 'Go on' : 'Pause';
  showStatus();
  refresh();
});

byId('export').addEventListener('click', async () => {
  const link = element('a', {href: URL.createObjectURL(await api.exported(filters.query())), download: 'requests.jsonl'});
  link.click();
  URL.revokeObjectURL(link.href);
});

byId('clear').addEventListener('click', () => byId('confirm-clear').showModal());
byId('confirm-clear').addEventListener('close', async () => {
  if (byId('confirm-clear').returnValue !== 'clear') return;
  byId('confirm-clear').returnValue = '';
  await api.clear();
});

filters.refresh().catch(() => {});
api.stream({
  arrived: ({count}) => {
    stored = count;
    showStatus();
    refresh();
  },
  cleared: () => {
    stored = storedWhenPaused = 0;
    if (!byId('detail').hidden) detail.close();
    showStatus();
    list.reset().catch(() => {});
    refreshFacetsSoon();
  },
  controls: (inForce) => controls.show(inForce),
}, (state) => {
  isAway = state !== 'live';
  showStatus();
});
