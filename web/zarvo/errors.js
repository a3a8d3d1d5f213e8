// The two errors a call of the page client rejects with: BridgeError (the plug-in answered with
// an error) and TransportError (the call could not be carried). Every other module of the client
// imports them from here, so no module needs the public entry zarvo.js; pages import them from
// zarvo.js, which re-exports them. Declarations: zarvo.d.ts.

/** A non-200 answer of the plug-in: its status, the envelope's error and the exact answer text. */
export class BridgeError extends Error {
  /**
   * @param {number} status
   * @param {Record<string, unknown>} error the envelope's "error" object
   * @param {string} envelope
   */
  constructor(status, error, envelope) {
    super(String(error.message ?? ''));
    const { name, message, ...details } = error;
    void message;
    /** @type {string} */
    this.name = String(name ?? '');
    this.status = status;
    /** @type {Record<string, unknown>} */
    this.details = details;
    this.envelope = envelope;
  }
}

/** The call could not be carried: a network failure (status 0) or an answer the host made. */
export class TransportError extends Error {
  /** @type {'TransportError'} */
  name = 'TransportError';

  /**
   * @param {number} status
   * @param {string} code
   * @param {string} message
   */
  constructor(status, code, message) {
    super(message);
    this.status = status;
    this.code = code;
  }

  /**
   * The error for a host-made answer with this status and body text: the host's
   * `{"error":{"message":…,"name":…}}` when the body is one, "HttpError" otherwise.
   * @param {number} status
   * @param {string} text
   * @returns {TransportError}
   */
  static fromAnswer(status, text) {
    let error;
    try {
      error = JSON.parse(text)?.error;
    } catch {
      error = undefined;
    }
    if (error && typeof error.name === 'string' && typeof error.message === 'string') {
      return new TransportError(status, error.name, error.message);
    }
    return new TransportError(status, 'HttpError', `HTTP ${status} ${text}`);
  }

  /**
   * The error for a host-made HTTP answer.
   * @param {Response} response
   * @returns {Promise<TransportError>}
   */
  static async fromResponse(response) {
    const text = await response.text().catch(() => '');
    return TransportError.fromAnswer(response.status, text);
  }
}

/**
 * The host could not be reached, or the connection broke before the answer.
 * @param {string} where what was being done, naming the URL (e.g. "POST http://…/bridge/X")
 * @param {unknown} cause
 */
export function networkError(where, cause) {
  const reason = cause instanceof Error ? cause.message : String(cause);
  return new TransportError(0, 'NetworkError', `${where}: ${reason}`);
}

/** The call was pending when the host's instance changed: it may or may not have been made. */
export function restartedError() {
  return new TransportError(0, 'Restarted', 'the host restarted before the call was answered');
}

/**
 * A request over the host's size limit, refused before it was sent or by the host.
 * @param {number} limit in bytes
 */
export function payloadTooLarge(limit) {
  return new TransportError(413, 'PayloadTooLarge', `request body exceeds ${limit} bytes`);
}
