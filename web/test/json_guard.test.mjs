// The JSON the client writes from page values: the same text as JSON.stringify for plain data,
// exponent form for the integers the plug-in would wrap around, and a TypeError naming the path
// of every value the plug-in cannot carry, at any nesting depth.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { encodeJson } from '../zarvo/json_guard.js';
import { createFakeBridge, rawAnswer } from '../zarvo/testing.js';

// How the plug-in reads one JSON number text: an integer accumulated digit by digit in 64 bits
// (unsigned, wrapping), turning to a double only when a digit 8 or 9 follows a magnitude above
// 922337203685477579; a double when there is a fraction or a non-zero exponent.
function pluginReads(text) {
  const match = /^(-?)(\d+)(\.\d+)?(?:[eE][+-]?(\d+))?$/.exec(text);
  assert.ok(match, `not a JSON number: ${text}`);
  const [, minus, digits, fraction, exponent] = match;
  let magnitude = 0n;
  let tooLarge = false;
  for (const digit of digits) {
    if (BigInt.asIntN(64, magnitude) <= 922337203685477579n || Number(digit) <= 7) {
      magnitude = BigInt.asUintN(64, magnitude * 10n + BigInt(digit));
    } else {
      tooLarge = true;
    }
  }
  const exponentIsZero = exponent === undefined || /^0+$/.test(exponent);
  if (fraction === undefined && exponentIsZero && !tooLarge) {
    return { integer: BigInt.asIntN(64, minus ? -magnitude : magnitude) };
  }
  return { double: Number(text) };
}

// The number the application receives for `text`, compared with what the page meant.
function receivedAs(text) {
  const read = pluginReads(text);
  return 'integer' in read ? Number(read.integer) : read.double;
}

test('the plug-in model reproduces the wrap-around that plain JSON.stringify texts meet', () => {
  assert.deepEqual(pluginReads(JSON.stringify(2 ** 63)), { integer: -9223372036854775616n });
  assert.deepEqual(pluginReads(JSON.stringify(1e20)), { integer: 7766279631452241920n });
  assert.deepEqual(pluginReads(JSON.stringify(-(2 ** 63))), { integer: 9223372036854775616n });
  assert.deepEqual(pluginReads('9223372036854775807'), { integer: 9223372036854775807n });
  assert.deepEqual(pluginReads('9223372036854775808'), { double: 9223372036854775808 });
  assert.deepEqual(pluginReads('12e0'), { integer: 12n });
  assert.deepEqual(pluginReads('1e5'), { double: 100000 });
});

test('boundary numbers: written so the plug-in reads the same number', () => {
  const below = 9223372036854774784; // the largest double below 2^63
  const cases = [
    [0, '0'],
    [-0, '0'],
    [2 ** 53, '9007199254740992'],
    [2 ** 53 + 2, '9007199254740994'],
    [-(2 ** 53), '-9007199254740992'],
    [1e18, '1000000000000000000'],
    [2 ** 62, '4611686018427388000'],
    [below, '9223372036854775000'],
    [-below, '-9223372036854775000'],
    [2 ** 63, '9.223372036854776e+18'],
    [-(2 ** 63), '-9.223372036854776e+18'],
    [2 ** 63 + 2048, '9.223372036854778e+18'],
    [1e19, '1e+19'],
    [-1e19, '-1e+19'],
    [1.8446744073709552e19, '1.8446744073709552e+19'],
    [1e20, '1e+20'],
    [123456789012345680000, '1.2345678901234568e+20'],
    [999999999999999900000, '9.999999999999999e+20'],
    [1e21, '1e+21'],
    [-1e21, '-1e+21'],
    [1.5, '1.5'],
    [5e-324, '5e-324'],
    [Number.MAX_VALUE, '1.7976931348623157e+308'],
  ];
  for (const [value, text] of cases) {
    assert.equal(encodeJson(value), text, `${value}`);
    assert.equal(encodeJson([value]), `[${text}]`, `[${value}]`);
    assert.equal(
      receivedAs(text),
      value === 0 ? 0 : value,
      `the plug-in reads ${text} as ${value}`,
    );
  }
});

test('every double in the wrapping range is rewritten, and only there', () => {
  // Random doubles of every magnitude from 1e15 to 1e22, both signs: what the client writes is
  // read by the plug-in as the same number, and it differs from JSON.stringify exactly where
  // JSON.stringify's text would be misread.
  let seed = 7;
  const random = () => {
    seed = (seed * 1103515245 + 12345) % 2 ** 31;
    return seed / 2 ** 31;
  };
  let rewritten = 0;
  for (let i = 0; i < 20000; i += 1) {
    const magnitude = 10 ** (15 + 7 * random());
    const value = Math.round(magnitude) * (random() < 0.5 ? -1 : 1);
    const written = encodeJson(value);
    assert.equal(receivedAs(written), value, `${value} written as ${written}`);
    const plain = JSON.stringify(value);
    const plainMisread = receivedAs(plain) !== value;
    assert.equal(written !== plain, plainMisread, `${value}: ${plain} / ${written}`);
    if (written !== plain) rewritten += 1;
  }
  assert.ok(rewritten > 1000, `only ${rewritten} values met the rewrite`);
});

