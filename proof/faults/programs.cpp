// Lets the calls of the programs fail, one after the other, and looks at what that leaves.
//
//   corvidnum_program_faults [--all] [COMMAND]    commands whose names contain this text; without it all
//
// Each command runs again and again under shim.c: the n-th call fails, in each of several ways, for n = 1, 2,
// ... until the command runs through without having made so many. Of calls between the first and the last
// ones only ever fewer are failed, or with --all each one.
//
// A run is at fault if it crashes or hangs; if it fails without exactly one line on the error stream; if it
// succeeds with other output than a run without failures; if a file is neither the old one nor the new one;
// or if it leaves other files behind. A run that was killed may leave its unfinished file; the next run must
// succeed. Outputs are compared byte by byte, but for the times that they tell. A command of which no call
// fails is a fault, too: then the shim does nothing.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr std::size_t kWorkers = 2;
constexpr int kMostSeconds = 20;  // that one run may take
constexpr int kEach = 60;  // of the first and the last calls each is failed, in between one in nine or so
constexpr int kMostCalls = 1000000;
constexpr int kMostShown = 8;  // faults of one command that are told

// ---- Commands

enum class Kind {
  kText,   // tells times with their units
  kIndex,  // lines of seven fields, of which the fifth is a time in seconds
};

struct Target {
  std::string name;  // in the folder of the run
  Kind kind;
};

struct Command {
  const char* name;
  std::string program;
  Words arguments;  // "@" at the beginning stands for the folder of the run
  std::vector<Target> targets;
};

std::string column_case(const char* name) { return std::string(COLUMN_CASES "/") + name; }
std::string recycle_case(const char* name) { return std::string(RECYCLE_CASES "/") + name; }
std::string matrix(const char* name) { return std::string(SOLVE_MATRICES "/") + name; }

std::vector<Target> report(const std::string& page) {
  return {{"@reports/" + page, Kind::kText},
          {"@reports/index.tsv", Kind::kIndex},
          {"@reports/index.html", Kind::kText}};
}
std::vector<Target> also(std::vector<Target> targets, const std::string& name, Kind kind) {
  targets.push_back({name, kind});
  return targets;
}

std::vector<Command> all_commands() {
  const std::string column = COLUMN_PROGRAM, recycle = RECYCLE_PROGRAM, solve = SOLVE_PROGRAM;
  const std::string benzene = COLUMN_DATA "/benzene.csv", toluene = COLUMN_DATA "/toluene.csv";
  return {
      {"column --csv",
       column,
       {column_case("butane-pentane.toml"), "--csv", "@profile.csv"},
       {{"@profile.csv", Kind::kText}}},
      {"column --csv -", column, {column_case("butane-pentane.toml"), "--csv", "-"}, {}},
      {"column --debug-log",
       column,
       {column_case("butane-pentane.toml"), "--accelerate", "multiple", "--debug-log", "@account"},
       {{"@account.LOG", Kind::kText}}},
      {"column --report",
       column,
       {column_case("butane-pentane.toml"), "--report", "@reports"},
       report("column-butane-pentane.html")},
      {"column fit --properties",
       column,
       {"fit", benzene, toluene, "--properties", "@fit.properties"},
       {{"@fit.properties", Kind::kText}}},
      {"column fit --report", column, {"fit", benzene, "--report", "@reports"}, report("fit-benzene.html")},
      {"recycle --csv",
       recycle,
       {recycle_case("purge-loop.toml"), "--csv", "@history.csv"},
       {{"@history.csv", Kind::kText}}},
      {"recycle --report",
       recycle,
       {recycle_case("purge-loop.toml"), "--report", "@reports"},
       report("recycle-purge-loop.html")},
      {"solve --out",
       solve,
       {matrix("recycle.mtx"), "--rhs", matrix("recycle_feed.mtx"), "--out", "@x.mtx", "--json"},
       {{"@x.mtx", Kind::kText}}},
      {"solve --report --out",
       solve,
       {matrix("recycle.mtx"), "--report", "@reports", "--out", "@x.mtx"},
       also(report("solve-recycle.html"), "@x.mtx", Kind::kText)},
      {"solve --spy",
       solve,
       {matrix("recycle.mtx"), "--reorder", "profile", "--spy", "@spy"},
       {{"@spy/before.svg", Kind::kText}, {"@spy/after.svg", Kind::kText}}},
  };
}

// ---- Folders and files

