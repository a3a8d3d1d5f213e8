// Security from the browser's side: foreign origins and hosts are refused before anything reaches
// the plug-in, no CORS access is ever granted, and the request body limit is exact.
import { request as playwrightRequest } from '@playwright/test';
import { test, expect, serving } from './fixtures.mjs';
import { EXAMPLE_PAGE, TEST_APPLICATIONS } from './serve.mjs';

const APPS = TEST_APPLICATIONS;
const LIMIT = 16 * 1024 * 1024;
test.use(serving(import.meta.url, ['--applications', APPS, '--page', EXAMPLE_PAGE]));

async function callLogLength(api, target) {
  const response = await api.get(`${target.url}simulator/log`);
  return (await response.json()).next;
}

test('a request with a foreign Origin is refused and reaches nothing', async ({ server }) => {
  const api = await playwrightRequest.newContext();
  const before = await callLogLength(api, server);
  const response = await api.post(`${server.url}bridge/ZarvoApplication`, {
    headers: { Origin: 'http://evil.example', 'Content-Type': 'application/json' },
    data: '{"options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"viewer\\"}"}',
  });
  expect(response.status()).toBe(403);
  expect(await response.text()).toBe(
    '{"error":{"message":"Origin \'http://evil.example\' is not this server\'s origin","name":"Forbidden"}}',
  );
  const headers = response.headers();
  expect(headers['zarvo-status']).toBeUndefined();
  expect(Object.keys(headers).filter((h) => h.startsWith('access-control-'))).toEqual([]);
  expect(await callLogLength(api, server)).toBe(before);
  await api.dispose();
});

test('a page of another origin gets no CORS access and changes nothing', async ({
  page,
  server,
  otherServer,
}) => {
  const api = await playwrightRequest.newContext();
  const before = await callLogLength(api, otherServer);
  await page.goto(server.url);
  const outcome = await page.evaluate(async (target) => {
    const read = await fetch(`${target}simulator/applications`).then(
      () => 'read',
      (e) => e.name,
    );
    const post = await fetch(`${target}bridge/ZarvoApplication`, {
      method: 'POST',
      mode: 'no-cors',
      body: '{"options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"viewer\\"}"}',
    }).then(
      (r) => r.type,
      (e) => e.name,
    );
    const { httpTransport } = await import('/zarvo/zarvo.js');
    const viaClient = await httpTransport({ baseUrl: target })
      .exchange('ZarvoApplication', {
        options: '{"method":"post"}',
        parameters: '{"name":"viewer"}',
        extra: '',
        body: '',
      })
      .then(
        () => 'answered',
        (e) => `${e.name} ${e.code} ${e.status}`,
      );
    return { read, post, viaClient };
  }, otherServer.url);
  expect(outcome.read).toBe('TypeError');
  expect(outcome.post).toBe('opaque');
  expect(outcome.viaClient).toBe('TransportError NetworkError 0');
  expect(await callLogLength(api, otherServer)).toBe(before);
  await api.dispose();
});

test('a request body of exactly the limit is carried; one byte more is 413', async ({
  page,
  server,
}) => {
  await page.goto(server.url);
  const got = await page.evaluate(async (limit) => {
    const { createBridge } = await import('/zarvo/zarvo.js');
    const bridge = createBridge();
    await bridge.teardown();
    await bridge.connect('viewer');
    // The HTTP body is the JSON object of the four texts; measure it without the payload.
    const bodyOf = (n) => JSON.stringify({ uri: '/document/open', requestData: 'x'.repeat(n) });
    const wire = (n) =>
      JSON.stringify({
        options: '{"method":"post"}',
        parameters: '{"name":"viewer"}',
        extra: '',
        body: bodyOf(n),
      }).length;
    const n = limit - wire(0);
    const outcome = async (size) => {
      try {
        return {
          wire: wire(size),
          value: await bridge.request('viewer', {
            uri: '/document/open',
            requestData: 'x'.repeat(size),
          }),
        };
      } catch (e) {
        return {
          wire: wire(size),
          error: { name: e.name, status: e.status, code: e.code, message: e.message },
        };
      }
    };
    return { under: await outcome(n), over: await outcome(n + 1) };
  }, LIMIT);
  expect(got.under.wire).toBe(LIMIT);
  expect(got.under.value).toEqual({ data: { opened: true, pages: 12 }, statuscode: 200 });
  expect(got.over.wire).toBe(LIMIT + 1);
  expect(got.over.error).toEqual({
    name: 'TransportError',
    status: 413,
    code: 'PayloadTooLarge',
    message: `request body exceeds ${LIMIT} bytes`,
  });
});
