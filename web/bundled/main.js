// A page bundled with esbuild: the client comes from its package name, as in a project of one's
// own. Runs in both reference hosts (openBridge picks the transport).
import { openBridge, BridgeError } from '@zarvo/bridge-client';

const bridge = openBridge();
const $ = (id) => document.getElementById(id);

async function run() {
  await bridge.connect('viewer');
  const { data } = await bridge.request('viewer', {
    uri: '/document/open',
    requestData: { path: '/home/ada/report.pdf' },
  });
  $('status').textContent = `Opened: ${data.pages} pages; following progress.`;
  const received = [];
  let done;
  const three = new Promise((resolve) => (done = resolve));
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (event, { id }) => {
    const item = document.createElement('li');
    item.textContent = `#${id} ${JSON.stringify(event.data)}`;
    $('events').append(item);
    received.push(event.data);
    if (received.length === 3) done();
  });
  await three;
  await unsubscribe();
  await bridge.disconnect('viewer');
  $('status').textContent =
    `Done: ${data.pages} pages, ${received.length} progress events, disconnected.`;
}

run()
  .catch((error) => {
    const what = error instanceof BridgeError ? `${error.name} (${error.status})` : error.name;
    $('error').textContent = `${what}: ${error.message}`;
    $('error').hidden = false;
    $('status').textContent = 'Failed.';
  })
  .finally(() => {
    // The outcome for a host without a visible window (zarvo_view --console --screenshot).
    console.log($('status').textContent);
    document.documentElement.dataset.zarvoReady = 'true';
  });
