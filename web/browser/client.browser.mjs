// The page client from page script against a real `zarvo_host serve`: calls, events, every
// error a page meets with its exact text, a lost connection, disconnect and teardown.
import { test, expect, serving } from './fixtures.mjs';
import { EXAMPLE_PAGE, TEST_APPLICATIONS } from './serve.mjs';
import { recordFailures } from './loading.mjs';

const APPS = TEST_APPLICATIONS;
test.use(serving(import.meta.url, ['--applications', APPS, '--page', EXAMPLE_PAGE]));

// Each test starts from a torn-down host and a page with a bridge in window.t.
test.beforeEach(async ({ page, server }) => {
  await page.goto(server.url);
  await page.evaluate(async () => {
    const zarvo = await import('/zarvo/zarvo.js');
    const simulator = await import('/zarvo/simulator.js');
    const bridge = zarvo.createBridge();
    await bridge.teardown();
    const settle = async (fn) => {
      try {
        return { value: await fn() };
      } catch (e) {
        return {
          error: {
            cls: e.constructor.name,
            name: e.name,
            status: e.status,
            message: e.message,
            code: e.code,
            envelope: e.envelope,
          },
        };
      }
    };
    window.t = { zarvo, simulator, bridge, settle };
  });
});

test("connect, request with the application's own statuses, custom task, disconnect", async ({
  page,
}) => {
  const results = await page.evaluate(async () => {
    const { bridge } = window.t;
    return [
      await bridge.connect('viewer'),
      await bridge.request('viewer', {
        uri: '/document/open',
        requestData: { path: '/home/ada/report.pdf' },
      }),
      await bridge.request('viewer', { uri: '/document/save', settings: { overwrite: true } }),
      await bridge.request('viewer', { uri: '/document/close' }),
      await bridge.customTask('viewer', { type: 'render', data: { pages: [1, 2, 3] } }),
      await bridge.disconnect('viewer'),
    ];
  });
  expect(results).toEqual([
    null,
    { data: { opened: true, pages: 12 }, statuscode: 200 },
    { data: { error: 'disk full' }, statuscode: 507 },
    { data: { error: 'unknown uri' }, statuscode: 404 },
    { data: { pages: 3 }, type: 'done' },
    null,
  ]);
  const log = await page.evaluate(() => window.t.simulator.callLog());
  expect(log.calls).toContain(
    'ZrvBridgeCross(1, "", "/document/open", "null", "{\\"path\\":\\"/home/ada/report.pdf\\"}", callback, context) -> 1 called back',
  );
});

test('exchange shows the exact texts: status, envelope and promise id', async ({ page }) => {
  const answer = await page.evaluate(() =>
    window.t.bridge.exchange('ZarvoApplication', {
      options: '{"method":"get"}',
      parameters: '{"name":"viewer"}',
    }),
  );
  expect(answer.status).toBe(405);
  expect(answer.text).toBe(
    '{"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null}',
  );
  expect(answer.promise).toBeGreaterThan(0);
});

test('events raised through the simulator arrive in order at the listener and on window', async ({
  page,
}) => {
  const got = await page.evaluate(async () => {
    const { bridge, simulator } = window.t;
    await bridge.connect('viewer');
    const listened = [];
    const onWindow = [];
    window.addEventListener('zarvoEvent', (e) => onWindow.push(e.detail));
    const unsubscribe = await bridge.subscribe('viewer', 'progress', (event, { id }) =>
      listened.push([id, event]),
    );
    await bridge.subscribe('viewer', 'saved', () => {});
    for (const percent of [10, 20, 30])
      await simulator.raise('viewer', 'progress', JSON.stringify({ percent }));
    await simulator.raise('viewer', 'progress', '{"percent":99}', { count: 200 });
    await simulator.raise('viewer', 'saved', '{"ok":true}');
    while (onWindow.length < 204) await new Promise((r) => setTimeout(r, 10));
    await unsubscribe();
    await simulator.raise('viewer', 'progress', '{"percent":100}');
    await new Promise((r) => setTimeout(r, 100));
    return { listened, onWindow };
  });
  expect(got.listened).toHaveLength(203);
  expect(got.listened.slice(0, 3).map(([, e]) => e)).toEqual(
    [10, 20, 30].map((percent) => ({ app: 'viewer', data: { percent }, type: 'progress' })),
  );
  const ids = got.listened.map(([id]) => id);
  expect(ids).toEqual(ids.map((_, i) => ids[0] + i));
  expect(got.onWindow).toHaveLength(204);
  expect(got.onWindow[203]).toEqual({ app: 'viewer', data: { ok: true }, type: 'saved' });
});

