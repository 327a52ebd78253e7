// TextFile: the encodings open() tells apart, line ends kept per line and
// written back byte for byte, writing with marks and conversions, navigation
// at and past the ends, and the readers on top of it.

#include <gtest/gtest.h>

#include <ut/ut_textfile.h>

#include <wx/strconv.h>

#include "../sdk/sdk_test_print.h"
#include "test_support.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

using ut::TextFile;

// The UTF-16 or UTF-32 bytes of text, in either byte order.
std::string encode(const std::u32string& text, int unitBytes, bool littleEndian) {
  std::vector<std::uint32_t> units;
  for (const char32_t c : text) {
    if (unitBytes == 2 && c > 0xFFFF) {
      units.push_back(0xD800 + ((c - 0x10000) >> 10));
      units.push_back(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      units.push_back(c);
    }
  }
  std::string out;
  for (const std::uint32_t u : units) {
    for (int i = 0; i < unitBytes; ++i) {
      const int shift = 8 * (littleEndian ? i : unitBytes - 1 - i);
      out += static_cast<char>((u >> shift) & 0xFF);
    }
  }
  return out;
}

const std::u32string kText = U"Gr\u00FC\u00DFe, \u20ACuro\nzweite Zeile \U0001F600\n";
const std::string kTextUtf8 =
    "Gr\xC3\xBC\xC3\x9F"
    "e, \xE2\x82\xACuro\nzweite Zeile \xF0\x9F\x98\x80\n";
const std::vector<std::wstring> kLines = {L"Gr\u00FC\u00DFe, \u20ACuro", L"zweite Zeile \U0001F600"};

class TextFileTest : public ::testing::Test {
 protected:
  ut::test::TempDir m_dir;

  OdString file(const std::string& name, const std::string& bytes) const {
    ut::test::writeFileBytes(m_dir / name, bytes);
    return path(name);
  }
  OdString path(const std::string& name) const { return OdString((m_dir / name).string().c_str()); }
  std::string bytes(const std::string& name) const { return ut::test::readFileBytes(m_dir / name); }

  static std::vector<std::wstring> lines(const TextFile& f) {
    std::vector<std::wstring> out;
    for (size_t i = 0; i < f.getLineCount(); ++i) out.push_back(f.getLine(i).ToStdWstring());
    return out;
  }
};

}  // namespace

TEST_F(TextFileTest, EveryEncodingOpenTellsApartReadsBackTheSameText) {
  struct Encoding {
    const char* name;
    std::string bytes;
    TextFile::EEncodingSource source;
  };
  const std::vector<Encoding> encodings = {
      {"UTF-8", "\xEF\xBB\xBF" + kTextUtf8, TextFile::eByteOrderMark},
      {"UTF-8", kTextUtf8, TextFile::eValidUtf8},
      {"UTF-16LE", "\xFF\xFE" + encode(kText, 2, true), TextFile::eByteOrderMark},
      {"UTF-16BE", "\xFE\xFF" + encode(kText, 2, false), TextFile::eByteOrderMark},
      {"UTF-32LE", std::string("\xFF\xFE\x00\x00", 4) + encode(kText, 4, true), TextFile::eByteOrderMark},
      {"UTF-32BE", std::string("\x00\x00\xFE\xFF", 4) + encode(kText, 4, false), TextFile::eByteOrderMark},
  };
  int n = 0;
  for (const auto& e : encodings) {
    TextFile f(file("text" + std::to_string(n++) + ".txt", e.bytes));
    ASSERT_TRUE(f.open(nullptr)) << e.name;
    EXPECT_TRUE(f.isOpened());
    EXPECT_EQ(lines(f), kLines) << e.name;
    EXPECT_EQ(f.getLineType(0), TextFile::eUnix);
    EXPECT_EQ(f.getLineType(1), TextFile::eUnix);
    EXPECT_EQ(f.encodingSource(), e.source) << e.name;
    EXPECT_EQ(f.encodingName(), OdString(e.name));
  }
}

TEST_F(TextFileTest, AMarkAloneIsAnEmptyText) {
  for (const std::string& mark : {std::string("\xEF\xBB\xBF"), std::string("\xFF\xFE"), std::string("\xFE\xFF"),
                                  std::string("\xFF\xFE\x00\x00", 4)}) {
    TextFile f(file("mark.txt", mark));
    ASSERT_TRUE(f.open(nullptr));
    EXPECT_EQ(f.getLineCount(), 0u);
    EXPECT_EQ(f.encodingSource(), TextFile::eByteOrderMark);
  }
}

