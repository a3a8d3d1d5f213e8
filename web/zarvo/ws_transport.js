// The transport of `zarvo_host serve` over one WebSocket (GET /socket): calls, answers, events
// and gap reports share it, one compact JSON object with an "op" per message.
//
// The server's first message is "hello" (its instance id and its message size limit). Calls get
// increasing ids and are matched to their answers by id. Events are asked for with "events":
// from now on the page's first stream, after the last id delivered on a reopened one, and from
// the first event of a new instance after a restart. A socket that closes is reopened with a
// growing wait while events are wanted or calls wait; calls it was carrying are settled by the
// next hello: "Restarted" on a new instance, "NetworkError" on the same one (the answer was lost).
import { TransportError, networkError, payloadTooLarge, restartedError } from './errors.js';
import { defaultReconnectDelay } from './http_transport.js';
import { absoluteUrl } from './host_fetch.js';
import { exceeds, requestTexts, TEXT_NAMES } from './request_texts.js';

/** @typedef {import('./zarvo.d.ts').EventSink} EventSink */
/** @typedef {import('./zarvo.d.ts').RequestTexts} RequestTexts */
/** @typedef {import('./zarvo.d.ts').RawAnswer} RawAnswer */
/**
 * @typedef {object} Call a call or teardown waiting for its answer
 * @property {number} id
 * @property {string} text the message
 * @property {boolean} sent
 * @property {(answer: any) => void} resolve
 * @property {(error: Error) => void} reject
 */

/** Close code of a message over the server's size limit. */
const MESSAGE_TOO_BIG = 1009;

/**
 * The socket URL for `baseUrl` (the page's own origin by default).
 * @param {string | undefined} baseUrl
 */
function socketUrl(baseUrl) {
  const base = baseUrl ?? globalThis.location?.href;
  if (base === undefined) throw new TypeError('wsTransport needs a baseUrl outside a page');
  const url = new URL('/socket', absoluteUrl(String(base)));
  url.protocol = url.protocol === 'https:' ? 'wss:' : 'ws:';
  return url.href;
}

