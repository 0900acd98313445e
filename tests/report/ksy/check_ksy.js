// Compiles a .ksy of ovrell-report with the Kaitai Struct compiler to
// JavaScript and reads every file of the project with the parser:
//   node check_ksy.js KSY EXPECTED.json WORKDIR
// EXPECTED: {"id": root id, "files": [[path, {attribute: value, ...}], ...]}.
// Checks: the root id; every identifier valid and unique in its scope as
// the generated code names it; the parser reads each file to its end (the
// constant runs' contents and checks hold); each long constant run has its
// CRC-32; a text value field reads the file's value; each informative field's value is in the enum, whose entry lists
// the file's group and whose name the generated code knows; a constant byte
// changed makes the parser fail. Prints the count of fields checked.
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

const crc32 = (bytes) => {
  let c = ~0;
  for (const b of bytes) {
    c ^= b;
    for (let k = 0; k < 8; k++) c = (c >>> 1) ^ (0xedb88320 & -(c & 1));
  }
  return (~c) >>> 0;
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
  let fields = 0;
  for (const [file, values] of expected.files) {
    const bytes = fs.readFileSync(file);
    const parsed = new Root(new KaitaiStream(bytes));
    check(parsed._io.pos === bytes.length, `${file}: the seq ends at ${parsed._io.pos}`);
    for (const attr of seq)
      if (attr['-ovrell-crc32'] !== undefined && attr.valid === undefined)
        check(crc32(parsed[camel(attr.id)]) === attr['-ovrell-crc32'], `${file}: ${attr.id}`);
    for (const attr of seq)  // a field of the file's own text value
      if (attr['-ovrell-kind'] === 'value' && attr['-ovrell-encoding'] === 'text')
        check(parsed[camel(attr.id)].replace(/\0+$/, '') === values[attr['-ovrell-attribute']],
          `${file}: ${attr.id} reads ${parsed[camel(attr.id)]}`);
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
    for (const attr of seq.slice(0, at)) offset += attr.contents ? attr.contents.length : attr.size ||
      { u1: 1, u2le: 2, u2be: 2, u4le: 4, u4be: 4, u8le: 8, u8be: 8, s1: 1, s2le: 2, s2be: 2,
        s4le: 4, s4be: 4, s8le: 8, s8be: 8 }[attr.type];
    bytes[offset] ^= 1;
    let threw = false;
    try { new Root(new KaitaiStream(bytes)); } catch (e) { threw = /Validation/.test(e.name || e); }
    check(threw, `a changed byte at ${offset} passes ${seq[at].id}`);
  }
  if (failures.length) {
    console.log(failures.slice(0, 20).join('\n'));
    process.exit(1);
  }
  console.log(`${fields} fields checked`);
}
main().catch((e) => { console.log(`FAIL: ${e.stack || e}`); process.exit(1); });
