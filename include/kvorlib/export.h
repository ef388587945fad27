// KVORLIB_API marks what the shared library exports. Everything else stays hidden.
#pragma once

#if defined(_MSC_VER)
#if defined(KVORLIB_BUILDING)
#define KVORLIB_API __declspec(dllexport)
#else
#define KVORLIB_API __declspec(dllimport)
#endif
#else
#define KVORLIB_API __attribute__((visibility("default")))
#endif
