// The WebSocket examples of docs/serve_protocol.md ("Trying it"), run as a reader would: each
// script is taken from the guide word for word, pointed at this file's server instead of port
// 8207, and run with `node --experimental-websocket`; what it prints is compared with the output
// the guide shows (instance ids aside, and for the events, whatever batches they came in).
import { spawn } from 'node:child_process';
import { mkdtemp, readFile, rm, writeFile } from 'node:fs/promises';
import os from 'node:os';
import path from 'node:path';
import { test, expect, serving } from './fixtures.mjs';
import { APPLICATIONS, REPO } from './serve.mjs';

test.use(serving(import.meta.url, ['--applications', APPLICATIONS]));

const guide = await readFile(path.join(REPO, 'docs/serve_protocol.md'), 'utf8');

/** The script written by `cat > name <<'EOF'` in the guide, and the output block after it. */
function example(name) {
  const pattern = new RegExp(
    `cat > ${name} <<'EOF'\\n([\\s\\S]*?)\\nEOF\\n[\\s\\S]*?\`\`\`\\n\`\`\`\\n([\\s\\S]*?)\`\`\``,
  );
  const match = pattern.exec(guide);
  if (!match) throw new Error(`docs/serve_protocol.md has no example ${name} with its output`);
  return { script: match[1], output: match[2].trimEnd().split('\n') };
}

const anyInstance = (line) => line.replace(/"instance":"[0-9a-f]{16}"/, '"instance":"…"');

/** Runs `script` (pointed at `server`) until `enough(lines)`; resolves with the printed lines. */
async function runScript(server, script, enough, whileRunning = async () => {}) {
  const folder = await mkdtemp(path.join(os.tmpdir(), 'zarvo-protocol-example-'));
  const file = path.join(folder, 'example.mjs');
  await writeFile(
    file,
    script.replaceAll('ws://127.0.0.1:8207/', `ws://127.0.0.1:${server.port}/`),
  );
  const child = spawn(process.execPath, ['--no-warnings', '--experimental-websocket', file], {
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  const lines = [];
  let pending = '';
  let stepped = false;
  try {
    await new Promise((resolve, reject) => {
      child.stdout.on('data', (chunk) => {
        pending += chunk;
        const parts = pending.split('\n');
        pending = parts.pop() ?? '';
        lines.push(...parts);
        if (!stepped) {
          stepped = true;
          whileRunning(lines).catch(reject);
        }
        if (enough(lines)) resolve(undefined);
      });
      child.once('exit', () =>
        enough(lines) ? resolve(undefined) : reject(new Error(lines.join('\n'))),
      );
    });
  } finally {
    child.kill();
    await rm(folder, { recursive: true, force: true });
  }
  return lines;
}

// Each example runs against a server of its own, as the guide's reader starts one: promise ids
// count from 1.
test('the call example prints what the guide shows', async ({ server }) => {
  const { script, output } = example('socket_call.mjs');
  const lines = await runScript(server, script, (got) => got.length >= output.length);
  expect(lines.map(anyInstance)).toEqual(output.map(anyInstance));
});

test('the events example prints what the guide shows after the curl line raises three', async ({
  otherServer: server,
}) => {
  const { script, output } = example('socket_events.mjs');
  const curl = /curl (http:\/\/127\.0\.0\.1:8207\/simulator\/raise) -d '([^']*)'/.exec(guide);
  expect(curl, 'the guide raises the events with curl').not.toBeNull();
  const raiseUrl = curl[1].replace('127.0.0.1:8207/', `127.0.0.1:${server.port}/`);
  const eventTexts = (lines) =>
    lines
      .map((line) => JSON.parse(line))
      .filter((m) => m.op === 'events')
      .flatMap((m) => m.texts.map((text, i) => [m.first + i, text]));
  const others = (lines) =>
    lines
      .map(anyInstance)
      .filter((l) => !l.includes('"op":"events"'))
      .sort();
  // The guide raises once the subscription and the stream are in place.
  const raiseWhenReady = async (lines) => {
    while (!(
      lines.some((l) => l.includes('"id":2')) && lines.some((l) => l.includes('streaming'))
    )) {
      await new Promise((resolve) => setTimeout(resolve, 10));
    }
    const raised = await fetch(raiseUrl, { method: 'POST', body: curl[2] });
    expect(raised.status).toBe(200);
  };
  const lines = await runScript(
    server,
    script,
    (got) => eventTexts(got).length >= 3,
    raiseWhenReady,
  );
  expect(eventTexts(lines)).toEqual(eventTexts(output));
  expect(others(lines)).toEqual(others(output));
});
