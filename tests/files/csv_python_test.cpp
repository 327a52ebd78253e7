// CSV exchanged with Python's csv module: a file Python writes is read back
// field for field, and a file CsvWriter writes is read by Python's reader.
// Python runs under a time limit so that a hung interpreter fails the test.

#include <gtest/gtest.h>

#include <ut/ut_csv.h>

#include <nlohmann/json.hpp>

#include "../sdk/sdk_test_print.h"
#include "test_support.h"

#include <random>
#include <string>

namespace {

using Row = OdArray<OdString>;
using Table = OdArray<Row>;

class CsvPythonTest : public ::testing::Test {
 protected:
  ut::test::TempDir m_dir;

  OdString path(const std::string& name) const { return OdString((m_dir / name).string().c_str()); }

  // Runs the interop script; the result's status is 0 on success.
  ut::test::ProgramResult python(const std::string& mode, const std::string& source, const std::string& target) const {
    return ut::test::runProgram(
        "python3", {UT_TESTDATA_DIR "/csv/csv_interop.py", mode, (m_dir / source).string(), (m_dir / target).string()},
        m_dir.path(), "timeout 60");
  }

  static nlohmann::json toJson(const Table& table) {
    nlohmann::json rows = nlohmann::json::array();
    for (const auto& row : table) {
      nlohmann::json fields = nlohmann::json::array();
      for (const auto& field : row) fields.push_back(field.toUtf8());
      rows.push_back(fields);
    }
    return rows;
  }

  static Table fromJson(const nlohmann::json& rows) {
    Table table;
    for (const auto& fields : rows) {
      Row row;
      for (const auto& field : fields) row.append(OdString::fromUtf8(field.get<std::string>()));
      table.append(row);
    }
    return table;
  }
};

// Fields from delimiters, quotes, spaces and letters of several scripts;
// with line breaks when asked.
OdString randomField(std::mt19937& rng, bool lineBreaks) {
  static const std::wstring alphabet = L"ab ,\"x;\u00E9\u00DF\u0416\u4E2D\U0001F600";
  std::wstring field;
  const int length = std::uniform_int_distribution<int>(0, 7)(rng);
  for (int i = 0; i < length; ++i) {
    if (lineBreaks && rng() % 8 == 0) {
      field += rng() % 2 == 0 ? L"\n" : (rng() % 2 == 0 ? L"\r" : L"\r\n");
    } else {
      field += alphabet[rng() % alphabet.size()];
    }
  }
  return OdString(field);
}

}  // namespace

TEST_F(CsvPythonTest, AFilePythonWritesIsReadBackFieldForField) {
  // Lines are the reader's unit, so no line breaks in fields; and no quote
  // directly before a comma, which the reader takes as two toggles.
  std::mt19937 rng(1301);
  Table table;
  for (int r = 0; r < 300; ++r) {
    Row row;
    const int columns = std::uniform_int_distribution<int>(1, 5)(rng);
    for (int c = 0; c < columns; ++c) {
      const OdString field = randomField(rng, false);
      if (field.find(L"\",") < 0) row.append(field);
    }
    if (!row.isEmpty()) table.append(row);
  }
  ASSERT_TRUE(ut::test::writeFileBytes(m_dir / "rows.json", toJson(table).dump()));
  const auto run = python("write", "rows.json", "python.csv");
  ASSERT_EQ(run.status, 0) << run.err;

  Table back;
  ut::readCSV(back, path("python.csv"), L',');
  ASSERT_EQ(back.size(), table.size());
  for (unsigned i = 0; i < table.size(); ++i) EXPECT_EQ(back[i], table[i]) << "row " << i;
}

TEST_F(CsvPythonTest, AFileCsvWriterWritesIsReadByPython) {
  std::mt19937 rng(1302);
  Table table;
  {
    ut::CsvWriter writer(path("ours.csv"));
    for (int r = 0; r < 300; ++r) {
      Row row;
      const int columns = std::uniform_int_distribution<int>(1, 5)(rng);
      for (int c = 0; c < columns; ++c) row.append(randomField(rng, true));
      writer.write(row);
      table.append(row);
    }
    ASSERT_FALSE(writer.failed());
  }
  const auto run = python("read", "ours.csv", "rows.json");
  ASSERT_EQ(run.status, 0) << run.err;
  const Table back = fromJson(nlohmann::json::parse(ut::test::readFileBytes(m_dir / "rows.json")));
  ASSERT_EQ(back.size(), table.size());
  std::size_t emptyLines = 0;
  for (unsigned i = 0; i < table.size(); ++i) {
    // A row of one empty field is an empty line, which Python reads as a row
    // without fields.
    if (table[i] == Row{L""}) {
      EXPECT_EQ(back[i], Row{}) << "row " << i;
      ++emptyLines;
    } else {
      EXPECT_EQ(back[i], table[i]) << "row " << i;
    }
  }
  EXPECT_GT(emptyLines, 0u);
}
