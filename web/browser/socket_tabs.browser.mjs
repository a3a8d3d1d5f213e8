// The page client over the host's WebSocket (wsTransport) in a real browser: twenty tabs of one
// host each get every event while their calls are answered (over HTTP, a browser's six
// connections per host would be taken by six tabs' event streams), and a host that restarts on
// the same port is seen by its new instance: the pending call rejects "Restarted", the state
// "restarted" is reported, and the new instance's events arrive from its first.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readdirSync, readFileSync } from 'node:fs';
import { test, expect, serving } from './fixtures.mjs';
import { EXAMPLE_PAGE, TEST_APPLICATIONS } from './serve.mjs';

const APPS = TEST_APPLICATIONS;
const TABS = 20;
const EVENTS = 500;

test.use(serving(import.meta.url, ['--applications', APPS, '--page', EXAMPLE_PAGE]));

/** Opens the server's page with a bridge over the WebSocket in window.t. */
async function openSocketPage(page, url, reconnectMs = 50) {
  await page.goto(url);
  await page.evaluate(async (delay) => {
    const zarvo = await import('/zarvo/zarvo.js');
    const simulator = await import('/zarvo/simulator.js');
    const states = [];
    const bridge = zarvo.createBridge({
      transport: zarvo.wsTransport({ reconnectDelay: () => delay }),
    });
    bridge.onState((state) => states.push(state));
    window.t = { zarvo, simulator, bridge, states };
  }, reconnectMs);
}

test('twenty tabs over the WebSocket each get every event and their calls are answered', async ({
  context,
  server,
}) => {
  test.setTimeout(120_000);
  const tabs = [];
  for (let i = 0; i < TABS; i += 1) {
    const tab = await context.newPage();
    await openSocketPage(tab, server.url);
    tabs.push(tab);
  }
  await tabs[0].evaluate(async () => {
    await window.t.bridge.connect('viewer');
    await window.t.bridge.subscribe('viewer', 'tick', () => {});
  });
  // Every tab listens on its own socket, from now on.
  await Promise.all(
    tabs.map((tab) =>
      tab.evaluate(async (count) => {
        const ids = [];
        window.t.received = new Promise((resolve) => {
          window.t.bridge.onEvent((event, { id }) => {
            if (event.type !== 'tick') return;
            ids.push(id);
            if (ids.length === count) resolve(ids);
          });
        });
        await window.t.bridge.open();
      }, EVENTS),
    ),
  );
  await tabs[0].evaluate(
    (count) => window.t.simulator.raise('viewer', 'tick', '{"n":1}', { count }),
    EVENTS,
  );
  const results = await Promise.all(
    tabs.map((tab) =>
      tab.evaluate(async () => {
        const ids = await window.t.received;
        const answer = await window.t.bridge.request('viewer', { uri: '/document/open' });
        const inOrder = ids.every((id, i) => i === 0 || id === ids[i - 1] + 1);
        return { count: ids.length, inOrder, answer };
      }),
    ),
  );
  for (const result of results) {
    expect(result).toEqual({
      count: EVENTS,
      inOrder: true,
      answer: { data: { opened: true, pages: 12 }, statuscode: 200 },
    });
  }
});

/** Runs `zarvo_host serve` on `port`; resolves once it serves, with its child process. */
async function serveOn(port) {
  const child = spawn(
    process.env.ZARVO_HOST,
    ['serve', '--port', String(port), '--applications', APPS, '--page', EXAMPLE_PAGE],
    { stdio: ['ignore', 'pipe', 'inherit'] },
  );
  let out = '';
  await new Promise((resolve, reject) => {
    child.stdout.on('data', (chunk) => {
      out += chunk;
      if (out.includes('\n')) resolve();
    });
    child.once('exit', (code) => reject(new Error(`zarvo_host serve exited ${code}: ${out}`)));
  });
  return child;
}

/**
 * Resolves once every thread of `pid` is stopped: a signal stops a busy process's threads only
 * as each is next scheduled, and a call sent before that could still be answered.
 * @param {number} pid
 */
async function stopped(pid) {
  const state = (task) => {
    const stat = readFileSync(`/proc/${pid}/task/${task}/stat`, 'utf8');
    return stat.slice(stat.lastIndexOf(')') + 2, stat.lastIndexOf(')') + 3);
  };
  while (!readdirSync(`/proc/${pid}/task`).every((task) => state(task) === 'T')) {
    await new Promise((r) => setTimeout(r, 1));
  }
}

test('a host restarted on the same port: Restarted, the state, and its events from the first', async ({
  page,
  server,
}) => {
  // A port that is free now: the fixture's server gives up its own.
  const port = server.port;
  await server.stop();
  let first = await serveOn(port);
  // The page waits a second before it reconnects: time enough for the new process to listen, so
  // its first attempt finds the new host rather than nobody.
  await openSocketPage(page, `http://127.0.0.1:${port}/`, 1000);
  const before = await page.evaluate(async () => {
    const { bridge, simulator } = window.t;
    const ids = [];
    window.t.beforeIds = ids;
    // The stream is open before the first call, so the bridge hears the first instance id.
    await bridge.open();
    await bridge.connect('viewer');
    await bridge.subscribe('viewer', 'tick', (event, { id }) => ids.push(id));
    await simulator.raise('viewer', 'tick', '{"n":1}', { count: 3 });
    while (ids.length < 3) await new Promise((r) => setTimeout(r, 5));
    return ids.slice();
  });
  // The host stops answering with a call on its way, and is replaced by a new process.
  first.kill('SIGSTOP');
  await stopped(first.pid);
  const pending = page.evaluate(() =>
    window.t.bridge.request('viewer', { uri: '/document/open' }).then(
      () => 'answered',
      (e) => `${e.name} ${e.code}`,
    ),
  );
  await page.waitForTimeout(100);
  first.kill('SIGKILL');
  await once(first, 'exit');
  first = await serveOn(port);
  expect(await pending).toBe('TransportError Restarted');
  const after = await page.evaluate(async () => {
    const { bridge, simulator, states } = window.t;
    while (!states.includes('restarted')) await new Promise((r) => setTimeout(r, 5));
    const ids = [];
    await bridge.connect('viewer');
    await bridge.subscribe('viewer', 'tick', (event, { id }) => ids.push(id));
    await simulator.raise('viewer', 'tick', '{"n":2}', { count: 2 });
    while (ids.length < 2) await new Promise((r) => setTimeout(r, 5));
    // Anything that would come twice (the dropped listener, a repeat) has had time to arrive.
    await new Promise((r) => setTimeout(r, 200));
    return { ids, states, old: window.t.beforeIds.length };
  });
  expect(before.length).toBe(3);
  expect(after.states).toContain('restarted');
  // The new instance numbers its events from 1; the page gets them from its first.
  expect(after.ids).toEqual([1, 2]);
  // The listener of the subscription made before the restart was dropped: it saw none of them.
  expect(after.old).toBe(3);
  first.kill('SIGTERM');
  expect((await once(first, 'exit'))[0]).toBe(0);
});
