#pragma once

// A broken invariant in a fuzz target: stop at once, so that the fuzzer keeps
// the input (and the corpus replay fails on it).

namespace ut::fuzz {

inline void check(bool condition) {
  if (!condition) __builtin_trap();
}

}  // namespace ut::fuzz
