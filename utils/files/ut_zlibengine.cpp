// ZlibEngine: file-to-file compression through zlib with 4096-byte buffers,
// progress and user abort; and the memory-buffer helpers.

#include <ut/ut_zip.h>

#include "ut_platform.h"

#include <zlib.h>

#include <climits>
#include <cstdint>
#include <string>

namespace {

// The header version the engine announces to zlib; any 1.x library accepts it.
constexpr const char* kZlibHeaderVersion = "1.2.5";
constexpr std::size_t kFileBufferSize = 1 << 18;

std::FILE* openFile(const wchar_t* name, const char* mode) {
  if (!name || !*name) return nullptr;
  const std::string path = ut::platform::toUtf8(ut::platform::toNativeSeparators(name));
  return std::fopen(path.c_str(), mode);
}

}  // namespace

ZlibEngine::ZlibEngine() : m_stream(std::make_unique<z_stream_s>()) {}

ZlibEngine::~ZlibEngine() { closeFiles(); }

int ZlibEngine::doDeflateInit(int level) {
  *m_stream = z_stream{};
  return deflateInit_(m_stream.get(), level, kZlibHeaderVersion, static_cast<int>(sizeof(z_stream)));
}

int ZlibEngine::doInflateInit() {
  *m_stream = z_stream{};
  return inflateInit_(m_stream.get(), kZlibHeaderVersion, static_cast<int>(sizeof(z_stream)));
}

void ZlibEngine::progress(int) {}
void ZlibEngine::status(const wchar_t*) {}

bool ZlibEngine::openFiles(const wchar_t* input, const wchar_t* output) {
  closeFiles();
  m_in = openFile(input, "rb");
  if (!m_in) return false;
  m_out = openFile(output, "wb");
  if (!m_out) {
    closeFiles();
    return false;
  }
  // Large stdio buffers spare a system call per 4096-byte block. A write
  // that fails when a buffer is flushed shows as a short fwrite, or at the
  // latest when the file is closed, before status() (see closeFiles).
  std::setvbuf(m_in, nullptr, _IOFBF, kFileBufferSize);
  std::setvbuf(m_out, nullptr, _IOFBF, kFileBufferSize);
  std::int64_t length = 0;
  if (std::fseek(m_in, 0, SEEK_END) == 0) length = std::ftell(m_in);
  std::rewind(m_in);
  m_length = length < 0 ? 0 : (length > INT_MAX ? INT_MAX : static_cast<int>(length));
  return true;
}

void ZlibEngine::closeFiles() {
  if (m_in) std::fclose(m_in);
  m_in = nullptr;
  if (m_out && std::fclose(m_out) != 0 && (m_err == Z_OK || m_err == Z_STREAM_END)) m_err = kWriteError;
  m_out = nullptr;
}

int ZlibEngine::load_input() {
  if (!m_in) return 0;
  const std::size_t n = std::fread(m_input, 1, kBufferSize, m_in);
  m_stream->next_in = m_input;
  m_stream->avail_in = static_cast<uInt>(n);
  return static_cast<int>(n);
}

int ZlibEngine::flush_output() {
  const int n = kBufferSize - static_cast<int>(m_stream->avail_out);
  if (n <= 0) return 0;
  if (!m_out || std::fwrite(m_output, 1, static_cast<std::size_t>(n), m_out) != static_cast<std::size_t>(n)) {
    m_err = kWriteError;
    return 0;
  }
  m_stream->next_out = m_output;
  m_stream->avail_out = kBufferSize;
  return n;
}

int ZlibEngine::percent() {
  if (m_length == 0) return 100;
  const std::uint64_t done = m_stream->total_in;
  const std::uint64_t value =
      m_length <= 10000000 ? done * 100 / static_cast<std::uint64_t>(m_length) : done / (m_length / 100);
  return value > 100 ? 100 : static_cast<int>(value);
}

int ZlibEngine::step(bool deflating, int flush) {
  return deflating ? deflate(m_stream.get(), flush) : inflate(m_stream.get(), flush);
}

int ZlibEngine::run(bool deflating, int level) {
  m_err = Z_OK;
  const int init = deflating ? doDeflateInit(level) : doInflateInit();
  if (init != Z_OK) {
    m_err = init;
    closeFiles();
    return init;
  }
  m_stream->next_out = m_output;
  m_stream->avail_out = kBufferSize;
  bool endOfInput = false;
  while (!m_abort) {
    if (m_stream->avail_in == 0 && load_input() == 0) {
      endOfInput = true;
      break;
    }
    m_err = step(deflating, Z_NO_FLUSH);
    flush_output();
    if (m_err != Z_OK) break;
    progress(percent());
  }
  if (endOfInput) {
    while (!m_abort) {
      m_err = step(deflating, Z_FINISH);
      if (flush_output() == 0 || m_err != Z_OK) break;
    }
  }
  progress(percent());
  if (deflating) {
    deflateEnd(m_stream.get());
  } else {
    inflateEnd(m_stream.get());
  }
  closeFiles();
  if (m_abort) {
    status(L"User Abort");
    return kUserAbort;
  }
  status(m_err == Z_OK || m_err == Z_STREAM_END ? L"Success" : L"Zlib Error");
  return m_err;
}

int ZlibEngine::compress(const wchar_t* input, const wchar_t* output, int level) {
  const ut::platform::SigpipeGuard noSigpipe;
  if (!openFiles(input, output)) {
    m_err = kWriteError;
    status(L"Zlib Error");
    return m_err;
  }
  return run(true, level);
}

int ZlibEngine::decompress(const wchar_t* input, const wchar_t* output) {
  const ut::platform::SigpipeGuard noSigpipe;
  if (!openFiles(input, output)) {
    m_err = kWriteError;
    status(L"Zlib Error");
    return m_err;
  }
  return run(false, 0);
}

unsigned long ZlibEngine::compressedSize(unsigned long n) { return compressBound(n); }

int ZlibEngine::compressMemory(unsigned char* dest, unsigned long* destLen, unsigned char* src, unsigned long srcLen,
                               int level) {
  if (!destLen || (!dest && *destLen != 0) || (!src && srcLen != 0)) return Z_STREAM_ERROR;
  return compress2(dest, destLen, src, srcLen, level);
}

int ZlibEngine::decompressMemory(unsigned char* dest, unsigned long* destLen, unsigned char* src,
                                 unsigned long srcLen) {
  if (!destLen || (!dest && *destLen != 0) || (!src && srcLen != 0)) return Z_STREAM_ERROR;
  return uncompress(dest, destLen, src, srcLen);
}
