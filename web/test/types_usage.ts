// Type-level checks of the declarations: this file only compiles (tsc --noEmit), it never runs.
import {
  createBridge,
  openBridge,
  httpTransport,
  BridgeError,
  TransportError,
  wsTransport,
  type EventSink,
  type InvalidEvent,
  type StreamState,
  type Transport,
  type ZarvoEvent,
} from '../zarvo/zarvo.js';
import { createSimulator, raise } from '../zarvo/simulator.js';
import { webChannelTransport, webChannelSimulator } from '../zarvo/webchannel.js';

async function example(): Promise<void> {
  const bridge = createBridge({ transport: httpTransport({ baseUrl: 'http://127.0.0.1:8207' }) });
  const connected: null = await bridge.connect('viewer');
  const { data, statuscode } = await bridge.request('viewer', {
    uri: '/document/open',
    requestData: { path: '/x' },
  });
  const task: { data: unknown; type: string } = await bridge.customTask('viewer', {
    type: 'render',
  });
  const unsubscribe = await bridge.subscribe(
    'viewer',
    'progress',
    (event: ZarvoEvent, meta) => {
      const id: number = meta.id;
      const app: string = event.app;
      (void id, app);
    },
    { target: 'pane' },
  );
  const done: void = await unsubscribe();
  const raw = await bridge.exchange('ZarvoApplication', { options: '{"method":"get"}' });
  const status: number = raw.status;
  const removeGap = bridge.onGap(({ first, last, lost }) => void (first + last + lost));
  removeGap();
  bridge.close();
  try {
    await bridge.call('ZarvoApplication', 'get');
  } catch (e) {
    if (e instanceof BridgeError) {
      const details: Record<string, unknown> = e.details;
      const envelope: string = e.envelope;
      (void details, envelope);
    } else if (e instanceof TransportError) {
      const code: string = e.code;
      void code;
    }
  }
  const sim = createSimulator();
  const { raised } = await raise('viewer', 'progress', '{}', { count: 2 });
  const { calls, next } = await sim.callLog({ from: 1 });
  (void connected, data, statuscode, task, done, status, raised, calls, next);
}

// A transport of one's own satisfies the interface.
const fake: Transport = {
  exchange: async () => ({ status: 200, text: '{"error":null,"value":null}', promise: 1 }),
  teardown: async () => {},
  openEvents: async (sink) => {
    sink.event('{"app":"a","data":null,"type":"t"}', 1);
    sink.gap({ first: 2, last: 3, lost: 2 });
    sink.state?.('open');
    return () => {};
  },
};
createBridge({ transport: fake, window: null });
void example;
// The same page in both runtimes: openBridge() returns a Bridge at once.
async function eitherRuntime(): Promise<number> {
  const bridge = openBridge();
  const opened: Transport = await webChannelTransport();
  createBridge({ transport: opened });
  const { raised } = await webChannelSimulator().raise('viewer', 'progress');
  const { statuscode } = await bridge.request('viewer', { uri: '/document/open' });
  return statuscode + raised;
}
void eitherRuntime;

// Generics: the application's data and event payloads typed by the page.
interface Opened {
  opened: boolean;
  pages: number;
}
interface Progress {
  percent: number;
}
async function generics(): Promise<void> {
  const bridge = createBridge({ transport: wsTransport({ baseUrl: 'http://127.0.0.1:8207' }) });
  await bridge.connect(7); // an integer names the application by its digits
  const { data, statuscode } = await bridge.request<Opened>('viewer', { uri: '/document/open' });
  const pages: number = data.pages;
  const task = await bridge.customTask<{ job: number }>('printer', { type: 'print' });
  const job: number = task.data.job;
  const value = await bridge.call<{ n: number }>('ZarvoApplicationCustom', 'post');
  const n: number = value.n;
  const unsubscribe = await bridge.subscribe<Progress>('viewer', 'progress', (event, { id }) => {
    const percent: number = event.data.percent;
    (void percent, id);
  });
  const untyped = await bridge.request('viewer', { uri: '/x' });
  // @ts-expect-error without a type argument the data is unknown
  void untyped.data.pages;
  // @ts-expect-error a name is a text or an integer
  await bridge.connect({ name: 'viewer' });
  // @ts-expect-error a request needs its uri
  await bridge.request('viewer', { requestData: 1 });
  await bridge.subscribe<Progress>('viewer', 'progress', (event) => {
    // @ts-expect-error the payload is typed
    void event.data.missing;
  });
  const states: StreamState[] = ['open', 'reconnecting', 'restarted', 'closed'];
  // @ts-expect-error no such state
  const wrong: StreamState = 'paused';
  const removeInvalid = bridge.onInvalidEvent(
    ({ id, text }: InvalidEvent) => void (id + text.length),
  );
  removeInvalid();
  const sink: EventSink = {
    event() {},
    gap() {},
    instance: (instanceId: string) => void instanceId,
  };
  (void pages, statuscode, job, n, unsubscribe, states, wrong, sink);
}
void generics;
