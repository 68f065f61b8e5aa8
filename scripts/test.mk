# The steps of scripts/test --all and their order. A step waits for the steps after its colon, also when they fail.
#
# A step writes what it says to build/steps/NAME.log. When it is over, build/steps/NAME.status holds its exit status and
# its seconds. scripts/test shows both.
#
# The builds of the sanitizers and lint need the processor, and tests mostly wait. So the former run beside the latter.
# What does not run beside others:
# - The demo and the tests, because they may need the same ports.
# - lint and the tests of the release build: lint would build anew the folder into which those tests look.
# - The packages and the ten minutes, because the latter install what the former have built. They come last, because both
#   compile in roots of their own, and are not to slow down the tests.

SHELL := /bin/bash
steps := build/steps
isolated := $(if $(shell tests/common/isolated true 2>/dev/null && echo yes),tests/common/isolated)

# $(call step,COMMAND), where COMMAND has no comma of its own. make's variables are removed, because the tests call make
# themselves, and that make must not take this one as its parent.
define step
@unset MAKEFLAGS MFLAGS MAKELEVEL; status=0; SECONDS=0; \
{ $(1); } >$(steps)/$@.log 2>&1 || status=$$?; \
echo "$$status $$SECONDS" >$(steps)/$@.new && mv $(steps)/$@.new $(steps)/$@.status
endef

# A preset whose build failed is not tested.
is_built = grep -q '^0 ' $(steps)/build-$(1).status

.PHONY: all demo build-release build-asan build-tsan test-release test-asan test-tsan packages ten-minutes lint
all: demo test-release test-asan test-tsan packages ten-minutes lint

demo:
	$(call step,$(isolated) scripts/demo)

build-release: demo
	$(call step,scripts/build release)
test-release: build-release
	$(call step,$(call is_built,release) && scripts/run-tests release $(ctest_arguments))
test-asan: test-release build-asan
	$(call step,$(call is_built,asan) && scripts/run-tests asan $(ctest_arguments))
test-tsan: test-asan build-tsan
	$(call step,$(call is_built,tsan) && scripts/run-tests tsan $(ctest_arguments))

build-asan: demo
	$(call step,nice -n 10 scripts/build asan)
build-tsan: build-asan
	$(call step,nice -n 10 scripts/build tsan)
lint: build-tsan test-release
	$(call step,nice -n 10 scripts/lint)

packages: test-tsan
	$(call step,scripts/package --test --ccache)
ten-minutes: packages
	$(call step,scripts/ten-minutes)
