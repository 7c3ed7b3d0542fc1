// Marks what the shared library fenletparallel exports. Everything else is hidden.
#pragma once

#if defined(FENLETPARALLEL_STATIC) || defined(_WIN32)
#define FENLETPARALLEL_API
#else
#define FENLETPARALLEL_API __attribute__((visibility("default")))
#endif
