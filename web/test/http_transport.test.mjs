// The transport of `zarvo_host serve` against a fake fetch and a fake EventSource.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { httpTransport, createBridge } from '../zarvo/zarvo.js';
import {
  fakeFetch,
  fakeEventSourceClass,
  settle,
  rejectsWithTransportError,
  recordingSink,
} from './fakes.mjs';

const TEXTS = {
  options: '{"method":"post"}',
  parameters: '{"name":"viewer"}',
  extra: '',
  body: '',
};

test('exchange posts the four texts as a JSON object to /bridge/<Resource>', async () => {
  const fetch = fakeFetch().respond(200, '{"error":null,"value":null}', {
    'Zarvo-Status': '200',
    'Zarvo-Promise': '41',
    'Content-Type': 'application/json',
  });
  const transport = httpTransport({ fetch, baseUrl: 'http://127.0.0.1:9/' });
  const answer = await transport.exchange('ZarvoApplication', TEXTS);
  assert.deepEqual(answer, { status: 200, text: '{"error":null,"value":null}', promise: 41 });
  const [{ url, init }] = fetch.calls;
  assert.equal(url, 'http://127.0.0.1:9/bridge/ZarvoApplication');
  assert.equal(init.method, 'POST');
  assert.equal(init.headers['Content-Type'], 'application/json');
  assert.equal(
    init.body,
    '{"options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"viewer\\"}","extra":"","body":""}',
  );
});

test('same origin by default: a relative URL', async () => {
  const fetch = fakeFetch().respond(400, '{}', { 'Zarvo-Status': '400', 'Zarvo-Promise': '1' });
  await httpTransport({ fetch }).exchange('ZarvoApplicationCustom', TEXTS);
  assert.equal(fetch.calls[0].url, '/bridge/ZarvoApplicationCustom');
});

test("the plug-in's status comes from Zarvo-Status and the text is passed byte for byte", async () => {
  const text =
    '{"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null}';
  const fetch = fakeFetch().respond(405, text, { 'Zarvo-Status': '405', 'Zarvo-Promise': '3' });
  assert.deepEqual(await httpTransport({ fetch }).exchange('ZarvoApplication', TEXTS), {
    status: 405,
    text,
    promise: 3,
  });
});

test("an answer without Zarvo-Status is the host's own: TransportError with its name and message", async () => {
  const cases = [
    [413, 'PayloadTooLarge', 'request body exceeds 16777216 bytes'],
    [404, 'NotFound', "unknown resource 'ZarvoFoo'"],
    [400, 'BadProtocolRequest', "unknown member 'bdy'"],
    [403, 'Forbidden', "Host header 'evil.example:8207' is not this server"],
    [405, 'MethodNotAllowed', 'GET is not allowed here'],
    [503, 'Unavailable', 'too many event streams'],
  ];
  for (const [status, name, message] of cases) {
    const fetch = fakeFetch().respond(status, JSON.stringify({ error: { message, name } }), {
      'Content-Type': 'application/json',
    });
    await rejectsWithTransportError(
      httpTransport({ fetch }).exchange('ZarvoApplication', TEXTS),
      status,
      name,
      message,
    );
  }
});

test('a network failure is TransportError status 0 NetworkError naming the method and URL', async () => {
  const fetch = fakeFetch().fail(new TypeError('Failed to fetch'));
  const transport = httpTransport({ fetch, baseUrl: 'http://127.0.0.1:8207' });
  await rejectsWithTransportError(
    transport.exchange('ZarvoApplication', TEXTS),
    0,
    'NetworkError',
    'POST http://127.0.0.1:8207/bridge/ZarvoApplication: Failed to fetch',
  );
});

test('same origin, a network failure names the URL resolved against the page', async () => {
  globalThis.location = new URL('http://127.0.0.1:8300/page/index.html');
  try {
    const fetch = fakeFetch()
      .fail(new TypeError('Failed to fetch'))
      .fail(new TypeError('Failed to fetch'));
    await assert.rejects(httpTransport({ fetch }).exchange('ZarvoApplication', TEXTS), {
      message: 'POST http://127.0.0.1:8300/bridge/ZarvoApplication: Failed to fetch',
    });
    await assert.rejects(httpTransport({ fetch }).teardown(), {
      code: 'NetworkError',
      message: 'POST http://127.0.0.1:8300/teardown: Failed to fetch',
    });
  } finally {
    delete globalThis.location;
  }
});

