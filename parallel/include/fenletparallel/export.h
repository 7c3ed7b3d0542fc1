// What the shared library of parallel runs shows. Everything else is hidden.
#pragma once

#if defined(FENLETPARALLEL_STATIC) || defined(_WIN32)
#define FENLETPARALLEL_API
#else
#define FENLETPARALLEL_API __attribute__((visibility("default")))
#endif
