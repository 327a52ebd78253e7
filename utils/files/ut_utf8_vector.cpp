// The strict UTF-8 test 32 bytes at a time with AVX2, for processors that have
// it (chosen at run time: the library is built for the x86-64 baseline).
//
// Every byte is judged together with the byte before it: the high nibble of
// the earlier byte, its low nibble and the high nibble of the later byte each
// select, from a 16-entry table, the set of faults that nibble is compatible
// with; the pair is at fault where the three sets share a fault. A
// continuation after a continuation is the one fault that can be excused: it
// is the third or fourth byte of a character exactly when the byte two before
// starts a three- or four-byte character, or the byte three before a
// four-byte one. So every byte's context is at most three bytes back, and the
// blocks are checked with the last three bytes of the block before.

#include "ut_utf8.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>

#include <array>
#endif

namespace ut::files {

#if defined(__x86_64__) || defined(__i386__)

namespace {

// Faults of a pair of bytes (earlier, later).
constexpr char kTooShort = 1 << 0;      // a lead byte, then no continuation
constexpr char kTooLong = 1 << 1;       // ASCII, then a continuation
constexpr char kOverlong3 = 1 << 2;     // E0, then 80..9F
constexpr char kTooLarge = 1 << 3;      // F4, then 90..BF; F5..FF, then 90..BF
constexpr char kSurrogate = 1 << 4;     // ED, then A0..BF
constexpr char kOverlong2 = 1 << 5;     // C0 or C1, then a continuation
constexpr char kTooLarge1000 = 1 << 6;  // F5..FF, then 80..8F
constexpr char kOverlong4 = 1 << 6;     // F0, then 80..8F (the lead's nibbles tell it from the fault above)
constexpr char kTwoConts = static_cast<char>(1 << 7);  // two continuations
constexpr char kCarry = kTooShort | kTooLong | kTwoConts;

using Table = std::array<char, 16>;

// Faults compatible with the earlier byte's high nibble.
constexpr Table kEarlierHigh = {
    // 0..7: ASCII
    kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong, kTooLong,
    // 8..B: continuations
    kTwoConts, kTwoConts, kTwoConts, kTwoConts,
    // C, D: two-byte leads (and C0, C1)
    kTooShort | kOverlong2, kTooShort,
    // E: three-byte leads
    kTooShort | kOverlong3 | kSurrogate,
    // F: four-byte leads (and F5..FF)
    kTooShort | kTooLarge | kTooLarge1000 | kOverlong4};

// Faults compatible with the earlier byte's low nibble.
constexpr char kAbove4 = kCarry | kTooLarge | kTooLarge1000;
constexpr Table kEarlierLow = {
    // 0: C0, E0, F0
    kCarry | kOverlong3 | kOverlong2 | kOverlong4,
    // 1: C1
    kCarry | kOverlong2,
    // 2, 3
    kCarry, kCarry,
    // 4: F4
    kCarry | kTooLarge,
    // 5..C: F5..FC
    kAbove4, kAbove4, kAbove4, kAbove4, kAbove4, kAbove4, kAbove4, kAbove4,
    // D: ED, FD
    kAbove4 | kSurrogate,
    // E, F: FE, FF
    kAbove4, kAbove4};

// Faults compatible with the later byte's high nibble.
constexpr char kNotCont = kTooShort;
constexpr char kCont = kTooLong | kOverlong2 | kTwoConts;
constexpr Table kLaterHigh = {
    // 0..7: ASCII
    kNotCont, kNotCont, kNotCont, kNotCont, kNotCont, kNotCont, kNotCont, kNotCont,
    // 8: 80..8F
    kCont | kOverlong3 | kTooLarge1000 | kOverlong4,
    // 9: 90..9F
    kCont | kOverlong3 | kTooLarge,
    // A, B: A0..BF
    kCont | kSurrogate | kTooLarge, kCont | kSurrogate | kTooLarge,
    // C..F: leads
    kNotCont, kNotCont, kNotCont, kNotCont};

// The table in both 16-byte halves: the shuffle looks up within each half.
[[gnu::target("avx2")]] __m256i inBothHalves(const Table& table) {
  return _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(table.data())));
}

// Per byte, the byte n places before it, taking the bytes before the block from
// `before` (n is 1, 2 or 3).
template <int n>
[[gnu::target("avx2")]] __m256i bytesBefore(__m256i block, __m256i before) {
  // The shuffles work within 16-byte halves: pair each half with the half
  // before it.
  const __m256i halvesBefore = _mm256_permute2x128_si256(before, block, 0x21);
  return _mm256_alignr_epi8(block, halvesBefore, 16 - n);
}