std::string contents(const fs::path& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}
void write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}
long lines(const std::string& text) { return std::count(text.begin(), text.end(), '\n'); }

/// The place of a run, with the folder for its outputs in it.
struct Place {
  fs::path root;
  fs::path folder() const { return root / "run"; }
  /// Returns where the folder is, be it gone or not.
  fs::path found() const { return fs::exists(folder()) ? folder() : fs::path(folder().string() + ".gone"); }
  std::string of(const std::string& word) const {
    return word.rfind('@', 0) == 0 ? (folder() / word.substr(1)).string() : word;
  }
};

const std::string kOldText = "the old one\n";
const std::string kOldIndex = "old.html\tcorvidnum-solve\tan older page\t3\t0.1\tnone\t-\n";

const std::string& old_text(const Target& target) {
  return target.kind == Kind::kIndex ? kOldIndex : kOldText;
}

void lay_out(const Place& place, const Command& command, bool with_old_files) {
  fs::remove_all(place.folder());
  fs::remove_all(place.folder().string() + ".gone");
  fs::create_directories(place.folder());
  for (const Target& target : command.targets)
    if (with_old_files) write(place.of(target.name), old_text(target));
}

// ---- Runs

struct Fault {
  std::string calls, how;
  int at = 0;
};

struct Result {
  int status = 0;  // of waitpid
  bool hung = false, reached = false;
  bool unsynchronised = false;  // a file took its place before it was on the disk
  std::string out, err;
  bool killed() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL; }
  int code() const { return WIFEXITED(status) ? WEXITSTATUS(status) : -1; }
};

std::string end_of(const Result& result) {
  return WIFSIGNALED(result.status) ? "signal " + std::to_string(WTERMSIG(result.status))
                                    : "exit code " + std::to_string(result.code());
}

[[noreturn]] void execute(const Place& place, const Command& command, const Fault* fault) {
  const auto redirect = [&](const char* name, int to) {
    const int file = open((place.root / name).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, to) < 0) _exit(127);
    close(file);
  };
  redirect("out", STDOUT_FILENO);
  redirect("err", STDERR_FILENO);
  if (fault) {
    setenv("LD_PRELOAD", FAULT_SHIM, 1);
    setenv("FAULT_CALLS", fault->calls.c_str(), 1);
    setenv("FAULT_HOW", fault->how.c_str(), 1);
    setenv("FAULT_AT", std::to_string(fault->at).c_str(), 1);
    setenv("FAULT_SEEN", (place.root / "seen").c_str(), 1);
    setenv("FAULT_FOLDER", place.folder().c_str(), 1);
  }
  Words words = {command.program};
  for (const std::string& word : command.arguments) words.push_back(place.of(word));
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  execv(command.program.c_str(), pointers.data());
  _exit(127);
}

/// Waits for a child, and kills it if it takes too long.
void wait_for(pid_t child, Result& result) {
  sigset_t children;
  sigemptyset(&children);
  sigaddset(&children, SIGCHLD);
  const std::time_t end = std::time(nullptr) + kMostSeconds;
  while (waitpid(child, &result.status, WNOHANG) == 0) {
    const timespec second = {1, 0};
    sigtimedwait(&children, nullptr, &second);
    if (std::time(nullptr) <= end) continue;
    result.hung = true;
    kill(child, SIGKILL);
    waitpid(child, &result.status, 0);
    return;
  }
}

Result run(const Place& place, const Command& command, const Fault* fault) {
  fs::remove(place.root / "seen");
  const pid_t child = fork();
  if (child == 0) execute(place, command, fault);
  Result result;
  wait_for(child, result);
  result.out = contents(place.root / "out");
  result.err = contents(place.root / "err");
  const std::string told = contents(place.root / "seen");
  result.reached = told.find("seen\n") != told.npos;
  result.unsynchronised = told.find("unsynchronised\n") != told.npos;
  return result;
}

// ---- Judgement

/// What a command leaves if nothing fails, with its times masked.
struct Good {
  std::string out, err;
  std::map<std::string, std::string> files;  // by the name of the target
};
struct Goods {
  Good without_old_files, with_old_files;
  const Good& of(bool old_files) const { return old_files ? with_old_files : without_old_files; }
};

bool ends_with(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}
bool holds(const std::string& text, const char* part) { return text.find(part) != text.npos; }
bool is_digit(char ch) { return ch >= '0' && ch <= '9'; }

