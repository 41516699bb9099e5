// The address of the page: which view is shown, which request is open, and the filters. It can be
// reloaded and shared.

const read = () => new URLSearchParams(location.search);

export const get = (name) => read().get(name) ?? '';
export const getAll = (name) => read().getAll(name);

// Sets some parameters; an empty value or list removes one.
export function set(changes) {
  const parameters = read();
  for (const [name, value] of Object.entries(changes)) {
    parameters.delete(name);
    for (const one of [value].flat()) {
      if (one !== null && one !== '' && one !== false) parameters.append(name, one === true ? '1' : one);
    }
  }
  const query = parameters.toString();
  history.replaceState(null, '', location.pathname + (query ? `?${query}` : ''));
}
