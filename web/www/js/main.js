// The live page: reads every document of ../json/ at its own period and
// renders all panels. Documents: readings, phasors, sequence components,
// flicker and energy every second, THD every 3 s, the profile labels and
// the factory record at start and every 10 s. window.lduLive exposes the
// scheduler's figures (update times) for measurement.

import { DocumentSource } from './source.js';
import { Scheduler } from './scheduler.js';
import { HeaderPanel } from './header.js';
import { ReadingsPanel } from './readings.js';
import { PhasorsPanel } from './phasors.js';
import { HarmonicsPanel } from './harmonics.js';
import { FlickerPanel } from './flicker.js';
import { EnergyPanel } from './energy.js';

const PERIOD_MS = 1000;
const TIMEOUT_MS = 2500;
const DOCUMENTS = [
  ['polling_data.json', 1], ['phasor_data.json', 1], ['symmetrical_components.json', 1],
  ['flicker_data.json', 1], ['energy_data.json', 1], ['meter_factory_setting.json', 10],
  ['thd_data.json', 3], ['device_profile_label.json', 10],
];

function start() {
  const sources = new Map(DOCUMENTS.map(([name, every]) => [name, new DocumentSource(name, every, TIMEOUT_MS)]));
  const header = new HeaderPanel(sources);
  const panels = [ReadingsPanel, PhasorsPanel, HarmonicsPanel, FlickerPanel, EnergyPanel].map((Panel) => new Panel(sources));
  const main = document.getElementById('panels');
  document.body.insertBefore(header.section, main);
  for (const panel of panels) main.append(panel.section);
  const scheduler = new Scheduler([...sources.values()], PERIOD_MS);
  scheduler.afterTick.push(() => header.refreshAges());
  window.lduLive = { scheduler, sources };
  scheduler.start();
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
