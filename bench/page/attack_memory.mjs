#!/usr/bin/env node
// The web host's memory and responsiveness under the attacks its tests reproduce, from raw
// sockets (no browser): for each, what the server answered, its resident memory at the peak
// during the attack (sampled every 5 ms) and after, and for the idle and slow clients how long an
// ordinary call and a shutdown took. Not a test; prints a table.
//
//   node bench/page/attack_memory.mjs [--host PATH]
// Build first: cmake --preset bench && cmake --build build/bench -j2 --target zarvo_host
import { mkdtempSync, writeFileSync } from 'node:fs';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import { parseArgs } from 'node:util';
import { defaultHost, memoryKiB, startServe as startHost } from './bench_support.mjs';

const { values: opts } = parseArgs({ options: { host: { type: 'string', default: defaultHost } } });
const MiB = 1024 * 1024;

/** Starts the web host; resolves with the child and its port. */
async function startServe(args = []) {
  const server = await startHost(opts.host, args);
  return { child: server.child, port: Number(new URL(server.url).port) };
}

const rssKiB = (pid) => memoryKiB(pid).rss;
const sleep = (ms) => new Promise((resolve) => { setTimeout(resolve, ms); });

/** Runs `attack()` while sampling the server's RSS; returns its outcome and the memory. */
async function measured(server, attack) {
  let peak = rssKiB(server.child.pid);
  const before = peak;
  const sampler = setInterval(() => { peak = Math.max(peak, rssKiB(server.child.pid)); }, 5);
  let outcome;
  try {
    outcome = await attack();
  } finally {
    clearInterval(sampler);
  }
  await sleep(100);
  return { outcome, before, peak: Math.max(peak, rssKiB(server.child.pid)), after: rssKiB(server.child.pid) };
}

/** Connects; resolves with the socket. */
function connect(port) {
  return new Promise((resolve, reject) => {
    const socket = net.connect(port, '127.0.0.1', () => resolve(socket));
    socket.setMaxListeners(0);
    socket.on('error', reject);
  });
}

/** Sends `head`, then `piece` up to `count` times while the server takes it; resolves with the
 * status line of the answer and the bytes sent. */
async function flood(port, head, piece, count) {
  const socket = await connect(port);
  socket.on('error', () => {});
  let answer = '';
  let sent = 0;
  let closed = false;
  socket.on('data', (data) => { answer += data.toString('latin1'); });
  socket.on('close', () => { closed = true; });
  socket.write(head);
  for (let i = 0; i < count && !closed && !answer.includes('\r\n\r\n'); i += 1) {
    if (!socket.write(piece)) await new Promise((resolve) => { socket.once('drain', resolve); socket.once('close', resolve); });
    sent += piece.length;
  }
  while (!closed && !answer.includes('\r\n\r\n')) await sleep(5);
  socket.destroy();
  return { status: answer.split('\r\n')[0], sent };
}

/** Sends `text` on a new connection and collects everything until the server closes. */
async function exchange(port, text, waitMs = 2000) {
  const socket = await connect(port);
  let answer = '';
  socket.on('data', (data) => { answer += data.toString('latin1'); });
  const closed = new Promise((resolve) => { socket.on('close', resolve); socket.on('error', resolve); });
  socket.write(text);
  await Promise.race([closed, sleep(waitMs)]);
  socket.destroy();
  return answer;
}

const host = (port) => `Host: 127.0.0.1:${port}\r\n`;
const callBody = '{"options":"{\\"method\\":\\"post\\"}","parameters":"{\\"name\\":\\"viewer\\"}","body":"{\\"uri\\":\\"/ping\\"}"}';
const callRequest = (port, path = '/bridge/ZarvoApplicationBridge') => `POST ${path} HTTP/1.1\r\n${host(port)}`
  + `Content-Type: application/json\r\nContent-Length: ${callBody.length}\r\n\r\n${callBody}`;

