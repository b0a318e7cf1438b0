// Symbol visibility for the shared library. Everything public is marked ZTBASE_API; the library is
// built with hidden visibility by default so that only the documented interface is exported.
#pragma once

#if defined(_WIN32)
#if defined(ZTBASE_BUILDING)
#define ZTBASE_API __declspec(dllexport)
#else
#define ZTBASE_API __declspec(dllimport)
#endif
#else
#define ZTBASE_API __attribute__((visibility("default")))
#endif
