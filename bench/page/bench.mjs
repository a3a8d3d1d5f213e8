#!/usr/bin/env node
// The page benchmark through the client, in both runtimes: runtime_bench.html under
// `zarvo_host serve` in headless chromium (openBridge's WebSocket, then the HTTP transport) and
// inside zarvo_view (the web channel). Tiny call round trips, eight callers at once, and a burst
// of simulated events into a page listener with none lost. Not a test; prints a table.
//
//   node bench/page/bench.mjs [--host PATH] [--view PATH] [--calls N] [--events N]
// Build first: cmake --preset bench && cmake --build build/bench -j2 --target zarvo_host zarvo_view
// Needs Playwright in web/node_modules (npm ci --prefix web) and /usr/bin/chromium.
import { spawn } from 'node:child_process';
import { existsSync, mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import os from 'node:os';
import path from 'node:path';
import { parseArgs } from 'node:util';
import { benchApplications, defaultHost, here, launchChromium, repo, startServe } from './bench_support.mjs';

const { values: opts } = parseArgs({
  options: {
    host: { type: 'string', default: defaultHost },
    view: { type: 'string', default: path.join(repo, 'build/bench/tools/zarvo_view/zarvo_view') },
    calls: { type: 'string', default: '2000' },
    events: { type: 'string', default: '100000' },
  },
});
const query = `calls=${Number(opts.calls)}&events=${Number(opts.events)}`;

/** Collects the page's "bench <name> <value>" lines into an object, until "bench done". */
function collector() {
  const figures = {};
  let finished;
  const done = new Promise((resolve) => { finished = resolve; });
  const line = (text) => {
    const match = /^bench (\S+) (.*)$/.exec(text);
    if (!match) return;
    figures[match[1]] = match[2];
    if (match[1] === 'done') finished(figures);
  };
  return { line, done };
}

/** runtime_bench.html in chromium under the web host, over `transport` ('ws' or 'http'). */
async function inBrowser(transport) {
  const server = await startServe(opts.host, ['--page', here]);
  const browser = await launchChromium();
  try {
    const page = await browser.newPage();
    const { line, done } = collector();
    page.on('console', (message) => line(message.text()));
    await page.goto(`${server.url}runtime_bench.html?${query}&transport=${transport}`);
    return await done;
  } finally {
    await browser.close();
    server.child.kill('SIGTERM');
  }
}

/**
 * runtime_bench.html inside zarvo_view, offscreen; null when the view is not built. The view opens
 * a page file without a query string, so the page runs its defaults (2000 calls, 100,000 events).
 */
async function inView() {
  if (!existsSync(opts.view)) return null;
  const work = mkdtempSync(path.join(os.tmpdir(), 'zarvo-view-bench-'));
  mkdirSync(path.join(work, 'runtime'), { mode: 0o700 });
  const env = { ...process.env, HOME: work, XDG_RUNTIME_DIR: path.join(work, 'runtime'),
    QT_QPA_PLATFORM: 'offscreen', QT_QUICK_BACKEND: 'software',
    ...(process.getuid?.() === 0 ? { QTWEBENGINE_DISABLE_SANDBOX: '1' } : {}) };
  const child = spawn(opts.view, ['--applications', benchApplications, '--console', '--timeout', '300s',
    path.join(here, 'runtime_bench.html')], { env, stdio: ['ignore', 'pipe', 'inherit'] });
  const { line, done } = collector();
  let out = '';
  child.stdout.on('data', (chunk) => {
    out += chunk;
    const lines = out.split('\n');
    out = lines.pop() ?? '';
    for (const text of lines) line(text.replace(/^console: /, ''));
  });
  const exited = new Promise((resolve) => { child.once('exit', resolve); });
  const figures = await Promise.race([done, exited.then(() => ({ error: 'zarvo_view exited before the page finished' }))]);
  await exited;
  rmSync(work, { recursive: true, force: true });
  return figures;
}

const columns = [['chromium, WebSocket', await inBrowser('ws')], ['chromium, HTTP', await inBrowser('http')]];
const view = await inView();
if (!view) console.log(`(zarvo_view not built at ${opts.view}: its column is left out)`);
else {
  columns.push(['zarvo_view, web channel', view]);
  if (opts.calls !== '2000' || opts.events !== '100000') console.log('(zarvo_view ran the page defaults: 2000 calls, 100000 events)');
}

const us = (v) => (v === undefined ? 'n/a' : `${(Number(v) / 1000).toFixed(1)} ms`);
const intact = (f) => f.events_received === f.events && f.events_in_order === 'true' && f.events_gaps === '0';
const rows = [
  ['tiny call, sequential, p50', (f) => us(f.call_p50_us)],
  ['tiny call, sequential, p99', (f) => us(f.call_p99_us)],
  ['8 callers at once', (f) => `${f.concurrent_calls_per_second} calls/s`],
  [`${opts.events} events to a listener`, (f) => `${f.events_per_second} events/s`],
  ['... each seen once, in order, no gap', (f) => (intact(f) ? 'yes' : `NO: ${f.events_received ?? 0} seen, in order ${f.events_in_order}, gaps ${f.events_gaps}`)],
];
console.log(`| measure | ${columns.map(([name]) => name).join(' | ')} |`);
console.log(`|---|${columns.map(() => '---').join('|')}|`);
for (const [name, cell] of rows) console.log(`| ${name} | ${columns.map(([, f]) => cell(f)).join(' | ')} |`);
for (const [name, f] of columns) if (f.error) console.log(`${name}: error: ${f.error}`);
console.log(`\n${opts.calls} sequential calls after 100 of warm-up; performance.now() is coarsened to 0.1 ms in`
  + ` both runtimes; load average ${os.loadavg().map((l) => l.toFixed(1)).join(' ')} on ${os.cpus().length} cores.`);
process.exitCode = columns.every(([, f]) => !f.error && intact(f)) ? 0 : 1;
