// Studies as a whole: rows in order whoever solves them, cases that fail, results on the disk.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "apps/column/bubble_point.h"
#include "apps/column/case_file.h"
#include "apps/column/products.h"
#include "apps/column/property_file.h"
#include "apps/column/table_csv.h"
#include "apps/study/chunk.h"
#include "apps/study/ordered_rows.h"
#include "apps/study/results_file.h"
#include "apps/study/run.h"
#include "apps/study/tally.h"
#include "tests/support/number.h"
#include "tests/support/program.h"

namespace {

using study::Start;

// A reflux that is not positive has no answer.
const std::string kSmall = R"(title = "small"
column = ")" COLUMN_CASES R"(/binary32.toml"
method = "multiple"
results = ["distillate.fraction[light]", "passes"]
chunk = 7

[[parameter]]
place = "column.reflux_ratio"
range = { from = -0.5, to = 4.0, count = 10 }

[[parameter]]
place = "feed[1].stage"
values = [12, 17.5, 17, 22, 40]
)";

/// The fields of rows with two parameters and two results. The last one, the outcome, may have commas.
std::vector<std::vector<std::string>> fields_of(const std::string& rows) {
  constexpr std::size_t kOutcome = 5;
  std::vector<std::vector<std::string>> table;
  std::istringstream lines(rows);
  for (std::string line; std::getline(lines, line);) {
    table.emplace_back();
    std::istringstream fields(line);
    while (table.back().size() < kOutcome) std::getline(fields, table.back().emplace_back(), ',');
    std::getline(fields, table.back().emplace_back());
  }
  return table;
}

std::string all_rows(const study::StudyFile& file, Start start) {
  std::string rows;
  for (std::int64_t chunk = 0; chunk < chunk_count(file.study); ++chunk)
    rows += rows_of_chunk(file, chunk, start);
  return rows;
}

TEST(Study, ACaseThatFailsIsARowWithItsReason) {
  const study::StudyFile file = study::parse_study(kSmall, "small.toml");
  const auto rows = fields_of(all_rows(file, Start::kWarm));
  ASSERT_EQ(rows.size(), 50u);
  int solved = 0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(i);
    const std::vector<std::string>& row = rows[i];
    ASSERT_EQ(row.size(), 6u);
    EXPECT_EQ(row[0], std::to_string(i + 1));
    const bool good =
        test_support::number_at(row[1]) > 0 && (row[2] == "12" || row[2] == "17" || row[2] == "22");
    solved += good;
    EXPECT_EQ(row[5] == "ok", good) << row[5];
    EXPECT_EQ(row[3].empty(), !good);
    if (row[2] == "17.5") {
      EXPECT_EQ(row[5].find("must be an integer") != row[5].npos, test_support::number_at(row[1]) > 0);
    }
    if (row[2] == "40" && test_support::number_at(row[1]) > 0) {
      EXPECT_NE(row[5].find("must lie between 2 and 32, not 40"), row[5].npos) << row[5];
    }
    if (row[1] == "-0.5") {
      EXPECT_NE(row[5].find("must be above 0, not -0.5"), row[5].npos) << row[5];
    }
  }
  EXPECT_EQ(solved, 8 * 3);
}

// Each case alone, by the column's own program parts.
TEST(Study, AnswersAreThoseOfTheChangedCases) {
  const study::StudyFile file = study::parse_study(kSmall, "small.toml");
  for (const Start start : {Start::kCold, Start::kWarm})
    for (const auto& row : fields_of(all_rows(file, start))) {
      if (row.back() != "ok") continue;
      column::ColumnCase c = column::read_case(COLUMN_CASES "/binary32.toml");
      c.reflux_ratio = test_support::number_at(row[1]);
      c.feeds[0].stage = std::stoi(row[2]) - 1;
      const column::InternalFlows flows = column::internal_flows(c);
      const column::Solution s =
          column::solve(c, flows, column::Solver::kArrow, {column::Acceleration::Multiple});
      ASSERT_EQ(s.outcome, column::Outcome::kOk);
      const double purity = column::products(c, flows, s.profile)[0].fraction(0);
      EXPECT_NEAR(test_support::number_at(row[3]), purity, start == Start::kCold ? 0 : 1e-9);
      if (start == Start::kCold) {
        EXPECT_EQ(std::stoi(row[4]), s.passes());
      }
    }
}

