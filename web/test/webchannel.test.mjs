// The web-channel transport of zarvo_view and openBridge() against a fake host channel: the
// answers, the host's refusals, event numbering and order, closing, the simulator controls.
import { test } from 'node:test';
import assert from 'node:assert/strict';

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

const host = {
  calls: [],
  answer: { status: 200, text: '{"error":null,"value":null}', promise: 1 },
  simulatorAnswer: { ok: true, value: { raised: 2 } },
};
const zarvo = {
  events: fakeSignal(),
  call: (...args) => {
    const done = args.pop();
    host.calls.push(args);
    setTimeout(() => done(host.answer), 0);
  },
  teardown: (done) => setTimeout(() => done(host.answer.hostError ? host.answer : { done: true }), 0),
};
const zarvoSimulator = {
  raise: (...args) => { const done = args.pop(); host.calls.push(['raise', ...args]); done(host.simulatorAnswer); },
  callLog: (from, done) => done({ ok: true, value: { calls: [], next: from } }),
};
globalThis.qt = { webChannelTransport: {} };
globalThis.QWebChannel = function QWebChannel(transport, ready) {
  assert.equal(transport, globalThis.qt.webChannelTransport);
  ready({ objects: { zarvo, zarvoSimulator } });
};

const { openBridge, BridgeError, TransportError } = await import('../zarvo/zarvo.js');
const { createSimulator } = await import('../zarvo/simulator.js');
const { webChannelTransport, inWebView } = await import('../zarvo/webchannel.js');

test('inside the view openBridge() calls through the channel with the four texts', async () => {
  host.calls = [];
  host.answer = { status: 200, text: '{"error":null,"value":{"data":1,"statuscode":507}}', promise: 7 };
  const bridge = openBridge({ window: null });
  assert.equal(inWebView(), true);
  assert.deepEqual(await bridge.request('viewer', { uri: '/x' }), { data: 1, statuscode: 507 });
  assert.deepEqual(host.calls[0], ['ZarvoApplicationBridge', '{"method":"post"}', '{"name":"viewer"}', '', '{"uri":"/x"}']);
  assert.deepEqual(await bridge.exchange('ZarvoApplication', {}), host.answer);
});

test('a plug-in error answer is a BridgeError', async () => {
  host.answer = {
    status: 405, promise: 2,
    text: '{"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null}',
  };
  const error = await openBridge({ window: null }).call('ZarvoApplication', 'get').catch((e) => e);
  assert.ok(error instanceof BridgeError);
  assert.equal(error.status, 405);
  assert.equal(error.message, 'GET method is not allowed.');
});

test('a call the host cannot make is a TransportError with its code', async () => {
  host.answer = { hostError: { status: 503, code: 'Unavailable', message: 'the plug-in has been unloaded' } };
  const transport = await webChannelTransport();
  const error = await transport.exchange('ZarvoApplication', {}).catch((e) => e);
  assert.ok(error instanceof TransportError);
  assert.deepEqual([error.status, error.code, error.message], [503, 'Unavailable', 'the plug-in has been unloaded']);
  await assert.rejects(transport.teardown(), (e) => e.code === 'Unavailable');
});

test('events are numbered from the host id, delivered in order, and stop when closed', async () => {
  host.answer = { status: 200, text: '{"error":null,"value":null}', promise: 3 };
  const bridge = openBridge({ window: null });
  const seen = [];
  const states = [];
  bridge.onState((s) => states.push(s));
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push([id, e.data]));
  zarvo.events.emit(41, ['{"app":"viewer","data":1,"type":"progress"}', '{"app":"viewer","data":2,"type":"progress"}']);
  zarvo.events.emit(43, ['{"app":"viewer","data":3,"type":"progress"}']);
  assert.deepEqual(seen, [[41, 1], [42, 2], [43, 3]]);
  await unsubscribe();
  bridge.close();
  assert.deepEqual(states, ['open', 'closed']);
  zarvo.events.emit(44, ['{"app":"viewer","data":4,"type":"progress"}']);
  assert.equal(seen.length, 3);
});

test('createSimulator() inside the view uses the channel controls and their errors', async () => {
  host.calls = [];
  host.simulatorAnswer = { ok: true, value: { raised: 2 } };
  const simulator = createSimulator();
  assert.deepEqual(await simulator.raise('viewer', 'progress', '{"p":1}', { count: 2 }), { raised: 2 });
  assert.deepEqual(host.calls[0], ['raise', 'viewer', 'progress', '{"p":1}', 2]);
  assert.deepEqual(await simulator.callLog({ from: 5 }), { calls: [], next: 5 });
  host.simulatorAnswer = { ok: false, status: 404, code: 'NotConnected', message: "application 'x' is not connected" };
  const error = await simulator.raise('x', 'progress').catch((e) => e);
  assert.ok(error instanceof TransportError);
  assert.deepEqual([error.status, error.code, error.message], [404, 'NotConnected', "application 'x' is not connected"]);
});
