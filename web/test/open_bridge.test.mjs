// openBridge() picks the transport for where the page runs: the WebSocket in a browser, plain
// HTTP where there is no WebSocket (the web channel inside zarvo_view: webchannel.test.mjs).
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { openBridge } from '../zarvo/zarvo.js';
import { fakeFetch, fakeWebSocketClass } from './fakes.mjs';

function withGlobals(globals, run) {
  const saved = Object.fromEntries(
    Object.keys(globals).map((k) => [k, Object.getOwnPropertyDescriptor(globalThis, k)]),
  );
  Object.assign(globalThis, globals);
  const restore = () => {
    for (const [key, descriptor] of Object.entries(saved)) {
      if (descriptor) Object.defineProperty(globalThis, key, descriptor);
      else delete globalThis[key];
    }
  };
  return Promise.resolve().then(run).finally(restore);
}

test('in a browser with WebSocket: one socket to /socket of the page origin', async () => {
  const WebSocket = fakeWebSocketClass();
  const fetch = fakeFetch();
  await withGlobals(
    { WebSocket, fetch, location: new URL('http://127.0.0.1:8207/index.html') },
    async () => {
      const bridge = openBridge({ window: null });
      const connecting = bridge.connect('viewer');
      await new Promise((r) => setImmediate(r));
      const [socket] = WebSocket.instances;
      assert.equal(socket.url, 'ws://127.0.0.1:8207/socket');
      socket.hello();
      assert.equal(socket.messages()[0].resource, 'ZarvoApplication');
      socket.receive({
        op: 'answer',
        id: 1,
        promise: 1,
        status: 200,
        text: '{"error":null,"value":null}',
      });
      assert.equal(await connecting, null);
      assert.equal(fetch.calls.length, 0);
    },
  );
});

test('without WebSocket: plain HTTP to the same origin', async () => {
  const fetch = fakeFetch().respond(200, '{"error":null,"value":null}', { 'Zarvo-Status': '200' });
  await withGlobals({ WebSocket: undefined, fetch }, async () => {
    assert.equal(await openBridge({ window: null }).connect('viewer'), null);
    assert.equal(fetch.calls[0].url, '/bridge/ZarvoApplication');
  });
});
