/**
 * Fakes for the unit tests of pages written with the client: {@link FakeTransport} answers each
 * call as programmed per resource and method and records it; the test raises events, gaps and
 * restarts of the host; {@link createFakeBridge} puts a real bridge over it. Nothing here talks to
 * a host.
 *
 * @example
 * import { createFakeBridge, bridgeError } from '@zarvo/bridge-client/testing';
 * const { bridge, transport } = createFakeBridge();
 * transport.on('ZarvoApplicationBridge', 'post', (call) => ({ data: { pages: 12 }, statuscode: 200 }));
 * await bridge.connect('viewer');
 * const { data } = await bridge.request('viewer', { uri: '/document/open' });
 * transport.on('ZarvoApplication', 'post', bridgeError(500, 'InternalError', 'Failed to connect application.'));
 * const seen = [];
 * await bridge.subscribe('viewer', 'progress', (e) => seen.push(e.data));
 * transport.emit({ app: 'viewer', type: 'progress', data: { percent: 50 } });
 * transport.callsTo('ZarvoApplicationBridge', 'post')[0].body; // { uri: '/document/open' }
 * @module
 */
import type {
  Bridge,
  EventSink,
  Gap,
  RawAnswer,
  RequestTexts,
  StreamState,
  Transport,
} from './zarvo.js';

/** One call the fake transport received. */
export interface FakeCall {
  resource: string;
  /** The "method" of the options text, in lower case ("" when there is none). */
  method: string;
  /** The four texts exactly as sent. */
  texts: RequestTexts;
  /** The parameters text parsed, or undefined when it is not JSON. */
  parameters: any;
  /** The body text parsed, or undefined when it is not JSON (or empty). */
  body: any;
}

/** An answer made with {@link value}, {@link bridgeError}, {@link rawAnswer} or {@link transportError}. */
export interface Reply {
  status?: number;
  text?: string;
  error?: Error;
}

/**
 * What a programmed call answers: a {@link Reply}, any other value (the envelope's "value" of a
 * 200 answer), or a function of the call returning either (or a promise of it).
 */
export type Program = Reply | unknown | ((call: FakeCall) => unknown);

/** A 200 answer whose envelope holds `value`. */
export function value(value: unknown): Reply;
/** A plug-in error answer: the call rejects with a BridgeError of these. */
export function bridgeError(
  status: number,
  name: string,
  message: string,
  details?: Record<string, unknown>,
): Reply;
/** An answer of the exact status and envelope text. */
export function rawAnswer(status: number, text: string): Reply;
/** The call is not carried: it rejects with this TransportError. */
export function transportError(status: number, code: string, message: string): Reply;

/** A transport for tests. */
export class FakeTransport implements Transport {
  constructor(options?: { instance?: string });
  /** Every call received, in order. */
  readonly calls: FakeCall[];
  /** How often teardown() was called. */
  readonly teardowns: number;
  /** The host's instance id the fake reports (changed by {@link FakeTransport.restart}). */
  readonly instance: string;
  /** True while the bridge's event stream is open. */
  readonly streamOpen: boolean;
  /**
   * Programs the answer of `resource` with `method` (any case). Unprogrammed calls reject with
   * an Error naming them, except connect, disconnect, subscribe and unsubscribe, which answer
   * null.
   */
  on(resource: string, method: string, program: Program): this;
  /** The calls to `resource` (with `method`, when given). */
  callsTo(resource: string, method?: string): FakeCall[];
  /** Holds the answers of the calls from now on until {@link FakeTransport.release}. */
  hold(): void;
  /** Answers the held calls and stops holding. */
  release(): void;
  /** Makes the next openEvents reject with `error` (null: open again). */
  failOpen(error: Error | null): void;
  /** Raises an event (or an exact event text) on the open stream; returns its id. */
  emit(event: { app: string; type: string; data?: unknown } | string): number;
  /** Reports `lost` (default 1) events as lost on the open stream; returns the gap. */
  gap(lost?: number): Gap;
  /** Reports a stream state, e.g. "reconnecting". */
  setState(state: StreamState): void;
  /**
   * The host restarts: a new instance id (the given one, or the next), event ids from 1 again;
   * the bridge rejects its pending calls "Restarted" and drops its subscriptions. Returns the id.
   */
  restart(instance?: string): string;
  exchange(resource: string, texts: RequestTexts): Promise<RawAnswer>;
  teardown(): Promise<void>;
  openEvents(sink: EventSink): Promise<() => void>;
}

/** A real bridge over a {@link FakeTransport}; events go to `window` only when one is given. */
export function createFakeBridge(options?: { instance?: string; window?: EventTarget | null }): {
  bridge: Bridge;
  transport: FakeTransport;
};