/// A study of a column on measured tables, which are files of their own or, of another case, all in one.
class MeasuredStudy : public testing::Test {
 protected:
  MeasuredStudy() {
    fs::create_directory(folder_ / "cases");
    fs::copy(COLUMN_CASES "/measured.toml", folder_ / "cases");
    fs::copy(COLUMN_CASES "/../data", folder_ / "data");
    std::string text =
        std::regex_replace(contents(folder_ / "cases" / "measured.toml"), std::regex("\ntable = .*"), "");
    put("cases/stored.toml", "properties = \"tables\"\n" + text);
    store_tables();
  }
  ~MeasuredStudy() override { fs::remove_all(folder_); }

  void put(const std::string& name, const std::string& text) {
    std::ofstream(folder_ / name, std::ios::binary) << text;
  }

  /// Stores all tables in one file.
  void store_tables() {
    column::Tables tables;
    for (const char* name : {"benzene", "toluene", "ethylbenzene", "o-xylene"})
      tables.push_back(column::read_table_csv((folder_ / "data" / (std::string(name) + ".csv")).string()));
    EXPECT_FALSE(column::store_tables((folder_ / "cases" / "tables").string(), tables));
  }

  study::StudyFile read(const std::string& base = "measured") {
    return study::parse_study("title = \"t\"\ncolumn = \"cases/" + base + R"(.toml"
results = ["passes"]
[[parameter]]
place = "column.reflux_ratio"
values = [2.5, -1]
)",
                              (folder_ / "s.toml").string());
  }

  /// Returns the rows of a chunk, or what is wrong instead.
  static std::string rows_or_complaint(const study::StudyFile& file) {
    try {
      return rows_of_chunk(file, 0, Start::kWarm);
    } catch (const apps::BadCase& bad) {
      return bad.what();
    }
  }

  const fs::path folder_ = new_folder("study_files");
};

// The files were fine when the study was read. A row about them would stay when they are fine again.
TEST_F(MeasuredStudy, AFileThatFailsIsNoFaultOfTheCase) {
  const study::StudyFile file = read();
  const std::string rows = rows_or_complaint(file);
  EXPECT_NE(rows.find("must be above 0, not -1"), rows.npos) << rows;
  const fs::path table = folder_ / "data" / "toluene.csv";
  const std::string text = contents(table);
  fs::remove(table);
  EXPECT_NE(rows_or_complaint(file).find("measured.toml: \"table\" in [[component]] names a file that "
                                         "cannot be used: "),
            std::string::npos)
      << rows_or_complaint(file);
  for (const std::string& changed :
       {text.substr(0, text.size() / 2) + "x", std::string(), contents(folder_ / "data" / "benzene.csv")}) {
    put("data/toluene.csv", changed);
    EXPECT_EQ(rows_or_complaint(file).find("ok"), std::string::npos) << rows_or_complaint(file);
    EXPECT_NE(rows_or_complaint(file).find("toluene"), std::string::npos) << rows_or_complaint(file);
  }
  put("data/toluene.csv", text);
  EXPECT_EQ(rows_or_complaint(file), rows);
}

// Rows of two inputs would stand in one file: of the old one before, of the new one behind the change.
TEST_F(MeasuredStudy, AFileThatChangesToAnotherGoodOneEndsTheStudy) {
  std::string text = contents(folder_ / "data" / "toluene.csv");
  const study::StudyFile by_table = read("measured"), by_store = read("stored");
  const std::string rows = rows_or_complaint(by_table);
  EXPECT_NE(rows.find(",ok\n"), rows.npos) << rows;
  EXPECT_EQ(rows_or_complaint(by_store), rows);
  EXPECT_EQ(read("stored").study.hash, by_store.study.hash);
  put("data/toluene.csv", text.replace(text.find("31.8,40"), 7, "31.9,40"));
  EXPECT_EQ(rows_or_complaint(by_store), rows);
  store_tables();
  const auto expect_told = [&](const study::StudyFile& old, const std::string& base,
                               const fs::path& changed) {
    EXPECT_EQ(rows_or_complaint(old), changed.generic_string() + ": has changed since the study was read");
    const study::StudyFile anew = read(base);
    EXPECT_NE(anew.study.hash, old.study.hash) << "a journal would go on";
    EXPECT_NE(rows_or_complaint(anew).find(",ok\n"), std::string::npos) << "the file is good";
  };
  expect_told(by_table, "measured", folder_ / "cases" / "../data/toluene.csv");
  expect_told(by_store, "stored", folder_ / "cases" / "tables");
}