[[gnu::target("avx2")]] __m256i highNibbles(__m256i bytes) {
  return _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
}

// The faults of the 32 bytes of `block` (non-zero bytes where there are some),
// given the block before it.
[[gnu::target("avx2")]] __m256i blockFaults(__m256i block, __m256i before) {
  const __m256i before1 = bytesBefore<1>(block, before);
  const __m256i pairFaults = _mm256_and_si256(
      _mm256_and_si256(
          _mm256_shuffle_epi8(inBothHalves(kEarlierHigh), highNibbles(before1)),
          _mm256_shuffle_epi8(inBothHalves(kEarlierLow), _mm256_and_si256(before1, _mm256_set1_epi8(0x0F)))),
      _mm256_shuffle_epi8(inBothHalves(kLaterHigh), highNibbles(block)));
  // The high bit is set where the byte two before is E0..FF or the byte three
  // before is F0..FF: there a continuation must follow a continuation.
  const __m256i thirdByte = _mm256_subs_epu8(bytesBefore<2>(block, before), _mm256_set1_epi8(0xE0 - 0x80));
  const __m256i fourthByte = _mm256_subs_epu8(bytesBefore<3>(block, before), _mm256_set1_epi8(0xF0 - 0x80));
  const __m256i mustFollow = _mm256_and_si256(_mm256_or_si256(thirdByte, fourthByte), _mm256_set1_epi8(kTwoConts));
  return _mm256_xor_si256(pairFaults, mustFollow);
}

// Non-zero where the block ends inside a character: a lead byte among its last
// three bytes with too few bytes after it.
[[gnu::target("avx2")]] __m256i cutAtEnd(__m256i block) {
  const __m256i largestComplete = _mm256_setr_epi8(
      -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
      -1, static_cast<char>(0xF0 - 1), static_cast<char>(0xE0 - 1), static_cast<char>(0xC0 - 1));
  return _mm256_subs_epu8(block, largestComplete);
}

[[gnu::target("avx2")]] __m256i load(const unsigned char* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

[[gnu::target("avx2")]] const unsigned char* validPrefixAvx2(const unsigned char* p, const unsigned char* end) {
  const unsigned char* const begin = p;
  __m256i faults = _mm256_setzero_si256();
  __m256i cut = _mm256_setzero_si256();  // the last block ended inside a character
  __m256i before = _mm256_setzero_si256();
  while (end - p >= 64) {
    const __m256i first = load(p);
    const __m256i second = load(p + 32);
    if (_mm256_movemask_epi8(_mm256_or_si256(first, second)) == 0) {
      // Plain ASCII: a fault only if a character was cut before it.
      faults = _mm256_or_si256(faults, cut);
      cut = _mm256_setzero_si256();
    } else {
      faults = _mm256_or_si256(faults, _mm256_or_si256(blockFaults(first, before), blockFaults(second, first)));
      cut = cutAtEnd(second);
    }
    before = second;
    p += 64;
    if (!_mm256_testz_si256(faults, faults)) return nullptr;
  }
  if (p == begin) return p;
  // Leave a character cut by the last block to the caller.
  if (p[-1] >= 0xC0) return p - 1;
  if (p[-2] >= 0xE0) return p - 2;
  if (p[-3] >= 0xF0) return p - 3;
  return p;
}

using PrefixFunction = const unsigned char* (*)(const unsigned char*, const unsigned char*);

PrefixFunction choosePrefix() {
  // The processor's features may be asked before the runtime's own
  // constructors have run (a static initialiser reading a file).
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2") ? validPrefixAvx2 : nullptr;
}

PrefixFunction vectorPrefix() {
  static const PrefixFunction chosen = choosePrefix();
  return chosen;
}

}  // namespace

bool vectorUtf8Available() { return vectorPrefix() != nullptr; }

const unsigned char* validUtf8Prefix(const unsigned char* p, const unsigned char* end) {
  const PrefixFunction function = vectorPrefix();
  return function == nullptr ? p : function(p, end);
}

#else

bool vectorUtf8Available() { return false; }

const unsigned char* validUtf8Prefix(const unsigned char* p, const unsigned char*) { return p; }

#endif

}  // namespace ut::files
