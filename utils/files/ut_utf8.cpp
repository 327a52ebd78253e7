// The strict UTF-8 test: the classic byte-class and transition tables, walked
// through rows packed so that one shift per byte advances the automaton. While
// it accepts, long stretches go to the vector check (ut_utf8_vector.cpp) where
// the processor has one, and runs of plain ASCII are skipped 16 bytes at a
// time.

#include <ut/ut_textfile.h>

#include "ut_utf8.h"

#include <wx/file.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <array>
#include <bit>
#include <cstring>
#include <vector>

namespace ut::files {

namespace {

// Character classes.
enum : std::uint8_t {
  cAscii,    // 00..7F
  cCont80,   // 80..8F  continuation, also allowed after F4
  cCont90,   // 90..9F  continuation, also allowed after ED and F0
  cContA0,   // A0..BF  continuation, also allowed after E0 and F0
  cInvalid,  // C0, C1, F5..FF: never in UTF-8
  cLead2,    // C2..DF
  cLeadE0,   // E0: second byte A0..BF (no overlong forms)
  cLead3,    // E1..EC, EE, EF
  cLeadED,   // ED: second byte 80..9F (no surrogates)
  cLeadF0,   // F0: second byte 90..BF (no overlong forms)
  cLead4,    // F1..F3
  cLeadF4,   // F4: second byte 80..8F (nothing above U+10FFFF)
  kClassCount
};

// States.
enum : std::uint8_t {
  sAccept,  // between characters
  sReject,  // invalid; absorbing
  sNeed1,   // one continuation byte to go
  sNeed2,   // two to go
  sNeed3,   // three to go
  sE0,      // after E0
  sED,      // after ED
  sF0,      // after F0
  sF4,      // after F4
  kStateCount
};

constexpr std::array<std::uint8_t, 256> makeByteClasses() {
  std::array<std::uint8_t, 256> classes{};
  for (int b = 0; b < 256; ++b) {
    std::uint8_t c = cInvalid;
    if (b <= 0x7F)
      c = cAscii;
    else if (b <= 0x8F)
      c = cCont80;
    else if (b <= 0x9F)
      c = cCont90;
    else if (b <= 0xBF)
      c = cContA0;
    else if (b <= 0xC1)
      c = cInvalid;
    else if (b <= 0xDF)
      c = cLead2;
    else if (b == 0xE0)
      c = cLeadE0;
    else if (b == 0xED)
      c = cLeadED;
    else if (b <= 0xEF)
      c = cLead3;
    else if (b == 0xF0)
      c = cLeadF0;
    else if (b <= 0xF3)
      c = cLead4;
    else if (b == 0xF4)
      c = cLeadF4;
    classes[static_cast<std::size_t>(b)] = c;
  }
  return classes;
}

constexpr std::array<std::uint8_t, 256> kByteClass = makeByteClasses();

// kTransition[state][class]: the next state.
constexpr std::uint8_t R = sReject;
constexpr std::uint8_t kTransition[kStateCount][kClassCount] = {
    // Ascii   80      90      A0      Invalid Lead2   E0   Lead3   ED   F0   Lead4   F4
    {sAccept, R, R, R, R, sNeed1, sE0, sNeed2, sED, sF0, sNeed3, sF4},  // sAccept
    {R, R, R, R, R, R, R, R, R, R, R, R},                               // sReject
    {R, sAccept, sAccept, sAccept, R, R, R, R, R, R, R, R},             // sNeed1
    {R, sNeed1, sNeed1, sNeed1, R, R, R, R, R, R, R, R},                // sNeed2
    {R, sNeed2, sNeed2, sNeed2, R, R, R, R, R, R, R, R},                // sNeed3
    {R, R, R, sNeed1, R, R, R, R, R, R, R, R},                          // sE0
    {R, sNeed1, sNeed1, R, R, R, R, R, R, R, R, R},                     // sED
    {R, R, sNeed2, sNeed2, R, R, R, R, R, R, R, R},                     // sF0
    {R, sNeed2, R, R, R, R, R, R, R, R, R, R},                          // sF4
};

// Row b holds, for every state i, the next state after byte b as a bit offset
// (next * 6) in bits 6i..6i+5. Shifting the row right by the current offset
// brings the next offset into the low six bits, so the walk costs one load
// (independent of the state) and one shift per byte.
constexpr std::array<std::uint64_t, 256> makeRows() {
  std::array<std::uint64_t, 256> rows{};
  for (std::size_t b = 0; b < 256; ++b) {
    std::uint64_t row = 0;
    for (unsigned state = 0; state < kStateCount; ++state) {
      const std::uint64_t next = kTransition[state][kByteClass[b]];
      row |= (next * Utf8Validator::kStateBits) << (state * Utf8Validator::kStateBits);
    }
    rows[b] = row;
  }
  return rows;
}

constexpr std::array<std::uint64_t, 256> kRows = makeRows();
static_assert(kStateCount * Utf8Validator::kStateBits <= 64, "the packed rows hold every state");
static_assert(sReject * Utf8Validator::kStateBits == Utf8Validator::kRejectState);

#if !defined(__SSE2__)
constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;

// The index of the first byte in memory order whose high bit is set in the
// word `highBits` (not 0) loaded from those bytes.
int firstHighByte(std::uint64_t highBits) {
  if constexpr (std::endian::native == std::endian::little) {
    return std::countr_zero(highBits) / 8;
  } else {
    return std::countl_zero(highBits) / 8;
  }
}
#endif

// Skips plain ASCII: 16 bytes at a time, then up to the first byte with its
// high bit set (or to where fewer than 16 bytes remain).
const unsigned char* skipAscii(const unsigned char* p, const unsigned char* end) {
  while (end - p >= 16) {
#if defined(__SSE2__)
    // One load and one instruction gather the sixteen high bits.
    const auto highBits =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
    if (highBits == 0) {
      p += 16;
      continue;
    }
    return p + std::countr_zero(highBits);
#else
    std::uint64_t a = 0;
    std::uint64_t b = 0;
    std::memcpy(&a, p, 8);
    std::memcpy(&b, p + 8, 8);
    if (((a | b) & kHighBits) == 0) {
      p += 16;
      continue;
    }
    if ((a & kHighBits) != 0) return p + firstHighByte(a & kHighBits);
    return p + 8 + firstHighByte(b & kHighBits);
#endif
  }
  return p;
}

// Bytes walked through the automaton at once after leaving ASCII: a whole
// block where text in another script is dense, else a few bytes, enough for
// one character, so that the next run of ASCII is skipped again at once.
constexpr std::ptrdiff_t kDenseBlock = 16;
constexpr std::ptrdiff_t kSparseBlock = 4;
// Fewer ASCII bytes than this before a character outside ASCII mark dense text.
constexpr std::ptrdiff_t kDenseGap = 8;

}  // namespace

void Utf8Validator::feed(const unsigned char* p, std::size_t size) {
  if (size == 0 || rejected()) return;
  const unsigned char* const end = p + size;
  std::uint64_t s = m_state;
  std::ptrdiff_t block = kDenseBlock;
  while (p != end) {
    if ((s & kStateMask) == 0) {
      if (m_vector) {
        p = validUtf8Prefix(p, end);
        if (p == nullptr) {
          s = kRejectState;
          break;
        }
      }
      const unsigned char* const ascii = p;
      p = skipAscii(p, end);
      if (p == end) break;
      block = p - ascii < kDenseGap ? kDenseBlock : kSparseBlock;
    }
    if (end - p >= block) {
      for (std::ptrdiff_t i = 0; i < block; ++i) s = kRows[p[i]] >> (s & kStateMask);
      p += block;
    } else {
      for (; p != end; ++p) s = kRows[*p] >> (s & kStateMask);
    }
    if ((s & kStateMask) == kRejectState) break;
  }
  m_state = s & kStateMask;
}

bool isValidUtf8(const unsigned char* data, std::size_t size) {
  if (data == nullptr || size < 2) return false;
  Utf8Validator validator;
  validator.feed(data, size);
  return validator.accepting();
}

}  // namespace ut::files

namespace ut {

bool isValidUTF8Encoding(unsigned char* data, size_t size) { return files::isValidUtf8(data, size); }

bool isValidUTF8Encoding(wxFile& file) {
  if (!file.IsOpened()) return false;
  // The whole file, whatever the position; the position is kept for the
  // caller. Files that cannot seek (pipes) are read from where they are.
  const wxFileOffset position = file.Tell();
  const bool seekable = position != wxInvalidOffset && file.Seek(0) != wxInvalidOffset;
  std::vector<unsigned char> buffer(1 << 16);
  files::Utf8Validator validator;
  std::size_t total = 0;
  bool readOk = true;
  while (!validator.rejected()) {
    const ssize_t got = file.Read(buffer.data(), buffer.size());
    if (got == wxInvalidOffset) {
      readOk = false;
      break;
    }
    if (got == 0) break;
    total += static_cast<std::size_t>(got);
    validator.feed(buffer.data(), static_cast<std::size_t>(got));
  }
  if (seekable) file.Seek(position);
  return readOk && total >= 2 && validator.accepting();
}

}  // namespace ut
