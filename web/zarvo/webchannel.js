// The transport of zarvo_view, the desktop web view: calls and events go through Qt's web
// channel to the host object "zarvo", and the simulator controls to "zarvoSimulator".
//
// The host calls the plug-in on its GUI thread and returns the answer of each call; events come
// as the host's `events(firstId, texts)` signal, numbered 1, 2, 3, ... in the order the plug-in
// dispatched them, and the host drops none, so this transport never reports a gap. Pages do not
// import this module themselves: `openBridge()` in zarvo.js picks it when the page runs in the
// view. Types: webchannel.d.ts.
import { TransportError } from './zarvo.js';

let objects = null;

// Qt's qwebchannel.js is a classic script that defines the global QWebChannel.
function loadQWebChannel() {
  if (typeof globalThis.QWebChannel === 'function') return Promise.resolve(globalThis.QWebChannel);
  return new Promise((resolve, reject) => {
    const script = document.createElement('script');
    script.src = new URL('./qwebchannel.js', import.meta.url).href;
    script.onload = () => resolve(globalThis.QWebChannel);
    script.onerror = () =>
      reject(new TransportError(0, 'NetworkError', `${script.src} could not be loaded`));
    (document.head ?? document.documentElement).append(script);
  });
}

/** True when the page runs inside zarvo_view (the host's web channel is there). */
export function inWebView() {
  return typeof globalThis.qt === 'object' && globalThis.qt?.webChannelTransport != null;
}

/** The host's channel objects, connected once per page. */
export function channelObjects() {
  objects ??= loadQWebChannel().then(
    (QWebChannel) =>
      new Promise((resolve) => {
        // eslint-disable-next-line no-new
        new QWebChannel(globalThis.qt.webChannelTransport, (channel) => resolve(channel.objects));
      }),
  );
  return objects;
}

// Invokes a host method; the host answers every invocation once, through the callback.
function invoke(object, method, ...args) {
  return new Promise((resolve) => object[method](...args, resolve));
}

function hostFailure(answer, what) {
  const failure = answer?.hostError ?? (answer?.ok === false ? answer : null);
  if (failure) return new TransportError(failure.status, failure.code, failure.message);
  if (answer === null || typeof answer !== 'object') {
    return new TransportError(0, 'NetworkError', `${what}: no answer from the host`);
  }
  return null;
}

/** The web-channel transport; resolves once the channel to the host is open. */
export async function webChannelTransport() {
  const { zarvo } = await channelObjects();
  if (!zarvo) throw new TransportError(0, 'NetworkError', 'the host offers no "zarvo" object');

  async function exchange(resource, texts) {
    const { options, parameters, extra, body } = texts;
    const answer = await invoke(zarvo, 'call', resource, options, parameters, extra, body);
    const failure = hostFailure(answer, resource);
    if (failure) throw failure;
    return { status: answer.status, text: answer.text, promise: answer.promise };
  }

  async function teardown() {
    const failure = hostFailure(await invoke(zarvo, 'teardown'), 'teardown');
    if (failure) throw failure;
  }

  function openEvents(sink) {
    let open = true;
    const onEvents = (firstId, texts) => {
      if (!open) return;
      texts.forEach((text, i) => sink.event(text, firstId + i));
    };
    zarvo.events.connect(onEvents);
    sink.state?.('open');
    return Promise.resolve(() => {
      if (!open) return;
      open = false;
      zarvo.events.disconnect(onEvents);
      sink.state?.('closed');
    });
  }

  return { exchange, teardown, openEvents };
}

/** The simulator controls of zarvo_view, with the shape of createSimulator() in simulator.js. */
export function webChannelSimulator() {
  async function control(method, ...args) {
    const { zarvoSimulator } = await channelObjects();
    const answer = await invoke(zarvoSimulator, method, ...args);
    const failure = hostFailure(answer, method);
    if (failure) throw failure;
    return answer.value;
  }
  return {
    raise(app, type, payloadText = 'null', { count = 1 } = {}) {
      return control('raise', String(app), String(type), String(payloadText), Number(count));
    },
    reportLostConnection(app) {
      return control('reportLostConnection', String(app));
    },
    callLog({ from = 0 } = {}) {
      return control('callLog', Number(from));
    },
    applicationsText() {
      return control('applicationsText');
    },
    applications() {
      return this.applicationsText().then(JSON.parse);
    },
  };
}
