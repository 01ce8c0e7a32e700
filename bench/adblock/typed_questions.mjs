// Holds `velmora ads --batch` against open engines over typed requests, with the same lists: how many
// verdicts agree, by type.
//
//   node typed_questions.mjs VELMORA ENGINES URLS LIST...
//
// ENGINES is what get_engines.sh made. URLS has lines "page host<tab>URL", as adblock_bench
// --urls and rule_urls.mjs print them. Each URL is asked with the type that its name
// suggests, and with two others. "allowed" counts as "none" here, since the engines look for allowing
// rules only where something is blocked. Two of the engines hold that a rule without types is for
// pages and pop-ups too; what that makes differ is counted and not listed.
import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { likelyType, makeEngine, UBO_TYPES } from './engines.mjs';

const [velmora, engines, file, ...lists] = process.argv.slice(2);
const names = Object.keys(UBO_TYPES);
const questions = readFileSync(file, 'utf8').trimEnd().split('\n').flatMap((line, number) => {
  const [host, url] = line.split('\t');
  if (!URL.canParse(url) || !URL.canParse(`https://${host}/`)) return [];
  return [likelyType(url), names[number % names.length], names[(number * 7 + 3) % names.length]]
      .map((type) => ({ type, host: type === 'document' ? new URL(url).host : host, url }));
});
const run = (command, argumentList, input) => execFileSync(command, argumentList,
    { input, encoding: 'utf8', maxBuffer: 1 << 28 }).trimEnd().split('\n').map((line) => {
  const [verdict, rule] = line.split('\t');
  return { blocked: verdict === 'blocked', text: `${verdict} ${rule ?? ''}` };
});

const ours = run(velmora, ['ads', '--batch', ...lists.flatMap((name) => ['--ad-lists', name])],
    questions.map(({ type, host, url }) => `${type}\thttps://${host}/\t${url}\n`).join(''));
const theirs = {};
for (const name of ['@gorhill/ubo-core', '@ghostery/adblocker']) {
  const engine = await makeEngine(name, engines, lists);
  await engine.load();
  theirs[name] = questions.map(({ type, host, url }) => {
    const { verdict, rule } = engine.judge({ type, page: `https://${host}/`, url });
    return { blocked: verdict === 'blocked', text: `${verdict} ${rule}` };
  });
}
const rust = join(engines, 'adblock_rust/target/release/adblock_contender');
if (existsSync(rust)) {
  const folder = mkdtempSync(join(tmpdir(), 'questions.'));
  writeFileSync(join(folder, 'questions'), questions.map(({ type, host, url }) => `${type}\t${host}\t${url}\n`).join(''));
  theirs['adblock-rust'] = run(rust, ['--verdicts', join(folder, 'questions'), ...lists]);
  rmSync(folder, { recursive: true });
}

const share = (different, asked) => `${different} (${(100 - 100 * different / asked).toFixed(3)} %)`;
const rows = Object.fromEntries([...names, 'all'].map((name) => [name, { asked: 0, blocked: 0 }]));
const differences = [];
questions.forEach(({ type, host, url }, number) => {
  for (const row of [rows[type], rows.all]) {
    row.asked += 1;
    row.blocked += ours[number].blocked;
    for (const name of Object.keys(theirs)) {
      row[name] = (row[name] ?? 0) + (theirs[name][number].blocked !== ours[number].blocked);
    }
  }
  for (const name of Object.keys(theirs)) {
    if (theirs[name][number].blocked === ours[number].blocked) continue;
    if (name !== '@gorhill/ubo-core' && ['popup', 'document'].includes(type)) continue;
    differences.push(`${name}: ${type} ${url.slice(0, 120)} on ${host}: here ${ours[number].text}, ` +
        `there ${theirs[name][number].text}`);
  }
});
for (const row of Object.values(rows)) {
  for (const name of Object.keys(theirs)) row[name] = share(row[name] ?? 0, row.asked);
}
console.log('Answered otherwise, and how many agree:');
console.table(rows);
differences.forEach((difference) => console.log(difference));
