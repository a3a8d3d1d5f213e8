// The client's modules import each other without a circle: every module can be loaded on its
// own, and a bundler or a reader meets each module once. Static imports, re-exports and dynamic
// import() with a literal path all count as edges.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { readdirSync, readFileSync } from 'node:fs';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const ZARVO = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../zarvo');
const IMPORT =
  /\b(?:import|export)\s[^'"]*?\bfrom\s*['"]([^'"]+)['"]|\bimport\s*\(\s*['"]([^'"]+)['"]\s*\)|\bimport\s*['"]([^'"]+)['"]/g;

/** The relative modules `file` imports, as paths relative to web/zarvo. */
export function importsOf(text, file) {
  const found = new Set();
  const code = text.replace(/\/\*[\s\S]*?\*\/|\/\/.*$/gm, '');
  for (const match of code.matchAll(IMPORT)) {
    const specifier = match[1] ?? match[2] ?? match[3];
    if (specifier.startsWith('.'))
      found.add(path.normalize(path.join(path.dirname(file), specifier)));
  }
  return [...found];
}

/** The first import circle in `graph` (module -> imported modules), as a list, or null. */
export function findCycle(graph) {
  const state = new Map(); // module -> 'open' | 'done'
  for (const start of Object.keys(graph)) {
    if (state.has(start)) continue;
    const stack = [[start, 0]];
    const trail = [start];
    state.set(start, 'open');
    while (stack.length > 0) {
      const top = stack[stack.length - 1];
      const edges = graph[top[0]] ?? [];
      if (top[1] === edges.length) {
        state.set(top[0], 'done');
        stack.pop();
        trail.pop();
        continue;
      }
      const next = edges[top[1]++];
      if (state.get(next) === 'open') return [...trail.slice(trail.indexOf(next)), next];
      if (state.has(next)) continue;
      state.set(next, 'open');
      stack.push([next, 0]);
      trail.push(next);
    }
  }
  return null;
}

test('the cycle finder names a circle and accepts a tree', () => {
  assert.deepEqual(findCycle({ 'a.js': ['b.js'], 'b.js': ['c.js'], 'c.js': ['a.js'] }), [
    'a.js',
    'b.js',
    'c.js',
    'a.js',
  ]);
  assert.deepEqual(findCycle({ 'a.js': ['a.js'] }), ['a.js', 'a.js']);
  assert.equal(findCycle({ 'a.js': ['b.js', 'c.js'], 'b.js': ['c.js'], 'c.js': [] }), null);
});

test('every kind of import is an edge; comments and packages are not', () => {
  const text = [
    "import { a } from './a.js';",
    "import './side.js';",
    "export { b } from './b.js';",
    'export * from "./c.js";',
    "const d = await import('./d.js');",
    "import x from 'package';",
    "// import { e } from './e.js';",
    "/* import('./f.js') */",
  ].join('\n');
  assert.deepEqual(importsOf(text, 'zarvo.js').sort(), ['a.js', 'b.js', 'c.js', 'd.js', 'side.js']);
});

test('the modules of web/zarvo import each other without a circle', () => {
  const graph = {};
  for (const file of readdirSync(ZARVO).filter((f) => f.endsWith('.js'))) {
    graph[file] = importsOf(readFileSync(path.join(ZARVO, file), 'utf8'), file);
  }
  assert.ok(graph['zarvo.js'].includes('bridge.js'), 'the walk sees the imports of zarvo.js');
  assert.ok(graph['zarvo.js'].includes('webchannel.js'), 'the walk sees dynamic imports');
  assert.equal(findCycle(graph), null);
});
