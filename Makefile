# Thin wrapper over the CMake presets, so a fresh machine needs one command.
#   make run        installs what is missing, builds and starts the program
#   make test       installs what is missing, builds and runs every test
#   make test-asan  the tests again under AddressSanitizer + UndefinedBehaviorSanitizer
#   make test-tsan  the threaded tests under ThreadSanitizer
#   make coverage   line coverage of the core (report in build/coverage/coverage.txt)
#   make fuzz       builds the libFuzzer targets into build/fuzz/fuzz/ and runs each one
#                   for FUZZ_RUNS executions from its seed corpus (FUZZ_RUNS=0: build only)
#   make check-clang  every portable source compiled (syntax only) by clang as well, the
#                   compiler family of macOS, which is stricter than GCC in places
#   make bench      builds the benchmarks and runs each one (figures in bench/README.md)
# Set WINDLARK_WERROR=ON to turn compiler warnings into errors (CI does).

WINDLARK_WERROR ?= OFF
export WINDLARK_WERROR

# Test suites that start threads (main loops, helper time-outs, child processes, the
# update check, concurrent lookups); ThreadSanitizer runs these.
THREADED_SUITES := support|text|hardware|helper|shell|platform

# Executions per fuzz target; the working corpus grows under build/fuzz/corpus/, the
# repository's seeds in fuzz/corpus/ stay as they are.
FUZZ_RUNS ?= 1000000
FUZZ_TARGETS := $(basename $(notdir $(wildcard fuzz/*.cpp)))
BENCH_TARGETS := $(basename $(notdir $(wildcard bench/*.cpp)))

.PHONY: deps configure build run test test-asan test-tsan coverage fuzz bench check-clang clean

deps:
	@scripts/install-deps.sh

configure: deps
	@cmake --preset default

build: configure
	@cmake --build --preset default

run: build
	@./build/default/windlark-mac $(ARGS)

test: build
	@ctest --preset default

test-asan: deps
	@cmake --preset asan
	@cmake --build --preset asan
	@ctest --preset asan

test-tsan: deps
	@cmake --preset tsan
	@cmake --build --preset tsan --target $$(echo "$(THREADED_SUITES)" | sed 's/\([a-z]*\)/windlark_tests_\1/g; s/|/ /g')
	@ctest --preset tsan -L '$(THREADED_SUITES)'

coverage: deps
	@cmake --preset coverage
	@cmake --build --preset coverage
	@ctest --preset coverage
	@gcovr --root . --filter 'src/' --exclude 'src/platform/' --txt build/coverage/coverage.txt \
	    --print-summary build/coverage

fuzz: deps
	@cmake --preset fuzz
	@cmake --build --preset fuzz
	@if [ "$(FUZZ_RUNS)" != 0 ]; then \
	    for target in $(FUZZ_TARGETS); do \
	        mkdir -p build/fuzz/corpus/$$target build/fuzz/crashes/$$target; \
	        echo "fuzz: $$target, $(FUZZ_RUNS) runs"; \
	        ./build/fuzz/fuzz/$$target -runs=$(FUZZ_RUNS) -max_len=4096 -timeout=10 \
	            -print_final_stats=1 -artifact_prefix=build/fuzz/crashes/$$target/ \
	            build/fuzz/corpus/$$target fuzz/corpus/$$target \
	            2>build/fuzz/$$target.log || { tail -40 build/fuzz/$$target.log; exit 1; }; \
	        grep -E '^stat::number_of_executed_units|^Done' build/fuzz/$$target.log; \
	    done; \
	fi

check-clang: deps
	@find src tests bench fuzz -name '*.cpp' -not -path 'src/platform/macos/*' -print0 | \
	    xargs -0 -n 8 -P 2 clang++ -std=c++20 -fsyntax-only -Wall -Wextra -Werror \
	        -Isrc -Itests -DWINDLARK_SOURCE_DIR='"."'

bench: build
	@for target in $(BENCH_TARGETS); do ./build/default/bench/$$target; done

clean:
	@rm -rf build
