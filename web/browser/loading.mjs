// What a page's load shows in devtools: failed requests, error answers and console errors.

/**
 * Records, from now on, every request of `page` that fails or is answered with an error status,
 * and every console error ("Failed to load resource" among them).
 * @param {import('@playwright/test').Page} page
 */
export function recordFailures(page) {
  const failures = [];
  page.on('requestfailed', (request) =>
    failures.push(`failed: ${request.url()} ${request.failure()?.errorText}`),
  );
  page.on('response', (response) => {
    if (response.status() >= 400) failures.push(`${response.status()}: ${response.url()}`);
  });
  page.on('console', (message) => {
    if (message.type() === 'error') failures.push(`console: ${message.text()}`);
  });
  return failures;
}

/** Lets the requests a browser makes after the load event (the icon among them) happen. */
export async function afterLoad(page) {
  await page.waitForLoadState('load');
  await page.waitForTimeout(1000);
}
