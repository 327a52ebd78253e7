#include <ut/ut_zip.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "files_test_support.h"
#include "test_support.h"

namespace {

using ut::test::randomBytes;
using ut::test::readFileBytes;
using ut::test::runProgram;
using ut::test::TempDir;
using ut::test::writeFileBytes;

// Records what the engine reports, and can abort from progress.
class RecordingEngine : public ZlibEngine {
 public:
  std::vector<int> percents;
  std::vector<std::wstring> statuses;
  int abortAtCall = -1;  // abort when progress is called for this (0-based) time

 protected:
  void progress(int percent) override {
    if (static_cast<int>(percents.size()) == abortAtCall) setAbortFlag(true);
    percents.push_back(percent);
  }
  void status(const wchar_t* message) override { statuses.emplace_back(message); }
};

std::string textBytes(std::size_t n) {
  static const std::string words = "the quick brown fox jumps over the lazy drawing layer ";
  std::string s;
  s.reserve(n);
  for (std::size_t i = 0; s.size() < n; ++i) s += words.substr(i % 7, 12 + i % 9) + std::to_string(i % 1000);
  s.resize(n);
  return s;
}

std::wstring wide(const std::filesystem::path& p) { return p.wstring(); }

// Runs a Python snippet under a time limit; its standard output.
std::string python(const TempDir& dir, const std::string& script) {
  const ut::test::ProgramResult r = runProgram("timeout", {"120", "python3", "-c", script}, dir.path());
  EXPECT_EQ(r.status, 0) << r.err;
  return r.out;
}

TEST(ZlibEngineCompress, SizesAroundTheBufferRoundTripAndPythonReadsThem) {
  TempDir dir;
  struct Case {
    const char* name;
    std::string data;
  };
  const std::vector<Case> cases = {
      {"empty", ""},
      {"one", "x"},
      {"b4095", textBytes(4095)},
      {"b4096", textBytes(4096)},
      {"b4097", textBytes(4097)},
      {"random", randomBytes(300000, 7)},  // incompressible: output larger than input
  };
  std::string check = "import zlib,sys\n";
  for (const Case& c : cases) {
    const auto in = dir / (std::string(c.name) + ".bin");
    const auto z = dir / (std::string(c.name) + ".z");
    const auto back = dir / (std::string(c.name) + ".back");
    ASSERT_TRUE(writeFileBytes(in, c.data));
    RecordingEngine engine;
    EXPECT_EQ(engine.compress(wide(in).c_str(), wide(z).c_str(), 6), 1) << c.name;
    EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"Success"}) << c.name;
    ASSERT_FALSE(engine.percents.empty()) << c.name;
    EXPECT_EQ(engine.percents.back(), 100) << c.name;
    RecordingEngine inverse;
    EXPECT_EQ(inverse.decompress(wide(z).c_str(), wide(back).c_str()), 1) << c.name;
    EXPECT_EQ(readFileBytes(back), c.data) << c.name;
    check += "print('" + std::string(c.name) + "', zlib.decompress(open('" + z.string() + "','rb').read()) == open('" +
             in.string() + "','rb').read())\n";
  }
  EXPECT_EQ(readFileBytes(dir / "empty.z"), std::string("\x78\x9c\x03\x00\x00\x00\x00\x01", 8));
  EXPECT_GT(readFileBytes(dir / "random.z").size(), 300000u);
  EXPECT_EQ(python(dir, check), "empty True\none True\nb4095 True\nb4096 True\nb4097 True\nrandom True\n");
}

