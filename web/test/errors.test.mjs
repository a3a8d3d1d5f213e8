// Every error shape a page meets: BridgeError with the plug-in's texts, TransportError, bad envelopes.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { createBridge, BridgeError, TransportError } from '../zarvo/zarvo.js';
import { FakeTransport, rejectsWithTransportError } from './fakes.mjs';

function setup() {
  const transport = new FakeTransport();
  return { transport, bridge: createBridge({ transport, window: null }) };
}

// The plug-in's error answers: [status, name, message].
const PLUGIN_ERRORS = [
  [400, 'BadRequestError', "URI parameter 'name' is empty."],
  [400, 'BadRequestError', "URI parameter 'type' is empty."],
  [400, 'BadRequestError', 'Application instance is not existed.'],
  [400, 'BadRequestError', 'uri is empty string.'],
  [400, 'BadRequestError', 'type is empty string.'],
  [500, 'InternalError', 'Failed to connect application.'],
  [500, 'InternalError', 'Failed to disconnect application.'],
  [500, 'InternalError', 'No response from the application.'],
  [405, 'MethodError', 'GET method is not allowed.'],
  [405, 'MethodError', 'PUT method is not allowed.'],
  [405, 'MethodError', 'POST method is not allowed.'],
  [405, 'MethodError', 'DELETE method is not allowed.'],
  [500, 'UnknownError', 'Unknown error occurred.'],
];

for (const [status, name, message] of PLUGIN_ERRORS) {
  test(`${status} ${name} "${message}" rejects with a BridgeError carrying it`, async () => {
    const { transport, bridge } = setup();
    const envelope = JSON.stringify({ error: { message, name }, value: null });
    transport.answer(status, envelope);
    const error = await bridge.connect('viewer').then(
      () => assert.fail('resolved'),
      (e) => e,
    );
    assert.ok(error instanceof BridgeError);
    assert.ok(error instanceof Error);
    assert.equal(error.status, status);
    assert.equal(error.name, name);
    assert.equal(error.message, message);
    assert.deepEqual(error.details, {});
    assert.equal(error.envelope, envelope);
  });
}

test('members of "error" beside name and message are the details', async () => {
  const { transport, bridge } = setup();
  const envelope = '{"error":{"code":3,"message":"","name":"","where":["a"]},"value":null}';
  transport.answer(500, envelope);
  await assert.rejects(bridge.call('ZarvoApplication', 'post'), (e) => {
    assert.ok(e instanceof BridgeError);
    assert.deepEqual(e.details, { code: 3, where: ['a'] });
    assert.equal(e.name, '');
    assert.equal(e.message, '');
    assert.equal(e.envelope, envelope);
    return true;
  });
});

test('a 200 answer with an error object is still an error', async () => {
  const { transport, bridge } = setup();
  transport.answer(200, '{"error":{"code":3,"message":"","name":""},"value":null}');
  await assert.rejects(bridge.call('ZarvoApplication', 'post'), {
    status: 200,
    details: { code: 3 },
  });
});

test('a non-200 answer with a null error rejects with an empty name and message', async () => {
  const { transport, bridge } = setup();
  transport.answer(500, '{"error":null,"value":null}');
  await assert.rejects(bridge.call('ZarvoApplication', 'post'), (e) => {
    assert.ok(e instanceof BridgeError);
    assert.deepEqual([e.status, e.name, e.message], [500, '', '']);
    return true;
  });
});

test('an answer that is not an envelope is a TransportError BadEnvelope', async () => {
  for (const text of ['', 'oops', '[1]', 'null', '{"error":null}']) {
    const { transport, bridge } = setup();
    transport.answer(200, text);
    await rejectsWithTransportError(
      bridge.connect('viewer'),
      200,
      'BadEnvelope',
      `not a bridge envelope: ${text}`,
    );
  }
});

test("a transport's TransportError reaches the caller unchanged", async () => {
  const { transport, bridge } = setup();
  const error = new TransportError(413, 'PayloadTooLarge', 'request body exceeds 16777216 bytes');
  transport.answers.push(error);
  await assert.rejects(bridge.request('viewer', { uri: '/x' }), (e) => e === error);
});

test('TransportError.fromResponse reads the host error body', async () => {
  const response = new Response(
    '{"error":{"message":"Origin \'http://evil.example\' is not this server\'s origin","name":"Forbidden"}}',
    { status: 403 },
  );
  const e = await TransportError.fromResponse(response);
  assert.deepEqual(
    [e.name, e.status, e.code, e.message],
    [
      'TransportError',
      403,
      'Forbidden',
      "Origin 'http://evil.example' is not this server's origin",
    ],
  );
});

test('TransportError.fromResponse names an answer without a host error body', async () => {
  const e = await TransportError.fromResponse(
    new Response('<html>bad gateway</html>', { status: 502 }),
  );
  assert.deepEqual(
    [e.status, e.code, e.message],
    [502, 'HttpError', 'HTTP 502 <html>bad gateway</html>'],
  );
});

test('a transport that throws instead of rejecting: the call rejects with its error', async () => {
  const transport = new FakeTransport();
  transport.exchange = () => {
    throw new TypeError('broken transport');
  };
  const bridge = createBridge({ transport, window: null });
  await assert.rejects(bridge.connect('viewer'), {
    name: 'TypeError',
    message: 'broken transport',
  });
});
