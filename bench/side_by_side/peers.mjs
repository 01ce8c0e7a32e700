// A contender of the comparison, in JavaScript: reads the names of rows, one a line, and answers
// each with "BYTES WALL_SECONDS CPU_SECONDS". Run by bun, which has lol-html inside.
//
//   bun peers.mjs PAGES
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

const SHORTEST_ROUND = 60;

function readFiles(folder, extension) {
  const names = readdirSync(folder).filter((name) => name.endsWith(extension)).sort();
  return names.map((name) => new Uint8Array(readFileSync(join(folder, name))).slice().buffer);
}

const pages = readFiles(process.argv[2], '.html');
const small = pages.filter((page) => page.byteLength >= 2048)
  .sort((a, b) => a.byteLength - b.byteLength)[0]?.slice(0, 2048);

async function rewrite(bodies, handlers) {
  let bytes = 0;
  for (const body of bodies) {
    const rewriter = new HTMLRewriter();
    for (const selector of handlers) rewriter.on(selector, { element() { throw new Error(); } });
    await rewriter.transform(new Response(body)).arrayBuffer();
    bytes += body.byteLength;
  }
  return bytes;
}

const rows = {
  'lol-html': () => rewrite(pages, []),
  'lol-html no match': () => rewrite(pages, ['no-such-element']),
  'lol-html small': () => rewrite([small], ['no-such-element']),
};

for await (const name of createInterface({ input: process.stdin })) {
  if (!(name in rows)) {
    console.log(`no row ${name}`);
    continue;
  }
  const begin = performance.now();
  const cpu = process.cpuUsage();
  let bytes = 0;
  do bytes += await rows[name](); while (performance.now() - begin < SHORTEST_ROUND);
  const { user, system } = process.cpuUsage(cpu);
  console.log(bytes, (performance.now() - begin) / 1e3, (user + system) / 1e6);
}
