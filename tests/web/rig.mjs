// A running meter for the browser tests, all inside one temporary directory:
// meter-sim, livedata_update and lighttpd from the staged install, on a free
// loopback port. stop() ends every process it started, also after a failure.
//
// The daemon writes into DIR/daemon/...; lighttpd serves DIR/served/... whose
// common_ui/json/ holds one symbolic link per document into the daemon's
// directory. A fault test can then replace a link by a cut file (or remove it)
// and the fault lasts as long as the test wants, while the daemon goes on
// rewriting its own file every second.

import { spawn, execFileSync } from 'node:child_process';
import fs from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

export const DOCUMENTS = [
  'polling_data.json', 'phasor_data.json', 'symmetrical_components.json', 'flicker_data.json',
  'energy_data.json', 'meter_factory_setting.json', 'thd_data.json', 'device_profile_label.json',
];
// Flags of every headless Chromium the tests start: no sandbox (tests may run
// as root), no GPU, no QUIC, and nothing that reaches out to the network.
export const BROWSER_FLAGS = ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
  '--disable-background-networking', '--disable-component-update', '--disable-sync'];
export const CHROMIUM = process.env.CHROMIUM || '/usr/bin/chromium';
// What the browser tests inject into the page to measure it.
export const INSTRUMENT = fileURLToPath(new URL('./instrument.js', import.meta.url));
// The policy the page must work under; added to the served configuration
// when scripts/web-conf does not set one itself.
export const CONTENT_SECURITY_POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
  + "connect-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'";
const JSON_PATH = 'home/korvo.web/lighttpd/www/htdocs/common_ui/json';
const HTDOCS_PATH = 'home/korvo.web/lighttpd/www/htdocs';

// Polls fn until it returns a truthy value; throws after timeoutMs.
export async function waitFor(what, fn, timeoutMs = 10000, stepMs = 100) {
  const deadline = Date.now() + timeoutMs;
  let last;
  for (;;) {
    try {
      last = await fn();
      if (last) return last;
    } catch (error) {
      last = error;
    }
    if (Date.now() > deadline) throw new Error(`timed out waiting for ${what} (last: ${last})`);
    await new Promise((resolve) => setTimeout(resolve, stepMs));
  }
}