/** @type {typeof import('./zarvo.d.ts').wsTransport} */
export function wsTransport(options = {}) {
  const url = options.url ?? socketUrl(options.baseUrl);
  const WebSocketClass = options.WebSocket ?? globalThis.WebSocket;
  const reconnectDelay = options.reconnectDelay ?? defaultReconnectDelay;

  /** @type {WebSocket | null} */
  let socket = null;
  let ready = false; // the current socket's hello was read
  let limit = Infinity;
  /** @type {string | null} */
  let instance = null;
  let lastId = 0;
  let positioned = false; // an event position was fixed on this page before
  let nextId = 1;
  /** @type {Map<number, Call>} */
  const calls = new Map();
  /** @type {EventSink | null} */
  let sink = null;
  let streamed = false; // the current sink's stream was confirmed at least once
  /** @type {{ resolve: (close: () => void) => void, reject: (error: Error) => void } | null} */
  let opening = null;
  /** @type {ReturnType<typeof setTimeout> | undefined} */
  let timer;
  let attempt = 0;

  /** @param {Record<string, unknown>} message */
  const sendNow = (message) => socket?.send(JSON.stringify(message));

  /** @param {Call} call */
  function send(call) {
    if (exceeds(call.text, limit)) {
      calls.delete(call.id);
      call.reject(payloadTooLarge(limit));
      return;
    }
    call.sent = true;
    socket?.send(call.text);
  }

  /**
   * @param {Record<string, unknown>} fields the message without its id
   * @returns {Promise<any>}
   */
  function carry(fields) {
    return new Promise((resolve, reject) => {
      const id = nextId++;
      const text = JSON.stringify({ op: fields.op, id, ...fields });
      const call = { id, text, sent: false, resolve, reject };
      calls.set(id, call);
      if (ready) send(call);
      else connect();
    });
  }

  /**
   * @param {string} resource
   * @param {RequestTexts} texts
   * @returns {Promise<RawAnswer>}
   */
  function exchange(resource, texts) {
    const sent = requestTexts(texts);
    /** @type {Record<string, unknown>} */
    const fields = { op: 'call', resource };
    for (const key of TEXT_NAMES) if (sent[key] !== '') fields[key] = sent[key];
    return carry(fields);
  }

  /** @returns {Promise<void>} */
  function teardown() {
    return carry({ op: 'teardown' });
  }

  function wanted() {
    return sink !== null || calls.size > 0;
  }

  function connect() {
    if (socket !== null) return;
    clearTimeout(timer);
    timer = undefined;
    let current;
    try {
      if (typeof WebSocketClass !== 'function') throw new TypeError('WebSocket is not available');
      current = new WebSocketClass(url);
    } catch (cause) {
      failAll(networkError(url, cause));
      return;
    }
    socket = current;
    ready = false;
    current.addEventListener('message', (message) => {
      if (socket === current) onMessage(message.data);
    });
    current.addEventListener('close', (event) => {
      if (socket === current) onClose(event.code);
    });
  }

  function reconnectLater() {
    if (!wanted() || timer !== undefined) return;
    timer = setTimeout(() => {
      timer = undefined;
      if (wanted()) connect();
    }, reconnectDelay(attempt++));
  }

  /** @param {Error} error */
  function failAll(error) {
    for (const call of calls.values()) call.reject(error);
    calls.clear();
    if (opening !== null && !streamed) {
      opening.reject(error);
      opening = null;
      sink = null;
    }
  }

  /** @param {number} code */
  function onClose(code) {
    const wasReady = ready;
    socket = null;
    ready = false;
    if (code === MESSAGE_TOO_BIG) {
      for (const call of [...calls.values()]) {
        if (!call.sent) continue;
        calls.delete(call.id);
        call.reject(payloadTooLarge(limit));
      }
    }
    if (!wasReady) failAll(networkError(url, `the connection could not be opened (code ${code})`));
    if (sink !== null) sink.state?.('reconnecting');
    reconnectLater();
  }

  /** @param {unknown} data */
  function onMessage(data) {
    let message;
    try {
      message = JSON.parse(String(data));
    } catch {
      return;
    }
    if (message === null || typeof message !== 'object') return;
    switch (message.op) {
      case 'hello':
        return onHello(message);
      case 'answer':
        return settle(message.id, (call) =>
          call.resolve({ status: message.status, text: message.text, promise: message.promise }),
        );
      case 'done':
        return settle(message.id, (call) => call.resolve(undefined));
      case 'error':
        return onError(message);
      case 'streaming':
        return onStreaming(Number(message.after) || 0);
      case 'events':
        return onEvents(Number(message.first), message.texts);
      case 'gap':
        return onGap(message);
      default:
        return undefined;
    }
  }

  /** @param {{ instance?: unknown, limits?: { message?: unknown } }} hello */
  function onHello(hello) {
    const id = String(hello.instance);
    const restarted = instance !== null && id !== instance;
    instance = id;
    limit = Number(hello.limits?.message) || Infinity;
    ready = true;
    attempt = 0;
    // Calls sent on an earlier socket lost their answer with it; on a new instance every call
    // still waiting was made for the old one.
    for (const call of [...calls.values()]) {
      if (!call.sent && !restarted) continue;
      calls.delete(call.id);
      call.reject(
        restarted ? restartedError() : networkError(url, 'the connection closed before the answer'),
      );
    }
    if (restarted) lastId = 0;
    sink?.instance?.(id);
    for (const call of [...calls.values()]) send(call);
    if (sink !== null) askForEvents(restarted);
  }

  /** @param {boolean} restarted */
  function askForEvents(restarted) {
    if (restarted) sendNow({ op: 'events', after: 0 });
    else if (positioned) sendNow({ op: 'events', after: lastId });
    else sendNow({ op: 'events' });
  }

  /**
   * @param {unknown} id
   * @param {(call: Call) => void} action
   */
  function settle(id, action) {
    const call = calls.get(/** @type {number} */ (id));
    if (call === undefined) return;
    calls.delete(call.id);
    action(call);
  }

  /** @param {{ id?: unknown, status?: unknown, code?: unknown, message?: unknown }} message */
  function onError(message) {
    const error = new TransportError(
      Number(message.status) || 0,
      String(message.code),
      String(message.message),
    );
    // Only "events" and "stop" carry no id: a refusal without one is theirs.
    if (message.id === null || message.id === undefined) {
      if (opening !== null && !streamed) {
        opening.reject(error);
        opening = null;
        sink = null;
      }
      return;
    }
    settle(message.id, (call) => call.reject(error));
  }

  /** @param {number} after */
  function onStreaming(after) {
    if (sink === null) return;
    lastId = after;
    positioned = true;
    streamed = true;
    sink.state?.('open');
    if (opening !== null) {
      const { resolve } = opening;
      opening = null;
      const current = sink;
      resolve(() => stop(current));
    }
  }

  /**
   * @param {number} first
   * @param {unknown} texts
   */
  function onEvents(first, texts) {
    if (!Array.isArray(texts)) return;
    for (let i = 0; i < texts.length && sink !== null; i += 1) {
      lastId = first + i;
      sink.event(String(texts[i]), lastId);
    }
  }

  /** @param {{ first?: unknown, last?: unknown, lost?: unknown }} gap */
  function onGap(gap) {
    if (sink === null) return;
    const report = { first: Number(gap.first), last: Number(gap.last), lost: Number(gap.lost) };
    lastId = Math.max(lastId, report.last);
    sink.gap(report);
  }

  /** @param {EventSink} stopped */
  function stop(stopped) {
    if (sink !== stopped) return;
    sink = null;
    if (ready) sendNow({ op: 'stop' });
    stopped.state?.('closed');
  }

  /**
   * @param {EventSink} newSink
   * @returns {Promise<() => void>}
   */
  function openEvents(newSink) {
    return new Promise((resolve, reject) => {
      sink = newSink;
      streamed = false;
      opening = { resolve, reject };
      // Calls made before the stream may have read the hello already: the sink learns the
      // instance now, so that a later restart is told apart from it.
      if (instance !== null) newSink.instance?.(instance);
      if (ready) askForEvents(false);
      else connect();
    });
  }

  return { exchange, teardown, openEvents };
}