/** Sends `text` on a new connection; resolves with the status line as soon as it arrives. */
async function statusLine(port, text) {
  const socket = await connect(port);
  let answer = '';
  const line = await new Promise((resolve) => {
    socket.on('data', (data) => {
      answer += data.toString('latin1');
      if (answer.includes('\r\n')) resolve(answer.split('\r\n')[0]);
    });
    socket.on('close', () => resolve(answer.split('\r\n')[0]));
    socket.write(text);
  });
  socket.destroy();
  return line;
}

/** The time of one ordinary call on a new connection, in ms. */
async function timedCall(port) {
  const t0 = performance.now();
  const answer = await exchange(port, callRequest(port).replace('\r\n\r\n', '\r\nConnection: close\r\n\r\n'));
  return { ms: performance.now() - t0, status: answer.split('\r\n')[0] };
}

const rows = [];
const row = (name, result, m) => rows.push([name, result, `${(m.peak / 1024).toFixed(1)} MiB`, `${(m.after / 1024).toFixed(1)} MiB`]);

const server = await startServe();
const { port } = server;
await exchange(port, callRequest(port, '/bridge/ZarvoApplication').replace('ZarvoApplicationBridge', 'ZarvoApplication'));
rows.push(['(started, one call made)', '', '', `${(rssKiB(server.child.pid) / 1024).toFixed(1)} MiB`]);

let m = await measured(server, async () => {
  const inner = callRequest(port);
  const outer = `POST /bridge/ZarvoApplication HTTP/1.1\r\n${host(port)}Origin: http://evil.example\r\nContent-Type: text/plain\r\nContent-Length: ${inner.length}\r\n\r\n`;
  let second = 0;
  for (let i = 0; i < 200; i += 1) {
    const socket = await connect(port);
    let answer = '';
    socket.on('data', (d) => { answer += d; });
    socket.on('error', () => {});
    socket.write(outer);
    await sleep(2);
    socket.write(inner);
    await new Promise((resolve) => { socket.on('close', resolve); setTimeout(resolve, 1500); });
    if ((answer.match(/HTTP\/1\.1/g) ?? []).length > 1) second += 1;
    socket.destroy();
  }
  return `200 x 403, ${second} smuggled requests answered`;
});
row('1. refused POST whose body is a request (x200)', m.outcome, m);

m = await measured(server, async () => {
  const head = `POST /bridge/ZarvoApplication HTTP/1.1\r\n${host(port)}Content-Type: application/json\r\nTransfer-Encoding: chunked\r\n\r\n`;
  const chunk = Buffer.from(`100000\r\n${' '.repeat(MiB)}\r\n`);
  const results = await Promise.all(Array.from({ length: 4 }, () => flood(port, head, chunk, 200)));
  return results.map((r) => `${r.status.slice(9, 12)} after ${(r.sent / MiB).toFixed(0)} MiB`).join(', ');
});
row('2. 200 MiB chunked bodies (x4 at once)', m.outcome, m);

m = await measured(server, async () => {
  const line = Buffer.from(`X-Line: ${'a'.repeat(54)}\r\n`.repeat(1024));
  const r = await flood(port, `GET /simulator/log HTTP/1.1\r\n${host(port)}`, line, Math.ceil(1.2 * 1024 * MiB / line.length));
  return `${r.status.slice(9)} after ${(r.sent / MiB).toFixed(1)} MiB of header lines`;
});
row('3. 1.2 GiB of header lines', m.outcome, m);

const folder = mkdtempSync(path.join(os.tmpdir(), 'zarvo-range-'));
writeFileSync(path.join(folder, 'file.txt'), '0123456789'.repeat(1300));
const files = await startServe(['--page', folder]);
m = await measured(files, async () => {
  const range = `bytes=0-${',0-'.repeat(1500)}`;
  let bytes = 0;
  for (let i = 0; i < 200; i += 1) {
    bytes += (await exchange(files.port, `GET /file.txt HTTP/1.1\r\n${host(files.port)}Range: ${range}\r\nConnection: close\r\n\r\n`)).length;
  }
  return `200 x 200 OK, ${(bytes / 200 / 1024).toFixed(1)} KiB each (file 12.7 KiB)`;
});
row('4. Range with 1500 ranges (x200)', m.outcome, m);
files.child.kill('SIGTERM');

