// Events that no longer fit the server's replay buffer are reported as a gap, never dropped
// silently.
import { test, expect, serving } from './fixtures.mjs';
import { EXAMPLE_PAGE, TEST_APPLICATIONS } from './serve.mjs';
import { openPage } from './pages.mjs';

const APPS = TEST_APPLICATIONS;

test.use(
  serving(import.meta.url, [
    '--applications',
    APPS,
    '--page',
    EXAMPLE_PAGE,
    '--event-buffer',
    '2000',
  ]),
);

test.describe('with a replay buffer of 2000 bytes', () => {
  test('events that no longer fit are reported as a gap with the right counts', async ({
    page,
    server,
  }) => {
    await openPage(page, server);
    const got = await page.evaluate(async () => {
      const { bridge, simulator } = window.t;
      await bridge.connect('viewer');
      const seen = [];
      const gaps = [];
      const windowGaps = [];
      bridge.onGap((gap) => gaps.push(gap));
      window.addEventListener('zarvoGap', (e) => windowGaps.push(e.detail));
      await bridge.subscribe('viewer', 'progress', (event, { id }) =>
        seen.push([id, event.data.n]),
      );
      await simulator.raise('viewer', 'progress', '{"n":0}');
      while (seen.length < 1) await new Promise((r) => setTimeout(r, 5));
      bridge.close();
      await simulator.raise('viewer', 'progress', '{"n":1}', { count: 100 });
      await bridge.subscribe('viewer', 'saved', () => {});
      await simulator.raise('viewer', 'saved', 'null');
      const deadline = Date.now() + 5000;
      while (gaps.length === 0 || seen[seen.length - 1][0] < seen[0][0] + 100) {
        if (Date.now() > deadline) break;
        await new Promise((r) => setTimeout(r, 5));
      }
      return { seen, gaps, windowGaps };
    });
    const first = got.seen[0][0];
    expect(got.gaps).toHaveLength(1);
    const [gap] = got.gaps;
    expect(gap.first).toBe(first + 1);
    expect(gap.lost).toBe(gap.last - gap.first + 1);
    expect(gap.lost).toBeGreaterThan(0);
    expect(got.windowGaps).toEqual(got.gaps);
    // Every one of the 100 events is either delivered or counted in the gap.
    const replayed = got.seen.slice(1).map(([id]) => id);
    expect(replayed[0]).toBe(gap.last + 1);
    expect(replayed).toEqual(replayed.map((_, i) => gap.last + 1 + i));
    expect(replayed.length + gap.lost).toBe(100);
  });
});
