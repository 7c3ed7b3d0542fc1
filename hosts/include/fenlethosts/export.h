// Marks what the shared library of ready-made hosts exports. Everything else is hidden.
#pragma once

#if defined(FENLETHOSTS_STATIC) || defined(_WIN32)
#define FENLETHOSTS_API
#else
#define FENLETHOSTS_API __attribute__((visibility("default")))
#endif
