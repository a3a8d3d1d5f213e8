/**
 * The page client of zarvo_bridging.
 *
 * A page connects local applications by name, sends them requests and custom tasks, and
 * subscribes to their events. Every call resolves exactly once with the envelope's `value`, or
 * rejects with a {@link BridgeError} (the plug-in answered with an error) or a
 * {@link TransportError} (the call could not be carried). Events arrive through one shared stream
 * and reach subscription listeners, {@link Bridge.onEvent} listeners and `window` (as the
 * CustomEvent "zarvoEvent"), in the order the application raised them.
 *
 * @example
 * import { createBridge, BridgeError } from '/zarvo/zarvo.js';
 * const bridge = createBridge();
 * await bridge.connect('viewer');
 * const { data, statuscode } = await bridge.request('viewer', { uri: '/document/open' });
 * const unsubscribe = await bridge.subscribe('viewer', 'progress', (e) => show(e.data));
 * await unsubscribe();
 * await bridge.disconnect('viewer');
 * @module
 */

/** The four request texts of one plug-in call, passed to the plug-in unchanged. */
export interface RequestTexts {
  /** JSON text with "method": "get", "post", "put" or "delete" (any case). */
  options: string;
  /** JSON text of the URI parameters, e.g. `{"name":"viewer"}`. */
  parameters: string;
  /** Read by no resource; passed through. */
  extra: string;
  /** JSON text of the request body (a text that is not JSON reaches the plug-in as a string). */
  body: string;
}

/** The raw answer of one plug-in call. */
export interface RawAnswer {
  /** The plug-in's status code: 200, 400, 405 or 500. */
  status: number;
  /** The envelope `{"error":…,"value":…}` exactly as the plug-in set it. */
  text: string;
  /** The host's promise identifier for the call. */
  promise: number;
}

/** A gap in the event stream: events `first`..`last` (`lost` of them) can no longer be delivered. */
export interface Gap {
  first: number;
  last: number;
  lost: number;
}

/**
 * The state of the shared event stream: "open"; "reconnecting" while a broken stream is being
 * reopened; "restarted" when it is open again on a new instance of the host (pending calls
 * rejected "Restarted", earlier subscriptions dropped); "closed" after {@link Bridge.close}.
 */
export type StreamState = 'open' | 'reconnecting' | 'restarted' | 'closed';

/** Where a transport delivers the event stream. */
export interface EventSink {
  /** One "zarvoEvent": its exact text and its sequence number. */
  event(text: string, id: number): void;
  /** Events that were lost before they could be delivered. */
  gap(gap: Gap): void;
  /**
   * The stream's state. A transport reports "open", "reconnecting" and "closed"; the bridge
   * reports "restarted" itself when {@link EventSink.instance} names a new instance.
   */
  state?(state: StreamState): void;
  /**
   * The host's instance id, every time the transport learns it; on a reconnection, before the
   * "open" of that connection. A different id than before means the host restarted.
   */
  instance?(id: string): void;
}

/** How calls and events are carried between the page and the plug-in. */
export interface Transport {
  /** One plug-in call with the four exact request texts. */
  exchange(resource: string, texts: RequestTexts): Promise<RawAnswer>;
  /** Calls the plug-in's TearDown. */
  teardown(): Promise<void>;
  /**
   * Opens the event stream; resolves once it is open (so no event raised after that is missed)
   * with a function that closes it. A transport reopens a broken stream itself, resuming after
   * the last id it delivered, or from the first event of a new instance of the host.
   */
  openEvents(sink: EventSink): Promise<() => void>;
}

/**
 * A non-200 answer of the plug-in.
 *
 * The application's own status inside a 200 answer of {@link Bridge.request} is data, not a
 * BridgeError.
 *
 * @example
 * try { await bridge.connect('viewer'); }
 * catch (e) {
 *   if (e instanceof BridgeError && e.message === 'Failed to connect application.') …
 * }
 */
export class BridgeError extends Error {
  /** 400, 405 or 500. */
  readonly status: number;
  /** "BadRequestError", "MethodError", "InternalError" or "UnknownError". */
  readonly name: string;
  /** The plug-in's message, e.g. "Application instance is not existed.". */
  readonly message: string;
  /** Members of the envelope's "error" other than name and message; `{}` when none. */
  readonly details: Record<string, unknown>;
  /** The exact answer text. */
  readonly envelope: string;
  /** The error for an answer with this status, the envelope's "error" object and its text. */
  constructor(status: number, error: Record<string, unknown>, envelope: string);
}

