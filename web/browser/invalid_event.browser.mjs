// An event text that is not JSON, from the real plug-in: an application payload holding 1e400
// (a number out of range) makes the plug-in's event text end at that value. The page is told
// through onInvalidEvent and the window event "zarvoInvalidEvent", nothing throws, and the events
// after it are delivered, over the WebSocket (openBridge) and over HTTP.
import { test, expect, serving } from './fixtures.mjs';
import { EXAMPLE_PAGE } from './serve.mjs';

test.use(serving(import.meta.url, ['--page', EXAMPLE_PAGE]));

for (const transport of ['openBridge', 'httpTransport']) {
  test(`an event that is not JSON is reported, never thrown, and the stream goes on (${transport})`, async ({
    page,
    server,
  }) => {
    const pageErrors = [];
    page.on('pageerror', (error) => pageErrors.push(error.message));
    await page.goto(server.url);
    const seen = await page.evaluate(async (which) => {
      const zarvo = await import('/zarvo/zarvo.js');
      const { raise } = await import('/zarvo/simulator.js');
      const bridge =
        which === 'openBridge'
          ? zarvo.openBridge()
          : zarvo.createBridge({ transport: zarvo.httpTransport() });
      await bridge.teardown();
      const got = { invalid: [], windowInvalid: [], events: [] };
      bridge.onInvalidEvent((invalid) => got.invalid.push(invalid));
      window.addEventListener('zarvoInvalidEvent', (e) => got.windowInvalid.push(e.detail));
      await bridge.connect('printer');
      await bridge.subscribe('printer', 'paper', (event, { id }) => got.events.push([id, event]));
      await raise('printer', 'paper', '{"after":1,"b":1e400}');
      await raise('printer', 'paper', '{"level":"low"}');
      while (got.events.length < 1) await new Promise((r) => setTimeout(r, 5));
      await bridge.teardown();
      return got;
    }, transport);
    const text = '{"app":"printer","data":{"after":1,"b":';
    expect(seen.invalid).toEqual([{ id: seen.events[0][0] - 1, text }]);
    expect(seen.windowInvalid).toEqual(seen.invalid);
    expect(seen.events).toEqual([
      [seen.events[0][0], { app: 'printer', data: { level: 'low' }, type: 'paper' }],
    ]);
    expect(pageErrors).toEqual([]);
  });
}