m = await measured(server, async () => {
  const answers = await Promise.all(Array.from({ length: 100 }, () => exchange(port,
    `GET /events HTTP/1.1\r\n${host(port)}Sec-Fetch-Site: cross-site\r\n\r\n`, 500)));
  return `${answers.filter((a) => a.startsWith('HTTP/1.1 403')).length} of 100 refused 403`;
});
row('5. cross-site GET /events (x100 at once)', m.outcome, m);

const sockets = [];
m = await measured(server, async () => {
  for (let i = 0; i < 200; i += 1) sockets.push(await connect(port));
  for (let i = 0; i < 64; i += 1) {
    const socket = await connect(port);
    socket.write(`POST /bridge/ZarvoApplication HTTP/1.1\r\nHost: 127.0.0.1:`);
    sockets.push(socket);
  }
  for (const socket of sockets) socket.on('error', () => {});
  const call = await timedCall(port);
  return `a call meanwhile: ${call.status.slice(9)} in ${call.ms.toFixed(1)} ms`;
});
row('6. 200 idle + 64 slow connections', m.outcome, m);

m = await measured(server, async () => {
  const answer = await exchange(port, callRequest(port).repeat(1000), 3000);
  return `${(answer.match(/HTTP\/1\.1 200/g) ?? []).length} of 1000 answered, in order`;
});
row('7. 1000 requests in one write', m.outcome, m);

m = await measured(server, async () => {
  const answer = await exchange(port, `GET //sub HTTP/1.1\r\n${host(port)}Connection: close\r\n\r\n`);
  return answer.split('\r\n')[0].slice(9);
});
row('8. GET //sub (no such folder here)', m.outcome, m);

m = await measured(server, async () => {
  const streams = [];
  for (let i = 0; i < 64; i += 1) {
    const socket = await connect(port);
    socket.write(`GET /events HTTP/1.1\r\n${host(port)}\r\n`);
    streams.push(socket);
  }
  await sleep(100);
  const full = await exchange(port, `GET /events HTTP/1.1\r\n${host(port)}\r\n`, 300);
  streams.pop().destroy();
  const t0 = performance.now();
  let attempts = 0;
  for (;;) {
    attempts += 1;
    if ((await statusLine(port, `GET /events HTTP/1.1\r\n${host(port)}\r\n`)).startsWith('HTTP/1.1 200')) break;
  }
  const ms = performance.now() - t0;
  for (const s of streams) s.destroy();
  return `65th: ${full.split('\r\n')[0].slice(9)}; a place free ${ms.toFixed(1)} ms after a reader left (attempt ${attempts})`;
});
row('9. 64 event streams, one closes', m.outcome, m);

m = await measured(server, async () => {
  const head = (n) => `POST /bridge/ZarvoApplicationBridge HTTP/1.1\r\n${host(port)}Content-Type: application/json\r\nContent-Length: ${n}\r\n\r\n`;
  const size = 16 * MiB;
  const piece = Buffer.alloc(MiB, 0x20);
  const results = await Promise.all(Array.from({ length: 40 }, () => flood(port, head(size), piece, 16)));
  const count = (code) => results.filter((r) => r.status.includes(code)).length;
  return `${count('503')} refused 503 before their body (budget), ${count('400')} read whole (400: not JSON)`;
});
row('budget: 40 bodies of 16 MiB at once', m.outcome, m);

// Shutdown with the idle and slow connections of 6 still open.
const t0 = performance.now();
server.child.kill('SIGTERM');
const code = await new Promise((resolve) => { server.child.once('exit', resolve); });
const shutdownMs = performance.now() - t0;
for (const socket of sockets) socket.destroy();

console.log('| attack | what the server did | RSS peak | RSS after |\n|---|---|---|---|');
for (const r of rows) console.log(`| ${r.join(' | ')} |`);
console.log(`\nSIGTERM with 264 idle and slow connections open: exit ${code} after ${shutdownMs.toFixed(0)} ms.`);
console.log(`load average ${os.loadavg().map((l) => l.toFixed(1)).join(' ')} on ${os.cpus().length} cores.`);
