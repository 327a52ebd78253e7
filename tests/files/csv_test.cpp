// CSV: the line parser's quote rules, the writer's three quoting modes and
// escape character, its errors, and writing then reading back random tables.

#include <gtest/gtest.h>

#include <ut/ut_csv.h>

#include "../sdk/sdk_test_print.h"
#include "test_support.h"

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Row = OdArray<OdString>;
using Table = OdArray<Row>;

Row parse(const wchar_t* line, wchar_t delimiter = L',') {
  Row fields;
  ut::parseCSV(fields, line, delimiter);
  return fields;
}

class CsvFileTest : public ::testing::Test {
 protected:
  ut::test::TempDir m_dir;
  OdString path(const std::string& name) const { return OdString((m_dir / name).string().c_str()); }
  std::string bytes(const std::string& name) const { return ut::test::readFileBytes(m_dir / name); }

  // What the writer makes of one field with the given settings.
  std::string written(const OdString& field, ut::CsvWriter::EQuoting mode = ut::CsvWriter::AsNeeded,
                      wchar_t quote = L'"', wchar_t escape = 0) const {
    ut::CsvWriter writer(path("field.csv"));
    writer.setQuoting(mode, quote, escape);
    writer.write(Row{field});
    writer.close();
    return bytes("field.csv");
  }
};

}  // namespace

TEST(CsvParse, QuotesDelimitersAndEmptyFields) {
  struct Case {
    const wchar_t* line;
    Row fields;
  };
  const std::vector<Case> cases = {
      {L"a,\"b,c\",d", {L"a", L"b,c", L"d"}},
      {L"\"x\"\"y\"", {L"x\"y"}},
      {L"\"\",z", {L"", L"z"}},
      {L"a,", {L"a", L""}},
      {L"", {L""}},
      {L",", {L"", L""}},
      {L"\"\"", {L""}},
      {L"plain", {L"plain"}},
      // An unmatched quote keeps the rest of the line in the last field.
      {L"a,\"b,c", {L"a", L"b,c"}},
      // A pair of quotes before the delimiter toggles twice, even inside a
      // quoted field, so the quote of a","b is lost there.
      {L"\"a\"\",b\"", {L"a,b"}},
      // Quotes in the middle of an unquoted field toggle too.
      {L"ab\"cd\"ef", {L"abcdef"}},
      {L"\"\"\"\"", {L"\""}},
      {L"\"\"\"a\"", {L"\"a"}},
      {L" a , b ", {L" a ", L" b "}},
      {L"\u00E9t\u00E9,\u4E2D\u6587,\U0001F600", {L"\u00E9t\u00E9", L"\u4E2D\u6587", L"\U0001F600"}},
  };
  for (const auto& c : cases) EXPECT_EQ(parse(c.line), c.fields) << OdString(c.line).toUtf8();
}

TEST(CsvParse, OtherDelimitersAndAppending) {
  EXPECT_EQ(parse(L"a;b,c;\"d;e\"", L';'), (Row{L"a", L"b,c", L"d;e"}));
  EXPECT_EQ(parse(L"a\tb\t", L'\t'), (Row{L"a", L"b", L""}));
  // Only the double quote is a quote when reading.
  EXPECT_EQ(parse(L"'a,b'", L','), (Row{L"'a", L"b'"}));
  Row fields{L"kept"};
  ut::parseCSV(fields, L"x,y", L',');
  EXPECT_EQ(fields, (Row{L"kept", L"x", L"y"}));
}