/// Returns where the number ends that begins at `begin`.
std::size_t end_of_number(const std::string& line, std::size_t begin) {
  std::size_t end = begin;
  while (end < line.size()) {
    const bool exponent = line[end] == 'e' && end + 1 < line.size();
    const std::size_t behind = end + 1 + (exponent && (line[end + 1] == '-' || line[end + 1] == '+'));
    if (is_digit(line[end]) || line[end] == '.')
      ++end;
    else if (exponent && behind < line.size() && is_digit(line[behind]))
      end = behind;
    else
      break;
  }
  return end;
}

/// Returns where the unit of time ends that begins at `at`; `at` if there is none.
std::size_t end_of_unit(const std::string& line, std::size_t at) {
  for (const std::string unit : {" s", " ms", " µs"}) {
    const std::size_t end = at + unit.size();
    if (line.compare(at, unit.size(), unit) != 0) continue;
    if (end >= line.size() || !std::isalnum(static_cast<unsigned char>(line[end]))) return end;
  }
  return at;
}

/// Puts '#' in the place of numbers: of all, or of those that have a unit of time, and of that unit.
std::string without_numbers(const std::string& line, bool all) {
  std::string masked;
  for (std::size_t at = 0; at < line.size();) {
    if (!is_digit(line[at])) {
      masked += line[at++];
      continue;
    }
    const std::size_t end = end_of_number(line, at), behind = end_of_unit(line, end);
    masked += all || behind > end ? "#" : line.substr(at, end - at);
    at = behind;
  }
  return masked;
}

/// Masks the times of a text, which differ from run to run. In a chart of times the bars differ, too.
std::string mask_line(const std::string& line) {
  const std::string masked = without_numbers(line, false);
  const bool is_bar = masked != line && holds(line, "class=\"bar\"");
  return is_bar || holds(line, "\"seconds\":") ? without_numbers(line, true) : masked;
}

std::string mask_line_of_index(const std::string& line) {
  constexpr int kTime = 4;  // the field, from 0
  std::string masked;
  int field = 0;
  for (const char ch : line) {
    if (ch == '\t') ++field;
    if (ch == '\t' || field != kTime) masked += ch;
  }
  return masked;
}

/// Returns a page without what it tells of the failure of its run.
std::string without_complaint(std::string page, const std::string& complaint) {
  const std::string told =
      "<h2>Why there is no solution</h2>\n<p>" + complaint.substr(0, complaint.find('\n')) + ".</p>\n";
  const std::size_t at = page.find(told);
  return at == page.npos ? page : page.erase(at, told.size());
}

std::string mask(const std::string& text, Kind kind) {
  std::string masked;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
    const std::string line = text.substr(at, end - at);
    masked += kind == Kind::kIndex ? mask_line_of_index(line) : mask_line(line);
    at = end;
  }
  return masked;
}

class Judge {
 public:
  Judge(const Place& place, const Command& command, const Goods& goods)
      : place_(place), command_(command), goods_(goods) {}

  /// @return what is wrong, or an empty text
  std::string wrong_with(const Fault& fault, const Result& result, bool with_old_files) const {
    const bool kills = fault.how.rfind("kill", 0) == 0, vanishes = fault.how == "vanish";
    if (result.hung) return "it did not end";
    if (result.unsynchronised) return "a file took its place before it was on the disk";
    const Good& good = goods_.of(with_old_files);
    const bool succeeded = result.code() == 0;
    if (!succeeded && result.code() != 1 && !(kills && result.killed())) return "ended by " + end_of(result);
    if (result.code() == 1 && (lines(result.err) != 1 || result.err.size() < 5))
      return "not one line of complaint: " + result.err;
    if (succeeded && mask(result.out, Kind::kText) != good.out) return "succeeded, but prints something else";
    if (succeeded && mask(result.err, Kind::kText) != good.err)
      return "succeeded, but complains: " + result.err;
    for (const Target& target : command_.targets) {
      const std::string wrong = wrong_with(target, result, with_old_files, vanishes);
      if (!wrong.empty()) return target.name.substr(1) + " " + wrong;
    }
    return kills || vanishes ? wrong_with_leftovers() : others().empty() ? "" : "left " + others().front();
  }

