// The JSON text of a page's values, written so that the plug-in reads back exactly what the page
// meant, or a TypeError naming the value it cannot carry.
//
// It follows JSON.stringify (toJSON, boxed primitives, members left out for undefined, functions
// and symbols, null for them in arrays, TypeError for a BigInt or a cycle) with three
// differences, each for a value the plug-in would otherwise take silently for another:
// - NaN and ±Infinity are refused (JSON.stringify writes null);
// - a string or key holding a lone surrogate is refused (JSON.stringify writes an escape the
//   plug-in's parser rejects, some of them without a message);
// - an integer-valued number from 2^63 up to 1e21 is written in exponent form. JavaScript writes
//   such a number with all its digits ("9223372036854776000" for 2^63), and the plug-in reads a
//   number without fraction or exponent as a 64-bit integer, accumulating its digits: it turns to
//   a double only when a digit 8 or 9 follows a magnitude above 922337203685477579. JavaScript's
//   text has at most 17 significant digits, so from the 19th digit on every digit is 0 and the
//   magnitude wraps around instead (2^63 arrives as -9223372036854775616, 1e20 as
//   7766279631452241920). Below 2^63 the text's value fits and is read as that integer; from 1e21
//   on JavaScript itself writes an exponent. "9.223372036854776e+18" is read as a double, the
//   same number the page holds.
//
// Nesting depth is bounded by memory only: the walk keeps its own stack, never the call stack.

const WRAPS_FROM = 2 ** 63;
const DATE_TO_JSON = Date.prototype.toJSON;
const DATE_TO_ISO = Date.prototype.toISOString;
const EXPONENT_FROM = 1e21;
const LEFT_OUT = Symbol('left out');
// Deepest nesting left to JSON.stringify, whose recursion gives up after a few thousand levels.
const NATIVE_DEPTH = 256;
// Depth up to which the writer hands plain parts to JSON.stringify.
const SHORTCUT_DEPTH = 16;
// Distinct keys remembered by one write (objects of one shape repeat theirs).
const MAX_QUOTED_KEYS = 4096;
const IDENTIFIER = /^[A-Za-z_$][\w$]*$/;
const LONE_SURROGATE = /[\uD800-\uDBFF](?![\uDC00-\uDFFF])|(?<![\uD800-\uDBFF])[\uDC00-\uDFFF]/;

/**
 * @typedef {object} Frame an array or object being written
 * @property {any} value
 * @property {string[] | null} keys the object's keys; null for an array
 * @property {number} index the next element or key to write
 * @property {number} length
 * @property {number} written members written so far (objects)
 * @property {string | number} at the key or index of the member being written, for messages
 */

/** @param {string} text */
function isWellFormed(text) {
  // String.prototype.isWellFormed where the runtime has it; the expression otherwise.
  const native = /** @type {{ isWellFormed?: () => boolean }} */ (/** @type {unknown} */ (text));
  return typeof native.isWellFormed === 'function'
    ? native.isWellFormed()
    : !LONE_SURROGATE.test(text);
}

/** @param {string} text */
function loneSurrogate(text) {
  const match = LONE_SURROGATE.exec(text);
  const at = match?.index ?? 0;
  const unit = text.charCodeAt(at).toString(16).toUpperCase();
  return `a lone surrogate (U+${unit} at index ${at}), which is not Unicode text`;
}

/**
 * The path of the value being written, e.g. `requestData.list[2]`, from the root's name.
 * @param {string} root
 * @param {Frame[]} frames
 */
function pathOf(root, frames) {
  let path = root;
  for (const frame of frames) {
    const at = frame.at;
    if (typeof at === 'number') path += `[${at}]`;
    else if (IDENTIFIER.test(at)) path += path === '' ? at : `.${at}`;
    else path += `[${JSON.stringify(at)}]`;
  }
  return path === '' ? '(the value)' : path;
}

/**
 * The value JSON.stringify would write for `value` under `key`: after toJSON and unboxing;
 * LEFT_OUT for what it leaves out (undefined, a function, a symbol).
 * @param {unknown} value
 * @param {string} key
 * @returns {unknown}
 */
function prepared(value, key) {
  let v = value;
  if ((typeof v === 'object' && v !== null) || typeof v === 'bigint' || typeof v === 'function') {
    const toJSON = /** @type {any} */ (v).toJSON;
    if (typeof toJSON === 'function') v = toJSON.call(v, key);
  }
  if (typeof v === 'object' && v !== null) {
    if (v instanceof Number) v = Number(v);
    else if (v instanceof String) v = String(v);
    else if (isBoxed(v)) v = v.valueOf();
  }
  if (v === undefined || typeof v === 'function' || typeof v === 'symbol') return LEFT_OUT;
  return v;
}

/**
 * True when JSON.stringify writes `value` exactly as encodeJson would: no value it would refuse
 * or rewrite, no toJSON, no boxed primitive, and nesting shallow enough for its recursion (a
 * cycle exceeds the depth too). One pass over the values with a stack of its own.
 * @param {unknown} root
 */