TEST_F(TextFileTest, TextThatIsNotUtf8GoesThroughTheGivenOrCurrentConversion) {
  TextFile latin(file("latin1.txt",
                      "Gr\xFC\xDF"
                      "e\r\nda\xDF"));
  ASSERT_TRUE(latin.open(&wxConvISO8859_1));
  EXPECT_EQ(lines(latin), (std::vector<std::wstring>{L"Gr\u00FC\u00DFe", L"da\u00DF"}));
  EXPECT_EQ(latin.encodingSource(), TextFile::eConversion);
  EXPECT_EQ(latin.encodingName(), L"ISO-8859-1");

  // One ASCII byte is deliberately not UTF-8: the current conversion reads it.
  TextFile one(file("one.txt", "A"));
  ASSERT_TRUE(one.open(nullptr));
  EXPECT_EQ(lines(one), std::vector<std::wstring>{L"A"});
  EXPECT_EQ(one.encodingSource(), TextFile::eConversion);

  TextFile empty(file("empty.txt", ""));
  ASSERT_TRUE(empty.open(nullptr));
  EXPECT_EQ(empty.getLineCount(), 0u);
  EXPECT_TRUE(empty.eof());
}

TEST_F(TextFileTest, NullCharactersAndFilesWithoutASizeAreReadCompletely) {
  TextFile nul(file("nul.txt", std::string("a\0b\nc", 5)));
  ASSERT_TRUE(nul.open(nullptr));
  EXPECT_EQ(lines(nul), (std::vector<std::wstring>{std::wstring(L"a\0b", 3), L"c"}));

  // /proc files announce the size 0 but have content.
  TextFile proc(OdString(L"/proc/self/status"));
  ASSERT_TRUE(proc.open(nullptr));
  EXPECT_GT(proc.getLineCount(), 3u);
  EXPECT_TRUE(proc.getLine(0).StartsWith(L"Name:"));
}

TEST_F(TextFileTest, FailuresLeaveNothingOpened) {
  TextFile missing(path("missing.txt"));
  EXPECT_FALSE(missing.exists());
  EXPECT_FALSE(missing.open(nullptr));
  EXPECT_FALSE(missing.isOpened());
  EXPECT_EQ(missing.encodingSource(), TextFile::eNotRead);

  TextFile folder(OdString(m_dir.path().string().c_str()));
  EXPECT_FALSE(folder.open(nullptr));

  TextFile unnamed;
  EXPECT_FALSE(unnamed.open(nullptr));
  EXPECT_FALSE(unnamed.exists());
  EXPECT_FALSE(unnamed.create());
  EXPECT_FALSE(unnamed.write(nullptr, nullptr, 0));
  EXPECT_EQ(unnamed.getName(), OdString());
}

TEST_F(TextFileTest, LineEndsOfEveryKindAreKeptPerLineAndWrittenBackUnchanged) {
  const std::string original = "unix\ndos\r\nmac\r\r\n\n\rlast";
  TextFile f(file("ends.txt", original));
  ASSERT_TRUE(f.open(nullptr));
  EXPECT_EQ(lines(f), (std::vector<std::wstring>{L"unix", L"dos", L"mac", L"", L"", L"", L"last"}));
  const std::vector<TextFile::ELineEndingType> types = {TextFile::eUnix, TextFile::eDos, TextFile::eMac, TextFile::eDos,
                                                        TextFile::eUnix, TextFile::eMac, TextFile::eNone};
  for (size_t i = 0; i < types.size(); ++i) EXPECT_EQ(f.getLineType(i), types[i]) << "line " << i;
  EXPECT_EQ(f.getLineType(7), TextFile::eNone);

  ASSERT_TRUE(f.write(nullptr, nullptr, 0));
  EXPECT_EQ(bytes("ends.txt"), original);
}

TEST_F(TextFileTest, WritingWithMarksAndConversions) {
  TextFile f(file("out.txt", kTextUtf8));
  ASSERT_TRUE(f.open(nullptr));

  ASSERT_TRUE(f.write_utf8_with_bom());
  EXPECT_EQ(bytes("out.txt"), "\xEF\xBB\xBF" + kTextUtf8);
  TextFile again(path("out.txt"));
  ASSERT_TRUE(again.open(nullptr));
  EXPECT_EQ(lines(again), kLines);  // no mark in the first line

  wxMBConvUTF16BE utf16be;
  ASSERT_TRUE(f.write(&utf16be, "\xFE\xFF", 2));
  EXPECT_EQ(bytes("out.txt"), "\xFE\xFF" + encode(kText, 2, false));

  // A character the conversion cannot encode: false and the file unchanged.
  ASSERT_FALSE(f.write(&wxConvISO8859_1, nullptr, 0));
  EXPECT_EQ(bytes("out.txt"), "\xFE\xFF" + encode(kText, 2, false));

  // The mark is written even without lines.
  f.clear();
  ASSERT_TRUE(f.write(nullptr, "\xEF\xBB\xBF", 3));
  EXPECT_EQ(bytes("out.txt"), "\xEF\xBB\xBF");
  ASSERT_TRUE(f.write(nullptr, nullptr, 0));
  EXPECT_EQ(bytes("out.txt"), "");

  TextFile nowhere(path("no/such/folder/out.txt"));
  nowhere.addLine(L"x");
  EXPECT_FALSE(nowhere.write(nullptr, nullptr, 0));
}

