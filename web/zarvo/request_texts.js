// The four request texts of one plug-in call, and their size as the hosts count it.

/** @typedef {import('./zarvo.d.ts').RequestTexts} RequestTexts */

export const TEXT_NAMES = /** @type {const} */ (['options', 'parameters', 'extra', 'body']);

/**
 * The four request texts with the empty text for any left out; anything but a string is a
 * programming error of the caller, reported before anything is sent.
 * @param {Partial<RequestTexts>} [texts]
 * @returns {RequestTexts}
 */
export function requestTexts(texts = {}) {
  const out = { options: '', parameters: '', extra: '', body: '' };
  for (const key of TEXT_NAMES) {
    const text = texts[key] ?? '';
    if (typeof text !== 'string') {
      throw new TypeError(`request text '${key}' must be a string, not ${typeof text}`);
    }
    out[key] = text;
  }
  return out;
}

/**
 * The number of UTF-8 bytes of `text` (a lone surrogate counts 3, as its replacement does).
 * @param {string} text
 */
export function utf8Length(text) {
  let bytes = text.length;
  for (let i = 0; i < text.length; i += 1) {
    const unit = text.charCodeAt(i);
    if (unit < 0x80) continue;
    if (unit < 0x800) bytes += 1;
    else if (unit >= 0xd800 && unit <= 0xdbff && i + 1 < text.length) {
      const next = text.charCodeAt(i + 1);
      if (next >= 0xdc00 && next <= 0xdfff) {
        bytes += 2; // two units, four bytes
        i += 1;
      } else bytes += 2;
    } else bytes += 2;
  }
  return bytes;
}

/**
 * True when `text` is over `limit` UTF-8 bytes; only counts when its length leaves it open.
 * @param {string} text
 * @param {number} limit
 */
export function exceeds(text, limit) {
  if (text.length > limit) return true;
  if (text.length * 3 <= limit) return false;
  return utf8Length(text) > limit;
}
