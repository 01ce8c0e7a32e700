// Compares the ad-blocking library with two open engines: speed, memory, and verdicts over the
// addresses of real pages, with the same lists, in the same run.
//
//   node compare.mjs ADBLOCK_BENCH PAGES LIST...
//
// The engines are npm packages; they are fetched for this comparison only, into a temporary folder
// (or the one that COMPARE_MODULES names). The library is asked without a request type, so each
// engine is asked once for each of the types that the library stands for: its verdict is "allowed"
// if any type is allowed, else "blocked" if any is blocked. Times are of one type a question.

import { execFileSync } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { pathToFileURL } from 'node:url';

const PACKAGES = ['@gorhill/ubo-core', '@ghostery/adblocker'];
const UBO_TYPES = ['script', 'image', 'object', 'sub_frame', 'media', 'other'];
const TYPE_OF_EXTENSION = { js: 'script', png: 'image', jpg: 'image', gif: 'image', html: 'sub_frame' };

async function importFrom(folder, name) {
  const require = createRequire(join(folder, 'package.json'));
  const module = await import(pathToFileURL(require.resolve(name)));
  return { ...module.default, ...module };
}

function typeOf(url) {
  const extension = /\.([a-z0-9]+)(?:[?#]|$)/i.exec(new URL(url).pathname)?.[1]?.toLowerCase();
  return TYPE_OF_EXTENSION[extension] ?? 'other';
}

async function uboCore(folder, lists) {
  const { StaticNetFilteringEngine, pslInit } = await importFrom(folder, '@gorhill/ubo-core');
  await pslInit();
  const engine = await StaticNetFilteringEngine.create();
  return {
    name: '@gorhill/ubo-core',
    load: () => engine.useLists(lists.map(({ name, text }) => ({ name, raw: text }))),
    ask: ({ page, url, type }) => engine.matchRequest({ originURL: page, url, type }),
    verdict({ page, url }) {
      const answers = UBO_TYPES.map((type) => {
        const answer = engine.matchRequest({ originURL: page, url, type });
        return { answer, rule: answer ? engine.toLogData()?.raw ?? '' : '' };
      });
      const pick = answers.find((a) => a.answer === 2) ?? answers.find((a) => a.answer === 1);
      return { verdict: ['none', 'blocked', 'allowed'][pick?.answer ?? 0], rule: pick?.rule ?? '' };
    },
  };
}

async function ghostery(folder, lists) {
  const { FiltersEngine, Request } = await importFrom(folder, '@ghostery/adblocker');
  let engine;
  const request = (page, url, type) => Request.fromRawDetails({ url, sourceUrl: page, type });
  return {
    name: '@ghostery/adblocker',
    load() {
      engine = FiltersEngine.parse(lists.map(({ text }) => text).join('\n'), { debug: true });
    },
    ask: ({ page, url, type }) => engine.match(request(page, url, type)),
    verdict({ page, url }) {
      const answers = UBO_TYPES.map((type) => engine.match(request(page, url, type)));
      const allowed = answers.find((a) => a.exception !== undefined);
      const blocked = answers.find((a) => a.match);
      const rule = (allowed?.exception ?? blocked?.filter)?.rawLine ?? '';
      return { verdict: allowed ? 'allowed' : blocked ? 'blocked' : 'none', rule };
    },
  };
}

function measure(engine, questions) {
  for (const question of questions) engine.ask(question);
  const times = [];
  let total = 0;
  const rounds = 5;
  for (let round = 0; round < rounds; ++round) {
    const start = process.cpuUsage();
    for (const question of questions) engine.ask(question);
    const { user, system } = process.cpuUsage(start);
    total += user + system;
  }
  for (const question of questions) {
    const start = process.hrtime.bigint();
    engine.ask(question);
    times.push(Number(process.hrtime.bigint() - start) / 1000);
  }
  times.sort((a, b) => a - b);
  return { mean: total / rounds / questions.length, p99: times[Math.floor(times.length * 0.99)] };
}

const [bench, pages, ...listFiles] = process.argv.slice(2);
const folder = process.env.COMPARE_MODULES ?? mkdtempSync(join(tmpdir(), 'adblock-compare.'));
if (!existsSync(join(folder, 'node_modules'))) {
  writeFileSync(join(folder, 'package.json'), '{"private": true}');
  execFileSync('npm', ['install', '--silent', '--no-audit', '--no-fund', ...PACKAGES], { cwd: folder });
}
for (const name of PACKAGES) {
  const { version } = JSON.parse(readFileSync(join(folder, 'node_modules', name, 'package.json')));
  console.log(`${name} ${version}`);
}

console.log(execFileSync(bench, [pages, ...listFiles], { encoding: 'utf8' }));
const ours = execFileSync(bench, ['--verdicts', pages, ...listFiles],
    { encoding: 'utf8', maxBuffer: 1 << 28 }).trimEnd().split('\n').map((line) => {
  const [host, url, verdict, rule] = line.split('\t');
  return { page: `https://${host}/`, url, verdict, rule };
});
const questions = ours.filter(({ url }) => URL.canParse(url))
    .map((row) => ({ ...row, type: typeOf(row.url) }));
const lists = listFiles.map((name) => ({ name, text: readFileSync(name, 'utf8') }));

for (const make of [uboCore, ghostery]) {
  const before = process.memoryUsage().rss;
  const engine = await make(folder, lists);
  const start = process.cpuUsage();
  await engine.load();
  const { user } = process.cpuUsage(start);
  const { mean, p99 } = measure(engine, questions);
  const memory = (process.memoryUsage().rss - before) / 1048576;
  console.log(`${engine.name}: load ${(user / 1000).toFixed(0)} ms, mean ${mean.toFixed(2)} us, ` +
      `99% ${p99.toFixed(2)} us, ${memory.toFixed(0)} MB more resident`);
  const counts = new Map();
  const kinds = new Map();
  for (const question of questions) {
    const theirs = engine.verdict(question);
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