test('an event raised the instant the subscription exists is not lost', async ({ page }) => {
  const got = await page.evaluate(async () => {
    const { bridge } = window.t;
    await bridge.connect('ticker');
    const seen = [];
    await bridge.subscribe('ticker', 'tick', (event) => seen.push(event.data.n));
    while (seen.length < 3) await new Promise((r) => setTimeout(r, 5));
    return seen;
  });
  expect(got).toEqual([1, 2, 3]);
});

test('every error a page meets, with its exact text', async ({ page }) => {
  const errors = await page.evaluate(async () => {
    const { bridge, settle } = window.t;
    await bridge.connect('viewer');
    return [
      await settle(() => bridge.connect('')),
      await settle(() => bridge.connect('viewer')),
      await settle(() => bridge.connect('scanner')),
      await settle(() => bridge.request('scanner', { uri: '/scan' })),
      await settle(() => bridge.request('viewer', {})),
      await settle(() => bridge.customTask('viewer', { data: 1 })),
      await settle(() => bridge.customTask('viewer', { type: 'fly' })),
      await settle(() => bridge.subscribe('viewer', '', () => {})),
      await settle(() => bridge.subscribe('', 'progress', () => {})),
      await settle(() =>
        bridge.call('ZarvoApplication', 'get', { parameters: '{"name":"viewer"}' }),
      ),
      await settle(() =>
        bridge.call('ZarvoApplicationBridge', 'put', { parameters: '{"name":"viewer"}' }),
      ),
      await settle(() =>
        bridge.call('ZarvoApplicationCustom', 'delete', { parameters: '{"name":"viewer"}' }),
      ),
      await settle(() => bridge.disconnect('printer')),
      await settle(() => bridge.exchange('ZarvoFoo', {})),
    ];
  });
  const bridgeError = (status, name, message) => ({
    cls: 'BridgeError',
    status,
    name,
    message,
    code: undefined,
    envelope: JSON.stringify({ error: { message, name }, value: null }),
  });
  expect(errors.map((e) => e.error)).toEqual([
    bridgeError(400, 'BadRequestError', "URI parameter 'name' is empty."),
    bridgeError(500, 'InternalError', 'Failed to connect application.'),
    bridgeError(500, 'InternalError', 'Failed to connect application.'),
    bridgeError(400, 'BadRequestError', 'Application instance is not existed.'),
    bridgeError(400, 'BadRequestError', 'uri is empty string.'),
    bridgeError(400, 'BadRequestError', 'type is empty string.'),
    bridgeError(500, 'InternalError', 'No response from the application.'),
    bridgeError(400, 'BadRequestError', "URI parameter 'type' is empty."),
    bridgeError(400, 'BadRequestError', "URI parameter 'name' is empty."),
    bridgeError(405, 'MethodError', 'GET method is not allowed.'),
    bridgeError(405, 'MethodError', 'PUT method is not allowed.'),
    bridgeError(405, 'MethodError', 'DELETE method is not allowed.'),
    bridgeError(400, 'BadRequestError', 'Application instance is not existed.'),
    {
      cls: 'TransportError',
      name: 'TransportError',
      status: 404,
      code: 'NotFound',
      message: "unknown resource 'ZarvoFoo'",
    },
  ]);
});

test('a lost connection keeps the name until the page disconnects it', async ({ page }) => {
  const steps = await page.evaluate(async () => {
    const { bridge, simulator, settle } = window.t;
    await bridge.connect('viewer');
    const from = (await simulator.callLog()).next;
    return {
      notice: await simulator.reportLostConnection('viewer'),
      reconnect: await settle(() => bridge.connect('viewer')),
      disconnect: await settle(() => bridge.disconnect('viewer')),
      again: await settle(() => bridge.connect('viewer')),
      notConnected: await settle(() => simulator.reportLostConnection('printer')),
      log: (await simulator.callLog({ from })).calls,
    };
  });
  expect(steps.notice).toEqual({ notified: true });
  expect(steps.reconnect.error.message).toBe('Failed to connect application.');
  expect(steps.disconnect).toEqual({ value: null });
  expect(steps.again).toEqual({ value: null });
  expect(steps.notConnected.error).toMatchObject({
    cls: 'TransportError',
    status: 404,
    code: 'NotConnected',
    message: "application 'printer' is not connected",
  });
  expect(steps.log.some((line) => line.startsWith('ZrvDisconnectApplication('))).toBe(true);
});