TEST_F(TextFileTest, CreateMakesOnlyNewFiles) {
  TextFile f(path("new.txt"));
  EXPECT_FALSE(f.exists());
  EXPECT_TRUE(f.create());
  EXPECT_TRUE(f.exists());
  EXPECT_EQ(bytes("new.txt"), "");
  EXPECT_FALSE(f.create());

  TextFile other;
  EXPECT_TRUE(other.create(path("other.txt")));
  EXPECT_EQ(other.getName(), path("other.txt"));
  EXPECT_FALSE(other.create(path("other.txt")));
  EXPECT_FALSE(other.create(OdString()));
  other.addLine(L"first");
  other.addLine(L"second");
  EXPECT_EQ(other.getLineType(1), TextFile::eUnix);
  ASSERT_TRUE(other.write(nullptr, nullptr, 0));
  EXPECT_EQ(bytes("other.txt"), "first\nsecond\n");
}

TEST_F(TextFileTest, IterationAndEditingAtAndPastTheEnds) {
  TextFile f(file("three.txt", "one\ntwo\nthree"));
  ASSERT_TRUE(f.open(nullptr));
  std::vector<std::wstring> seen;
  for (OdString line = f.getFirstLine(); !f.eof(); line = f.getNextLine()) seen.emplace_back(line.c_str());
  EXPECT_EQ(seen, (std::vector<std::wstring>{L"one", L"two", L"three"}));
  EXPECT_EQ(f.getCurrentLine(), 3u);
  EXPECT_EQ(f.getNextLine(), OdString());
  EXPECT_EQ(f.getNextLine(), OdString());
  EXPECT_EQ(f.getCurrentLine(), 3u);

  f.goToLine(1);
  EXPECT_EQ(f.getCurrentLine(), 1u);
  f.goToLine(99);
  EXPECT_EQ(f.getCurrentLine(), 1u);
  f.replaceCurrentLine(L"TWO");
  EXPECT_EQ(f.getLine(1), L"TWO");
  EXPECT_EQ(f.getLineType(1), TextFile::eUnix);
  f.getLine(2) = L"THREE";
  EXPECT_EQ(f.getNextLine(), L"THREE");

  // Out of range: an empty scratch line, never another line.
  wxString& scratch = f.getLine(3);
  EXPECT_EQ(scratch, wxString());
  scratch = L"ignored";
  EXPECT_EQ(f.getLine(99), wxString());
  EXPECT_EQ(f.getLineCount(), 3u);
  f.goToLine(3);
  f.replaceCurrentLine(L"nowhere");
  EXPECT_EQ(f.getLineCount(), 3u);

  f.clear();
  EXPECT_EQ(f.getLineCount(), 0u);
  EXPECT_TRUE(f.eof());
  EXPECT_EQ(f.getFirstLine(), OdString());

  EXPECT_TRUE(f.close());
  EXPECT_FALSE(f.isOpened());
  EXPECT_EQ(f.encodingSource(), TextFile::eNotRead);
  // Opening again reads the file afresh.
  ASSERT_TRUE(f.open(nullptr));
  ASSERT_TRUE(f.open(nullptr));
  EXPECT_EQ(lines(f), (std::vector<std::wstring>{L"one", L"two", L"three"}));
}

