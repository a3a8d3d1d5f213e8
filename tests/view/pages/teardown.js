// Connects three applications, subscribes to a timed event that keeps flowing and queues a
// burst of raised events, then ends while all of that is live: with window.close() (data-end
// "close") or by waiting for the test to send SIGTERM (data-end "wait").
import { openBridge } from '/zarvo/zarvo.js';
import { createSimulator } from '/zarvo/simulator.js';
import { say, until } from './report.js';

const bridge = openBridge();
const simulator = createSimulator();

(async () => {
  let ticks = 0;
  for (const name of ['viewer', 'printer', 'ticker']) await bridge.connect(name);
  await bridge.subscribe('ticker', 'tick', () => { ticks += 1; });
  await bridge.subscribe('viewer', 'progress', () => {});
  await until(() => ticks >= 20);
  simulator.raise('viewer', 'progress', '{"percent":1}', { count: 5000 });
  say('events flowing');
  if (document.body.dataset.end === 'close') window.close();
})().catch((error) => say('unexpected', error?.stack ?? error));
