// Tries to show a page of another origin (served over HTTP by the test; it would call the plug-in
// through the web channel), as the main page and in a frame; both are refused, so this page stays.
import { say, finish } from './report.js';

function readJson(path) {
  return new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open('GET', path);
    request.onload = () => resolve(JSON.parse(request.responseText));
    request.onerror = () => reject(new Error(`${path} could not be read`));
    request.send();
  });
}

const pause = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

(async () => {
  try {
    const { elsewhere } = await readJson('/target.json');
    const frame = document.createElement('iframe');
    frame.src = elsewhere;
    document.body.append(frame);
    await pause(300);
    location.href = elsewhere;
    await pause(700);
    say('still at', location.href);
  } catch (error) {
    say('unexpected', error?.stack ?? error);
  }
  finish();
})();
