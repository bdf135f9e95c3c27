# Thin wrapper over the CMake presets, so a fresh machine needs one command.
#   make run   installs what is missing, builds and starts the program
#   make test  installs what is missing, builds and runs every test
# Set WINDLARK_WERROR=ON to turn compiler warnings into errors (CI does).

WINDLARK_WERROR ?= OFF
export WINDLARK_WERROR

.PHONY: deps configure build run test clean

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

clean:
	@rm -rf build
