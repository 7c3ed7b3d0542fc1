// Names what a source is compiled for, in FENLET_TARGET: an instruction set, or a library.
//
// Kernel sources are compiled once for each instruction set. The evaluator's other sources and the
// hosts use some of the same headers. Each compilation defines another FENLET_TARGET, and the
// shared code is in the namespace of that name. So the linker can never replace a function with one
// that was compiled for a newer processor or with other flags.
#pragma once

#ifndef FENLET_TARGET
#error "Two libraries must not define the same loops: compile with -DFENLET_TARGET=<name>."
#endif

#ifdef __FAST_MATH__
#error "Results are exact to the bit: compile without fast-math."
#endif
#if defined(__i386__) && !defined(__SSE2_MATH__)
#error "The x87 unit rounds twice: compile for SSE2, with -mfpmath=sse."
#endif

// FENLET_INDEPENDENT_LANES goes before a loop in which no lane reads what another lane writes. The
// compiler then needs no overlap test. Such a test would keep a register that is its own operand
// from being vectorised.
//
// FENLET_INDEPENDENT_BYTES is the same for a loop that turns wide lanes into bytes. It works on
// sixteen lanes at a time, so that the bytes are stored together. Without it clang takes only as
// many lanes as fit a register of the widest type.
//
// FENLET_FOUR_IN_A_ROW unrolls the loop to four vectors: many operations take less time than the
// loop around them. Clang does this without being told.
//
// To get loops that work lane by lane, define FENLET_INDEPENDENT_LANES as nothing and give the
// compiler its options against vectorisation.
#ifdef FENLET_INDEPENDENT_LANES
#define FENLET_INDEPENDENT_BYTES
#define FENLET_FOUR_IN_A_ROW
#elif defined(__clang__)
#define FENLET_INDEPENDENT_LANES _Pragma("clang loop vectorize(assume_safety)")
#define FENLET_INDEPENDENT_BYTES _Pragma("clang loop vectorize(assume_safety) vectorize_width(16)")
#define FENLET_FOUR_IN_A_ROW
#else
#define FENLET_INDEPENDENT_LANES _Pragma("GCC ivdep")
#define FENLET_INDEPENDENT_BYTES FENLET_INDEPENDENT_LANES
#define FENLET_FOUR_IN_A_ROW _Pragma("GCC unroll 4")
#endif
