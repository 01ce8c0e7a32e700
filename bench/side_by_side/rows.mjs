// Rows of a contender in JavaScript: reads their names, one a line, and answers each with
// "BYTES WALL_SECONDS CPU_SECONDS".
import { readdirSync, readFileSync } from 'node:fs';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

// As in rows.cpp.
const SHORTEST_ROUND = 400;

export function readFiles(folder, extension) {
  const names = readdirSync(folder).filter((name) => name.endsWith(extension)).sort();
  return names.map((name) => new Uint8Array(readFileSync(join(folder, name))).slice().buffer);
}

/// `rows`: functions that do their work once and return the number of bytes that they went over.
export async function answerRows(rows) {
  for await (const name of createInterface({ input: process.stdin })) {
    if (!(name in rows)) {
      console.log(`no row ${name}`);
      continue;
    }
    const begin = performance.now();
    const cpu = process.cpuUsage();
    let bytes = 0;
    do bytes += await rows[name](); while (performance.now() - begin < SHORTEST_ROUND);
    const { user, system } = process.cpuUsage(cpu);
    console.log(bytes, (performance.now() - begin) / 1e3, (user + system) / 1e6);
  }
}
