// Starts `zarvo_host serve --port 0` for one test file and reads its address from the first line.
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import path from 'node:path';
import { fileURLToPath } from 'node:url';
import { mkdirSync } from 'node:fs';

export const REPO = path.resolve(path.dirname(fileURLToPath(import.meta.url)), '../..');
export const APPLICATIONS = path.join(REPO, 'examples/applications.json');
export const EXAMPLE_PAGE = path.join(REPO, 'examples/page');
/** The browser tests' applications: the example's viewer and printer, and a ticker. */
export const TEST_APPLICATIONS = path.join(REPO, 'web/browser/test_applications.json');

/** The folder for screenshots, in the build tree when run by CTest. */
export function artifactPath(name) {
  const dir = path.resolve(process.env.ZARVO_WEB_ARTIFACTS ?? 'test-results');
  mkdirSync(dir, { recursive: true });
  return path.join(dir, name);
}

/**
 * Runs the server with `args` after `serve --port 0`; resolves with its base URL (with the
 * trailing slash), port and a stop() that sends SIGTERM and resolves with the exit status.
 */
export async function startServe(args = []) {
  const program = process.env.ZARVO_HOST;
  if (!program) throw new Error('ZARVO_HOST must name the zarvo_host program (CTest sets it)');
  const child = spawn(program, ['serve', '--port', '0', ...args], {
    stdio: ['ignore', 'pipe', 'pipe'],
  });
  let stderr = '';
  child.stderr.on('data', (chunk) => {
    stderr += chunk;
  });
  let stdout = '';
  const url = await new Promise((resolve, reject) => {
    const onData = (chunk) => {
      stdout += chunk;
      const newline = stdout.indexOf('\n');
      if (newline < 0) return;
      child.stdout.off('data', onData);
      const match = /^serving (http:\/\/127\.0\.0\.1:(\d+)\/)$/.exec(stdout.slice(0, newline));
      if (match) resolve(match[1]);
      else reject(new Error(`unexpected first line: ${stdout.slice(0, newline)}`));
    };
    child.stdout.on('data', onData);
    child.once('exit', (code) =>
      reject(new Error(`zarvo_host serve exited ${code} before serving: ${stderr}`)),
    );
    child.once('error', reject);
  });
  child.stdout.resume();
  const port = Number(new URL(url).port);
  return {
    url,
    port,
    origin: url.slice(0, -1),
    stderr: () => stderr,
    async stop() {
      if (child.exitCode !== null || child.signalCode !== null) return child.exitCode;
      child.kill('SIGTERM');
      const [code] = await once(child, 'exit');
      return code;
    },
  };
}
