// DuckDB: duckdb_peer.js FOLDER
//
// Prepared queries over a table in memory, on one thread. The engine keeps each result in its own
// chunks. A missing value is NULL. A vector is three columns. W1 uses only one of them, since
// DuckDB would optimise the others away. DuckDB has no halves. A join could express W9, but keeps
// no order.
"use strict";
const duckdb = require("@duckdb/node-api");
const { readNpy, serve } = require("./protocol.js");

const folder = process.argv[2];
const chunkRows = 2048;
const sqlTypes = new Map([
  [Int32Array, { name: "INTEGER", type: duckdb.INTEGER, bytes: 4 }],
  [BigInt64Array, { name: "BIGINT", type: duckdb.BIGINT, bytes: 8 }],
  [Float32Array, { name: "FLOAT", type: duckdb.FLOAT, bytes: 4 }],
  [Float64Array, { name: "DOUBLE", type: duckdb.DOUBLE, bytes: 8 }],
  [Uint8Array, { name: "BOOLEAN", type: duckdb.BOOLEAN, bytes: 1 }],
]);

/// The columns of an array by name: x, y and z for a vector of 3.
function columnsOf(name) {
  const { entries, components } = readNpy(`${folder}/${name}.npy`);
  if (components === 1) return [[name, entries]];
  return [..."xyz"].map((letter, k) => [letter, entries.filter((_, i) => i % components === k)]);
}

const fromNumbers = (entries, start, end) =>
  entries instanceof Uint8Array
    ? Array.from(entries.subarray(start, end), (value) => value !== 0)
    : entries.subarray(start, end);

let connection;
const tables = new Set();

/// Makes a table of the arrays, once. Arrays in `holed` are NULL where their presence is false.
async function table(name, arrays, holed = []) {
  if (tables.has(name)) return;
  const columns = arrays.flatMap(columnsOf);
  const presence = new Map(holed.map((one) => [one, columnsOf(`${one}_present`)[0][1]]));
  const kinds = columns.map(([, entries]) => sqlTypes.get(entries.constructor));
  const list = columns.map(([column], i) => `"${column}" ${kinds[i].name}`).join(", ");
  await connection.run(`CREATE TABLE ${name} (${list})`);
  const appender = await connection.createAppender(name);
  const count = columns[0][1].length;
  for (let start = 0; start < count; start += chunkRows) {
    const end = Math.min(count, start + chunkRows);
    const chunk = duckdb.DuckDBDataChunk.create(kinds.map((kind) => kind.type));
    chunk.rowCount = end - start;
    columns.forEach(([column, entries], i) => {
      let values = fromNumbers(entries, start, end);
      const present = presence.get(column);
      if (present)
        values = Array.from(values, (value, k) => (present[start + k] ? value : null));
      chunk.setColumnValues(i, values);
    });
    appender.appendDataChunk(chunk);
  }
  appender.closeSync();
  tables.add(name);
}

function bytesOf(arrays) {
  return arrays
    .flatMap(columnsOf)
    .reduce((sum, [, entries]) => sum + entries.length * entries.BYTES_PER_ELEMENT, 0);
}

/// A workload that is one query.
async function prepared(query, arrays, resultBytes, holed = []) {
  const name = `t_${arrays.join("_")}`;
  await table(name, arrays, holed);
  const statement = await connection.prepare(query.replace("DATA", name));
  let last = null;
  return {
    get bytes() {
      return bytesOf(arrays) + columnsOf(arrays[0])[0][1].length * resultBytes;
    },
    run: async () => {
      last = await statement.run();
    },
    result: async () => collect(last),
  };
}

async function collect(result) {
  const chunks = await result.fetchAllChunks();
  const parts = [...Array(result.columnCount).keys()].map((i) =>
    chunks.flatMap((chunk) => chunk.getColumnValues(i)),
  );
  const kind = result.columnType(0).toString();
  const type = [...sqlTypes].find(([, one]) => one.name === kind)[0];
  const columns = parts.map((values) => type.from(values, (value) => (value === null ? 0 : value)));
  const present = Uint8Array.from(parts[0], (value) => (value === null ? 0 : 1));
  return { columns, present };
}

const chosen = (condition) => () =>
  prepared(
    `SELECT CASE WHEN "${condition}" THEN a ELSE b END FROM DATA`,
    [condition, "a", "b"],
    4,
  );

const workloads = {
  W1: () =>
    prepared(
      "SELECT CASE WHEN x * 1.5::FLOAT > 0::FLOAT THEN x * 1.5::FLOAT ELSE 1::FLOAT END FROM DATA",
      ["vector"],
      4,
    ),
  W2: () => prepared("SELECT (a * b + c) / d - e FROM DATA", ["a", "b", "c", "d", "e"], 4),
  W3: () =>
    prepared(
      "SELECT ((whole::DOUBLE + a::DOUBLE) * wide)::FLOAT FROM DATA",
      ["whole", "a", "wide"],
      4,
    ),
  W4: () =>
    prepared(
      "SELECT coalesce((p < q AND r > 0.5::FLOAT) OR NOT (p = r), false) FROM DATA",
      ["p", "q", "r"],
      1,
      ["p", "q", "r"],
    ),
  W5: () =>
    prepared(
      "SELECT x / n, y / n, z / n FROM " +
        "(SELECT *, sqrt(x * x + y * y + z * z)::FLOAT AS n FROM DATA)",
      ["vector"],
      12,
    ),
  "W7-random": chosen("random"),
  "W7-runs": chosen("runs"),
  W8: () => prepared("SELECT whole // divisor FROM DATA", ["whole", "divisor"], 5),
  chain: () =>
    prepared(`SELECT ${"(".repeat(18)}a${" + a)".repeat(18)} FROM DATA`, ["a"], 4),
};

async function main() {
  const instance = await duckdb.DuckDBInstance.create(":memory:", { threads: "1" });
  connection = await instance.connect();
  await serve({ version: `DuckDB ${duckdb.version()} for node`, workloads });
}

main();
