// corvidnum-study STUDY.toml: solves many cases of one column or flowsheet, on all processors, and under
// mpirun on several machines.

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <chrono>
#include <exception>
#include <optional>
#include <string>

#include "apps/common/output.h"
#include "apps/common/program.h"
#include "apps/common/program_options.h"
#include "apps/common/progress.h"
#include "apps/report/index.h"
#include "apps/report/option.h"
#include "apps/study/ranks.h"
#include "apps/study/report.h"
#include "apps/study/results_file.h"
#include "apps/study/run.h"
#include "apps/study/sampling.h"
#include "apps/study/study_file.h"
#include "apps/study/study_page.h"
#include "apps/study/tally.h"

namespace {

using apps::kBadInput;
using apps::kSolved;

enum { kNoAnswers = 3 };  // exit code in addition to those of all programs

constexpr int kMostThreads = 1024;

/// The processes of this run. They are joined in main(), before options are read.
study::Ranks* ranks = nullptr;

/// Whether run() has been reached, so that the options of this rank are good.
bool running = false;

struct Options {
  std::string study_path, csv_path, report_folder;
  int threads = 0;  // 0: as usual_threads() says
  bool cold = false, restart = false, quiet = false;
};

void check_outputs(const Options& options, const study::StudyFile& file) {
  std::vector<std::string> inputs = file.solver->other_files();
  inputs.insert(inputs.end(), {options.study_path, file.study.base_path});
  for (const std::string& input : inputs) {
    apps::check_output("--csv", options.csv_path, input);
    apps::check_output("--csv", study::ResultsFile::journal_of(options.csv_path), input);
  }
}

/// What rank 0 has beside the others: the rows, and what is reported of them.
struct Output {
  explicit Output(const study::Study& study) : tally(study) {}

