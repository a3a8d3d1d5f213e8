// A restart of the host as the bridge sees it: the transport reports a new instance id, pending
// calls reject "Restarted", earlier subscriptions are dropped (their unsubscribe resolves without
// a call), the state "restarted" is reported, and the new instance's events flow on.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { createBridge } from '../zarvo/zarvo.js';
import { FakeTransport, settle, rejectsWithTransportError } from './fakes.mjs';

const OK_NULL = '{"error":null,"value":null}';
const progress = (n) => ({ app: 'viewer', data: n, type: 'progress' });

// A transport whose answers the test releases one by one.
class HeldTransport extends FakeTransport {
  constructor() {
    super();
    this.held = [];
  }
  exchange(resource, texts) {
    this.sent.push([resource, texts]);
    return new Promise((resolve, reject) => this.held.push({ resolve, reject }));
  }
}

function setup() {
  const transport = new HeldTransport();
  const bridge = createBridge({ transport, window: null });
  const states = [];
  bridge.onState((s) => states.push(s));
  return { transport, bridge, states };
}

test('the first instance is remembered; the same one again changes nothing', async () => {
  const { transport, bridge, states } = setup();
  await bridge.open();
  transport.sink.instance('00000000000000aa');
  transport.sink.state('open');
  transport.sink.state('reconnecting');
  transport.sink.instance('00000000000000aa');
  transport.sink.state('open');
  assert.deepEqual(states, ['open', 'reconnecting', 'open']);
});

test('a new instance rejects pending calls "Restarted" and reports "restarted" once', async () => {
  const { transport, bridge, states } = setup();
  await bridge.open();
  transport.sink.instance('00000000000000aa');
  const pending = [
    bridge.connect('viewer'),
    bridge.request('viewer', { uri: '/x' }),
    bridge.exchange('ZarvoApplication', {}),
  ];
  await settle();
  transport.sink.state('reconnecting');
  transport.sink.instance('00000000000000bb');
  transport.sink.state('open');
  for (const call of pending) {
    await rejectsWithTransportError(
      call,
      0,
      'Restarted',
      'the host restarted before the call was answered',
    );
  }
  // A late answer of the old instance changes nothing.
  transport.held[0].resolve({ status: 200, text: OK_NULL, promise: 1 });
  await settle();
  assert.deepEqual(states, ['reconnecting', 'restarted']);
  // Calls made after the restart are carried as usual.
  const after = bridge.connect('viewer');
  await settle();
  transport.held[3].resolve({ status: 200, text: OK_NULL, promise: 1 });
  assert.equal(await after, null);
});

test('subscriptions of the old instance are dropped and unsubscribe resolves without a call', async () => {
  const { transport, bridge } = setup();
  const seen = [];
  const subscribing = bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push(['old', id]));
  await settle();
  transport.sink.instance('00000000000000aa');
  transport.held[0].resolve({ status: 200, text: OK_NULL, promise: 1 });
  const unsubscribe = await subscribing;
  transport.emit(progress(1), 7);
  transport.sink.instance('00000000000000bb');
  const everyEvent = [];
  bridge.onEvent((e, { id }) => everyEvent.push(id));
  transport.emit(progress(2), 1);
  assert.deepEqual(seen, [['old', 7]]);
  assert.deepEqual(everyEvent, [1]);
  const sent = transport.sent.length;
  assert.equal(await unsubscribe(), undefined);
  assert.equal(transport.sent.length, sent);
});

test('a subscribe pending at the restart rejects and leaves no listener', async () => {
  const { transport, bridge } = setup();
  await bridge.open();
  transport.sink.instance('00000000000000aa');
  const seen = [];
  const subscribing = bridge.subscribe('viewer', 'progress', (e) => seen.push(e));
  await settle();
  transport.sink.instance('00000000000000bb');
  await assert.rejects(subscribing, { code: 'Restarted' });
  transport.emit(progress(1), 1);
  assert.deepEqual(seen, []);
});

test('an unsubscribe pending at the restart resolves: the new instance holds no subscription', async () => {
  const { transport, bridge } = setup();
  const subscribing = bridge.subscribe('viewer', 'progress', () => {});
  await settle();
  transport.sink.instance('00000000000000aa');
  transport.held[0].resolve({ status: 200, text: OK_NULL, promise: 1 });
  const unsubscribe = await subscribing;
  const unsubscribing = unsubscribe();
  await settle();
  transport.sink.instance('00000000000000bb');
  assert.equal(await unsubscribing, undefined);
});

test("a subscription made after the restart gets the new instance's events", async () => {
  const { transport, bridge, states } = setup();
  await bridge.open();
  transport.sink.instance('00000000000000aa');
  transport.sink.instance('00000000000000bb');
  const seen = [];
  const subscribing = bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push(id));
  await settle();
  transport.held[0].resolve({ status: 200, text: OK_NULL, promise: 1 });
  await subscribing;
  transport.emit(progress(1), 1);
  transport.emit(progress(2), 2);
  assert.deepEqual(seen, [1, 2]);
  assert.deepEqual(states, ['restarted']);
});
