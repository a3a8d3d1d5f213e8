// The page client of zarvo_bridging: four native resources as promise-returning verbs, and the
// application events of one shared stream delivered to listeners and as "zarvoEvent" on window.
//
// Every call is answered exactly once: it resolves with the envelope's "value" or rejects with a
// BridgeError (the plug-in said no) or a TransportError (the call could not be carried). The
// transport is a small interface (exchange, teardown, openEvents), so tests pass a fake one and a
// host with another way of calling the plug-in brings its own. Types and examples: zarvo.d.ts.

/** A non-200 answer of the plug-in: its status, the envelope's error and the exact answer text. */
export class BridgeError extends Error {
  constructor(status, error, envelope) {
    super(String(error.message ?? ''));
    const { name, message, ...details } = error;
    this.name = String(name ?? '');
    this.status = status;
    this.details = details;
    this.envelope = envelope;
  }
}

/** The call could not be carried: a network failure (status 0) or an answer the host made. */
export class TransportError extends Error {
  constructor(status, code, message) {
    super(message);
    this.name = 'TransportError';
    this.status = status;
    this.code = code;
  }

  /** The error for a host-made HTTP answer: `{"error":{"message":…,"name":…}}` when it has one. */
  static async fromResponse(response) {
    const text = await response.text().catch(() => '');
    let error;
    try {
      error = JSON.parse(text)?.error;
    } catch {
      error = undefined;
    }
    if (error && typeof error.name === 'string' && typeof error.message === 'string') {
      return new TransportError(response.status, error.name, error.message);
    }
    return new TransportError(response.status, 'HttpError', `HTTP ${response.status} ${text}`);
  }
}

const RESOURCES = [
  'ZarvoApplication',
  'ZarvoApplicationBridge',
  'ZarvoApplicationEvent',
  'ZarvoApplicationCustom',
];
const TEXT_NAMES = ['options', 'parameters', 'extra', 'body'];

// The four request texts with the empty text for any left out; anything but a string is a
// programming error of the caller, reported before anything is sent.
function requestTexts(texts = {}) {
  const out = {};
  for (const key of TEXT_NAMES) {
    const text = texts[key] ?? '';
    if (typeof text !== 'string') {
      throw new TypeError(`request text '${key}' must be a string, not ${typeof text}`);
    }
    out[key] = text;
  }
  return out;
}

function defaultReconnectDelay(attempt) {
  return Math.min(250 * 2 ** attempt, 5000);
}

/**
 * The transport of `zarvo_host serve`: POST /bridge/<Resource>, POST /teardown, GET /events.
 * Same origin unless `baseUrl` is given.
 */
export function httpTransport(options = {}) {
  const base = String(options.baseUrl ?? '').replace(/\/+$/, '');
  const fetchFn = options.fetch ?? globalThis.fetch?.bind(globalThis);
  const EventSourceClass = options.EventSource ?? globalThis.EventSource;
  const reconnectDelay = options.reconnectDelay ?? defaultReconnectDelay;
  let lastId = 0;

  async function post(path, bodyText) {
    try {
      return await fetchFn(base + path, {
        method: 'POST',
        headers: { 'Content-Type': 'application/json' },
        body: bodyText,
        cache: 'no-store',
      });
    } catch (cause) {
      throw new TransportError(0, 'NetworkError', `${path}: ${cause?.message ?? cause}`);
    }
  }

  async function exchange(resource, texts) {
    const sent = requestTexts(texts);
    const response = await post(`/bridge/${encodeURIComponent(resource)}`, JSON.stringify(sent));
    const zarvoStatus = response.headers.get('Zarvo-Status');
    if (zarvoStatus === null) throw await TransportError.fromResponse(response);
    let text;
    try {
      text = await response.text();
    } catch (cause) {
      throw new TransportError(0, 'NetworkError', `${resource}: ${cause?.message ?? cause}`);
    }
    const promise = Number(response.headers.get('Zarvo-Promise') ?? 0);
    return { status: Number(zarvoStatus), text, promise };
  }

  async function teardown() {
    const response = await post('/teardown', '');
    if (!response.ok) throw await TransportError.fromResponse(response);
  }

  function openEvents(sink) {
    return new Promise((resolve, reject) => {
      let source = null;
      let timer = null;
      let attempt = 0;
      let opened = false;
      let closed = false;

      const close = () => {
        if (closed) return;
        closed = true;
        clearTimeout(timer);
        source?.close();
        sink.state?.('closed');
      };
      const connect = () => {
        const url = `${base}/events${lastId > 0 ? `?lastEventId=${lastId}` : ''}`;
        source = new EventSourceClass(url);
        source.addEventListener('open', () => {
          attempt = 0;
          sink.state?.('open');
          if (!opened) {
            opened = true;
            resolve(close);
          }
        });
        source.addEventListener('zarvoEvent', (message) => {
          lastId = Number(message.lastEventId) || lastId;
          sink.event(message.data, lastId);
        });
        source.addEventListener('zarvoGap', (message) => {
          lastId = Number(message.lastEventId) || lastId;
          sink.gap(JSON.parse(message.data));
        });
        source.addEventListener('error', () => {
          source.close();
          if (closed) return;
          if (!opened) {
            closed = true;
            reject(new TransportError(0, 'NetworkError', `${base}/events could not be opened`));
            return;
          }
          // Reopen ourselves, with the last id in the query, rather than trusting the browser's
          // own retry: it gives up for good on an error answer such as 503.
          sink.state?.('reconnecting');
          timer = setTimeout(connect, reconnectDelay(attempt++));
        });
      };
      connect();
    });
  }

  return { exchange, teardown, openEvents };
}

