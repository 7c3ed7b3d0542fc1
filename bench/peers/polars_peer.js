// polars: polars_peer.js FOLDER
//
// Expressions over the columns of a data frame. A missing value is null. A vector is three columns,
// since polars has no arithmetic on vectors.
"use strict";
const pl = require("nodejs-polars");
const { readNpy, serve } = require("./protocol.js");

const folder = process.argv[2];
const chainLength = 20;
const single = (value) => pl.lit(value).cast(pl.Float32);
const series = new Map();

function column(name) {
  if (!series.has(name)) {
    const { entries, components } = readNpy(`${folder}/${name}.npy`);
    const parts = [...Array(components).keys()].map((k) =>
      components === 1 ? entries : entries.filter((_, i) => i % components === k),
    );
    series.set(name, parts.map((part, k) => asSeries(components > 1 ? "xyz"[k] : name, part)));
  }
  return series.get(name);
}

function asSeries(name, entries) {
  const made = pl.Series(name, entries);
  if (!(entries instanceof Uint8Array)) return made;
  return pl.DataFrame([made]).select(pl.col(name).cast(pl.UInt8).neq(pl.lit(0))).getColumn(name);
}

function frame(names) {
  return pl.DataFrame(names.flatMap(column));
}

/// The data frame, with null in each column where the column named <name>_present is false.
function holed(names) {
  return frame([...names, ...names.map((name) => `${name}_present`)]).select(
    ...names.map((name) =>
      pl.when(pl.col(`${name}_present`)).then(pl.col(name)).otherwise(pl.lit(null)).alias(name),
    ),
  );
}

function typed(values) {
  if (values.dtype.toString() !== pl.Bool.toString()) return values.toTypedArray();
  return pl.DataFrame([values]).select(pl.col(values.name).cast(pl.Int32)).getColumn(values.name)
    .toTypedArray();
}

/// A workload: `steps` makes the frame of the result from the frame of data.
function prepared(data, steps, resultBytes) {
  let last = null;
  return {
    bytes: data.columns.reduce((sum, name) => sum + bytesOf(data.getColumn(name)), 0) +
      data.height * resultBytes,
    run: () => {
      last = steps(data);
    },
    result: () => {
      const columns = last.columns.map((name) => last.getColumn(name));
      const hasHoles = columns.some((one) => one.nullCount() > 0);
      return {
        columns: columns.map((one) => asBytes(typed(hasHoles ? one.fillNull("zero") : one), one)),
        present: hasHoles ? Uint8Array.from(typed(columns[0].isNotNull())) : undefined,
      };
    },
  };
}

const isBool = (one) => one.dtype.toString() === pl.Bool.toString();
const asBytes = (values, one) => (isBool(one) ? Uint8Array.from(values) : values);

function bytesOf(one) {
  const sizes = { Float32: 4, Int32: 4, Float64: 8, Int64: 8 };
  const name = Object.keys(sizes).find((kind) => one.dtype.toString().includes(kind));
  return Math.ceil(one.length * (name === undefined ? 0.125 : sizes[name]));
}

const col = pl.col;

const workloads = {
  W1: () =>
    prepared(
      frame(["vector"]),
      (data) => {
        const scale = single(1.5);
        return data
          .select(col("x").mul(scale), col("y").mul(scale), col("z").mul(scale))
          .select(pl.when(col("x").gt(single(0))).then(col("x")).otherwise(single(1)).alias("r"));
      },
      4,
    ),
  W2: () =>
    prepared(
      frame(["a", "b", "c", "d", "e"]),
      (data) =>
        data.select(
          col("a").mul(col("b")).plus(col("c")).div(col("d")).minus(col("e")).alias("r"),
        ),
      4,
    ),
  W3: () =>
    prepared(
      frame(["whole", "a", "wide"]),
      (data) =>
        data.select(
          col("whole").cast(pl.Float64).plus(col("a")).mul(col("wide")).cast(pl.Float32).alias("r"),
        ),
      4,
    ),
  W4: () =>
    prepared(
      holed(["p", "q", "r"]),
      (data) =>
        data.select(
          col("p").lt(col("q")).and(col("r").gt(single(0.5)))
            .or(col("p").eq(col("r")).not())
            .fillNull(false).alias("r"),
        ),
      0.125,
    ),
  W5: () =>
    prepared(
      frame(["vector"]),
      (data) => {
        const square = (name) => col(name).mul(col(name));
        return data
          .withColumn(square("x").plus(square("y")).plus(square("z")).pow(0.5).alias("n"))
          .select(...["x", "y", "z"].map((name) => col(name).div(col("n"))));
      },
      12,
    ),
  "W7-random": () => chosen("random"),
  "W7-runs": () => chosen("runs"),
  W8: () =>
    prepared(
      frame(["whole", "divisor"]),
      (data) => data.select(col("whole").div(col("divisor")).alias("r")),
      4.125,
    ),
  // Columns of a frame have one length, so this works only if the table has as many elements.
  W9: () => {
    if (column("place")[0].length !== column("table")[0].length) return null;
    return prepared(
      frame(["place", "table"]),
      (data) => data.select(col("table").gather(col("place")).alias("r")),
      4,
    );
  },
  chain: () =>
    prepared(
      frame(["a"]),
      (data) => {
        let value = col("a");
        for (let i = 2; i < chainLength; ++i) value = value.plus(col("a"));
        return data.select(value.alias("r"));
      },
      4,
    ),
};

function chosen(condition) {
  return prepared(
    frame([condition, "a", "b"]),
    (data) => data.select(pl.when(col(condition)).then(col("a")).otherwise(col("b")).alias("r")),
    4,
  );
}

serve({ version: `polars ${require("nodejs-polars/package.json").version} for node`, workloads });