 private:
  std::string wrong_with(const Target& target, const Result& result, bool with_old_files,
                         bool vanishes) const {
    const bool succeeded = result.code() == 0;
    const fs::path path = place_.found() / target.name.substr(1);
    if (!fs::exists(path)) {
      if (succeeded) return "is missing, and the program succeeded";
      return with_old_files && !vanishes ? "is gone" : "";
    }
    const std::string text = contents(path);
    const std::string masked = mask(succeeded ? text : without_complaint(text, result.err), target.kind);
    const auto is_new = [&](const Good& good) { return masked == good.files.at(target.name); };
    // Where a folder has vanished, a new one has no old files.
    if (is_new(goods_.of(with_old_files)) || (vanishes && is_new(goods_.without_old_files))) return "";
    const std::string difference = first_difference(masked, goods_.of(with_old_files).files.at(target.name));
    if (succeeded) return "is not the new one, and the program succeeded: " + difference;
    if (with_old_files && text == old_text(target)) return "";
    return "is neither the old one nor the new one: " + difference;
  }

  /// Returns the first line of a masked text that is not as it should be.
  static std::string first_difference(const std::string& text, const std::string& wanted) {
    const auto at =
        std::mismatch(text.begin(), text.begin() + std::min(text.size(), wanted.size()), wanted.begin())
            .first;
    const auto place = static_cast<std::size_t>(at - text.begin());
    const std::size_t begin = place == 0 ? 0 : text.rfind('\n', place - 1) + 1;  // npos + 1 is 0
    const auto line = [begin](const std::string& of) {
      return of.substr(begin, of.find('\n', begin) - begin);
    };
    return "\"" + line(text) + "\" in place of \"" + line(wanted) + "\"";
  }

  /// Returns the files in the folder that are no targets.
  Words others() const {
    Words names;
    for (const auto& entry : fs::recursive_directory_iterator(place_.found())) {
      if (!entry.is_regular_file()) continue;
      const std::string name = '@' + fs::relative(entry.path(), place_.found()).generic_string();
      const auto is_it = [&](const Target& target) { return target.name == name; };
      if (std::none_of(command_.targets.begin(), command_.targets.end(), is_it)) names.push_back(name);
    }
    return names;
  }

  /// What a killed run leaves has a name of its own, by which everybody knows it.
  std::string wrong_with_leftovers() const {
    for (const std::string& name : others())
      if (!ends_with(name, ".part") && !ends_with(name, ".part.LOG") && name.find(".new-") == name.npos)
        return "left " + name;
    return "";
  }

  const Place& place_;
  const Command& command_;
  const Goods& goods_;
};

// ---- The whole

struct Count {
  int runs = 0, found = 0;
};

class Campaign {
 public:
  Campaign(const Command& command, bool all) : command_(command), all_(all) {
    std::string root = (fs::temp_directory_path() / "corvidnum-faults-XXXXXX").string();
    if (!mkdtemp(root.data())) std::exit(2);
    place_.root = root;
  }
  Campaign(const Campaign&) = delete;
  Campaign& operator=(const Campaign&) = delete;
  ~Campaign() { fs::remove_all(place_.root); }

  Count run_all() {
    for (const bool with_old_files : {true, false})
      if (!learn(with_old_files)) return {1, 1};
    for (const char* how : {"once", "from", "full", "short", "denied", "kill-before", "kill-after", "vanish"})
      for (const bool with_old_files : {true, false}) fail_each({"files", how, 0}, with_old_files);
    for (const char* how : {"once", "from"})
      for (const bool with_old_files : {true, false}) fail_each({"memory", how, 0}, with_old_files);
    return count_;
  }

 private:
  /// Notes what the command leaves if nothing fails. @return false if the command fails
  bool learn(bool with_old_files) {
    lay_out(place_, command_, with_old_files);
    const Result result = run(place_, command_, nullptr);
    if (result.code() != 0) {
      std::printf("%s: fails by itself, %s: %s\n", command_.name, end_of(result).c_str(), result.err.c_str());
      return false;
    }
    Good& good = with_old_files ? goods_.with_old_files : goods_.without_old_files;
    good.out = mask(result.out, Kind::kText);
    good.err = mask(result.err, Kind::kText);
    for (const Target& target : command_.targets)
      good.files[target.name] = mask(contents(place_.of(target.name)), target.kind);
    return true;
  }

  /// Returns how many calls of a kind an unharmed run makes.
  int number_of(const std::string& calls) const {
    lay_out(place_, command_, true);
    const Fault never = {calls, "once", kMostCalls};
    run(place_, command_, &never);
    std::string word;
    int number = 0;
    std::ifstream(place_.root / "seen") >> word >> number;
    return number;
  }

