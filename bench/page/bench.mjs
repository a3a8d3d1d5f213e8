#!/usr/bin/env node
// Page benchmark: starts `zarvo_host serve`, opens a bench page in headless chromium and measures,
// from page script through the client, sequential tiny calls, 8 concurrent callers and a burst of
// simulated events reaching a page listener. Not a test; prints a table.
//
//   node bench/page/bench.mjs [--host PATH] [--calls N] [--events N]
// Needs `npm ci --prefix web` (Playwright) and /usr/bin/chromium.
import { spawn } from 'node:child_process';
import path from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';
import { parseArgs } from 'node:util';
import os from 'node:os';

const repo = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
const { values: opts } = parseArgs({
  options: {
    host: { type: 'string', default: process.env.ZARVO_HOST ?? path.join(repo, 'build/default/tools/zarvo_host/zarvo_host') },
    calls: { type: 'string', default: '5000' },
    events: { type: 'string', default: '100000' },
  },
});
const { chromium } = await import(pathToFileURL(path.join(repo, 'web/node_modules/@playwright/test/index.mjs')));

function startServe() {
  const child = spawn(opts.host, ['serve', '--port', '0', '--page', path.join(repo, 'bench/page'),
    '--applications', path.join(repo, 'examples/applications.json')], { stdio: ['ignore', 'pipe', 'inherit'] });
  return new Promise((resolve, reject) => {
    let out = '';
    child.stdout.on('data', (chunk) => {
      out += chunk;
      const match = /^serving (\S+)\n/.exec(out);
      if (match) resolve({ child, url: match[1] });
    });
    child.once('exit', (code) => reject(new Error(`zarvo_host serve exited ${code}`)));
  });
}

const server = await startServe();
const browser = await chromium.launch({
  executablePath: '/usr/bin/chromium',
  args: [...(process.getuid?.() === 0 ? ['--no-sandbox'] : []), '--disable-gpu', '--disable-quic',
    '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'],
});
try {
  const page = await browser.newPage();
  await page.goto(server.url);
  await page.waitForFunction(() => window.bench);
  const result = await page.evaluate(async ({ calls, events }) => {
    const { bridge, simulator } = window.bench;
    await bridge.teardown();
    await bridge.connect('viewer');
    const tiny = () => bridge.request('viewer', { uri: '/document/open' });
    for (let i = 0; i < 500; i += 1) await tiny();

    const times = [];
    for (let i = 0; i < calls; i += 1) {
      const t0 = performance.now();
      await tiny();
      times.push(performance.now() - t0);
    }
    times.sort((a, b) => a - b);
    const pick = (q) => times[Math.min(times.length - 1, Math.floor(q * times.length))];

    const perCaller = Math.ceil(calls / 8);
    const c0 = performance.now();
    await Promise.all(Array.from({ length: 8 }, async () => {
      for (let i = 0; i < perCaller; i += 1) await tiny();
    }));
    const concurrentSeconds = (performance.now() - c0) / 1000;

    let seen = 0;
    let firstId = 0;
    let lastId = 0;
    let outOfOrder = 0;
    let gaps = 0;
    let done;
    const finished = new Promise((resolve) => { done = resolve; });
    bridge.onGap(() => { gaps += 1; });
    await bridge.subscribe('viewer', 'burst', (event, { id }) => {
      if (seen === 0) firstId = id;
      else if (id !== lastId + 1) outOfOrder += 1;
      lastId = id;
      seen += 1;
      if (seen === events) done();
    });
    const e0 = performance.now();
    await simulator.raise('viewer', 'burst', '{"n":1}', { count: events });
    await Promise.race([finished, new Promise((r) => setTimeout(r, 120000))]);
    const eventSeconds = (performance.now() - e0) / 1000;
    return {
      p50: pick(0.5), p99: pick(0.99), calls,
      concurrentCalls: perCaller * 8, concurrentPerSecond: (perCaller * 8) / concurrentSeconds,
      events, seen, outOfOrder, gaps, firstId, lastId, eventsPerSecond: seen / eventSeconds,
    };
  }, { calls: Number(opts.calls), events: Number(opts.events) });

  const allSeen = result.seen === result.events && result.outOfOrder === 0 && result.gaps === 0
    && result.lastId - result.firstId + 1 === result.events;
  const rows = [
    ['tiny call, sequential, p50', `${result.p50.toFixed(3)} ms`, '< 1 ms'],
    ['tiny call, sequential, p99', `${result.p99.toFixed(3)} ms`, ''],
    ['8 concurrent callers', `${Math.round(result.concurrentPerSecond)} calls/s`, ''],
    [`burst of ${result.events} events to a listener`, `${Math.round(result.eventsPerSecond)} events/s`, '>= 20000 events/s'],
    ['events seen once, in order, no gap', allSeen ? `yes (${result.seen})` : `NO: ${result.seen} seen, ${result.outOfOrder} out of order, ${result.gaps} gaps`, 'all'],
  ];
  console.log(`| measure | result | target |\n|---|---|---|`);
  for (const row of rows) console.log(`| ${row.join(' | ')} |`);
  console.log(`\n${result.calls} sequential calls (after 500 warm-up), ${result.concurrentCalls} concurrent; performance.now() in chromium is coarsened to 0.1 ms; load average ${os.loadavg().map((l) => l.toFixed(1)).join(' ')} on ${os.cpus().length} cores.`);
  process.exitCode = allSeen ? 0 : 1;
} finally {
  await browser.close();
  server.child.kill('SIGTERM');
}
