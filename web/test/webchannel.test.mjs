// The web-channel transport of zarvo_view and openBridge() against a fake host channel: hello and
// its limit, the answers and the host's refusals, events pulled with readEvents after the
// eventsReady signal, gaps, a new instance, closing, the simulator controls.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { settle, rejectsWithTransportError } from './fakes.mjs';

// A fake of what zarvo_view offers: qt.webChannelTransport and Qt's QWebChannel, whose objects
// answer invocations through a callback as the real channel does.
function fakeSignal() {
  const listeners = new Set();
  return {
    connect: (f) => listeners.add(f),
    disconnect: (f) => listeners.delete(f),
    emit: (...args) => [...listeners].forEach((f) => f(...args)),
    count: () => listeners.size,
  };
}

// The view's event buffer: ids from 1 per instance, oldest dropped beyond `capacity` events.
const host = {
  instance: '00000000000000a1',
  limit: 64,
  calls: [],
  reads: [],
  answer: { status: 200, text: '{"error":null,"value":null}', promise: 1 },
  simulatorAnswer: { ok: true, value: '{"raised":2}' },
  events: [], // [id, text]
  nextId: 1,
  batch: 2, // events per readEvents
  raise(...texts) {
    for (const text of texts) this.events.push([this.nextId++, text]);
    zarvo.eventsReady.emit(this.nextId - 1);
  },
  drop(count) {
    this.events.splice(0, count);
  },
  restart(instance) {
    this.instance = instance;
    this.events = [];
    this.nextId = 1;
  },
};
const zarvo = {
  eventsReady: fakeSignal(),
  hello: (done) =>
    setTimeout(
      () => done({ instance: host.instance, limits: { message: host.limit }, protocol: 1 }),
      0,
    ),
  call: (...args) => {
    const done = args.pop();
    host.calls.push(args);
    setTimeout(() => done(host.answer), 0);
  },
  teardown: (done) =>
    setTimeout(() => done(host.answer.hostError ? host.answer : { done: true }), 0),
  readEvents: (after, done) => {
    host.reads.push(after);
    if (after === null) {
      // From now: nothing read, `first` names the next id.
      setTimeout(
        () => done({ instance: host.instance, gap: null, first: host.nextId, texts: [] }),
        0,
      );
      return;
    }
    const newer = host.events.filter(([id]) => id > after);
    const oldest = host.events.length ? host.events[0][0] : host.nextId;
    const gap =
      after + 1 < oldest && host.nextId > after + 1
        ? { first: after + 1, last: oldest - 1, lost: oldest - 1 - after }
        : null;
    const taken = newer.slice(0, host.batch);
    setTimeout(
      () =>
        done({
          instance: host.instance,
          gap,
          first: taken.length ? taken[0][0] : host.nextId,
          texts: taken.map(([, t]) => t),
        }),
      0,
    );
  },
};
const zarvoSimulator = {
  raise: (...args) => {
    const done = args.pop();
    host.calls.push(['raise', ...args]);
    done(host.simulatorAnswer);
  },
  callLog: (from, done) => done({ ok: true, value: `{"calls":[],"next":${from}}` }),
};
globalThis.qt = { webChannelTransport: {} };
globalThis.QWebChannel = function QWebChannel(transport, ready) {
  assert.equal(transport, globalThis.qt.webChannelTransport);
  ready({ objects: { zarvo, zarvoSimulator } });
};

const { openBridge, createBridge, BridgeError, TransportError } = await import('../zarvo/zarvo.js');
const { createSimulator } = await import('../zarvo/simulator.js');
const { webChannelTransport, inWebView } = await import('../zarvo/webchannel.js');

const event = (n, type = 'progress') => JSON.stringify({ app: 'viewer', data: n, type });
// Waits (at most about two seconds) for what the fake host answers through its timers.
const until = async (condition) => {
  for (let i = 0; i < 2000 && !condition(); i += 1) await new Promise((r) => setTimeout(r, 1));
  assert.ok(condition(), 'condition not reached');
};

test('inside the view openBridge() calls through the channel with the four texts', async () => {
  host.calls = [];
  host.answer = {
    status: 200,
    text: '{"error":null,"value":{"data":1,"statuscode":507}}',
    promise: 7,
  };
  const bridge = openBridge({ window: null });
  assert.equal(inWebView(), true);
  assert.deepEqual(await bridge.request('viewer', { uri: '/x' }), { data: 1, statuscode: 507 });
  assert.deepEqual(host.calls[0], [
    'ZarvoApplicationBridge',
    '{"method":"post"}',
    '{"name":"viewer"}',
    '',
    '{"uri":"/x"}',
  ]);
  assert.deepEqual(await bridge.exchange('ZarvoApplication', {}), host.answer);
});

test('a plug-in error answer is a BridgeError', async () => {
  host.answer = {
    status: 405,
    promise: 2,
    text: '{"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null}',
  };
  const error = await openBridge({ window: null })
    .call('ZarvoApplication', 'get')
    .catch((e) => e);
  assert.ok(error instanceof BridgeError);
  assert.equal(error.status, 405);
  assert.equal(error.message, 'GET method is not allowed.');
});

test('a call the host cannot make is a TransportError with its code', async () => {
  host.answer = {
    hostError: { status: 503, code: 'Unavailable', message: 'the plug-in has been unloaded' },
  };
  const transport = await webChannelTransport();
  const error = await transport.exchange('ZarvoApplication', {}).catch((e) => e);
  assert.ok(error instanceof TransportError);
  assert.deepEqual(
    [error.status, error.code, error.message],
    [503, 'Unavailable', 'the plug-in has been unloaded'],
  );
  await assert.rejects(transport.teardown(), (e) => e.code === 'Unavailable');
});

