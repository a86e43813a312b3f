// The frame every panel shares: a <section> with a heading and one status
// badge per document it shows. A badge reads "ok", "stale", "no data" or
// "waiting" (its colour only repeats it), a polite status: screen readers
// hear the rare changes of state, not the values. The panel's values stay as
// last shown whatever the badge says.

import { el, setText } from './dom.js';

// Creates the panel section; body is where the panel puts its content.
export function panelFrame(id, title, sources) {
  const section = el('section', { class: 'panel', id, 'aria-labelledby': `${id}-title` });
  const head = section.appendChild(el('header', { class: 'panel-head' }));
  head.append(el('h2', { id: `${id}-title` }, title));
  for (const source of sources) head.append(statusBadge(source));
  const body = section.appendChild(el('div', { class: 'panel-body' }));
  return { section, body };
}

// A badge that follows the state of one document.
export function statusBadge(source) {
  const badge = el('span', { class: 'badge waiting', role: 'status', 'data-status-for': source.name, title: source.name }, '');
  const show = () => {
    const text = `${source.name.replace('.json', '')}: ${source.state}`;
    setText(badge, text);
    const cls = `badge ${source.state.replace(' ', '-')}`;
    if (badge.className !== cls) badge.className = cls;
  };
  show();
  source.subscribe(show);
  return badge;
}
