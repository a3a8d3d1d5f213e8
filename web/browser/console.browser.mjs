// The bridge console driven through its UI, by role and label, with a screenshot artifact.
import { test, expect, serving } from './fixtures.mjs';
import { APPLICATIONS, artifactPath } from './serve.mjs';
import { afterLoad, recordFailures } from './loading.mjs';

test.use(serving(import.meta.url, ['--applications', APPLICATIONS]));

test('the console loads without a failed request or console error (its icon is declared)', async ({
  page,
  server,
}) => {
  const failures = recordFailures(page);
  await page.goto(server.url);
  await expect(page.locator('#stream-state')).toHaveText('open');
  await expect(page.getByRole('row', { name: /^viewer/ })).toBeVisible();
  await afterLoad(page);
  expect(failures).toEqual([]);
});

test('connect, compose calls, watch events, simulate, read the call log', async ({
  page,
  server,
}) => {
  await page.setViewportSize({ width: 1280, height: 900 });
  await page.goto(server.url);
  await expect(page.getByRole('heading', { name: 'zarvo bridge console', level: 1 })).toBeVisible();
  await expect(page.locator('#stream-state')).toHaveText('open');

  const viewerRow = page.getByRole('row', { name: /^viewer/ });
  await expect(viewerRow).toContainText('not connected');
  await expect(viewerRow).toContainText('requests /document/open, /document/save');
  // With the keyboard: focus the button and press Enter.
  await page.getByRole('button', { name: 'Connect viewer', exact: true }).focus();
  await page.keyboard.press('Enter');
  await expect(viewerRow.getByRole('cell').nth(0)).toHaveText('connected');

  const calls = page.getByRole('list', { name: 'Calls and answers' }).getByRole('listitem');
  await expect(calls.first()).toContainText('ZarvoApplication post');
  await expect(calls.first()).toContainText('{"name":"viewer"}');
  await expect(calls.first().getByLabel('Answer text')).toHaveText('{"error":null,"value":null}');

  await page
    .getByLabel('Kind')
    .selectOption({ label: 'Bridge-cross request (ZarvoApplicationBridge)' });
  await page.getByLabel('URI').fill('/document/save');
  await page.getByLabel('Request data (JSON, empty to leave out)').fill('');
  await page.getByLabel('Settings (JSON, empty to leave out)').fill('{"overwrite":true}');
  await page.getByRole('button', { name: 'Send' }).click();
  await expect(page.locator('#compose-status')).toHaveText('Answered 200');
  await expect(calls.first()).toContainText(
    '{"uri":"/document/save","settings":{"overwrite":true}}',
  );
  await expect(calls.first().getByLabel('Answer text')).toHaveText(
    '{"error":null,"value":{"data":{"error":"disk full"},"statuscode":507}}',
  );

  await page.getByLabel('Kind').selectOption({ label: 'Any call with exact texts' });
  await page.getByLabel('Resource').selectOption('ZarvoApplication');
  await page.getByLabel('options text').fill('{"method":"get"}');
  await page.getByRole('button', { name: 'Send' }).click();
  await expect(calls.first().getByLabel('Answer text')).toHaveText(
    '{"error":{"message":"GET method is not allowed.","name":"MethodError"},"value":null}',
  );
  await expect(calls.first()).toContainText('405');

  await page
    .getByLabel('Kind')
    .selectOption({ label: 'Subscribe to an event (ZarvoApplicationEvent post)' });
  await page.getByLabel('Type', { exact: true }).fill('progress');
  await page.getByRole('button', { name: 'Send' }).click();
  await expect(calls.first()).toContainText('{"name":"viewer","type":"progress"}');

  // The viewer raises three progress events by itself once subscribed.
  const events = page.getByRole('list', { name: 'Event log' }).getByRole('listitem');
  await expect(events).toHaveCount(3);
  await expect(events.first()).toContainText('viewer · progress {"percent":100}');

  await page.getByLabel('Payload text').fill('{"percent":5}');
  await page.getByLabel('Count').fill('4');
  await page.getByRole('button', { name: 'Raise', exact: true }).click();
  await expect(page.locator('#sim-status')).toHaveText('Raised 4');
  await expect(events).toHaveCount(7);

  await page.getByLabel('Filter').fill('"percent":5}');
  await expect(events.filter({ visible: true })).toHaveCount(4);
  await page.getByLabel('Filter').fill('');

  await page.getByLabel('Pause').check();
  await page.getByLabel('Count').fill('1');
  await page.getByRole('button', { name: 'Raise', exact: true }).click();
  await expect(page.locator('#event-count')).toHaveText('8 events, 1 waiting (paused)');
  await expect(events).toHaveCount(7);
  await page.getByLabel('Pause').uncheck();
  await expect(events).toHaveCount(8);

  const log = page.getByRole('list', { name: 'Library calls' });
  await expect(log).toContainText('ZrvConnectApplication("viewer", "zarvo_host") -> 1');
  await expect(log).toContainText('ZrvRegisterEvent(1, "", "progress", callback, context) -> 1');

  await page.screenshot({ path: artifactPath('console.png'), fullPage: true });

  await page.getByRole('button', { name: 'Report lost connection' }).click();
  await expect(page.locator('#sim-status')).toHaveText("Reported viewer's connection lost");
  await expect(viewerRow.getByRole('cell').nth(0)).toHaveText('connection lost');
  await page.getByRole('button', { name: 'Disconnect viewer' }).click();
  await expect(viewerRow.getByRole('cell').nth(0)).toHaveText('not connected');

  // A JSON field that does not parse is reported and nothing is sent.
  const sent = await calls.count();
  await page
    .getByLabel('Kind')
    .selectOption({ label: 'Bridge-cross request (ZarvoApplicationBridge)' });
  await page.getByLabel('Request data (JSON, empty to leave out)').fill('{bad');
  await page.getByRole('button', { name: 'Send' }).click();
  await expect(page.locator('#compose-status')).toContainText('Request data is not JSON: ');
  await expect(calls).toHaveCount(sent);

  await page.getByRole('button', { name: 'Connect printer', exact: true }).click();
  const printerRow = page.getByRole('row', { name: /^printer/ });
  await expect(printerRow.getByRole('cell').nth(0)).toHaveText('connected');
  await page.getByRole('button', { name: 'Tear down (disconnect all)' }).click();
  await expect(page.locator('#sim-status')).toContainText('TearDown done in');
  await expect(printerRow.getByRole('cell').nth(0)).toHaveText('not connected');
  await expect(log).toContainText('ZrvDisconnectApplication(2) -> 1');

  const lost = page.getByRole('group', { name: 'Lost connection' });
  await lost.getByLabel('Application').fill('printer');
  await lost.getByRole('button', { name: 'Report lost connection' }).click();
  await expect(page.locator('#sim-status')).toHaveText(
    "NotConnected: application 'printer' is not connected",
  );
});
