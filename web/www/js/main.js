// The live page: reads every document of ../json/ at its own period
// (documents.js) and renders all panels.

import { DocumentSource } from './source.js';
import { Scheduler, TICK_EVENT } from './scheduler.js';
import { READ_EVERY } from './documents.js';
import { HeaderPanel } from './header.js';
import { ReadingsPanel } from './readings.js';
import { PhasorsPanel } from './phasors.js';
import { HarmonicsPanel } from './harmonics.js';
import { FlickerPanel } from './flicker.js';
import { EnergyPanel } from './energy.js';

const PERIOD_MS = 1000;
const TIMEOUT_MS = 2500;

function start() {
  const sources = new Map(READ_EVERY.map(([name, every]) => [name, new DocumentSource(name, every, TIMEOUT_MS)]));
  const header = new HeaderPanel(sources);
  const panels = [ReadingsPanel, PhasorsPanel, HarmonicsPanel, FlickerPanel, EnergyPanel].map((Panel) => new Panel(sources));
  const main = document.getElementById('panels');
  document.body.insertBefore(header.section, main);
  for (const panel of panels) main.append(panel.section);
  document.addEventListener(TICK_EVENT, () => header.refreshAges());
  new Scheduler([...sources.values()], PERIOD_MS, document).start();
}

window.addEventListener('unhandledrejection', (event) => {
  console.warn('unhandled rejection', event.reason);
  event.preventDefault();
});

try {
  start();
} catch (error) {
  console.error('live page failed to start', error);
}
