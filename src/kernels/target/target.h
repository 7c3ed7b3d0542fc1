// Names the instruction set that a kernel source is being compiled for.
//
// Kernel sources are compiled once per instruction set, each time with another FENLET_TARGET, and
// everything in them and in the headers that they share stands in the namespace of that name. So no
// function compiled for a newer processor can ever be linked in the place of an older one.
#pragma once

#ifndef FENLET_TARGET
#define FENLET_TARGET Baseline
#endif

#ifdef __FAST_MATH__
#error "Results are exact to the bit: compile without fast-math."
#endif
#if defined(__i386__) && !defined(__SSE2_MATH__)
#error "The x87 unit rounds twice: compile for SSE2, with -mfpmath=sse."
#endif

// Stands before a loop of which no lane reads what another lane writes. The compiler then needs no
// overlap test of its own, which would keep a register that is its own operand from going wide.
#if defined(__clang__)
#define FENLET_INDEPENDENT_LANES _Pragma("clang loop vectorize(assume_safety)")
#else
#define FENLET_INDEPENDENT_LANES _Pragma("GCC ivdep")
#endif
