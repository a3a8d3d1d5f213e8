// The example page as its user sees it: every step through its buttons, the visible results,
// progress events and error texts, and a screenshot kept as an artifact.
import { test, expect, serving } from './fixtures.mjs';
import { APPLICATIONS, EXAMPLE_PAGE, artifactPath } from './serve.mjs';
import { afterLoad, recordFailures } from './loading.mjs';

test.use(serving(import.meta.url, ['--applications', APPLICATIONS, '--page', EXAMPLE_PAGE]));

test('the example page loads without a failed request or console error (its icon is declared)', async ({
  page,
  server,
}) => {
  const failures = recordFailures(page);
  await page.goto(server.url);
  await expect(page.getByRole('heading', { name: 'Report viewer' })).toBeVisible();
  await afterLoad(page);
  expect(failures).toEqual([]);
});

test('connect, open, save, render, follow progress, disconnect, with the errors shown', async ({
  page,
  server,
}) => {
  await page.goto(server.url);
  await expect(page.getByRole('heading', { name: 'Report viewer' })).toBeVisible();
  const status = page.getByRole('status');
  const alert = page.getByRole('alert');

  await page.getByRole('button', { name: 'Connect viewer', exact: true }).click();
  await expect(status).toHaveText('Viewer connected.');

  await page.getByLabel('Document path').fill('/home/ada/report.pdf');
  await page.getByRole('button', { name: 'Open document' }).click();
  await expect(status).toHaveText('Opened /home/ada/report.pdf: 12 pages.');

  await page.getByRole('button', { name: 'Save document' }).click();
  await expect(status).toHaveText('The viewer could not save: disk full (507).');
  await expect(alert).toBeHidden();

  await page.getByLabel('Pages to render').fill('1, 2, 3');
  await page.getByRole('button', { name: 'Render pages' }).click();
  await expect(status).toHaveText('Render done: 3 pages.');

  // The viewer raises three progress events by itself once followed (25, 50, 100 %).
  await page.getByRole('button', { name: 'Follow progress' }).click();
  const events = page.getByRole('list', { name: 'Progress events' }).getByRole('listitem');
  await expect(events).toHaveCount(3);
  await expect(events.nth(2)).toContainText('progress {"percent":100}');
  await expect(page.getByRole('progressbar', { name: 'Viewer progress' })).toHaveAttribute(
    'value',
    '100',
  );

  await page.getByRole('button', { name: 'Raise progress events' }).click();
  await expect(events).toHaveCount(6);
  await expect(events.nth(3)).toContainText('progress {"percent":25}');
  const ids = (await events.allTextContents()).map((text) => Number(/^#(\d+)/.exec(text)[1]));
  expect(ids).toEqual(ids.map((_, i) => ids[0] + i));

  await page.getByRole('button', { name: 'Stop following progress' }).click();
  await expect(status).toHaveText('Stopped following progress.');

  await page.getByRole('button', { name: 'Connect viewer', exact: true }).click();
  await expect(alert).toHaveText('InternalError (500): Failed to connect application.');
  await expect(status).toHaveText('The last step failed.');

  await page.screenshot({ path: artifactPath('example_page.png'), fullPage: true });

  await page.getByRole('button', { name: 'Disconnect viewer' }).click();
  await expect(status).toHaveText('Viewer disconnected.');
  await page.getByRole('button', { name: 'Disconnect viewer' }).click();
  await expect(alert).toHaveText('BadRequestError (400): Application instance is not existed.');
  await page.getByRole('button', { name: 'Open document' }).click();
  await expect(alert).toHaveText('BadRequestError (400): Application instance is not existed.');
});

test('a lost connection: the name stays taken until the page disconnects it', async ({
  page,
  server,
}) => {
  await page.goto(server.url);
  const status = page.getByRole('status');
  const alert = page.getByRole('alert');
  await page.getByRole('button', { name: 'Connect viewer', exact: true }).click();
  await expect(status).toHaveText('Viewer connected.');
  await page.getByRole('button', { name: "Lose the viewer's connection" }).click();
  await expect(status).toHaveText(
    "The viewer's connection was reported lost; disconnect it before connecting again.",
  );
  await page.getByRole('button', { name: 'Connect viewer', exact: true }).click();
  await expect(alert).toHaveText('InternalError (500): Failed to connect application.');
  await page.getByRole('button', { name: 'Disconnect viewer' }).click();
  await expect(status).toHaveText('Viewer disconnected.');
  await page.getByRole('button', { name: 'Connect viewer', exact: true }).click();
  await expect(status).toHaveText('Viewer connected.');
  // Teardown leaves nothing connected for the next page.
  await page.evaluate(async () => (await import('/zarvo/zarvo.js')).createBridge().teardown());
  await page.getByRole('button', { name: 'Disconnect viewer' }).click();
  await expect(alert).toHaveText('BadRequestError (400): Application instance is not existed.');
});
