// The simulator controls module against a fake fetch.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { createSimulator } from '../zarvo/simulator.js';
import { fakeFetch, rejectsWithTransportError } from './fakes.mjs';

test('raise posts app, type, the payload text and the count', async () => {
  const fetch = fakeFetch().respond(200, '{"raised":3}');
  const sim = createSimulator({ fetch, baseUrl: 'http://h:1' });
  assert.deepEqual(await sim.raise('viewer', 'progress', '{"percent":5}', { count: 3 }), {
    raised: 3,
  });
  assert.equal(fetch.calls[0].url, 'http://h:1/simulator/raise');
  assert.equal(fetch.calls[0].init.method, 'POST');
  assert.equal(
    fetch.calls[0].init.body,
    '{"app":"viewer","type":"progress","payload":"{\\"percent\\":5}","count":3}',
  );
});

test('raise defaults to the payload null and one event', async () => {
  const fetch = fakeFetch().respond(200, '{"raised":1}');
  await createSimulator({ fetch }).raise('viewer', 'saved');
  assert.equal(
    fetch.calls[0].init.body,
    '{"app":"viewer","type":"saved","payload":"null","count":1}',
  );
});

test('reportLostConnection posts the app to /simulator/disconnect', async () => {
  const fetch = fakeFetch().respond(200, '{"notified":true}');
  assert.deepEqual(await createSimulator({ fetch }).reportLostConnection('viewer'), {
    notified: true,
  });
  assert.equal(fetch.calls[0].url, '/simulator/disconnect');
  assert.equal(fetch.calls[0].init.body, '{"app":"viewer"}');
});

test('callLog reads from an index', async () => {
  const fetch = fakeFetch().respond(200, '{"calls":["ZrvDisconnectApplication(1) -> 1"],"next":5}');
  const log = await createSimulator({ fetch }).callLog({ from: 4 });
  assert.deepEqual(log, { calls: ['ZrvDisconnectApplication(1) -> 1'], next: 5 });
  assert.equal(fetch.calls[0].url, '/simulator/log?from=4');
  assert.equal(fetch.calls[0].init.method, undefined);
});

test('applications returns the description, applicationsText its exact text', async () => {
  const text = '{ "applications": {"viewer": {}} }';
  const fetch = fakeFetch().respond(200, text).respond(200, text);
  const sim = createSimulator({ fetch });
  assert.deepEqual(await sim.applications(), { applications: { viewer: {} } });
  assert.equal(await sim.applicationsText(), text);
  assert.equal(fetch.calls[0].url, '/simulator/applications');
});

test('a control for an application without a connection rejects NotConnected', async () => {
  const fetch = fakeFetch().respond(
    404,
    '{"error":{"message":"application \'viewer\' is not connected","name":"NotConnected"}}',
  );
  await rejectsWithTransportError(
    createSimulator({ fetch }).raise('viewer', 'progress'),
    404,
    'NotConnected',
    "application 'viewer' is not connected",
  );
});

test('a network failure rejects NetworkError', async () => {
  const fetch = fakeFetch().fail(new TypeError('Failed to fetch'));
  await assert.rejects(createSimulator({ fetch }).callLog(), {
    status: 0,
    code: 'NetworkError',
    message: 'GET /simulator/log?from=0: Failed to fetch',
  });
});

test('importing the module makes nothing: raise() uses the fetch of the time of its first call', async () => {
  const module = await import('../zarvo/simulator.js?fresh');
  const saved = globalThis.fetch;
  const fetch = fakeFetch().respond(200, '{"raised":1}').respond(200, '{"calls":[],"next":0}');
  globalThis.fetch = fetch;
  try {
    assert.deepEqual(await module.raise('viewer', 'saved'), { raised: 1 });
    assert.deepEqual(await module.callLog(), { calls: [], next: 0 });
    assert.deepEqual(
      fetch.calls.map((c) => c.url),
      ['/simulator/raise', '/simulator/log?from=0'],
    );
  } finally {
    globalThis.fetch = saved;
  }
});
