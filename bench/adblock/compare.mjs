// Compares the verdicts of the ad-blocking library with those of two open engines over the URLs
// of real pages, with the same lists.
//
//   node compare.mjs ADBLOCK_BENCH ENGINES PAGES LIST...
//
// ENGINES is what get_engines.sh made. The library is asked without a request type, so each engine is
// asked once for each of the types that the library stands for: its verdict is "allowed" if any type
// is allowed, else "blocked" if any is blocked.
import { execFileSync } from 'node:child_process';
import { ENGINES, makeEngine } from './engines.mjs';

const TYPES = ['script', 'image', 'object', 'subdocument', 'media', 'other'];

const [bench, engines, pages, ...lists] = process.argv.slice(2);
const questions = execFileSync(bench, ['--verdicts', pages, ...lists],
    { encoding: 'utf8', maxBuffer: 1 << 28 }).trimEnd().split('\n').map((line) => {
  const [host, url, verdict, rule] = line.split('\t');
  return { page: `https://${host}/`, url, verdict, rule };
}).filter(({ url }) => URL.canParse(url));

for (const name of Object.keys(ENGINES)) {
  const engine = await makeEngine(name, engines, lists);
  await engine.load();
  console.log(name);
  const counts = new Map();
  const kinds = new Map();
  for (const question of questions) {
    const answers = TYPES.map((type) => engine.judge({ ...question, type }));
    const theirs = answers.find(({ verdict }) => verdict === 'allowed') ??
        answers.find(({ verdict }) => verdict === 'blocked') ?? answers[0];
    const pair = `ours ${question.verdict}, theirs ${theirs.verdict}`;
    counts.set(pair, (counts.get(pair) ?? 0) + 1);
    if (question.verdict === theirs.verdict) continue;
    const kind = `${pair}\n      ours   ${question.rule}\n      theirs ${theirs.rule}`;
    if (!kinds.has(kind)) kinds.set(kind, []);
    kinds.get(kind).push(question);
  }
  for (const [pair, count] of [...counts].sort((a, b) => b[1] - a[1])) console.log(`  ${count} ${pair}`);
  for (const [kind, rows] of [...kinds].sort((a, b) => b[1].length - a[1].length)) {
    console.log(`    ${rows.length} ${kind}\n      e.g.   ${rows[0].url.slice(0, 150)} on ${rows[0].page}`);
  }
}
