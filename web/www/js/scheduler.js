// Drives every DocumentSource from one tick of fixed length: on each tick the
// documents that are due are read in parallel, parsed and rendered. Ticks
// never overlap: the next one starts a period after the previous one began,
// or at once when it ran longer. Every read has a time-out, so a tick always
// ends.
//
// The panels are rendered together, in one go, once every due document has
// been read: the browser then lays out and paints the page once per tick
// instead of once per arriving document. A document still not read
// renderWaitMs after the tick began does not hold the others back: they are
// rendered then, and it is rendered when it arrives.
//
// Each tick ends with a "livetick" event on the target, detail { tick,
// startedAt, endedAt } (performance.now()): for what follows a tick (the
// header's ages) and for anyone measuring the page.

export const TICK_EVENT = 'livetick';

export class Scheduler {
  constructor(sources, periodMs, target, renderWaitMs = 250) {
    this.sources = sources;
    this.periodMs = periodMs;
    this.target = target;
    this.renderWaitMs = renderWaitMs;
    this.tick = 0;
    this.timer = 0;
    this.running = false;
  }

  start() {
    if (this.running) return;
    this.running = true;
    this.runTick();
  }

  stop() {
    this.running = false;
    clearTimeout(this.timer);
  }

  async runTick() {
    const startedAt = performance.now();
    const due = this.sources.filter((source) => source.dueAt(this.tick));
    const loads = due.map((source) => source.load());
    const gate = firstOf(Promise.all(loads), this.renderWaitMs);
    await Promise.all(due.map(async (source, k) => {
      const outcome = await loads[k];
      await gate;
      source.publish(outcome);
    }));
    this.announce(startedAt);
    this.tick += 1;
    if (!this.running) return;
    const wait = Math.max(0, this.periodMs - (performance.now() - startedAt));
    this.timer = setTimeout(() => this.runTick(), wait);
  }

  // A listener that throws is reported by the browser; the ticks go on.
  announce(startedAt) {
    const detail = { tick: this.tick, startedAt, endedAt: performance.now() };
    this.target.dispatchEvent(new CustomEvent(TICK_EVENT, { detail }));
  }
}

// Resolves when promise settles or after waitMs, whichever comes first.
function firstOf(promise, waitMs) {
  let timer = 0;
  const late = new Promise((resolve) => {
    timer = setTimeout(resolve, waitMs);
  });
  return Promise.race([promise.then(() => {}, () => {}), late]).finally(() => clearTimeout(timer));
}
