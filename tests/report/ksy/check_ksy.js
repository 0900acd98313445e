// Compiles a .ksy of ovrell-report with the Kaitai Struct compiler to
// JavaScript and reads every file of the project with the parser:
//   node check_ksy.js KSY EXPECTED.json WORKDIR
// EXPECTED: {"id": root id, "files": [[path, {attribute: value, ...}], ...]}.
// Checks: the root id; every identifier valid and unique in its scope as
// the generated code names it; the parser reads each file to its end (the
// constant runs' contents and checks hold); each long constant run has its
// CRC-32; each checksum holds, computed from its -ovrell-checksum; a text
// or decimal value field reads the file's value; each informative field's
// value is in the enum, whose entry lists the file's group and whose name
// the generated code knows; a constant byte changed makes the parser fail.
// Prints the counts of fields and checksums checked.
'use strict';
const fs = require('fs');
const path = require('path');
const yaml = require('js-yaml');
const compiler = require('kaitai-struct-compiler');
const KaitaiStream = require('kaitai-struct/KaitaiStream');

const [ksyPath, expectedPath, work] = process.argv.slice(2);
const ksy = yaml.load(fs.readFileSync(ksyPath, 'utf8'));
const expected = JSON.parse(fs.readFileSync(expectedPath, 'utf8'));
const failures = [];
const check = (ok, what) => { if (!ok) failures.push(what); };

const camel = (id) => id.replace(/_(.)/g, (_, c) => c.toUpperCase());
const upper = (id) => camel(id).replace(/^./, (c) => c.toUpperCase());
// The ids of one scope: each valid, no two the same in camel case.
const scope = (ids, what) => {
  const seen = new Set();
  for (const id of ids) {
    check(/^[a-z][a-z0-9_]*$/.test(id) && !/__|_$/.test(id), `${what}: invalid id ${id}`);
    check(!seen.has(camel(id)), `${what}: ${id} clashes`);
    seen.add(camel(id));
  }
};

const kCrc32 = { algorithm: 'crc', width: 32,
  crc: { poly: 0x04c11db7, init: 0xffffffff, refin: true, refout: true, xorout: 0xffffffff } };
// The bytes a field of the seq takes.
const sizeOf = (attr) => attr.contents ? attr.contents.length : attr.size || +attr.type[1];

// The checksum -ovrell-checksum claims for the field at first..last, from
// its definition (CRCs bit by bit); null for Adler-32 and Fletcher.
const checksumOf = (c, bytes, first, last) => {
  const data = Buffer.from(bytes.subarray(c.covers[0], c.covers[1] + 1));
  if (c.field_read_as) data.fill(c.field_read_as === 'zeros' ? 0 : 0x20, first - c.covers[0],
    last + 1 - c.covers[0]);
  const w = BigInt(c.width), mask = (1n << w) - 1n;
  const reflect = (v, n) => { let r = 0n; for (let i = 0n; i < n; i++) r |= ((v >> i) & 1n) << (n - 1n - i); return r; };
  if (c.algorithm === 'crc') {
    let reg = BigInt(c.crc.init);
    for (const b of data) {
      reg ^= (c.crc.refin ? reflect(BigInt(b), 8n) : BigInt(b)) << (w - 8n);
      for (let k = 0; k < 8; k++) reg = ((reg << 1n) ^ (reg >> (w - 1n) ? BigInt(c.crc.poly) : 0n)) & mask;
    }
    return (c.crc.refout ? reflect(reg, w) : reg) ^ BigInt(c.crc.xorout);
  }
  if (c.algorithm !== 'sum' && c.algorithm !== 'xor') return null;
  let acc = 0n;
  for (let i = 0; i < data.length; i += c.unit) {
    let word = 0n;
    for (let j = 0; j < c.unit; j++)
      word |= BigInt(data[i + j] || 0) << BigInt(8 * (c.word_order === 'big' ? c.unit - 1 - j : j));
    acc = c.algorithm === 'sum' ? (acc + word) & mask : acc ^ word;
  }
  return c.complement === 'twos' ? -acc & mask : c.complement === 'ones' ? ~acc & mask : acc;
};

