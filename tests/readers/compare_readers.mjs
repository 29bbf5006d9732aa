// Compares what `vntfix export` prints of a file with what two independent readers find in it: mdb-export and the
// mdb-reader package. Every table, every row, every value. Rows are compared in the order of the file; where it
// differs (the readers show a row that has moved where its bytes are), a row may stand elsewhere.
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

// Stands for a value that a reader is known to get wrong.
const unknown = Symbol('unknown');

// mdb-export prints about sixteen digits, ours are the shortest that read back the same.
function same(ours, theirs) {
  if (ours === theirs || theirs === unknown) return true;
  if (ours === null || theirs === null) return false;
  const a = Number(ours), b = Number(theirs);
  return ours.trim() !== '' && Number.isFinite(a) && Number.isFinite(b) && Math.abs(a - b) <= 1e-7 * 1e-7 * Math.abs(a) * 10;
}
// Single precision: compare after rounding to it.
const sameSingle = (ours, theirs) =>
  ours === theirs || theirs === unknown || (ours !== null && theirs !== null && Math.fround(Number(ours)) === Math.fround(Number(theirs)));

function readerText(value, type) {
  if (value === null || value === undefined) return null;
  if (value instanceof Date) {
    // The reader counts the time of days before 1899-12-30 backwards.
    if (value < new Date('1899-12-30') && value.getTime() % 86400000 !== 0) return unknown;
    return value.toISOString().replace('T', ' ').slice(0, 19);
  }
  if (type === 'datetimextended') return String(value).replaceAll('.', '-').replace(/-(?=[^-]*$)/, '.').slice(0, -2);
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
  if (type === 'datetimextended') return unknown;
  // Dates before 1900.
  if (type === 'datetime' && theirs !== null && /^1900-01-00|^18|^1[0-7]|^0/.test(theirs)) return unknown;
  if ((type === 'ole' || type === 'binary') && theirs !== null) return theirs.toLowerCase();
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

// Reports the rows of ours that have no equal among theirs.
function compareRows(reader, table, ours, theirs, columns, types) {
  if (ours.length !== theirs.length) report(`${table}: ${ours.length} rows here, ${theirs.length} in ${reader}`);
  const wrongColumn = (row, other) =>
    columns.find((c) => !(types[c] === 'float' ? sameSingle : same)(row[c], other[c]));
  const left = theirs.slice();
  const unmatched = [];
  ours.forEach((row, r) => {
    if (theirs[r] !== undefined && wrongColumn(row, theirs[r]) === undefined) left[r] = undefined;
    else unmatched.push(r);
  });
  for (const r of unmatched) {
    const found = left.findIndex((other) => other !== undefined && wrongColumn(ours[r], other) === undefined);
    if (found >= 0) {
      left[found] = undefined;
    } else if (theirs[r] !== undefined) {
      const c = wrongColumn(ours[r], theirs[r]);
      report(`${table} row ${r + 1} ${c}: ${short(ours[r][c])} here, ${short(theirs[r][c])} in ${reader}`);
    }
  }
}
const short = (value) => String(value).slice(0, 100);

// Texts of values by column name.
const objects = (rows) => rows.slice(1).map((row) => Object.fromEntries(rows[0].map((name, i) => [name, row[i]])));

function compareTable(file, reader, table) {
  const readerTable = reader.getTable(table);
  const types = Object.fromEntries(readerTable.getColumns().map((c) => [c.name, c.type]));
  const csv = parseCsv(run(vntfix, ['export', file, table]));
  const ours = objects(csv);
  const mdb = objects(parseCsv(run('mdb-export', ['-D', '%Y-%m-%d %H:%M:%S', '-T', '%Y-%m-%d %H:%M:%S', '-b', 'hex', file, table])));
  // Neither reader knows the frame around the values of calculated columns.
  const schema = run(vntfix, ['schema', file, table]);
  const columns = csv[0].filter((c) => !schema.includes(`[${c}] /* calculated */`));
  const header = Object.keys(types).sort().join();
  if (csv[0].slice().sort().join() !== header) report(`${table}: columns ${csv[0]} here, ${header} in mdb-reader`);
  mdb.forEach((row, r) => {
    for (const c of columns) row[c] = mdbText(row[c], ours[r]?.[c], types[c]);
  });
  compareRows('mdb-export', table, ours, mdb, columns, types);
  const data = readerTable.getData().map((row) => Object.fromEntries(columns.map((c) => [c, readerText(row[c], types[c])])));
  compareRows('mdb-reader', table, ours, data, columns, types);
  return ours.length;
}

// Tables of types that mdb-reader gives up on.
const unreadable = /complex column|Unsupported column type/;

for (const file of files) {
  const reader = new MDBReader(fs.readFileSync(file));
  let rows = 0;
  const tables = reader.getTableNames();
  for (const table of tables) {
    try {
      rows += compareTable(file, reader, table);
    } catch (error) {
      if (!unreadable.test(error.message)) throw error;
      console.log(`${path.basename(file)}: ${table} is not compared: ${error.message}`);
    }
  }
  if (tables.length === 0) report(`${file}: no tables`);
  console.log(`${path.basename(file)}: ${tables.length} tables, ${rows} rows`);
}
console.log(failures === 0 ? 'All readers agree.' : `${failures} differences.`);
process.exit(failures === 0 ? 0 : 1);