function plainForStringify(root) {
  /** @type {unknown[]} */
  const values = [root];
  /** @type {number[]} */
  const depths = [0];
  while (values.length > 0) {
    const v = /** @type {any} */ (values.pop());
    const depth = /** @type {number} */ (depths.pop());
    switch (typeof v) {
      case 'string':
        if (!isWellFormed(v)) return false;
        continue;
      case 'number':
        if (!(Math.abs(v) < WRAPS_FROM)) return false; // also NaN and ±Infinity
        continue;
      case 'bigint':
        return false;
      case 'object':
        break;
      case 'function':
        if (typeof v.toJSON === 'function') return false;
        continue;
      default:
        continue; // boolean, undefined, symbol
    }
    if (v === null || isPlainDate(v)) continue;
    if (depth >= NATIVE_DEPTH || typeof v.toJSON === 'function' || isBoxed(v)) return false;
    if (Array.isArray(v)) {
      for (let i = 0; i < v.length; i += 1) {
        values.push(v[i]);
        depths.push(depth + 1);
      }
      continue;
    }
    for (const key of Object.keys(v)) {
      if (!isWellFormed(key)) return false;
      values.push(v[key]);
      depths.push(depth + 1);
    }
  }
  return true;
}

/**
 * A Date with the standard toJSON and toISOString: written as its ISO text or null, nothing to
 * refuse or rewrite.
 * @param {object} v
 */
function isPlainDate(v) {
  const date = /** @type {Date} */ (v);
  return v instanceof Date && date.toJSON === DATE_TO_JSON && date.toISOString === DATE_TO_ISO;
}

/** @param {object} v */
function isBoxed(v) {
  return v instanceof Number || v instanceof String || v instanceof Boolean || v instanceof BigInt;
}

/**
 * The JSON text of `value`, or undefined when JSON.stringify would give undefined.
 * @param {unknown} value
 * @param {string} [root] the name of the value in messages; members are named from it
 * @returns {string | undefined}
 * @throws {TypeError} for NaN, ±Infinity, a BigInt, a lone surrogate in a string or key, a cycle
 */
export function encodeJson(value, root = '') {
  // Plain data (nearly every payload) is checked in one pass and written by the runtime's own
  // JSON.stringify; anything else is written here, value by value.
  if (plainForStringify(value)) return JSON.stringify(value);
  return writeJson(value, root);
}

/**
 * @param {unknown} value
 * @param {string} root
 * @returns {string | undefined}
 */
function writeJson(value, root) {
  /** @type {Frame[]} */
  const frames = [];
  const open = new Set();
  /** @type {Map<string, string>} keys already checked, with their JSON text and colon */
  const quotedKeys = new Map();
  let out = '';

  /** @param {string} what */
  const refuse = (what) => new TypeError(`${pathOf(root, frames)} ${what}`);

  // Writes a prepared value: its text, or the opening of an array or object.
  /** @param {any} v */
  const write = (v) => {
    switch (typeof v) {
      case 'string':
        if (!isWellFormed(v)) throw refuse(`holds ${loneSurrogate(v)}`);
        out += JSON.stringify(v);
        return;
      case 'number':
        if (!Number.isFinite(v)) throw refuse(`is ${v}, which JSON cannot carry`);
        out +=
          Math.abs(v) >= WRAPS_FROM && Math.abs(v) < EXPONENT_FROM ? v.toExponential() : String(v);
        return;
      case 'boolean':
        out += v ? 'true' : 'false';
        return;
      case 'bigint':
        throw refuse('is a BigInt, which JSON cannot carry');
      default:
        break;
    }
    if (v === null) {
      out += 'null';
      return;
    }
    if (open.has(v)) throw refuse('contains itself (a cycle), which JSON cannot carry');
    // A plain part of the value (most of it, usually) is written by JSON.stringify at once. The
    // root was just found not plain; below a few levels each value is written here, so no value
    // is walked more than SHORTCUT_DEPTH times.
    if (frames.length > 0 && frames.length < SHORTCUT_DEPTH && plainForStringify(v)) {
      out += JSON.stringify(v);
      return;
    }
    open.add(v);
    const keys = Array.isArray(v) ? null : Object.keys(v);
    const length = keys === null ? v.length : keys.length;
    frames.push({ value: v, keys, index: 0, length, written: 0, at: '' });
    out += keys === null ? '[' : '{';
  };

  const first = prepared(value, '');
  if (first === LEFT_OUT) return undefined;
  write(first);
  while (frames.length > 0) {
    const frame = frames[frames.length - 1];
    if (frame.index === frame.length) {
      out += frame.keys === null ? ']' : '}';
      frames.pop();
      open.delete(frame.value);
      continue;
    }
    const i = frame.index++;
    if (frame.keys === null) {
      frame.at = i;
      if (i > 0) out += ',';
      const element = prepared(frame.value[i], String(i));
      if (element === LEFT_OUT) out += 'null';
      else write(element);
      continue;
    }
    const key = frame.keys[i];
    frame.at = key;
    const member = prepared(frame.value[key], key);
    if (member === LEFT_OUT) continue;
    let quoted = quotedKeys.get(key);
    if (quoted === undefined) {
      if (!isWellFormed(key)) {
        throw new TypeError(`the key ${pathOf(root, frames)} holds ${loneSurrogate(key)}`);
      }
      quoted = `${JSON.stringify(key)}:`;
      if (quotedKeys.size < MAX_QUOTED_KEYS) quotedKeys.set(key, quoted);
    }
    out += frame.written++ > 0 ? `,${quoted}` : quoted;
    write(member);
  }
  return out;
}
