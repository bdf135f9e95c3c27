# Thin wrapper over the CMake presets, so a fresh machine needs one command.
#   make run        installs what is missing, builds and starts the program
#   make test       installs what is missing, builds and runs every test
#   make test-asan  the tests again under AddressSanitizer + UndefinedBehaviorSanitizer
#   make test-tsan  the threaded tests under ThreadSanitizer
#   make coverage   line coverage of the core (report in build/coverage/coverage.txt)
#   make fuzz       builds the libFuzzer targets into build/fuzz/fuzz/
# Set WINDLARK_WERROR=ON to turn compiler warnings into errors (CI does).

WINDLARK_WERROR ?= OFF
export WINDLARK_WERROR

# Test suites that start threads; ThreadSanitizer runs these.
THREADED_SUITES := helper|shell|platform

.PHONY: deps configure build run test test-asan test-tsan coverage fuzz clean

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

clean:
	@rm -rf build
