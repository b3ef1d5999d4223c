// Writes the seeds of one harness into a folder: zv_fuzz_seeds HARNESS FOLDER

#include <cstdio>
#include <filesystem>

#include "tests/fuzz/seeds.h"
#include "tests/support/pictures.h"

int main(int count, char** arguments)
{
    auto const seeds = count == 3 ? zv_fuzz::seeds_for(arguments[1]) : std::vector<std::string>();
    if (seeds.empty()) {
        std::fprintf(stderr, "zv_fuzz_seeds HARNESS FOLDER\n");
        return 2;
    }
    std::filesystem::path const folder = arguments[2];
    std::filesystem::create_directories(folder);
    int number = 0;
    for (std::string const& seed : seeds)
        zv_test::write_bytes((folder / ("seed" + std::to_string(number++))).string(),
                             {seed.begin(), seed.end()});
    return 0;
}
