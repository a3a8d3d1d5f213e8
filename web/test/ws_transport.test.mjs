// The WebSocket transport against a fake socket: hello, calls matched to answers by id, host
// errors, events with their positions, gaps, stop and resume, reconnecting with a growing wait,
// restarts, close codes and the size limit checked before sending.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { wsTransport, createBridge } from '../zarvo/zarvo.js';
import { fakeWebSocketClass, settle, rejectsWithTransportError, recordingSink } from './fakes.mjs';

const TEXTS = {
  options: '{"method":"post"}',
  parameters: '{"name":"viewer"}',
  extra: '',
  body: '',
};
const URL_ = 'ws://127.0.0.1:8207/socket';
const wait = (ms = 5) => new Promise((r) => setTimeout(r, ms));

function setup(options = {}) {
  const WebSocket = fakeWebSocketClass();
  const delays = [];
  const transport = wsTransport({
    baseUrl: 'http://127.0.0.1:8207',
    WebSocket,
    reconnectDelay: (attempt) => {
      delays.push(attempt);
      return 0;
    },
    ...options,
  });
  const socket = (i = 0) => WebSocket.instances[i];
  return { WebSocket, transport, socket, delays };
}

test('the socket URL follows the base URL or the page, ws for http and wss for https', () => {
  const WebSocket = fakeWebSocketClass();
  wsTransport({ baseUrl: 'http://127.0.0.1:8207/', WebSocket })
    .teardown()
    .catch(() => {});
  wsTransport({ baseUrl: 'https://example.test/app/', WebSocket })
    .teardown()
    .catch(() => {});
  globalThis.location = new URL('http://127.0.0.1:9000/page/index.html');
  try {
    wsTransport({ WebSocket })
      .teardown()
      .catch(() => {});
  } finally {
    delete globalThis.location;
  }
  wsTransport({ url: 'ws://h:1/other', WebSocket })
    .teardown()
    .catch(() => {});
  assert.deepEqual(
    WebSocket.instances.map((s) => s.url),
    [
      'ws://127.0.0.1:8207/socket',
      'wss://example.test/socket',
      'ws://127.0.0.1:9000/socket',
      'ws://h:1/other',
    ],
  );
  assert.throws(() => wsTransport({ WebSocket }), {
    name: 'TypeError',
    message: 'wsTransport needs a baseUrl outside a page',
  });
});

test('calls wait for the hello, carry ids, and are matched to answers in any order', async () => {
  const { transport, socket } = setup();
  const first = transport.exchange('ZarvoApplication', TEXTS);
  const second = transport.exchange('ZarvoApplicationBridge', {
    options: '{"method":"post"}',
    parameters: '{"name":"viewer"}',
    extra: 'x',
    body: '{"uri":"/x"}',
  });
  await settle();
  assert.deepEqual(socket().sent, []);
  socket().hello();
  assert.deepEqual(socket().sent, [
    '{"op":"call","id":1,"resource":"ZarvoApplication","options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"viewer\\"}"}',
    '{"op":"call","id":2,"resource":"ZarvoApplicationBridge","options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"viewer\\"}","extra":"x","body":"{\\"uri\\":\\"/x\\"}"}',
  ]);
  socket().receive({
    op: 'answer',
    id: 2,
    promise: 8,
    status: 405,
    text: '{"error":{"message":"m","name":"MethodError"},"value":null}',
  });
  socket().receive({
    op: 'answer',
    id: 1,
    promise: 7,
    status: 200,
    text: '{"error":null,"value":null}',
  });
  assert.deepEqual(await first, { status: 200, text: '{"error":null,"value":null}', promise: 7 });
  assert.deepEqual(await second, {
    status: 405,
    text: '{"error":{"message":"m","name":"MethodError"},"value":null}',
    promise: 8,
  });
  // Later calls go out at once on the open socket.
  const third = transport.exchange('ZarvoApplication', TEXTS);
  assert.equal(socket().messages().at(-1).id, 3);
  socket().receive({
    op: 'answer',
    id: 3,
    promise: 9,
    status: 200,
    text: '{"error":null,"value":1}',
  });
  assert.equal((await third).promise, 9);
});

