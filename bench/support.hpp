#pragma once

// What the benchmark program shares between its cases: the rows of the final table and a
// scratch folder for generated files.

#include <functional>
#include <string>
#include <vector>

namespace qx::bench {

/// How a row is judged. Every limit bounds ours/baseline from above, except `excess_ns`,
/// which bounds ours - baseline.
struct Target {
  enum class Kind { none, ratio, excess_ns };
  Kind kind = Kind::none;
  double limit = 0;
  /// Shown in the table beside the limit, e.g. ">= 20x cheaper".
  std::string note;
};

[[nodiscard]] inline Target ratio_at_most(double limit, std::string note = {}) {
  return {Target::Kind::ratio, limit, std::move(note)};
}
[[nodiscard]] inline Target excess_below_ns(double limit) {
  return {Target::Kind::excess_ns, limit, {}};
}

/// One line of the table: our benchmark beside its baseline, both by Google Benchmark run
/// name ("BM_X" or "BM_X/real_time/threads:4"). A `heap` row compares the user counter
/// `counter` of the ours benchmark (a number of bytes) with `baseline_bytes()` instead. A time
/// row with a `counter` and no `baseline` takes the baseline's time from that counter of ours
/// (nanoseconds per iteration, of the repetition whose time is ours): one benchmark that timed
/// both in turn.
struct Row {
  int order = 0;
  std::string label;
  std::string ours;
  std::string baseline_label;
  std::string baseline;
  Target target;
  bool heap = false;
  std::string counter;
  std::function<double()> baseline_bytes;
};

/// Adds a row; rows print by `order`.
void add_row(Row row);
/// Adds a row comparing the times of two benchmarks (`baseline` empty: no peer).
inline void add_time_row(int order, std::string label, std::string ours, std::string baseline_label,
                         std::string baseline, Target target = {}) {
  Row row;
  row.order = order;
  row.label = std::move(label);
  row.ours = std::move(ours);
  row.baseline_label = std::move(baseline_label);
  row.baseline = std::move(baseline);
  row.target = std::move(target);
  add_row(std::move(row));
}
/// Adds a row comparing the time of the benchmark `ours` with the time in its counter
/// `counter`, measured in turn with it.
inline void add_paired_row(int order, std::string label, std::string ours,
                           std::string baseline_label, std::string counter, Target target = {}) {
  add_row({.order = order,
           .label = std::move(label),
           .ours = std::move(ours),
           .baseline_label = std::move(baseline_label),
           .baseline = {},
           .target = std::move(target),
           .heap = false,
           .counter = std::move(counter),
           .baseline_bytes = {}});
}
/// Adds a row comparing the counter `counter` (bytes) of the benchmark `ours` with
/// `baseline_bytes()`.
inline void add_heap_row(int order, std::string label, std::string ours, std::string counter,
                         std::string baseline_label, std::function<double()> baseline_bytes,
                         Target target = {}) {
  Row row;
  row.order = order;
  row.label = std::move(label);
  row.ours = std::move(ours);
  row.baseline_label = std::move(baseline_label);
  row.target = std::move(target);
  row.heap = true;
  row.counter = std::move(counter);
  row.baseline_bytes = std::move(baseline_bytes);
  add_row(std::move(row));
}
/// All rows added so far, by `order`.
[[nodiscard]] std::vector<Row> rows();

/// A private folder, made on first use under the temporary folder and removed at exit.
[[nodiscard]] std::string const& scratch_dir();

}  // namespace qx::bench
