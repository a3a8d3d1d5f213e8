// The fixtures of the browser tests: `server`, a `zarvo_host serve --port 0` of the test file,
// started before its first test that uses it and stopped when the file is done (exit status 0
// checked), and `otherServer`, a second one with the same arguments for the tests that need two
// origins. A file (or a describe block) names its server's arguments with
// test.use(serving(import.meta.url, [...])); every file, and every set of arguments, runs in a
// Playwright worker of its own, so no server outlives its file or sees another file's tests.
import { test as base, expect } from '@playwright/test';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { startServe } from './serve.mjs';

/**
 * The options of a file's server: its arguments after `serve --port 0`.
 * @param {string} fileUrl the test file's import.meta.url
 * @param {string[]} serveArgs
 */
export function serving(fileUrl, serveArgs) {
  return { serveArgs, serveFile: path.basename(fileURLToPath(fileUrl)) };
}

/**
 * Runs a server with `serveArgs` for the fixture body `use`, then stops it and checks its exit.
 * @param {string[]} serveArgs
 */
export async function runServer(serveArgs, use) {
  const server = await startServe(serveArgs);
  await use(server);
  expect(await server.stop(), `zarvo_host serve exit status; stderr: ${server.stderr()}`).toBe(0);
}

export const test = base.extend({
  serveArgs: [[], { scope: 'worker', option: true }],
  // Only keeps the workers of two files apart; the server does not read it.
  serveFile: ['', { scope: 'worker', option: true }],
  server: [
    async ({ serveArgs, serveFile }, use) => {
      void serveFile;
      await runServer(serveArgs, use);
    },
    { scope: 'worker' },
  ],
  otherServer: [async ({ serveArgs }, use) => runServer(serveArgs, use), { scope: 'worker' }],
});

export { expect };