TEST(Study, WarmStartsSavePasses) {
  for (const char* path : {STUDIES "/reflux-purity.toml", STUDIES "/feed-scatter.toml"}) {
    const study::StudyFile file = study::read_study(path);
    study::Tally cold(file.study), warm(file.study);
    cold.add(rows_of_chunk(file, 1, Start::kCold));
    warm.add(rows_of_chunk(file, 1, Start::kWarm));
    const auto passes = [&](const study::Tally& tally) {
      for (std::size_t i = 0; i < file.study.results.size(); ++i)
        if (file.study.results[i] == "passes") return tally.extents()[i].mean;
      return std::nan("");
    };
    EXPECT_LT(passes(warm), 0.95 * passes(cold)) << path;
  }
}

TEST(Study, ThreadsChangeNoByte) {
  char* no_arguments = nullptr;
  char** argv = &no_arguments;
  int argc = 0;
  study::Ranks ranks(argc, argv);
  const study::StudyFile file = study::parse_study(kSmall, "small.toml");
  const std::string expected = all_rows(file, Start::kWarm);
  for (const int threads : {1, 2, 4}) {
    for (const std::int64_t first : {std::int64_t{0}, std::int64_t{3}}) {
      std::string rows;
      for (std::int64_t chunk = 0; chunk < first; ++chunk) rows += rows_of_chunk(file, chunk, Start::kWarm);
      run_study(file, Start::kWarm, threads, first, ranks, [&](const std::string& more) { rows += more; });
      EXPECT_EQ(rows, expected) << threads << " threads from chunk " << first;
    }
    const auto full_disk = [](const std::string&) { throw std::runtime_error("full"); };
    EXPECT_THROW(run_study(file, Start::kWarm, threads, 0, ranks, full_disk), std::runtime_error);
  }
}

TEST(OrderedRows, HandsOnInOrderAndEndsWaiting) {
  std::string got;
  study::OrderedRows ordered(2, [&](const std::string& rows) { got += rows; });
  ordered.take(4, "e");
  ordered.take(3, "d");
  EXPECT_EQ(got, "");
  ordered.take(2, "c");
  EXPECT_EQ(got, "cde");
  EXPECT_EQ(ordered.next(), 5);
  EXPECT_TRUE(ordered.wait_for_room(5 + study::kWindow - 1));
  ordered.stop();
  EXPECT_FALSE(ordered.wait_for_room(5 + study::kWindow));
}

TEST(OrderedRows, HandsNothingOnAfterTheSinkHasFailed) {
  std::string got;
  study::OrderedRows ordered(0, [&](const std::string& rows) {
    got += rows;
    if (rows == "b") throw std::runtime_error("full");
  });
  ordered.take(0, "a");
  ordered.take(2, "c");
  EXPECT_THROW(ordered.take(1, "b"), std::runtime_error);
  ordered.take(3, "d");
  EXPECT_EQ(got, "ab");
  EXPECT_EQ(ordered.next(), 1);
  EXPECT_FALSE(ordered.wait_for_room(4));
}

TEST(Tally, SumsUpRows) {
  study::Study s;
  s.parameters.resize(1);
  s.parameters[0].values = {1, 2, 3};
  s.results = {"a", "b"};
  study::Tally tally(s);
  tally.add("1,0.5,3,,ok\n2,0.6,,,\"says \"\"no\"\", and why\"\n");
  tally.add("3,0.7,-1,8,ok\n");
  EXPECT_EQ(tally.cases(), 3);
  EXPECT_EQ(tally.failed(), 1);
  EXPECT_EQ(tally.failures().at(0).reason, "says \"no\", and why");
  EXPECT_EQ(tally.failures()[0].point.values, std::vector<double>{0.6});
  const auto& [count, least, most, mean] = tally.extents()[0];
  EXPECT_EQ(std::vector<double>({static_cast<double>(count), least, most, mean}),
            (std::vector<double>{2, -1, 3, 1}));
  EXPECT_EQ(tally.extents()[1].count, 1);
  EXPECT_EQ(tally.points().size(), 3u);
}

