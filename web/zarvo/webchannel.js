// The transport of zarvo_view, the desktop web view: calls and events go through Qt's web
// channel to the host object "zarvo", and the simulator controls to "zarvoSimulator".
//
// The host calls the plug-in on its GUI thread and returns the answer of each call. Events are
// pulled: the host signals "eventsReady" when it holds events newer than the last read, and
// readEvents(after) returns the next of them (with a gap report when some were dropped from its
// bounded buffer). hello() names the host's instance and its request size limit, which this
// transport checks before a call leaves the page, as the channel itself fails on very large
// messages. Pages do not import this module themselves: `openBridge()` in zarvo.js picks it when
// the page runs in the view. Types: webchannel.d.ts.
import { TransportError, networkError, payloadTooLarge } from './errors.js';
import { exceeds, requestTexts, utf8Length, TEXT_NAMES } from './request_texts.js';
import { disconnectBody, raiseBody } from './simulator_bodies.js';

/** @typedef {import('./zarvo.d.ts').EventSink} EventSink */
/** @typedef {import('./zarvo.d.ts').RequestTexts} RequestTexts */
/** @typedef {import('./zarvo.d.ts').Gap} Gap */
/** @typedef {{ instance: string, gap: Gap | null, first: number, texts: string[] }} EventBatch */

/** Where the view serves Qt's qwebchannel.js, for pages bundled elsewhere as for /zarvo/ itself. */
const QWEBCHANNEL_PATH = '/zarvo/qwebchannel.js';

/** @type {Promise<Record<string, any>> | null} */
let objects = null;

// Qt's qwebchannel.js is a classic script that defines the global QWebChannel.
/** @returns {Promise<any>} */
function loadQWebChannel() {
  const g = /** @type {any} */ (globalThis);
  if (typeof g.QWebChannel === 'function') return Promise.resolve(g.QWebChannel);
  return new Promise((resolve, reject) => {
    const script = document.createElement('script');
    script.src = new URL(QWEBCHANNEL_PATH, globalThis.location.href).href;
    script.onload = () => resolve(g.QWebChannel);
    script.onerror = () =>
      reject(networkError(`GET ${script.src}`, 'the script could not be loaded'));
    (document.head ?? document.documentElement).append(script);
  });
}

/** @type {typeof import('./webchannel.d.ts').inWebView} */
export function inWebView() {
  const qt = /** @type {any} */ (globalThis).qt;
  return typeof qt === 'object' && qt?.webChannelTransport != null;
}

/** @type {typeof import('./webchannel.d.ts').channelObjects} */
export function channelObjects() {
  objects ??= loadQWebChannel().then(
    (QWebChannel) =>
      new Promise((resolve) => {
        const transport = /** @type {any} */ (globalThis).qt.webChannelTransport;
        new QWebChannel(transport, (/** @type {any} */ channel) => resolve(channel.objects));
      }),
  );
  return objects;
}

/**
 * Invokes a host method; the host answers every invocation once, through the callback. A host
 * without the method (one that speaks another version of the channel) is a TransportError.
 * @param {any} object
 * @param {string} method
 * @param {unknown[]} args
 * @returns {Promise<any>}
 */
function invoke(object, method, ...args) {
  if (typeof object?.[method] !== 'function') {
    const error = new TransportError(0, 'NetworkError', `the host's channel offers no ${method}()`);
    return Promise.reject(error);
  }
  return new Promise((resolve) => object[method](...args, resolve));
}

/**
 * The host's refusal in an answer, or null when the answer is one.
 * @param {any} answer
 * @param {string} what
 */
function hostFailure(answer, what) {
  const failure = answer?.hostError ?? (answer?.ok === false ? answer : null);
  if (failure) return new TransportError(failure.status, failure.code, failure.message);
  if (answer === null || typeof answer !== 'object') {
    return new TransportError(0, 'NetworkError', `${what}: no answer from the host`);
  }
  return null;
}

