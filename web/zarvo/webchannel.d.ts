/**
 * The transport of `zarvo_view`, the desktop web view: calls and events through Qt's web
 * channel. Pages do not import it; {@link openBridge} in zarvo.js picks it inside the view.
 * @module
 */
import type { Transport } from './zarvo.js';
import type { Simulator } from './simulator.js';

/** True when the page runs inside zarvo_view (`qt.webChannelTransport` exists). */
export function inWebView(): boolean;

/** The host's channel objects ("zarvo", "zarvoSimulator"), connected once per page. */
export function channelObjects(): Promise<Record<string, any>>;

/**
 * The web-channel transport; resolves once the channel is open and the host's hello read. Each
 * call is made by the host on its GUI thread and answered once; a call the host cannot make
 * rejects with a TransportError: 404 "NotFound" for an unknown resource, 503 "Unavailable" once
 * the plug-in has been unloaded, and 413 "PayloadTooLarge" ("request body exceeds N bytes"),
 * checked here before sending, when the UTF-8 bytes of the four texts exceed the hello's limit.
 * Events are read with readEvents after the host's eventsReady signal, from where the page's
 * first stream opened; events the host's bounded buffer dropped are reported as a gap, and a
 * new instance id means the host restarted.
 */
export function webChannelTransport(): Promise<Transport>;

/** The simulator controls of zarvo_view, with the same shape and errors as over HTTP. */
export function webChannelSimulator(): Simulator;
