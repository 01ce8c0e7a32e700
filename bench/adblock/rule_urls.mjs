// Turns the rules of lists into URLs that they should match, as more to compare than pages have.
//
//   node rule_urls.mjs EVERY LIST... > FILE     of every so many rules one
//
// A line is the page's host, a tab and the URL, as adblock_bench reads them. Every third one has
// a byte too many, so that near misses are among them.
import { readFileSync } from 'node:fs';

const [every, ...files] = process.argv.slice(2);

function urlOf(rule, number) {
  const [, , pattern, options = ''] = /^(@@)?(.*?)(?:\$([~\w,=|.*-]+))?$/.exec(rule);
  if (/^\/.*\/$/.test(pattern)) return null;
  const filled = pattern.replace(/\|$/, '').replaceAll('*', ['', 'x', '/a1/'][number % 3])
      .replaceAll('^', (_, at) => (/^\|\|[\w.-]+$/.test(pattern.slice(0, at)) ? '/' : '/?&'[number % 3]));
  const page = /(?:^|,)domain=(?!~)([\w.-]+)/.exec(options)?.[1] ?? 'www.site.example';
  let url;
  if (filled.startsWith('||')) url = `https://${['', 'www.', 'cdn.'][number % 3]}${filled.slice(2)}`;
  else if (filled.startsWith('|')) url = filled.slice(1);
  else if (filled.startsWith('://')) url = `https${filled}`;
  else url = `https://www.other.example/${filled.replace(/^\//, '')}`;
  if (!URL.canParse(url) || !/^https?:/.test(url)) return null;
  if (number % 3 === 2) url += 'q';
  const isFirstParty = /(?:^|,)(?:~third-party|~3p|first-party|1p)(?:,|$)/.test(options);
  return [isFirstParty ? new URL(url).hostname : page, url];
}

files.flatMap((file) => readFileSync(file, 'utf8').split('\n').map((line) => line.trim()))
    .filter((line) => line && !/^[![]|#[@?$%]*#/.test(line))
    .filter((_, number) => number % Number(every) === 0)
    .map(urlOf)
    .filter((row) => row !== null)
    .forEach((row) => console.log(row.join('\t')));
