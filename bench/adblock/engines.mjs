// The open engines that the library is compared with, from npm, each behind the same few operations:
//
//   load()                       reads the lists
//   ask({ page, url, type })     is a request of that type answered at all? For measuring.
//   judge({ page, url, type })   { verdict: 'none' | 'blocked' | 'allowed', rule }
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

/// Types of requests by the names that rules have for them: those that @gorhill/ubo-core uses.
export const UBO_TYPES = {
  script: 'script', image: 'image', stylesheet: 'stylesheet', font: 'font', media: 'media', object: 'object',
  subdocument: 'sub_frame', xmlhttprequest: 'xmlhttprequest', websocket: 'websocket', ping: 'ping',
  popup: 'popup', document: 'main_frame', other: 'other',
};

const TYPE_OF_EXTENSION = {
  js: 'script', png: 'image', jpg: 'image', gif: 'image', css: 'stylesheet', woff2: 'font', mp4: 'media',
  html: 'subdocument', php: 'xmlhttprequest', json: 'xmlhttprequest',
};

/// The type that a URL suggests.
export function likelyType(url) {
  const extension = /\.([a-z0-9]+)(?:[?#]|$)/i.exec(new URL(url).pathname)?.[1]?.toLowerCase();
  return TYPE_OF_EXTENSION[extension] ?? 'other';
}

async function importFrom(folder, name) {
  const require = createRequire(resolve(folder, 'package.json'));
  const module = await import(pathToFileURL(require.resolve(name)));
  return { ...module.default, ...module };
}

/// Of Debian's package publicsuffix.
const SUFFIXES = '/usr/share/publicsuffix/public_suffix_list.dat';

async function uboCore(folder, lists) {
  const { StaticNetFilteringEngine, pslInit } = await importFrom(folder, '@gorhill/ubo-core');
  // Left to itself under Node.js the engine refuses its own packed list of public suffixes without a
  // word, and takes every host for a party of its own.
  pslInit(readFileSync(SUFFIXES, 'utf8'));
  const engine = await StaticNetFilteringEngine.create({ noPSL: true });
  const ask = ({ page, url, type }) => engine.matchRequest({ originURL: page, url, type: UBO_TYPES[type] });
  return {
    load: () => engine.useLists(lists.map(({ name, text }) => ({ name, raw: text }))),
    ask,
    judge(question) {
      const answer = ask(question);
      return { verdict: ['none', 'blocked', 'allowed'][answer], rule: answer ? engine.toLogData()?.raw ?? '' : '' };
    },
  };
}

async function ghostery(folder, lists) {
  const { FiltersEngine, Request } = await importFrom(folder, '@ghostery/adblocker');
  let engine;
  const ask = ({ page, url, type }) => engine.match(
      Request.fromRawDetails({ url, sourceUrl: page, type: UBO_TYPES[type] }));
  return {
    load() {
      engine = FiltersEngine.parse(lists.map(({ text }) => text).join('\n'), { debug: true });
    },
    ask,
    judge(question) {
      const { exception, match, filter } = ask(question);
      return {
        verdict: exception !== undefined ? 'allowed' : match ? 'blocked' : 'none',
        rule: (exception ?? filter)?.rawLine ?? '',
      };
    },
  };
}

export const ENGINES = { '@gorhill/ubo-core': uboCore, '@ghostery/adblocker': ghostery };

export async function makeEngine(name, folder, listFiles) {
  return ENGINES[name](folder, listFiles.map((file) => ({ name: file, text: readFileSync(file, 'utf8') })));
}

/// The lines "TYPE<tab>PAGE HOST<tab>URL" of a file.
export function readQuestions(file) {
  return readFileSync(file, 'utf8').trimEnd().split('\n').map((line) => {
    const [type, host, url] = line.split('\t');
    return { type, page: `https://${host}/`, url };
  });
}
