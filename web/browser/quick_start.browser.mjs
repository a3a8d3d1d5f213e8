// The guide's quick start (examples/quick_start) in chromium under `zarvo_host serve`, exactly as
// docs/pages.md shows it: the lines it writes, and nothing failing on the way.
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { test, expect, serving } from './fixtures.mjs';

const here = path.dirname(fileURLToPath(import.meta.url));
test.use(serving(import.meta.url, ['--page', path.resolve(here, '../../examples/quick_start')]));

test('the quick start page runs as the guide says', async ({ page, server }) => {
  const problems = [];
  page.on('pageerror', (error) => problems.push(error.message));
  page.on('console', (message) => {
    if (message.type() === 'error') problems.push(message.text());
  });
  page.on('requestfailed', (request) => problems.push(`${request.url()} failed`));
  await page.goto(server.url);
  await page.waitForSelector('html[data-zarvo-ready="true"]');
  await expect(page.getByLabel('What happened')).toHaveText(
    [
      'open: status 200, 12 pages',
      'stream open',
      'progress 25 %',
      'progress 50 %',
      'progress 100 %',
      'done',
      '',
    ].join('\n'),
  );
  expect(problems).toEqual([]);
});
