// Browser tests on Debian's chromium (no browser download). Each test file gets its own
// `zarvo_host serve --port 0` from the `server` fixture (browser/fixtures.mjs), in a worker of its
// own; ZARVO_HOST names the program and ZARVO_WEB_ARTIFACTS the folder
// (in the build tree) for screenshots and Playwright's output.
import { defineConfig } from '@playwright/test';
import path from 'node:path';

const artifacts = path.resolve(process.env.ZARVO_WEB_ARTIFACTS ?? 'test-results');
const asRoot = typeof process.getuid === 'function' && process.getuid() === 0;

export default defineConfig({
  testDir: 'browser',
  testMatch: '*.browser.mjs',
  outputDir: path.join(artifacts, 'playwright'),
  workers: 1,
  retries: 0,
  timeout: 30_000,
  reporter: [['list']],
  use: {
    browserName: 'chromium',
    headless: true,
    launchOptions: {
      executablePath: '/usr/bin/chromium',
      args: [
        ...(asRoot ? ['--no-sandbox'] : []),
        '--disable-gpu',
        '--disable-quic',
        '--no-first-run',
        '--disable-background-networking',
        '--disable-component-update',
        '--disable-sync',
      ],
    },
    trace: 'off',
    screenshot: 'only-on-failure',
  },
});
