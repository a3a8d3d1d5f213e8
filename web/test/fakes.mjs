// Fakes for the client's unit tests: a scripted transport, fetch and EventSource; and the
// assertion of a TransportError.
import assert from 'node:assert/strict';
import { TransportError } from '../zarvo/errors.js';

/**
 * Asserts that `promise` rejects with a TransportError of exactly this status, code and message.
 * @param {Promise<unknown>} promise
 * @param {number} status
 * @param {string} code
 * @param {string} message
 */
export async function rejectsWithTransportError(promise, status, code, message) {
  await assert.rejects(promise, (e) => {
    assert.ok(e instanceof TransportError);
    assert.deepEqual(
      [e.name, e.status, e.code, e.message],
      ['TransportError', status, code, message],
    );
    return true;
  });
}

/** A transport that records every call and answers from a queue of scripted answers. */
export class FakeTransport {
  constructor() {
    this.sent = []; // [resource, texts]
    this.answers = [];
    this.sink = null;
    this.opens = 0;
    this.closes = 0;
    this.teardowns = 0;
    this.openError = null;
    this.log = []; // the order of opens and exchanges
    this.onExchange = null; // called with (resource, texts) before answering
  }

  answer(status, text, promise = this.sent.length + 1) {
    this.answers.push({ status, text, promise });
    return this;
  }

  async exchange(resource, texts) {
    this.sent.push([resource, texts]);
    this.log.push(`exchange ${resource} ${texts.options}`);
    this.onExchange?.(resource, texts);
    const next = this.answers.shift();
    if (!next) throw new Error(`no scripted answer for ${resource}`);
    if (next instanceof Error) throw next;
    return next;
  }

  async teardown() {
    this.teardowns += 1;
  }

  async openEvents(sink) {
    this.log.push('openEvents');
    this.opens += 1;
    if (this.openError) throw this.openError;
    this.sink = sink;
    return () => {
      this.closes += 1;
      this.log.push('close');
      this.sink = null;
    };
  }

  emit(event, id) {
    this.sink.event(typeof event === 'string' ? event : JSON.stringify(event), id);
  }
}

/** A fetch that records requests and answers from scripted Responses. */
export function fakeFetch() {
  const calls = [];
  const answers = [];
  const fetch = async (url, init = {}) => {
    calls.push({ url, init });
    const next = answers.shift();
    if (!next) throw new Error(`no scripted response for ${url}`);
    if (next instanceof Error) throw next;
    return next;
  };
  fetch.calls = calls;
  fetch.respond = (status, body, headers = {}) => {
    answers.push(new Response(status === 204 ? null : body, { status, headers }));
    return fetch;
  };
  fetch.fail = (error) => {
    answers.push(error);
    return fetch;
  };
  return fetch;
}

/** An EventSource stand-in: every instance is kept so a test can drive it. */
export function fakeEventSourceClass() {
  const instances = [];
  class FakeEventSource extends EventTarget {
    constructor(url) {
      super();
      this.url = url;
      this.closed = false;
      instances.push(this);
    }
    close() {
      this.closed = true;
    }
    open() {
      this.dispatchEvent(new Event('open'));
    }
    error() {
      this.dispatchEvent(new Event('error'));
    }
    message(type, data, lastEventId) {
      this.dispatchEvent(new MessageEvent(type, { data, lastEventId: String(lastEventId) }));
    }
  }
  FakeEventSource.instances = instances;
  return FakeEventSource;
}

/** Lets pending promise callbacks run. */
export const settle = () => new Promise((resolve) => setImmediate(resolve));

/**
 * A WebSocket stand-in: every instance is kept; the test plays the server with hello(),
 * receive() and serverClose(), and reads what the client sent with messages().
 */
export function fakeWebSocketClass() {
  const instances = [];
  class FakeWebSocket extends EventTarget {
    constructor(url) {
      super();
      this.url = url;
      this.sent = [];
      instances.push(this);
    }
    send(text) {
      this.sent.push(text);
    }
    close() {}
    receive(message) {
      const data = typeof message === 'string' ? message : JSON.stringify(message);
      this.dispatchEvent(new MessageEvent('message', { data }));
    }
    hello(instance = '9f3c0a1b2c3d4e5f', limit = 16777216) {
      this.receive({ op: 'hello', instance, limits: { message: limit }, protocol: 1 });
    }
    serverClose(code) {
      this.dispatchEvent(Object.assign(new Event('close'), { code }));
    }
    messages() {
      return this.sent.map((text) => JSON.parse(text));
    }
  }
  FakeWebSocket.instances = instances;
  return FakeWebSocket;
}

/** A transport event sink that records what it is told, in order, in `got`. */
export function recordingSink() {
  /** @type {unknown[][]} */
  const got = [];
  return {
    got,
    event: (/** @type {string} */ text, /** @type {number} */ id) => got.push(['event', id, text]),
    gap: (/** @type {unknown} */ gap) => got.push(['gap', gap]),
    state: (/** @type {string} */ s) => got.push(['state', s]),
    instance: (/** @type {string} */ id) => got.push(['instance', id]),
  };
}
