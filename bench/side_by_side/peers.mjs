// A contender of the comparison, in JavaScript, run by bun, which has lol-html inside.
//
//   bun peers.mjs PAGES
import { answerRows, readFiles } from './rows.mjs';

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

await answerRows(rows);
