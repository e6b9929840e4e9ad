#include "exported_flag.hpp"

#include <atomic>
#include <stdexcept>

namespace qx::bench::baseline {
namespace {

constinit std::atomic<bool> flag{false};

}  // namespace

bool is_set() noexcept {
  return flag.load(std::memory_order_seq_cst);
}

void throw_if_set(std::string const& tag) {
  if (flag.load(std::memory_order_seq_cst)) throw std::runtime_error(tag);
}

}  // namespace qx::bench::baseline
