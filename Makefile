# The two commands of the README: `make demo` and `make test`. Both install what is missing,
# configure and build first.
BUILD ?= build
JOBS ?= $(shell nproc)
CMAKE_FLAGS ?=

.PHONY: deps build demo test asan tsan bench format clean

deps:
	bash scripts/install-deps.sh

build: deps
	cmake -S . -B $(BUILD) -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ $(CMAKE_FLAGS)
	cmake --build $(BUILD) -j $(JOBS)

# The default rig of the simulated runtime: its boards, the cameras of board 0, and the features
# of its first camera.
demo: build
	$(BUILD)/bin/vesk-genicam boards
	$(BUILD)/bin/vesk-genicam scan
	$(BUILD)/bin/vesk-genicam features 0:0

test: build
	cd $(BUILD) && ctest --output-on-failure -j $(JOBS) --timeout 300

asan:
	$(MAKE) test BUILD=build-asan CMAKE_FLAGS="-DVESK_SANITIZE=address,undefined"

tsan:
	$(MAKE) test BUILD=build-tsan CMAKE_FLAGS="-DVESK_SANITIZE=thread"

bench: build
	$(BUILD)/bin/frame_bench
	$(BUILD)/bin/sim_register_bench
	$(BUILD)/bin/feature_bench
	$(BUILD)/bin/node_map_bench
	$(BUILD)/bin/sim_cxp_bench
	$(BUILD)/bin/cxp_port_bench
	$(BUILD)/bin/cxp_scan_bench
	$(BUILD)/bin/sim_gige_bench
	$(BUILD)/bin/sim_cl_bench
	$(BUILD)/bin/sim_clhs_bench
	$(BUILD)/bin/clhs_port_bench
	$(BUILD)/bin/cl_port_bench
	$(BUILD)/bin/gbe_port_bench
	$(BUILD)/bin/aravis_client_bench

format:
	git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format -i

clean:
	rm -rf build build-asan build-tsan
