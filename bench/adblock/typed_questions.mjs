// Holds `velmora ads --batch` against an open engine over typed requests, with the same lists.
//
//   node typed_questions.mjs VELMORA QUESTIONS LIST...
//
// QUESTIONS has lines "page host<tab>address", as adblock_bench --addresses and rule_addresses.mjs
// print them. Each address is asked with a type that its rule or its name suggests, and with two
// others. The engine (npm `@gorhill/ubo-core`) is fetched for this comparison only, into a temporary
// folder, or the one that COMPARE_MODULES names. "allowed" counts as "none" here, since the engine
// looks for allowing rules only where something is blocked. Asked from Node.js, the engine takes a
// request for first party only on the page's own host and below it; where a rule for third parties
// decides and both hosts end in the same two labels, the difference is counted as "by party".
import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';

const TYPES = {
  script: 'script', image: 'image', stylesheet: 'stylesheet', font: 'font', media: 'media', object: 'object',
  subdocument: 'sub_frame', xmlhttprequest: 'xmlhttprequest', websocket: 'websocket', ping: 'ping',
  popup: 'popup', document: 'main_frame', other: 'other',
};
const TYPE_OF_EXTENSION = {
  js: 'script', png: 'image', jpg: 'image', gif: 'image', css: 'stylesheet', woff2: 'font', mp4: 'media',
  html: 'subdocument', php: 'xmlhttprequest', json: 'xmlhttprequest',
};

const [velmora, file, ...listFiles] = process.argv.slice(2);
const folder = process.env.COMPARE_MODULES ?? mkdtempSync(join(tmpdir(), 'adblock-compare.'));
if (!existsSync(join(folder, 'node_modules'))) {
  writeFileSync(join(folder, 'package.json'), '{"private": true}');
  execFileSync('npm', ['install', '--silent', '--no-audit', '--no-fund', '@gorhill/ubo-core'], { cwd: folder });
}
const require = createRequire(join(folder, 'package.json'));
const module = await import(pathToFileURL(require.resolve('@gorhill/ubo-core')));
const { StaticNetFilteringEngine, pslInit } = { ...module.default, ...module };
await pslInit();
const engine = await StaticNetFilteringEngine.create();
await engine.useLists(listFiles.map((name) => ({ name, raw: readFileSync(name, 'utf8') })));

const names = Object.keys(TYPES);
const questions = readFileSync(file, 'utf8').trimEnd().split('\n').flatMap((line, number) => {
  const [host, url] = line.split('\t');
  if (!URL.canParse(url) || !URL.canParse(`https://${host}/`)) return [];
  const extension = /\.([a-z0-9]+)(?:[?#]|$)/i.exec(new URL(url).pathname)?.[1]?.toLowerCase();
  const likely = TYPE_OF_EXTENSION[extension] ?? 'other';
  return [likely, names[number % names.length], names[(number * 7 + 3) % names.length]]
      .map((type) => ({ type, page: `https://${host}/`, url }));
});
const input = questions.map(({ type, page, url }) => `${type}\t${page}\t${url}\n`).join('');
const answers = execFileSync(velmora, ['ads', '--batch', ...listFiles.flatMap((name) => ['--ad-lists', name])],
    { input, encoding: 'utf8', maxBuffer: 1 << 28 }).split('\n');
const table = Object.fromEntries(names.map((name) => [name, { asked: 0, blocked: 0, different: 0 }]));
const differences = [];
const endOf = (address) => new URL(address).hostname.split('.').slice(-2).join('.');
let byParty = 0;
questions.forEach(({ type, page, url }, number) => {
  const [verdict, rule] = answers[number].split('\t');
  const theirs = engine.matchRequest({ originURL: type === 'document' ? url : page, url, type: TYPES[type] }) === 1;
  const row = table[type];
  row.asked += 1;
  row.blocked += theirs;
  if ((verdict === 'blocked') === theirs) return;
  const theirRule = theirs ? engine.toLogData()?.raw ?? '' : '';
  if (endOf(page) === endOf(url) && /[$,](3p|third-party)\b/.test(theirRule)) {
    byParty += 1;
    return;
  }
  row.different += 1;
  differences.push(`${type} ${url.slice(0, 120)} on ${page}: here ${verdict} ${rule}, ` +
      `there ${theirs ? `blocked ${theirRule}` : 'none'}`);
});
console.table(table);
console.log(`${questions.length} questions, ${differences.length} answered otherwise ` +
    `(${byParty} more by party; ${(100 - 100 * differences.length / questions.length).toFixed(3)} % agree)`);
differences.slice(0, 40).forEach((difference) => console.log(difference));
