// One harness as libFuzzer calls it; ZV_FUZZ_HARNESS is its name.

#include <cstdint>

#include "tests/fuzz/harness.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    zv_fuzz::prepare_process();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static zv_fuzz::Harness const& harness = *zv_fuzz::find_harness(ZV_FUZZ_HARNESS);
    harness.run({data, size});
    return 0;
}