TEST_F(CsvFileTest, WriterQuotingModes) {
  using W = ut::CsvWriter;
  EXPECT_EQ(written(L"say \"hi\""), "\"say \"\"hi\"\"\"\n");
  EXPECT_EQ(written(L"1,5"), "\"1,5\"\n");
  EXPECT_EQ(written(L"abc"), "abc\n");
  EXPECT_EQ(written(L"two\nlines"), "\"two\nlines\"\n");
  EXPECT_EQ(written(L"cr\r"), "\"cr\r\"\n");
  EXPECT_EQ(written(L""), "\n");
  EXPECT_EQ(written(L"abc", W::Always), "\"abc\"\n");
  EXPECT_EQ(written(L"", W::Always), "\"\"\n");
  EXPECT_EQ(written(L"1,5", W::None, L'"', L'\\'), "1\\,5\n");
  EXPECT_EQ(written(L"a\nb\rc", W::None, L'"', L'\\'), "a\\\nb\\\rc\n");
  // In mode None quotes are copied unchanged.
  EXPECT_EQ(written(L"say \"hi\"", W::None), "say \"hi\"\n");
  // With an escape character, quotes are escaped with it instead of doubled.
  EXPECT_EQ(written(L"say \"hi\"", W::AsNeeded, L'"', L'\\'), "\"say \\\"hi\\\"\"\n");
  EXPECT_EQ(written(L"it's", W::AsNeeded, L'\''), "'it''s'\n");
  EXPECT_EQ(written(L"\u00E9\u4E2D\U0001F600"), "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80\n");
}

TEST_F(CsvFileTest, ModeNoneWithoutEscapeThrowsAndWritesNothingOfTheRow) {
  ut::CsvWriter writer(path("none.csv"));
  writer.setQuoting(ut::CsvWriter::None, L'"', 0);
  writer.write(Row{L"ok", L"fine"});
  for (const wchar_t* field : {L"1,5", L"a\nb", L"a\rb"}) {
    try {
      writer.write(Row{L"first", field});
      ADD_FAILURE() << "no exception";
    } catch (const ut::CsvWriter::Error& e) {
      EXPECT_EQ(e.message(), L"No quoting and no escaping");
      const OdError& base = e;
      EXPECT_EQ(base.description(), L"No quoting and no escaping");
    }
  }
  writer.close();
  EXPECT_EQ(bytes("none.csv"), "ok,fine\n");
}

TEST_F(CsvFileTest, RowsDelimitersAndSettings) {
  ut::CsvWriter writer;
  EXPECT_EQ(writer.delimiter(), L',');
  EXPECT_EQ(writer.quoting(), ut::CsvWriter::AsNeeded);
  EXPECT_EQ(writer.quoteChar(), L'"');
  EXPECT_EQ(writer.escapeChar(), 0);
  EXPECT_FALSE(writer.isOpen());
  writer.open(path("rows.csv"));
  EXPECT_TRUE(writer.isOpen());
  writer.setDelimiter(L';');
  writer.write(Row{L"a", L"b;c", L"d,e"});
  writer.write(Row{});  // nothing at all
  writer.write(Row{L""});
  writer.setDelimiter(L'\u00A7');  // a non-ASCII delimiter is written as UTF-8
  writer.write(Row{L"x", L"y"});
  // Each row is on disk as soon as write returns.
  EXPECT_EQ(bytes("rows.csv"), "a;\"b;c\";d,e\n\nx\xC2\xA7y\n");
  writer.close();
  EXPECT_FALSE(writer.isOpen());
  EXPECT_FALSE(writer.failed());

  ut::CsvWriter bad(path("no/such/folder/x.csv"));
  EXPECT_FALSE(bad.isOpen());
  EXPECT_TRUE(bad.failed());
  bad.write(Row{L"ignored"});
  // Opening again truncates and clears the failed state.
  bad.open(path("rows.csv"));
  EXPECT_FALSE(bad.failed());
  bad.write(Row{L"new"});
  EXPECT_EQ(bytes("rows.csv"), "new\n");
}

TEST_F(CsvFileTest, ValuesThatAreNoCharactersCannotBeWritten) {
  ut::CsvWriter writer(path("bad.csv"));
  writer.write(Row{L"before"});
  const std::wstring surrogate(1, static_cast<wchar_t>(0xD800));
  const std::wstring beyond(1, static_cast<wchar_t>(0x110000));
  EXPECT_THROW(writer.write(Row{L"x", OdString(surrogate)}), std::range_error);
  EXPECT_THROW(writer.write(Row{OdString(beyond)}), std::range_error);
  writer.write(Row{L"after"});
  EXPECT_EQ(bytes("bad.csv"), "before\nafter\n");
}