  /// @param number of calls that an unharmed run makes
  int next(int at, int number) const {
    if (all_ || at < kEach || at >= number - kEach) return at + 1;
    return std::min(at * 9 / 8, number - kEach);
  }

  void fail_each(Fault fault, bool with_old_files) {
    const Judge judge(place_, command_, goods_);
    const int number = number_of(fault.calls), runs_before = count_.runs;
    bool reached = number > 0;
    for (fault.at = 1; reached && fault.at < kMostCalls; fault.at = next(fault.at, number)) {
      lay_out(place_, command_, with_old_files);
      const Result result = run(place_, command_, &fault);
      reached = result.reached && !result.hung;
      count_.runs += result.reached;
      std::string wrong = judge.wrong_with(fault, result, with_old_files);
      if (wrong.empty() && !result.reached && result.code() != 0) wrong = "fails without a failing call";
      if (wrong.empty() && result.killed()) wrong = wrong_with_next_run(judge, with_old_files);
      if (!wrong.empty()) tell(fault, with_old_files, wrong);
    }
    if (count_.runs == runs_before) tell(fault, with_old_files, "no call was made to fail");
  }

  /// Behind a kill, the same command runs through in the same folder, whatever the kill left there.
  std::string wrong_with_next_run(const Judge& judge, bool with_old_files) const {
    const Result result = run(place_, command_, nullptr);
    if (result.code() != 0) return "the next run fails: " + result.err;
    const std::string wrong = judge.wrong_with({"files", "kill-before", 0}, result, with_old_files);
    return wrong.empty() ? wrong : "after the next run: " + wrong;
  }

  void tell(const Fault& fault, bool with_old_files, const std::string& wrong) {
    if (++count_.found > kMostShown) return;
    std::printf("%s, %s call %d, %s, %s old files: %s\n", command_.name, fault.calls.c_str(), fault.at,
                fault.how.c_str(), with_old_files ? "with" : "without", wrong.c_str());
    std::fflush(stdout);
  }

  const Command& command_;
  const bool all_;
  Place place_;
  Goods goods_;
  Count count_;
};

/// Runs every kWorkers-th command from the first one on.
Count work(const std::vector<Command>& commands, std::size_t first, bool all) {
  Count sum;
  for (std::size_t i = first; i < commands.size(); i += kWorkers) {
    const Count found = Campaign(commands[i], all).run_all();
    std::printf("%-32s %6d runs, found %d\n", commands[i].name, found.runs, found.found);
    std::fflush(stdout);
    sum.runs += found.runs;
    sum.found += found.found;
  }
  return sum;
}

/// Shares the commands out between processes. A worker that ends without its count is a fault.
Count run_by_workers(const std::vector<Command>& commands, bool all) {
  Count sum;
  int results[kWorkers];
  for (std::size_t w = 0; w < kWorkers; ++w) {
    int ends[2];
    if (pipe(ends) != 0) std::exit(2);
    const pid_t worker = fork();
    if (worker == 0) {
      const Count found = work(commands, w, all);
      _exit(::write(ends[1], &found, sizeof found) == sizeof found ? 0 : 1);
    }
    close(ends[1]);
    results[w] = ends[0];
  }
  for (const int result : results) {
    Count found = {0, 1};
    if (read(result, &found, sizeof found) != sizeof found) found = {0, 1};
    close(result);
    sum.runs += found.runs;
    sum.found += found.found;
  }
  return sum;
}

}  // namespace

int main(int count, char** arguments) {
  bool all = false;
  std::string wanted;
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    if (word == "--all") {
      all = true;
    } else if (!wanted.empty() || word.empty() || word[0] == '-') {
      std::fputs("usage: corvidnum_program_faults [--all] [COMMAND]\n", stderr);
      return 2;
    } else {
      wanted = word;
    }
  }
  sigset_t children;
  sigemptyset(&children);
  sigaddset(&children, SIGCHLD);
  sigprocmask(SIG_BLOCK, &children, nullptr);
  std::vector<Command> commands = all_commands();
  const auto unwanted = [&](const Command& command) { return !std::strstr(command.name, wanted.c_str()); };
  commands.erase(std::remove_if(commands.begin(), commands.end(), unwanted), commands.end());
  const Count sum = run_by_workers(commands, all);
  std::printf("faults: calls failed and killed in %zu commands, %d, found %d\n", commands.size(), sum.runs,
              sum.found);
  return sum.found > 0 || commands.empty();
}
