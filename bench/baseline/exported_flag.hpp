#pragma once

// A baseline shared library: the interrupt flag's clear-flag path behind exported functions,
// which is what any call into a shared library costs at least.

#include <string>

#define QX_BASELINE_API __attribute__((visibility("default")))

namespace qx::bench::baseline {

/// One sequentially consistent load of a private atomic flag that is never set.
[[nodiscard]] QX_BASELINE_API bool is_set() noexcept;
/// The same load; would throw if the flag were set.
QX_BASELINE_API void throw_if_set(std::string const& tag);

}  // namespace qx::bench::baseline