// A loopback port nobody listens on right now.
export function freePort() {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.once('error', reject);
    server.listen(0, '127.0.0.1', () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

export class MeterRig {
  // www: the page's directory to serve (default: the staged install's).
  constructor({ stage, source, www }) {
    this.stage = stage;
    this.www = www || path.join(stage, 'share/livedata-update/www');
    this.source = source;
    this.dir = fs.mkdtempSync(path.join(os.tmpdir(), 'ldu-web-'));
    this.daemonJson = path.join(this.dir, 'daemon', JSON_PATH);
    this.servedJson = path.join(this.dir, 'served', JSON_PATH);
    this.children = new Map();
    this.env = {
      ...process.env, WEB_ROOT: path.join(this.dir, 'daemon'), LIVEDATA_ROOT: this.dir,
      DATAMAP_FILE: path.join(this.dir, 'datamap'), ZUL_LOG_FILE: path.join(this.dir, 'livedata.log'),
    };
  }

  get url() {
    return `http://127.0.0.1:${this.port}`;
  }

  // Lays out the tree; editSettings(buffer) may change the settings file.
  async start(editSettings) {
    this.layout();
    this.run('meter-sim', 'bin/meter-sim', ['--once']);
    await this.waitExit('meter-sim');
    const settings = path.join(this.dir, 'home/korvo.data/root/kv7720.kps');
    if (editSettings) fs.writeFileSync(settings, editSettings(fs.readFileSync(settings)));
    this.run('meter-sim', 'bin/meter-sim', ['--seed', '11']);
    await waitFor('meter-sim', () => this.output('meter-sim').includes('datamap ready'), 10000);
    this.run('livedata_update', 'sbin/livedata_update', ['-p', path.join(this.dir, 'livedata.pid')]);
    await waitFor('the documents', () => DOCUMENTS.every((name) => this.parses(path.join(this.daemonJson, name))), 15000);
    await this.startServer();
  }

  layout() {
    for (const dir of ['home/korvo.data/test', 'home/korvo.data/root']) fs.mkdirSync(path.join(this.dir, dir), { recursive: true });
    fs.mkdirSync(this.daemonJson, { recursive: true });
    fs.mkdirSync(this.servedJson, { recursive: true });
    fs.copyFileSync(path.join(this.stage, 'share/livedata-update/livedata_update_runtime.xml'),
      path.join(this.dir, 'home/korvo.data/test/livedata_update_runtime.xml'));
    for (const name of DOCUMENTS) this.link(name);
  }

  // The served document is the daemon's own file again.
  link(name) {
    const served = path.join(this.servedJson, name);
    fs.rmSync(served, { force: true });
    fs.symlinkSync(path.join(this.daemonJson, name), served);
  }

  // The served document becomes a fixed file with the given text.
  replace(name, text) {
    const served = path.join(this.servedJson, name);
    fs.rmSync(served, { force: true });
    fs.writeFileSync(served, text);
  }

  // The served document disappears.
  remove(name) {
    fs.rmSync(path.join(this.servedJson, name), { force: true });
  }

  daemonText(name) {
    return fs.readFileSync(path.join(this.daemonJson, name), 'utf8');
  }

  parses(file) {
    try {
      JSON.parse(fs.readFileSync(file, 'utf8'));
      return true;
    } catch {
      return false;
    }
  }

  // Serves the page at /common_ui/live/ and, with the measuring script of the
  // tests in it, at /common_ui/measured/ (measuredUrl); both under the
  // Content-Security-Policy.
  async startServer() {
    this.port = await freePort();
    // The served tree links into the daemon's; lighttpd's errors go to
    // lighttpd.out. Started as root it runs as www-data, which must enter DIR.
    fs.chmodSync(this.dir, 0o755);
    let conf = execFileSync(path.join(this.source, 'scripts/web-conf'), [
      '--htdocs', path.join(this.dir, 'served', HTDOCS_PATH), '--www', this.www,
      '--port', String(this.port), '--follow-symlinks'], { encoding: 'utf8' });
    conf += `
alias.url += ( "/common_ui/measured/" => "${this.measuredCopy()}/" )
`;
    fs.writeFileSync(path.join(this.dir, 'lighttpd.conf'), conf);
    this.run('lighttpd', '/usr/sbin/lighttpd', ['-D', '-f', path.join(this.dir, 'lighttpd.conf')]);
    await waitFor('lighttpd', async () => (await fetch(`${this.url}/`, { redirect: 'manual' })).status === 302, 10000);
  }

  get measuredUrl() {
    return `${this.url}/common_ui/measured/`;
  }

  // A copy of the page whose index.html first runs the measuring script.
  measuredCopy() {
    const dir = path.join(this.dir, 'measured');
    fs.cpSync(this.www, dir, { recursive: true });
    fs.copyFileSync(INSTRUMENT, path.join(dir, 'instrument.js'));
    const index = path.join(dir, 'index.html');
    const html = fs.readFileSync(index, 'utf8');
    const at = html.indexOf('<script type="module"');
    if (at < 0) throw new Error('the page has no module script to measure');
    fs.writeFileSync(index, `${html.slice(0, at)}<script src="instrument.js"></script>\n${html.slice(at)}`);
    return dir;
  }

  // Starts a program of the stage (or an absolute path) with output to DIR/NAME.out.
  run(name, program, args) {
    const exe = path.isAbsolute(program) ? program : path.join(this.stage, program);
    const out = fs.openSync(path.join(this.dir, `${name}.out`), 'w');
    const child = spawn(exe, args, { env: this.env, stdio: ['ignore', out, out] });
    fs.closeSync(out);
    child.exited = new Promise((resolve) => child.once('exit', (code, signal) => resolve({ code, signal })));
    child.once('error', () => {});
    this.children.set(name, child);
    return child;
  }

  async waitExit(name) {
    const result = await this.children.get(name).exited;
    this.children.delete(name);
    if (result.code !== 0) throw new Error(`${name} failed: ${this.output(name)}`);
  }

  output(name) {
    try {
      return fs.readFileSync(path.join(this.dir, `${name}.out`), 'utf8');
    } catch {
      return '';
    }
  }

  // Freezes or resumes the simulated meter (its readings stop changing).
  pauseMeter(paused) {
    this.children.get('meter-sim').kill(paused ? 'SIGSTOP' : 'SIGCONT');
  }

  dmtool(...args) {
    execFileSync(path.join(this.stage, 'bin/dmtool'), ['--map', this.env.DATAMAP_FILE, ...args], { env: this.env });
  }

  // Ends every process (lighttpd, daemon, simulator), waits for them, and
  // removes the directory unless keep is set.
  async stop(keep) {
    for (const name of ['lighttpd', 'livedata_update', 'meter-sim']) {
      const child = this.children.get(name);
      if (!child || child.exitCode !== null || child.signalCode !== null) continue;
      child.kill('SIGCONT');
      child.kill('SIGTERM');
      const timer = setTimeout(() => child.kill('SIGKILL'), 5000);
      await child.exited;
      clearTimeout(timer);
    }
    this.children.clear();
    if (!keep) fs.rmSync(this.dir, { recursive: true, force: true });
  }

  // Synchronous last resort for process exit: kill whatever still runs.
  killNow() {
    for (const child of this.children.values()) {
      try {
        child.kill('SIGCONT');
        child.kill('SIGKILL');
      } catch {
        // already gone
      }
    }
  }
}
