// A transport for createBridge() of /zarvo/zarvo.js that speaks the view's channel contract
// directly: calls through zarvo.call, events pulled with zarvo.readEvents whenever the host signals
// zarvo.eventsReady. So the session test checks the host side with the client's Bridge on top,
// independently of the client's own web-channel module.
import { TransportError } from '/zarvo/zarvo.js';
import { channelObjects, invoke } from './channel.js';

function failure(answer, what) {
  const refusal = answer?.hostError ?? (answer?.ok === false ? answer : null);
  if (refusal) return new TransportError(refusal.status, refusal.code, refusal.message);
  if (answer === null || typeof answer !== 'object') {
    return new TransportError(0, 'NetworkError', `${what}: no answer from the host`);
  }
  return null;
}

async function checked(object, method, ...args) {
  const answer = await invoke(object, method, ...args);
  const error = failure(answer, method);
  if (error) throw error;
  return answer;
}

/** The transport; every method waits for the channel to open. */
export function viewTransport() {
  const zarvo = channelObjects().then((objects) => objects.zarvo);

  async function exchange(resource, { options, parameters, extra, body }) {
    const answer = await checked(await zarvo, 'call', resource, options, parameters, extra, body);
    return { status: answer.status, text: answer.text, promise: answer.promise };
  }

  async function teardown() {
    await checked(await zarvo, 'teardown');
  }

  async function openEvents(sink) {
    const host = await zarvo;
    let position = (await checked(host, 'readEvents', null)).first - 1;
    let open = true;
    let reading = false;
    const drain = async () => {
      if (reading) return;
      reading = true;
      try {
        for (;;) {
          const batch = await checked(host, 'readEvents', position);
          if (!open) return;
          if (batch.gap) sink.gap(batch.gap);
          batch.texts.forEach((text, i) => sink.event(text, batch.first + i));
          if (batch.texts.length === 0) return;
          position = batch.first + batch.texts.length - 1;
        }
      } finally {
        reading = false;
      }
    };
    const onReady = () => drain();
    host.eventsReady.connect(onReady);
    sink.state?.('open');
    drain();
    return () => {
      if (!open) return;
      open = false;
      host.eventsReady.disconnect(onReady);
      sink.state?.('closed');
    };
  }

  return { exchange, teardown, openEvents };
}

/** The simulator controls with the shape of createSimulator() in /zarvo/simulator.js. */
export function viewSimulator() {
  async function control(method, ...args) {
    const { zarvoSimulator } = await channelObjects();
    return (await checked(zarvoSimulator, method, ...args)).value;
  }
  return {
    raise: (app, type, payload = 'null', { count = 1 } = {}) =>
      control('raise', JSON.stringify({ app, type, payload, count })).then(JSON.parse),
    reportLostConnection: (app) =>
      control('reportLostConnection', JSON.stringify({ app })).then(JSON.parse),
    callLog: ({ from = 0 } = {}) => control('callLog', String(from)).then(JSON.parse),
    applicationsText: () => control('applicationsText'),
    applications: () => control('applicationsText').then(JSON.parse),
  };
}
