// Example page: connect the viewer, open and save a document, render pages, follow progress.
// Copy it as a start; only '/zarvo/zarvo.js' is part of the product, '/zarvo/simulator.js' is the
// development server's test control and is used by the "Test controls" section alone.
import { openBridge, BridgeError, TransportError } from '/zarvo/zarvo.js';
import { raise, reportLostConnection } from '/zarvo/simulator.js';

const APP = 'viewer';
const bridge = openBridge();
const $ = (id) => document.getElementById(id);
let unsubscribe = null;

function say(text) {
  $('status').textContent = text;
  $('error').hidden = true;
}

// BridgeError: the plug-in refused (its name, status and message); TransportError: the call
// did not get through (the host's code). Both messages are meant to be shown.
function fail(error) {
  let text;
  if (error instanceof BridgeError) text = `${error.name} (${error.status}): ${error.message}`;
  else if (error instanceof TransportError)
    text = `${error.code} (${error.status}): ${error.message}`;
  else text = String(error?.message ?? error);
  $('status').textContent = 'The last step failed.';
  $('error').textContent = text;
  $('error').hidden = false;
}

// Runs one step; its errors are shown, never thrown away.
function step(id, event, action) {
  $(id).addEventListener(event, async (e) => {
    e.preventDefault();
    try {
      await action();
    } catch (error) {
      fail(error);
    }
  });
}

step('connect', 'click', async () => {
  await bridge.connect(APP);
  say('Viewer connected.');
});

step('open-form', 'submit', async () => {
  const { data, statuscode } = await bridge.request(APP, {
    uri: '/document/open',
    requestData: { path: $('path').value },
  });
  // The viewer's own status is part of its answer, not an error of the call.
  if (statuscode !== 200) say(`The viewer could not open it: ${data.error} (${statuscode}).`);
  else say(`Opened ${$('path').value}: ${data.pages} pages.`);
});

step('save', 'click', async () => {
  const { data, statuscode } = await bridge.request(APP, {
    uri: '/document/save',
    settings: { overwrite: true },
  });
  if (statuscode !== 200) say(`The viewer could not save: ${data.error} (${statuscode}).`);
  else say('Saved.');
});

step('render-form', 'submit', async () => {
  const pages = $('pages')
    .value.split(',')
    .map((p) => Number(p.trim()))
    .filter(Number.isInteger);
  const { data, type } = await bridge.customTask(APP, { type: 'render', data: { pages } });
  say(`Render ${type}: ${data.pages} pages.`);
});

function showProgress(event, { id }) {
  const percent = event.data?.percent;
  if (typeof percent === 'number') $('progress-bar').value = percent;
  const item = document.createElement('li');
  item.textContent = `#${id} ${event.type} ${JSON.stringify(event.data)}`;
  $('progress-events').append(item);
}

step('subscribe', 'click', async () => {
  unsubscribe = await bridge.subscribe(APP, 'progress', showProgress);
  $('subscribe').disabled = true;
  $('unsubscribe').disabled = false;
  say('Following progress.');
});

step('unsubscribe', 'click', async () => {
  const stop = unsubscribe;
  unsubscribe = null;
  $('subscribe').disabled = false;
  $('unsubscribe').disabled = true;
  await stop?.();
  say('Stopped following progress.');
});

step('disconnect', 'click', async () => {
  await bridge.disconnect(APP);
  unsubscribe = null;
  $('subscribe').disabled = false;
  $('unsubscribe').disabled = true;
  say('Viewer disconnected.');
});

// A restarted host holds no connection and no subscription of this page any more.
bridge.onState((state) => {
  if (state !== 'restarted') return;
  unsubscribe = null;
  $('subscribe').disabled = false;
  $('unsubscribe').disabled = true;
  fail(new Error('The host restarted: connect the viewer again.'));
});

bridge.onGap((gap) =>
  fail(new Error(`${gap.lost} progress events were lost (${gap.first} to ${gap.last}).`)),
);

// Test controls (development server only).
step('raise', 'click', async () => {
  for (const percent of [25, 50, 100]) await raise(APP, 'progress', JSON.stringify({ percent }));
  say('Raised three progress events.');
});

step('lose', 'click', async () => {
  await reportLostConnection(APP);
  say("The viewer's connection was reported lost; disconnect it before connecting again.");
});
