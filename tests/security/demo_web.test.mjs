// scripts/demo run by root on a free loopback port, the simulator and the
// documents at 10 ms periods:
// lighttpd runs as www-data shut into DIR/www, serves no link, no dotfile and
// no "~" backup, answers only GET and HEAD, sends the security headers on every
// response, what the demo made is closed to other users, and
// polling_data.json read through lighttpd at 10 ms periods always arrives
// whole and parses. Ctrl-C leaves nothing running.
//
// LDU_SECURITY_READS: reads of the document in all (default 20000);
// LDU_SECURITY_READERS: connections reading side by side, each at 10 ms
// periods (default 1; 100000 reads by 5 readers take as long as 20000 by one).
// LDU_SECURITY_OUT: a file for the read figures (JSON).

import { test } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import {
  skipReason, tempRoot, makeVictim, freePort, RunningDemo, userId, JSON_PATH, HTDOCS_PATH,
} from './demo_support.mjs';

const skip = skipReason() || false;
const READS = Number(process.env.LDU_SECURITY_READS || 20000);
const READERS = Number(process.env.LDU_SECURITY_READERS || 1);
const PERIOD_MS = 10;

const SECURITY_HEADERS = {
  'content-security-policy': "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    + "connect-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'none'",
  'x-content-type-options': 'nosniff',
  'referrer-policy': 'no-referrer',
};

function idsOf(pid) {
  const status = fs.readFileSync(`/proc/${pid}/status`, 'utf8');
  const field = (name) => new RegExp(`^${name}:(.*)$`, 'm').exec(status)[1].trim().split(/\s+/)
    .filter((word) => word !== '').map(Number);
  return { uid: field('Uid'), gid: field('Gid'), groups: field('Groups') };
}

