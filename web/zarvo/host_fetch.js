// Every HTTP call of the client (the transport of `zarvo_host serve` and the simulator controls)
// goes through fetchFromHost, so each failure becomes a TransportError the same way: a request
// that does not get an answer is a NetworkError naming the method and the URL, and an answer the
// caller does not accept is the host's own error.
import { TransportError, networkError } from './errors.js';

/**
 * The URL as a message shows it: absolute against the page's location where there is one.
 * @param {string} url
 */
export function absoluteUrl(url) {
  try {
    return new URL(url, globalThis.location?.href).href;
  } catch {
    return url;
  }
}

/**
 * Fetches `url` and reads the whole answer. Rejects with TransportError "NetworkError" (status 0)
 * when no answer arrives or its body breaks off, and with the host's error when
 * `isAnswer(response)` is false (by default: when the status is not 2xx).
 * @param {typeof fetch | undefined} fetchFn
 * @param {string} url
 * @param {RequestInit} init
 * @param {(response: Response) => boolean} [isAnswer]
 * @returns {Promise<{ response: Response, text: string }>}
 */
export async function fetchFromHost(fetchFn, url, init, isAnswer = (response) => response.ok) {
  let response;
  let text;
  try {
    if (typeof fetchFn !== 'function') throw new TypeError('fetch is not available');
    response = await fetchFn(url, init);
    text = await response.text();
  } catch (cause) {
    throw networkError(`${init.method ?? 'GET'} ${absoluteUrl(url)}`, cause);
  }
  if (!isAnswer(response)) throw TransportError.fromAnswer(response.status, text);
  return { response, text };
}
