// A contender of the comparison: an open engine, run by node.
//
//   node engine_peer.mjs ENGINE PEERS QUESTIONS LIST...
import { statSync } from 'node:fs';
import { answerRows } from '../side_by_side/rows.mjs';
import { makeEngine, readQuestions } from './engines.mjs';

const [name, peers, file, ...lists] = process.argv.slice(2);
const questions = readQuestions(file);
const bytes = lists.reduce((sum, list) => sum + statSync(list).size, 0);
const engine = await makeEngine(name, peers, lists);
let isLoaded = false;

async function load() {
  await engine.load();
  isLoaded = true;
  return bytes;
}

await answerRows({
  load,
  async questions() {
    if (!isLoaded) await load();
    for (const question of questions) engine.ask(question);
    return questions.length;
  },
});
