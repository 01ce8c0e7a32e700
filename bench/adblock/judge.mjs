// An open engine behind the lines of `velmora ads --batch`, so that it can judge in that command's place:
// reads "TYPE<tab>PAGE URL<tab>URL", answers "blocked|allowed|none<tab>RULE".
//
//   node judge.mjs ENGINE ENGINES LIST...
//
// ENGINES is what get_engines.sh made.
import { createInterface } from 'node:readline';
import { makeEngine } from './engines.mjs';

const [name, engines, ...lists] = process.argv.slice(2);
const engine = await makeEngine(name, engines, lists);
await engine.load();
for await (const line of createInterface({ input: process.stdin })) {
  const [type, page, url] = line.split('\t');
  const { verdict, rule } = URL.canParse(url) && URL.canParse(page) ?
      engine.judge({ type, page, url }) : { verdict: 'none', rule: '' };
  process.stdout.write(`${verdict}\t${rule}\n`);
}
