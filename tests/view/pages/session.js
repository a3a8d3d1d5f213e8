// A whole page session in zarvo_view: calls, events, every error text, a lost connection, with
// the page client exactly as a page uses it (openBridge() picks the view's web channel).
import { openBridge } from '/zarvo/zarvo.js';
import { createSimulator } from '/zarvo/simulator.js';
import { say, outcome, until, finish } from './report.js';

const bridge = openBridge();
const simulator = createSimulator();

async function calls() {
  await outcome('connect viewer', bridge.connect('viewer'));
  await outcome('connect printer', bridge.connect('printer'));
  await outcome('open', bridge.request('viewer', {
    uri: '/document/open', requestData: { path: '/home/ada/report.pdf' } }));
  await outcome('save', bridge.request('viewer', { uri: '/document/save', settings: { overwrite: true } }));
  await outcome('unknown uri', bridge.request('viewer', { uri: '/document/close' }));
  await outcome('render', bridge.customTask('viewer', { type: 'render', data: { pages: [1, 2, 3] } }));
  await outcome('print', bridge.customTask('printer', { type: 'print', data: { copies: 2 } }));
  const raw = await bridge.exchange('ZarvoApplicationBridge', {
    options: '{"method":"post"}', parameters: '{"name":"viewer"}', body: '{"uri":"/document/save"}' });
  say('raw', raw.status, raw.text, typeof raw.promise, raw.promise > 0);
}

async function events() {
  const seen = [];
  const onWindow = (e) => say('window zarvoEvent', JSON.stringify(e.detail));
  window.addEventListener('zarvoEvent', onWindow);
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (event, { id }) => {
    seen.push(id);
    say('event', id, JSON.stringify(event));
  });
  // Events are pulled after the host signals them, so each raise waits for its events before the
  // next line is printed.
  await outcome('raise', simulator.raise('viewer', 'progress', '{"percent":25}'));
  await until(() => seen.length === 1);
  await outcome('raise', simulator.raise('viewer', 'progress', '{"percent":50}', { count: 2 }));
  await until(() => seen.length === 3);
  await outcome('raise', simulator.raise('viewer', 'other', '"not subscribed"'));
  await until(() => seen.length === 3);
  say('ids in order', seen.every((id, i) => i === 0 || id === seen[i - 1] + 1));
  await outcome('unsubscribe', unsubscribe());
  window.removeEventListener('zarvoEvent', onWindow);
}

async function errors() {
  await outcome('empty name', bridge.connect(''));
  await outcome('unknown app', bridge.request('scanner', { uri: '/scan' }));
  await outcome('get', bridge.call('ZarvoApplication', 'get', { parameters: '{"name":"viewer"}' }));
  await outcome('put', bridge.call('ZarvoApplicationBridge', 'put', { parameters: '{"name":"viewer"}' }));
  await outcome('disconnect without name', bridge.call('ZarvoApplication', 'delete', { parameters: '{}' }));
  await outcome('custom delete', bridge.call('ZarvoApplicationCustom', 'delete', { parameters: '{"name":"viewer"}' }));
  await outcome('connect again', bridge.connect('viewer'));
  await outcome('not described', bridge.connect('scanner'));
  await outcome('no uri', bridge.call('ZarvoApplicationBridge', 'post', { parameters: '{"name":"viewer"}', body: 'null' }));
  await outcome('no type', bridge.call('ZarvoApplicationEvent', 'post', { parameters: '{"name":"viewer"}' }));
  await outcome('task without type', bridge.customTask('viewer', { data: 1 }));
  await outcome('unknown task', bridge.customTask('viewer', { type: 'fly' }));
  await outcome('unsubscribe nothing', bridge.call('ZarvoApplicationEvent', 'delete', { parameters: '{"name":"viewer","type":"none"}' }));
  await outcome('unknown resource', bridge.exchange('ZarvoNothing', {}));
  await outcome('raise not connected', simulator.raise('scanner', 'progress'));
  await outcome('raise count', simulator.raise('viewer', 'progress', 'null', { count: 0 }));
  await outcome('lost not connected', simulator.reportLostConnection('scanner'));
}

async function lostConnection() {
  await outcome('lose printer', simulator.reportLostConnection('printer'));
  await outcome('print after loss', bridge.customTask('printer', { type: 'print' }));
  await outcome('connect printer while lost', bridge.connect('printer'));
  await outcome('disconnect printer', bridge.disconnect('printer'));
  await outcome('connect printer again', bridge.connect('printer'));
}

async function files() {
  // The page origin's files, read as a page reads them (fetch does not serve custom schemes).
  const status = (path) => new Promise((resolve) => {
    const request = new XMLHttpRequest();
    request.open('GET', path);
    request.onload = () => resolve(`${request.status} ${request.getResponseHeader('Content-Type')}`);
    request.onerror = () => resolve('refused');
    request.send();
  });
  say('file data.json', await status('/data.json'));
  say('file outside by ..', await status('/..%2fsecret.txt'));
  say('file outside by link', await status('/link.txt'));
  say('file missing', await status('/missing.js'));
  say('file qwebchannel.js', await status('/zarvo/qwebchannel.js'));
}

async function end() {
  const log = await simulator.callLog({ from: 0 });
  say('call log entries', log.next, log.calls.length === log.next);
  const described = await simulator.applications();
  say('applications', Object.keys(described.applications).join(','));
  await outcome('disconnect viewer', bridge.disconnect('viewer'));
  await outcome('disconnect viewer again', bridge.disconnect('viewer'));
  await outcome('teardown', bridge.teardown());
  await outcome('print after teardown', bridge.customTask('printer', { type: 'print' }));
}

(async () => {
  try {
    await calls();
    await events();
    await errors();
    await lostConnection();
    await files();
    await end();
  } catch (error) {
    say('unexpected', error?.stack ?? error);
  }
  finish();
})();
