// The main function of the program that tools/mutants builds: all tests, and all mutants.
//
//   runner --record FILE   runs every test without a mutant, and writes for each of them its
//   number,
//                          its name, whether it passed, its CPU time in milliseconds, and which
//                          places of the logic it reached
//   runner --list          writes the name of every test, in the order of their numbers
//   runner --serve         reads lines "MUTANT TEST:MILLISECONDS ..." and answers each with a line:
//                          "passed", "failed TEST", "crashed TEST" or "endless TEST"
//
// A mutant is tried in a process of its own, a copy of this one that has already loaded everything.
// The first failed assertion decides; so does a test that takes more CPU time than it is given.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <signal.h>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <vector>

int vorn_mutant = 0;  // the logic asks for it in every function that has mutants

extern "C" const char __ehdr_start;  // the linker's name for where the program begins

namespace {

constexpr rlim_t kMoreMemoryBytes = 1 << 30;
constexpr rlim_t kFileBytes = 100 << 20;
constexpr unsigned kWallSeconds = 300;  // a test that waits takes no CPU time

// ------------------------------------------------------------------------------------------------
// Which places the running test has reached: the compiler calls this in every basic block.

// Plain arrays, because it may do so before any object is made.
constexpr std::size_t kProgramBytes = 64 << 20;
unsigned char reached[kProgramBytes / 8];  // a bit for each: many places fit into the cache
std::uint32_t places[kProgramBytes / 16];
std::size_t placeCount = 0;

}  // namespace

extern "C" void __sanitizer_cov_trace_pc() {
  const auto place = static_cast<std::size_t>(
      static_cast<const char*>(__builtin_return_address(0)) - &__ehdr_start);
  if (place >= kProgramBytes || (reached[place / 8] >> place % 8 & 1) != 0) return;
  reached[place / 8] |= static_cast<unsigned char>(1U << place % 8);
  places[placeCount++] = static_cast<std::uint32_t>(place);
}

namespace {

std::vector<std::string> tests;
std::map<std::string, int> numbers;

std::string NameOf(const testing::TestInfo& test) {
  return std::string(test.test_suite_name()) + "." + test.name();
}

void ListTests() {
  const testing::UnitTest& all = *testing::UnitTest::GetInstance();
  for (int suite = 0; suite < all.total_test_suite_count(); ++suite) {
    const testing::TestSuite& its = *all.GetTestSuite(suite);
    for (int test = 0; test < its.total_test_count(); ++test) {
      const std::string name = NameOf(*its.GetTestInfo(test));
      numbers[name] = static_cast<int>(tests.size());
      tests.push_back(name);
    }
  }
}

double CpuMilliseconds() {
  timespec now = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

class Recorder : public testing::EmptyTestEventListener {
 public:
  explicit Recorder(const char* path) : out_(path) {}

  void OnTestStart(const testing::TestInfo&) override { begun_ = CpuMilliseconds(); }

  void OnTestEnd(const testing::TestInfo& test) override {
    const double taken = CpuMilliseconds() - begun_;
    const std::string name = NameOf(test);
    out_ << numbers[name] << '\t' << name << '\t' << (test.result()->Passed() ? "passed" : "failed")
         << '\t' << taken << '\t';
    for (std::size_t i = 0; i < placeCount; ++i) {
      out_ << places[i] << ' ';
      reached[places[i] / 8] = 0;
    }
    out_ << '\n';
    placeCount = 0;
  }

 private:
  std::ofstream out_;
  double begun_ = 0;
};

// ------------------------------------------------------------------------------------------------

struct Shared {
  int running = -1;  // the test that runs, for the parent to read when the child has died
  int failed = 0;
};
Shared* shared = nullptr;
std::map<int, long> limits;  // of the tests that are asked for, in milliseconds of CPU time

class Judge : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo& test) override {
    shared->running = numbers[NameOf(test)];
    const long milliseconds = limits[shared->running];
    itimerval limit = {};
    limit.it_value.tv_sec = milliseconds / 1000;
    limit.it_value.tv_usec = milliseconds % 1000 * 1000;
    setitimer(ITIMER_PROF, &limit, nullptr);
    alarm(kWallSeconds);
  }

  void OnTestPartResult(const testing::TestPartResult& result) override {
    if (!result.failed()) return;
    shared->failed = 1;
    _exit(1);
  }
};

rlim_t MemoryInUse() {
  std::ifstream sizes("/proc/self/statm");
  rlim_t pages = 0;
  sizes >> pages;
  return pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE));
}

void Limit(int resource, rlim_t most) {
  const rlimit limit = {most, most};
  setrlimit(resource, &limit);
}

/// Runs the tests in the order in which they are asked for, in growing groups, for each group costs
/// a look at the names of all tests.
[[noreturn]] void Try(int mutant, const std::vector<int>& chosen) {
  Limit(RLIMIT_AS, MemoryInUse() + kMoreMemoryBytes);
  Limit(RLIMIT_FSIZE, kFileBytes);
  Limit(RLIMIT_CORE, 0);
  vorn_mutant = mutant;
  std::size_t group = 1;
  for (std::size_t begun = 0; begun < chosen.size(); begun += group, group *= 2) {
    std::string filter;
    for (std::size_t i = begun; i < chosen.size() && i < begun + group; ++i) {
      filter += tests[static_cast<std::size_t>(chosen[i])] + ":";
    }
    testing::GTEST_FLAG(filter) = filter;
    if (RUN_ALL_TESTS() != 0) {
      shared->failed = 1;
      _exit(1);
    }
  }
  _exit(0);
}

std::string Verdict(int status) {
  const std::string test = " " + std::to_string(shared->running);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return "passed";
  if (WIFEXITED(status) && shared->failed != 0) return "failed" + test;
  if (WIFSIGNALED(status) && (WTERMSIG(status) == SIGPROF || WTERMSIG(status) == SIGALRM)) {
    return "endless" + test;
  }
  return "crashed" + test;
}

/// What tests and mutants write must not be taken for an answer.
std::FILE* KeepAnswersApart() {
  std::FILE* const answers = fdopen(dup(STDOUT_FILENO), "w");
  if (answers == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr ||
      std::freopen("/dev/null", "w", stderr) == nullptr) {
    std::abort();
  }
  return answers;
}

void Serve() {
  std::FILE* const answers = KeepAnswersApart();
  shared = static_cast<Shared*>(
      mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    int mutant = 0;
    words >> mutant;
    std::vector<int> chosen;
    limits.clear();
    int test = 0;
    char colon = 0;
    for (long milliseconds = 0; words >> test >> colon >> milliseconds;) {
      chosen.push_back(test);
      limits[test] = milliseconds;
    }
    *shared = {};
    const pid_t child = fork();
    if (child == 0) Try(mutant, chosen);
    int status = 0;
    waitpid(child, &status, 0);
    std::fprintf(answers, "%s\n", Verdict(status).c_str());
    std::fflush(answers);
  }
}

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  ListTests();
  testing::TestEventListeners& listeners = testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  const std::string mode = argc > 1 ? argv[1] : "";
  if (mode == "--record" && argc == 3) {
    listeners.Append(new Recorder(argv[2]));
    (void)RUN_ALL_TESTS();
    return 0;
  }
  if (mode == "--list") {
    for (const std::string& test : tests)
      std::cout << test << '\n';
    return 0;
  }
  if (mode == "--serve") {
    listeners.Append(new Judge);
    Serve();
    return 0;
  }
  return 2;
}
