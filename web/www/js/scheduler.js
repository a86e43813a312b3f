// Drives every DocumentSource from one tick of fixed length: on each tick the
// documents that are due are read in parallel, parsed and rendered, and the
// time that took is recorded (stats.updateMs, the last 600 ticks). Ticks never
// overlap: the next one starts a period after the previous one began, or at
// once when it ran longer. Every read has a time-out, so a tick always ends.

export class Scheduler {
  constructor(sources, periodMs) {
    this.sources = sources;
    this.periodMs = periodMs;
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
    await Promise.allSettled(due.map((source) => source.refresh()));
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
