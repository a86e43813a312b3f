// scripts/demo run by root with a DIR another user prepared: each attack is
// planted as user nobody, and the demo must refuse with exit 2 and one line on
// standard error, write nothing (DIR's tree and the victim files stay exactly
// as they were: bytes, owner, mode) and not hang. Nothing is started, so these
// tests need no lock; they need root.

import { test } from 'node:test';
import assert from 'node:assert/strict';
import fs from 'node:fs';
import path from 'node:path';
import {
  skipReason, asNobody, tempRoot, makeVictim, fileFacts, snapshot, demoRefusal, WRITTEN_DIRS, WRITTEN_FILES,
} from './demo_support.mjs';

const skip = skipReason() || false;
let root;  // root's temp directory, 0755
let open;  // root's directory everybody may write to, with the sticky bit (like /tmp)
let victim;
let victimDir;

function setUp() {
  root = tempRoot('ldu-sec-dir-');
  open = path.join(root, 'open');
  fs.mkdirSync(open);
  fs.chmodSync(open, 0o1777);
  const secret = path.join(root, 'secret');
  fs.mkdirSync(secret, { mode: 0o700 });
  victim = makeVictim(secret);
  victimDir = path.join(secret, 'dir');
  fs.mkdirSync(victimDir, { mode: 0o700 });
  makeVictim(victimDir, 'inside');
}

// The demo refused DIR as expected: exit 2, one line matching pattern, and
// neither watched tree nor the victim changed.
function expectRefusal(args, pattern, watched) {
  const before = watched.map((dir) => (fs.existsSync(dir) ? snapshot(dir) : null));
  const victimBefore = fileFacts(victim);
  const victimDirBefore = snapshot(victimDir);
  const result = demoRefusal(args);
  assert.equal(result.signal, null, `the demo hung and was killed: ${result.stderr}`);
  assert.equal(result.status, 2, `exit status; stderr: ${result.stderr} stdout: ${result.stdout}`);
  assert.equal(result.stdout, '');
  const lines = result.stderr.split('\n').filter((line) => line !== '');
  assert.equal(lines.length, 1, `one line on stderr: ${result.stderr}`);
  assert.match(lines[0], /^demo: /);
  assert.match(lines[0], pattern);
  watched.forEach((dir, i) => assert.deepEqual(fs.existsSync(dir) ? snapshot(dir) : null, before[i], `${dir} changed`));
  assert.deepEqual(fileFacts(victim), victimBefore, 'the victim file changed');
  assert.deepEqual(snapshot(victimDir), victimDirBefore, 'the victim directory changed');
  return lines[0];
}

