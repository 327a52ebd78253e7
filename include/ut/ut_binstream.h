#pragma once

// Binary serialisation streams: COBinStream writes typed values into a byte
// sink, CIBinStream reads them back from a byte source. The format has no
// header, no tags and no version; a reader asks for exactly the sequence of
// types the writer wrote.
//
// Wire format (native byte order, little-endian on every supported platform;
// no padding between values):
//   char, unsigned char    1 byte
//   short, unsigned short  2 bytes
//   int, unsigned int      4 bytes, two's complement / unsigned
//   float                  4 bytes IEEE 754 single (written only: no reader)
//   double                 8 bytes IEEE 754 double
//   wide string            a 32-bit count n of UTF-16 code units, then the
//                          first n BYTES (not units) of the UTF-16 form
//
// The string rule is kept exactly because existing data depends on it: "AB"
// is written as 02 00 00 00 41 00, so a string of n units transfers only the
// first n of its 2n bytes. wchar_t holds UTF-32 here; the writer converts to
// UTF-16 first so that the bytes are those the Windows build writes, and the
// reader rebuilds the string the Windows build would hold (see operator>>).
//
// There is no bool operator: a bool converts to int and takes 4 bytes.

#include <ut/ut_export.h>

#include <OdArray.h>

#include <string>

// Abstract writer: the typed operators are written once on top of write().
class UT_EXPORT COBinStream {
 public:
  virtual ~COBinStream();

  // Writes `size` bytes from `data`; returns how many were written.
  virtual int write(int size, const void* data) = 0;

  // Each writes the value's bytes with one call of write().
  COBinStream& operator<<(char value);
  COBinStream& operator<<(unsigned char value);
  COBinStream& operator<<(short value);
  COBinStream& operator<<(unsigned short value);
  COBinStream& operator<<(int value);
  COBinStream& operator<<(unsigned int value);
  COBinStream& operator<<(float value);
  COBinStream& operator<<(double value);
  // The count of UTF-16 units (one write), then, when the count is not 0, the
  // first `count` bytes of the UTF-16 form (a second write). A null pointer
  // writes the count 0 only. Code points above U+FFFF become surrogate pairs;
  // a lone surrogate value (as the reader may produce) is written as the one
  // unit it stands for, so that what was read writes back the same bytes;
  // values above U+10FFFF are written as U+FFFD.
  COBinStream& operator<<(const wchar_t* text);
};

// Abstract reader: the typed operators are written once on top of read().
//
// Every reading operator throws the plain integer 0 (`throw 0`, not an
// exception object) when the source delivers fewer bytes than asked for; the
// value argument is then left unchanged (a string is left cleared).
class UT_EXPORT CIBinStream {
 public:
  virtual ~CIBinStream();

  // Reads up to `size` bytes into `data`; returns how many were read.
  virtual int read(int size, void* data) = 0;

  CIBinStream& operator>>(char& value);
  CIBinStream& operator>>(unsigned char& value);
  CIBinStream& operator>>(short& value);
  CIBinStream& operator>>(unsigned short& value);
  CIBinStream& operator>>(int& value);
  CIBinStream& operator>>(unsigned int& value);
  CIBinStream& operator>>(double& value);
  // Reads a string written by operator<<(const wchar_t*):
  //  1. clears `text`, reads the 32-bit count n; throws 0 when fewer than 4
  //     bytes arrive or n is negative;
  //  2. reads n bytes; throws 0 when fewer arrive (memory grows with the bytes
  //     that actually arrive, so a corrupt count cannot exhaust memory);
  //  3. builds what the Windows build holds: a UTF-16 buffer of n + 1 units
  //     whose first n bytes are those read and whose other bytes are zero (an
  //     odd n leaves a last unit with only its low byte), decoded to code
  //     points: a complete surrogate pair becomes one character, a surrogate
  //     whose partner was cut off (or never there) is kept as its own value.
  // The result always has length n + 1 and ends in a zero character (padded
  // with zeros where pairs were combined); callers use the text up to the
  // first zero. A count of 0 gives a string holding one zero character.
  CIBinStream& operator>>(std::wstring& text);
};

// Writer into a growing in-memory buffer.
class UT_EXPORT COBinStreamImp : public COBinStream {
 public:
  // Empty buffer, position 0.
  COBinStreamImp() = default;
  // Copy: the buffer's bytes and the position. Move: the buffer is taken over
  // and the source left with an empty buffer; the position is copied (the
  // source keeps its own, so a later write into it zero-fills up to there).
  COBinStreamImp(const COBinStreamImp& other) = default;
  COBinStreamImp(COBinStreamImp&& other) noexcept;
  COBinStreamImp& operator=(const COBinStreamImp& other) = default;
  COBinStreamImp& operator=(COBinStreamImp&& other) noexcept;
  ~COBinStreamImp() override;

  // Empties the buffer; the next write starts at offset 0.
  void reset();
  // Bytes written so far (the write position).
  unsigned int pos() const { return m_pos; }
  // The start of the buffer; null before anything was written (or after the
  // buffer was moved away).
  const void* data() const { return m_buffer.getPtr(); }

  // When position + size exceeds the buffer, the buffer grows to exactly
  // position + size (new bytes zero, capacity growing geometrically); then
  // the bytes are copied at the position, which advances. Returns `size`.
  // A size <= 0, a null `data` or a position that would pass 4 GiB writes
  // nothing and returns 0.
  int write(int size, const void* data) override;

 private:
  OdArray<unsigned char> m_buffer;
  unsigned int m_pos = 0;
};

// Reader over a caller-owned byte range (not copied: the bytes must outlive
// the reads).
class UT_EXPORT CIBinStreamImp : public CIBinStream {
 public:
  // Reads from [data, data + size), position 0. A null `data` is an empty
  // source whatever `size` says.
  CIBinStreamImp(const unsigned char* data, unsigned int size);
  // Copy and move copy the pointer, the size and the position.
  CIBinStreamImp(const CIBinStreamImp& other) = default;
  CIBinStreamImp& operator=(const CIBinStreamImp& other) = default;
  ~CIBinStreamImp() override;

  // A new source, position 0.
  void reset(const unsigned char* data, unsigned int size);

  // Without a source, at the end, or for size <= 0 or a null `data`: 0.
  // Otherwise copies min(size, remaining) bytes, advances, returns their number.
  int read(int size, void* data) override;

 private:
  const unsigned char* m_data = nullptr;
  unsigned int m_size = 0;
  unsigned int m_pos = 0;
};