test('plain data is written exactly as JSON.stringify writes it', () => {
  const date = new Date(Date.UTC(2026, 0, 2, 3, 4, 5));
  const values = [
    { uri: '/x', requestData: { a: [1, 'two', null, true, false, { b: 'ü𝄞\n"\\' }], c: {} } },
    [undefined, () => 1, Symbol('s'), true, [], [[]]],
    { left: undefined, fn() {}, kept: 1, [Symbol('hidden')]: 2 },
    {
      date,
      boxed: [Object(1), Object('s'), Object(false)],
      custom: { toJSON: (key) => `key ${key}` },
    },
    Object.assign(Object.create(null), { a: 1 }),
    'text',
    null,
    [1, , 3], // eslint-disable-line no-sparse-arrays
  ];
  for (const value of values) assert.equal(encodeJson(value), JSON.stringify(value));
  assert.equal(encodeJson(undefined), undefined);
  assert.equal(
    encodeJson(() => 1),
    undefined,
  );
  assert.equal(encodeJson({ toJSON: () => 2 ** 63 }), '9.223372036854776e+18');
  assert.equal(encodeJson({ n: Object(2 ** 63) }), '{"n":9.223372036854776e+18}');
});

test('NaN and ±Infinity are refused with their path', () => {
  const cases = [
    [{ requestData: { list: [1, 2, NaN] } }, 'requestData.list[2] is NaN, which JSON cannot carry'],
    [{ data: { 'a b': Infinity } }, 'data["a b"] is Infinity, which JSON cannot carry'],
    [{ name: -Infinity }, 'name is -Infinity, which JSON cannot carry'],
    [{ x: { toJSON: () => NaN } }, 'x is NaN, which JSON cannot carry'],
    [{ x: [Object(NaN)] }, 'x[0] is NaN, which JSON cannot carry'],
    [NaN, '(the value) is NaN, which JSON cannot carry'],
  ];
  for (const [value, message] of cases) {
    assert.throws(() => encodeJson(value), { name: 'TypeError', message });
  }
  assert.throws(() => encodeJson(NaN, 'data'), {
    name: 'TypeError',
    message: 'data is NaN, which JSON cannot carry',
  });
});

test('a lone surrogate in a string or a key is refused with its path and position', () => {
  const cases = [
    [
      { requestData: { s: 'abc\uD800' } },
      'requestData.s holds a lone surrogate (U+D800 at index 3), which is not Unicode text',
    ],
    [
      { requestData: { list: ['ok', '𝄞', '\uDC00x'] } },
      'requestData.list[2] holds a lone surrogate (U+DC00 at index 0), which is not Unicode text',
    ],
    [{ t: '𝄞\uDBFF' }, 't holds a lone surrogate (U+DBFF at index 2), which is not Unicode text'],
    [
      { requestData: { 'k\uDFFF': 1 } },
      'the key requestData["k\\udfff"] holds a lone surrogate (U+DFFF at index 1), which is not Unicode text',
    ],
    [
      { a: [{ '\uD83D': null }] },
      'the key a[0]["\\ud83d"] holds a lone surrogate (U+D83D at index 0), which is not Unicode text',
    ],
  ];
  for (const [value, message] of cases) {
    assert.throws(() => encodeJson(value), { name: 'TypeError', message });
  }
  // A member left out is not written, so its key is not checked.
  assert.equal(encodeJson({ '\uD800': undefined, ok: '😀' }), '{"ok":"😀"}');
});

test('a BigInt and a cycle are refused with their path', () => {
  assert.throws(() => encodeJson({ data: { n: 1n } }), {
    name: 'TypeError',
    message: 'data.n is a BigInt, which JSON cannot carry',
  });
  const loop = { list: [] };
  loop.list.push({ back: loop });
  assert.throws(() => encodeJson({ requestData: loop }), {
    name: 'TypeError',
    message: 'requestData.list[0].back contains itself (a cycle), which JSON cannot carry',
  });
  // The same object twice, side by side, is no cycle.
  const shared = { a: 1 };
  assert.equal(encodeJson([shared, shared]), '[{"a":1},{"a":1}]');
});

test("100,000 levels of nesting are written with the walk's own stack", () => {
  const depth = 100_000;
  let arrays = [];
  const rootArrays = arrays;
  for (let i = 1; i < depth; i += 1) {
    const inner = [];
    arrays.push(inner);
    arrays = inner;
  }
  // (Compared as booleans: a failing assertion would print both 200,000-byte texts.)
  assert.ok(encodeJson(rootArrays) === '['.repeat(depth) + ']'.repeat(depth));
  let objects = {};
  const rootObjects = objects;
  for (let i = 1; i < depth; i += 1) objects = objects.o = {};
  objects.n = 2 ** 63;
  const expected = '{"o":'.repeat(depth - 1) + '{"n":9.223372036854776e+18' + '}'.repeat(depth);
  assert.ok(encodeJson(rootObjects) === expected);
  arrays.push(NaN);
  assert.throws(
    () => encodeJson(rootArrays, 'deep'),
    (error) => {
      assert.equal(error.name, 'TypeError');
      assert.ok(error.message === `deep${'[0]'.repeat(depth)} is NaN, which JSON cannot carry`);
      return true;
    },
  );
});

