// The harnesses as libFuzzer calls them: the one after which the program is called, zv_fuzz_parser for "parser".

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tests/fuzz/harness.h"

namespace {

zv_fuzz::Harness const* chosen_harness = nullptr;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char*** arguments)
{
    std::string const name = std::filesystem::path((*arguments)[0]).filename().string();
    constexpr std::string_view kPrefix = "zv_fuzz_";
    if (name.starts_with(kPrefix))
        chosen_harness = zv_fuzz::find_harness(name.substr(kPrefix.size()));
    if (!chosen_harness) {
        std::fputs("call this as zv_fuzz_HARNESS\n", stderr);
        std::exit(2);
    }
    zv_fuzz::prepare_process();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    chosen_harness->run({data, size});
    return 0;
}
