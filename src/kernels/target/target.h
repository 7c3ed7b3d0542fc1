// Names the instruction set that a kernel source is being compiled for.
//
// Kernel sources are compiled once per instruction set, each time with another FENLET_TARGET, and
// everything in them and in the headers that they share stands in the namespace of that name. So no
// function compiled for a newer processor can ever be linked in the place of an older one.
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

// FENLET_INDEPENDENT_LANES stands before a loop of which no lane reads what another lane writes.
// The compiler then needs no overlap test of its own, which would keep a register that is its own
// operand from going wide.
//
// FENLET_INDEPENDENT_BYTES is the same for a loop in which wide lanes become bytes. Sixteen of them
// go at once, so that they leave in one piece; by itself clang takes no more lanes at once than a
// register holds of the widest ones.
//
// FENLET_FOUR_IN_A_ROW makes a round of the loop of four vectors, since many operations are done
// before the loop itself is. Clang does so of its own accord.
//
// Who defines the first one as nothing gets loops that go lane by lane if the compiler is told so.
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
