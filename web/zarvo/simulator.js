// Controls of the simulated application library behind `zarvo_host serve`: raise events, report a
// lost connection, read the library's call log and the application description.
//
// A development aid for the bridge console, example pages and tests. A real web-view host has no
// such endpoints, so a page must never depend on this module in production. Importing it does
// nothing by itself: the same-origin controls behind raise() and the others are made on first use.
import { fetchFromHost } from './host_fetch.js';
import { disconnectBody, raiseBody } from './simulator_bodies.js';
import { inWebView, webChannelSimulator } from './webchannel.js';

/** @typedef {import('./simulator.d.ts').Simulator} Simulator */

/** @type {typeof import('./simulator.d.ts').createSimulator} */
export function createSimulator(options = {}) {
  if (options.baseUrl === undefined && options.fetch === undefined && inWebView()) {
    return webChannelSimulator();
  }
  const base = String(options.baseUrl ?? '').replace(/\/+$/, '');
  const fetchFn = options.fetch ?? globalThis.fetch?.bind(globalThis);

  /**
   * @param {string} path
   * @param {RequestInit} init
   */
  async function send(path, init) {
    const { text } = await fetchFromHost(fetchFn, base + path, { cache: 'no-store', ...init });
    return text;
  }

  /**
   * @param {string} path
   * @param {string} bodyText
   */
  function postJson(path, bodyText) {
    return send(path, {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: bodyText,
    }).then(JSON.parse);
  }

  return {
    raise(app, type, payloadText = 'null', { count = 1 } = {}) {
      return postJson('/simulator/raise', raiseBody(app, type, payloadText, count));
    },
    reportLostConnection(app) {
      return postJson('/simulator/disconnect', disconnectBody(app));
    },
    callLog({ from = 0 } = {}) {
      return send(`/simulator/log?from=${encodeURIComponent(from)}`, {}).then(JSON.parse);
    },
    applicationsText() {
      return send('/simulator/applications', {});
    },
    applications() {
      return this.applicationsText().then(JSON.parse);
    },
  };
}

/** @type {Simulator | null} */
let sameOrigin = null;
const simulator = () => (sameOrigin ??= createSimulator());

/** @type {typeof import('./simulator.d.ts').raise} */
export const raise = (...args) => simulator().raise(...args);
/** @type {typeof import('./simulator.d.ts').reportLostConnection} */
export const reportLostConnection = (app) => simulator().reportLostConnection(app);
/** @type {typeof import('./simulator.d.ts').callLog} */
export const callLog = (options) => simulator().callLog(options);
/** @type {typeof import('./simulator.d.ts').applications} */
export const applications = () => simulator().applications();

// Checked by tsc only: this module provides every value simulator.d.ts declares, with its type.
void (
  /** @satisfies {typeof import('./simulator.d.ts')} */ ({
    createSimulator,
    raise,
    reportLostConnection,
    callLog,
    applications,
  })
);