test('without fetch every call is a NetworkError', async () => {
  const saved = globalThis.fetch;
  delete globalThis.fetch;
  try {
    await assert.rejects(httpTransport().exchange('ZarvoApplication', TEXTS), {
      code: 'NetworkError',
      message: 'POST /bridge/ZarvoApplication: fetch is not available',
    });
  } finally {
    globalThis.fetch = saved;
  }
});

test('teardown posts /teardown and accepts 204', async () => {
  const fetch = fakeFetch().respond(204, '');
  await httpTransport({ fetch }).teardown();
  assert.equal(fetch.calls[0].url, '/teardown');
  assert.equal(fetch.calls[0].init.method, 'POST');
});

test('a refused teardown rejects with the host error', async () => {
  const fetch = fakeFetch().respond(
    403,
    '{"error":{"message":"Origin \'http://x\' is not this server\'s origin","name":"Forbidden"}}',
  );
  await assert.rejects(httpTransport({ fetch }).teardown(), { code: 'Forbidden', status: 403 });
});

test('openEvents resolves once the stream is open and delivers events and gaps with their ids', async () => {
  const EventSource = fakeEventSourceClass();
  const transport = httpTransport({ EventSource, baseUrl: 'http://h' });
  const got = [];
  const opening = transport.openEvents({
    event: (text, id) => got.push(['event', text, id]),
    gap: (gap) => got.push(['gap', gap]),
    state: (s) => got.push(['state', s]),
  });
  const [source] = EventSource.instances;
  assert.equal(source.url, 'http://h/events');
  let resolved = false;
  opening.then(() => {
    resolved = true;
  });
  await settle();
  assert.equal(resolved, false);
  source.open();
  const close = await opening;
  source.message('zarvoEvent', '{"app":"viewer","data":1,"type":"t"}', 5);
  source.message('zarvoGap', '{"first":6,"last":8,"lost":3}', 8);
  close();
  assert.equal(source.closed, true);
  assert.deepEqual(got, [
    ['state', 'open'],
    ['event', '{"app":"viewer","data":1,"type":"t"}', 5],
    ['gap', { first: 6, last: 8, lost: 3 }],
    ['state', 'closed'],
  ]);
});

test('a stream that fails before opening rejects with a NetworkError', async () => {
  const EventSource = fakeEventSourceClass();
  const opening = httpTransport({ EventSource }).openEvents({ event() {}, gap() {} });
  EventSource.instances[0].error();
  await assert.rejects(opening, {
    name: 'TransportError',
    status: 0,
    code: 'NetworkError',
    message: 'GET /events: the event stream could not be opened',
  });
  assert.equal(EventSource.instances[0].closed, true);
});

test('an error after opening reopens the stream with the last id seen', async () => {
  const EventSource = fakeEventSourceClass();
  const delays = [];
  const transport = httpTransport({
    EventSource,
    reconnectDelay: (attempt) => {
      delays.push(attempt);
      return 0;
    },
  });
  const states = [];
  const ids = [];
  const opening = transport.openEvents({
    event: (t, id) => ids.push(id),
    gap() {},
    state: (s) => states.push(s),
  });
  EventSource.instances[0].open();
  await opening;
  EventSource.instances[0].message('zarvoEvent', '{}', 12);
  EventSource.instances[0].error();
  assert.equal(EventSource.instances[0].closed, true);
  await new Promise((r) => setTimeout(r, 5));
  assert.equal(EventSource.instances.length, 2);
  assert.equal(EventSource.instances[1].url, '/events?lastEventId=12');
  EventSource.instances[1].error(); // fails again before opening: keeps trying
  await new Promise((r) => setTimeout(r, 5));
  assert.equal(EventSource.instances[2].url, '/events?lastEventId=12');
  EventSource.instances[2].open();
  EventSource.instances[2].message('zarvoEvent', '{}', 13);
  assert.deepEqual(ids, [12, 13]);
  assert.deepEqual(delays, [0, 1]);
  assert.deepEqual(states, ['open', 'reconnecting', 'reconnecting', 'open']);
});

test('a gap moves the last id, so a reopened stream resumes after it', async () => {
  const EventSource = fakeEventSourceClass();
  const transport = httpTransport({ EventSource });
  const opening = transport.openEvents({ event() {}, gap() {} });
  EventSource.instances[0].open();
  const close = await opening;
  EventSource.instances[0].message('zarvoGap', '{"first":1,"last":30,"lost":30}', 30);
  close();
  const reopening = transport.openEvents({ event() {}, gap() {} });
  assert.equal(EventSource.instances[1].url, '/events?lastEventId=30');
  EventSource.instances[1].open();
  await reopening;
});

