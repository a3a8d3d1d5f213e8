// Controls of the simulated application library behind `zarvo_host serve`: raise events, report a
// lost connection, read the library's call log and the application description.
//
// A development aid for the bridge console, example pages and tests. A real web-view host has no
// such endpoints, so a page must never depend on this module in production.
import { TransportError } from './zarvo.js';
import { inWebView, webChannelSimulator } from './webchannel.js';

/** Simulator controls at `baseUrl` (same origin by default; the host's own inside zarvo_view). */
export function createSimulator(options = {}) {
  if (options.baseUrl === undefined && options.fetch === undefined && inWebView()) {
    return webChannelSimulator();
  }
  const base = String(options.baseUrl ?? '').replace(/\/+$/, '');
  const fetchFn = options.fetch ?? globalThis.fetch?.bind(globalThis);

  async function send(path, init) {
    let response;
    try {
      response = await fetchFn(base + path, { cache: 'no-store', ...init });
    } catch (cause) {
      throw new TransportError(0, 'NetworkError', `${path}: ${cause?.message ?? cause}`);
    }
    if (!response.ok) throw await TransportError.fromResponse(response);
    return response.text();
  }

  function postJson(path, body) {
    return send(path, {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify(body),
    }).then(JSON.parse);
  }

  return {
    raise(app, type, payloadText = 'null', { count = 1 } = {}) {
      return postJson('/simulator/raise', { app, type, payload: payloadText, count });
    },
    reportLostConnection(app) {
      return postJson('/simulator/disconnect', { app });
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

const sameOrigin = createSimulator();

/** Raises `count` events of `type` with the payload text `payloadText` in `app`. */
export const raise = (...args) => sameOrigin.raise(...args);
/** The library reports `app`'s connection lost (the page still has to disconnect it). */
export const reportLostConnection = (app) => sameOrigin.reportLostConnection(app);
/** The library call log from entry `from` on: `{calls, next}`. */
export const callLog = (options) => sameOrigin.callLog(options);
/** The application description the server loaded, parsed. */
export const applications = () => sameOrigin.applications();
