#include "heap_counter.hpp"

#include <malloc.h>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> counting{false};
std::atomic<std::int64_t> current_bytes{0};
std::atomic<std::int64_t> peak_bytes{0};

void note_allocation(void* block) noexcept {
  if (block == nullptr || !counting.load(std::memory_order_relaxed)) return;
  auto const size = static_cast<std::int64_t>(malloc_usable_size(block));
  std::int64_t const now = current_bytes.fetch_add(size, std::memory_order_relaxed) + size;
  std::int64_t peak = peak_bytes.load(std::memory_order_relaxed);
  while (now > peak && !peak_bytes.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
  }
}

void note_release(void* block) noexcept {
  if (block == nullptr || !counting.load(std::memory_order_relaxed)) return;
  current_bytes.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(block)),
                          std::memory_order_relaxed);
}

void* allocate(std::size_t size) noexcept {
  void* const block = std::malloc(size == 0 ? 1 : size);
  note_allocation(block);
  return block;
}

void* allocate_aligned(std::size_t size, std::align_val_t alignment) noexcept {
  void* block = nullptr;
  auto const align = std::max(static_cast<std::size_t>(alignment), sizeof(void*));
  if (::posix_memalign(&block, align, size == 0 ? 1 : size) != 0) return nullptr;
  note_allocation(block);
  return block;
}

void* allocate_or_throw(std::size_t size) {
  void* const block = allocate(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void* allocate_aligned_or_throw(std::size_t size, std::align_val_t alignment) {
  void* const block = allocate_aligned(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void release(void* block) noexcept {
  note_release(block);
  std::free(block);
}

}  // namespace

// The replaced global allocation functions; they cover the library and Boost too, since the
// program's definitions take precedence over the C++ runtime's.
void* operator new(std::size_t size) {
  return allocate_or_throw(size);
}
void* operator new[](std::size_t size) {
  return allocate_or_throw(size);
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
  return allocate(size);
}
void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
  return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return allocate_aligned_or_throw(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return allocate_aligned_or_throw(size, alignment);
}
void* operator new(std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return allocate_aligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, std::nothrow_t const&) noexcept {
  return allocate_aligned(size, alignment);
}
void operator delete(void* block) noexcept {
  release(block);
}
void operator delete[](void* block) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t) noexcept {
  release(block);
}
void operator delete(void* block, std::nothrow_t const&) noexcept {
  release(block);
}
void operator delete[](void* block, std::nothrow_t const&) noexcept {
  release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
void operator delete[](void* block, std::size_t, std::align_val_t) noexcept {
  release(block);
}
void operator delete(void* block, std::align_val_t, std::nothrow_t const&) noexcept {
  release(block);
}
void operator delete[](void* block, std::align_val_t, std::nothrow_t const&) noexcept {
  release(block);
}

namespace qx::bench {

HeapMeter::HeapMeter() noexcept {
  current_bytes.store(0, std::memory_order_relaxed);
  peak_bytes.store(0, std::memory_order_relaxed);
  counting.store(true, std::memory_order_seq_cst);
}

HeapMeter::~HeapMeter() {
  counting.store(false, std::memory_order_seq_cst);
}

std::int64_t HeapMeter::current() const noexcept {
  return current_bytes.load(std::memory_order_relaxed);
}

std::int64_t HeapMeter::peak() const noexcept {
  return peak_bytes.load(std::memory_order_relaxed);
}

}  // namespace qx::bench
