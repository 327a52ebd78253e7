// Text services of the platform layer: comparison, collation, case mapping and
// the encodings.

#include "ut_platform.h"

#include <unicode/coleitr.h>
#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/tblcoll.h>
#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>
#include <unicode/usetiter.h>
#include <unicode/ustring.h>
#include <unicode/utypes.h>

#include <array>
#include <climits>
#include <cstring>
#include <cwchar>
#include <limits>
#include <set>
#include <memory>
#include <optional>
#include <vector>

namespace ut::platform {

namespace {

constexpr wchar_t kReplacement = L'\uFFFD';

bool isScalarValue(wchar_t wc) {
  const auto cp = static_cast<std::uint32_t>(wc);
  return cp <= 0x10FFFF && (cp < 0xD800 || cp > 0xDFFF);
}

bool isAscii(std::wstring_view s) {
  for (wchar_t c : s) {
    if (static_cast<std::uint32_t>(c) >= 0x80) return false;
  }
  return true;
}

wchar_t asciiLower(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c + (L'a' - L'A')) : c; }

// UTF-16 copy of a UTF-32 string for ICU. Short strings, the usual case on the
// comparison hot path, stay in the object and cost no allocation. Values that
// are not Unicode scalar values become U+FFFD.
class Utf16Text {
 public:
  explicit Utf16Text(std::wstring_view s) {
    // ICU lengths are int32_t; longer input is cut rather than overflowed.
    constexpr std::size_t kMaxUnits = static_cast<std::size_t>(std::numeric_limits<int32_t>::max()) - 1;
    if (s.size() > kMaxUnits / 2) s = s.substr(0, kMaxUnits / 2);
    const std::size_t capacity = s.size() * 2;
    if (capacity > m_inline.size()) {
      m_heap.resize(capacity);
      m_data = m_heap.data();
    }
    std::size_t n = 0;
    for (wchar_t wc : s) n += appendUtf16(m_data + n, isScalarValue(wc) ? static_cast<std::uint32_t>(wc) : 0xFFFD);
    m_length = static_cast<int32_t>(n);
  }
  Utf16Text(const Utf16Text&) = delete;
  Utf16Text& operator=(const Utf16Text&) = delete;

  const UChar* data() const { return m_data; }
  int32_t length() const { return m_length; }

