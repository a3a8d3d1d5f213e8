// The transport of `zarvo_host serve` over plain HTTP: POST /bridge/<Resource>, POST /teardown and
// the server-sent events of GET /events.
//
// The stream opens with a "zarvoHello" event naming the server's instance. A broken stream is
// reopened by this transport (not by the browser, which gives up for good on an error answer such
// as 503) with the instance and the last event id in the query: the same server resumes after
// that id, a restarted one starts at its own first event.
import { absoluteUrl, fetchFromHost } from './host_fetch.js';
import { networkError } from './errors.js';
import { requestTexts } from './request_texts.js';

/** @typedef {import('./zarvo.d.ts').EventSink} EventSink */
/** @typedef {import('./zarvo.d.ts').RequestTexts} RequestTexts */

/** @param {number} attempt */
export function defaultReconnectDelay(attempt) {
  return Math.min(250 * 2 ** attempt, 5000);
}

/** @type {typeof import('./zarvo.d.ts').httpTransport} */
export function httpTransport(options = {}) {
  const base = String(options.baseUrl ?? '').replace(/\/+$/, '');
  const fetchFn = options.fetch ?? globalThis.fetch?.bind(globalThis);
  const EventSourceClass = options.EventSource ?? globalThis.EventSource;
  const reconnectDelay = options.reconnectDelay ?? defaultReconnectDelay;
  let lastId = 0;
  /** @type {string | null} */
  let instance = null;

  /**
   * @param {string} path
   * @param {string} body
   * @param {(response: Response) => boolean} [isAnswer]
   */
  function post(path, body, isAnswer) {
    const init = {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body,
      cache: /** @type {const} */ ('no-store'),
    };
    return fetchFromHost(fetchFn, base + path, init, isAnswer);
  }

  /**
   * @param {string} resource
   * @param {RequestTexts} texts
   */
  async function exchange(resource, texts) {
    const path = `/bridge/${encodeURIComponent(resource)}`;
    // An answer of the plug-in carries Zarvo-Status; one without it is the host's own error.
    const { response, text } = await post(path, JSON.stringify(requestTexts(texts)), (r) =>
      r.headers.has('Zarvo-Status'),
    );
    const status = Number(response.headers.get('Zarvo-Status'));
    return { status, text, promise: Number(response.headers.get('Zarvo-Promise') ?? 0) };
  }

  async function teardown() {
    await post('/teardown', '');
  }

  function eventsUrl() {
    if (instance !== null) return `${base}/events?instance=${instance}&lastEventId=${lastId}`;
    return `${base}/events${lastId > 0 ? `?lastEventId=${lastId}` : ''}`;
  }

  /** @param {EventSink} sink */
  function openEvents(sink) {
    return new Promise((resolve, reject) => {
      /** @type {EventSource | null} */
      let source = null;
      /** @type {ReturnType<typeof setTimeout> | undefined} */
      let timer;
      let attempt = 0;
      let opened = false;
      let closed = false;
      let waitingForHello = false;

      const close = () => {
        if (closed) return;
        closed = true;
        clearTimeout(timer);
        source?.close();
        sink.state?.('closed');
      };
      // The stream is open: on a server known to send "zarvoHello", once that hello is read, so
      // a restart is known before anything else of the new stream.
      const isOpen = () => {
        waitingForHello = false;
        attempt = 0;
        sink.state?.('open');
        if (!opened) {
          opened = true;
          resolve(close);
        }
      };
      /** @param {MessageEvent} message */
      const onHello = (message) => {
        let id;
        try {
          id = JSON.parse(message.data)?.instance;
        } catch {
          id = undefined;
        }
        if (typeof id === 'string') {
          if (instance !== null && id !== instance) lastId = 0;
          instance = id;
          sink.instance?.(id);
        }
        if (waitingForHello) isOpen();
      };
      /** @param {MessageEvent} message */
      const onEvent = (message) => {
        if (waitingForHello) isOpen();
        lastId = Number(message.lastEventId) || lastId;
        sink.event(message.data, lastId);
      };
      /** @param {MessageEvent} message */
      const onGap = (message) => {
        if (waitingForHello) isOpen();
        lastId = Number(message.lastEventId) || lastId;
        sink.gap(JSON.parse(message.data));
      };
      const onError = () => {
        source?.close();
        if (closed) return;
        if (!opened) {
          closed = true;
          reject(
            networkError(`GET ${absoluteUrl(eventsUrl())}`, 'the event stream could not be opened'),
          );
          return;
        }
        sink.state?.('reconnecting');
        timer = setTimeout(connect, reconnectDelay(attempt++));
      };
      const connect = () => {
        const current = new EventSourceClass(eventsUrl());
        source = current;
        current.addEventListener('open', () => {
          if (instance === null) isOpen();
          else waitingForHello = true;
        });
        current.addEventListener('zarvoHello', onHello);
        current.addEventListener('zarvoEvent', onEvent);
        current.addEventListener('zarvoGap', onGap);
        current.addEventListener('error', onError);
      };
      connect();
    });
  }

  return { exchange, teardown, openEvents };
}
