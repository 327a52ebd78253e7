#pragma once

// Small stateless text encodings: the percent-encoding of characters that are
// forbidden in names, base64 and base64url, random base64url strings and the
// base64url SHA-256 digest used as a PKCE code challenge. Bytes travel in
// std::string.

#include <ut/ut_export.h>

#include "OdString.h"

#include <cstddef>
#include <string>

namespace ut {

// Escapes the fourteen characters that names may not hold as upper-case
// percent codes: % " * , / : ; < = > ? \ ` | become %25 %22 %2A %2C %2F %3A %3B
// %3C %3D %3E %3F %5C %60 %7C. Every other character, blanks and non-ASCII
// included, stays as it is.
UT_EXPORT OdString percentEncode(const OdString& text);
// Replaces those fourteen codes by their characters. Only these codes, in
// upper case, are recognised: "%2a", "%41" or a lone "%" stay as they are.
// percentDecode(percentEncode(s)) == s for every s.
UT_EXPORT OdString percentDecode(const OdString& text);

// Decodes standard base64 (A-Z a-z 0-9 + /). Decoding stops at the first '='
// or at the first character outside the alphabet; a final group of two or
// three characters gives one or two bytes, a lone final character nothing.
UT_EXPORT std::string base64_decode(const std::string& text);
// Decodes base64url (A-Z a-z 0-9 - _), stopping at the first character
// outside that alphabet ('=' included); bits that do not fill a byte at the
// end are dropped.
UT_EXPORT std::string base64Url_decode(const std::string& text);

// Encodes bytes as standard base64, padded with '=' to a multiple of four.
UT_EXPORT std::string base64_encode(const std::string& bytes);
// Encodes bytes as base64url without padding.
UT_EXPORT std::string base64Url_encode(const std::string& bytes);

// `n` characters of the base64url alphabet, each chosen by the low six bits of
// the C library's rand(). Not seeded here and not cryptographically strong.
UT_EXPORT std::string randomBase64url(std::size_t n);

// The base64url form, without padding, of the SHA-256 digest of `bytes`
// (43 characters).
UT_EXPORT std::string base64UrlSha256(const std::string& bytes);

}  // namespace ut
