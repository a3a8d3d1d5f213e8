// What the page benchmarks share: the repository's paths, starting a server process and reading
// the URL it prints, chromium as the benchmarks launch it, and a process's resident memory.
import { spawn } from 'node:child_process';
import { readFileSync } from 'node:fs';
import path from 'node:path';
import { fileURLToPath, pathToFileURL } from 'node:url';

export const here = path.dirname(fileURLToPath(import.meta.url));
export const repo = path.resolve(here, '../..');
export const benchApplications = path.join(here, 'bench_applications.json');

/** The Release build's web host, or $ZARVO_HOST. */
export const defaultHost = process.env.ZARVO_HOST ?? path.join(repo, 'build/bench/tools/zarvo_host/zarvo_host');

/**
 * Starts `program` and resolves with the child and the first capture of `pattern` in its stdout
 * (the URL or port it serves on); rejects if it exits first.
 * @param {string} program
 * @param {string[]} args
 * @param {RegExp} pattern
 * @returns {Promise<{child: import('node:child_process').ChildProcess, url: string}>}
 */
export function start(program, args, pattern) {
  const child = spawn(program, args, { stdio: ['ignore', 'pipe', 'inherit'] });
  return new Promise((resolve, reject) => {
    let out = '';
    child.stdout.on('data', (chunk) => {
      out += chunk;
      const match = pattern.exec(out);
      if (match) resolve({ child, url: match[1] });
    });
    child.once('exit', (code) => reject(new Error(`${program} exited ${code}`)));
  });
}

/** Starts `zarvo_host serve` on a free port with the benchmark's applications. */
export function startServe(host, args = []) {
  return start(host, ['serve', '--port', '0', '--applications', benchApplications, ...args], /^serving (\S+)\n/);
}

/** Headless chromium from Debian, without background work that would disturb the figures. */
export async function launchChromium() {
  const { chromium } = await import(pathToFileURL(path.join(repo, 'web/node_modules/@playwright/test/index.mjs')).href);
  return chromium.launch({
    executablePath: '/usr/bin/chromium',
    args: [...(process.getuid?.() === 0 ? ['--no-sandbox'] : []), '--disable-gpu', '--disable-quic',
      '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--disable-renderer-backgrounding', '--disable-background-timer-throttling',
      '--disable-backgrounding-occluded-windows'],
  });
}

/** Resident memory of a process now and at its peak, in KiB. */
export function memoryKiB(pid) {
  const status = readFileSync(`/proc/${pid}/status`, 'utf8');
  const field = (name) => Number(new RegExp(`${name}:\\s+(\\d+)`).exec(status)[1]);
  return { rss: field('VmRSS'), peak: field('VmHWM') };
}