TEST(ZlibEngineDecompress, ReadsWhatPythonCompressed) {
  TempDir dir;
  const auto original = dir / "original.bin";
  ASSERT_TRUE(writeFileBytes(original, textBytes(1000000) + randomBytes(50000, 3)));
  python(dir, "import zlib\nd=open('" + original.string() + "','rb').read()\n" + "for l in (0,1,9): open('" +
                  (dir / "py").string() + "%d.z' % l,'wb').write(zlib.compress(d,l))\n");
  for (const char* level : {"0", "1", "9"}) {
    const auto z = dir / (std::string("py") + level + ".z");
    const auto back = dir / (std::string("py") + level + ".back");
    RecordingEngine engine;
    EXPECT_EQ(engine.decompress(wide(z).c_str(), wide(back).c_str()), 1) << level;
    EXPECT_EQ(readFileBytes(back), readFileBytes(original)) << level;
  }
}

TEST(ZlibEngineCompress, TwentyMillionBytesReportProgressWithoutOverflow) {
  TempDir dir;
  const auto in = dir / "big.bin";
  const auto z = dir / "big.z";
  const std::string data = textBytes(20000000);
  ASSERT_TRUE(writeFileBytes(in, data));
  RecordingEngine engine;
  ASSERT_EQ(engine.compress(wide(in).c_str(), wide(z).c_str(), 1), 1);
  int previous = 0;
  for (int p : engine.percents) {
    ASSERT_GE(p, previous);
    ASSERT_LE(p, 100);
    previous = p;
  }
  EXPECT_EQ(engine.percents.back(), 100);
  EXPECT_GE(engine.percents.size(), 4000u);  // one per 4096-byte buffer
  RecordingEngine inverse;
  const auto back = dir / "big.back";
  ASSERT_EQ(inverse.decompress(wide(z).c_str(), wide(back).c_str()), 1);
  EXPECT_EQ(inverse.percents.back(), 100);
  EXPECT_TRUE(readFileBytes(back) == data);
  EXPECT_EQ(python(dir, "import zlib\nprint(len(zlib.decompress(open('" + z.string() + "','rb').read())))"),
            "20000000\n");
}

TEST(ZlibEngineAbort, AbortFromProgressStopsAfterTheCurrentBuffer) {
  TempDir dir;
  const auto in = dir / "in.bin";
  const auto z = dir / "in.z";
  ASSERT_TRUE(writeFileBytes(in, textBytes(100000)));
  RecordingEngine engine;
  engine.abortAtCall = 2;  // during the third buffer's progress
  EXPECT_EQ(engine.compress(wide(in).c_str(), wide(z).c_str(), 6), -7);
  EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"User Abort"});
  // Three buffers in the loop, then the final report: 3 * 4096 of 100000 bytes.
  EXPECT_EQ(engine.percents, (std::vector<int>{4, 8, 12, 12}));

  // The flag stays until cleared.
  RecordingEngine again;
  again.setAbortFlag(true);
  EXPECT_EQ(again.decompress(wide(z).c_str(), wide(dir / "x").c_str()), -7);
  again.setAbortFlag(false);
  again.statuses.clear();
  EXPECT_EQ(again.compress(wide(in).c_str(), wide(z).c_str(), 6), 1);
  EXPECT_EQ(again.statuses, std::vector<std::wstring>{L"Success"});
}

