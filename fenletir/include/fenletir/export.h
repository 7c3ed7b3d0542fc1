// Marks what the shared program library exports. Everything else is hidden.
#pragma once

#if defined(FENLETIR_STATIC) || defined(_WIN32)
#define FENLETIR_API
#else
#define FENLETIR_API __attribute__((visibility("default")))
#endif
