// Puts the page together.
import * as address from './address.js';
import * as api from './api.js';
import * as checklist from './checklist.js';
import * as connect from './connect.js';
import {Controls} from './controls.js';
import {say} from './copy.js';
import {Detail} from './detail.js';
import {byId, element} from './dom.js';
import {Filters} from './filters.js';
import * as format from './format.js';
import * as keys from './keys.js';
import {List} from './list.js';
import * as timeline from './timeline.js';

const pause = 1000;  // Between two refreshes of what is costly.
const views = ['requests', 'checklist', 'timeline', 'connect'];

const filters = new Filters(() => {
  list.reset().catch(() => {});
  refreshRest();
});
const list = new List(filters, (id) => detail.open(id));
const connection = api.connection().catch(() => ({host: 'localhost', developerKey: '', authority: ''}));
const detail = new Detail(filters, connection, () => list.unselect());
const controls = new Controls();

// Until something arrives, the page says how to make it.
let isWelcoming = location.search === '';
let view = views.includes(address.get('view')) ? address.get('view') : 'requests';
let state = 'connecting';
let isPaused = false;
let stored = 0;
let storedWhenPaused = 0;
let timer = null;

function showStatus() {
  const missed = Math.max(0, stored - storedWhenPaused);
  const count = `${format.number(stored)} ${stored === 1 ? 'request' : 'requests'}`;
  byId('status-text').textContent = state === 'away' ? 'the collector is away'
    : state === 'refused' ? 'not let in' : isPaused ? `paused, ${format.number(missed)} more since` : `live, ${count}`;
  byId('status').className = `status ${state === 'live' && isPaused ? 'paused' : state}`;
  byId('refused').hidden = state !== 'refused';
  byId('main').hidden = state === 'refused';
}

function openRequest(id) {
  showView('requests');
  list.select(id);
  detail.open(id);
}

async function refreshNow() {
  await filters.refresh();
  list.redraw();
  await checklist.show(filters, openRequest);
  if (view === 'timeline') await timeline.show(filters);
}

const refreshRest = () => refreshNow().catch(() => {});  // The stream tells when the collector is away.

function refresh() {
  if (isPaused) return;
  if (list.isLive) list.load().catch(() => {});
  timer ??= setTimeout(() => {
    timer = null;
    refreshRest();
  }, pause);
}

function showView(chosen) {
  view = chosen;
  if (!isWelcoming) address.set({view: view === 'requests' ? '' : view});
  for (const name of views) {
    byId(`view-${name}`).hidden = name !== view;
    const link = byId(`to-${name}`);
    if (name === view) link.setAttribute('aria-current', 'page');
    else link.removeAttribute('aria-current');
  }
  byId('filters').hidden = view === 'connect';
  byId('filters').classList.toggle('installation-only', view !== 'requests');
  if (view === 'timeline' || view === 'checklist') refreshRest();
}

for (const name of views) {
  byId(`to-${name}`).addEventListener('click', () => {
    isWelcoming = false;
    showView(name);
  });
}

byId('pause').addEventListener('click', () => {
  isPaused = !isPaused;
  storedWhenPaused = stored;
  byId('pause').setAttribute('aria-pressed', isPaused);
  showStatus();
  refresh();
});

byId('export').addEventListener('click', async () => {
  try {
    const link = element('a', {href: URL.createObjectURL(await api.exported(filters.query())), download: 'requests.jsonl'});
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), pause);
    say(filters.installation ? `Exported what ${filters.nameOf(filters.installation)} has sent` : 'Exported');
  } catch (error) {
    say(`The export failed: ${error.message}`);
  }
});

byId('clear').addEventListener('click', () => byId('confirm-clear').showModal());
byId('confirm-clear').addEventListener('close', async () => {
  if (byId('confirm-clear').returnValue !== 'clear') return;
  byId('confirm-clear').returnValue = '';
  await api.clear();
});

keys.listen({
  '/': () => { showView('requests'); byId('search').focus(); },
  'j': () => list.step(1),
  'k': () => list.step(-1),
  '?': () => byId('keys').showModal(),
  '1': () => showView('requests'),
  '2': () => showView('checklist'),
  '3': () => showView('timeline'),
  '4': () => showView('connect'),
}, () => { if (detail.isOpen) detail.close(); });

connection.then(connect.show);
showView(view);
list.load().then(refreshRest, () => {});
if (address.get('request')) {
  const other = Number(address.get('compare'));
  list.select(Number(address.get('request')));
  detail.open(Number(address.get('request')), other || null);
}
api.stream({
  arrived: ({count, trouble}) => {
    stored = count;
    byId('waiting').hidden = count > 0;
    if (isWelcoming) {
      isWelcoming = count === 0;
      showView(count === 0 ? 'connect' : 'requests');
    }
    byId('trouble').hidden = trouble === null;
    byId('trouble').textContent = trouble ?? '';
    showStatus();
    refresh();
  },
  cleared: () => {
    stored = storedWhenPaused = 0;
    if (detail.isOpen) detail.close();
    showStatus();
    list.reset().catch(() => {});
    refresh();
  },
  controls: (inForce) => controls.show(inForce),
}, (now) => {
  state = now;
  showStatus();
});
