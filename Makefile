# Thin wrapper over the CMake presets, so a fresh machine needs one command.
#   make run        installs what is missing, builds and starts the program (on Linux on a
#                   simulated Mac)
#   make test       installs what is missing, builds and runs every test
#   make test-asan  the tests again under AddressSanitizer + UndefinedBehaviorSanitizer
#   make test-tsan  the threaded tests under ThreadSanitizer
#   make coverage   line coverage of the core (report in build/coverage/coverage.txt)
#   make fuzz       builds the libFuzzer targets into build/fuzz/fuzz/ and runs each one
#                   for FUZZ_RUNS executions from its seed corpus (FUZZ_RUNS=0: build only)
#   make check-clang  every source of the default build compiled (syntax only) by clang too, the
#                   compiler family of macOS, which is stricter than GCC in places
#   make bench      builds the benchmarks and runs each one (figures in bench/README.md)
# Set WINDLARK_WERROR=ON to turn compiler warnings into errors (CI does).

WINDLARK_WERROR ?= OFF
export WINDLARK_WERROR

# Test suites that start threads (main loops, helper time-outs, child processes, the
# update check, concurrent lookups); ThreadSanitizer runs these.
THREADED_SUITES := support|text|hardware|helper|shell|store|platform|daemon

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

# On a Mac the bundle starts. On Linux the program reads this computer's own sensors when it
# has any, and otherwise starts on the bundled one-fan simulated Mac with its simulated
# helper; "--simulated-machine FILE" in ARGS, or WINDLARK_SIMULATED_MACHINE, picks a machine.
run: build
	@if [ "$$(uname)" = Darwin ]; then \
	    exec "./build/default/Windlark Mac.app/Contents/MacOS/Windlark Mac" $(ARGS); \
	else \
	    exec ./build/default/windlark-mac $(ARGS); \
	fi

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

# Every source of the default build compiled once more by clang, syntax only, with the
# build's own flags and include folders (from its compile_commands.json).
define CHECK_CLANG_PY
import json, shlex, subprocess, sys
from concurrent.futures import ThreadPoolExecutor
skip_with_value = {"-o", "-MT", "-MF", "-MQ"}
def check(entry):
    words = entry["arguments"] if "arguments" in entry else shlex.split(entry["command"])
    while words and not words[0].startswith("-") and not words[0].endswith(("++", "g++", "c++")):
        words = words[1:]
    command, skip = ["clang++", "-fsyntax-only"], False
    for word in words[1:]:
        if skip:
            skip = False
        elif word in skip_with_value:
            skip = True
        elif word not in ("-c", "-MD", "-MMD") and word != entry["file"]:
            command.append(word)
    result = subprocess.run(command + [entry["file"]], cwd=entry["directory"],
                            capture_output=True, text=True)
    return result.returncode, result.stderr
entries = json.load(open("$(CHECK_CLANG_BUILD)/compile_commands.json"))
with ThreadPoolExecutor(2) as pool:
    results = list(pool.map(check, entries))
for code, errors in results:
    sys.stderr.write(errors)
failed = sum(1 for code, _ in results if code != 0)
print(f"check-clang: {len(entries) - failed} of {len(entries)} sources compile with clang")
sys.exit(1 if failed else 0)
endef
export CHECK_CLANG_PY
CHECK_CLANG_BUILD ?= build/default

check-clang: configure
	@python3 -c "$$CHECK_CLANG_PY"

bench: build
	@for target in $(BENCH_TARGETS); do ./build/default/bench/$$target; done

clean:
	@rm -rf build
