# The two everyday commands: `make run` and `make test`. Each installs what is missing,
# configures once into build/<preset>, builds what changed and runs.
JOBS ?= $(shell nproc 2>/dev/null || sysctl -n hw.ncpu 2>/dev/null || echo 2)
FUZZ_SECONDS ?= 60
FUZZ_TARGETS := $(patsubst fuzz/%_fuzzer.cpp,%,$(wildcard fuzz/*_fuzzer.cpp))
FUZZ_DIR := $(CURDIR)/build/fuzz

.PHONY: run test bootstrap build asan tsan unsigned-char arm64-test macos-cross bench docs fuzz abi-update format clean

bootstrap:
	@bash scripts/bootstrap.sh

build/release/CMakeCache.txt:
	cmake --preset release

build: bootstrap build/release/CMakeCache.txt
	cmake --build --preset release -j $(JOBS)

run: build
	./build/release/examples/unattended_install examples/installer_input.txt examples/rules.txt

test: build
	ctest --preset release -j $(JOBS)

asan: bootstrap
	@test -f build/asan/CMakeCache.txt || cmake --preset asan
	cmake --build --preset asan -j $(JOBS)
	ctest --preset asan -j $(JOBS)

# The whole suite with char unsigned, as it is on Linux arm64 (signed on x86-64 and macOS arm64):
# the cheap check of byte handling.
unsigned-char: bootstrap
	@test -f build/unsigned-char/CMakeCache.txt || cmake --preset unsigned-char
	cmake --build --preset unsigned-char -j $(JOBS)
	ctest --preset unsigned-char -j $(JOBS)

# The whole suite on Linux arm64: cross-built with Debian's aarch64 compiler against the arm64
# multiarch libraries, every test run under qemu-user (the stress tests with smaller counts).
arm64-test:
	@QX_WITH_ARM64=1 bash scripts/bootstrap.sh
	@test -f build/arm64/CMakeCache.txt || cmake --preset arm64
	cmake --build --preset arm64 -j $(JOBS)
	ctest --preset arm64 -j $(JOBS)

# macOS arm64, cross-built with Zig (no Apple SDK) and checked as a Mac would load it: Mach-O
# arm64 files, exported symbols, install names, rpaths; every test program too. Linked, never run.
macos-cross:
	@QX_WITH_MACOS=1 bash scripts/bootstrap.sh
	@test -f build/macos-cross/CMakeCache.txt || cmake --preset macos-cross
	cmake --build --preset macos-cross -j $(JOBS)
	bash cmake/toolchains/aarch64-macos/check.sh build/macos-cross \
	  $$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/macos-cross/CMakeCache.txt) cmake/exports.txt

tsan: bootstrap
	@test -f build/tsan/CMakeCache.txt || cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS) --target concurrency_tests
	ctest --preset tsan

bench: bootstrap
	@test -f build/bench/CMakeCache.txt || cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	./build/bench/bench/qxinstall_bench

# The HTML API reference of the public and the platform headers, in build/docs/html. Any
# Doxygen warning fails it, an undocumented public symbol included.
docs:
	@QX_WITH_DOCS=1 bash scripts/bootstrap.sh
	@mkdir -p build/docs
	QX_VERSION=$$(sed -n 's/^project(qxinstall_cpputil VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) \
	  doxygen docs/Doxyfile

# Each target runs for FUZZ_SECONDS on a copy of its seeds (new inputs stay under build/fuzz),
# JOBS targets at a time, each one's output kept together; crashes land in build/fuzz/artifacts.
# Absolute paths: a target may change its folder.
fuzz:
	@QX_WITH_FUZZ=1 bash scripts/bootstrap.sh
	@test -f build/fuzz/CMakeCache.txt || cmake --preset fuzz
	cmake --build --preset fuzz -j $(JOBS)
	ctest --test-dir build/fuzz/fuzz --output-on-failure
	@mkdir -p $(FUZZ_DIR)/artifacts
	@$(MAKE) --no-print-directory -j $(JOBS) --output-sync=target $(addprefix fuzz-run-,$(FUZZ_TARGETS))

fuzz-run-%:
	@mkdir -p $(FUZZ_DIR)/corpus/$*
	@cp fuzz/corpus/$*/* $(FUZZ_DIR)/corpus/$*/
	@echo "fuzz: $* for $(FUZZ_SECONDS) s"
	$(FUZZ_DIR)/fuzz/$*_fuzzer -max_total_time=$(FUZZ_SECONDS) -timeout=25 \
	  $(if $(wildcard fuzz/$*.dict),-dict=$(CURDIR)/fuzz/$*.dict) \
	  -print_final_stats=1 -artifact_prefix=$(FUZZ_DIR)/artifacts/$*- $(FUZZ_DIR)/corpus/$*

# Rewrites the ABI baselines (tests/package/abi/<processor>) from the release build, and from
# the arm64 build once `make arm64-test` has made it: for a deliberate change of the binary
# interface, committed together with it.
abi-update: build
	cmake --build --preset release --target abi-update
	@if test -f build/arm64/CMakeCache.txt; then cmake --build --preset arm64 --target abi-update; \
	else echo "abi-update: run make arm64-test, then make abi-update again, for the arm64 baseline"; fi

format:
	git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

clean:
	rm -rf build
