// Drives every DocumentSource from one tick of fixed length: on each tick the
// documents that are due are read in parallel, parsed and rendered, and the
// time that took is recorded (stats.updateMs, the last 600 ticks), measured
// from the start of the tick, so never the wait for it. So is the time until
// the browser has laid out and painted the rendered values (stats.frameMs:
// until the first task after the next animation frame). Ticks never
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
    this.stats = { ticks: 0, updateMs: new Float64Array(600), count: 0, frameMs: new Float64Array(600), frames: 0 };
    this.framePending = false;
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

  // Median of the recorded tick durations in milliseconds, of the ticks
  // after the first `since` ones (those still recorded).
  medianUpdateMs(since = 0) {
    return median(this.stats.updateMs, this.stats.count, since);
  }

  // Median time from the start of a tick until its values were painted.
  medianFrameMs(since = 0) {
    return median(this.stats.frameMs, this.stats.frames, since);
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
    this.recordFrame(started);
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

  // At most one frame is waited for at a time: a hidden page draws no frames
  // and must not pile up callbacks.
  recordFrame(started) {
    if (this.framePending) return;
    this.framePending = true;
    requestAnimationFrame(() => setTimeout(() => {
      this.framePending = false;
      const slots = this.stats.frameMs.length;
      this.stats.frameMs[this.stats.frames % slots] = performance.now() - started;
      this.stats.frames += 1;
    }, 0));
  }
}

// Median of the values number since .. count - 1 written into a ring (only
// the last ring.length of them are still there).
function median(ring, count, since) {
  const first = Math.max(since, count - ring.length, 0);
  const sorted = [];
  for (let k = first; k < count; k += 1) sorted.push(ring[k % ring.length]);
  const n = sorted.length;
  if (n === 0) return NaN;
  sorted.sort((a, b) => a - b);
  return n % 2 ? sorted[(n - 1) / 2] : (sorted[n / 2 - 1] + sorted[n / 2]) / 2;
}

// Resolves when promise settles or after waitMs, whichever comes first.
function firstOf(promise, waitMs) {
  let timer = 0;
  const late = new Promise((resolve) => {
    timer = setTimeout(resolve, waitMs);
  });
  return Promise.race([promise.then(() => {}, () => {}), late]).finally(() => clearTimeout(timer));
}