/**
 * The call could not be carried.
 *
 * - `status` 0, `code` "NetworkError": the host could not be reached, or the connection broke
 *   before the answer; the message names the URL, e.g.
 *   "POST http://127.0.0.1:8207/bridge/ZarvoApplication: Failed to fetch".
 * - `status` 0, `code` "Restarted": the call was pending when the host restarted (a new
 *   instance); it may or may not have been made.
 * - an answer the host made itself: 413 "PayloadTooLarge" ("request body exceeds N bytes", also
 *   refused before sending when the transport knows the limit), 403 "Forbidden", 404 "NotFound",
 *   400 "BadProtocolRequest", 502 "PluginFault", 503 "Unavailable", …
 * - `code` "BadEnvelope": the answer was not an envelope at all.
 */
export class TransportError extends Error {
  readonly name: 'TransportError';
  /** The HTTP status, 0 for a network failure. */
  readonly status: number;
  /** The host's error name: "Forbidden", "NotFound", "PayloadTooLarge", "Unavailable", … */
  readonly code: string;
  constructor(status: number, code: string, message: string);
  /** Builds the error for a host-made HTTP answer. */
  static fromResponse(response: Response): Promise<TransportError>;
  /**
   * The error for a host-made answer's status and body text: the host's
   * `{"error":{"message":…,"name":…}}` when the body is one, code "HttpError" otherwise.
   */
  static fromAnswer(status: number, text: string): TransportError;
}

/** An event as the page receives it: the application's name, the payload and the event type. */
export interface ZarvoEvent<TPayload = unknown> {
  app: string;
  data: TPayload;
  type: string;
}

/**
 * An event text that is not a JSON object with "app" and "type": it reaches no event listener
 * and goes to {@link Bridge.onInvalidEvent} listeners and to `window` as the CustomEvent
 * "zarvoInvalidEvent" instead. The stream goes on.
 */
export interface InvalidEvent {
  /** The event's sequence number. */
  id: number;
  /** The exact event text. */
  text: string;
}

/** Delivery details of an event: its sequence number in the stream. */
export interface EventMeta {
  id: number;
}

export type EventListener<TPayload = unknown> = (
  event: ZarvoEvent<TPayload>,
  meta: EventMeta,
) => void;

/**
 * An application's name as the plug-in reads it: a text, or an integer, which names the
 * application by its decimal digits.
 */
export type ApplicationName = string | number;

/**
 * The bridge of one page. Create it with {@link createBridge} or {@link openBridge}.
 *
 * The verbs that take values ({@link Bridge.connect}, {@link Bridge.disconnect},
 * {@link Bridge.request}, {@link Bridge.customTask}, {@link Bridge.subscribe}) write them as
 * JSON the way `JSON.stringify` does, except for values the plug-in would take for something
 * else, checked before anything is sent:
 * - NaN and ±Infinity reject with a TypeError naming the value's path, e.g.
 *   "requestData.list[2] is NaN, which JSON cannot carry" (JSON.stringify would send null);
 * - a string or key with a lone surrogate rejects with a TypeError naming its path, e.g.
 *   "requestData.s holds a lone surrogate (U+D800 at index 3), which is not Unicode text";
 * - an integer-valued number from 2^63 to 1e21 is written in exponent form
 *   (`9.223372036854776e+18`), which the plug-in reads as the same double; written in full it
 *   would be read as a 64-bit integer that wraps around.
 * {@link Bridge.call} and {@link Bridge.exchange} send their texts exactly as given.
 */
