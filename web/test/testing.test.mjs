// The fakes shipped for page authors' unit tests (zarvo/testing.js): programmed answers, the
// recorded calls, and events, gaps, states and restarts raised by the test.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { BridgeError, TransportError } from '../zarvo/zarvo.js';
import {
  createFakeBridge,
  FakeTransport,
  value,
  bridgeError,
  rawAnswer,
  transportError,
} from '../zarvo/testing.js';
import { settle } from './fakes.mjs';

test('connect, disconnect, subscribe and unsubscribe answer null unless programmed', async () => {
  const { bridge, transport } = createFakeBridge();
  assert.equal(await bridge.connect('viewer'), null);
  const unsubscribe = await bridge.subscribe('viewer', 'progress', () => {});
  await unsubscribe();
  assert.equal(await bridge.disconnect('viewer'), null);
  assert.deepEqual(
    transport.calls.map((c) => `${c.resource} ${c.method}`),
    [
      'ZarvoApplication post',
      'ZarvoApplicationEvent post',
      'ZarvoApplicationEvent delete',
      'ZarvoApplication delete',
    ],
  );
});

test('an unprogrammed request or task rejects naming it', async () => {
  const { bridge } = createFakeBridge();
  await assert.rejects(bridge.request('viewer', { uri: '/x' }), {
    message: 'no answer programmed for ZarvoApplicationBridge post',
  });
  await assert.rejects(bridge.customTask('viewer', { type: 'render' }), {
    message: 'no answer programmed for ZarvoApplicationCustom post',
  });
});

test('programs: a value, a function of the call, and every kind of reply', async () => {
  const { bridge, transport } = createFakeBridge();
  transport
    .on('ZarvoApplicationBridge', 'POST', (call) => ({
      data: { uri: call.body.uri, name: call.parameters.name },
      statuscode: 200,
    }))
    .on('ZarvoApplicationCustom', 'post', { data: { pages: 3 }, type: 'done' })
    .on(
      'ZarvoApplication',
      'post',
      bridgeError(500, 'InternalError', 'Failed to connect application.', { code: 3 }),
    )
    .on(
      'ZarvoApplication',
      'delete',
      transportError(503, 'Unavailable', 'the plug-in has been unloaded'),
    )
    .on(
      'ZarvoApplication',
      'get',
      rawAnswer(
        405,
        '{"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null}',
      ),
    )
    .on('ZarvoApplicationEvent', 'post', value(undefined));
  assert.deepEqual(await bridge.request('viewer', { uri: '/document/open' }), {
    data: { uri: '/document/open', name: 'viewer' },
    statuscode: 200,
  });
  assert.deepEqual(await bridge.customTask('viewer', { type: 'render' }), {
    data: { pages: 3 },
    type: 'done',
  });
  await assert.rejects(bridge.connect('viewer'), (e) => {
    assert.ok(e instanceof BridgeError);
    assert.deepEqual(
      [e.status, e.name, e.message, e.details],
      [500, 'InternalError', 'Failed to connect application.', { code: 3 }],
    );
    return true;
  });
  await assert.rejects(
    bridge.disconnect('viewer'),
    (e) => e instanceof TransportError && e.code === 'Unavailable',
  );
  await assert.rejects(bridge.call('ZarvoApplication', 'get'), {
    name: 'MethodError',
    status: 405,
  });
  assert.equal(await bridge.call('ZarvoApplicationEvent', 'post'), null);
  const raw = await bridge.exchange('ZarvoApplicationCustom', { options: '{"method":"post"}' });
  assert.deepEqual(
    [raw.status, raw.text],
    [200, '{"error":null,"value":{"data":{"pages":3},"type":"done"}}'],
  );
});

