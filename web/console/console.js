// The bridge console: connect applications, compose calls and see their exact texts, watch the
// event stream, drive the simulator and read the library's call log. Written with the page
// client; calls go through bridge.exchange so the texts shown are the texts sent and received.
import { openBridge, RESOURCES } from '/zarvo/zarvo.js';
import { createSimulator } from '/zarvo/simulator.js';

const bridge = openBridge();
const simulator = createSimulator();
const $ = (id) => document.getElementById(id);
const MAX_EVENTS_SHOWN = 500;

function element(tag, props = {}, ...children) {
  const node = document.createElement(tag);
  for (const [key, value] of Object.entries(props)) {
    if (key === 'class') node.className = value;
    else if (key.startsWith('aria-') || key.startsWith('data-')) node.setAttribute(key, value);
    else node[key] = value;
  }
  node.append(...children);
  return node;
}

// ---- Calls: every call is shown with its four texts and the answer --------------------------

async function send(resource, texts) {
  const started = performance.now();
  let answer;
  let failure;
  try {
    answer = await bridge.exchange(resource, texts);
  } catch (error) {
    failure = error;
  }
  const ms = performance.now() - started;
  showCall(resource, texts, answer, failure, ms);
  if ($('log-auto').checked) refreshLog();
  if (failure) throw failure;
  return answer;
}

function showCall(resource, texts, answer, failure, ms) {
  const method = methodOf(texts.options);
  const list = element('dl', { class: 'texts' });
  for (const key of ['options', 'parameters', 'extra', 'body']) {
    const text = texts[key] ?? '';
    const shown =
      text === '' ? element('span', { class: 'muted' }, '(empty)') : element('code', {}, text);
    list.append(element('dt', {}, key), element('dd', {}, shown));
  }
  const outcome = answer
    ? [
        element(
          'span',
          { class: `status status-${answer.status === 200 ? 'ok' : 'error'}` },
          String(answer.status),
        ),
        ` promise ${answer.promise} · ${ms.toFixed(1)} ms`,
      ]
    : [
        element('span', { class: 'status status-error' }, failure.code ?? 'error'),
        ` ${failure.message}`,
      ];
  const item = element(
    'li',
    { class: 'call' },
    element('h3', {}, `${resource} ${method}`),
    list,
    element('p', { class: 'answer' }, 'Answer: ', ...outcome),
  );
  if (answer)
    item.append(element('pre', { class: 'envelope', 'aria-label': 'Answer text' }, answer.text));
  $('call-list').prepend(item);
}

function methodOf(optionsText) {
  try {
    return String(JSON.parse(optionsText).method ?? 'get');
  } catch {
    return '(no method)';
  }
}

// ---- Applications ----------------------------------------------------------------------------

const appState = new Map(); // name -> text shown in the State column

function setAppState(name, state) {
  appState.set(name, state);
  const cell = document.querySelector(`[data-state-of="${CSS.escape(name)}"]`);
  if (cell) {
    cell.textContent = state;
    cell.dataset.state = state;
  }
}

async function connectApp(name, method) {
  const answer = await send('ZarvoApplication', {
    options: JSON.stringify({ method }),
    parameters: JSON.stringify({ name }),
  }).catch(() => null);
  if (answer?.status === 200) setAppState(name, method === 'post' ? 'connected' : 'not connected');
}

function describe(app) {
  const parts = [];
  const requests = Object.keys(app.requests ?? {});
  const tasks = Object.keys(app.tasks ?? {});
  const events = (app.events ?? []).map((e) => e.type);
  if (requests.length) parts.push(`requests ${requests.join(', ')}`);
  if (tasks.length) parts.push(`tasks ${tasks.join(', ')}`);
  if (events.length) parts.push(`events ${events.join(', ')}`);
  return parts.join(' · ') || 'answers nothing in particular';
}