export interface Bridge {
  /**
   * Connects the local application known by `name` under that name (ZarvoApplication post).
   * A name that is still connected, also one whose connection was lost, is refused with
   * BridgeError 500 "Failed to connect application." until it is disconnected.
   * @example await bridge.connect('viewer');
   */
  connect(name: ApplicationName): Promise<null>;
  /**
   * Disconnects `name` (ZarvoApplication delete); 400 "Application instance is not existed."
   * when nothing of that name is connected.
   */
  disconnect(name: ApplicationName): Promise<null>;
  /**
   * Sends one request to the application (ZarvoApplicationBridge post). Resolves with the
   * application's answer and its own status code: a `statuscode` of 404 or 507 is the
   * application's answer, not an error of the call. Members left undefined are not sent.
   * @example
   * const { data, statuscode } = await bridge.request('viewer', {
   *   uri: '/document/open', requestData: { path: '/home/ada/report.pdf' } });
   */
  request<TData = unknown>(
    name: ApplicationName,
    request: { uri: string; requestData?: unknown; settings?: unknown; target?: string },
  ): Promise<{ data: TData; statuscode: number }>;
  /**
   * Runs a custom task in the application (ZarvoApplicationCustom post) and resolves with the
   * type text and the answer the application gave.
   * @example const { data, type } = await bridge.customTask('viewer', { type: 'render', data: { pages: [1] } });
   */
  customTask<TData = unknown>(
    name: ApplicationName,
    task: { type: string; data?: unknown; target?: string },
  ): Promise<{ data: TData; type: string }>;
  /**
   * Subscribes to the events of `type` from `name`. The event stream is opened and the listener
   * registered before the subscribe request is sent, so an event raised at once still reaches
   * it. Resolves with a function that unsubscribes (ZarvoApplicationEvent delete) and then
   * removes the listener, whether or not the plug-in accepted the delete; calling it again
   * returns the same promise. On failure the listener is removed and the promise rejects.
   * Each call sends its own subscribe request; for a second listener of the same events use
   * {@link Bridge.onEvent}. After a restart of the host the listener is dropped and the function
   * resolves without a call (the new instance holds no such subscription).
   * @example
   * const unsubscribe = await bridge.subscribe('viewer', 'progress', (e, { id }) =>
   *   console.log(id, e.data.percent));
   * await unsubscribe();
   */
  subscribe<TPayload = unknown>(
    name: ApplicationName,
    type: string,
    listener: EventListener<TPayload>,
    options?: { target?: string },
  ): Promise<() => Promise<void>>;
  /** Calls the plug-in's TearDown: every application is disconnected. */
  teardown(): Promise<void>;
  /**
   * Any plug-in call with exact texts; `options` defaults to `{"method":<method>}` and the other
   * texts to the empty text. The texts are sent exactly as given, nothing checked or rewritten.
   * Resolves with "value", rejects with BridgeError.
   * @example await bridge.call('ZarvoApplication', 'get', { parameters: '{"name":"viewer"}' });
   * // rejects: BridgeError 405 "GET method is not allowed."
   */
  call<TValue = any>(
    resource: string,
    method: string,
    texts?: Partial<RequestTexts>,
  ): Promise<TValue>;
  /**
   * The raw answer of one call, nothing interpreted: status, exact envelope text, promise id.
   * The texts are sent exactly as given.
   */
  exchange(resource: string, texts: Partial<RequestTexts>): Promise<RawAnswer>;
  /**
   * Listens to every event of the stream; returns a remover. The stream is opened by
   * {@link Bridge.subscribe} or {@link Bridge.open}.
   */
  onEvent(listener: EventListener): () => void;
  /**
   * Listens to event texts that are not events (see {@link InvalidEvent}); returns a remover.
   * @example bridge.onInvalidEvent(({ id, text }) => console.warn(`event ${id} is not JSON`, text));
   */
  onInvalidEvent(listener: (invalid: InvalidEvent) => void): () => void;
  /** Listens to gap reports: events lost to a reconnection that came too late. */
  onGap(listener: (gap: Gap) => void): () => void;
  /** Listens to the stream state: "open", "reconnecting", "restarted", "closed". */
  onState(listener: (state: StreamState) => void): () => void;
  /** Opens the shared event stream now; resolves once it is open. */
  open(): Promise<void>;
  /**
   * Closes the event stream. A later subscribe or open reopens it after the last id seen, so
   * the events raised meanwhile are replayed, or reported as a gap when no longer buffered.
   */
  close(): void;
}

/**
 * A bridge over `transport` (default: {@link httpTransport}, same origin). Events are also
 * dispatched on `window` (default: `globalThis.window`; `null` for none).
 */
export function createBridge(options?: {
  transport?: Transport;
  window?: EventTarget | null;
}): Bridge;

/**
 * The transport of `zarvo_host serve` (POST /bridge/<Resource>, POST /teardown, GET /events).
 * Same origin unless `baseUrl` is given; `reconnectDelay(attempt)` is the wait in ms before
 * reopening a broken event stream (default 250 ms doubling up to 5 s).
 */
export function httpTransport(options?: {
  baseUrl?: string;
  fetch?: typeof fetch;
  EventSource?: typeof EventSource;
  reconnectDelay?: (attempt: number) => number;
}): Transport;

/**
 * The transport of `zarvo_host serve` over one WebSocket (`GET /socket`) carrying calls and
 * events. Same origin unless `baseUrl` (or the socket `url` itself) is given. A message over the
 * host's limit (from its hello) rejects with TransportError 413 "PayloadTooLarge" before it is
 * sent; a broken socket is reopened after `reconnectDelay(attempt)` ms (default 250 ms doubling up
 * to 5 s) while events are wanted or calls wait.
 */
export function wsTransport(options?: {
  baseUrl?: string;
  url?: string;
  WebSocket?: typeof WebSocket;
  reconnectDelay?: (attempt: number) => number;
}): Transport;

/**
 * The bridge for where the page runs, so one page works in both runtimes unchanged: inside
 * `zarvo_view` (the desktop web view) it uses the host's web channel; in a browser
 * {@link wsTransport} to the same origin (one socket for calls and events), and
 * {@link httpTransport} where the runtime has no WebSocket. A `transport` given in `options` is
 * used as is.
 * Returns at once; inside the view the first call waits until the channel is open.
 * @example
 * import { openBridge } from '/zarvo/zarvo.js';
 * const bridge = openBridge();
 * await bridge.connect('viewer');
 */
export function openBridge(options?: {
  transport?: Transport;
  window?: EventTarget | null;
}): Bridge;

/** The four resource names. */
export const RESOURCES: readonly string[];