function running(pid) {
  try {
    process.kill(pid, 0);
    return true;
  } catch {
    return false;
  }
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

test("the demo's web server, run by root", { skip }, async (t) => {
  const root = tempRoot('ldu-sec-web-');
  const dir = path.join(root, 'meter');
  const victim = makeVictim(root);
  const port = await freePort();
  const base = `http://127.0.0.1:${port}`;
  const demo = new RunningDemo(dir, ['--port', String(port), '--period', String(PERIOD_MS)],
    ['--period', String(PERIOD_MS)]);
  t.after(async () => {
    await demo.stop();
    if (!process.env.LDU_SECURITY_KEEP) fs.rmSync(root, { recursive: true, force: true });
  });
  const pids = await demo.started();
  const htdocs = path.join(dir, HTDOCS_PATH);
  const json = path.join(dir, JSON_PATH);
  const wwwData = userId('www-data');
  // A file only the access rules can keep from lighttpd: www-data may read it.
  const servable = (file, text) => {
    fs.mkdirSync(path.dirname(file), { recursive: true });
    fs.writeFileSync(file, text, { mode: 0o640 });
    fs.chownSync(file, 0, wwwData);
    for (let at = path.dirname(file); at.startsWith(htdocs) && at !== htdocs; at = path.dirname(at)) {
      fs.chownSync(at, 0, wwwData);
      fs.chmodSync(at, 0o750);
    }
  };

  await t.test('lighttpd runs as www-data, shut into DIR/www', () => {
    const ids = idsOf(pids.web);
    assert.deepEqual(ids.uid, [wwwData, wwwData, wwwData, wwwData]);
    assert.deepEqual(ids.gid, [wwwData, wwwData, wwwData, wwwData]);
    assert.deepEqual(ids.groups, [wwwData]);
    assert.equal(fs.readlinkSync(`/proc/${pids.web}/root`), path.join(dir, 'www'));
  });

  await t.test('what the demo made is closed to other users', () => {
    const mode = (name) => fs.lstatSync(path.join(dir, name)).mode & 0o7777;
    assert.equal(mode('.'), 0o700);
    assert.equal(fs.lstatSync(dir).uid, 0);
    for (const name of ['lighttpd.conf', 'lighttpd.out', 'meter-sim.out', 'livedata_update.out',
      'home/korvo.data/test/livedata_update_runtime.xml']) {
      assert.equal(mode(name) & 0o077, 0, `${name}: mode ${mode(name).toString(8)}`);
    }
    for (let at = json; at !== dir; at = path.dirname(at)) {
      const st = fs.lstatSync(at);
      assert.deepEqual([st.uid, st.gid, st.mode & 0o7777], [0, wwwData, 0o750], at);
    }
  });

  await t.test('every response carries the security headers', async () => {
    fs.writeFileSync(path.join(htdocs, '.hidden'), 'hidden\n');
    const requests = [
      ['GET', '/common_ui/live/', 200], ['GET', '/common_ui/json/polling_data.json', 200],
      ['GET', '/no/such/file.json', 404], ['GET', '/', 302], ['GET', '/.hidden', 403],
      ['HEAD', '/common_ui/json/phasor_data.json', 200], ['POST', '/common_ui/json/polling_data.json', 403],
    ];
    for (const [method, url, status] of requests) {
      const response = await fetch(base + url, { method, redirect: 'manual', body: method === 'POST' ? 'x' : undefined });
      await response.arrayBuffer();
      assert.equal(response.status, status, `${method} ${url}`);
      for (const [name, value] of Object.entries(SECURITY_HEADERS)) {
        assert.equal(response.headers.get(name), value, `${name} on ${method} ${url} (${status})`);
      }
    }
  });

  await t.test('a link in the document tree is not served, wherever it points', async () => {
    servable(path.join(htdocs, 'plain/served.txt'), 'served\n');
    fs.symlinkSync('polling_data.json', path.join(json, 'alias.json'));
    fs.symlinkSync(victim, path.join(json, 'victim.json'));
    fs.symlinkSync('/etc/passwd', path.join(htdocs, 'passwd.txt'));
    fs.symlinkSync('plain', path.join(htdocs, 'linked'));
    assert.equal((await fetch(`${base}/plain/served.txt`)).status, 200, 'a plain file is served');
    for (const url of ['/common_ui/json/alias.json', '/common_ui/json/victim.json', '/passwd.txt',
      '/linked/served.txt']) {
      const response = await fetch(base + url);
      const body = await response.text();
      assert.ok([403, 404].includes(response.status), `${url}: ${response.status}`);
      assert.ok(!body.includes("root's own bytes") && !body.includes('root:') && !body.includes('served'), url);
    }
  });

  await t.test('dotfiles and "~" backups are denied', async () => {
    for (const name of ['.hidden', '.git/config', 'common_ui/json/.draft.json', 'common_ui/.env', 'file~',
      'common_ui/json/polling_data.json~']) {
      servable(path.join(htdocs, name), 'not for the web\n');
      const response = await fetch(`${base}/${name}`);
      assert.ok(!(await response.text()).includes('not for the web'), name);
      assert.equal(response.status, 403, name);
    }
  });

  await t.test('only GET and HEAD are answered', async () => {
    for (const method of ['POST', 'PUT', 'DELETE', 'PATCH', 'OPTIONS']) {
      for (const url of ['/common_ui/json/polling_data.json', '/common_ui/json/new.json', '/common_ui/live/']) {
        const response = await fetch(base + url, { method, body: ['POST', 'PUT', 'PATCH'].includes(method) ? '{}' : undefined });
        await response.arrayBuffer();
        assert.ok([403, 405].includes(response.status), `${method} ${url}: ${response.status}`);
      }
    }
    assert.ok(!fs.existsSync(path.join(json, 'new.json')));
    assert.ok(fs.existsSync(path.join(json, 'polling_data.json')));
    assert.equal((await fetch(`${base}/common_ui/json/polling_data.json`, { method: 'HEAD' })).status, 200);
  });

  await t.test(`polling_data.json read through lighttpd ${READS} times at ${PERIOD_MS} ms periods always parses`,
    async (st) => {
      const url = `${base}/common_ui/json/polling_data.json`;
      const failures = { status: 0, cut: 0, unparsed: 0 };
      let first = '';
      const started = Date.now();
      // One reader: its reads are due every PERIOD_MS from its start (the
      // readers' starts spread over one period), each counted as failed when its status is not 200, it arrives cut or its
      // text does not parse.
      const reader = async (reads, offsetMs) => {
        for (let i = 0; i < reads; i += 1) {
          const due = started + offsetMs + i * PERIOD_MS;
          if (Date.now() < due) await sleep(due - Date.now());
          let kind = '';
          try {
            const response = await fetch(url);
            const text = await response.text();
            if (response.status !== 200) kind = 'status';
            else {
              try {
                JSON.parse(text);
              } catch {
                kind = 'unparsed';
              }
            }
            if (kind && !first) first = `${response.status} ${JSON.stringify(text.slice(0, 80))}`;
          } catch (error) {
            kind = 'cut';
            if (!first) first = String(error.cause || error);
          }
          if (kind) failures[kind] += 1;
        }
      };
      const shares = Array.from({ length: READERS }, (_, i) => Math.floor((READS + i) / READERS));
      await Promise.all(shares.map((reads, i) => reader(reads, (i * PERIOD_MS) / READERS)));
      const failed = failures.status + failures.cut + failures.unparsed;
      const figures = {
        reads: READS, readers: READERS, failed, ...failures, periodMs: PERIOD_MS, seconds: (Date.now() - started) / 1000,
        date: new Date().toISOString(), host: os.hostname(), cpus: os.cpus().length, first,
      };
      st.diagnostic(JSON.stringify(figures));
      if (process.env.LDU_SECURITY_OUT) fs.writeFileSync(process.env.LDU_SECURITY_OUT, `${JSON.stringify(figures)}\n`);
      assert.equal(failed, 0, `${failed} of ${READS} reads failed: ${JSON.stringify(figures)}`);
    });

  await t.test('Ctrl-C stops lighttpd, the daemon and the simulator', async () => {
    const result = await demo.stop();
    assert.equal(result.code, 0, demo.output);
    for (const [name, pid] of Object.entries(pids)) assert.ok(!running(pid), `${name} (pid ${pid}) still runs`);
  });
});
