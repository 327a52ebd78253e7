#pragma once

// Byte forms of registry data and names. Internal to the registry store.
//
// Value data is kept exactly as Windows keeps it, so that a store can be
// exported, imported and compared byte for byte: strings are UTF-16LE with a
// terminating NUL, numbers little-endian. wchar_t holds UTF-32 here, so every
// conversion is explicit.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ut::regstore {

using Bytes = std::vector<std::uint8_t>;

// UTF-32 text to UTF-16LE bytes, followed by one NUL unit when terminate is
// set. Characters beyond U+10FFFF become U+FFFD; lone surrogates are kept as
// single units so that they survive a round trip.
Bytes encodeUtf16le(std::wstring_view text, bool terminate = true);
// UTF-16LE bytes to text. A trailing odd byte is ignored, surrogate pairs are
// combined and lone surrogates kept. Nothing is stripped.
std::wstring decodeUtf16le(const std::uint8_t* data, std::size_t size);

// REG_SZ / REG_EXPAND_SZ data to text: the NUL units at the end (any number,
// or none at all) are dropped; NULs inside the text are kept.
std::wstring decodeRegString(const std::uint8_t* data, std::size_t size);

// REG_MULTI_SZ: every string followed by a NUL, then one more NUL. An empty
// string cannot be represented (it would end the list): nullopt.
std::optional<Bytes> encodeMultiString(const std::vector<std::wstring>& strings);
// Splits at NULs and stops at the first empty string; a missing final
// terminator is tolerated.
std::vector<std::wstring> decodeMultiString(const std::uint8_t* data, std::size_t size);

Bytes encodeDword(std::uint32_t value);
Bytes encodeQword(std::uint64_t value);
// The number when size is exactly 4 (respectively 8).
std::optional<std::uint32_t> decodeDword(const std::uint8_t* data, std::size_t size);
std::optional<std::uint64_t> decodeQword(const std::uint8_t* data, std::size_t size);

// Names travel to SQLite as UTF-8. Lone surrogates are encoded like any other
// code point (three bytes) so that every name a caller can pass comes back
// unchanged; nullopt for a character beyond U+10FFFF, which no registry name
// can hold.
std::optional<std::string> nameToUtf8(std::wstring_view name);
std::wstring nameFromUtf8(std::string_view utf8);

// A decimal number as wx and the registry functions accept it in a string:
// optional sign, digits, nothing else.
std::optional<std::int64_t> parseDecimal(std::wstring_view text);

}  // namespace ut::regstore
