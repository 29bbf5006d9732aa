// Changes copies of files that Access wrote, table by table and column by column, by `vntfix sql`.
//
//   node change_samples.mjs VNTFIX SAMPLES FOLDER
//
// The copies come into FOLDER; their names are printed, one a line. Files with faults of their own are left out.
// Ends with 1 when `vntfix check` finds a fault in a changed one or nothing could be changed.
import { spawnSync } from 'node:child_process';
import fs from 'node:fs';
import path from 'node:path';

const [vntfix, samples, folder] = process.argv.slice(2);
const run = (args) => spawnSync(vntfix, args, { encoding: 'utf8', maxBuffer: 1 << 30 });

// Another value for a column of that type in the words of `vntfix schema`.
function another(type, name) {
  if (type.includes('/*')) return null;
  if (/^(TEXT|CHAR)/.test(type)) return `Left([${name}] & 'z', 3)`;
  if (type === 'MEMO') return `[${name}] & String(700, 'm')`;
  if (type === 'YESNO') return `Not [${name}]`;
  if (type === 'DATETIME') return '#2024-02-29 12:34:56#';
  if (/^(BYTE|SHORT|LONG|SINGLE|DOUBLE|CURRENCY|DECIMAL|BIGINT)/.test(type)) return `Iif([${name}] > 100, 7, [${name}] + 1)`;
  return null;
}

let changed = 0;
let faults = 0;
for (const format of ['jet4', 'ace12', 'ace14', 'hard']) {
  for (const name of fs.readdirSync(path.join(samples, format)).sort()) {
    const copy = path.join(folder, `${format}-${name}`);
    fs.writeFileSync(copy, fs.readFileSync(path.join(samples, format, name)));
    if (run(['check', copy]).status !== 0) continue;
    for (const [, table, columns] of run(['schema', copy]).stdout.matchAll(/^CREATE TABLE \[(.*?)\] \(\n([^]*?)\);\n/gm)) {
      const execute = (sql) => { if (run(['sql', copy, sql]).status === 0) ++changed; };
      for (const [, column, type] of columns.matchAll(/^  \[(.*?)\] (.*?)(?: NOT NULL)?,?$/gm)) {
        const value = another(type, column);
        if (value !== null) execute(`UPDATE [${table}] SET [${column}] = ${value}`);
      }
      execute(`ALTER TABLE [${table}] ADD COLUMN [added text] TEXT(40)`);
      execute(`ALTER TABLE [${table}] ADD COLUMN [added number] DOUBLE`);
      execute(`UPDATE [${table}] SET [added number] = 2.5`);
    }
    const check = run(['check', copy]);
    if (check.status !== 0) {
      console.error(`${copy}: ${check.stdout}${check.stderr}`);
      ++faults;
    }
    console.log(copy);
  }
}
process.exit(faults > 0 || changed === 0 ? 1 : 0);
