// How scripts/performance talks to the programs that it compares: see protocol.h.
//
// A workload of a peer names the arrays that it reads and has two functions. `run` runs it.
// `result` returns the values of the last run, as one typed array or one for each component. If
// elements may be missing, it also returns `present`, an array of 0 and 1.
"use strict";
const fs = require("fs");
const readline = require("readline");

const types = {
  "|b1": Uint8Array,
  "<i4": Int32Array,
  "<i8": BigInt64Array,
  "<f4": Float32Array,
  "<f8": Float64Array,
};

/// Reads a file into one buffer, in parts, since one call reads at most 2 GiB.
function readBytes(file, bytes, position) {
  const part = 1 << 30;
  for (let done = 0; done < bytes.length; )
    done += fs.readSync(file, bytes, done, Math.min(part, bytes.length - done), position + done);
}

/// The entries as a typed array, with `components` entries for each element.
function readNpy(path) {
  const file = fs.openSync(path);
  try {
    const head = Buffer.alloc(10);
    readBytes(file, head, 0);
    const text = Buffer.alloc(head.readUInt16LE(8));
    readBytes(file, text, 10);
    const kind = /'descr': *'([^']+)'/.exec(text)[1];
    const shape = /\(([^)]*)\)/.exec(text)[1].split(",").map(Number);
    const type = types[kind];
    if (type === undefined) return null;
    const components = shape[1] || 1;
    const entries = new type(shape[0] * components);
    readBytes(file, new Uint8Array(entries.buffer), 10 + text.length);
    return { entries, components };
  } finally {
    fs.closeSync(file);
  }
}

function writeNpy(path, kind, shape, entries) {
  let text = `{'descr': '${kind}', 'fortran_order': False, 'shape': (${shape.join(", ")},), }`;
  text += " ".repeat((64 - ((10 + text.length + 1) % 64)) % 64) + "\n";
  const head = Buffer.from("\x93NUMPY\x01\x00\x00\x00", "latin1");
  head.writeUInt16LE(text.length, 8);
  const bytes = Buffer.from(entries.buffer, entries.byteOffset, entries.byteLength);
  fs.writeFileSync(path, Buffer.concat([head, Buffer.from(text), bytes]));
}

function kindOf(array) {
  return Object.keys(types).find((kind) => array instanceof types[kind]);
}

function write(result, path) {
  const columns = result.columns;
  const count = columns[0].length;
  let entries = columns[0];
  if (columns.length > 1) {
    entries = new columns[0].constructor(count * columns.length);
    columns.forEach((column, k) => {
      for (let i = 0; i < count; ++i) entries[i * columns.length + k] = column[i];
    });
  }
  const shape = columns.length > 1 ? [count, columns.length] : [count];
  writeNpy(`${path}.npy`, kindOf(entries), shape, entries);
  if (result.present && result.present.includes(0))
    writeNpy(`${path}.present.npy`, "|b1", [count], result.present);
}

async function nanoseconds(times, run) {
  const start = process.hrtime.bigint();
  for (let i = 0; i < times; ++i) await run();
  return process.hrtime.bigint() - start;
}

class Server {
  constructor(contender) {
    this.contender = contender;
    this.ready = new Map();
  }

  async prepare(workload) {
    if (!this.ready.has(workload)) {
      const make = this.contender.workloads[workload];
      this.ready.set(workload, make === undefined ? null : await make(this.contender));
    }
    return this.ready.get(workload);
  }

  async answer(words) {
    if (words.length === 1 && words[0] === "version") return this.contender.version;
    const [workload, command, extra] = words;
    const prepared = await this.prepare(workload);
    if (prepared === null) return "none";
    if (command === "load") {
      await prepared.run();
      return prepared.bytes;
    }
    if (command === "check") {
      await prepared.run();
      write(await prepared.result(), extra);
      return "written";
    }
    const times = extra === undefined ? 1 : Number(extra);
    if (command === "time") return nanoseconds(times, prepared.run);
    if (command === "first") {
      const make = this.contender.workloads[workload];
      return nanoseconds(times, async () => (await make(this.contender)).run());
    }
    return `error: no such command: ${words.join(" ")}`;
  }
}

/// Answers requests until the input ends.
async function serve(contender) {
  const server = new Server(contender);
  for await (const line of readline.createInterface({ input: process.stdin })) {
    let answer;
    try {
      answer = await server.answer(line.split(" "));
    } catch (problem) {
      answer = `error: ${String(problem.message).split("\n")[0]}`;
    }
    process.stdout.write(`${answer}\n`);
  }
}

module.exports = { readNpy, serve };
