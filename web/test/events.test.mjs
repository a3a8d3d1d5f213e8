// Subscriptions, listeners, the order of opening and subscribing, gaps and window CustomEvents.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { createBridge, BridgeError } from '../zarvo/zarvo.js';
import { FakeTransport, settle } from './fakes.mjs';

const OK_NULL = '{"error":null,"value":null}';
const progress = (percent, app = 'viewer') => ({ app, data: { percent }, type: 'progress' });

function setup(window = null) {
  const transport = new FakeTransport();
  return { transport, bridge: createBridge({ transport, window }) };
}

test('the stream is open before the subscribe request is sent', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL);
  await bridge.subscribe('viewer', 'progress', () => {});
  assert.deepEqual(transport.log, [
    'openEvents',
    'exchange ZarvoApplicationEvent {"method":"post"}',
  ]);
});

test('an event arriving before the subscribe answer reaches the listener', async () => {
  const { transport, bridge } = setup();
  const seen = [];
  transport.onExchange = () => transport.emit(progress(1), 1);
  transport.answer(200, OK_NULL);
  await bridge.subscribe('viewer', 'progress', (event, meta) => seen.push([event, meta]));
  assert.deepEqual(seen, [[progress(1), { id: 1 }]]);
});

test('a listener receives only its application and type, in order', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL);
  const seen = [];
  await bridge.subscribe('viewer', 'progress', (event, { id }) => seen.push(id));
  transport.emit(progress(1), 1);
  transport.emit(progress(2, 'printer'), 2);
  transport.emit({ app: 'viewer', data: null, type: 'saved' }, 3);
  transport.emit(progress(3), 4);
  assert.deepEqual(seen, [1, 4]);
});

test('one stream is shared by every subscription', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL).answer(200, OK_NULL);
  await Promise.all([
    bridge.subscribe('viewer', 'progress', () => {}),
    bridge.subscribe('printer', 'progress', () => {}),
  ]);
  assert.equal(transport.opens, 1);
});

test('unsubscribe sends delete first and then removes the listener', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL).answer(200, OK_NULL);
  const seen = [];
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push(id));
  transport.onExchange = () => transport.emit(progress(7), 7);
  assert.equal(await unsubscribe(), undefined);
  transport.emit(progress(8), 8);
  assert.deepEqual(seen, [7]);
  assert.equal(transport.sent[1][1].options, '{"method":"delete"}');
});

test('unsubscribe twice sends one delete', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL).answer(200, OK_NULL);
  const unsubscribe = await bridge.subscribe('viewer', 'progress', () => {});
  await Promise.all([unsubscribe(), unsubscribe()]);
  await unsubscribe();
  assert.equal(transport.sent.length, 2);
});

test('a refused unsubscribe rejects and still removes the listener', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL);
  transport.answer(
    400,
    '{"error":{"message":"Application instance is not existed.","name":"BadRequestError"},"value":null}',
  );
  const seen = [];
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (e, { id }) => seen.push(id));
  await assert.rejects(unsubscribe(), {
    name: 'BadRequestError',
    message: 'Application instance is not existed.',
  });
  transport.emit(progress(1), 1);
  assert.deepEqual(seen, []);
});

test('a refused subscribe removes the listener and rejects with the BridgeError', async () => {
  const { transport, bridge } = setup();
  transport.answer(
    400,
    '{"error":{"message":"URI parameter \'type\' is empty.","name":"BadRequestError"},"value":null}',
  );
  const seen = [];
  const error = await bridge.subscribe('viewer', '', (e) => seen.push(e)).catch((e) => e);
  assert.ok(error instanceof BridgeError);
  assert.equal(error.message, "URI parameter 'type' is empty.");
  transport.emit({ app: 'viewer', data: 1, type: '' }, 1);
  assert.deepEqual(seen, []);
});

test('a stream that cannot be opened rejects subscribe without a request, and a later one retries', async () => {
  const { transport, bridge } = setup();
  transport.openError = new Error('no stream');
  await assert.rejects(
    bridge.subscribe('viewer', 'progress', () => {}),
    { message: 'no stream' },
  );
  assert.equal(transport.sent.length, 0);
  transport.openError = null;
  transport.answer(200, OK_NULL);
  await bridge.subscribe('viewer', 'progress', () => {});
  assert.equal(transport.opens, 2);
});

test('onEvent sees every event with its id until removed', async () => {
  const { transport, bridge } = setup();
  await bridge.open();
  const seen = [];
  const remove = bridge.onEvent((event, meta) => seen.push([event.app, meta.id]));
  transport.emit(progress(1), 1);
  transport.emit(progress(2, 'printer'), 2);
  remove();
  transport.emit(progress(3), 3);
  assert.deepEqual(seen, [
    ['viewer', 1],
    ['printer', 2],
  ]);
});

test('a throwing listener does not keep the others from the event', async () => {
  const { transport, bridge } = setup();
  const reported = [];
  const saved = globalThis.reportError;
  globalThis.reportError = (e) => reported.push(e.message);
  try {
    await bridge.open();
    const seen = [];
    bridge.onEvent(() => {
      throw new Error('listener broke');
    });
    bridge.onEvent((e, { id }) => seen.push(id));
    transport.emit(progress(1), 1);
    assert.deepEqual(seen, [1]);
    assert.deepEqual(reported, ['listener broke']);
  } finally {
    globalThis.reportError = saved;
  }
});

