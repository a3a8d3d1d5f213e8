// Fakes for the unit tests of pages written with the client: a transport that answers as
// programmed per resource and method, records every call, and lets the test raise events, gaps
// and restarts of the host; and a real bridge over it. Nothing here talks to a host. Types and
// examples: testing.d.ts.
import { bridgeOver } from './bridge.js';
import { TransportError } from './errors.js';

/** @typedef {import('./zarvo.d.ts').EventSink} EventSink */
/** @typedef {import('./zarvo.d.ts').RequestTexts} RequestTexts */
/** @typedef {import('./zarvo.d.ts').RawAnswer} RawAnswer */
/** @typedef {import('./zarvo.d.ts').StreamState} StreamState */
/** @typedef {import('./testing.d.ts').FakeCall} FakeCall */
/** @typedef {import('./testing.d.ts').Reply} Reply */
/** @typedef {import('./testing.d.ts').Program} Program */
/** @typedef {import('./testing.d.ts').FakeTransport} DeclaredFakeTransport */

const REPLY = Symbol('reply');

/**
 * @param {Omit<Reply, typeof REPLY>} fields
 * @returns {Reply}
 */
const reply = (fields) => /** @type {Reply} */ ({ [REPLY]: true, ...fields });

/** @type {typeof import('./testing.d.ts').value} */
export function value(v) {
  return reply({ status: 200, text: JSON.stringify({ error: null, value: v ?? null }) });
}

/** @type {typeof import('./testing.d.ts').bridgeError} */
export function bridgeError(status, name, message, details = {}) {
  const error = { ...details, message, name };
  return reply({ status, text: JSON.stringify({ error, value: null }) });
}

/** @type {typeof import('./testing.d.ts').rawAnswer} */
export function rawAnswer(status, text) {
  return reply({ status, text });
}

/** @type {typeof import('./testing.d.ts').transportError} */
export function transportError(status, code, message) {
  return reply({ error: new TransportError(status, code, message) });
}

/** @param {string} text */
function parsed(text) {
  try {
    return JSON.parse(text);
  } catch {
    return undefined;
  }
}

/** @param {string} options */
function methodOf(options) {
  const method = parsed(options)?.method;
  return typeof method === 'string' ? method.toLowerCase() : '';
}

// Connecting, disconnecting, subscribing and unsubscribing succeed unless programmed otherwise.
const DEFAULTS = new Set([
  'ZarvoApplication post',
  'ZarvoApplication delete',
  'ZarvoApplicationEvent post',
  'ZarvoApplicationEvent delete',
]);

/** @implements {DeclaredFakeTransport} */
export class FakeTransport {
  /** @type {FakeCall[]} */
  calls = [];
  teardowns = 0;
  /** @type {Map<string, Program>} */
  #programs = new Map();
  /** @type {EventSink | null} */
  #sink = null;
  /** @type {Error | null} */
  #openError = null;
  /** @type {Array<() => void> | null} answers held back by hold() */
  #held = null;
  #nextEventId = 1;
  #nextPromise = 1;
  #instance;

  /** @param {{ instance?: string }} [options] */
  constructor(options = {}) {
    this.#instance = options.instance ?? '0000000000000001';
  }

  get instance() {
    return this.#instance;
  }

  get streamOpen() {
    return this.#sink !== null;
  }

  /**
   * @param {string} resource
   * @param {string} method
   * @param {Program} program
   */
  on(resource, method, program) {
    this.#programs.set(`${resource} ${method.toLowerCase()}`, program);
    return this;
  }

  /**
   * @param {string} resource
   * @param {string} [method]
   */
  callsTo(resource, method) {
    const wanted = method?.toLowerCase();
    return this.calls.filter(
      (c) => c.resource === resource && (wanted === undefined || c.method === wanted),
    );
  }

  hold() {
    this.#held ??= [];
  }

  release() {
    const held = this.#held ?? [];
    this.#held = null;
    for (const answer of held) answer();
  }

  /**
   * @param {string} resource
   * @param {RequestTexts} texts
   * @returns {Promise<RawAnswer>}
   */
  async exchange(resource, texts) {
    const call = {
      resource,
      method: methodOf(texts.options),
      texts: { ...texts },
      parameters: parsed(texts.parameters),
      body: parsed(texts.body),
    };
    this.calls.push(call);
    if (this.#held !== null) {
      const held = this.#held;
      await new Promise((resolve) => held.push(() => resolve(undefined)));
    }
    const key = `${resource} ${call.method}`;
    const program = this.#programs.get(key);
    if (program === undefined && !DEFAULTS.has(key)) {
      throw new Error(`no answer programmed for ${key}`);
    }
    const result = typeof program === 'function' ? await program(call) : (program ?? null);
    const answer =
      result !== null && typeof result === 'object' && REPLY in result ? result : value(result);
    if (answer.error) throw answer.error;
    return { status: answer.status ?? 200, text: answer.text ?? '', promise: this.#nextPromise++ };
  }

  async teardown() {
    this.teardowns += 1;
  }

  /** @param {Error | null} error */
  failOpen(error) {
    this.#openError = error;
  }

  /**
   * @param {EventSink} sink
   * @returns {Promise<() => void>}
   */
  async openEvents(sink) {
    if (this.#openError) throw this.#openError;
    this.#sink = sink;
    sink.instance?.(this.#instance);
    sink.state?.('open');
    return () => {
      if (this.#sink !== sink) return;
      this.#sink = null;
      sink.state?.('closed');
    };
  }

  #openSink() {
    if (this.#sink === null) throw new Error('the event stream is not open');
    return this.#sink;
  }

  /** @param {{ app: string, type: string, data?: unknown } | string} event */
  emit(event) {
    const sink = this.#openSink();
    const id = this.#nextEventId++;
    const text =
      typeof event === 'string'
        ? event
        : JSON.stringify({ app: event.app, data: event.data ?? null, type: event.type });
    sink.event(text, id);
    return id;
  }

  /** @param {number} [lost] */
  gap(lost = 1) {
    const sink = this.#openSink();
    const first = this.#nextEventId;
    this.#nextEventId += lost;
    const gap = { first, last: first + lost - 1, lost };
    sink.gap(gap);
    return gap;
  }

  /** @param {StreamState} state */
  setState(state) {
    this.#openSink().state?.(state);
  }

  /** @param {string} [instance] */
  restart(instance) {
    const sink = this.#openSink();
    this.#instance =
      instance ?? (BigInt(`0x${this.#instance}`) + 1n).toString(16).padStart(16, '0');
    this.#nextEventId = 1;
    sink.state?.('reconnecting');
    sink.instance?.(this.#instance);
    sink.state?.('open');
    return this.#instance;
  }
}

/** @type {typeof import('./testing.d.ts').createFakeBridge} */
export function createFakeBridge(options = {}) {
  const transport = new FakeTransport(options);
  const bridge = bridgeOver(transport, { window: options.window ?? null });
  return { bridge, transport };
}

// Checked by tsc only: this module provides every value testing.d.ts declares, with its type.
void (
  /** @satisfies {typeof import('./testing.d.ts')} */ ({
    FakeTransport,
    createFakeBridge,
    value,
    bridgeError,
    rawAnswer,
    transportError,
  })
);
