// The page side of bench/page/socket_bench.mjs: a minimal client of the host's WebSocket protocol
// (docs/serve_protocol.md), written here so the figures do not wait for the page client's own
// WebSocket transport, and the measurements the driver calls through window.bench. Every figure
// is taken from page script with performance.now().

/** One socket of the protocol: calls by id, events to a listener. */
class ProtocolSocket {
  constructor(url) {
    this.url = url;
    this.nextId = 1;
    this.pending = new Map();
    this.onEvents = () => {};
    this.onGap = () => {};
    this.streaming = null;
  }

  /** Opens the socket; resolves with the hello. */
  open() {
    return new Promise((resolve, reject) => {
      this.ws = new WebSocket(this.url);
      this.ws.onerror = () => reject(new Error(`cannot open ${this.url}`));
      this.ws.onmessage = (message) => {
        const data = JSON.parse(message.data);
        if (data.op === 'hello') {
          this.ws.onmessage = (m) => this.receive(JSON.parse(m.data));
          resolve(data);
        }
      };
    });
  }

  receive(message) {
    switch (message.op) {
      case 'answer':
      case 'done':
      case 'error': {
        const settle = this.pending.get(message.id);
        this.pending.delete(message.id);
        settle?.(message);
        break;
      }
      case 'events':
        this.onEvents(message.first, message.texts);
        break;
      case 'gap':
        this.onGap(message);
        break;
      case 'streaming':
        this.streaming?.(message.after);
        break;
      default:
        break;
    }
  }

  /** A call; resolves with the "answer" (or "error") message. */
  call(resource, texts) {
    const id = this.nextId;
    this.nextId += 1;
    return new Promise((resolve) => {
      this.pending.set(id, resolve);
      this.ws.send(JSON.stringify({ op: 'call', id, resource, ...texts }));
    });
  }

  /** Starts event delivery from now; resolves once the host confirms the position. */
  events() {
    return new Promise((resolve) => {
      this.streaming = resolve;
      this.ws.send('{"op":"events"}');
    });
  }

  close() {
    this.ws.close();
  }
}

const TINY = { options: '{"method":"post"}', parameters: '{"name":"viewer"}', body: '{"uri":"/ping"}' };
const socketUrl = () => `ws://${location.host}/socket`;

function summary(times) {
  const sorted = [...times].sort((a, b) => a - b);
  const pick = (q) => sorted[Math.min(sorted.length - 1, Math.floor(q * sorted.length))];
  return { p50: pick(0.5), p99: pick(0.99), mean: times.reduce((a, b) => a + b, 0) / times.length };
}

/** Echo round trip of a text as large as a tiny call's message. */
function echoOnce(ws, text) {
  return new Promise((resolve) => {
    ws.onmessage = () => resolve();
    ws.send(text);
  });
}

async function openEcho(url) {
  const ws = new WebSocket(url);
  await new Promise((resolve, reject) => {
    ws.onopen = resolve;
    ws.onerror = () => reject(new Error(`cannot open ${url}`));
  });
  return ws;
}

/**
 * Tiny round trips, interleaved one by one so both see the same machine: the bare echo, a call
 * over the host's WebSocket, and the same call over HTTP fetch. Also the mean of a chain of
 * sequential round trips (finer than performance.now()'s 0.1 ms steps).
 */
async function roundTrips(echoUrl, calls) {
  const socket = new ProtocolSocket(socketUrl());
  await socket.open();
  await socket.call('ZarvoApplication', { options: '{"method":"post"}', parameters: '{"name":"viewer"}' });
  const echo = await openEcho(echoUrl);
  const echoText = JSON.stringify({ op: 'call', id: 123456, resource: 'ZarvoApplicationBridge', ...TINY });
  const fetchCall = () => fetch('/bridge/ZarvoApplicationBridge', {
    method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify(TINY),
  }).then((r) => r.text());
  const kinds = {
    echo: () => echoOnce(echo, echoText),
    socket: () => socket.call('ZarvoApplicationBridge', TINY),
    fetch: fetchCall,
  };
  const times = { echo: [], socket: [], fetch: [] };
  for (let i = 0; i < 500; i += 1) for (const run of Object.values(kinds)) await run();
  for (let i = 0; i < calls; i += 1) {
    for (const [name, run] of Object.entries(kinds)) {
      const t0 = performance.now();
      await run();
      times[name].push(performance.now() - t0);
    }
  }
  const chained = {};
  for (const [name, run] of Object.entries(kinds)) {
    const t0 = performance.now();
    for (let i = 0; i < calls; i += 1) await run();
    chained[name] = (performance.now() - t0) / calls;
  }
  echo.close();
  socket.close();
  const out = {};
  for (const name of Object.keys(kinds)) out[name] = { ...summary(times[name]), chainedMean: chained[name] };
  return out;
}

