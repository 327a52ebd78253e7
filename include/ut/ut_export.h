#pragma once

// UT_EXPORT marks the library's public interface. Everything else is hidden
// (the library is compiled with default visibility "hidden"), so the symbols
// the shared object exports are exactly what a Windows build exports.
#if defined(_WIN32)
#if defined(UT_BUILDING)
#define UT_EXPORT __declspec(dllexport)
#else
#define UT_EXPORT __declspec(dllimport)
#endif
#else
#define UT_EXPORT __attribute__((visibility("default")))
#endif