test('teardown disconnects every application', async ({ page }) => {
  const after = await page.evaluate(async () => {
    const { bridge, simulator, settle } = window.t;
    await bridge.connect('viewer');
    await bridge.connect('printer');
    const from = (await simulator.callLog()).next;
    await bridge.teardown();
    return {
      log: (await simulator.callLog({ from })).calls,
      request: await settle(() => bridge.customTask('printer', { type: 'print' })),
    };
  });
  expect(after.log.filter((line) => line.startsWith('ZrvDisconnectApplication('))).toHaveLength(2);
  expect(after.request.error.message).toBe('Application instance is not existed.');
});

test('wide integers reach the application as the numbers the page holds; written in full they would wrap', async ({
  page,
}) => {
  const logged = await page.evaluate(async () => {
    const { bridge, simulator } = window.t;
    await bridge.connect('viewer');
    const values = {
      max53: 2 ** 53,
      below63: 9223372036854774784,
      two63: 2 ** 63,
      minus63: -(2 ** 63),
      e19: 1e19,
      e20: 1e20,
      e21: 1e21,
    };
    // The requestData text each call gave the application, from the library's call log.
    const received = async (call) => {
      const from = (await simulator.callLog()).next;
      await call();
      const [line] = (await simulator.callLog({ from })).calls;
      const quoted =
        /^ZrvBridgeCross\(\d+, "", "\/document\/open", "null", "((?:[^"\\]|\\.)*)"/.exec(line)[1];
      return JSON.parse(`"${quoted}"`);
    };
    return {
      values,
      guarded: await received(() =>
        bridge.request('viewer', { uri: '/document/open', requestData: values }),
      ),
      plain: await received(() =>
        bridge.call('ZarvoApplicationBridge', 'post', {
          parameters: '{"name":"viewer"}',
          body: JSON.stringify({ uri: '/document/open', requestData: values }),
        }),
      ),
    };
  });
  expect(JSON.parse(logged.guarded)).toEqual(logged.values);
  // The same values written by JSON.stringify: from 2^63 on, the plug-in reads a wrapped integer.
  const plain = JSON.parse(logged.plain);
  expect(plain.max53).toBe(logged.values.max53);
  expect(plain.below63).toBe(logged.values.below63);
  expect(plain.e21).toBe(logged.values.e21);
  expect(logged.plain).toContain('"two63":-9223372036854775616');
  expect(logged.plain).toContain('"e20":7766279631452241920');
  for (const key of ['two63', 'minus63', 'e19', 'e20'])
    expect(plain[key]).not.toBe(logged.values[key]);
});

test('NaN and a lone surrogate are refused in the page with their path; nothing is sent', async ({
  page,
}) => {
  const got = await page.evaluate(async () => {
    const { bridge, simulator, settle } = window.t;
    await bridge.connect('viewer');
    const from = (await simulator.callLog()).next;
    const refused = [
      await settle(() =>
        bridge.request('viewer', { uri: '/document/open', requestData: { list: [1, NaN] } }),
      ),
      await settle(() => bridge.customTask('viewer', { type: 'render', data: { s: 'x\uD800' } })),
    ];
    return { refused, log: (await simulator.callLog({ from })).calls };
  });
  expect(got.refused.map((r) => [r.error.cls, r.error.message])).toEqual([
    ['TypeError', 'requestData.list[1] is NaN, which JSON cannot carry'],
    ['TypeError', 'data.s holds a lone surrogate (U+D800 at index 1), which is not Unicode text'],
  ]);
  expect(got.log).toEqual([]);
});

test("openBridge's expected errors leave devtools clean: no failed request, no console error", async ({
  page,
}) => {
  const failures = recordFailures(page);
  const got = await page.evaluate(async () => {
    const { zarvo, settle } = window.t;
    const bridge = zarvo.openBridge();
    const results = [
      await settle(() => bridge.connect('')),
      await settle(() => bridge.request('scanner', { uri: '/scan' })),
      await settle(() => bridge.exchange('ZarvoFoo', {})),
      await settle(() => bridge.connect('viewer')),
    ];
    await bridge.teardown();
    return results.map((r) => r.error?.name ?? r.value);
  });
  expect(got).toEqual(['BadRequestError', 'BadRequestError', 'TransportError', null]);
  expect(failures).toEqual([]);
});
