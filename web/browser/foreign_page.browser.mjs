// A page of another local origin (a second `zarvo_host serve` on another port) attacks the host:
// it smuggles a request in a no-cors body, posts a form, opens event streams and a WebSocket,
// and fetches with and without CORS. Nothing may reach the plug-in, change the host's state or
// hold one of its stream places, and the host's own page must still work afterwards.
import { request as playwrightRequest } from '@playwright/test';
import http from 'node:http';
import { test, expect, serving } from './fixtures.mjs';
import { EXAMPLE_PAGE, TEST_APPLICATIONS } from './serve.mjs';

const APPS = TEST_APPLICATIONS;
// Few stream places, so a page that could hold them would visibly take them all.
const STREAMS = 6;

// `server` is the host under attack; `otherServer`, the same program on another port, serves the
// foreign page.
test.use(
  serving(import.meta.url, [
    '--applications',
    APPS,
    '--page',
    EXAMPLE_PAGE,
    '--max-streams',
    String(STREAMS),
  ]),
);

async function callLog(target) {
  const api = await playwrightRequest.newContext();
  const log = await (await api.get(`${target.url}simulator/log`)).json();
  await api.dispose();
  return log;
}

/** Opens `count` event streams at once from Node; resolves with their statuses, then closes them. */
async function streamStatuses(target, count) {
  const requests = [];
  const statuses = await Promise.all(
    Array.from(
      { length: count },
      () =>
        new Promise((resolve, reject) => {
          const req = http.get(`${target.url}events`, (res) => resolve(res.statusCode));
          req.on('error', reject);
          requests.push(req);
        }),
    ),
  );
  for (const req of requests) req.destroy();
  return statuses;
}

test('a foreign page reaches nothing: smuggled requests, forms, streams, sockets, fetches', async ({
  page,
  server: target,
  otherServer: foreign,
}) => {
  // The host's page has connected an application.
  const api = await playwrightRequest.newContext();
  const connect = await api.post(`${target.url}bridge/ZarvoApplication`, {
    headers: { 'Content-Type': 'application/json' },
    data: '{"options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"viewer\\"}"}',
  });
  expect(connect.status()).toBe(200);
  await api.dispose();
  const before = await callLog(target);

  await page.goto(foreign.url);
  const outcome = await page.evaluate(
    async ({ targetUrl, port }) => {
      const call =
        '{"options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"printer\\"}"}';
      const smuggled =
        `POST /bridge/ZarvoApplication HTTP/1.1\r\nHost: 127.0.0.1:${port}\r\n` +
        `Content-Type: application/json\r\nContent-Length: ${call.length}\r\n\r\n${call}`;
      const settle = (promise) =>
        promise.then(
          (r) => r.type,
          (e) => e.name,
        );
      const results = {};
      // A no-cors POST whose body is a whole request, and one of the call itself.
      results.smuggled = await settle(
        fetch(`${targetUrl}bridge/ZarvoApplication`, {
          method: 'POST',
          mode: 'no-cors',
          body: smuggled,
        }),
      );
      results.noCorsCall = await settle(
        fetch(`${targetUrl}bridge/ZarvoApplication`, {
          method: 'POST',
          mode: 'no-cors',
          body: call,
        }),
      );
      // Reading needs CORS, which the host never grants.
      results.corsRead = await settle(fetch(`${targetUrl}simulator/log`));
      // No-cors GETs of the event stream carry no Origin: Sec-Fetch-Site names them. They are kept
      // open (never read or aborted), so an accepted one would hold a stream place.
      window.heldStreams = Array.from({ length: 10 }, () =>
        fetch(`${targetUrl}events`, { mode: 'no-cors' }).catch(() => null),
      );
      await Promise.all(window.heldStreams);
      // An EventSource and a WebSocket.
      results.eventSource = await new Promise((resolve) => {
        const source = new EventSource(`${targetUrl}events`);
        source.onopen = () => {
          source.close();
          resolve('open');
        };
        source.onerror = () => {
          source.close();
          resolve('error');
        };
      });
      results.socket = await new Promise((resolve) => {
        const socket = new WebSocket(`ws://127.0.0.1:${port}/socket`);
        socket.onopen = () => {
          socket.close();
          resolve('open');
        };
        socket.onclose = (e) => resolve(`closed ${e.code}`);
      });
      // A form posted into a frame (a navigation, as a user's click would make it).
      results.form = await new Promise((resolve) => {
        const frame = document.createElement('iframe');
        frame.name = 'sink';
        document.body.append(frame);
        const form = document.createElement('form');
        form.method = 'POST';
        form.action = `${targetUrl}teardown`;
        form.target = 'sink';
        document.body.append(form);
        frame.onload = () => resolve('loaded');
        form.submit();
      });
      return results;
    },
    { targetUrl: target.url, port: target.port },
  );

  expect(outcome.smuggled).toBe('opaque');
  expect(outcome.noCorsCall).toBe('opaque');
  expect(outcome.corsRead).toBe('TypeError');
  expect(outcome.eventSource).toBe('error');
  expect(outcome.socket).toBe('closed 1006');
  expect(outcome.form).toBe('loaded');

  // Nothing reached the application library: no connect of "printer", no teardown.
  expect(await callLog(target)).toEqual(before);
  // Every stream place is still free while the foreign page keeps its requests open.
  expect(await streamStatuses(target, STREAMS)).toEqual(Array(STREAMS).fill(200));
});

test("the host's own page still works next to a foreign one", async ({
  browser,
  server: target,
  otherServer: foreign,
}) => {
  const foreignPage = await browser.newPage();
  await foreignPage.goto(foreign.url);
  await foreignPage.evaluate((targetUrl) => {
    window.streams = Array.from({ length: 10 }, () => new EventSource(`${targetUrl}events`));
  }, target.url);
  const own = await browser.newPage();
  await own.goto(target.url);
  const got = await own.evaluate(async () => {
    const socket = new WebSocket(`ws://${location.host}/socket`);
    const hello = await new Promise((resolve, reject) => {
      socket.onmessage = (e) => resolve(JSON.parse(e.data));
      socket.onerror = () => reject(new Error('socket failed'));
    });
    const answer = await new Promise((resolve) => {
      socket.onmessage = (e) => resolve(JSON.parse(e.data));
      socket.send(
        JSON.stringify({
          op: 'call',
          id: 1,
          resource: 'ZarvoApplication',
          options: '{"method":"post"}',
          parameters: '{"name":"printer"}',
        }),
      );
    });
    socket.close();
    const source = new EventSource('/events');
    const opened = await new Promise((resolve) => {
      source.onopen = () => resolve(true);
      source.onerror = () => resolve(false);
    });
    source.close();
    return {
      op: hello.op,
      protocol: hello.protocol,
      status: answer.status,
      text: answer.text,
      opened,
    };
  });
  expect(got).toEqual({
    op: 'hello',
    protocol: 1,
    status: 200,
    text: '{"error":null,"value":null}',
    opened: true,
  });
  await foreignPage.close();
  await own.close();
});
