/**
 * Controls of the simulated application library behind `zarvo_host serve`.
 *
 * A development aid for the bridge console, example pages and tests: a real web-view host has
 * none of these endpoints, so production pages must not use this module. Failures reject with
 * the client's TransportError, e.g. code "NotConnected" (404) with the message
 * "application 'viewer' is not connected".
 *
 * @example
 * import { raise } from '/zarvo/simulator.js';
 * await raise('viewer', 'progress', '{"percent":5}', { count: 3 });
 * @module
 */

export interface Simulator {
  /**
   * Has the connected application `app` raise `count` (1..1000000, default 1) events of `type`
   * with the payload text `payloadText` (default "null"), sent verbatim.
   */
  raise(
    app: string,
    type: string,
    payloadText?: string,
    options?: { count?: number },
  ): Promise<{ raised: number }>;
  /** The library reports `app`'s connection lost. The name stays connected for the page. */
  reportLostConnection(app: string): Promise<{ notified: true }>;
  /** The library call log from entry `from` (default 0); `next` is the total number of entries. */
  callLog(options?: { from?: number }): Promise<{ calls: string[]; next: number }>;
  /** The application description text as the server loaded it. */
  applicationsText(): Promise<string>;
  /** The application description, parsed: `{applications: {<name>: {...}}}`. */
  applications(): Promise<{ applications: Record<string, unknown> }>;
}

/**
 * Simulator controls at `baseUrl` (same origin by default). Inside zarvo_view, with neither
 * `baseUrl` nor `fetch` given, the view's own controls through its web channel.
 */
export function createSimulator(options?: { baseUrl?: string; fetch?: typeof fetch }): Simulator;

/** {@link Simulator.raise} on the page's own server. */
export function raise(
  app: string,
  type: string,
  payloadText?: string,
  options?: { count?: number },
): Promise<{ raised: number }>;
/** {@link Simulator.reportLostConnection} on the page's own server. */
export function reportLostConnection(app: string): Promise<{ notified: true }>;
/** {@link Simulator.callLog} on the page's own server. */
export function callLog(options?: { from?: number }): Promise<{ calls: string[]; next: number }>;
/** {@link Simulator.applications} on the page's own server. */
export function applications(): Promise<{ applications: Record<string, unknown> }>;