test('closing during a reconnect wait stops reconnecting', async () => {
  const EventSource = fakeEventSourceClass();
  const transport = httpTransport({ EventSource, reconnectDelay: () => 0 });
  const opening = transport.openEvents({ event() {}, gap() {} });
  EventSource.instances[0].open();
  const close = await opening;
  EventSource.instances[0].error();
  close();
  await new Promise((r) => setTimeout(r, 5));
  assert.equal(EventSource.instances.length, 1);
});

test('a bridge closed and resubscribed replays from the last id through the transport', async () => {
  const EventSource = fakeEventSourceClass();
  const fetch = fakeFetch();
  const ok = () =>
    fetch.respond(200, '{"error":null,"value":null}', {
      'Zarvo-Status': '200',
      'Zarvo-Promise': '1',
    });
  ok();
  ok();
  const bridge = createBridge({ transport: httpTransport({ fetch, EventSource }), window: null });
  const ids = [];
  const subscribing = bridge.subscribe('viewer', 'progress', (e, { id }) => ids.push(id));
  EventSource.instances[0].open();
  await subscribing;
  EventSource.instances[0].message('zarvoEvent', '{"app":"viewer","data":1,"type":"progress"}', 4);
  bridge.close();
  const again = bridge.subscribe('viewer', 'saved', () => {});
  assert.equal(EventSource.instances[1].url, '/events?lastEventId=4');
  EventSource.instances[1].open();
  await again;
  EventSource.instances[1].message('zarvoEvent', '{"app":"viewer","data":2,"type":"progress"}', 5);
  assert.deepEqual(ids, [4, 5]);
});

test('an answer without Zarvo-Promise has promise 0', async () => {
  const fetch = fakeFetch().respond(200, '{"error":null,"value":null}', { 'Zarvo-Status': '200' });
  assert.equal((await httpTransport({ fetch }).exchange('ZarvoApplication', TEXTS)).promise, 0);
});

test('an answer body that breaks off is a NetworkError', async () => {
  const broken = {
    headers: new Headers({ 'Zarvo-Status': '200', 'Zarvo-Promise': '2' }),
    text: async () => {
      throw new TypeError('network error');
    },
  };
  const fetch = async () => broken;
  await assert.rejects(httpTransport({ fetch }).exchange('ZarvoApplicationBridge', TEXTS), {
    name: 'TransportError',
    status: 0,
    code: 'NetworkError',
    message: 'POST /bridge/ZarvoApplicationBridge: network error',
  });
});

test('the default reconnect wait starts at 250 ms and doubles up to 5 s', async () => {
  const EventSource = fakeEventSourceClass();
  const waits = [];
  const realSetTimeout = globalThis.setTimeout;
  globalThis.setTimeout = (fn, ms) => {
    waits.push(ms);
    return realSetTimeout(fn, 0);
  };
  try {
    const opening = httpTransport({ EventSource }).openEvents({ event() {}, gap() {} });
    EventSource.instances[0].open();
    const close = await opening;
    for (let i = 0; i < 7; i += 1) {
      EventSource.instances[i].error();
      await new Promise((r) => realSetTimeout(r, 2));
    }
    close();
  } finally {
    globalThis.setTimeout = realSetTimeout;
  }
  assert.deepEqual(waits, [250, 500, 1000, 2000, 4000, 5000, 5000]);
});

test('a successful reopen starts the waits from 250 ms again', async () => {
  const EventSource = fakeEventSourceClass();
  const attempts = [];
  const transport = httpTransport({
    EventSource,
    reconnectDelay: (attempt) => {
      attempts.push(attempt);
      return 0;
    },
  });
  const opening = transport.openEvents({ event() {}, gap() {} });
  EventSource.instances[0].open();
  const close = await opening;
  EventSource.instances[0].error();
  await new Promise((r) => setTimeout(r, 5));
  EventSource.instances[1].error();
  await new Promise((r) => setTimeout(r, 5));
  EventSource.instances[2].open();
  EventSource.instances[2].error();
  await new Promise((r) => setTimeout(r, 5));
  close();
  assert.deepEqual(attempts, [0, 1, 0]);
});

