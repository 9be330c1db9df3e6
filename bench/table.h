// The table at the end of a run: what was measured, what came out, what is aimed at, and whether it was met.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace sc3xxmon::bench {

enum class AimKind { kNone, kAtLeast, kAtMost, kBelow };

struct Aim {
  AimKind kind = AimKind::kNone;
  double value = 0;
};

struct TableRow {
  std::string what;
  double measured = 0;
  const char* unit = "";  // behind the number: "" for a plain ratio
  Aim aim;

  bool Met() const;
};

enum class TableForm { kPlain, kMarkdown };

std::string FormatTable(const std::vector<TableRow>& rows, TableForm form);

// The best time of each benchmark, in nanoseconds an iteration, under its name.
using Times = std::map<std::string, double>;

// The rows that come from times. A benchmark that didn't run (a filter was given) leaves its rows out.
std::vector<TableRow> TimeRows(const Times& times);
// The rows of memory: measured here and now, by running the jobs once.
std::vector<TableRow> MemoryRows();
// The rows of the network: measured here and now, in real time. Some ten seconds.
std::vector<TableRow> NetworkRows();

}  // namespace sc3xxmon::bench
