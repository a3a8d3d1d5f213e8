// The channel object "zarvo" and "zarvoSimulator" as a page client sees them, with Qt's
// qwebchannel.js and nothing else: hello, the shapes of call and teardown answers, the request
// size limit (UTF-8 bytes of the four texts), readEvents with eventsReady, and every error text of
// the simulator controls. Run with the default limits.
import { channelObjects, invoke, show } from './channel.js';
import { say, until, finish } from './report.js';

const MiB = 1024 * 1024;
const LIMIT = 16 * MiB;
const connectViewer = ['{"method":"post"}', '{"name":"viewer"}'];

let zarvo;
let simulator;
const signals = [];

async function hello() {
  const answer = await invoke(zarvo, 'hello');
  say('hello instance', /^[0-9a-f]{16}$/.test(answer.instance), 'limits', show(answer.limits),
    'protocol', answer.protocol);
  return answer.instance;
}

async function calls() {
  say('connect', show(await invoke(zarvo, 'call', 'ZarvoApplication', ...connectViewer, '', '')));
  say('unknown resource', show(await invoke(zarvo, 'call', 'ZarvoNothing', '', '', '', '')));
  say('call log', show(await invoke(simulator, 'callLog', '0')));
}

// Calls ZarvoApplicationBridge for "viewer" with `body`; the answer's status or host error.
async function sized(label, texts) {
  const answer = await invoke(zarvo, 'call', 'ZarvoApplicationBridge', ...texts);
  say(label, answer.hostError ? show(answer) : `plug-in answered ${answer.status}`);
}

async function sizeLimit() {
  const fixed = connectViewer.join('').length;  // ASCII: one byte per character
  await sized('exactly the limit', [...connectViewer, '', 'x'.repeat(LIMIT - fixed)]);
  await sized('one byte over', [...connectViewer, '', 'x'.repeat(LIMIT - fixed + 1)]);
  // "é" is two UTF-8 bytes but one UTF-16 unit: the limit counts bytes.
  const half = (LIMIT - fixed) / 2;
  await sized('limit in two-byte characters', [...connectViewer, '', 'é'.repeat(half)]);
  await sized('two bytes over in two-byte characters', [...connectViewer, '', 'é'.repeat(half + 1)]);
  // Each text is under the limit; together they are over it.
  const quarter = 'x'.repeat(LIMIT / 4);
  await sized('four texts together over', [quarter, quarter, quarter, `${quarter}x`]);
  await sized('64 MiB', [...connectViewer, '', 'x'.repeat(64 * MiB)]);
  say('after 64 MiB', show(await invoke(zarvo, 'call', 'ZarvoApplication', '{"method":"post"}',
    '{"name":"printer"}', '', '')));
}

async function readEvents(instance) {
  say('read from now', show({ ...(await invoke(zarvo, 'readEvents', null)), instance: '-' }));
  say('subscribe', show(await invoke(zarvo, 'call', 'ZarvoApplicationEvent', '{"method":"post"}',
    '{"name":"viewer","type":"progress"}', '', '')));
  const raise = (count, payload) => invoke(simulator, 'raise',
    JSON.stringify({ app: 'viewer', type: 'progress', payload, count }));
  say('raise', show(await raise(3, '{"step":1}')));
  await until(() => signals.length === 1);
  say('eventsReady', show(signals));
  const all = await invoke(zarvo, 'readEvents', 0);
  say('read after 0', all.instance === instance, show({ ...all, instance: '-' }));
  say('read after 2', show({ ...(await invoke(zarvo, 'readEvents', 2)), instance: '-' }));
  say('read after 3', show({ ...(await invoke(zarvo, 'readEvents', 3)), instance: '-' }));
  say('read after 99', show({ ...(await invoke(zarvo, 'readEvents', 99)), instance: '-' }));
  say('read undefined', show({ ...(await invoke(zarvo, 'readEvents', undefined)), instance: '-' }));
  for (const after of [-1, 1.5, '3', true, 9007199254740992, {}]) {
    say('read after', JSON.stringify(after), show(await invoke(zarvo, 'readEvents', after)));
  }
}

// 2000 events of 100-byte payloads come back in batches of at most about 64 KiB of text, in
// order, each id once; a reader that reads once per eventsReady gets them all.
async function batches() {
  const before = signals.length;
  const payload = JSON.stringify({ fill: 'y'.repeat(88) });
  await invoke(simulator, 'raise', JSON.stringify({ app: 'viewer', type: 'progress', payload,
    count: 2000 }));
  let position = 3;
  let reads = 0;
  let largest = 0;
  let ordered = true;
  while (position < 2003) {
    const seen = signals.length;
    await until(() => signals.length > seen || reads === 0);
    const batch = await invoke(zarvo, 'readEvents', position);
    reads += 1;
    ordered &&= batch.first === position + 1 && batch.gap === null;
    largest = Math.max(largest, batch.texts.reduce((sum, text) => sum + text.length, 0));
    position = batch.first + batch.texts.length - 1;
  }
  say('batches: all read', position === 2003, 'in order', ordered, 'reads', reads,
    'largest batch within 64 KiB', largest <= 65536 && largest > 65536 - 200,
    'one signal per read at most', signals.length - before <= reads + 1);
}

async function controls() {
  const control = async (method, arg) =>
    say(method, JSON.stringify(arg), show(await invoke(simulator, method, arg)));
  for (const body of ['not json', '[]', '{"app":"viewer","type":"t","nope":1}', '{"type":"t"}',
    '{"app":"","type":"t"}', '{"app":"viewer","type":""}', '{"app":"viewer","type":"t","payload":5}',
    '{"app":"viewer","type":"t","count":0}', '{"app":"viewer","type":"t","count":1000001}',
    '{"app":"viewer","type":"t","count":1.5}', '{"app":"viewer","type":"t","count":"2"}',
    '{"app":"scanner","type":"t"}', '{"app":"viewer","type":"other","payload":"7","count":2}']) {
    await control('raise', body);
  }
  for (const body of ['', '{}', '{"app":7}', '{"app":"scanner"}', '{"app":"printer"}']) {
    await control('reportLostConnection', body);
  }
  for (const from of ['x', '-1', '', '1e3', '99999999999999999999999']) {
    await control('callLog', from);
  }
  const text = await invoke(simulator, 'applicationsText');
  say('applicationsText', text.ok, JSON.parse(text.value).applications.viewer !== undefined);
}

async function hostile() {
  // Registered objects are not the page's to delete; the channel ignores the request.
  zarvo.deleteLater();
  simulator.deleteLater();
  say('after deleteLater', show(await invoke(zarvo, 'hello')).length > 0,
    (await invoke(simulator, 'callLog', '0')).ok);
}

async function teardown() {
  say('teardown', show(await invoke(zarvo, 'teardown')));
  say('after teardown', show(await invoke(zarvo, 'call', 'ZarvoApplicationCustom',
    '{"method":"post"}', '{"name":"printer"}', '', '{"type":"print"}')));
}

(async () => {
  try {
    ({ zarvo, zarvoSimulator: simulator } = await channelObjects());
    zarvo.eventsReady.connect((newest) => signals.push(newest));
    const instance = await hello();
    await calls();
    await sizeLimit();
    await readEvents(instance);
    await batches();
    await controls();
    await hostile();
    await teardown();
  } catch (error) {
    say('unexpected', error?.stack ?? error);
  }
  finish();
})();
