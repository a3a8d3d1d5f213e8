// Every verb of the bridge: the exact request texts it sends and what it resolves with.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { createBridge } from '../zarvo/zarvo.js';
import { FakeTransport } from './fakes.mjs';

const OK_NULL = '{"error":null,"value":null}';

function setup() {
  const transport = new FakeTransport();
  return { transport, bridge: createBridge({ transport, window: null }) };
}

test('connect sends ZarvoApplication post with the name and resolves null', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL);
  assert.equal(await bridge.connect('viewer'), null);
  assert.deepEqual(transport.sent, [
    [
      'ZarvoApplication',
      { options: '{"method":"post"}', parameters: '{"name":"viewer"}', extra: '', body: '' },
    ],
  ]);
});

test('disconnect sends ZarvoApplication delete', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL);
  assert.equal(await bridge.disconnect('viewer'), null);
  assert.deepEqual(transport.sent[0], [
    'ZarvoApplication',
    { options: '{"method":"delete"}', parameters: '{"name":"viewer"}', extra: '', body: '' },
  ]);
});

test('a name is sent as given, so a number names the application by its digits', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL);
  await bridge.connect(7);
  assert.equal(transport.sent[0][1].parameters, '{"name":7}');
});

test('request sends every member given and resolves data and statuscode', async () => {
  const { transport, bridge } = setup();
  transport.answer(
    200,
    '{"error":null,"value":{"data":{"opened":true,"pages":12},"statuscode":200}}',
  );
  const answer = await bridge.request('viewer', {
    uri: '/document/open',
    requestData: { path: '/home/ada/report.pdf' },
    settings: { overwrite: true },
    target: 'main',
  });
  assert.deepEqual(answer, { data: { opened: true, pages: 12 }, statuscode: 200 });
  assert.deepEqual(transport.sent[0], [
    'ZarvoApplicationBridge',
    {
      options: '{"method":"post"}',
      parameters: '{"name":"viewer"}',
      extra: '',
      body: '{"uri":"/document/open","requestData":{"path":"/home/ada/report.pdf"},"settings":{"overwrite":true},"target":"main"}',
    },
  ]);
});

test('request leaves out the members that are undefined', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, '{"error":null,"value":{"data":null,"statuscode":200}}');
  await bridge.request('viewer', { uri: '/document/close' });
  assert.equal(transport.sent[0][1].body, '{"uri":"/document/close"}');
});

test("the application's own error status is data inside a resolved answer", async () => {
  const { transport, bridge } = setup();
  transport.answer(200, '{"error":null,"value":{"data":{"error":"disk full"},"statuscode":507}}');
  const answer = await bridge.request('viewer', { uri: '/document/save' });
  assert.deepEqual(answer, { data: { error: 'disk full' }, statuscode: 507 });
});

test('customTask sends type, data and target and resolves data and type', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, '{"error":null,"value":{"data":{"pages":3},"type":"done"}}');
  const answer = await bridge.customTask('viewer', {
    type: 'render',
    data: { pages: [1, 2, 3] },
    target: 't',
  });
  assert.deepEqual(answer, { data: { pages: 3 }, type: 'done' });
  assert.deepEqual(transport.sent[0], [
    'ZarvoApplicationCustom',
    {
      options: '{"method":"post"}',
      parameters: '{"name":"viewer"}',
      extra: '',
      body: '{"type":"render","data":{"pages":[1,2,3]},"target":"t"}',
    },
  ]);
});

test('customTask without data sends only the type', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, '{"error":null,"value":{"data":null,"type":""}}');
  assert.deepEqual(await bridge.customTask('printer', { type: 'print' }), { data: null, type: '' });
  assert.equal(transport.sent[0][1].body, '{"type":"print"}');
});

test('subscribe sends name and type as parameters and no body without a target', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL).answer(200, OK_NULL);
  const unsubscribe = await bridge.subscribe('viewer', 'progress', () => {});
  await unsubscribe();
  assert.deepEqual(transport.sent, [
    [
      'ZarvoApplicationEvent',
      {
        options: '{"method":"post"}',
        parameters: '{"name":"viewer","type":"progress"}',
        extra: '',
        body: '',
      },
    ],
    [
      'ZarvoApplicationEvent',
      {
        options: '{"method":"delete"}',
        parameters: '{"name":"viewer","type":"progress"}',
        extra: '',
        body: '',
      },
    ],
  ]);
});

test('subscribe with a target sends it in the body of both requests', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL).answer(200, OK_NULL);
  const unsubscribe = await bridge.subscribe('viewer', 'progress', () => {}, { target: 'pane' });
  await unsubscribe();
  assert.equal(transport.sent[0][1].body, '{"target":"pane"}');
  assert.equal(transport.sent[1][1].body, '{"target":"pane"}');
});

test('subscribe refuses a listener that is not a function before sending anything', async () => {
  const { transport, bridge } = setup();
  await assert.rejects(bridge.subscribe('viewer', 'progress', null), {
    name: 'TypeError',
    message: 'listener must be a function',
  });
  assert.equal(transport.sent.length, 0);
  assert.equal(transport.opens, 0);
});

test('call sends the exact texts with options made from the method', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, '{"error":null,"value":1}');
  const value = await bridge.call('ZarvoApplicationBridge', 'PoSt', {
    parameters: 'not json',
    body: 'abc',
  });
  assert.equal(value, 1);
  assert.deepEqual(transport.sent[0], [
    'ZarvoApplicationBridge',
    { options: '{"method":"PoSt"}', parameters: 'not json', extra: '', body: 'abc' },
  ]);
});

test('call passes explicit options unchanged', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, OK_NULL);
  await bridge.call('ZarvoApplication', 'ignored', { options: '[]', extra: 'x' });
  assert.deepEqual(transport.sent[0][1], { options: '[]', parameters: '', extra: 'x', body: '' });
});

test('call refuses a text that is not a string', async () => {
  const { transport, bridge } = setup();
  await assert.rejects(
    bridge.call('ZarvoApplication', 'post', { parameters: { name: 'viewer' } }),
    {
      name: 'TypeError',
      message: "request text 'parameters' must be a string, not object",
    },
  );
  assert.equal(transport.sent.length, 0);
});

test('exchange returns the raw answer and fills the texts left out', async () => {
  const { transport, bridge } = setup();
  const raw = {
    status: 405,
    text: '{"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null}',
    promise: 9,
  };
  transport.answers.push(raw);
  assert.deepEqual(await bridge.exchange('ZarvoApplication', { options: '{"method":"get"}' }), raw);
  assert.deepEqual(transport.sent[0][1], {
    options: '{"method":"get"}',
    parameters: '',
    extra: '',
    body: '',
  });
});

test('teardown goes to the transport', async () => {
  const { transport, bridge } = setup();
  await bridge.teardown();
  assert.equal(transport.teardowns, 1);
});