 private:
  std::array<UChar, 128> m_inline;  // left uninitialised: only the written part is read
  std::vector<UChar> m_heap;
  UChar* m_data = m_inline.data();
  int32_t m_length = 0;
};

// --- collators ----------------------------------------------------------------

enum class ECollation { eNoCase = 0, eTertiary = 1 };

icu::Locale collationLocale() {
  const icu::Locale& def = icu::Locale::getDefault();
  if (def.isBogus() || *def.getLanguage() == '\0') return icu::Locale::getRoot();
  // ICU maps the C and POSIX locales to en_US_POSIX, whose collation puts all
  // capitals before all small letters as primary differences.
  const std::string_view name = def.getName();
  if (name == "en_US_POSIX" || name == "c" || name == "posix") return icu::Locale::getRoot();
  return def;
}

std::unique_ptr<icu::Collator> makeCollator(ECollation kind, const icu::Locale& locale = collationLocale()) {
  UErrorCode status = U_ZERO_ERROR;
  std::unique_ptr<icu::Collator> collator(icu::Collator::createInstance(locale, status));
  if (U_FAILURE(status) || !collator) {
    status = U_ZERO_ERROR;
    collator.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
    if (U_FAILURE(status) || !collator) return nullptr;
  }
  collator->setAttribute(UCOL_STRENGTH, kind == ECollation::eNoCase ? UCOL_SECONDARY : UCOL_TERTIARY, status);
  // Precomposed and decomposed accents must compare equal, as they do with the
  // Windows comparison.
  collator->setAttribute(UCOL_NORMALIZATION_MODE, UCOL_ON, status);
  if (U_FAILURE(status)) return nullptr;
  return collator;
}

const icu::Collator* prototype(ECollation kind) {
  static const std::unique_ptr<icu::Collator> noCase = makeCollator(ECollation::eNoCase);
  static const std::unique_ptr<icu::Collator> tertiary = makeCollator(ECollation::eTertiary);
  return kind == ECollation::eNoCase ? noCase.get() : tertiary.get();
}

// ICU collators are cheap to clone and need no lock once each thread has its
// own; measured against one collator behind a mutex this keeps concurrent
// comparisons from serialising. Null when ICU has no collation data.
icu::Collator* threadCollator(ECollation kind) {
  struct PerThread {
    std::array<std::unique_ptr<icu::Collator>, 2> collators;
    std::array<bool, 2> tried{};
  };
  thread_local PerThread local;
  const auto index = static_cast<std::size_t>(kind);
  if (!local.tried[index]) {
    local.tried[index] = true;
    if (const icu::Collator* proto = prototype(kind)) local.collators[index].reset(proto->clone());
  }
  return local.collators[index].get();
}

int codePointCompare(std::wstring_view a, std::wstring_view b) {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < n; ++i) {
    const auto ca = static_cast<std::uint32_t>(a[i]);
    const auto cb = static_cast<std::uint32_t>(b[i]);
    if (ca != cb) return ca < cb ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

int collateWith(ECollation kind, std::wstring_view a, std::wstring_view b) {
  if (a == b) return 0;
  icu::Collator* collator = threadCollator(kind);
  if (!collator) {
    return kind == ECollation::eNoCase ? codePointCompare(foldCase(a), foldCase(b)) : codePointCompare(a, b);
  }
  const Utf16Text ua(a);
  const Utf16Text ub(b);
  UErrorCode status = U_ZERO_ERROR;
  const UCollationResult r = collator->compare(ua.data(), ua.length(), ub.data(), ub.length(), status);
  if (U_FAILURE(status)) return codePointCompare(a, b);
  return r == UCOL_LESS ? -1 : (r == UCOL_GREATER ? 1 : 0);
}

// Canonical composition before encoding into a legacy code page.
std::wstring composed(std::wstring_view s) {
  // Nothing below U+0300 takes part in composition.
  bool mayChange = false;
  for (wchar_t c : s) {
    if (static_cast<std::uint32_t>(c) >= 0x300) {
      mayChange = true;
      break;
    }
  }
  if (!mayChange) return std::wstring(s);
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
  if (U_FAILURE(status) || !nfc) return std::wstring(s);
  const Utf16Text u(s);
  const icu::UnicodeString source(false, u.data(), u.length());  // read-only alias, no copy
  if (nfc->quickCheck(source, status) == UNORM_YES && U_SUCCESS(status)) return std::wstring(s);
  status = U_ZERO_ERROR;
  const icu::UnicodeString result = nfc->normalize(source, status);
  if (U_FAILURE(status)) return std::wstring(s);
  // Values that were not scalar values are U+FFFD in the UTF-16 copy; they
  // would become '?' when encoded anyway.
  return fromUtf16(std::u16string_view(result.getBuffer(), static_cast<std::size_t>(result.length())));
}

}  // namespace

// --- comparison ------------------------------------------------------------------

// No shortcut for ASCII text: tailorings make even ASCII case matter (Turkish
// "I" is the capital of dotless "ı"; Czech "ch" is one letter but "cH" is
// two), and the answer must agree with the sort keys.
int compareNoCase(std::wstring_view a, std::wstring_view b) { return collateWith(ECollation::eNoCase, a, b); }

bool equalNoCase(std::wstring_view a, std::wstring_view b) { return compareNoCase(a, b) == 0; }

std::string sortKeyNoCase(std::wstring_view s) {
  const icu::Collator* collator = threadCollator(ECollation::eNoCase);
  if (!collator) return toUtf8(foldCase(s));  // byte order of UTF-8 is code point order
  const Utf16Text u(s);
  std::string key(256, '\0');
  int32_t needed = collator->getSortKey(u.data(), u.length(), reinterpret_cast<uint8_t*>(key.data()),
                                        static_cast<int32_t>(key.size()));
  if (needed > static_cast<int32_t>(key.size())) {
    key.assign(static_cast<std::size_t>(needed), '\0');
    needed = collator->getSortKey(u.data(), u.length(), reinterpret_cast<uint8_t*>(key.data()),
                                  static_cast<int32_t>(key.size()));
  }
  // The key ends in a terminating zero byte that carries no order.
  key.resize(needed > 0 ? static_cast<std::size_t>(needed) - 1 : 0);
  return key;
}

namespace {

// The single collation element of `c`, or nothing when it has none, several,
// or one without a primary weight.
std::optional<std::pair<int32_t, int32_t>> onlyElement(const icu::RuleBasedCollator& collator, char16_t c) {
  const icu::UnicodeString text(c);
  std::unique_ptr<icu::CollationElementIterator> it(collator.createCollationElementIterator(text));
  if (!it) return std::nullopt;
  UErrorCode status = U_ZERO_ERROR;
  const int32_t first = it->next(status);
  const int32_t second = it->next(status);
  if (U_FAILURE(status) || first == icu::CollationElementIterator::NULLORDER ||
      second != icu::CollationElementIterator::NULLORDER) {
    return std::nullopt;
  }
  const int32_t primary = icu::CollationElementIterator::primaryOrder(first);
  if (primary == 0) return std::nullopt;
  return std::make_pair(primary, icu::CollationElementIterator::secondaryOrder(first));
}

bool checkAsciiFolding(const icu::Collator* anyCollator) {
  const auto* collator = dynamic_cast<const icu::RuleBasedCollator*>(anyCollator);
  if (!collator) return false;
  UErrorCode status = U_ZERO_ERROR;
  // Numeric collation would make "01" equal "1"; shifted punctuation would be
  // ignorable.
  if (collator->getAttribute(UCOL_NUMERIC_COLLATION, status) != UCOL_OFF ||
      collator->getAttribute(UCOL_ALTERNATE_HANDLING, status) != UCOL_NON_IGNORABLE || U_FAILURE(status)) {
    return false;
  }
  // Tailored characters and strings (a locale's contractions such as Czech
  // "ch") must leave ASCII alone, and no contraction at all may be made of
  // ASCII only.
  std::unique_ptr<icu::UnicodeSet> tailored(collator->getTailoredSet(status));
  icu::UnicodeSet contractions;
  ucol_getContractionsAndExpansions(collator->toUCollator(), contractions.toUSet(), nullptr, true, &status);
  if (U_FAILURE(status) || !tailored || tailored->containsSome(0x20, 0x7E)) return false;
  icu::UnicodeSet ascii(0x20, 0x7E);
  for (icu::UnicodeSetIterator it(*tailored); it.next();) {
    if (it.isString() && ascii.containsSome(it.getString())) return false;
  }
  for (icu::UnicodeSetIterator it(contractions); it.next();) {
    if (it.isString() && ascii.containsAll(it.getString())) return false;
  }
  // Each character has one element. A capital letter must share its small
  // letter's, or a-z folding would find names the collation tells apart; any
  // two other characters must differ, or it would tell apart names the
  // collation finds equal.
  std::set<std::pair<int32_t, int32_t>> seen;
  for (char16_t c = 0x20; c <= 0x7E; ++c) {
    const auto element = onlyElement(*collator, c);
    if (!element) return false;
    const auto folded = static_cast<char16_t>(asciiLower(static_cast<wchar_t>(c)));
    if (folded != c) {
      if (onlyElement(*collator, folded) != element) return false;
    } else if (!seen.insert(*element).second) {
      return false;
    }
  }
  return true;
}

}  // namespace

bool asciiFoldsToCollation() {
  static const bool simple = checkAsciiFolding(prototype(ECollation::eNoCase));
  return simple;
}

bool asciiFoldsToCollation(const char* locale) {
  if (locale == nullptr) return false;
  return checkAsciiFolding(makeCollator(ECollation::eNoCase, icu::Locale(locale)).get());
}

int collate(std::wstring_view a, std::wstring_view b) { return collateWith(ECollation::eTertiary, a, b); }

int collateNoCase(std::wstring_view a, std::wstring_view b) {
  if (a == b) return 0;
  return collateWith(ECollation::eTertiary, foldCase(a), foldCase(b));
}

// --- case mapping ----------------------------------------------------------------

std::wstring toLower(std::wstring_view s) {
  std::wstring out(s);
  for (auto& c : out) {
    const auto cp = static_cast<std::uint32_t>(c);
    if (cp < 0x80) {
      c = asciiLower(c);
    } else if (isScalarValue(c)) {
      c = static_cast<wchar_t>(u_tolower(static_cast<UChar32>(cp)));
    }
  }
  return out;
}

std::wstring foldCase(std::wstring_view s) {
  // ASCII needs no table: most registry names are plain ASCII.
  if (isAscii(s)) {
    std::wstring out(s);
    for (auto& c : out) c = asciiLower(c);
    return out;
  }
  const Utf16Text src(s);
  // Full folding expands a code unit to at most three.
  std::vector<UChar> dst(static_cast<std::size_t>(src.length()) * 3 + 1);
  UErrorCode status = U_ZERO_ERROR;
  int32_t n = u_strFoldCase(dst.data(), static_cast<int32_t>(dst.size()), src.data(), src.length(), U_FOLD_CASE_DEFAULT,
                            &status);
  if (status == U_BUFFER_OVERFLOW_ERROR) {
    dst.resize(static_cast<std::size_t>(n) + 1);
    status = U_ZERO_ERROR;
    n = u_strFoldCase(dst.data(), static_cast<int32_t>(dst.size()), src.data(), src.length(), U_FOLD_CASE_DEFAULT,
                      &status);
  }
  if (U_FAILURE(status)) return std::wstring(s);
  return fromUtf16(std::u16string_view(dst.data(), static_cast<std::size_t>(n)));
}

// --- encodings ---------------------------------------------------------------------

std::string toAnsi(std::wstring_view s) {
  const std::wstring text = composed(s);
  std::string out;
  out.reserve(text.size());
  std::mbstate_t state{};
  std::array<char, MB_LEN_MAX> buffer{};
  for (wchar_t wc : text) {
    const std::size_t n = std::wcrtomb(buffer.data(), wc, &state);
    if (n == static_cast<std::size_t>(-1)) {
      out.push_back('?');
      state = std::mbstate_t{};
    } else {
      out.append(buffer.data(), n);
    }
  }
  // A stateful encoding returns to its initial shift state at the end; the
  // null that wcrtomb adds for that is not part of the text.
  if (!std::mbsinit(&state)) {
    const std::size_t n = std::wcrtomb(buffer.data(), L'\0', &state);
    if (n != static_cast<std::size_t>(-1) && n > 1) out.append(buffer.data(), n - 1);
  }
  return out;
}

std::wstring fromAnsi(std::string_view s) {
  std::wstring out;
  out.reserve(s.size());
  std::mbstate_t state{};
  std::size_t i = 0;
  while (i < s.size()) {
    wchar_t wc = 0;
    const std::size_t n = std::mbrtowc(&wc, s.data() + i, s.size() - i, &state);
    if (n == static_cast<std::size_t>(-1)) {
      out.push_back(kReplacement);
      state = std::mbstate_t{};
      ++i;
    } else if (n == static_cast<std::size_t>(-2)) {
      // The input ends inside a character.
      out.push_back(kReplacement);
      break;
    } else if (n == 0) {
      out.push_back(L'\0');
      ++i;
    } else {
      out.push_back(wc);
      i += n;
    }
  }
  return out;
}

}  // namespace ut::platform
