// Run with --max-request 1000 --event-buffer 4096. The request limit comes from the command line;
// a page that does not read while events pile up gets one eventsReady and, when it reads, a gap
// report naming the events the bounded buffer dropped, then the ones it still holds.
import { channelObjects, invoke, show } from './channel.js';
import { say, until, finish } from './report.js';

const BUFFER = 4096;
const OVERHEAD = 64;  // what each event costs the buffer besides its text

let zarvo;
let simulator;
const signals = [];

async function requestLimit() {
  say('hello limits', show((await invoke(zarvo, 'hello')).limits));
  const texts = ['{"method":"post"}', '{"name":"viewer"}', ''];
  const fixed = texts.join('').length;
  const exact = await invoke(zarvo, 'call', 'ZarvoApplication', ...texts, ' '.repeat(1000 - fixed));
  say('1000 bytes', exact.hostError ? show(exact) : `plug-in answered ${exact.status}`);
  say('1001 bytes', show(await invoke(zarvo, 'call', 'ZarvoApplication', ...texts,
    ' '.repeat(1001 - fixed))));
}

async function gap() {
  const start = (await invoke(zarvo, 'readEvents', null)).first - 1;
  await invoke(zarvo, 'call', 'ZarvoApplicationEvent', '{"method":"post"}',
    '{"name":"viewer","type":"progress"}', '', '');
  const payload = JSON.stringify({ n: 'z'.repeat(80) });
  const raise = () => invoke(simulator, 'raise',
    JSON.stringify({ app: 'viewer', type: 'progress', payload, count: 100 }));
  say('raise', show(await raise()));
  await until(() => signals.length === 1);
  say('raise again without reading', show(await raise()));
  // Let any further signal arrive before counting them: a round trip through the host.
  await invoke(zarvo, 'hello');
  say('signals while not reading', signals.length, 'newest', signals[0]);

  const batch = await invoke(zarvo, 'readEvents', start);
  const size = batch.texts[0].length;
  const held = Math.floor(BUFFER / (size + OVERHEAD));
  say('gap', show(batch.gap), 'first', batch.first, 'texts', batch.texts.length);
  say('held as the budget says', batch.texts.length === held,
    'gap ends before first', batch.gap.last + 1 === batch.first,
    'last is newest', batch.first + batch.texts.length - 1 === start + 200);
  say('read again', show({ ...(await invoke(zarvo, 'readEvents', start + 200)), instance: '-' }));
  say('read from the gap again', show((await invoke(zarvo, 'readEvents', 5)).gap));
}

(async () => {
  try {
    ({ zarvo, zarvoSimulator: simulator } = await channelObjects());
    zarvo.eventsReady.connect((newest) => signals.push(newest));
    await requestLimit();
    await invoke(zarvo, 'call', 'ZarvoApplication', '{"method":"post"}', '{"name":"viewer"}', '', '');
    await gap();
  } catch (error) {
    say('unexpected', error?.stack ?? error);
  }
  finish();
})();
