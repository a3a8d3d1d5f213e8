// The page client of zarvo_bridging, the one module pages import: the bridge (calls, events,
// errors) and the transports that carry it. openBridge() picks the transport for where the page
// runs. Types and examples: zarvo.d.ts.
import { bridgeOver, RESOURCES } from './bridge.js';
import { BridgeError, TransportError } from './errors.js';
import { httpTransport } from './http_transport.js';
import { wsTransport } from './ws_transport.js';

/** @typedef {import('./zarvo.d.ts').Transport} Transport */

/** @type {typeof import('./zarvo.d.ts').createBridge} */
export function createBridge(options = {}) {
  return bridgeOver(options.transport ?? httpTransport(), options);
}

/**
 * A transport whose calls wait for `ready`: the web channel, which opens asynchronously.
 * @param {Promise<Transport>} ready
 * @returns {Transport}
 */
function whenReady(ready) {
  return {
    exchange: async (resource, texts) => (await ready).exchange(resource, texts),
    teardown: async () => (await ready).teardown(),
    openEvents: async (sink) => (await ready).openEvents(sink),
  };
}

/** @type {typeof import('./zarvo.d.ts').openBridge} */
export function openBridge(options = {}) {
  if (options.transport !== undefined) return createBridge(options);
  if (/** @type {any} */ (globalThis).qt?.webChannelTransport != null) {
    const ready = import('./webchannel.js').then((module) => module.webChannelTransport());
    return createBridge({ ...options, transport: whenReady(ready) });
  }
  // One socket carries calls and events; plain HTTP where the runtime has no WebSocket.
  const transport = typeof globalThis.WebSocket === 'function' ? wsTransport() : httpTransport();
  return createBridge({ ...options, transport });
}

export { BridgeError, TransportError, httpTransport, wsTransport, RESOURCES };

// Checked by tsc only: this module provides every value zarvo.d.ts declares, with its type.
void (
  /** @satisfies {typeof import('./zarvo.d.ts')} */ ({
    createBridge,
    openBridge,
    httpTransport,
    wsTransport,
    BridgeError,
    TransportError,
    RESOURCES,
  })
);
