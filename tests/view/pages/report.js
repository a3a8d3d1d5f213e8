// Shared by the test pages: every result is one console line, which the test compares exactly.
export const say = (...parts) => console.log(parts.join(' '));

// What a call settled with: its value as JSON, or the error's class, status, name and message.
export async function outcome(label, promise) {
  try {
    say(label, '->', JSON.stringify(await promise) ?? 'undefined');
  } catch (error) {
    const kind = error?.constructor?.name ?? 'Error';
    const name = kind === 'TransportError' ? error.code : error.name;
    say(label, '->', kind, error.status, name, JSON.stringify(error.message));
  }
}

// Resolves once `check()` holds, polling each animation-free tick; rejects after `ms`.
export function until(check, ms = 10000) {
  return new Promise((resolve, reject) => {
    const started = Date.now();
    const poll = () => {
      if (check()) resolve();
      else if (Date.now() - started > ms) reject(new Error(`gave up waiting after ${ms} ms`));
      else setTimeout(poll, 5);
    };
    poll();
  });
}

// Ends the page: the host tears down and exits when the window closes.
export function finish() {
  say('done');
  window.close();
}
