// PELORIN_EXPORT marks what the library exports: every public class and free function.
// The library is built with hidden visibility, so a shared build exports only what carries
// it. Put it between `class` and the name (`class PELORIN_EXPORT PelorinClient`) or before
// a free function's declaration.
#ifndef PELORIN_EXPORT_H_
#define PELORIN_EXPORT_H_

#if defined(_WIN32)
#if defined(PELORIN_SHARED) && defined(PELORIN_BUILDING_LIBRARY)
#define PELORIN_EXPORT __declspec(dllexport)
#elif defined(PELORIN_SHARED)
#define PELORIN_EXPORT __declspec(dllimport)
#else
#define PELORIN_EXPORT
#endif
#else
#define PELORIN_EXPORT __attribute__((visibility("default")))
#endif

#endif  // PELORIN_EXPORT_H_