TEST(ZlibEngineFailure, WriteAndReadFailuresGiveTheirCodes) {
  TempDir dir;
  const auto in = dir / "in.bin";
  ASSERT_TRUE(writeFileBytes(in, randomBytes(50000, 5)));
  const auto good = dir / "good.z";
  ASSERT_EQ(ZlibEngine().compress(wide(in).c_str(), wide(good).c_str(), 6), 1);
  std::string data = readFileBytes(good);
  ASSERT_TRUE(writeFileBytes(dir / "cut.z", data.substr(0, data.size() / 2)));
  data[data.size() / 2] ^= 0x55;
  data[data.size() / 2 + 1] ^= 0x55;
  ASSERT_TRUE(writeFileBytes(dir / "bad.z", data));
  ASSERT_TRUE(writeFileBytes(dir / "notzlib.z", "this is not a zlib stream"));
  ASSERT_TRUE(writeFileBytes(dir / "empty.z", ""));

  struct Case {
    const char* what;
    bool compress;
    std::wstring input;
    std::wstring output;
    int result;
  };
  const Case cases[] = {
      {"disk full", true, wide(in), L"/dev/full", -1},
      {"missing input", true, wide(dir / "missing"), wide(dir / "out"), -1},
      {"output folder missing", true, wide(in), wide(dir / "no" / "out"), -1},
      {"truncated stream", false, wide(dir / "cut.z"), wide(dir / "out"), -5},
      {"corrupt stream", false, wide(dir / "bad.z"), wide(dir / "out"), -3},
      {"not a zlib stream", false, wide(dir / "notzlib.z"), wide(dir / "out"), -3},
      {"empty stream", false, wide(dir / "empty.z"), wide(dir / "out"), -5},
  };
  for (const Case& c : cases) {
    RecordingEngine engine;
    const int result = c.compress ? engine.compress(c.input.c_str(), c.output.c_str(), 6)
                                  : engine.decompress(c.input.c_str(), c.output.c_str());
    EXPECT_EQ(result, c.result) << c.what;
    EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"Zlib Error"}) << c.what;
  }
  RecordingEngine badLevel;
  EXPECT_EQ(badLevel.compress(wide(in).c_str(), wide(good).c_str(), 42), -2);  // Z_STREAM_ERROR from init
  EXPECT_TRUE(badLevel.statuses.empty());
}

TEST(ZlibEngineFailure, APipeWithoutReaderGivesMinusOneNotSigpipe) {
  TempDir dir;
  const auto in = dir / "in.bin";
  ASSERT_TRUE(writeFileBytes(in, randomBytes(100000, 9)));
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  ::close(fds[0]);
  const std::wstring pipePath = L"/proc/self/fd/" + std::to_wstring(fds[1]);
  RecordingEngine engine;
  EXPECT_EQ(engine.compress(wide(in).c_str(), pipePath.c_str(), 6), -1);
  EXPECT_EQ(engine.statuses, std::vector<std::wstring>{L"Zlib Error"});
  ::close(fds[1]);
}

TEST(ZlibEngineMemory, CompressAndDecompressBuffers) {
  std::string text = textBytes(100000);
  std::vector<unsigned char> src(text.begin(), text.end());
  EXPECT_EQ(ZlibEngine::compressedSize(0), 13ul);
  EXPECT_EQ(ZlibEngine::compressedSize(100000), 100043ul);
  std::vector<unsigned char> packed(ZlibEngine::compressedSize(src.size()));
  unsigned long packedLen = packed.size();
  ASSERT_EQ(ZlibEngine::compressMemory(packed.data(), &packedLen, src.data(), src.size(), 9), 0);
  EXPECT_LT(packedLen, 20000ul);

  std::vector<unsigned char> back(src.size());
  unsigned long backLen = back.size();
  ASSERT_EQ(ZlibEngine::decompressMemory(back.data(), &backLen, packed.data(), packedLen), 0);
  EXPECT_EQ(backLen, 100000ul);
  EXPECT_TRUE(back == src);

  unsigned long small = 10;
  EXPECT_EQ(ZlibEngine::decompressMemory(back.data(), &small, packed.data(), packedLen), -5);  // Z_BUF_ERROR
  unsigned long cut = back.size();
  EXPECT_EQ(ZlibEngine::decompressMemory(back.data(), &cut, packed.data(), packedLen / 2), -3);  // Z_DATA_ERROR
  small = 10;
  EXPECT_EQ(ZlibEngine::compressMemory(packed.data(), &small, src.data(), src.size(), 6), -5);
  EXPECT_EQ(ZlibEngine::compressMemory(packed.data(), nullptr, src.data(), src.size(), 6), -2);
  EXPECT_EQ(ZlibEngine::decompressMemory(back.data(), &backLen, nullptr, 5), -2);
}

}  // namespace