// Runs a page's listener so that its exception reaches the page's error reporting without
// keeping the remaining listeners from their event.
function callListener(listener, ...args) {
  try {
    listener(...args);
  } catch (error) {
    if (typeof globalThis.reportError === 'function') globalThis.reportError(error);
    else queueMicrotask(() => { throw error; });
  }
}

// CustomEvent where the platform has it (every browser); elsewhere an Event carrying `detail`.
function customEvent(type, detail) {
  if (typeof CustomEvent === 'function') return new CustomEvent(type, { detail });
  return Object.assign(new Event(type), { detail });
}

function answerValue(answer) {
  let envelope;
  try {
    envelope = JSON.parse(answer.text);
  } catch {
    envelope = undefined;
  }
  if (envelope === null || typeof envelope !== 'object' || !('value' in envelope)) {
    throw new TransportError(answer.status, 'BadEnvelope', `not a bridge envelope: ${answer.text}`);
  }
  if (answer.status === 200 && envelope.error === null) return envelope.value;
  const error = envelope.error !== null && typeof envelope.error === 'object' ? envelope.error : {};
  throw new BridgeError(answer.status, error, answer.text);
}

/** The bridge of one page: calls, subscriptions and the shared event stream. */
class Bridge {
  #transport;
  #window;
  #subscriptions = new Set();
  #eventListeners = new Set();
  #gapListeners = new Set();
  #stateListeners = new Set();
  #stream = null; // { opening: Promise<void>, close: (() => void) | null, wanted: boolean }

  constructor(transport, windowTarget) {
    this.#transport = transport;
    this.#window = windowTarget;
  }

  async exchange(resource, texts) {
    return this.#transport.exchange(resource, requestTexts(texts));
  }

  async call(resource, method, texts = {}) {
    const sent = { ...texts, options: texts.options ?? JSON.stringify({ method }) };
    return answerValue(await this.exchange(resource, sent));
  }

  connect(name) {
    return this.call('ZarvoApplication', 'post', { parameters: JSON.stringify({ name }) });
  }

  disconnect(name) {
    return this.call('ZarvoApplication', 'delete', { parameters: JSON.stringify({ name }) });
  }

  request(name, { uri, requestData, settings, target } = {}) {
    return this.call('ZarvoApplicationBridge', 'post', {
      parameters: JSON.stringify({ name }),
      body: JSON.stringify({ uri, requestData, settings, target }),
    });
  }

  customTask(name, { type, data, target } = {}) {
    return this.call('ZarvoApplicationCustom', 'post', {
      parameters: JSON.stringify({ name }),
      body: JSON.stringify({ type, data, target }),
    });
  }

