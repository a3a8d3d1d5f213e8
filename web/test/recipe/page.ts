// The typed page of docs/pages.md's TypeScript section; it only compiles, it never runs.
import { openBridge, BridgeError, type ZarvoEvent } from '/zarvo/zarvo.js';

interface Opened {
  opened: boolean;
  pages: number;
}
const bridge = openBridge();
const { data, statuscode } = await bridge.request<Opened>('viewer', { uri: '/document/open' });
const pages: number = data.pages;
await bridge.subscribe<{ percent: number }>(
  'viewer',
  'progress',
  (e: ZarvoEvent<{ percent: number }>) => console.log(e.data.percent),
);
try {
  await bridge.connect(7);
} catch (e) {
  if (e instanceof BridgeError) console.log(e.status, e.name, e.message);
}
console.log(pages, statuscode);