  study::Tally tally;
  std::optional<study::ResultsFile> results;
  std::optional<report::Folder> reports;
};

/// Returns the hash of all that the rows depend on. Answers that start elsewhere have other last digits.
std::uint64_t hash_of_rows(const Options& options, const study::StudyFile& file) {
  return file.study.hash ^ (options.cold ? 1 : 0);
}

/// @throws std::runtime_error  at a rank that would solve other cases than rank 0
void check_same_study(const Options& options, std::uint64_t hash, std::uint64_t hash_of_first) {
  if (hash != hash_of_first)
    throw std::runtime_error(
        fmt::format("{}: rank {} has another study, other files of its base case or "
                    "another --cold than rank 0",
                    options.study_path, ranks->rank()));
}

void open_output(const Options& options, const study::StudyFile& file, Output& output) {
  check_outputs(options, file);
  report::open_reports(options.report_folder, report::page_name("study-", options.study_path), "--csv",
                       options.csv_path, output.reports);
  output.results.emplace(options.csv_path, study::heading(file.study), hash_of_rows(options, file),
                         options.restart, [&](std::string_view rows) { output.tally.add(rows); });
}

/// Says how far a study is: cases done, how fast, and how long the rest will take.
std::string progress(const study::Study& study, std::int64_t found, std::int64_t chunks, double seconds) {
  const std::int64_t all = study::case_count(study), done = study::cases_before(study, chunks);
  const double rate = static_cast<double>(done - found) / seconds;
  if (!(rate > 0)) return fmt::format("{} of {} cases", done, all);
  return fmt::format("{} of {} cases, {:.0f} a second, {:.0f} s left", done, all, rate,
                     static_cast<double>(all - done) / rate);
}

/// Solves what is not there yet. A rank that fails ends all: the others would wait for its rows.
study::RunFacts solve(const Options& options, const study::StudyFile& file, Output& output) {
  study::RunFacts facts;
  facts.threads = options.threads > 0 ? options.threads : study::usual_threads(*ranks);
  facts.ranks = ranks->size();
  const std::int64_t first = ranks->from_first(output.results ? output.results->chunks() : 0);
  facts.found = study::cases_before(file.study, first);
  std::atomic<std::int64_t> chunks(first);
  const auto sink = [&](const std::string& rows) {
    output.results->add(rows);
    output.tally.add(rows);
    ++chunks;
  };
  const auto start = options.cold ? study::Start::kCold : study::Start::kWarm;
  const auto status = [&](double seconds) { return progress(file.study, facts.found, chunks, seconds); };
  try {
    const apps::Phase phase("solving", facts.seconds, status);
    study::run_study(file, start, facts.threads, first, *ranks, sink);
  } catch (const std::bad_alloc&) {
    if (ranks->size() == 1) throw;
    ranks->abort(apps::complain(kBadInput, apps::kMemoryRefused));
  } catch (const std::exception& error) {
    if (ranks->size() == 1) throw;
    ranks->abort(apps::complain(kBadInput, error.what()));
  }
  return facts;
}

/// Reads the study at all ranks, and opens the output at rank 0.
/// @return false if another rank has failed, and tells why
bool prepare(const Options& options, std::optional<study::StudyFile>& file, std::optional<Output>& output) {
  const bool read = apps::together(*ranks, [&] {
    file = study::read_study(options.study_path);
    output.emplace(file->study);
  });
  if (!read) return false;
  const std::uint64_t hash = hash_of_rows(options, *file);
  const auto of_first = static_cast<std::uint64_t>(ranks->from_first(static_cast<std::int64_t>(hash)));
  return apps::together(*ranks, [&] { check_same_study(options, hash, of_first); }) &&
         apps::together(*ranks, [&] {
           if (ranks->rank() == 0) open_output(options, *file, *output);
         });
}

int run(const CLI::App&, const Options& options) {
  running = true;
  if (!apps::agree_on_options(*ranks, true)) return apps::kBadUsage;
  std::optional<study::StudyFile> file;
  std::optional<Output> output;
  if (!prepare(options, file, output)) return kBadInput;
  const study::RunFacts facts = solve(options, *file, *output);
  if (ranks->rank() != 0) return kSolved;
  if (output->reports)
    output->reports->add(study::study_page(file->study, output->tally, facts),
                         study::study_entry(file->study, output->tally, facts));
  const std::string text = study::report(file->study, output->tally, facts);
  if (!apps::ReportStream{options.quiet, options.csv_path}.print(text))
    return apps::complain(kBadInput, apps::kNotPrinted);
  if (output->tally.failed() < output->tally.cases()) return kSolved;
  return apps::complain(kNoAnswers, options.study_path, "no case has an answer");
}

const std::string& file(const Options& options) { return options.study_path; }

void declare(CLI::App& app, Options& options) {
  app.add_option("study", options.study_path, "study file (TOML); - is standard input")
      ->required()
      ->check(apps::not_empty());
  app.add_option(
         "--csv", options.csv_path,
         "write a row for each case to this file, and the journal to this name with .journal behind it; a "
         "study that was ended goes on where it was; with - to standard output, without a journal")
      ->required()
      ->check(apps::not_empty());
  app.add_flag("--restart", options.restart, "begin anew, and replace what is there");
  app.add_option(
         "--threads", options.threads,
         "of this process (default: the processors that it may use, divided among ranks that share them)")
      ->check(apps::between(1, kMostThreads));
  app.add_flag("--cold", options.cold,
               "start each case as its file says, not from the answer of a case nearby");
  app.add_option("--report", options.report_folder,
                 "write a page with curves, scatter and histograms into this folder, and its line into "
                 "index.html and index.tsv there")
      ->check(apps::not_empty())
      ->check(apps::no_stream("folder"));
  apps::add_quiet(app, options.quiet);
}

void check(const CLI::App&, const Options& options) {
  if (ranks->size() > 1 && apps::is_standard_stream(options.study_path))
    throw CLI::ValidationError("study", "must be a file that all processes can read, not -");
  apps::check_output("--csv", options.csv_path, options.study_path);
}

}  // namespace

int main(int argc, char** argv) {
  study::Ranks all(argc, argv);
  ranks = &all;
  all.let_first_speak();
  const apps::Program<Options> program{
      "corvidnum-study",
      "Solves many cases of a column or a flowsheet, on all processors, under mpirun on several machines.",
      "Exit codes: 0 done, though single cases may have no answer, 1 a file cannot be used, 2 bad options,\n"
      "3 no case has an answer.",
      declare,
      check,
      run,
      file};
  const int code = apps::run_program(program, argc, argv);
  if (!running) apps::agree_on_options(*ranks, false);
  return code;
}