test("a host error names the call's status, code and message; the socket stays open", async () => {
  const { transport, socket } = setup();
  const call = transport.exchange('ZarvoFoo', TEXTS);
  socket().hello();
  socket().receive({
    op: 'error',
    id: 1,
    status: 404,
    code: 'NotFound',
    message: "unknown resource 'ZarvoFoo'",
  });
  await rejectsWithTransportError(call, 404, 'NotFound', "unknown resource 'ZarvoFoo'");
  const teardown = transport.teardown();
  assert.deepEqual(socket().messages().at(-1), { op: 'teardown', id: 2 });
  socket().receive({ op: 'done', id: 2 });
  assert.equal(await teardown, undefined);
});

test('messages that are not JSON or of no known op are ignored', async () => {
  const { transport, socket } = setup();
  const call = transport.exchange('ZarvoApplication', TEXTS);
  socket().receive('not json');
  socket().receive('null');
  socket().hello();
  socket().receive({ op: 'unknown', id: 1 });
  socket().receive({ op: 'answer', id: 99, status: 200, text: '', promise: 1 });
  socket().receive({
    op: 'answer',
    id: 1,
    status: 200,
    text: '{"error":null,"value":null}',
    promise: 1,
  });
  assert.equal((await call).status, 200);
});

test('the first stream starts from now; events and gaps carry their ids; stop and resume after the last id', async () => {
  const { transport, socket } = setup();
  const sink = recordingSink();
  const opening = transport.openEvents(sink);
  socket().hello();
  assert.deepEqual(socket().messages(), [{ op: 'events' }]);
  let resolved = false;
  opening.then(() => (resolved = true));
  await settle();
  assert.equal(resolved, false, 'open only once the position is fixed');
  socket().receive({ op: 'streaming', after: 42 });
  const close = await opening;
  socket().receive({ op: 'events', first: 43, texts: ['{"a":1}', '{"a":2}'] });
  socket().receive({ op: 'gap', first: 45, last: 49, lost: 5 });
  socket().receive({ op: 'events', first: 50, texts: ['{"a":3}'] });
  close();
  assert.deepEqual(socket().messages().at(-1), { op: 'stop' });
  socket().receive({ op: 'events', first: 51, texts: ['{"a":4}'] }); // already on its way: not delivered
  assert.deepEqual(sink.got, [
    ['instance', '9f3c0a1b2c3d4e5f'],
    ['state', 'open'],
    ['event', 43, '{"a":1}'],
    ['event', 44, '{"a":2}'],
    ['gap', { first: 45, last: 49, lost: 5 }],
    ['event', 50, '{"a":3}'],
    ['state', 'closed'],
  ]);
  const again = recordingSink();
  const reopening = transport.openEvents(again);
  assert.deepEqual(socket().messages().at(-1), { op: 'events', after: 50 });
  socket().receive({ op: 'streaming', after: 50 });
  await reopening;
  socket().receive({ op: 'events', first: 51, texts: ['{"a":4}'] });
  assert.deepEqual(again.got, [
    ['instance', '9f3c0a1b2c3d4e5f'], // known from the first hello, told to the new stream at once
    ['state', 'open'],
    ['event', 51, '{"a":4}'],
  ]);
});