const setup = () => createFakeBridge();

test('the verbs refuse a value before anything is sent, naming it from their own members', async () => {
  const { transport, bridge } = setup();
  const refusals = [
    [() => bridge.connect(NaN), 'name is NaN, which JSON cannot carry'],
    [
      () => bridge.disconnect('\uD800'),
      'name holds a lone surrogate (U+D800 at index 0), which is not Unicode text',
    ],
    [
      () => bridge.request('viewer', { uri: '/x', requestData: { list: [0, 1, Infinity] } }),
      'requestData.list[2] is Infinity, which JSON cannot carry',
    ],
    [
      () => bridge.request('viewer', { uri: '/x', settings: { s: 'a\uDC00' } }),
      'settings.s holds a lone surrogate (U+DC00 at index 1), which is not Unicode text',
    ],
    [
      () => bridge.customTask('viewer', { type: 'render', data: { x: -Infinity } }),
      'data.x is -Infinity, which JSON cannot carry',
    ],
    [
      () => bridge.subscribe('viewer', 'progress', () => {}, { target: '\uDBFF' }),
      'target holds a lone surrogate (U+DBFF at index 0), which is not Unicode text',
    ],
    [
      () => bridge.subscribe('viewer', '\uDFFF', () => {}),
      'type holds a lone surrogate (U+DFFF at index 0), which is not Unicode text',
    ],
  ];
  for (const [call, message] of refusals) {
    await assert.rejects(call(), { name: 'TypeError', message });
  }
  assert.deepEqual(transport.calls, []);
  assert.equal(transport.streamOpen, false);
});

test('the verbs write wide integers in exponent form; call and exchange send texts as given', async () => {
  const { transport, bridge } = setup();
  const ok = '{"error":null,"value":{"data":null,"statuscode":200}}';
  transport.on('ZarvoApplicationBridge', 'post', rawAnswer(200, ok));
  await bridge.request('viewer', {
    uri: '/x',
    requestData: { big: 2 ** 63, small: 2 ** 53, huge: 1e21 },
  });
  await bridge.connect(2 ** 64);
  await bridge.call('ZarvoApplicationBridge', 'post', {
    parameters: '{"name":"viewer"}',
    body: '{"n":9223372036854775808,"s":"\uD800"}',
  });
  await bridge.exchange('ZarvoApplicationBridge', {
    options: '{"method":"post"}',
    body: '{"n":NaN}',
  });
  assert.equal(
    transport.calls[0].texts.body,
    '{"uri":"/x","requestData":{"big":9.223372036854776e+18,"small":9007199254740992,"huge":1e+21}}',
  );
  assert.equal(transport.calls[1].texts.parameters, '{"name":1.8446744073709552e+19}');
  assert.equal(transport.calls[2].texts.body, '{"n":9223372036854775808,"s":"\uD800"}');
  assert.equal(transport.calls[3].texts.body, '{"n":NaN}');
});

test('dates: the standard ones as JSON.stringify writes them, a date with its own toJSON checked', () => {
  const dates = {
    valid: new Date(Date.UTC(2026, 10, 23)),
    invalid: new Date(NaN),
    list: [new Date(0)],
  };
  assert.equal(encodeJson(dates), JSON.stringify(dates));
  assert.equal(
    encodeJson(dates),
    '{"valid":"2026-11-23T00:00:00.000Z","invalid":null,"list":["1970-01-01T00:00:00.000Z"]}',
  );
  const own = new Date(0);
  own.toJSON = () => NaN;
  assert.throws(() => encodeJson({ data: { when: own } }), {
    message: 'data.when is NaN, which JSON cannot carry',
  });
  const iso = new Date(0);
  iso.toISOString = () => '\uD800';
  assert.throws(() => encodeJson({ when: iso }), {
    message: 'when holds a lone surrogate (U+D800 at index 0), which is not Unicode text',
  });
});

test('one value to rewrite deep in a large payload: the rest is written as JSON.stringify writes it', () => {
  const list = [];
  for (let i = 0; i < 2000; i += 1)
    list.push({ id: i, tags: ['a', i], at: new Date(i), nested: { x: [i, { y: 'ü' }] } });
  list[1234].nested.x[1].y = 2 ** 64;
  const value = { uri: '/x', requestData: { list, after: [1, 2, { z: null }] } };
  const expected = JSON.stringify(value).replace(
    '"y":18446744073709552000',
    '"y":1.8446744073709552e+19',
  );
  assert.notEqual(expected, JSON.stringify(value));
  assert.equal(encodeJson(value), expected);
});