/**
 * Starts counting events on a new socket; window.counting resolves once the `count` events raised
 * after the confirmation were delivered or reported lost.
 */
async function countEvents(count) {
  const socket = new ProtocolSocket(socketUrl());
  await socket.open();
  let seen = 0;
  let next = 0;
  let outOfOrder = 0;
  let gaps = 0;
  let lost = 0;
  let done;
  let lastAt = 0;
  let end = Infinity;
  const finished = new Promise((resolve) => { done = resolve; });
  socket.onGap = (gap) => {
    gaps += 1;
    lost += gap.lost;
    next = gap.last + 1;
    if (next >= end) done();
  };
  socket.onEvents = (first, texts) => {
    if (first !== next) outOfOrder += 1;
    next = first + texts.length;
    seen += texts.length;
    lastAt = performance.now();
    if (next >= end) done();
  };
  const after = await socket.events();
  next = after + 1;
  end = after + 1 + count;
  window.counting = finished.then(() => {
    socket.close();
    return { seen, outOfOrder, gaps, lost, lastAt };
  });
  return true;
}

/** Subscribes viewer's `type` events in the plug-in (once per host). */
async function subscribe(type) {
  const socket = new ProtocolSocket(socketUrl());
  await socket.open();
  await socket.call('ZarvoApplication', { options: '{"method":"post"}', parameters: '{"name":"viewer"}' });
  const answer = await socket.call('ZarvoApplicationEvent', { options: '{"method":"post"}', parameters: `{"name":"viewer","type":"${type}"}` });
  socket.close();
  return answer.status;
}

/** Raises `count` events and measures how fast they reach a listener on this page. */
async function eventRate(count) {
  await subscribe('burst');
  await countEvents(count);
  const t0 = performance.now();
  const raised = await fetch('/simulator/raise', {
    method: 'POST', headers: { 'Content-Type': 'application/json' },
    body: JSON.stringify({ app: 'viewer', type: 'burst', payload: '{"n":1}', count }),
  });
  const result = await window.counting;
  return { ...result, raiseStatus: raised.status, seconds: (result.lastAt - t0) / 1000 };
}

/** `count` calls sent at once from this page; the time until the last answer. */
async function concurrentCalls(count) {
  const socket = new ProtocolSocket(socketUrl());
  await socket.open();
  for (let i = 0; i < 100; i += 1) await socket.call('ZarvoApplicationBridge', TINY);
  const t0 = performance.now();
  const answers = await Promise.all(Array.from({ length: count }, () => socket.call('ZarvoApplicationBridge', TINY)));
  const ms = performance.now() - t0;
  socket.close();
  return { ms, answered: answers.filter((a) => a.op === 'answer' && a.status === 200).length };
}

/** Calls one after the other for `ms` milliseconds; the slowest and the median round trip. */
async function callsDuring(ms) {
  const socket = new ProtocolSocket(socketUrl());
  await socket.open();
  const times = [];
  const end = performance.now() + ms;
  while (performance.now() < end) {
    const t0 = performance.now();
    await socket.call('ZarvoApplicationBridge', TINY);
    times.push(performance.now() - t0);
  }
  socket.close();
  const s = summary(times);
  return { calls: times.length, max: Math.max(...times), p50: s.p50, p99: s.p99 };
}

window.bench = { roundTrips, eventRate, concurrentCalls, countEvents, subscribe, callsDuring };