TEST(TextFileLineEnds, TranslateAndGetEol) {
  const OdString text(L"a\nb\r\nc\rd\r");
  EXPECT_EQ(TextFile::translate(text, TextFile::eUnix), L"a\nb\nc\nd\n");
  EXPECT_EQ(TextFile::translate(text, TextFile::eDos), L"a\r\nb\r\nc\r\nd\r\n");
  EXPECT_EQ(TextFile::translate(text, TextFile::eMac), L"a\rb\rc\rd\r");
  EXPECT_EQ(TextFile::translate(text, TextFile::eNone), text);
  EXPECT_EQ(TextFile::translate(OdString(), TextFile::eDos), OdString());
  EXPECT_STREQ(TextFile::getEOL(TextFile::eUnix), L"\n");
  EXPECT_STREQ(TextFile::getEOL(TextFile::eDos), L"\r\n");
  EXPECT_STREQ(TextFile::getEOL(TextFile::eMac), L"\r");
  EXPECT_STREQ(TextFile::getEOL(TextFile::eNone), L"");
  EXPECT_STREQ(TextFile::getEOL(static_cast<TextFile::ELineEndingType>(9)), L"");
}

TEST_F(TextFileTest, ReadEntireFileJoinsTheLinesWithNothingBetween) {
  EXPECT_EQ(ut::readEntireFile(file("ab.txt", "a\nb\n")), L"ab");
  EXPECT_EQ(ut::readEntireFile(file("mixed.txt", "x\r\ny\rz")), L"xyz");
  EXPECT_EQ(ut::readEntireFile(file("empty.txt", "")), OdString());
  const OdString missing = path("missing.txt");
  try {
    ut::readEntireFile(missing);
    FAIL() << "no exception";
  } catch (const OdError& e) {
    EXPECT_EQ(e.description(), L"Unable to open input file '" + missing + L"'");
  }
}

TEST_F(TextFileTest, ReadTextFileContentAppends) {
  OdArray<OdString> lines{L"kept"};
  EXPECT_TRUE(ut::readTextFileContent(lines, file("two.txt", "\xEF\xBB\xBFone\r\ntwo")));
  EXPECT_EQ(lines, (OdArray<OdString>{L"kept", L"one", L"two"}));
  EXPECT_FALSE(ut::readTextFileContent(lines, path("missing.txt")));
  EXPECT_EQ(lines.size(), 3u);
  EXPECT_TRUE(ut::readTextFileContent(lines, file("empty.txt", "")));
  EXPECT_EQ(lines.size(), 3u);
  EXPECT_TRUE(ut::readTextFileContent(lines, file("caf\xC3\xA9.txt", "\xC3\xA9t\xC3\xA9")));
  EXPECT_EQ(lines[3], L"\u00E9t\u00E9");
}

namespace {

// A fresh C stream reading `bytes` from a file (no orientation yet, so wide
// reads work); closed by the owner.
struct Stream {
  explicit Stream(const std::string& bytes) {
    ut::test::writeFileBytes(dir / "stream.txt", bytes);
    file = std::fopen((dir / "stream.txt").c_str(), "r");
  }
  ~Stream() {
    if (file != nullptr) std::fclose(file);
  }
  ut::test::TempDir dir;
  FILE* file = nullptr;
};

}  // namespace

TEST(TextFileNfgets, LinesEndAtLfAndDelAndCarriageReturnsVanish) {
  Stream s(
      "x\r\ny\nab\x7F"
      "cd\n\nlast");
  wchar_t buffer[65];
  for (const wchar_t* line : {L"x", L"y", L"ab", L"cd", L"", L"last"})
    EXPECT_STREQ(ut::nfgets(buffer, 64, s.file), line);
  EXPECT_EQ(ut::nfgets(buffer, 64, s.file), nullptr);
  EXPECT_EQ(ut::nfgets(buffer, 64, s.file), nullptr);
}

TEST(TextFileNfgets, AFullBufferLosesTheNextCharacter) {
  Stream s("abcdef\ngh");
  wchar_t buffer[4];
  EXPECT_STREQ(ut::nfgets(buffer, 3, s.file), L"abc");
  EXPECT_STREQ(ut::nfgets(buffer, 3, s.file), L"ef");  // 'd' was consumed
  EXPECT_STREQ(ut::nfgets(buffer, 0, s.file), L"");    // 'g' was consumed
  EXPECT_STREQ(ut::nfgets(buffer, -5, s.file), L"");   // 'h' was consumed
  EXPECT_EQ(ut::nfgets(buffer, 3, s.file), nullptr);
}

TEST(TextFileNfgets, NullArgumentsAndEmptyStreams) {
  Stream s("text");
  wchar_t buffer[8];
  EXPECT_EQ(ut::nfgets(nullptr, 7, s.file), nullptr);
  EXPECT_EQ(ut::nfgets(buffer, 7, nullptr), nullptr);
  Stream empty("");
  EXPECT_EQ(ut::nfgets(buffer, 7, empty.file), nullptr);
  Stream crOnly("\r\r");
  EXPECT_EQ(ut::nfgets(buffer, 7, crOnly.file), nullptr);
}
