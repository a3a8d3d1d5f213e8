// The request bodies of the simulator controls: one text whichever host carries them (HTTP to
// `zarvo_host serve`, the web channel of zarvo_view), so both hosts apply the same rules to the
// same JSON.

/**
 * The body of a raise: `{app, type, payload, count}`.
 * @param {string} app
 * @param {string} type
 * @param {string} payloadText
 * @param {number} count
 */
export function raiseBody(app, type, payloadText, count) {
  return JSON.stringify({ app, type, payload: payloadText, count });
}

/**
 * The body of a lost-connection report: `{app}`.
 * @param {string} app
 */
export function disconnectBody(app) {
  return JSON.stringify({ app });
}
