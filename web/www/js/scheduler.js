// Drives every DocumentSource from one tick of fixed length: on each tick the
// documents that are due are read in parallel, parsed and rendered, and the
// time that took is recorded (stats.updateMs, the last 600 ticks). Ticks never
// overlap: the next one starts a period after the previous one began, or at
// once when it ran longer. Every read has a time-out, so a tick always ends.
//
// The panels are rendered together, in one go, once every due document has
// been read: the browser then lays out and paints the page once per tick
// instead of once per arriving document. A document still not read
// renderWaitMs after the tick began does not hold the others back: they are
// rendered then, and it is rendered when it arrives.

export class Scheduler {
  constructor(sources, periodMs, renderWaitMs = 250) {
    this.sources = sources;
    this.periodMs = periodMs;
    this.renderWaitMs = renderWaitMs;
    this.tick = 0;
    this.timer = 0;
    this.running = false;
    this.stats = { ticks: 0, updateMs: new Float64Array(600), count: 0 };
    this.afterTick = [];
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

  // Median of the recorded tick durations in milliseconds.
  medianUpdateMs() {
    const n = Math.min(this.stats.count, this.stats.updateMs.length);
    if (n === 0) return NaN;
    const sorted = Array.from(this.stats.updateMs.subarray(0, n)).sort((a, b) => a - b);
    return n % 2 ? sorted[(n - 1) / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
  }

  async runTick() {
    const started = performance.now();
    const due = this.sources.filter((source) => source.dueAt(this.tick));
    const loads = due.map((source) => source.load());
    const gate = firstOf(Promise.all(loads), this.renderWaitMs);
    await Promise.all(due.map(async (source, k) => {
      const outcome = await loads[k];
      await gate;
      source.publish(outcome);
    }));
    for (const fn of this.afterTick) {
      try {
        fn();
      } catch (error) {
        console.warn('tick follow-up failed', error);
      }
    }
    this.record(performance.now() - started);
    this.tick += 1;
    if (!this.running) return;
    const wait = Math.max(0, this.periodMs - (performance.now() - started));
    this.timer = setTimeout(() => this.runTick(), wait);
  }

  record(ms) {
    const slots = this.stats.updateMs.length;
    this.stats.updateMs[this.stats.count % slots] = ms;
    this.stats.count += 1;
    this.stats.ticks = this.tick + 1;
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