TEST(Tally, DrawsAllValuesOfAGridAndItsFailures) {
  study::Study s;
  s.parameters.resize(2);
  s.parameters[0].spread = study::Spread::kRange;
  s.parameters[0].count = 5001;
  s.parameters[1].values = {1, 2, 3};
  s.results = {"a"};
  study::Tally tally(s);
  // Every fourth case has a fault, and the second of all.
  for (int i = 0; i < 15003; ++i)
    tally.add(fmt::format("{},{},{},{}\n", i + 1, i / 3, i % 3 + 1, i % 4 == 0 || i == 1 ? ",bad" : "7,ok"));
  EXPECT_EQ(tally.every(), 4);
  EXPECT_EQ(tally.points().front().number, 1);
  int by_value[3] = {}, failed = 0;
  for (const auto& point : tally.points()) {
    ++by_value[static_cast<int>(point.values[1]) - 1];
    failed += !point.solved;
  }
  for (const int count : by_value) EXPECT_NEAR(count, 1250, 150);
  EXPECT_NEAR(failed, 938, 120);
  EXPECT_EQ(tally.failed(), 3752);
  EXPECT_EQ(tally.failed_every(), 4);
  EXPECT_NEAR(static_cast<double>(tally.failed_points().size()), 938, 120);
  study::Tally few(s);
  for (int i = 0; i < 15003; ++i) few.add(fmt::format("{},1,1,{}\n", i + 1, i % 20 == 0 ? ",bad" : "7,ok"));
  EXPECT_EQ(few.failed_points().size(), 751u);
}

/// A results file of three chunks.
class ResultsFileTest : public testing::Test {
 protected:
  ~ResultsFileTest() override { fs::remove_all(folder_); }

  /// Opens the file, notes what is there, and adds what is not.
  /// @return chunks that were there
  std::int64_t complete(std::uint64_t hash = 1, bool restart = false) {
    seen_.clear();
    study::ResultsFile file(path_, "heading\n", hash, restart,
                            [this](std::string_view rows) { seen_.emplace_back(rows); });
    const std::int64_t found = file.chunks();
    for (std::size_t i = static_cast<std::size_t>(found); i < kChunks.size(); ++i) file.add(kChunks[i]);
    return found;
  }
  void put(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }

  const fs::path folder_ = new_folder("results_file");
  const std::string path_ = (folder_ / "r.csv").string(), journal_ = path_ + ".journal";
  const std::vector<std::string> kChunks{"1,a\n2,b\n", "3,c\n", "4,d\n5,e\n6,f\n"};
  std::vector<std::string> seen_;
};

TEST_F(ResultsFileTest, GoesOnFromEveryCut) {
  EXPECT_EQ(complete(), 0);
  const std::string rows = contents(path_), journal = contents(journal_);
  EXPECT_EQ(rows, "heading\n1,a\n2,b\n3,c\n4,d\n5,e\n6,f\n");
  EXPECT_EQ(complete(), 3);
  EXPECT_EQ(seen_, kChunks);
  for (std::size_t r = 0; r <= rows.size(); ++r)
    for (std::size_t j = 0; j <= journal.size(); ++j) {
      put(path_, rows.substr(0, r));
      put(journal_, journal.substr(0, j));
      const std::int64_t found = complete();
      ASSERT_EQ(contents(path_), rows) << r << ' ' << j;
      ASSERT_EQ(contents(journal_), journal) << r << ' ' << j;
      ASSERT_EQ(seen_, std::vector<std::string>(kChunks.begin(), kChunks.begin() + found));
    }
}

TEST_F(ResultsFileTest, TrustsNoRowsThatHaveChanged) {
  complete();
  const std::string rows = contents(path_);
  std::string spoiled = rows;
  spoiled[rows.find("3,c")] = '9';
  put(path_, spoiled + "more");
  EXPECT_EQ(complete(), 1);
  EXPECT_EQ(contents(path_), rows);
}

TEST_F(ResultsFileTest, ReplacesNothingUnlessAskedTo) {
  const auto complaint = [this](std::uint64_t hash) {
    try {
      complete(hash);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string();
  };
  put(path_, "somebody's");
  EXPECT_EQ(complaint(1), path_ + ": is there without the journal of a study; --restart replaces it");
  EXPECT_EQ(contents(path_), "somebody's");
  put(journal_, "");
  EXPECT_EQ(complaint(1),
            path_ + ": is there, but its journal vouches for no part of it; --restart replaces it");
  EXPECT_EQ(contents(path_), "somebody's");
  EXPECT_EQ(complete(1, true), 0);
  const std::string rows = contents(path_);
  EXPECT_NE(complaint(2).find("is that of another study"), std::string::npos);
  put(journal_, "no journal");
  EXPECT_NE(complaint(1).find("is that of another study"), std::string::npos);
  EXPECT_EQ(contents(path_), rows);
  EXPECT_EQ(complete(2, true), 0);
  EXPECT_EQ(complete(2), 3);
}

}  // namespace