  async subscribe(name, type, listener, { target } = {}) {
    if (typeof listener !== 'function') throw new TypeError('listener must be a function');
    const texts = {
      parameters: JSON.stringify({ name, type }),
      body: target === undefined ? '' : JSON.stringify({ target }),
    };
    // The stream is open and the listener in place before the application hears of the
    // subscription, so an event raised at once is not lost.
    await this.open();
    const subscription = { app: String(name), type: String(type), listener };
    this.#subscriptions.add(subscription);
    try {
      await this.call('ZarvoApplicationEvent', 'post', texts);
    } catch (error) {
      this.#subscriptions.delete(subscription);
      throw error;
    }
    let unsubscribing = null;
    return () => {
      unsubscribing ??= this.call('ZarvoApplicationEvent', 'delete', texts)
        .then(() => undefined)
        .finally(() => this.#subscriptions.delete(subscription));
      return unsubscribing;
    };
  }

  teardown() {
    return this.#transport.teardown();
  }

  onEvent(listener) {
    this.#eventListeners.add(listener);
    return () => this.#eventListeners.delete(listener);
  }

  onGap(listener) {
    this.#gapListeners.add(listener);
    return () => this.#gapListeners.delete(listener);
  }

  onState(listener) {
    this.#stateListeners.add(listener);
    return () => this.#stateListeners.delete(listener);
  }

  open() {
    if (this.#stream) {
      this.#stream.wanted = true;
      return this.#stream.opening;
    }
    const stream = { opening: null, close: null, wanted: true };
    this.#stream = stream;
    stream.opening = this.#transport.openEvents(this.#sink()).then(
      (close) => {
        stream.close = close;
        if (!stream.wanted) this.#closeStream(stream);
      },
      (error) => {
        if (this.#stream === stream) this.#stream = null;
        throw error;
      },
    );
    return stream.opening;
  }

  close() {
    const stream = this.#stream;
    if (!stream) return;
    stream.wanted = false;
    if (stream.close) this.#closeStream(stream);
  }

  #closeStream(stream) {
    if (this.#stream === stream) this.#stream = null;
    stream.close();
  }

  #sink() {
    return {
      event: (text, id) => this.#deliverEvent(text, id),
      gap: (gap) => this.#deliverGap(gap),
      state: (state) => {
        for (const listener of [...this.#stateListeners]) callListener(listener, state);
      },
    };
  }

  #deliverEvent(text, id) {
    let event;
    try {
      event = JSON.parse(text);
    } catch {
      callListener(() => {
        throw new TransportError(0, 'BadEvent', `zarvoEvent ${id} is not JSON: ${text}`);
      });
      return;
    }
    const meta = { id };
    for (const s of [...this.#subscriptions]) {
      if (s.app === event?.app && s.type === event?.type) callListener(s.listener, event, meta);
    }
    for (const listener of [...this.#eventListeners]) callListener(listener, event, meta);
    this.#window?.dispatchEvent(customEvent('zarvoEvent', event));
  }

  #deliverGap(gap) {
    for (const listener of [...this.#gapListeners]) callListener(listener, gap);
    this.#window?.dispatchEvent(customEvent('zarvoGap', gap));
  }
}

/** A bridge over the given transport (default: `httpTransport()`, same origin). */
export function createBridge(options = {}) {
  const transport = options.transport ?? httpTransport();
  const windowTarget = 'window' in options ? options.window : globalThis.window;
  return new Bridge(transport, windowTarget ?? null);
}

/**
 * The bridge for where the page runs: the web channel inside zarvo_view, `httpTransport()`
 * otherwise. Returns at once; inside the view the first call waits for the channel to open.
 */
export function openBridge(options = {}) {
  if (options.transport !== undefined || globalThis.qt?.webChannelTransport == null) {
    return createBridge(options);
  }
  const ready = import('./webchannel.js').then((module) => module.webChannelTransport());
  const transport = {
    exchange: async (resource, texts) => (await ready).exchange(resource, texts),
    teardown: async () => (await ready).teardown(),
    openEvents: async (sink) => (await ready).openEvents(sink),
  };
  return createBridge({ ...options, transport });
}

export { RESOURCES };
