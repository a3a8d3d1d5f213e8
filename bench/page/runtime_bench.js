// The page's view of the bridge, measured from page script through the client, so the same page
// runs in either runtime: tiny call round trips (p50/p99), eight callers at once, and events per
// second into a page listener with none lost. openBridge() picks the transport (the web channel in
// zarvo_view, the WebSocket in a browser); `?transport=http` in a browser measures the HTTP
// transport instead. Results go to the console as "bench <name> <value>" lines and to the page;
// the window closes at the end (zarvo_view then exits). Parameters come from the query string
// (calls, events, transport) or the defaults below.
import { httpTransport, openBridge } from '/zarvo/zarvo.js';
import { createSimulator } from '/zarvo/simulator.js';

const query = new URLSearchParams(location.search);
const CALLS = Number(query.get('calls') ?? 2000);
const EVENTS = Number(query.get('events') ?? 100000);
const CALLERS = 8;
const bridge = query.get('transport') === 'http' ? openBridge({ transport: httpTransport() }) : openBridge();
const simulator = createSimulator();
const lines = [];

function report(name, value) {
  const line = `bench ${name} ${value}`;
  lines.push(line);
  console.log(line);
  document.getElementById('out').textContent = lines.join('\n');
}

const percentile = (sorted, p) => sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * p))];
const texts = { options: '{"method":"post"}', parameters: '{"name":"viewer"}', body: '{"uri":"/ping"}' };
const tiny = () => bridge.exchange('ZarvoApplicationBridge', texts);

async function roundTrips() {
  for (let i = 0; i < 100; i += 1) await tiny();
  const times = [];
  for (let i = 0; i < CALLS; i += 1) {
    const started = performance.now();
    await tiny();
    times.push(performance.now() - started);
  }
  times.sort((a, b) => a - b);
  report('calls', CALLS);
  report('call_p50_us', Math.round(percentile(times, 0.5) * 1000));
  report('call_p99_us', Math.round(percentile(times, 0.99) * 1000));
}

async function concurrentCallers() {
  const each = Math.ceil(CALLS / CALLERS);
  const started = performance.now();
  await Promise.all(Array.from({ length: CALLERS }, async () => {
    for (let i = 0; i < each; i += 1) await tiny();
  }));
  report('concurrent_calls_per_second', Math.round((each * CALLERS) / ((performance.now() - started) / 1000)));
}

async function eventRate() {
  let received = 0;
  let inOrder = true;
  let lastId = 0;
  let gaps = 0;
  let done;
  const all = new Promise((resolve) => { done = resolve; });
  const stopGaps = bridge.onGap(() => { gaps += 1; });
  const unsubscribe = await bridge.subscribe('viewer', 'bench', (event, { id }) => {
    if (lastId !== 0 && id !== lastId + 1) inOrder = false;
    lastId = id;
    received += 1;
    if (received === EVENTS) done();
  });
  const started = performance.now();
  await simulator.raise('viewer', 'bench', '{"n":1}', { count: EVENTS });
  await all;
  const seconds = (performance.now() - started) / 1000;
  await unsubscribe();
  stopGaps();
  report('events', EVENTS);
  report('events_received', received);
  report('events_in_order', inOrder);
  report('events_gaps', gaps);
  report('events_per_second', Math.round(EVENTS / seconds));
}

(async () => {
  try {
    await bridge.connect('viewer');
    await roundTrips();
    await concurrentCallers();
    await eventRate();
    await bridge.disconnect('viewer');
  } catch (error) {
    report('error', String(error?.message ?? error));
  }
  report('done', true);
  window.close();
})();
