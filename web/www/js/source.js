// One published document read over HTTP. The daemon rewrites each document in
// place, so a read can find it empty or cut: a read that fails keeps the last
// good values, after three failures in a row the document is "stale", and a
// document the server does not have (404) is "no data".
// Not thread-bound: one instance per document, driven by the Scheduler.

export const FAILURES_BEFORE_STALE = 3;

export class DocumentSource {
  // name: file name below ../json/; everyTicks: read on every n-th tick.
  constructor(name, everyTicks, timeoutMs) {
    this.name = name;
    this.url = `../json/${name}`;
    this.everyTicks = everyTicks;
    this.timeoutMs = timeoutMs;
    this.state = 'waiting';
    this.failures = 0;
    this.lastGoodAt = 0;
    this.data = null;
    this.listeners = [];
  }

  // fn(data) runs after every good read; fn(null) after a state change only.
  subscribe(fn) {
    this.listeners.push(fn);
  }

  // True when this document is due on the given tick number.
  dueAt(tick) {
    return tick % this.everyTicks === 0;
  }

  // Reads and parses the document without showing it: the outcome for
  // publish(). Never throws.
  async load() {
    try {
      return await this.read();
    } catch (error) {
      return { ok: false, missing: false, reason: String(error && error.message) };
    }
  }

  // Shows an outcome of load(): new values to the panels, or one more failure.
  publish(outcome) {
    if (outcome.ok) this.accept(outcome.data);
    else this.reject(outcome.missing);
  }

  // One fetch with a time-out: { ok, data } or { ok: false, missing }.
  async read() {
    const abort = new AbortController();
    const timer = setTimeout(() => abort.abort(), this.timeoutMs);
    try {
      const response = await fetch(this.url, { cache: 'no-store', signal: abort.signal });
      if (response.status === 404) return { ok: false, missing: true };
      if (!response.ok) return { ok: false, missing: false };
      const text = await response.text();
      const data = JSON.parse(text);
      if (data === null || typeof data !== 'object' || Array.isArray(data)) return { ok: false, missing: false };
      return { ok: true, data };
    } finally {
      clearTimeout(timer);
    }
  }

  accept(data) {
    this.failures = 0;
    this.lastGoodAt = Date.now();
    this.data = data;
    this.state = 'ok';
    this.notify(data);
  }

  reject(missing) {
    this.failures += 1;
    const before = this.state;
    if (missing) this.state = 'no data';
    else if (this.failures >= FAILURES_BEFORE_STALE) this.state = 'stale';
    if (this.state !== before) this.notify(null);
  }

  notify(data) {
    for (const fn of this.listeners) {
      try {
        fn(data, this);
      } catch (error) {
        console.warn(`${this.name}: panel update failed`, error);
      }
    }
  }
}
