// A page bundled with esbuild, importing the client by its package name (@zarvo/bridge-client),
// built at test time into the artifacts folder and served by `zarvo_host serve --page`.
import { test as base, expect } from '@playwright/test';
import { runServer } from './fixtures.mjs';
import { APPLICATIONS, artifactPath } from './serve.mjs';
import { afterLoad, recordFailures } from './loading.mjs';
import { buildBundledPage } from '../bundled/build.mjs';

const test = base.extend({
  bundledServer: [
    // Playwright reads the fixtures a fixture needs from its first parameter: none here.
    // eslint-disable-next-line no-empty-pattern
    async ({}, use) => {
      const page = await buildBundledPage(artifactPath('bundled-page'));
      await runServer(['--applications', APPLICATIONS, '--page', page], use);
    },
    { scope: 'worker' },
  ],
});

test('the bundled page connects, requests, follows three events and disconnects', async ({
  page,
  bundledServer,
}) => {
  const failures = recordFailures(page);
  await page.goto(bundledServer.url);
  const status = page.getByRole('status');
  await expect(status).toHaveText('Done: 12 pages, 3 progress events, disconnected.');
  await expect(page.getByRole('alert')).toBeHidden();
  const events = page.getByRole('list', { name: 'Progress events' }).getByRole('listitem');
  await expect(events).toHaveCount(3);
  await expect(events.nth(2)).toContainText('{"percent":100}');
  const scripts = await page.evaluate(() =>
    [...document.scripts].map((s) => new URL(s.src).pathname),
  );
  expect(scripts).toEqual(['/bundle.js']);
  await afterLoad(page);
  expect(failures).toEqual([]);
});