test('a socket closed by the server is reopened with a growing wait and resumes after the last id', async () => {
  const { transport, socket, delays, WebSocket } = setup();
  const sink = recordingSink();
  const opening = transport.openEvents(sink);
  socket().hello();
  socket().receive({ op: 'streaming', after: 0 });
  await opening;
  socket().receive({ op: 'events', first: 1, texts: ['{}'] });
  const lost = transport.exchange('ZarvoApplication', TEXTS);
  socket().serverClose(1001);
  await wait();
  // The next attempt fails before its hello: the host cannot be reached, calls waiting fail.
  socket(1).serverClose(1006);
  await assert.rejects(lost, {
    code: 'NetworkError',
    message: `${URL_}: the connection could not be opened (code 1006)`,
  });
  await wait();
  const inFlight = transport.exchange('ZarvoApplication', TEXTS);
  socket(2).hello();
  assert.deepEqual(delays, [0, 1]);
  assert.deepEqual(socket(2).messages(), [
    {
      op: 'call',
      id: 2,
      resource: 'ZarvoApplication',
      options: '{"method":"post"}',
      parameters: '{"name":"viewer"}',
    },
    { op: 'events', after: 1 },
  ]);
  // The socket breaks before the answer; the same instance answers the hello of the next one.
  socket(2).serverClose(1001);
  await wait();
  const queued = transport.exchange('ZarvoApplication', TEXTS);
  socket(3).hello();
  await assert.rejects(inFlight, (e) => {
    assert.deepEqual(
      [e.status, e.code, e.message],
      [0, 'NetworkError', `${URL_}: the connection closed before the answer`],
    );
    return true;
  });
  assert.deepEqual(socket(3).messages(), [
    {
      op: 'call',
      id: 3,
      resource: 'ZarvoApplication',
      options: '{"method":"post"}',
      parameters: '{"name":"viewer"}',
    },
    { op: 'events', after: 1 },
  ]);
  socket(3).receive({
    op: 'answer',
    id: 3,
    promise: 1,
    status: 200,
    text: '{"error":null,"value":null}',
  });
  assert.equal((await queued).status, 200);
  socket(3).receive({ op: 'streaming', after: 1 });
  socket(3).receive({ op: 'events', first: 2, texts: ['{}'] });
  assert.deepEqual(
    sink.got.filter(([kind]) => kind !== 'instance'),
    [
      ['state', 'open'],
      ['event', 1, '{}'],
      ['state', 'reconnecting'],
      ['state', 'reconnecting'],
      ['state', 'reconnecting'],
      ['state', 'open'],
      ['event', 2, '{}'],
    ],
  );
  // A successful hello starts the waits from the first again.
  assert.deepEqual(delays, [0, 1, 0]);
  assert.equal(WebSocket.instances.length, 4);
});

test('a new instance after a reconnect: restart reported, waiting calls "Restarted", events from its first', async () => {
  const { transport, socket } = setup();
  const sink = recordingSink();
  const opening = transport.openEvents(sink);
  socket().hello('00000000000000aa');
  socket().receive({ op: 'streaming', after: 70 });
  await opening;
  socket().receive({ op: 'events', first: 71, texts: ['{}'] });
  const inFlight = transport.exchange('ZarvoApplication', TEXTS);
  socket().serverClose(1001);
  const queued = transport.exchange('ZarvoApplication', TEXTS);
  await wait();
  socket(1).hello('00000000000000bb');
  for (const call of [inFlight, queued]) {
    await assert.rejects(call, (e) => {
      assert.deepEqual(
        [e.status, e.code, e.message],
        [0, 'Restarted', 'the host restarted before the call was answered'],
      );
      return true;
    });
  }
  assert.deepEqual(socket(1).messages(), [{ op: 'events', after: 0 }]);
  socket(1).receive({ op: 'streaming', after: 0 });
  socket(1).receive({ op: 'events', first: 1, texts: ['{}'] });
  assert.deepEqual(sink.got, [
    ['instance', '00000000000000aa'],
    ['state', 'open'],
    ['event', 71, '{}'],
    ['state', 'reconnecting'],
    ['instance', '00000000000000bb'],
    ['state', 'open'],
    ['event', 1, '{}'],
  ]);
});

test('a bridge over the socket reports "restarted" and drops the old subscription', async () => {
  const { transport, socket } = setup();
  const bridge = createBridge({ transport, window: null });
  const states = [];
  const seen = [];
  bridge.onState((s) => states.push(s));
  const subscribing = bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push(id));
  socket().hello('00000000000000aa');
  socket().receive({ op: 'streaming', after: 0 });
  await settle();
  socket().receive({
    op: 'answer',
    id: 1,
    promise: 1,
    status: 200,
    text: '{"error":null,"value":null}',
  });
  const unsubscribe = await subscribing;
  socket().receive({
    op: 'events',
    first: 1,
    texts: ['{"app":"viewer","data":1,"type":"progress"}'],
  });
  socket().serverClose(1001);
  await wait();
  socket(1).hello('00000000000000bb');
  socket(1).receive({ op: 'streaming', after: 0 });
  socket(1).receive({
    op: 'events',
    first: 1,
    texts: ['{"app":"viewer","data":2,"type":"progress"}'],
  });
  assert.deepEqual(seen, [1]);
  await unsubscribe();
  assert.equal(
    socket(1)
      .messages()
      .filter((m) => m.op === 'call').length,
    0,
  );
  assert.deepEqual(states, ['open', 'reconnecting', 'restarted']);
});