async function loadApplications() {
  const rows = $('app-rows');
  let description;
  try {
    description = await simulator.applications();
  } catch (error) {
    rows.replaceChildren(
      element('tr', {}, element('td', { colSpan: 4 }, `Could not load: ${error.message}`)),
    );
    return;
  }
  const apps = Object.entries(description.applications ?? {});
  rows.replaceChildren();
  for (const [name, app] of apps) {
    if (!appState.has(name)) appState.set(name, 'not connected');
    const connect = element(
      'button',
      { type: 'button', 'aria-label': `Connect ${name}` },
      'Connect',
    );
    const disconnect = element(
      'button',
      { type: 'button', 'aria-label': `Disconnect ${name}` },
      'Disconnect',
    );
    connect.addEventListener('click', () => connectApp(name, 'post'));
    disconnect.addEventListener('click', () => connectApp(name, 'delete'));
    rows.append(
      element(
        'tr',
        {},
        element('th', { scope: 'row' }, name),
        element(
          'td',
          { 'data-state-of': name, 'data-state': appState.get(name) },
          appState.get(name),
        ),
        element('td', { class: 'muted' }, describe(app)),
        element('td', { class: 'actions' }, connect, ' ', disconnect),
      ),
    );
    $('app-names').append(element('option', { value: name }));
  }
}

$('teardown').addEventListener('click', async () => {
  const started = performance.now();
  try {
    await bridge.teardown();
    for (const name of appState.keys()) setAppState(name, 'not connected');
    $('sim-status').textContent = `TearDown done in ${(performance.now() - started).toFixed(1)} ms`;
  } catch (error) {
    $('sim-status').textContent = `TearDown failed: ${error.message}`;
  }
  refreshLog();
});

// ---- Compose ---------------------------------------------------------------------------------

const RESOURCE_OF = {
  bridge: 'ZarvoApplicationBridge',
  custom: 'ZarvoApplicationCustom',
  subscribe: 'ZarvoApplicationEvent',
  unsubscribe: 'ZarvoApplicationEvent',
};

function showFieldsOf(kind) {
  for (const row of document.querySelectorAll('[data-kinds]')) {
    row.hidden = !row.dataset.kinds.split(' ').includes(kind);
  }
}

// A JSON field: empty leaves the member out; anything else must parse.
function jsonField(id, label) {
  const text = $(id).value.trim();
  if (text === '') return undefined;
  try {
    return JSON.parse(text);
  } catch (error) {
    throw new Error(`${label} is not JSON: ${error.message}`, { cause: error });
  }
}

function optional(id) {
  const text = $(id).value;
  return text === '' ? undefined : text;
}

function composeTexts(kind) {
  if (kind === 'raw') {
    const texts = {};
    for (const key of ['options', 'parameters', 'extra', 'body'])
      texts[key] = $(`text-${key}`).value;
    return [$('resource').value, texts];
  }
  const name = $('app-name').value;
  const target = optional('target');
  if (kind === 'bridge') {
    const body = {
      uri: $('uri').value,
      requestData: jsonField('request-data', 'Request data'),
      settings: jsonField('settings', 'Settings'),
      target,
    };
    return [
      RESOURCE_OF[kind],
      {
        options: '{"method":"post"}',
        parameters: JSON.stringify({ name }),
        body: JSON.stringify(body),
      },
    ];
  }
  if (kind === 'custom') {
    const body = { type: $('type').value, data: jsonField('task-data', 'Task data'), target };
    return [
      RESOURCE_OF[kind],
      {
        options: '{"method":"post"}',
        parameters: JSON.stringify({ name }),
        body: JSON.stringify(body),
      },
    ];
  }
  const method = kind === 'subscribe' ? 'post' : 'delete';
  return [
    RESOURCE_OF[kind],
    {
      options: JSON.stringify({ method }),
      parameters: JSON.stringify({ name, type: $('type').value }),
      body: target === undefined ? '' : JSON.stringify({ target }),
    },
  ];
}

$('kind').addEventListener('change', () => showFieldsOf($('kind').value));
$('compose-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  const kind = $('kind').value;
  const status = $('compose-status');
  let resource;
  let texts;
  try {
    [resource, texts] = composeTexts(kind);
  } catch (error) {
    status.textContent = error.message;
    return;
  }
  status.textContent = 'Sending…';
  try {
    // The stream is open before a subscribe is sent, so the first event is not missed.
    if (kind === 'subscribe') await bridge.open();
    const answer = await send(resource, texts);
    status.textContent = `Answered ${answer.status}`;
  } catch (error) {
    status.textContent = `Not carried: ${error.message}`;
  }
});

// ---- Events ----------------------------------------------------------------------------------

let pausedEvents = [];
let eventTotal = 0;

function eventMatches(item) {
  const filter = $('event-filter').value.trim().toLowerCase();
  return filter === '' || item.dataset.text.toLowerCase().includes(filter);
}