test("a call over the hello's limit (UTF-8 bytes of the four texts) is refused before it is sent", async () => {
  host.answer = { status: 200, text: '{"error":null,"value":null}', promise: 3 };
  host.calls = [];
  const transport = await webChannelTransport();
  // 64 bytes: 16 + 16 + 16 + 16, with "é" two bytes and "𝄞" four.
  const texts = {
    options: 'o'.repeat(16),
    parameters: 'p'.repeat(16),
    extra: 'é'.repeat(8),
    body: '𝄞'.repeat(4),
  };
  await transport.exchange('ZarvoApplication', texts);
  assert.equal(host.calls.length, 1);
  for (const over of [
    { ...texts, body: `${texts.body}x` },
    { ...texts, extra: 'é'.repeat(9) },
    { ...texts, body: 'x'.repeat(1000) },
  ]) {
    await rejectsWithTransportError(
      transport.exchange('ZarvoApplication', over),
      413,
      'PayloadTooLarge',
      'request body exceeds 64 bytes',
    );
  }
  assert.equal(host.calls.length, 1);
});

test('events are pulled after eventsReady from where the stream opened, in order, with gaps', async () => {
  host.restart('00000000000000a1');
  host.raise(event(0)); // before the stream: not delivered
  host.answer = { status: 200, text: '{"error":null,"value":null}', promise: 3 };
  const readsBefore = host.reads.length;
  const bridge = openBridge({ window: null });
  const seen = [];
  const states = [];
  const gaps = [];
  bridge.onState((s) => states.push(s));
  bridge.onGap((g) => gaps.push(g));
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (e, { id }) =>
    seen.push([id, e.data]),
  );
  // The first stream starts from now: it asks for nothing the view already holds.
  assert.equal(host.reads[readsBefore], null);
  host.raise(event(1), event(2), event(3)); // more than one batch
  await until(() => seen.length === 3);
  assert.deepEqual(seen, [
    [2, 1],
    [3, 2],
    [4, 3],
  ]);
  // Events dropped from the view's buffer before they were read are a gap.
  host.events.push([host.nextId++, event(4)], [host.nextId++, event(5)]);
  host.drop(host.events.length - 1);
  zarvo.eventsReady.emit(host.nextId - 1);
  await until(() => seen.length === 4);
  assert.deepEqual(gaps, [{ first: 5, last: 5, lost: 1 }]);
  assert.deepEqual(seen[3], [6, 5]);
  await unsubscribe();
  bridge.close();
  assert.deepEqual(states, ['open', 'closed']);
  assert.equal(zarvo.eventsReady.count(), 0);
  host.raise(event(6));
  await settle();
  assert.equal(seen.length, 4);
});

test('a stream reopened on the same instance replays what was raised meanwhile', async () => {
  host.restart('00000000000000b2');
  const transport = await webChannelTransport();
  const ids = [];
  const sink = { event: (text, id) => ids.push(id), gap() {}, instance() {} };
  const close = await transport.openEvents(sink);
  host.raise(event(1));
  await until(() => ids.length === 1);
  close();
  host.raise(event(2), event(3));
  await settle();
  const closeAgain = await transport.openEvents(sink);
  await until(() => ids.length === 3);
  assert.deepEqual(ids, [1, 2, 3]);
  closeAgain();
});

test('a new instance is reported and its events are read from its first one', async () => {
  host.restart('00000000000000c3');
  host.answer = { status: 200, text: '{"error":null,"value":null}', promise: 3 };
  const transport = await webChannelTransport();
  const bridge = createBridge({ transport, window: null });
  const states = [];
  const seen = [];
  bridge.onState((s) => states.push(s));
  bridge.onEvent((e, { id }) => seen.push([id, e.data]));
  await bridge.open();
  host.raise(event(1), event(2), event(3), event(4));
  await until(() => seen.length === 4);
  host.restart('00000000000000d4');
  host.raise(event(10));
  await until(() => seen.length === 5);
  assert.deepEqual(seen, [
    [1, 1],
    [2, 2],
    [3, 3],
    [4, 4],
    [1, 10],
  ]);
  assert.deepEqual(states, ['open', 'restarted']);
  bridge.close();
});

test('createSimulator() inside the view uses the channel controls and their errors', async () => {
  host.calls = [];
  host.simulatorAnswer = { ok: true, value: '{"raised":2}' };
  const simulator = createSimulator();
  assert.deepEqual(await simulator.raise('viewer', 'progress', '{"p":1}', { count: 2 }), {
    raised: 2,
  });
  // The same body as over HTTP, which the host checks with the same rules.
  assert.deepEqual(host.calls[0], [
    'raise',
    '{"app":"viewer","type":"progress","payload":"{\\"p\\":1}","count":2}',
  ]);
  assert.deepEqual(await simulator.callLog({ from: 5 }), { calls: [], next: 5 });
  host.simulatorAnswer = {
    ok: false,
    status: 404,
    code: 'NotConnected',
    message: "application 'x' is not connected",
  };
  const error = await simulator.raise('x', 'progress').catch((e) => e);
  assert.ok(error instanceof TransportError);
  assert.deepEqual(
    [error.status, error.code, error.message],
    [404, 'NotConnected', "application 'x' is not connected"],
  );
});

test('a host whose channel lacks a method of the protocol is a TransportError naming it', async () => {
  const saved = zarvo.hello;
  delete zarvo.hello;
  try {
    await rejectsWithTransportError(
      webChannelTransport(),
      0,
      'NetworkError',
      "the host's channel offers no hello()",
    );
  } finally {
    zarvo.hello = saved;
  }
});
