// The bridge of one page: four native resources as promise-returning verbs, and the application
// events of one shared stream delivered to listeners and as "zarvoEvent" on window.
//
// Every call is answered exactly once: it resolves with the envelope's "value" or rejects with a
// BridgeError (the plug-in said no) or a TransportError (the call could not be carried). Values a
// page passes are written by encodeJson, so a value the plug-in would misread is refused or
// rewritten before anything is sent. The bridge remembers the host's first instance id; a new one
// means the host restarted: pending calls reject "Restarted", earlier subscriptions are dropped
// and the stream state "restarted" is reported. Types and examples: zarvo.d.ts.
import { BridgeError, TransportError, restartedError } from './errors.js';
import { encodeJson } from './json_guard.js';
import { requestTexts } from './request_texts.js';

/** @typedef {import('./zarvo.d.ts').Transport} Transport */
/** @typedef {import('./zarvo.d.ts').RequestTexts} RequestTexts */
/** @typedef {import('./zarvo.d.ts').RawAnswer} RawAnswer */
/** @typedef {import('./zarvo.d.ts').EventSink} EventSink */
/** @typedef {import('./zarvo.d.ts').Gap} Gap */
/** @typedef {import('./zarvo.d.ts').StreamState} StreamState */
/** @typedef {import('./zarvo.d.ts').ZarvoEvent} ZarvoEvent */
/** @typedef {import('./zarvo.d.ts').EventMeta} EventMeta */
/** @typedef {import('./zarvo.d.ts').InvalidEvent} InvalidEvent */
/** @typedef {import('./zarvo.d.ts').EventListener<any>} AnyEventListener */
/** @typedef {import('./zarvo.d.ts').Bridge} DeclaredBridge */
/** @typedef {import('./zarvo.d.ts').ApplicationName} ApplicationName */
/** @typedef {{ app: string, type: string, listener: AnyEventListener, dropped: boolean }} Subscription */
/** @typedef {{ opening: Promise<void>, close: (() => void) | null, wanted: boolean }} Stream */

export const RESOURCES = Object.freeze([
  'ZarvoApplication',
  'ZarvoApplicationBridge',
  'ZarvoApplicationEvent',
  'ZarvoApplicationCustom',
]);

/**
 * Runs a page's listener so that its exception reaches the page's error reporting without
 * keeping the remaining listeners from their event.
 * @template {unknown[]} A
 * @param {(...args: A) => void} listener
 * @param {A} args
 */
function callListener(listener, ...args) {
  try {
    listener(...args);
  } catch (error) {
    if (typeof globalThis.reportError === 'function') globalThis.reportError(error);
    else
      queueMicrotask(() => {
        throw error;
      });
  }
}

/**
 * CustomEvent where the platform has it (every browser); elsewhere an Event carrying `detail`.
 * @param {string} type
 * @param {unknown} detail
 */
function customEvent(type, detail) {
  if (typeof CustomEvent === 'function') return new CustomEvent(type, { detail });
  return Object.assign(new Event(type), { detail });
}

/**
 * The envelope's value, or the error the answer stands for.
 * @param {RawAnswer} answer
 * @returns {unknown}
 */
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

/**
 * The event a text stands for, or undefined when it is not a JSON object with "app" and "type".
 * @param {string} text
 * @returns {ZarvoEvent | undefined}
 */
function parseEvent(text) {
  let event;
  try {
    event = JSON.parse(text);
  } catch {
    return undefined;
  }
  const isEvent =
    event !== null &&
    typeof event === 'object' &&
    !Array.isArray(event) &&
    typeof event.app === 'string' &&
    typeof event.type === 'string';
  return isEvent ? event : undefined;
}

/**
 * JSON text of a page's values (see encodeJson): undefined members are left out.
 * @param {Record<string, unknown>} members
 */
function jsonOf(members) {
  return /** @type {string} */ (encodeJson(members));
}

