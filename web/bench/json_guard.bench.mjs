// The cost of the boundary guard (encodeJson) next to JSON.stringify, on a large request:
//   node bench/json_guard.bench.mjs
// Plain data takes the checked fast path (one walk, then JSON.stringify); a single value that
// must be rewritten sends the whole payload through the value-by-value writer.
import { encodeJson } from '../zarvo/json_guard.js';

function payload(items) {
  const list = [];
  for (let i = 0; i < items; i += 1) {
    list.push({
      id: i,
      name: `item number ${i}`,
      price: i * 1.25,
      tags: ['a', 'bb', 'ccc'],
      nested: { ok: i % 2 === 0, note: null, when: 'ßü€𝄞' },
    });
  }
  return { uri: '/document/save', requestData: { list, blob: 'x'.repeat(4 << 20) } };
}

function deep(levels) {
  const root = [];
  let inner = root;
  for (let i = 1; i < levels; i += 1) inner = inner[inner.push([]) - 1];
  return root;
}

function measure(name, run, rounds = 10) {
  run();
  run();
  const times = [];
  for (let i = 0; i < rounds; i += 1) {
    const start = performance.now();
    run();
    times.push(performance.now() - start);
  }
  times.sort((a, b) => a - b);
  console.log(
    `${name.padEnd(44)} median ${times[rounds >> 1].toFixed(1)} ms  min ${times[0].toFixed(1)} ms`,
  );
}

const plain = payload(100_000);
const text = JSON.stringify(plain);
console.log(`payload: ${(text.length / 1e6).toFixed(1)} MB of JSON, 100,000 objects`);
measure('JSON.stringify', () => JSON.stringify(plain));
measure('encodeJson (plain data: walk + stringify)', () => encodeJson(plain));
const wide = payload(100_000);
wide.requestData.list[50_000].price = 2 ** 63;
measure('encodeJson (one wide integer: own writer)', () => encodeJson(wide), 5);
const dated = payload(100_000);
for (const item of dated.requestData.list) item.when = new Date(item.id * 1000);
measure('JSON.stringify (a Date in every object)', () => JSON.stringify(dated), 5);
measure('encodeJson (a Date in every object)', () => encodeJson(dated), 5);
const small = {
  uri: '/document/open',
  requestData: { path: '/home/ada/report.pdf', pages: [1, 2, 3] },
};
measure(
  'encodeJson small request x 100,000',
  () => {
    for (let i = 0; i < 100_000; i += 1) encodeJson(small);
  },
  5,
);
measure(
  'JSON.stringify small request x 100,000',
  () => {
    for (let i = 0; i < 100_000; i += 1) JSON.stringify(small);
  },
  5,
);
const nested = deep(100_000);
measure('encodeJson 100,000 levels deep', () => encodeJson(nested), 5);
