// The live page on a phone, by keyboard, in the dark and for a screen reader,
// in headless Chromium (Debian's browser, driven by playwright-core) against
// meter-sim, livedata_update and lighttpd in a temporary directory. At every
// width and in both themes: axe-core's default rules (WCAG 2.x A and AA and
// best practices) find nothing, the page never scrolls sideways and no table
// ends past its panel, every control is reached by Tab in reading order with a
// visible focus, and the colours keep their contrast.
//
// Environment: LDU_STAGE (staged install, required), LDU_SOURCE_DIR,
// LDU_WEB_OUT (screenshots, web-page-WIDTH-THEME.png of the first screen and
// web-page-WIDTH-THEME-full.png of the whole page; default: the temporary
// directory),
// LDU_WEB_LIVE_SECONDS (live updates before the second round, default 60),
// CHROMIUM.

import { describe, it, before, after } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import { createRequire } from 'node:module';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { MeterRig, DOCUMENTS, BROWSER_FLAGS, CHROMIUM, waitFor } from './rig.mjs';
import { contrast, luminance, parseColor } from './colours.mjs';

const STAGE = process.env.LDU_STAGE;
const SOURCE = process.env.LDU_SOURCE_DIR || path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const LIVE_SECONDS = Number(process.env.LDU_WEB_LIVE_SECONDS || 60);
const AXE = fs.readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');
const VIEWPORTS = [{ width: 360, height: 740 }, { width: 390, height: 844 }, { width: 768, height: 1024 }, { width: 1280, height: 900 }];
const THEMES = ['light', 'dark'];
const SCREENSHOT_WIDTHS = [390, 1280];
// Widths between and beyond, where the layout changes: only the layout is checked.
const SWEEP = [400, 420, 460, 480, 520, 560, 600, 640, 700, 800, 1024, 1160, 1200, 1440, 1920];
const MAX_TAB_STOPS = 40;

let rig;
let context;
let page;
let out;
const problems = [];

function watchProblems() {
  page.on('console', (message) => {
    if (message.type() === 'error') problems.push(`console: ${message.text()}`);
  });
  page.on('pageerror', (error) => problems.push(`uncaught: ${error.message}`));
  page.on('requestfailed', (request) => problems.push(`failed: ${request.url()} ${request.failure() && request.failure().errorText}`));
  page.on('response', (response) => {
    if (response.status() >= 400) problems.push(`HTTP ${response.status()}: ${response.url()}`);
  });
}

const state = (name) => page.locator(`[data-fresh-for="${name}"] .state`).textContent();

async function show(viewport, theme) {
  await page.setViewportSize(viewport);
  await page.emulateMedia({ colorScheme: theme });
  await page.evaluate(() => new Promise((resolve) => requestAnimationFrame(() => setTimeout(resolve, 0))));
}

// Opens every <details> for a check of the whole page and returns what to close again.
async function openAll() {
  return page.evaluate(() => [...document.querySelectorAll('details:not([open])')].map((d, k) => {
    d.open = true;
    d.dataset.openedForCheck = String(k);
    return k;
  }));
}

async function closeOpened() {
  await page.evaluate(() => document.querySelectorAll('[data-opened-for-check]').forEach((d) => {
    d.open = false;
    delete d.dataset.openedForCheck;
  }));
}

// axe-core's default rules over the whole page: the violations as "rule: targets".
async function axeViolations() {
  if (!(await page.evaluate(() => typeof window.axe === 'object'))) await page.evaluate(AXE);
  const result = await page.evaluate(async () => {
    const { violations } = await window.axe.run(document, { resultTypes: ['violations'] });
    return violations.map((v) => `${v.id} (${v.impact}): ${v.nodes.slice(0, 5).map((n) => n.target.join(' ')).join(', ')}`);
  });
  return result;
}

