// Binary streams: typed operators over one raw virtual operation, and the
// in-memory writer and reader.

#include <ut/ut_binstream.h>

#include "ut_platform.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace {

template <class T>
void readValue(CIBinStream& in, T& value) {
  T read{};
  if (in.read(static_cast<int>(sizeof(T)), &read) != static_cast<int>(sizeof(T))) throw 0;
  value = read;
}

// Reads exactly `count` bytes, growing the buffer only as data arrives so
// that a corrupt count cannot claim memory the source does not back.
std::vector<unsigned char> readBytes(CIBinStream& in, int count) {
  constexpr int kChunk = 1 << 16;
  std::vector<unsigned char> bytes;
  while (static_cast<int>(bytes.size()) < count) {
    const int want = std::min(kChunk, count - static_cast<int>(bytes.size()));
    const std::size_t at = bytes.size();
    bytes.resize(at + static_cast<std::size_t>(want));
    const int got = in.read(want, bytes.data() + at);
    if (got != want) throw 0;
  }
  return bytes;
}

}  // namespace

// --- COBinStream ---------------------------------------------------------------

COBinStream::~COBinStream() = default;

COBinStream& COBinStream::operator<<(char value) { return write(sizeof value, &value), *this; }
COBinStream& COBinStream::operator<<(unsigned char value) { return write(sizeof value, &value), *this; }
COBinStream& COBinStream::operator<<(short value) { return write(sizeof value, &value), *this; }
COBinStream& COBinStream::operator<<(unsigned short value) { return write(sizeof value, &value), *this; }
COBinStream& COBinStream::operator<<(int value) { return write(sizeof value, &value), *this; }
COBinStream& COBinStream::operator<<(unsigned int value) { return write(sizeof value, &value), *this; }
COBinStream& COBinStream::operator<<(float value) { return write(sizeof value, &value), *this; }
COBinStream& COBinStream::operator<<(double value) { return write(sizeof value, &value), *this; }

COBinStream& COBinStream::operator<<(const wchar_t* text) {
  // The UTF-16 form the Windows build writes: lone surrogates (as the reader
  // may produce) stay the one unit they stand for.
  const std::vector<std::uint8_t> bytes =
      text ? ut::platform::encodeUtf16(text, ut::platform::EByteOrder::eLittleEndian) : std::vector<std::uint8_t>();
  // A count must fit the 32-bit field; no real string comes near it.
  const std::size_t units = bytes.size() / 2;
  const std::int32_t count = units > INT_MAX / 2 ? 0 : static_cast<std::int32_t>(units);
  write(sizeof count, &count);
  if (count != 0) write(count, bytes.data());
  return *this;
}

// --- CIBinStream ---------------------------------------------------------------

CIBinStream::~CIBinStream() = default;

CIBinStream& CIBinStream::operator>>(char& value) { return readValue(*this, value), *this; }
CIBinStream& CIBinStream::operator>>(unsigned char& value) { return readValue(*this, value), *this; }
CIBinStream& CIBinStream::operator>>(short& value) { return readValue(*this, value), *this; }
CIBinStream& CIBinStream::operator>>(unsigned short& value) { return readValue(*this, value), *this; }
CIBinStream& CIBinStream::operator>>(int& value) { return readValue(*this, value), *this; }
CIBinStream& CIBinStream::operator>>(unsigned int& value) { return readValue(*this, value), *this; }
CIBinStream& CIBinStream::operator>>(double& value) { return readValue(*this, value), *this; }

CIBinStream& CIBinStream::operator>>(std::wstring& text) {
  text.clear();
  std::int32_t count = 0;
  if (read(sizeof count, &count) != static_cast<int>(sizeof count) || count < 0) throw 0;
  const std::vector<unsigned char> bytes = readBytes(*this, count);
  // The Windows string: n + 1 UTF-16 units, the first n bytes from the stream.
  std::u16string units(static_cast<std::size_t>(count) + 1, u'\0');
  if (!bytes.empty()) std::memcpy(units.data(), bytes.data(), bytes.size());
  units[static_cast<std::size_t>(count)] = u'\0';
  text = ut::platform::fromUtf16(units);
  text.resize(static_cast<std::size_t>(count) + 1, L'\0');
  return *this;
}

// --- COBinStreamImp ------------------------------------------------------------

COBinStreamImp::COBinStreamImp(COBinStreamImp&& other) noexcept
    : m_buffer(std::exchange(other.m_buffer, OdArray<unsigned char>())), m_pos(other.m_pos) {}

COBinStreamImp& COBinStreamImp::operator=(COBinStreamImp&& other) noexcept {
  if (this != &other) {
    m_buffer = std::exchange(other.m_buffer, OdArray<unsigned char>());
    m_pos = other.m_pos;
  }
  return *this;
}

COBinStreamImp::~COBinStreamImp() = default;

void COBinStreamImp::reset() {
  m_buffer.clear();
  m_pos = 0;
}

int COBinStreamImp::write(int size, const void* data) {
  if (size <= 0 || !data || static_cast<unsigned int>(size) > UINT_MAX - m_pos) return 0;
  const unsigned int end = m_pos + static_cast<unsigned int>(size);
  if (end > m_buffer.size()) m_buffer.resize(end);
  std::memcpy(m_buffer.asArrayPtr() + m_pos, data, static_cast<std::size_t>(size));
  m_pos = end;
  return size;
}

// --- CIBinStreamImp ------------------------------------------------------------

CIBinStreamImp::CIBinStreamImp(const unsigned char* data, unsigned int size) : m_data(data), m_size(data ? size : 0) {}

CIBinStreamImp::~CIBinStreamImp() = default;

void CIBinStreamImp::reset(const unsigned char* data, unsigned int size) {
  m_data = data;
  m_size = data ? size : 0;
  m_pos = 0;
}

int CIBinStreamImp::read(int size, void* data) {
  if (!m_data || m_pos >= m_size || size <= 0 || !data) return 0;
  const unsigned int n = std::min(static_cast<unsigned int>(size), m_size - m_pos);
  std::memcpy(data, m_data + m_pos, n);
  m_pos += n;
  return static_cast<int>(n);
}