/** @type {typeof import('./webchannel.d.ts').webChannelTransport} */
export async function webChannelTransport() {
  const { zarvo } = await channelObjects();
  if (!zarvo) throw new TransportError(0, 'NetworkError', 'the host offers no "zarvo" object');
  const hello = await invoke(zarvo, 'hello');
  let instance = String(hello?.instance);
  const limit = Number(hello?.limits?.message) || Infinity;
  /** @type {number | null} the last event id read; null before the page's first stream */
  let lastId = null;

  /**
   * @param {string} resource
   * @param {RequestTexts} texts
   */
  async function exchange(resource, texts) {
    const sent = requestTexts(texts);
    // The host counts the UTF-8 bytes of the four texts together.
    const total = TEXT_NAMES.reduce(
      (sum, key) => sum + (exceeds(sent[key], limit) ? limit + 1 : utf8Length(sent[key])),
      0,
    );
    if (total > limit) throw payloadTooLarge(limit);
    const { options, parameters, extra, body } = sent;
    const answer = await invoke(zarvo, 'call', resource, options, parameters, extra, body);
    const failure = hostFailure(answer, resource);
    if (failure) throw failure;
    return { status: answer.status, text: answer.text, promise: answer.promise };
  }

  async function teardown() {
    const failure = hostFailure(await invoke(zarvo, 'teardown'), 'teardown');
    if (failure) throw failure;
  }

  /**
   * @param {number | null} after null: from now
   * @returns {Promise<EventBatch>}
   */
  async function read(after) {
    const batch = await invoke(zarvo, 'readEvents', after);
    const texts = Array.isArray(batch?.texts) ? batch.texts.map(String) : [];
    return {
      instance: String(batch?.instance),
      gap: batch?.gap ?? null,
      first: Number(batch?.first),
      texts,
    };
  }

  /**
   * Where a page's first stream starts: after the newest event held now, so events raised before
   * it are not delivered, as over HTTP. `readEvents(null)` reads nothing and names the next id.
   * @param {EventSink} sink
   */
  async function skipToNow(sink) {
    const batch = await read(null);
    instance = batch.instance;
    sink.instance?.(instance);
    return Math.max(0, batch.first - 1);
  }

  /** @param {EventSink} sink */
  async function openEvents(sink) {
    let open = true;
    let reading = false;
    let again = false;
    if (lastId === null) lastId = await skipToNow(sink);
    else sink.instance?.(instance);

    // One read at a time; a signal during a read makes it read once more.
    const pump = async () => {
      if (reading) {
        again = true;
        return;
      }
      reading = true;
      try {
        do {
          again = false;
          while (open && (await deliverNext(sink, () => open))) {
            /* the next batch */
          }
        } while (again && open);
      } finally {
        reading = false;
      }
    };
    const onReady = () => void pump();
    zarvo.eventsReady.connect(onReady);
    sink.state?.('open');
    void pump();
    return () => {
      if (!open) return;
      open = false;
      zarvo.eventsReady.disconnect(onReady);
      sink.state?.('closed');
    };
  }

  /**
   * Reads and delivers one batch; true when there may be more.
   * @param {EventSink} sink
   * @param {() => boolean} isOpen
   */
  async function deliverNext(sink, isOpen) {
    const batch = await read(/** @type {number} */ (lastId));
    if (!isOpen()) return false;
    if (batch.instance !== instance) {
      // A new instance: its events are wanted from its first one.
      instance = batch.instance;
      lastId = 0;
      sink.instance?.(instance);
      return true;
    }
    if (batch.gap) {
      lastId = Math.max(/** @type {number} */ (lastId), batch.gap.last);
      sink.gap(batch.gap);
    }
    for (let i = 0; i < batch.texts.length && isOpen(); i += 1) {
      lastId = batch.first + i;
      sink.event(batch.texts[i], lastId);
    }
    return batch.texts.length > 0;
  }

  return { exchange, teardown, openEvents };
}

/** @type {typeof import('./webchannel.d.ts').webChannelSimulator} */
export function webChannelSimulator() {
  /**
   * One control of the host's "zarvoSimulator": its answer's text, or the host's refusal.
   * @param {string} method
   * @param {string} argument the body (or the index) exactly as over HTTP
   * @returns {Promise<string>}
   */
  async function control(method, argument) {
    const { zarvoSimulator } = await channelObjects();
    const answer = await invoke(zarvoSimulator, method, ...(argument === '' ? [] : [argument]));
    const failure = hostFailure(answer, method);
    if (failure) throw failure;
    return String(answer.value);
  }
  return {
    raise(app, type, payloadText = 'null', { count = 1 } = {}) {
      return control('raise', raiseBody(app, type, payloadText, count)).then(JSON.parse);
    },
    reportLostConnection(app) {
      return control('reportLostConnection', disconnectBody(app)).then(JSON.parse);
    },
    callLog({ from = 0 } = {}) {
      return control('callLog', String(from)).then(JSON.parse);
    },
    applicationsText() {
      return control('applicationsText', '');
    },
    applications() {
      return this.applicationsText().then(JSON.parse);
    },
  };
}
