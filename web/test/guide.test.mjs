// docs/pages.md shows the quick start page's script word for word, so the guide's first example is
// the code the browser and view tests run.
import { test } from 'node:test';
import assert from 'node:assert/strict';
import { readFile } from 'node:fs/promises';

const root = new URL('../../', import.meta.url);

test("the guide's quick start is examples/quick_start/quick_start.js", async () => {
  const guide = await readFile(new URL('docs/pages.md', root), 'utf8');
  const script = await readFile(new URL('examples/quick_start/quick_start.js', root), 'utf8');
  const match = /<!-- quick start: begin -->\n```js\n([\s\S]*?)```\n<!-- quick start: end -->/.exec(
    guide,
  );
  assert.ok(match, 'the quick start markers are in docs/pages.md');
  assert.equal(match[1], script);
});
