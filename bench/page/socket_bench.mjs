#!/usr/bin/env node
// Page benchmark of the host's WebSocket protocol, in one run against a bare WebSocket echo
// (page_ws_echo) in the same headless chromium: tiny round trips (echo, call over the socket,
// call over HTTP fetch), events per second to a page listener with none lost, twenty tabs that
// each receive every event while a tab's calls are timed, 500 calls at once from one page, and
// the server's memory. Not a test; prints a table.
//
//   node bench/page/socket_bench.mjs [--host PATH] [--echo PATH] [--calls N] [--events N]
//                                    [--tab-events N] [--tabs N]
// Build first: cmake --preset bench && cmake --build build/bench -j2 --target zarvo_host page_ws_echo
// Needs Playwright in web/node_modules (npm ci --prefix web) and /usr/bin/chromium.
import os from 'node:os';
import path from 'node:path';
import { parseArgs } from 'node:util';
import { defaultHost, here, launchChromium, memoryKiB, repo, start, startServe } from './bench_support.mjs';

const { values: opts } = parseArgs({
  options: {
    host: { type: 'string', default: defaultHost },
    echo: { type: 'string', default: path.join(repo, 'build/bench/bench/page/page_ws_echo') },
    calls: { type: 'string', default: '3000' },
    events: { type: 'string', default: '200000' },
    'tab-events': { type: 'string', default: '50000' },
    tabs: { type: 'string', default: '20' },
  },
});

const echo = await start(opts.echo, [], /^echo (\S+)\n/);
const server = await startServe(opts.host, ['--page', here]);
const browser = await launchChromium();
const ms = (v) => `${v.toFixed(3)} ms`;
try {
  const context = await browser.newContext();
  const page = await context.newPage();
  await page.goto(`${server.url}socket_bench.html`);
  await page.waitForFunction(() => window.bench);
  const startMemory = memoryKiB(server.child.pid);

  const trips = await page.evaluate(({ echoUrl, calls }) => window.bench.roundTrips(echoUrl, calls),
    { echoUrl: echo.url, calls: Number(opts.calls) });
  const rate = await page.evaluate((count) => window.bench.eventRate(count), Number(opts.events));
  const burst = await page.evaluate(() => window.bench.concurrentCalls(500));

  // Twenty tabs, each with its own socket counting every event, while one of them times calls.
  const tabCount = Number(opts.tabs);
  const tabEvents = Number(opts['tab-events']);
  const tabs = [page];
  for (let i = 1; i < tabCount; i += 1) {
    const tab = await context.newPage();
    await tab.goto(`${server.url}socket_bench.html`);
    await tab.waitForFunction(() => window.bench);
    tabs.push(tab);
  }
  // One more page that only calls: what a call costs on the server while the tabs stream, apart
  // from the streaming tab's own backlog of event messages in the browser.
  const quiet = await context.newPage();
  await quiet.goto(`${server.url}socket_bench.html`);
  await quiet.waitForFunction(() => window.bench);
  await page.evaluate(() => window.bench.subscribe('tabs'));
  await Promise.all(tabs.map((tab) => tab.evaluate((count) => window.bench.countEvents(count), tabEvents)));
  const timed = tabs[tabCount - 1].evaluate(() => window.bench.callsDuring(1500));
  const timedQuiet = quiet.evaluate(() => window.bench.callsDuring(1500));
  const raised = await fetch(`${server.url}simulator/raise`, {
    method: 'POST', headers: { 'Content-Type': 'application/json' },
    body: JSON.stringify({ app: 'viewer', type: 'tabs', payload: '{"n":1}', count: tabEvents }),
  });
  const counts = await Promise.all(tabs.map((tab) => tab.evaluate(() => window.counting)));
  const during = await timed;
  const duringQuiet = await timedQuiet;
  const endMemory = memoryKiB(server.child.pid);

  const allTabs = counts.every((c) => c.seen === tabEvents && c.outOfOrder === 0 && c.gaps === 0);
  const allRate = rate.seen === Number(opts.events) && rate.outOfOrder === 0 && rate.gaps === 0;
  const rows = [
    ['tiny round trip p50: bare echo', ms(trips.echo.p50), ''],
    ['tiny call p50: host WebSocket', ms(trips.socket.p50), `${(trips.socket.p50 / trips.echo.p50).toFixed(2)}x echo (target <= 1.5x)`],
    ['tiny call p50: HTTP fetch', ms(trips.fetch.p50), `${(trips.fetch.p50 / trips.echo.p50).toFixed(2)}x echo`],
    ['tiny round trip p99: bare echo', ms(trips.echo.p99), ''],
    ['tiny call p99: host WebSocket', ms(trips.socket.p99), 'target < 2 ms'],
    ['tiny call p99: HTTP fetch', ms(trips.fetch.p99), ''],
    ['mean of a chain: echo / WebSocket / fetch', `${ms(trips.echo.chainedMean)} / ${ms(trips.socket.chainedMean)} / ${ms(trips.fetch.chainedMean)}`,
      `${(trips.socket.chainedMean / trips.echo.chainedMean).toFixed(2)}x echo`],
    [`${opts.events} events to one listener`, `${Math.round(rate.seen / rate.seconds)} events/s`, 'target >= 200000/s'],
    ['  all received once, in order, no gap', allRate ? `yes (${rate.seen})` : `NO: ${JSON.stringify(rate)}`, ''],
    ['500 calls at once from one page', `${burst.ms.toFixed(1)} ms (${burst.answered} answered)`, 'target < 100 ms'],
    [`${tabCount} tabs x ${tabEvents} events`, allTabs ? 'every tab got every event, in order, no gap' : `NO: ${JSON.stringify(counts)}`, ''],
    ['  a streaming tab\'s calls meanwhile: max / p99 / p50', `${ms(during.max)} / ${ms(during.p99)} / ${ms(during.p50)} (${during.calls} calls)`, 'target < 50 ms'],
    ['  a quiet page\'s calls meanwhile: max / p99 / p50', `${ms(duringQuiet.max)} / ${ms(duringQuiet.p99)} / ${ms(duringQuiet.p50)} (${duringQuiet.calls} calls)`, ''],
    ['server RSS at start / end / peak', `${(startMemory.rss / 1024).toFixed(1)} / ${(endMemory.rss / 1024).toFixed(1)} / ${(endMemory.peak / 1024).toFixed(1)} MiB`, ''],
  ];
  console.log('| measure | result | note |\n|---|---|---|');
  for (const row of rows) console.log(`| ${row.join(' | ')} |`);
  console.log(`\n${opts.calls} round trips of each kind (after 500 warm-up), interleaved; raise status ${raised.status};`
    + ` performance.now() in chromium is coarsened to 0.1 ms; load average ${os.loadavg().map((l) => l.toFixed(1)).join(' ')}`
    + ` on ${os.cpus().length} cores.`);
  process.exitCode = allTabs && allRate ? 0 : 1;
} finally {
  await browser.close();
  server.child.kill('SIGTERM');
  echo.child.kill('SIGTERM');
}
