#pragma once

#include <cstddef>
#include <deque>
#include <vector>

#include "fl/posix_io.hpp"

namespace qx::test {

/// Replaces the platform's open/write/close for the object's lifetime so that a test can
/// inject failures; calls without a queued failure reach the real system calls.
class FakeSyscalls {
 public:
  FakeSyscalls();
  ~FakeSyscalls();
  FakeSyscalls(FakeSyscalls const&) = delete;
  FakeSyscalls& operator=(FakeSyscalls const&) = delete;

  /// errno values for the next open calls, in order; 0 lets a call through.
  std::deque<int> open_errors;
  /// errno values for the next write calls, in order; 0 lets a call through.
  std::deque<int> write_errors;
  /// When non-zero, each write hands at most this many bytes to the kernel.
  std::size_t short_write_limit = 0;
  /// errno for every close (after really closing); 0 for none.
  int close_error = 0;

  /// Sizes passed to the real write, in order.
  std::vector<std::size_t> writes;
  int open_calls = 0;
  int close_calls = 0;

 private:
  fl::posix::syscalls const* previous_;
};

}  // namespace qx::test
