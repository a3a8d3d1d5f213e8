// The shared event stream: a stream closed and reopened replays the events missed meanwhile.
import { test, expect, serving } from './fixtures.mjs';
import { EXAMPLE_PAGE, TEST_APPLICATIONS } from './serve.mjs';
import { openPage } from './pages.mjs';

const APPS = TEST_APPLICATIONS;

test.use(serving(import.meta.url, ['--applications', APPS, '--page', EXAMPLE_PAGE]));

test.describe('with the default replay buffer', () => {
  test('a closed stream reopened by a later subscribe replays what was missed, in order', async ({
    page,
    server,
  }) => {
    await openPage(page, server);
    const got = await page.evaluate(async () => {
      const { bridge, simulator } = window.t;
      await bridge.connect('viewer');
      const seen = [];
      await bridge.subscribe('viewer', 'progress', (event, { id }) =>
        seen.push([id, event.data.n]),
      );
      await simulator.raise('viewer', 'progress', '{"n":1}');
      while (seen.length < 1) await new Promise((r) => setTimeout(r, 5));
      bridge.close();
      for (const n of [2, 3, 4]) await simulator.raise('viewer', 'progress', JSON.stringify({ n }));
      await new Promise((r) => setTimeout(r, 50));
      const whileClosed = seen.length;
      await bridge.subscribe('viewer', 'saved', () => {});
      while (seen.length < 4) await new Promise((r) => setTimeout(r, 5));
      return { whileClosed, seen };
    });
    expect(got.whileClosed).toBe(1);
    const first = got.seen[0][0];
    expect(got.seen).toEqual([
      [first, 1],
      [first + 1, 2],
      [first + 2, 3],
      [first + 3, 4],
    ]);
  });
});
