// The page's view of the bridge, measured from page script with openBridge(), so the same page
// runs in either runtime: tiny call round trips (p50/p99) and events per second into the page
// with none lost. Results go to the console as "bench <name> <value>" lines and to the page;
// the window closes at the end (zarvo_view then exits). Parameters come from the query string
// (calls, events) or the defaults below.
import { openBridge } from '/zarvo/zarvo.js';
import { createSimulator } from '/zarvo/simulator.js';

const query = new URLSearchParams(location.search);
const CALLS = Number(query.get('calls') ?? 2000);
const EVENTS = Number(query.get('events') ?? 100000);
const bridge = openBridge();
const simulator = createSimulator();
const lines = [];

function report(name, value) {
  const line = `bench ${name} ${value}`;
  lines.push(line);
  console.log(line);
  document.getElementById('out').textContent = lines.join('\n');
}

const percentile = (sorted, p) => sorted[Math.min(sorted.length - 1, Math.floor(sorted.length * p))];

async function roundTrips() {
  const texts = { options: '{"method":"post"}', parameters: '{"name":"viewer"}', body: '{"uri":"/ping"}' };
  for (let i = 0; i < 100; i += 1) await bridge.exchange('ZarvoApplicationBridge', texts);
  const times = [];
  for (let i = 0; i < CALLS; i += 1) {
    const started = performance.now();
    await bridge.exchange('ZarvoApplicationBridge', texts);
    times.push(performance.now() - started);
  }
  times.sort((a, b) => a - b);
  report('calls', CALLS);
  report('call_p50_us', Math.round(percentile(times, 0.5) * 1000));
  report('call_p99_us', Math.round(percentile(times, 0.99) * 1000));
}

async function eventRate() {
  let received = 0;
  let inOrder = true;
  let lastId = 0;
  let done;
  const all = new Promise((resolve) => { done = resolve; });
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
  report('events', EVENTS);
  report('events_received', received);
  report('events_in_order', inOrder);
  report('events_per_second', Math.round(EVENTS / seconds));
}

(async () => {
  try {
    await bridge.connect('viewer');
    await roundTrips();
    await eventRate();
    await bridge.disconnect('viewer');
  } catch (error) {
    report('error', String(error?.message ?? error));
  }
  window.close();
})();
