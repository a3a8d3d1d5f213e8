// The quick start of docs/pages.md, word for word: the same code runs in a browser under
// `zarvo_host serve --page examples/quick_start` and in `zarvo_view examples/quick_start/index.html`.
import { openBridge, BridgeError, TransportError } from '/zarvo/zarvo.js';

const bridge = openBridge(); // the WebSocket in a browser, the web channel in zarvo_view
const log = (line) => {
  document.querySelector('#log').append(`${line}\n`);
  console.log(line);
};

bridge.onState((state) => log(`stream ${state}`)); // open, reconnecting, restarted, closed
bridge.onGap(({ lost }) => log(`${lost} events lost`)); // never silently

try {
  await bridge.connect('viewer');
  const opened = await bridge.request('viewer', {
    uri: '/document/open',
    requestData: { path: '/home/ada/report.pdf' },
  });
  log(`open: status ${opened.statuscode}, ${opened.data.pages} pages`);

  // The viewer raises three progress events once subscribed (examples/applications.json).
  let seen = 0;
  let allSeen = () => {};
  const three = new Promise((resolve) => (allSeen = resolve));
  const unsubscribe = await bridge.subscribe('viewer', 'progress', (event) => {
    log(`progress ${event.data.percent} %`);
    seen += 1;
    if (seen === 3) allSeen();
  });
  await three;
  await unsubscribe();
  await bridge.disconnect('viewer');
  log('done');
} catch (error) {
  if (error instanceof BridgeError) log(`the plug-in said no: ${error.name} ${error.message}`);
  else if (error instanceof TransportError) log(`not carried: ${error.code} ${error.message}`);
  else throw error;
} finally {
  document.documentElement.dataset.zarvoReady = 'true'; // for zarvo_view --screenshot
}
