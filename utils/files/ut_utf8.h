#pragma once

// The strict UTF-8 automaton behind isValidUTF8Encoding, usable on input that
// arrives in pieces (a file read in chunks). Internal to the file layer.
//
// The automaton is the classic table-driven one: each byte is mapped to one of
// twelve character classes, and the class and the current state give the next
// state. State 0 accepts (between characters), state 1 rejects and never
// leaves; the seven other states wait for the continuation bytes of a
// character, with the narrowed ranges that exclude overlong forms, surrogates
// (U+D800..U+DFFF) and code points above U+10FFFF.

#include <cstddef>
#include <cstdint>

namespace ut::files {

// Whether this processor runs validUtf8Prefix with vector instructions.
bool vectorUtf8Available();

// The vector part of the test, starting between characters at `p`: checks
// whole 64-byte blocks and returns where the automaton is to go on (between
// characters, at most 66 bytes before `end`), or null when the bytes are not
// UTF-8. Returns `p` when fewer than 64 bytes remain or vectorUtf8Available()
// is false.
const unsigned char* validUtf8Prefix(const unsigned char* p, const unsigned char* end);

class Utf8Validator {
 public:
  // How the bytes are walked; every way gives the same results. eFastest uses
  // the processor's vector instructions where it has AVX2; eTables walks the
  // automaton alone (skipping plain ASCII), as processors without it do.
  enum class Walk { eFastest, eTables };

  explicit Utf8Validator(Walk walk = Walk::eFastest) : m_vector(walk == Walk::eFastest && vectorUtf8Available()) {}

  // Feeds the next bytes (none when `size` is 0; `data` may then be null).
  // Stops early once the input is rejected: later bytes cannot change that.
  void feed(const unsigned char* data, std::size_t size);

  // True between characters: every byte so far forms complete, valid
  // characters.
  bool accepting() const { return (m_state & kStateMask) == 0; }
  // True once a byte was seen that no valid continuation can follow.
  bool rejected() const { return (m_state & kStateMask) == kRejectState; }

  // The automaton's state index (0 accepts, 1 rejects, 2..8 inside a
  // character), for tests and for comparing with other automata.
  int state() const { return static_cast<int>((m_state & kStateMask) / kStateBits); }

  // Bits per state in the packed transition rows (see ut_utf8.cpp).
  static constexpr unsigned kStateBits = 6;
  static constexpr std::uint64_t kStateMask = 63;
  static constexpr std::uint64_t kRejectState = 1 * kStateBits;

 private:
  // The state as a bit offset into the packed rows (index * kStateBits); only
  // the low six bits count.
  std::uint64_t m_state = 0;
  bool m_vector;
};

// The whole strict test on a complete buffer: false for null data or fewer
// than 2 bytes, else whether the automaton ends in its accepting state.
bool isValidUtf8(const unsigned char* data, std::size_t size);

}  // namespace ut::files
