// Marks what the shared library exports. Everything else is hidden.
#pragma once

#if defined(FENLETEXEC_STATIC) || defined(_WIN32)
#define FENLETEXEC_API
#else
#define FENLETEXEC_API __attribute__((visibility("default")))
#endif
