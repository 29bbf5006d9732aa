// Compares what `vntfix export` prints of a file with what two independent readers find in it: mdb-export and the
// mdb-reader package. Every table, every row in the order of the file, every value.
//
//   node compare_readers.mjs VNTFIX MODULES FILE...
//
// Prints a line per file and ends with 1 when anything differs.
import { execFileSync } from 'node:child_process';
import { createRequire } from 'node:module';
import fs from 'node:fs';
import path from 'node:path';
import { pathToFileURL } from 'node:url';

const [vntfix, modules, ...files] = process.argv.slice(2);
const entry = createRequire(path.join(path.resolve(modules), '/')).resolve('mdb-reader');
const { default: MDBReader } = await import(pathToFileURL(entry));

const run = (program, args) => execFileSync(program, args, { encoding: 'utf8', maxBuffer: 1 << 30 });

// CSV with quoted texts; null for an empty field without quotes.
function parseCsv(text) {
  const rows = [];
  let row = [];
  let i = 0;
  while (i < text.length) {
    let value = null;
    if (text[i] === '"') {
      value = '';
      for (++i; ; ++i) {
        if (i >= text.length) throw new Error('a quoted field does not end');
        if (text[i] !== '"') value += text[i];
        else if (text[i + 1] === '"') value += text[++i];
        else break;
      }
      ++i;
    } else {
      const start = i;
      while (i < text.length && text[i] !== ',' && text[i] !== '\n') ++i;
      if (i > start) value = text.slice(start, i);
    }
    row.push(value);
    if (text[i] === ',') {
      ++i;
      if (i === text.length || text[i] === '\n') row.push(null);
    }
    if (i >= text.length || text[i] === '\n') {
      rows.push(row);
      row = [];
      ++i;
    }
  }
  return rows;
}

// mdb-export prints about sixteen digits, ours are the shortest that read back the same.
function same(ours, theirs) {
  if (ours === theirs) return true;
  if (ours === null || theirs === null) return false;
  const a = Number(ours), b = Number(theirs);
  return ours.trim() !== '' && Number.isFinite(a) && Number.isFinite(b) && Math.abs(a - b) <= 1e-7 * 1e-7 * Math.abs(a) * 10;
}
// Single precision: compare after rounding to it.
const sameSingle = (ours, theirs) =>
  ours === theirs || (ours !== null && theirs !== null && Math.fround(Number(ours)) === Math.fround(Number(theirs)));

function readerText(value, type) {
  if (value === null || value === undefined) return null;
  if (value instanceof Date) return value.toISOString().replace('T', ' ').slice(0, 19);
  if (typeof value === 'boolean') return value ? '1' : '0';
  if (Buffer.isBuffer(value)) return value.toString('hex');
  if (value instanceof Uint8Array) return Buffer.from(value).toString('hex');
  if (type === 'repid') return `{${String(value).toUpperCase()}}`;
  return String(value);
}

// What mdb-export is known to print otherwise: a zero-length text as nothing, a GUID (with -b hex) as the digits of its text, which lacks
// the last hyphen.
function mdbText(theirs, ours, type) {
  if (theirs === null && ours === '') return '';
  if (type === 'repid' && theirs !== null) {
    const text = Buffer.from(theirs, 'hex').toString('latin1');
    return text === ours?.replace(/-(?=[^-]*$)/, '') ? ours : text;
  }
  return theirs;
}

let failures = 0;
function report(message) {
  if (++failures <= 20) console.log(`  ${message}`);
}

function compareTable(file, reader, table) {
  const ours = parseCsv(run(vntfix, ['export', file, table]));
  const mdb = parseCsv(run('mdb-export', ['-D', '%Y-%m-%d %H:%M:%S', '-T', '%Y-%m-%d %H:%M:%S', '-b', 'hex', file, table]));
  const readerTable = reader.getTable(table);
  const columns = readerTable.getColumns();
  const types = Object.fromEntries(columns.map((c) => [c.name, c.type]));
  const data = readerTable.getData();
  const header = ours[0];
  if (header.join() !== mdb[0].join()) report(`${table}: columns ${header} here, ${mdb[0]} in mdb-export`);
  if (ours.length !== mdb.length) report(`${table}: ${ours.length - 1} rows here, ${mdb.length - 1} in mdb-export`);
  if (ours.length - 1 !== data.length) report(`${table}: ${ours.length - 1} rows here, ${data.length} in mdb-reader`);
  for (let r = 1; r < ours.length; ++r) {
    for (let c = 0; c < header.length; ++c) {
      const type = types[header[c]];
      const equal = type === 'float' ? sameSingle : same;
      const value = ours[r][c];
      const exported = mdb[r] && mdbText(mdb[r][c], value, type);
      if (mdb[r] && !equal(value, exported)) report(`${table} row ${r} ${header[c]}: ${value} here, ${exported} in mdb-export`);
      const other = data[r - 1] && readerText(data[r - 1][header[c]], type);
      if (data[r - 1] && !equal(value, other)) report(`${table} row ${r} ${header[c]}: ${value} here, ${other} in mdb-reader`);
    }
  }
  return ours.length - 1;
}

for (const file of files) {
  const reader = new MDBReader(fs.readFileSync(file));
  let rows = 0;
  const tables = reader.getTableNames();
  for (const table of tables) rows += compareTable(file, reader, table);
  if (tables.length === 0) report(`${file}: no tables`);
  console.log(`${path.basename(file)}: ${tables.length} tables, ${rows} rows`);
}
console.log(failures === 0 ? 'All readers agree.' : `${failures} differences.`);
process.exit(failures === 0 ? 0 : 1);
