# The two everyday commands: `make run` and `make test`. Each installs what is missing,
# configures once into build/<preset>, builds what changed and runs.
JOBS ?= $(shell nproc 2>/dev/null || sysctl -n hw.ncpu 2>/dev/null || echo 2)
FUZZ_SECONDS ?= 60

.PHONY: run test bootstrap build asan tsan bench fuzz format clean

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

tsan: bootstrap
	@test -f build/tsan/CMakeCache.txt || cmake --preset tsan
	cmake --build --preset tsan -j $(JOBS)
	ctest --preset tsan

bench: bootstrap
	@test -f build/bench/CMakeCache.txt || cmake --preset bench
	cmake --build --preset bench -j $(JOBS)
	./build/bench/bench/qxinstall_bench

format:
	git ls-files '*.cpp' '*.hpp' | xargs clang-format -i

clean:
	rm -rf build