// Tables whose box ends past their panel's (left or right) and are not inside
// a focusable, named scroll region.
async function tablesPastTheirPanel() {
  return page.evaluate(() => [...document.querySelectorAll('table')].flatMap((table) => {
    const panel = table.closest('.panel, .page-head');
    const box = table.getBoundingClientRect();
    if (!panel || box.width === 0) return [];
    const edge = panel.getBoundingClientRect();
    if (box.right <= edge.right + 0.5 && box.left >= edge.left - 0.5) return [];
    const region = table.closest('[role="region"][tabindex="0"]');
    if (region && (region.getAttribute('aria-label') || region.getAttribute('aria-labelledby'))) return [];
    const caption = table.caption ? table.caption.textContent : '(no caption)';
    return [`${caption}: ${box.left.toFixed(0)}..${box.right.toFixed(0)} in ${edge.left.toFixed(0)}..${edge.right.toFixed(0)}`];
  }));
}

async function layoutProblems(viewport, theme) {
  const found = [];
  const { scrollWidth, innerWidth } = await page.evaluate(() => ({ scrollWidth: document.documentElement.scrollWidth, innerWidth }));
  if (scrollWidth > innerWidth) found.push(`page ${scrollWidth} px wide in ${innerWidth}`);
  found.push(...await tablesPastTheirPanel());
  return found.map((p) => `${viewport.width}x${viewport.height} ${theme}: ${p}`);
}

// The colours of the theme: page and panel backgrounds and the phase colours
// of the diagram and the trend.
async function themeColours() {
  return page.evaluate(() => {
    const style = (selector) => getComputedStyle(document.querySelector(selector));
    return {
      page: style('html').backgroundColor,
      panel: style('.panel').backgroundColor,
      phases: [...document.querySelectorAll('line.phasor.voltage, polyline.trend-line')].map((n) => getComputedStyle(n).stroke),
    };
  });
}