test('calls are recorded with their exact texts, parsed where they are JSON', async () => {
  const { bridge, transport } = createFakeBridge();
  transport.on('ZarvoApplicationBridge', 'post', { data: null, statuscode: 200 });
  await bridge.request('viewer', { uri: '/x', requestData: { big: 2 ** 63 } });
  await bridge.call('ZarvoApplicationBridge', 'post', { parameters: 'not json', body: '' });
  const [first, second] = transport.callsTo('ZarvoApplicationBridge', 'post');
  assert.deepEqual(first.texts, {
    options: '{"method":"post"}',
    parameters: '{"name":"viewer"}',
    extra: '',
    body: '{"uri":"/x","requestData":{"big":9.223372036854776e+18}}',
  });
  assert.deepEqual(first.parameters, { name: 'viewer' });
  assert.deepEqual(first.body, { uri: '/x', requestData: { big: 2 ** 63 } });
  assert.deepEqual([second.parameters, second.body], [undefined, undefined]);
  assert.equal(transport.callsTo('ZarvoApplication').length, 0);
});

test('events, invalid texts and gaps raised by the test reach the bridge with their ids', async () => {
  const window = new EventTarget();
  const { bridge, transport } = createFakeBridge({ window });
  const seen = [];
  const onWindow = [];
  window.addEventListener('zarvoEvent', (e) => onWindow.push(e.detail));
  assert.throws(() => transport.emit({ app: 'viewer', type: 'progress' }), {
    message: 'the event stream is not open',
  });
  await bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push([id, e]));
  bridge.onInvalidEvent(({ id, text }) => seen.push([id, text]));
  bridge.onGap((gap) => seen.push(gap));
  assert.equal(transport.streamOpen, true);
  assert.equal(transport.emit({ app: 'viewer', type: 'progress', data: { percent: 5 } }), 1);
  transport.emit('{broken');
  assert.deepEqual(transport.gap(3), { first: 3, last: 5, lost: 3 });
  transport.emit({ app: 'viewer', type: 'progress' });
  assert.deepEqual(seen, [
    [1, { app: 'viewer', data: { percent: 5 }, type: 'progress' }],
    [2, '{broken'],
    { first: 3, last: 5, lost: 3 },
    [6, { app: 'viewer', data: null, type: 'progress' }],
  ]);
  assert.equal(onWindow.length, 2);
  bridge.close();
  assert.equal(transport.streamOpen, false);
});

test('a restart: states, pending calls "Restarted", old subscriptions dropped, ids from 1', async () => {
  const { bridge, transport } = createFakeBridge({ instance: '00000000000000aa' });
  const states = [];
  const seen = [];
  bridge.onState((s) => states.push(s));
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push(id));
  transport.emit({ app: 'viewer', type: 'progress' });
  transport.hold();
  const pending = bridge.connect('printer');
  await settle();
  assert.equal(transport.restart(), '00000000000000ab');
  await assert.rejects(pending, { code: 'Restarted' });
  transport.release();
  assert.equal(transport.emit({ app: 'viewer', type: 'progress' }), 1);
  assert.deepEqual(seen, [1]);
  const before = transport.calls.length;
  await unsubscribe();
  assert.equal(transport.calls.length, before);
  assert.equal(transport.restart('ffff000000000000'), 'ffff000000000000');
  assert.deepEqual(states, ['open', 'reconnecting', 'restarted', 'reconnecting', 'restarted']);
});

test('a stream that cannot be opened, and a state set by the test', async () => {
  const transport = new FakeTransport();
  const { bridge } = createFakeBridge();
  void bridge;
  transport.failOpen(
    new TransportError(0, 'NetworkError', 'GET /events: the event stream could not be opened'),
  );
  await assert.rejects(transport.openEvents({ event() {}, gap() {} }), { code: 'NetworkError' });
  transport.failOpen(null);
  const states = [];
  const close = await transport.openEvents({ event() {}, gap() {}, state: (s) => states.push(s) });
  transport.setState('reconnecting');
  close();
  close();
  assert.deepEqual(states, ['open', 'reconnecting', 'closed']);
  assert.equal(transport.teardowns, 0);
  await transport.teardown();
  assert.equal(transport.teardowns, 1);
});