TEST_F(CsvFileTest, ReadCsvFromNamedAndOpenedFiles) {
  ut::test::writeFileBytes(m_dir / "in.csv", "\xEF\xBB\xBFname,value\r\n\"a,b\",1\r\n\r\nlast,\"\"");
  Table rows{Row{L"kept"}};
  ut::readCSV(rows, path("in.csv"), L',');
  EXPECT_EQ(rows, (Table{Row{L"kept"}, Row{L"name", L"value"}, Row{L"a,b", L"1"}, Row{L""}, Row{L"last", L""}}));

  Table untouched{Row{L"x"}};
  ut::readCSV(untouched, path("missing.csv"), L',');
  EXPECT_EQ(untouched, Table{Row{L"x"}});

  ut::TextFile closed(path("in.csv"));
  ut::readCSV(untouched, closed, L',');
  EXPECT_EQ(untouched.size(), 1u);
  ut::TextFile opened(path("in.csv"));
  ASSERT_TRUE(opened.open(nullptr));
  Table semicolons;
  ut::readCSV(semicolons, opened, L';');
  EXPECT_EQ(semicolons.size(), 4u);
  EXPECT_EQ(semicolons[1], Row{L"a,b,1"});
}

namespace {

// Random fields from an alphabet of delimiters, quotes, spaces, ASCII and
// non-ASCII letters (Latin, Cyrillic, CJK, emoji).
OdString randomField(std::mt19937& rng, bool lineBreaks) {
  static const std::wstring alphabet = L"ab ,;\"'x\u00E9\u00DF\u0416\u4E2D\U0001F600\t";
  std::wstring field;
  const int length = std::uniform_int_distribution<int>(0, 8)(rng);
  for (int i = 0; i < length; ++i) {
    if (lineBreaks && rng() % 10 == 0) {
      field += rng() % 2 == 0 ? L'\n' : L'\r';
    } else {
      field += alphabet[rng() % alphabet.size()];
    }
  }
  return OdString(field);
}

}  // namespace

TEST_F(CsvFileTest, RandomTablesWrittenAndReadBack) {
  // Reading works on lines, so fields with line breaks cannot come back; and
  // a quote directly before the delimiter inside a quoted field reads as two
  // toggles. Every other field survives in both quoting modes.
  std::mt19937 rng(4711);
  for (const auto mode : {ut::CsvWriter::AsNeeded, ut::CsvWriter::Always}) {
    for (const wchar_t delimiter : {L',', L';', L'\t'}) {
      Table table;
      for (int r = 0; r < 200; ++r) {
        Row row;
        const int columns = std::uniform_int_distribution<int>(1, 6)(rng);
        for (int c = 0; c < columns; ++c) {
          OdString field = randomField(rng, false);
          const wchar_t lossy[] = {L'"', delimiter, 0};
          if (field.find(lossy) >= 0) continue;
          row.append(field);
        }
        if (!row.isEmpty()) table.append(row);
      }
      {
        ut::CsvWriter writer(path("round.csv"));
        writer.setDelimiter(delimiter);
        writer.setQuoting(mode, L'"', 0);
        for (const auto& row : table) writer.write(row);
      }
      Table back;
      ut::readCSV(back, path("round.csv"), delimiter);
      ASSERT_EQ(back.size(), table.size());
      for (unsigned i = 0; i < table.size(); ++i) ASSERT_EQ(back[i], table[i]) << "row " << i << " mode " << mode;
    }
  }
}

TEST_F(CsvFileTest, AFieldWithALineBreakComesBackAsTwoRows) {
  {
    ut::CsvWriter writer(path("break.csv"));
    writer.write(Row{L"a", L"line\nbreak", L"b"});
  }
  Table back;
  ut::readCSV(back, path("break.csv"), L',');
  // The second line starts outside quotes, so its closing quote opens them.
  EXPECT_EQ(back, (Table{Row{L"a", L"line"}, Row{L"break,b"}}));
}
