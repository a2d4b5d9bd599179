# One short command per job; everything else is CMake presets.
.PHONY: all build release test asan-test example format clean

all: build

build:
	cmake --preset debug >/dev/null
	cmake --build --preset debug

# The libraries and the program only: no tests, benchmarks or fuzz replays,
# so neither GoogleTest nor Google Benchmark is needed.
release:
	cmake --preset release >/dev/null
	cmake --build --preset release

test: build
	ctest --preset debug -j2

asan-test:
	cmake --preset asan >/dev/null
	cmake --build --preset asan
	ctest --preset asan -j2

example: release
	./build/release/converter/sdif2columns examples/saw.sdif | head -n 45

format:
	git ls-files '*.cpp' '*.h' | xargs clang-format -i

clean:
	rm -rf build
