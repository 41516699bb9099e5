// Building pieces of the page. Everything that comes from a request goes in as text, never as markup.

export const byId = (id) => document.getElementById(id);

// An element with attributes and children; children are elements or texts.
export function element(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [attribute, value] of Object.entries(attributes)) {
    if (value === false || value === null || value === undefined) continue;
    if (attribute.startsWith('on')) made.addEventListener(attribute.slice(2), value);
    else made.setAttribute(attribute, value === true ? '' : value);
  }
  made.append(...children.map((child) => (child instanceof Node ? child : String(child ?? ''))));
  return made;
}

// The text in pieces, those marked that match in either letter case.
export function marked(text, search) {
  const wanted = search.toLowerCase();
  const lower = text.toLowerCase();
  if (!wanted || lower.length !== text.length) return [text];
  const pieces = [];
  let at = 0;
  for (let hit = lower.indexOf(wanted); hit >= 0; hit = lower.indexOf(wanted, at)) {
    pieces.push(text.slice(at, hit), element('mark', {}, text.slice(hit, hit + wanted.length)));
    at = hit + wanted.length;
  }
  return [...pieces, text.slice(at)];
}