test('the demo refuses DIR', { skip }, async (t) => {
  setUp();
  t.after(() => fs.rmSync(root, { recursive: true, force: true }));

  await t.test('made by another user, even empty', () => {
    const dir = path.join(open, 'empty');
    asNobody(`mkdir -m 755 '${dir}'`);
    expectRefusal([dir], /belongs to another user/, [open]);
  });

  await t.test('made by another user with links to root files at the names it writes', () => {
    const dir = path.join(open, 'meter');
    const links = ['lighttpd.conf', 'lighttpd.out', 'meter-sim.out', 'livedata_update.out', 'livedata.pid', 'datamap']
      .map((name) => `ln -s '${victim}' '${dir}/${name}'`).join('; ');
    asNobody(`mkdir -m 755 '${dir}'; ${links}; ln -s '${victimDir}' '${dir}/home'`);
    expectRefusal([dir], /belongs to another user/, [open]);
  });

  for (const mode of [0o770, 0o775, 0o707, 0o777, 0o1777]) {
    await t.test(`of root's that others may write to (mode ${mode.toString(8)})`, () => {
      const dir = path.join(root, `mode-${mode.toString(8)}`);
      fs.mkdirSync(dir);
      fs.chmodSync(dir, mode);
      expectRefusal([dir], /may be written by other users/, [dir]);
    });
  }

  await t.test('that does not exist yet, below a directory of another user', () => {
    const parent = path.join(open, 'nobodys');
    asNobody(`mkdir -m 755 '${parent}'`);
    expectRefusal([path.join(parent, 'meter')], /belongs to another user/, [open]);
  });

  await t.test('below a directory others may write to without the sticky bit', () => {
    const parent = path.join(root, 'shared');
    fs.mkdirSync(parent);
    fs.chmodSync(parent, 0o777);
    expectRefusal([path.join(parent, 'meter')], /may be written by other users/, [parent]);
  });

  await t.test('that is a link another user made to a directory of root', () => {
    const link = path.join(open, 'link');
    asNobody(`ln -s '${victimDir}' '${link}'`);
    expectRefusal([link], /link of another user/, [open]);
    expectRefusal([`${link}/`], /link of another user/, [open]);
  });

  await t.test("that is root's own link, even given with a trailing slash", () => {
    const link = path.join(root, 'own-link');
    fs.symlinkSync(victimDir, link);
    expectRefusal([link], /symbolic link/, [root]);
    expectRefusal([`${link}//`], /symbolic link/, [root]);
  });

  await t.test('below a link another user made', () => {
    const link = path.join(open, 'way');
    asNobody(`ln -s '${path.dirname(victimDir)}' '${link}'`);
    expectRefusal([path.join(link, 'dir')], /link of another user/, [open]);
    expectRefusal([path.join(link, 'meter')], /link of another user/, [open]);
  });
});

// A DIR of root's into which another user's link (or FIFO) was moved: the
// owner and mode checks pass, the name itself must be refused.
test('the demo refuses a link or a non-regular file at each name it writes', { skip }, async (t) => {
  setUp();
  t.after(() => fs.rmSync(root, { recursive: true, force: true }));
  let index = 0;
  const plant = (name, make) => {
    const dir = path.join(root, `case-${index}`);
    const staged = path.join(open, `planted-${index}`);
    index += 1;
    fs.mkdirSync(path.join(dir, path.dirname(name)), { recursive: true, mode: 0o755 });
    asNobody(make(staged));
    fs.renameSync(staged, path.join(dir, name));
    assert.equal(fs.lstatSync(path.join(dir, name)).uid, 65534, 'planted by nobody');
    return dir;
  };

  for (const name of WRITTEN_FILES) {
    await t.test(`a link at ${name}`, () => {
      const dir = plant(name, (staged) => `ln -s '${victim}' '${staged}'`);
      const line = expectRefusal([dir], /symbolic link/, [dir]);
      assert.ok(line.includes(name), line);
    });
  }
  for (const name of WRITTEN_DIRS) {
    await t.test(`a link at the directory ${name}`, () => {
      const dir = plant(name, (staged) => `ln -s '${victimDir}' '${staged}'`);
      const line = expectRefusal([dir], /symbolic link/, [dir]);
      assert.ok(line.includes(name), line);
    });
  }
  for (const name of ['lighttpd.conf', 'lighttpd.out', 'livedata.pid', 'datamap', WRITTEN_FILES.at(-1)]) {
    await t.test(`a FIFO at ${name}`, () => {
      const dir = plant(name, (staged) => `mkfifo -m 666 '${staged}'`);
      expectRefusal([dir], /not a regular file/, [dir]);
    });
  }
  await t.test('a directory at the runtime file', () => {
    const name = 'home/korvo.data/test/livedata_update_runtime.xml';
    const dir = plant(name, (staged) => `mkdir -m 777 '${staged}'`);
    expectRefusal([dir], /not a regular file/, [dir]);
  });
  await t.test('a directory of another user inside DIR', () => {
    const dir = plant('www', (staged) => `mkdir -m 755 '${staged}'`);
    expectRefusal([dir], /belongs to another user/, [dir]);
  });
});
