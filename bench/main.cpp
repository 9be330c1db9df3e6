// Runs all benchmarks, then prints the table of ratios. Takes Google Benchmark's options and:
//   --markdown   print the table as Markdown
//   --table      the table alone, without the list of times
// The exit code is 0 whether or not the aims are met: a busy machine is no error of the code.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/table.h"
#include "monitor/options.h"

namespace {

using namespace sc3xxmon::bench;

// Keeps the best processor time of each benchmark's repetitions: what disturbs a run only ever makes it longer.
class BestTimes : public benchmark::ConsoleReporter {
 public:
  explicit BestTimes(bool silent) : benchmark::ConsoleReporter(OO_None), silent_(silent) {}

  bool ReportContext(const Context& context) override { return silent_ || ConsoleReporter::ReportContext(context); }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        Note(run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args),
             run.cpu_accumulated_time / static_cast<double>(run.iterations) * kNanoseconds);
      }
    }
    if (!silent_) {
      ConsoleReporter::ReportRuns(runs);
    }
  }

  const Times& All() const { return times_; }

 private:
  static constexpr double kNanoseconds = 1e9;

  void Note(const std::string& name, double time) {
    const auto [place, added] = times_.emplace(name, time);
    if (!added && time < place->second) {
      place->second = time;
    }
  }

  bool silent_;
  Times times_;
};

// Takes an option of ours off the arguments. True if it was there.
bool TakeOption(std::vector<char*>& arguments, const char* option) {
  return std::erase_if(arguments, [option](const char* argument) { return std::strcmp(argument, option) == 0; }) != 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<char*> arguments(argv, argv + argc);
  const TableForm form = TakeOption(arguments, "--markdown") ? TableForm::kMarkdown : TableForm::kPlain;
  const bool tableAlone = TakeOption(arguments, "--table");
  // Repetitions of all benchmarks mixed, so that a machine that slows down in mid-run does so for both sides of a
  // ratio. Options given by the caller come later and win.
  std::string defaults[] = {"--benchmark_repetitions=7", "--benchmark_enable_random_interleaving=true",
                            "--benchmark_min_time=0.05"};
  for (std::string& option : defaults) {
    arguments.insert(arguments.begin() + 1, option.data());
  }
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return 2;
  }
  BestTimes times(tableAlone);
  benchmark::RunSpecifiedBenchmarks(&times);
  sc3xxmon::ReadOptions();

  std::vector<TableRow> rows = TimeRows(times.All());
  const std::vector<TableRow> memory = MemoryRows();
  rows.insert(rows.end(), memory.begin(), memory.end());
  const std::vector<TableRow> network = NetworkRows();
  rows.insert(rows.end(), network.begin(), network.end());
  std::printf("%s%s", tableAlone ? "" : "\n", FormatTable(rows, form).c_str());
  return 0;
}
