#pragma once

#include <cstdint>

namespace qx::bench {

/// Counts heap bytes (as malloc_usable_size sees them) through the program's replaced global
/// operator new and delete while it exists; outside it, allocation pays one relaxed load.
/// One at a time, on one thread.
class HeapMeter {
 public:
  HeapMeter() noexcept;
  ~HeapMeter();
  HeapMeter(HeapMeter const&) = delete;
  HeapMeter& operator=(HeapMeter const&) = delete;

  /// Bytes allocated and not yet released since construction.
  [[nodiscard]] std::int64_t current() const noexcept;
  /// The most that current() has been.
  [[nodiscard]] std::int64_t peak() const noexcept;
};

}  // namespace qx::bench
