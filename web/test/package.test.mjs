// The client as an npm package (web/zarvo/package.json, "@zarvo/bridge-client"): what `npm pack`
// puts in it, that every entry point it exports is in it, and that it is importable by its name.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { existsSync, readFileSync } from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const ZARVO = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../zarvo');
const manifest = JSON.parse(readFileSync(path.join(ZARVO, 'package.json'), 'utf8'));

function packedFiles() {
  const npm = process.platform === 'win32' ? 'npm.cmd' : 'npm';
  const out = execFileSync(npm, ['pack', '--dry-run', '--json', '--ignore-scripts'], {
    cwd: ZARVO,
    encoding: 'utf8',
    stdio: ['ignore', 'pipe', 'ignore'],
  });
  const [pack] = JSON.parse(out);
  return { name: pack.name, files: pack.files.map((f) => f.path).sort() };
}

test('npm pack holds the modules, their declarations and the manifest, nothing else', () => {
  const { name, files } = packedFiles();
  assert.equal(name, '@zarvo/bridge-client');
  assert.deepEqual(files, [
    'bridge.js',
    'errors.js',
    'host_fetch.js',
    'http_transport.js',
    'json_guard.js',
    'package.json',
    'request_texts.js',
    'simulator.d.ts',
    'simulator.js',
    'simulator_bodies.js',
    'testing.d.ts',
    'testing.js',
    'webchannel.d.ts',
    'webchannel.js',
    'ws_transport.js',
    'zarvo.d.ts',
    'zarvo.js',
  ]);
});

test('every entry point and its types are in the package and on disk', () => {
  const { files } = packedFiles();
  assert.equal(manifest.type, 'module');
  assert.equal(manifest.types, './zarvo.d.ts');
  assert.deepEqual(Object.keys(manifest.exports), [
    '.',
    './simulator',
    './testing',
    './package.json',
  ]);
  for (const [entry, target] of Object.entries(manifest.exports)) {
    const targets = typeof target === 'string' ? [target] : [target.types, target.default];
    for (const file of targets) {
      assert.ok(files.includes(file.replace(/^\.\//, '')), `${entry}: ${file} is packed`);
      assert.ok(existsSync(path.join(ZARVO, file)), `${entry}: ${file} exists`);
    }
  }
});

test('the package is importable by its name and is the same module as the file', async () => {
  const byName = await import('@zarvo/bridge-client');
  const byPath = await import('../zarvo/zarvo.js');
  assert.equal(byName.createBridge, byPath.createBridge);
  assert.deepEqual(Object.keys(byName).sort(), [
    'BridgeError',
    'RESOURCES',
    'TransportError',
    'createBridge',
    'httpTransport',
    'openBridge',
    'wsTransport',
  ]);
  const testing = await import('@zarvo/bridge-client/testing');
  assert.equal(typeof testing.createFakeBridge, 'function');
  const simulator = await import('@zarvo/bridge-client/simulator');
  assert.equal(typeof simulator.createSimulator, 'function');
  await assert.rejects(import('@zarvo/bridge-client/bridge.js'), {
    code: 'ERR_PACKAGE_PATH_NOT_EXPORTED',
  });
});