test('zarvoHello names the instance; a reopened stream sends it with the last id and opens on its hello', async () => {
  const EventSource = fakeEventSourceClass();
  const transport = httpTransport({ EventSource, reconnectDelay: () => 0 });
  const sink = recordingSink();
  const { got } = sink;
  const opening = transport.openEvents(sink);
  const [first] = EventSource.instances;
  assert.equal(first.url, '/events');
  first.open();
  await opening;
  first.message('zarvoHello', '{"instance":"9f3c0a1b2c3d4e5f"}', '');
  first.message('zarvoEvent', '{}', 41);
  first.error();
  await new Promise((r) => setTimeout(r, 5));
  const second = EventSource.instances[1];
  assert.equal(second.url, '/events?instance=9f3c0a1b2c3d4e5f&lastEventId=41');
  second.open();
  assert.deepEqual(got.at(-1), ['state', 'reconnecting'], 'not open before the hello');
  second.message('zarvoHello', '{"instance":"9f3c0a1b2c3d4e5f"}', '');
  second.message('zarvoEvent', '{}', 42);
  assert.deepEqual(got, [
    ['state', 'open'],
    ['instance', '9f3c0a1b2c3d4e5f'],
    ['event', 41, '{}'],
    ['state', 'reconnecting'],
    ['instance', '9f3c0a1b2c3d4e5f'],
    ['state', 'open'],
    ['event', 42, '{}'],
  ]);
});

test('a new instance is reported before its events, which are numbered from its first one', async () => {
  const EventSource = fakeEventSourceClass();
  const transport = httpTransport({ EventSource, reconnectDelay: () => 0 });
  const sink = recordingSink();
  const { got } = sink;
  const opening = transport.openEvents(sink);
  EventSource.instances[0].open();
  const close = await opening;
  EventSource.instances[0].message('zarvoHello', '{"instance":"00000000000000aa"}', '');
  EventSource.instances[0].message('zarvoEvent', '{}', 900);
  EventSource.instances[0].error();
  await new Promise((r) => setTimeout(r, 5));
  const next = EventSource.instances[1];
  assert.equal(next.url, '/events?instance=00000000000000aa&lastEventId=900');
  next.open();
  next.message('zarvoHello', '{"instance":"00000000000000bb"}', '');
  next.message('zarvoGap', '{"first":1,"last":2,"lost":2}', 2);
  next.message('zarvoEvent', '{}', 3);
  next.error();
  await new Promise((r) => setTimeout(r, 5));
  assert.equal(EventSource.instances[2].url, '/events?instance=00000000000000bb&lastEventId=3');
  close();
  assert.deepEqual(got.slice(2), [
    ['event', 900, '{}'],
    ['state', 'reconnecting'],
    ['instance', '00000000000000bb'],
    ['state', 'open'],
    ['gap', { first: 1, last: 2, lost: 2 }],
    ['event', 3, '{}'],
    ['state', 'reconnecting'],
    ['state', 'closed'],
  ]);
});

test('a bridge over HTTP reports "restarted" and drops the old listeners on a new instance', async () => {
  const EventSource = fakeEventSourceClass();
  const fetch = fakeFetch().respond(200, '{"error":null,"value":null}', { 'Zarvo-Status': '200' });
  const bridge = createBridge({
    transport: httpTransport({ fetch, EventSource, reconnectDelay: () => 0 }),
    window: null,
  });
  const states = [];
  const seen = [];
  bridge.onState((s) => states.push(s));
  const subscribing = bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push(id));
  EventSource.instances[0].open();
  await subscribing;
  EventSource.instances[0].message('zarvoHello', '{"instance":"00000000000000aa"}', '');
  EventSource.instances[0].message('zarvoEvent', '{"app":"viewer","data":1,"type":"progress"}', 5);
  EventSource.instances[0].error();
  await new Promise((r) => setTimeout(r, 5));
  EventSource.instances[1].open();
  EventSource.instances[1].message('zarvoHello', '{"instance":"00000000000000bb"}', '');
  EventSource.instances[1].message('zarvoEvent', '{"app":"viewer","data":2,"type":"progress"}', 1);
  bridge.close();
  assert.deepEqual(seen, [5]);
  assert.deepEqual(states, ['open', 'reconnecting', 'restarted', 'closed']);
});

test('a hello that is not JSON names no instance; a server without hello opens on its first event', async () => {
  const EventSource = fakeEventSourceClass();
  const transport = httpTransport({ EventSource, reconnectDelay: () => 0 });
  const sink = recordingSink();
  const { got } = sink;
  const opening = transport.openEvents(sink);
  EventSource.instances[0].open();
  await opening;
  EventSource.instances[0].message('zarvoHello', 'not json', '');
  EventSource.instances[0].message('zarvoHello', '{"instance":"00000000000000aa"}', '');
  EventSource.instances[0].error();
  await new Promise((r) => setTimeout(r, 5));
  EventSource.instances[1].open();
  EventSource.instances[1].message('zarvoEvent', '{}', 1);
  assert.deepEqual(got, [
    ['state', 'open'],
    ['instance', '00000000000000aa'],
    ['state', 'reconnecting'],
    ['state', 'open'],
    ['event', 1, '{}'],
  ]);
});