test('a restart is reported also when the page called before it opened its stream', async () => {
  const { transport, socket } = setup();
  const bridge = createBridge({ transport, window: null });
  const states = [];
  bridge.onState((s) => states.push(s));
  const connecting = bridge.connect('viewer');
  socket().hello('00000000000000aa');
  await settle();
  socket().receive({
    op: 'answer',
    id: 1,
    promise: 1,
    status: 200,
    text: '{"error":null,"value":null}',
  });
  await connecting;
  // The hello was read before there was a stream; opening it must still tell the bridge.
  const opening = bridge.open();
  socket().receive({ op: 'streaming', after: 0 });
  await opening;
  socket().serverClose(1001);
  await wait();
  socket(1).hello('00000000000000bb');
  socket(1).receive({ op: 'streaming', after: 0 });
  await settle();
  assert.deepEqual(states, ['open', 'reconnecting', 'restarted']);
});

test('close code 1009 rejects the calls in flight with 413 naming the limit', async () => {
  const { transport, socket } = setup();
  const call = transport.exchange('ZarvoApplicationBridge', TEXTS);
  socket().hello('9f3c0a1b2c3d4e5f', 1000);
  socket().serverClose(1009);
  await rejectsWithTransportError(call, 413, 'PayloadTooLarge', 'request body exceeds 1000 bytes');
});

test("a message over the hello's limit is refused before it is sent; one at the limit is sent", async () => {
  const { transport, socket } = setup();
  // The limit: the message with a body of 12 UTF-8 bytes (four "é" and one "𝄞").
  const frame = (id, body) =>
    JSON.stringify({ op: 'call', id, resource: 'ZarvoApplicationBridge', body });
  const overhead = Buffer.byteLength(frame(1, ''));
  const limit = overhead + 12;
  const atLimit = transport.exchange('ZarvoApplicationBridge', { body: 'é'.repeat(4) + '𝄞' });
  socket().hello('9f3c0a1b2c3d4e5f', limit);
  assert.equal(Buffer.byteLength(socket().sent[0]), limit);
  for (const [id, body] of [
    [2, 'é'.repeat(4) + '𝄞x'],
    [3, 'x'.repeat(13)],
    [4, 'x'.repeat(5000)],
  ]) {
    await assert.rejects(transport.exchange('ZarvoApplicationBridge', { body }), (e) => {
      assert.deepEqual(
        [e.status, e.code, e.message],
        [413, 'PayloadTooLarge', `request body exceeds ${limit} bytes`],
      );
      return true;
    });
    assert.ok(Buffer.byteLength(frame(id, body)) > limit);
  }
  assert.equal(socket().sent.length, 1);
  socket().receive({ op: 'answer', id: 1, promise: 1, status: 200, text: '' });
  assert.equal((await atLimit).status, 200);
});

test('a host that cannot be reached: calls and the first stream reject NetworkError naming the URL', async () => {
  const { transport, socket } = setup();
  const call = transport.exchange('ZarvoApplication', TEXTS);
  const opening = transport.openEvents(recordingSink());
  socket().serverClose(1006);
  for (const pending of [call, opening]) {
    await rejectsWithTransportError(
      pending,
      0,
      'NetworkError',
      `${URL_}: the connection could not be opened (code 1006)`,
    );
  }
  await wait();
  assert.equal(socket(1), undefined, 'nothing wanted any more: no reconnect');
  const saved = globalThis.WebSocket;
  delete globalThis.WebSocket;
  try {
    await assert.rejects(
      wsTransport({ baseUrl: 'http://h:1' }).exchange('ZarvoApplication', TEXTS),
      {
        code: 'NetworkError',
        message: 'ws://h:1/socket: WebSocket is not available',
      },
    );
  } finally {
    if (saved !== undefined) globalThis.WebSocket = saved;
  }
});

test('a refusal without an id fails the stream being opened', async () => {
  const { transport, socket } = setup();
  const opening = transport.openEvents(recordingSink());
  socket().hello();
  socket().receive({
    op: 'error',
    id: null,
    status: 400,
    code: 'BadProtocolRequest',
    message: "unknown member 'aftr'",
  });
  await assert.rejects(opening, {
    status: 400,
    code: 'BadProtocolRequest',
    message: "unknown member 'aftr'",
  });
});
