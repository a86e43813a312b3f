// Shared by the demo's security tests: running scripts/demo against the staged
// programs, acting as an unprivileged user, and recording a tree so that a test
// can tell that nothing in it was written.
//
// Environment: LDU_STAGE (the staged install), LDU_SOURCE_DIR (the checkout).

import { spawn, spawnSync, execFileSync } from 'node:child_process';
import crypto from 'node:crypto';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';

export const STAGE = process.env.LDU_STAGE;
export const SOURCE = process.env.LDU_SOURCE_DIR;
export const DEMO = SOURCE && path.join(SOURCE, 'scripts/demo');

// Why the tests cannot run here, or '' when they can.
export function skipReason() {
  if (!STAGE || !SOURCE) return 'LDU_STAGE and LDU_SOURCE_DIR must name the staged install and the checkout';
  if (process.getuid() !== 0) return 'needs root: the tests plant files as user nobody and check lighttpd drops to www-data';
  if (!fs.existsSync('/usr/sbin/lighttpd')) return 'needs lighttpd (scripts/setup)';
  return '';
}

export const JSON_PATH = 'www/home/korvo.web/lighttpd/www/htdocs/common_ui/json';
export const HTDOCS_PATH = 'www/home/korvo.web/lighttpd/www/htdocs';
export const DOCUMENTS = [
  'polling_data.json', 'phasor_data.json', 'symmetrical_components.json', 'flicker_data.json',
  'energy_data.json', 'meter_factory_setting.json', 'thd_data.json', 'device_profile_label.json',
];
// Every name below DIR that the demo, meter-sim or the daemon writes.
export const WRITTEN_DIRS = [
  'home', 'home/korvo.data', 'home/korvo.data/test', 'home/korvo.data/root', 'www', 'www/home',
  'www/home/korvo.web', 'www/home/korvo.web/lighttpd', 'www/home/korvo.web/lighttpd/www', HTDOCS_PATH,
  `${HTDOCS_PATH}/common_ui`, JSON_PATH, 'www/live-page', 'www/metrics',
];
export const WRITTEN_FILES = [
  'lighttpd.conf', 'meter-sim.out', 'livedata_update.out', 'livedata_export.out', 'lighttpd.out',
  'livedata.log', 'livedata.pid', 'www/metrics/metrics.prom',
  'datamap', 'home/korvo.data/test/livedata_update_runtime.xml', 'home/korvo.data/root/kv7720.kps',
  ...DOCUMENTS.map((name) => `${JSON_PATH}/${name}`),
];

export function userId(name) {
  return Number(execFileSync('id', ['-u', name], { encoding: 'utf8' }).trim());
}

// Runs a shell command as user nobody (no supplementary groups).
export function asNobody(script) {
  execFileSync('setpriv', ['--reuid=nobody', '--regid=nogroup', '--clear-groups', '--', 'sh', '-ec', script],
    { stdio: ['ignore', 'pipe', 'pipe'] });
}

// A temporary directory of root's, 0755, so that nobody can reach what the
// tests give it.
export function tempRoot(prefix) {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), prefix));
  fs.chmodSync(dir, 0o755);
  return dir;
}

// A root-owned file only root may read, and the facts a test checks about it.
export function makeVictim(dir, name = 'victim') {
  const file = path.join(dir, name);
  fs.writeFileSync(file, `root's own bytes, ${name}\n`, { mode: 0o600 });
  return file;
}

export function fileFacts(file) {
  const st = fs.lstatSync(file);
  const facts = { uid: st.uid, gid: st.gid, mode: st.mode, size: st.size };
  if (st.isFile()) facts.bytes = fs.readFileSync(file).toString('hex');
  return facts;
}

// Every entry below dir, not following links: type, owner, mode, size,
// modification time and a digest of a regular file's bytes.
export function snapshot(dir) {
  const entries = {};
  const walk = (at) => {
    const st = fs.lstatSync(at);
    const entry = { uid: st.uid, gid: st.gid, mode: st.mode, size: st.size, mtime: st.mtimeMs };
    if (st.isSymbolicLink()) entry.link = fs.readlinkSync(at);
    if (st.isFile()) entry.sha = crypto.createHash('sha256').update(fs.readFileSync(at)).digest('hex');
    entries[path.relative(dir, at) || '.'] = entry;
    if (st.isDirectory()) for (const name of fs.readdirSync(at).sort()) walk(path.join(at, name));
  };
  walk(dir);
  return entries;
}

// Runs the demo to its end (it refuses before starting anything); a demo that
// does not end within timeoutMs is killed and reported as hanging.
export function demoRefusal(args, timeoutMs = 30000) {
  const result = spawnSync(DEMO, args, {
    env: { ...process.env, STAGE_DIR: STAGE }, encoding: 'utf8', timeout: timeoutMs, killSignal: 'SIGKILL',
  });
  return { status: result.status, signal: result.signal, stdout: result.stdout, stderr: result.stderr };
}

// A loopback port nobody listens on right now (the browser tests' rig, which
// needs node's own modules only).
export { freePort } from '../web/rig.mjs';

// Polls fn until it returns a truthy value; throws after timeoutMs.
export async function waitFor(what, fn, timeoutMs, stepMs = 100) {
  const deadline = Date.now() + timeoutMs;
  for (;;) {
    const value = await fn();
    if (value) return value;
    if (Date.now() > deadline) throw new Error(`timed out waiting for ${what}`);
    await new Promise((resolve) => setTimeout(resolve, stepMs));
  }
}

// A running demo in its own process group; stop() ends it as Ctrl-C would.
export class RunningDemo {
  constructor(dir, args, simulatorArgs = []) {
    this.dir = dir;
    this.output = '';
    this.child = spawn(DEMO, [...args, dir, '--', ...simulatorArgs], {
      env: { ...process.env, STAGE_DIR: STAGE }, stdio: ['ignore', 'pipe', 'pipe'], detached: true,
    });
    this.child.stdout.on('data', (chunk) => { this.output += chunk; });
    this.child.stderr.on('data', (chunk) => { this.output += chunk; });
    this.exited = new Promise((resolve) => this.child.once('exit', (code, signal) => resolve({ code, signal })));
  }

  // The pids the demo prints once all its programs run.
  async started(timeoutMs = 60000) {
    await waitFor('the demo to print its page', () => /demo: page: /.test(this.output) || this.child.exitCode !== null,
      timeoutMs);
    const match = /meter-sim \(pid (\d+)\), livedata_update \(pid (\d+)\), livedata_export \(pid (\d+)\) and lighttpd \(pid (\d+)\)/
      .exec(this.output);
    if (!match) throw new Error(`the demo did not start:\n${this.output}`);
    return { sim: Number(match[1]), daemon: Number(match[2]), exporter: Number(match[3]), web: Number(match[4]) };
  }

  async stop() {
    if (this.child.exitCode !== null || this.child.signalCode !== null) return this.exited;
    process.kill(this.child.pid, 'SIGINT');
    const timer = setTimeout(() => { try { process.kill(-this.child.pid, 'SIGKILL'); } catch { /* gone */ } }, 15000);
    const result = await this.exited;
    clearTimeout(timer);
    return result;
  }
}