/** @implements {DeclaredBridge} */
class Bridge {
  /** @type {Transport} */
  #transport;
  /** @type {EventTarget | null} */
  #window;
  /** @type {Set<Subscription>} */
  #subscriptions = new Set();
  /** @type {Set<(error: Error) => void>} rejecters of the calls not answered yet */
  #pending = new Set();
  /** @type {Set<AnyEventListener>} */
  #eventListeners = new Set();
  /** @type {Set<(gap: Gap) => void>} */
  #gapListeners = new Set();
  /** @type {Set<(state: StreamState) => void>} */
  #stateListeners = new Set();
  /** @type {Set<(invalid: InvalidEvent) => void>} */
  #invalidListeners = new Set();
  /** @type {Stream | null} */
  #stream = null;
  /** @type {string | null} the host's instance id, from the first one the transport reported */
  #instance = null;
  /** @type {StreamState | null} */
  #state = null;

  /**
   * @param {Transport} transport
   * @param {EventTarget | null} windowTarget
   */
  constructor(transport, windowTarget) {
    this.#transport = transport;
    this.#window = windowTarget;
  }

  /**
   * @param {string} resource
   * @param {Partial<RequestTexts>} texts
   * @returns {Promise<RawAnswer>}
   */
  async exchange(resource, texts) {
    const sent = requestTexts(texts);
    // Settled by the transport's answer, or earlier by a restart of the host.
    return new Promise((resolve, reject) => {
      let carried;
      try {
        carried = Promise.resolve(this.#transport.exchange(resource, sent));
      } catch (error) {
        carried = Promise.reject(error);
      }
      this.#pending.add(reject);
      carried.then(resolve, reject).finally(() => this.#pending.delete(reject));
    });
  }

  /**
   * @template [TValue=any]
   * @param {string} resource
   * @param {string} method
   * @param {Partial<RequestTexts>} [texts]
   * @returns {Promise<TValue>}
   */
  async call(resource, method, texts = {}) {
    const sent = { ...texts, options: texts.options ?? JSON.stringify({ method }) };
    return /** @type {TValue} */ (answerValue(await this.exchange(resource, sent)));
  }

  /**
   * @param {ApplicationName} name
   * @returns {Promise<null>}
   */
  async connect(name) {
    return this.call('ZarvoApplication', 'post', { parameters: jsonOf({ name }) });
  }

  /**
   * @param {ApplicationName} name
   * @returns {Promise<null>}
   */
  async disconnect(name) {
    return this.call('ZarvoApplication', 'delete', { parameters: jsonOf({ name }) });
  }

  /**
   * @template [TData=unknown]
   * @param {ApplicationName} name
   * @param {{ uri: string, requestData?: unknown, settings?: unknown, target?: string }} request
   * @returns {Promise<{ data: TData, statuscode: number }>}
   */
  async request(name, request) {
    const { uri, requestData, settings, target } = request ?? {};
    return this.call('ZarvoApplicationBridge', 'post', {
      parameters: jsonOf({ name }),
      body: jsonOf({ uri, requestData, settings, target }),
    });
  }

  /**
   * @template [TData=unknown]
   * @param {ApplicationName} name
   * @param {{ type: string, data?: unknown, target?: string }} task
   * @returns {Promise<{ data: TData, type: string }>}
   */
  async customTask(name, task) {
    const { type, data, target } = task ?? {};
    return this.call('ZarvoApplicationCustom', 'post', {
      parameters: jsonOf({ name }),
      body: jsonOf({ type, data, target }),
    });
  }

  /**
   * @template [TPayload=unknown]
   * @param {ApplicationName} name
   * @param {string} type
   * @param {import('./zarvo.d.ts').EventListener<TPayload>} listener
   * @param {{ target?: string }} [options]
   * @returns {Promise<() => Promise<void>>}
   */
  async subscribe(name, type, listener, options = {}) {
    if (typeof listener !== 'function') throw new TypeError('listener must be a function');
    const { target } = options;
    const texts = {
      parameters: jsonOf({ name, type }),
      body: target === undefined ? '' : jsonOf({ target }),
    };
    // The stream is open and the listener in place before the application hears of the
    // subscription, so an event raised at once is not lost.
    await this.open();
    /** @type {Subscription} */
    const subscription = { app: String(name), type: String(type), listener, dropped: false };
    this.#subscriptions.add(subscription);
    try {
      await this.call('ZarvoApplicationEvent', 'post', texts);
    } catch (error) {
      this.#subscriptions.delete(subscription);
      throw error;
    }
    /** @type {Promise<void> | null} */
    let unsubscribing = null;
    return () => {
      // After a restart the host holds no such subscription: nothing to undo.
      if (subscription.dropped) return Promise.resolve();
      unsubscribing ??= this.call('ZarvoApplicationEvent', 'delete', texts)
        .then(
          () => undefined,
          (error) => {
            if (!subscription.dropped) throw error;
          },
        )
        .finally(() => this.#subscriptions.delete(subscription));
      return unsubscribing;
    };
  }

  teardown() {
    return this.#transport.teardown();
  }

  /** @param {AnyEventListener} listener */
  onEvent(listener) {
    this.#eventListeners.add(listener);
    return () => void this.#eventListeners.delete(listener);
  }

  /** @param {(gap: Gap) => void} listener */
  onGap(listener) {
    this.#gapListeners.add(listener);
    return () => void this.#gapListeners.delete(listener);
  }

  /** @param {(state: StreamState) => void} listener */
  onState(listener) {
    this.#stateListeners.add(listener);
    return () => void this.#stateListeners.delete(listener);
  }

  /** @param {(invalid: InvalidEvent) => void} listener */
  onInvalidEvent(listener) {
    this.#invalidListeners.add(listener);
    return () => void this.#invalidListeners.delete(listener);
  }

  /** @returns {Promise<void>} */
  open() {
    if (this.#stream) {
      this.#stream.wanted = true;
      return this.#stream.opening;
    }
    /** @type {Stream} */
    const stream = { opening: Promise.resolve(), close: null, wanted: true };
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

  /** @param {Stream} stream */
  #closeStream(stream) {
    if (this.#stream === stream) this.#stream = null;
    stream.close?.();
  }

  /** @returns {EventSink} */
  #sink() {
    return {
      event: (text, id) => this.#deliverEvent(text, id),
      gap: (gap) => this.#deliverGap(gap),
      state: (state) => this.#reportState(state),
      instance: (id) => this.#learnInstance(id),
    };
  }

  /** @param {string} id */
  #learnInstance(id) {
    if (this.#instance === null) this.#instance = id;
    if (id === this.#instance) return;
    this.#instance = id;
    for (const reject of [...this.#pending]) reject(restartedError());
    this.#pending.clear();
    for (const subscription of this.#subscriptions) subscription.dropped = true;
    this.#subscriptions.clear();
    this.#reportState('restarted');
  }

  /** @param {StreamState} state */
  #reportState(state) {
    // "restarted" already says the stream is open again: the transport's "open" that follows
    // the new instance is not repeated.
    const repeated = state === 'open' && this.#state === 'restarted';
    this.#state = state;
    if (repeated) return;
    for (const listener of [...this.#stateListeners]) callListener(listener, state);
  }

  /**
   * @param {string} text
   * @param {number} id
   */
  #deliverEvent(text, id) {
    const event = parseEvent(text);
    if (event === undefined) {
      const invalid = { id, text };
      for (const listener of [...this.#invalidListeners]) callListener(listener, invalid);
      this.#window?.dispatchEvent(customEvent('zarvoInvalidEvent', invalid));
      return;
    }
    const meta = { id };
    for (const s of [...this.#subscriptions]) {
      if (s.app === event.app && s.type === event.type) callListener(s.listener, event, meta);
    }
    for (const listener of [...this.#eventListeners]) callListener(listener, event, meta);
    this.#window?.dispatchEvent(customEvent('zarvoEvent', event));
  }

  /** @param {Gap} gap */
  #deliverGap(gap) {
    for (const listener of [...this.#gapListeners]) callListener(listener, gap);
    this.#window?.dispatchEvent(customEvent('zarvoGap', gap));
  }
}

/**
 * A bridge over the given transport.
 * @param {Transport} transport
 * @param {{ window?: EventTarget | null }} options
 */
export function bridgeOver(transport, options) {
  const windowTarget = 'window' in options ? options.window : globalThis.window;
  return new Bridge(transport, windowTarget ?? null);
}
