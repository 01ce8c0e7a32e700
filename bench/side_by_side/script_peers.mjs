// A contender of the comparison, in JavaScript: readers of scripts, run by node as their users do.
//
//   node script_peers.mjs PEERS SCRIPTS
import { createRequire } from 'node:module';
import { resolve } from 'node:path';
import { answerRows, readFiles } from './rows.mjs';

const [peers, scripts] = process.argv.slice(2);
const require = createRequire(resolve(peers, 'package.json'));
const moduleLexer = require('es-module-lexer');
const acorn = require('acorn');
await moduleLexer.init;

const OPTIONS = { ecmaVersion: 'latest' };

function over(folder, work) {
  const files = readFiles(`${scripts}/${folder}`, '.js');
  const bytes = files.reduce((sum, file) => sum + file.byteLength, 0);
  const texts = files.map((file) => Buffer.from(file).toString());
  return () => {
    for (const text of texts) work(text);
    return bytes;
  };
}

function tokenize(text) {
  const tokenizer = acorn.tokenizer(text, OPTIONS);
  while (tokenizer.getToken().type !== acorn.tokTypes.eof);
}

const rows = {};
for (const folder of ['plain', 'minified']) {
  rows[`es-module-lexer ${folder}`] = over(folder, moduleLexer.parse);
  rows[`acorn ${folder}`] = over(folder, tokenize);
}
await answerRows(rows);
