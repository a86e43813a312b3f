// Injected into the live page by the browser tests, before the page's own
// modules run (an init script of the attached browser; a <script> of the copy
// of the page served at /common_ui/measured/ for the unattached one). It
// records, for every tick the page announces ("livetick"), the time until the
// values were in the DOM and the time until they were painted (the first
// task after the next animation frame), and every Content-Security-Policy
// violation. window.lduMeasure holds the last 600 of each: memory stays flat.
(() => {
  const KEPT = 600;
  const measure = { ticks: 0, updates: [], painted: [], violations: [] };
  let framePending = false;
  const keep = (list, entry) => {
    list.push(entry);
    if (list.length > KEPT) list.shift();
  };
  window.lduMeasure = measure;
  document.addEventListener('livetick', (event) => {
    const { tick, startedAt, endedAt } = event.detail;
    keep(measure.updates, [tick, endedAt - startedAt]);
    measure.ticks = tick + 1;
    // At most one frame is waited for at a time: a hidden page draws no
    // frames and must not pile up callbacks.
    if (framePending) return;
    framePending = true;
    requestAnimationFrame(() => setTimeout(() => {
      framePending = false;
      keep(measure.painted, [tick, performance.now() - startedAt]);
    }, 0));
  });
  document.addEventListener('securitypolicyviolation', (event) => {
    keep(measure.violations, `${event.violatedDirective} ${event.blockedURI}`);
  });
})();
