// Builds the bundled page into a folder of its own: its index.html and bundle.js (esbuild, the
// client resolved by its package name through node_modules). Nothing it writes is committed.
//   node bundled/build.mjs [OUT_DIR]     (default: bundled/dist)
import { build } from 'esbuild';
import { copyFile, mkdir } from 'node:fs/promises';
import path from 'node:path';
import { fileURLToPath } from 'node:url';

const HERE = path.dirname(fileURLToPath(import.meta.url));

/** Writes index.html and bundle.js into `outDir`; resolves with the folder. */
export async function buildBundledPage(outDir = path.join(HERE, 'dist')) {
  await mkdir(outDir, { recursive: true });
  await build({
    entryPoints: [path.join(HERE, 'main.js')],
    outfile: path.join(outDir, 'bundle.js'),
    bundle: true,
    format: 'esm',
    target: 'es2022',
    logLevel: 'warning',
  });
  await copyFile(path.join(HERE, 'index.html'), path.join(outDir, 'index.html'));
  return outDir;
}

if (process.argv[1] === fileURLToPath(import.meta.url)) {
  console.log(await buildBundledPage(process.argv[2] && path.resolve(process.argv[2])));
}
