// Marks what the shared library fenletarrays exports. Everything else is hidden.
#pragma once

#if defined(FENLETARRAYS_STATIC) || defined(_WIN32)
#define FENLETARRAYS_API
#else
#define FENLETARRAYS_API __attribute__((visibility("default")))
#endif
