// Which benchmarks are set against which.

#include <algorithm>
#include <optional>

#include "bench/table.h"

namespace sc3xxmon::bench {
namespace {

// `times[over] / times[under]`: how much more `over` costs, or how much of the speed of `over` `under` has.
struct Ratio {
  const char* what;
  const char* over;
  const char* under;
  Aim aim;
};

constexpr Aim kFastEnough{AimKind::kAtLeast, 0.4};
constexpr Aim kAtMostDouble{AimKind::kAtMost, 2.2};

constexpr Ratio kRatios[] = {
    {"ProcessData, one span of 64 MB: speed against memcpy", "Memcpy/at-hand", "ProcessData/at-hand", kFastEnough},
    {"the same, both into memory new from the system", "Memcpy/new", "ProcessData/new", kFastEnough},
    {"parsing 50,000 labels against 25,000", "ParseLabels/50000", "ParseLabels/25000", kAtMostDouble},
    {"parsing 100,000 labels against 50,000", "ParseLabels/100000", "ParseLabels/50000", kAtMostDouble},
    {"acknowledging 50,000 labels against 25,000", "Acknowledge/50000", "Acknowledge/25000", kAtMostDouble},
    {"acknowledging 100,000 labels against 50,000", "Acknowledge/100000", "Acknowledge/50000", kAtMostDouble},
    {"dispatching 50,000 labels against 25,000", "Dispatch/50000", "Dispatch/25000", kAtMostDouble},
    {"dispatching 100,000 labels against 50,000", "Dispatch/100000", "Dispatch/50000", kAtMostDouble},
    {"CompressRaster: speed against bare LZ4", "BareLz4", "CompressRaster", {AimKind::kAtLeast, 0.9}},
    {"60 parcel labels, log off: time against a build without log",
     "Parcels/log-off",
     "Parcels/no-log",
     {AimKind::kAtMost, 1.01}},
    {"20,000 labels of 8 bytes, log off: the same", "Tiny/log-off", "Tiny/no-log", {AimKind::kAtMost, 1.01}},
    {"whole engine, plain labels: time against writing to the port", "Engine/plain", "PortAlone", {}},
    {"whole engine, compressing: time against bare LZ4 of the rasters", "Engine/compressing", "BareLz4OfJob", {}},
};

// One time by itself, divided by `count` units of work.
struct Single {
  const char* what;
  const char* name;
  double count;
  const char* unit;
  Aim aim;
};

constexpr double kLargeLabelBytes = 2 * 1024 * 1024;

constexpr Single kSingles[] = {
    {"label of 2 MB fed byte by byte", "FeedLabel/1", kLargeLabelBytes, " ns/byte", {AimKind::kBelow, 50}},
    {"label of 2 MB fed in pieces of 64 KB", "FeedLabel/65536", kLargeLabelBytes, " ns/byte", {}},
    {"KovaDebugPrint at level 0", "DebugPrintOff", 1, " ns", {}},
};

std::optional<double> TimeOf(const Times& times, const char* name) {
  const auto found = times.find(name);
  return found != times.end() ? std::optional(found->second) : std::nullopt;
}

}  // namespace

std::vector<TableRow> TimeRows(const Times& times) {
  std::vector<TableRow> rows;
  for (const Ratio& ratio : kRatios) {
    const auto over = TimeOf(times, ratio.over);
    const auto under = TimeOf(times, ratio.under);
    if (over && under) {
      rows.push_back({ratio.what, *over / *under, "", ratio.aim});
    }
  }
  for (const Single& single : kSingles) {
    if (const auto time = TimeOf(times, single.name)) {
      rows.push_back({single.what, *time / single.count, single.unit, single.aim});
    }
  }
  return rows;
}

}  // namespace sc3xxmon::bench