// Presses Tab from the top until the focus leaves the page or comes back to
// an element already seen; returns each element reached with its focus style.
async function tabWalk() {
  // Focusing the body makes the top of the page the place Tab starts from.
  await page.evaluate(() => {
    document.body.tabIndex = -1;
    document.body.focus();
    document.body.removeAttribute('tabindex');
    window.scrollTo(0, 0);
  });
  const reached = [];
  for (let k = 0; k <= MAX_TAB_STOPS + 20; k += 1) {
    await page.keyboard.press('Tab');
    const stop = await page.evaluate(() => {
      const node = document.activeElement;
      if (!node || node === document.body) return null;
      if (!node.dataset.tabStop) node.dataset.tabStop = String(document.querySelectorAll('[data-tab-stop]').length);
      const style = getComputedStyle(node);
      const outlined = style.outlineStyle !== 'none' && Number.parseFloat(style.outlineWidth) >= 2;
      const stroked = node instanceof SVGElement && style.stroke !== 'none' && Number.parseFloat(style.strokeWidth) >= 2;
      return { id: node.dataset.tabStop, what: `${node.tagName.toLowerCase()}${node.id ? `#${node.id}` : ''}`, visible: node.matches(':focus-visible') && (outlined || stroked) };
    });
    if (!stop || reached.some((r) => r.id === stop.id)) break;
    reached.push(stop);
  }
  const order = await page.evaluate(() => {
    const nodes = [...document.querySelectorAll('[data-tab-stop]')];
    const controls = [...document.querySelectorAll('select, input, button, summary, a[href], textarea, [tabindex="0"]')]
      .filter((n) => n.getClientRects().length > 0);
    const missing = controls.filter((n) => !n.dataset.tabStop).map((n) => n.outerHTML.slice(0, 80));
    nodes.sort((a, b) => Number(a.dataset.tabStop) - Number(b.dataset.tabStop));
    const inReadingOrder = nodes.every((n, k) => k === 0 || (nodes[k - 1].compareDocumentPosition(n) & Node.DOCUMENT_POSITION_FOLLOWING));
    nodes.forEach((n) => delete n.dataset.tabStop);
    return { missing, inReadingOrder };
  });
  return { reached, ...order };
}

// With every section open: what axe-core and the layout checks find at every
// width, light and dark.
async function problemsAtEveryWidthAndTheme() {
  const found = [];
  await openAll();
  for (const viewport of VIEWPORTS) {
    for (const theme of THEMES) {
      await show(viewport, theme);
      found.push(...await layoutProblems(viewport, theme));
      for (const v of await axeViolations()) found.push(`${viewport.width}x${viewport.height} ${theme}: axe ${v}`);
    }
  }
  await closeOpened();
  return found;
}

describe('live page: widths, keyboard, dark, screen readers', { concurrency: false }, () => {
  before(async () => {
    assert.ok(STAGE, 'LDU_STAGE must name the staged install');
    rig = new MeterRig({ stage: STAGE, source: SOURCE });
    process.on('exit', () => rig.killNow());
    out = process.env.LDU_WEB_OUT || rig.dir;
    fs.mkdirSync(out, { recursive: true });
    await rig.start();
    const profile = fs.mkdtempSync(path.join(rig.dir, 'chromium-'));
    context = await chromium.launchPersistentContext(profile, {
      headless: true, executablePath: CHROMIUM, args: BROWSER_FLAGS, viewport: VIEWPORTS[3],
      env: { ...process.env, HOME: profile, XDG_CONFIG_HOME: profile, XDG_CACHE_HOME: profile },
    });
    page = await context.newPage();
    watchProblems();
    await page.goto(`${rig.url}/common_ui/live/`);
    for (const name of DOCUMENTS) await waitFor(`${name} ok`, async () => (await state(name)) === 'ok', 15000);
  });

  after(async () => {
    if (context) await context.close().catch(() => {});
    if (rig) await rig.stop(process.exitCode !== undefined && process.exitCode !== 0);
  });

  it('passes axe-core and fits every width without sideways scroll, light and dark', async () => {
    assert.deepEqual(await problemsAtEveryWidthAndTheme(), []);
  });

  it('fits every width from 360 to 1920 px', async () => {
    const found = [];
    await openAll();
    for (const width of SWEEP) {
      const viewport = { width, height: 900 };
      await show(viewport, 'light');
      found.push(...await layoutProblems(viewport, 'light'));
    }
    await closeOpened();
    assert.deepEqual(found, []);
  });

  it('has a dark theme that is dark, with phase colours at least 3:1 against the panel in both', async () => {
    for (const theme of THEMES) {
      await show(VIEWPORTS[3], theme);
      const colours = await themeColours();
      const background = luminance(parseColor(colours.page));
      if (theme === 'dark') assert.ok(background < 0.05, `dark page background ${colours.page}`);
      else assert.ok(background > 0.8, `light page background ${colours.page}`);
      assert.ok(colours.phases.length >= 6, 'phase lines');
      for (const stroke of colours.phases) {
        const ratio = contrast(parseColor(stroke), parseColor(colours.panel));
        assert.ok(ratio >= 3, `${theme}: ${stroke} on ${colours.panel} is ${ratio.toFixed(2)}:1`);
      }
    }
  });

  it('reaches every control by Tab in reading order, each with a visible focus, in at most 40 presses', async () => {
    for (const viewport of VIEWPORTS) {
      for (const theme of THEMES) {
        await show(viewport, theme);
        const walk = await tabWalk();
        const where = `${viewport.width}x${viewport.height} ${theme}`;
        assert.ok(walk.reached.length > 0, `${where}: Tab reaches nothing`);
        assert.ok(walk.reached.length <= MAX_TAB_STOPS, `${where}: ${walk.reached.length} tab stops`);
        assert.deepEqual(walk.missing, [], `${where}: controls Tab never reaches`);
        assert.ok(walk.inReadingOrder, `${where}: tab order is not the reading order`);
        assert.deepEqual(walk.reached.filter((r) => !r.visible).map((r) => r.what), [], `${where}: no visible focus`);
      }
    }
  });

  it('moves between the bars of a spectrum with the arrow keys, the readout telling order, magnitude and phase', async () => {
    await show(VIEWPORTS[1], 'light');
    const chart = '[data-channel="vb"]';
    const active = () => page.evaluate(() => document.activeElement.dataset.order);
    const readout = () => page.locator(`${chart} .readout`).textContent();
    await page.locator(`${chart} rect.bar[tabindex="0"]`).focus();
    assert.equal(await active(), '1');
    await page.keyboard.press('ArrowRight');
    await page.keyboard.press('ArrowRight');
    assert.equal(await active(), '3');
    assert.match(await readout(), /^order 3: \S+ %, phase \S+ Deg$/);
    await page.keyboard.press('End');
    assert.equal(await active(), '63');
    await page.keyboard.press('ArrowRight');
    assert.equal(await active(), '63');
    await page.keyboard.press('Home');
    await page.keyboard.press('ArrowLeft');
    assert.equal(await active(), '1');
    await page.keyboard.press('ArrowUp');
    assert.equal(await page.locator(`${chart} rect.bar[tabindex="0"]`).count(), 1);
    assert.equal(await page.locator(`${chart} rect.bar[tabindex="0"]`).getAttribute('data-order'), '2');
    await page.keyboard.press('Shift+Tab');
    await page.keyboard.press('Tab');
    assert.equal(await active(), '2', 'Tab comes back to the bar last chosen');
  });

  it('keeps the focus, the scroll position and an open fold while the values change', async () => {
    await show(VIEWPORTS[1], 'light');
    await page.locator('details.names > summary').click();
    await page.locator('[data-channel="ic"] rect.bar[tabindex="0"]').focus();
    await page.keyboard.press('ArrowRight');
    await page.evaluate(() => window.scrollTo(0, 1500));
    const before = await page.evaluate(() => ({ y: window.scrollY, order: document.activeElement.dataset.order }));
    const time = await page.locator('[data-doc="polling_data.json"][data-key="dateTime"]').first().textContent();
    await waitFor('three new readings', async () => {
      const now = await page.locator('[data-doc="polling_data.json"][data-key="dateTime"]').first().textContent();
      return now !== time;
    }, 8000);
    await page.waitForTimeout(2500);
    const after = await page.evaluate(() => ({
      y: window.scrollY, order: document.activeElement.dataset.order, open: document.querySelector('details.names').open,
      live: [...document.querySelectorAll('[aria-live]')].map((n) => n.outerHTML.slice(0, 60)),
    }));
    assert.equal(after.y, before.y);
    assert.equal(after.order, before.order);
    assert.equal(after.open, true);
    assert.deepEqual(after.live, [], 'no live region around changing values');
    await page.locator('details.names > summary').click();
  });

  it('saves screenshots at 390 and 1280 px, light and dark', async () => {
    for (const viewport of VIEWPORTS.filter((v) => SCREENSHOT_WIDTHS.includes(v.width))) {
      for (const theme of THEMES) {
        await show(viewport, theme);
        // The documents fold as the page opens it at this width (folded on a phone).
        await page.evaluate((width) => {
          document.querySelector('details.freshness').open = width >= 700;
          window.scrollTo(0, 0);
        }, viewport.width);
        await page.screenshot({ path: path.join(out, `web-page-${viewport.width}-${theme}.png`) });
        await page.screenshot({ path: path.join(out, `web-page-${viewport.width}-${theme}-full.png`), fullPage: true });
      }
    }
  });

  it('still passes axe-core and fits every width after a minute of live updates, with no console error', async () => {
    await page.waitForTimeout(LIVE_SECONDS * 1000);
    assert.deepEqual(await problemsAtEveryWidthAndTheme(), []);
    for (const name of DOCUMENTS) assert.equal(await state(name), 'ok', name);
    assert.deepEqual(problems, []);
  });
});
