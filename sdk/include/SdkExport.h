#pragma once

// UTSDK_EXPORT marks the public interface of the drawing-SDK stand-in library.
#if defined(_WIN32)
#if defined(UTSDK_BUILDING)
#define UTSDK_EXPORT __declspec(dllexport)
#else
#define UTSDK_EXPORT __declspec(dllimport)
#endif
#else
#define UTSDK_EXPORT __attribute__((visibility("default")))
#endif