test('an event text that is not an event reaches onInvalidEvent and window, no listener, and the stream goes on', async () => {
  const window = new EventTarget();
  const { transport, bridge } = setup(window);
  const reported = [];
  const saved = globalThis.reportError;
  globalThis.reportError = (e) => reported.push(e);
  try {
    transport.answer(200, OK_NULL);
    const subscribed = [];
    await bridge.subscribe('viewer', 'progress', (e, { id }) => subscribed.push(id));
    const seen = [];
    const invalid = [];
    const onWindow = [];
    bridge.onEvent((e, { id }) => seen.push(id));
    const remove = bridge.onInvalidEvent((detail) => invalid.push(detail));
    window.addEventListener('zarvoInvalidEvent', (e) => onWindow.push(e.detail));
    window.addEventListener('zarvoEvent', (e) => onWindow.push(e.detail.type));
    const texts = [
      '{broken',
      '',
      'null',
      '5',
      '[1]',
      '{"app":"viewer","data":1}',
      '{"app":7,"type":"progress"}',
    ];
    texts.forEach((text, i) => transport.emit(text, i + 1));
    transport.emit(progress(1), 8);
    remove();
    transport.emit('nope', 9);
    assert.deepEqual(seen, [8]);
    assert.deepEqual(subscribed, [8]);
    const expected = texts.map((text, i) => ({ id: i + 1, text }));
    assert.deepEqual(invalid, expected);
    assert.deepEqual(onWindow, [...expected, 'progress', { id: 9, text: 'nope' }]);
    assert.deepEqual(reported, []);
  } finally {
    globalThis.reportError = saved;
  }
});

test('gaps reach onGap listeners until removed', async () => {
  const { transport, bridge } = setup();
  await bridge.open();
  const gaps = [];
  const remove = bridge.onGap((gap) => gaps.push(gap));
  transport.sink.gap({ first: 3, last: 9, lost: 7 });
  remove();
  transport.sink.gap({ first: 10, last: 10, lost: 1 });
  assert.deepEqual(gaps, [{ first: 3, last: 9, lost: 7 }]);
});

test('stream states reach onState listeners', async () => {
  const { transport, bridge } = setup();
  const states = [];
  bridge.onState((s) => states.push(s));
  await bridge.open();
  transport.sink.state('reconnecting');
  transport.sink.state('open');
  assert.deepEqual(states, ['reconnecting', 'open']);
});

test('every event and gap is dispatched once on window as a CustomEvent', async () => {
  const window = new EventTarget();
  const { transport, bridge } = setup(window);
  const events = [];
  const gaps = [];
  window.addEventListener('zarvoEvent', (e) => events.push(e.detail));
  window.addEventListener('zarvoGap', (e) => gaps.push(e.detail));
  transport.answer(200, OK_NULL);
  await bridge.subscribe('viewer', 'progress', () => {});
  bridge.onEvent(() => {});
  transport.emit(progress(1), 1);
  transport.emit(progress(2, 'printer'), 2);
  transport.sink.gap({ first: 3, last: 4, lost: 2 });
  assert.deepEqual(events, [progress(1), progress(2, 'printer')]);
  assert.deepEqual(gaps, [{ first: 3, last: 4, lost: 2 }]);
  assert.ok(events.every((e) => e !== null));
});

test('window defaults to globalThis.window', async () => {
  const window = new EventTarget();
  globalThis.window = window;
  try {
    const transport = new FakeTransport();
    const bridge = createBridge({ transport });
    const events = [];
    window.addEventListener('zarvoEvent', (e) => events.push(e.detail.type));
    await bridge.open();
    transport.emit(progress(1), 1);
    assert.deepEqual(events, ['progress']);
  } finally {
    delete globalThis.window;
  }
});

test('close ends the stream and a later subscribe reopens it', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL).answer(200, OK_NULL);
  await bridge.subscribe('viewer', 'progress', () => {});
  bridge.close();
  assert.equal(transport.closes, 1);
  bridge.close();
  assert.equal(transport.closes, 1);
  await bridge.subscribe('viewer', 'saved', () => {});
  assert.equal(transport.opens, 2);
});

test('close while the stream is opening closes it once it is open', async () => {
  const { transport, bridge } = setup();
  const opening = bridge.open();
  bridge.close();
  await opening;
  await settle();
  assert.deepEqual([transport.opens, transport.closes], [1, 1]);
});

test('without a CustomEvent class the window gets an Event carrying detail', async () => {
  const saved = globalThis.CustomEvent;
  delete globalThis.CustomEvent;
  try {
    const window = new EventTarget();
    const { transport, bridge } = setup(window);
    const got = [];
    window.addEventListener('zarvoEvent', (e) => got.push([e.type, e.detail]));
    window.addEventListener('zarvoGap', (e) => got.push([e.type, e.detail]));
    await bridge.open();
    transport.emit(progress(1), 1);
    transport.sink.gap({ first: 2, last: 2, lost: 1 });
    assert.deepEqual(got, [
      ['zarvoEvent', progress(1)],
      ['zarvoGap', { first: 2, last: 2, lost: 1 }],
    ]);
  } finally {
    globalThis.CustomEvent = saved;
  }
});