async function main() {
  check(ksy.meta.id === expected.id, `root id ${ksy.meta.id}, not ${expected.id}`);
  const files = await compiler.compile('javascript', ksy, null, false);
  for (const [name, text] of Object.entries(files)) fs.writeFileSync(path.join(work, name), text);
  const Root = require(path.resolve(work, Object.keys(files)[0]))[upper(ksy.meta.id)];
  const seq = ksy.seq || [];
  const instances = Object.entries(ksy.instances || {});
  scope([...seq.map((a) => a.id), ...instances.map(([id]) => id)], 'root');
  scope(Object.keys(ksy.types || {}), 'types');
  let fields = 0, checksums = 0;
  for (const [file, values] of expected.files) {
    const bytes = fs.readFileSync(file);
    const parsed = new Root(new KaitaiStream(bytes));
    check(parsed._io.pos === bytes.length, `${file}: the seq ends at ${parsed._io.pos}`);
    let at = 0;  // each checksum and long constant run holds, each text value reads
    for (const attr of seq) {
      const value = parsed[camel(attr.id)], size = sizeOf(attr), last = at + size - 1;
      const c = attr['-ovrell-checksum'] || (attr['-ovrell-crc32'] !== undefined && !attr.valid &&
        { ...kCrc32, covers: [at, last], stored: attr['-ovrell-crc32'] });
      const sum = c && checksumOf(c, bytes, at, last);
      if (sum !== null && sum !== false) {
        const stored = c.stored ?? (typeof value === 'string' ? parseInt(value, 8) : value);
        check(typeof stored === 'number' && sum === BigInt(stored), `${file}: ${attr.id} ${sum}`);
        checksums += !c.stored;
      }
      const own = values[attr['-ovrell-attribute']];
      if (attr['-ovrell-kind'] === 'value' && attr['-ovrell-encoding'] === 'text')
        check(value.replace(/\0+$/, '') === own, `${file}: ${value}`);
      const encoding = attr['-ovrell-encoding'] || '';
      const radix = encoding.startsWith('ascii-oct') ? 8 : encoding.startsWith('ascii-hex') ? 16 : 10;
      const number = typeof value === 'string' ? parseInt(value.replace(/[\0 ]/g, ''), radix) : value;
      if (attr['-ovrell-kind'] === 'value' && attr['-ovrell-read-as'] === 'decimal' && attr.type)
        check(number === Number(own), `${file}: ${attr.id} reads ${value}`);
      at += size;
    }
    for (const [id, instance] of instances) {
      const name = instance['-ovrell-attribute'];
      const type = ksy.types[id];
      check(type['-ovrell-attribute'] === name, `${id}: attribute ${name}`);
      scope(Object.keys(type.instances || {}), `${id} instances`);
      scope([...Object.keys(type.types || {}), ...Object.keys(type.enums || {})], `${id} types`);
      for (const [fid, field] of Object.entries(type.instances || {})) {
        let value = parsed[camel(id)][camel(fid)];
        let enumName = field.enum;
        if (field.type && field.type.endsWith('_bits')) {
          value = value.value;
          enumName = type.types[field.type].seq.slice(-1)[0].enum;
        }
        if (enumName === undefined) continue;
        const entry = type.enums[enumName][value];
        const where = `${file}: ${name} ${fid} = ${value}`;
        check(entry !== undefined, `${where}: not in the enum`);
        if (entry === undefined) continue;
        check(entry['-ovrell-groups'].includes(values[name]), `${where}: not ${values[name]}`);
        scope(Object.values(type.enums[enumName]).map((e) => e.id), `${id} ${enumName}`);
        check(Root[upper(id)][upper(enumName)][value] === entry.id.toUpperCase(),
          `${where}: the parser's enum`);
        fields++;
      }
    }
  }
  // A constant byte changed: the parser refuses the file.
  const at = seq.findIndex((a) => a.contents || a.valid);
  if (at >= 0) {
    const bytes = Buffer.from(fs.readFileSync(expected.files[0][0]));
    let offset = 0;
    for (const attr of seq.slice(0, at)) offset += sizeOf(attr);
    bytes[offset] ^= 1;
    let threw = false;
    try { new Root(new KaitaiStream(bytes)); } catch (e) { threw = /Validation/.test(e.name || e); }
    check(threw, `a changed byte at ${offset} passes ${seq[at].id}`);
  }
  if (failures.length) {
    console.log(failures.slice(0, 20).join('\n'));
    process.exit(1);
  }
  console.log(`${fields} fields and ${checksums} checksums checked`);
}
main().catch((e) => { console.log(`FAIL: ${e.stack || e}`); process.exit(1); });
