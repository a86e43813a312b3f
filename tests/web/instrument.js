// Injected into the live page by the browser tests, before the page's own
// modules run (an init script of the attached browser; a <script> of the copy
// of the page served at /common_ui/measured/ for the unattached one). It
// records, for every tick the page announces ("livetick"), the time until the
// values were in the DOM and the time until they were painted (the first
// task after the next animation frame), and every Content-Security-Policy
// violation. The times go into rings of 600 allocated at the start, so the
// page's heap is not changed by the measuring; window.lduMeasure.snapshot()
// gives { ticks, updates: [[tick, ms]...], painted: [...], violations }.
(() => {
  const KEPT = 600;
  const ring = () => ({ ticks: new Float64Array(KEPT), ms: new Float64Array(KEPT), count: 0 });
  const keep = (r, tick, ms) => {
    r.ticks[r.count % KEPT] = tick;
    r.ms[r.count % KEPT] = ms;
    r.count += 1;
  };
  const entries = (r) => {
    const out = [];
    for (let n = Math.max(0, r.count - KEPT); n < r.count; n += 1) out.push([r.ticks[n % KEPT], r.ms[n % KEPT]]);
    return out;
  };
  const updates = ring();
  const painted = ring();
  const violations = [];
  let ticks = 0;
  let framePending = false;
  window.lduMeasure = {
    ticks: () => ticks,
    snapshot: () => ({ ticks, updates: entries(updates), painted: entries(painted), violations: violations.slice() }),
  };
  document.addEventListener('livetick', (event) => {
    const { tick, startedAt, endedAt } = event.detail;
    keep(updates, tick, endedAt - startedAt);
    ticks = tick + 1;
    // At most one frame is waited for at a time: a hidden page draws no
    // frames and must not pile up callbacks.
    if (framePending) return;
    framePending = true;
    requestAnimationFrame(() => setTimeout(() => {
      framePending = false;
      keep(painted, tick, performance.now() - startedAt);
    }, 0));
  });
  document.addEventListener('securitypolicyviolation', (event) => {
    if (violations.length < 100) violations.push(`${event.violatedDirective} ${event.blockedURI}`);
  });
})();