function addEventItem(item) {
  const list = $('event-list');
  item.hidden = !eventMatches(item);
  list.prepend(item);
  while (list.children.length > MAX_EVENTS_SHOWN) list.lastElementChild.remove();
}

function showEvent(item) {
  eventTotal += 1;
  if ($('event-pause').checked) pausedEvents.push(item);
  else addEventItem(item);
  updateEventCount();
}

function updateEventCount() {
  const waiting = pausedEvents.length ? `, ${pausedEvents.length} waiting (paused)` : '';
  $('event-count').textContent = `${eventTotal} event${eventTotal === 1 ? '' : 's'}${waiting}`;
}

bridge.onEvent((event, { id }) => {
  const data = JSON.stringify(event.data);
  const item = element(
    'li',
    { class: 'event' },
    element('span', { class: 'event-id' }, `#${id}`),
    ' ',
    element('strong', {}, `${event.app} · ${event.type}`),
    ' ',
    element('code', {}, data),
  );
  item.dataset.text = `${event.app} ${event.type} ${data}`;
  showEvent(item);
});

bridge.onGap((gap) => {
  const text = `Gap: events ${gap.first} to ${gap.last} were lost (${gap.lost})`;
  const item = element('li', { class: 'event gap' }, element('strong', {}, text));
  item.dataset.text = text;
  showEvent(item);
});

bridge.onInvalidEvent(({ id, text }) => {
  const shown = `Event #${id} is not an event: ${text}`;
  const item = element('li', { class: 'event gap' }, element('strong', {}, shown));
  item.dataset.text = shown;
  showEvent(item);
});

bridge.onState((state) => {
  $('stream-state').textContent = state;
  $('stream-state').dataset.state = state;
});

$('event-filter').addEventListener('input', () => {
  for (const item of $('event-list').children) item.hidden = !eventMatches(item);
});
$('event-pause').addEventListener('change', () => {
  if ($('event-pause').checked) return;
  for (const item of pausedEvents) addEventItem(item);
  pausedEvents = [];
  updateEventCount();
});
$('event-clear').addEventListener('click', () => {
  $('event-list').replaceChildren();
  pausedEvents = [];
  eventTotal = 0;
  updateEventCount();
});

// ---- Simulator -------------------------------------------------------------------------------

async function simulate(action, describeResult) {
  const status = $('sim-status');
  try {
    status.textContent = describeResult(await action());
  } catch (error) {
    status.textContent = `${error.code ?? 'Error'}: ${error.message}`;
  }
  if ($('log-auto').checked) refreshLog();
}

$('raise-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const count = Number($('raise-count').value);
  simulate(
    () =>
      simulator.raise($('raise-app').value, $('raise-type').value, $('raise-payload').value, {
        count,
      }),
    (answer) => `Raised ${answer.raised}`,
  );
});

$('lost-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const name = $('lost-app').value;
  simulate(
    () => simulator.reportLostConnection(name),
    () => {
      if (appState.has(name)) setAppState(name, 'connection lost');
      return `Reported ${name}'s connection lost`;
    },
  );
});

// ---- Library call log ------------------------------------------------------------------------

let logNext = 0;
let logReading = null;
let logReadAgain = false;

// One read at a time; a refresh asked for during a read runs once that read is done, so entries
// made after the read started are not missed.
function refreshLog() {
  if (logReading) {
    logReadAgain = true;
    return logReading;
  }
  logReading = simulator
    .callLog({ from: logNext })
    .then(({ calls, next }) => {
      const list = $('log-list');
      for (const call of calls) list.append(element('li', {}, element('code', {}, call)));
      logNext = next;
    })
    .catch((error) => {
      $('log-list').append(
        element('li', { class: 'status-error' }, `Could not read: ${error.message}`),
      );
    })
    .finally(() => {
      logReading = null;
      if (logReadAgain) {
        logReadAgain = false;
        refreshLog();
      }
    });
  return logReading;
}

$('log-refresh').addEventListener('click', () => refreshLog());

// ---- Start -----------------------------------------------------------------------------------

for (const resource of RESOURCES)
  $('resource').append(element('option', { value: resource }, resource));
showFieldsOf($('kind').value);
loadApplications();
refreshLog();
bridge.open().catch((error) => {
  $('stream-state').textContent = `could not open: ${error.message}`;
});
