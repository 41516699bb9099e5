// The keyboard, wherever the focus is.
import {byId} from './dom.js';

const isTyping = (target) => target.matches('input:not([type=checkbox]), select, textarea');

// `actions` is by key; those do nothing while somebody types or a dialog is open.
export function listen(actions, onEscape) {
  document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || document.querySelector('dialog[open]')) return;
    if (event.key === 'Escape') {
      if (isTyping(event.target)) event.target.blur();
      else onEscape();
    } else if (actions[event.key] && !isTyping(event.target)) {
      event.preventDefault();
      actions[event.key]();
    }
  });
  byId('keys-open').addEventListener('click', () => byId('keys').showModal());
  byId('keys-close').addEventListener('click', () => byId('keys').close());
}
